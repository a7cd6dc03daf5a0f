// What the header lists of an AVI file say about its streams.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/tkmjpg/media/byte_source.h"
#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

struct AviFile;

class AviHeaders {
 public:
  // A chunk of the headers; those that say nothing of use are passed over.
  void Take(const ByteSource& source, const std::string& id, uint64_t offset, uint32_t size);

  // Fills in the first Motion-JPEG stream. Throws InputError if there is none.
  void ChooseStream(AviFile& file) const;

 private:
  struct Stream {
    std::string type;         // "vids", "auds"
    std::string handler;      // as strh names the codec
    std::string compression;  // as strf does
    uint32_t scale = 0, rate = 0;
    uint32_t width = 0, height = 0;
    // Of vprp.
    uint32_t frame_aspect = 0;  // x:y in the high and the low half
    uint32_t fields = 0;        // a frame
    uint32_t first_line = 0;    // of the earlier field
  };

  void TakeStreamHeader(std::span<const uint8_t> bytes);
  void TakeFormat(Stream& stream, std::span<const uint8_t> bytes) const;
  VideoFormat FormatOf(const Stream& stream) const;

  std::vector<Stream> streams_;
  uint32_t frame_microseconds_ = 0;
  uint32_t width_ = 0, height_ = 0;  // of the main header
};

}  // namespace tkmjpg::tool
