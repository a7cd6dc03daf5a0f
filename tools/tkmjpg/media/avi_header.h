// What the header lists of an AVI file say about its streams.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "tools/tkmjpg/media/byte_source.h"
#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/sound.h"

namespace tkmjpg::tool {

struct AviFile;
enum class AviVideoKind;

class AviHeaders {
 public:
  // A chunk of the headers; those that say nothing of use are passed over.
  void Take(const ByteSource& source, const std::string& id, uint64_t offset, uint32_t size);

  // Fills in the first Motion-JPEG stream, or, if `video` wants that, the first uncompressed one,
  // and all sound. Throws InputError if there is no such video.
  void ChooseStream(AviFile& file, AviVideoKind video) const;

 private:
  struct Stream {
    std::string type;         // "vids", "auds"
    std::string handler;      // as strh names the codec
    std::string compression;  // as strf does
    uint32_t scale = 0, rate = 0;
    uint32_t width = 0, height = 0;
    bool extended = false;  // the format goes on as JPEG's extended header
    // Of vprp.
    uint32_t frame_aspect = 0;  // x:y in the high and the low half
    uint32_t fields = 0;        // a frame
    uint32_t first_line = 0;    // of the earlier field
    bool top_down = false;      // of a bitmap
    uint32_t bits = 0;          // a pixel
    SoundFormat sound;
  };

  void TakeStreamHeader(std::span<const uint8_t> bytes);
  static void TakeFormat(Stream& stream, std::span<const uint8_t> bytes);
  static void TakeSoundFormat(Stream& stream, const ByteSource& source, uint64_t offset,
                              uint32_t size);
  void ChooseVideo(AviFile& file, AviVideoKind video) const;
  VideoFormat FormatOf(const Stream& stream) const;

  std::vector<Stream> streams_;
  uint32_t frame_microseconds_ = 0;
  uint32_t width_ = 0, height_ = 0;  // of the main header
};

}  // namespace tkmjpg::tool
