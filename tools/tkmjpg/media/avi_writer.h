// AVI out: one video stream, with an old index for old readers and OpenDML indexes for files of any
// length.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/output_file.h"

namespace tkmjpg::tool {

constexpr uint32_t FourCc(const char (&name)[5]) {
  uint32_t code = 0;
  for (int i = 3; i >= 0; --i) code = code << 8 | static_cast<uint8_t>(name[i]);
  return code;
}

// What the stream holds.
struct AviVideo {
  VideoFormat format;
  uint32_t handler = 0;       // of the stream header
  uint32_t chunk_id = 0;      // of each frame, "00dc" or "00db"
  Bytes stream_format;        // the `strf` chunk: a BITMAPINFOHEADER and what follows it
  bool field_images = false;  // each field of a frame is stored as an image of its own
};

AviVideo MjpgAviVideo(const VideoFormat& format);

// A RIFF list as large as one GiB is what every reader of OpenDML takes.
inline constexpr uint64_t kAviRiffBytes = uint64_t{1} << 30;

class AviWriter : public StreamWriter {
 public:
  // A new RIFF list begins where the last one would exceed `riff_bytes`.
  AviWriter(const std::string& path, AviVideo video, Overwrite overwrite,
            uint64_t riff_bytes = kAviRiffBytes);

  void Write(const Bytes& stream) override;
  void Finish() override;

 private:
  struct IndexEntry {
    uint32_t offset;  // of the chunk's data, from the beginning of its RIFF list
    uint32_t size;
  };
  // A standard index and what it covers, for the superindex.
  struct RiffIndex {
    uint64_t offset;
    uint32_t bytes;
    uint32_t frames;
  };

  void WriteHeaders();
  Bytes Headers() const;
  Bytes MainHeader() const;
  Bytes StreamHeader() const;
  Bytes SuperIndex() const;
  Bytes VideoProperties() const;
  void BeginRiff();
  void EndRiff();
  void WriteStandardIndex();
  void WriteOldIndex();
  uint64_t RiffBytesWith(uint64_t chunk) const;
  void PatchWord(uint64_t offset, uint64_t value);

  AviVideo video_;
  OutputFile file_;
  uint64_t riff_limit_;
  uint64_t riff_start_ = 0;  // of the RIFF list being written
  uint64_t movi_start_ = 0;  // of the size word of its movi list
  std::vector<IndexEntry> index_;
  std::vector<RiffIndex> riffs_;
  uint64_t frames_ = 0;
  uint64_t first_riff_frames_ = 0;
  uint32_t largest_ = 0;
};

}  // namespace tkmjpg::tool
