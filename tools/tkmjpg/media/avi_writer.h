// AVI out: one video stream and any sound, with an old index for old readers and OpenDML indexes
// for files of any length.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/tkmjpg/media/avi_sound_track.h"
#include "tools/tkmjpg/media/avi_track.h"
#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/output_file.h"
#include "tools/tkmjpg/media/riff_bytes.h"

namespace tkmjpg::tool {

// What the stream holds.
struct AviVideo {
  VideoFormat format;
  uint32_t handler = 0;       // of the stream header
  uint32_t chunk_id = 0;      // of each frame, "00dc" or "00db"
  Bytes stream_format;        // the `strf` chunk: a BITMAPINFOHEADER and what follows it
  bool field_images = false;  // each field of a frame is stored as an image of its own
  std::string comment = {};   // of the file; empty: none
};

AviVideo MjpgAviVideo(const VideoFormat& format);

// When so many frames are over, as the writer counts time.
double FrameSeconds(const VideoFormat& format, uint64_t frames);

// A RIFF list as large as one GiB is what every reader of OpenDML takes.
inline constexpr uint64_t kAviRiffBytes = uint64_t{1} << 30;

class AviWriter : public StreamWriter {
 public:
  // A new RIFF list begins where the last one would exceed `riff_bytes`. The sound of a frame is
  // written before it, what is left of it at the end.
  AviWriter(const std::string& path, AviVideo video, Overwrite overwrite,
            const SoundTracks& sound = {}, uint64_t riff_bytes = kAviRiffBytes);

  void Write(const Bytes& stream) override;
  void EndSoundHere() override;
  void SetComment(const std::string& comment) override { video_.comment = comment; }
  void Finish() override;

 private:
  // Of a chunk of the first RIFF list, the only one that the old index covers.
  struct OldIndexEntry {
    uint32_t chunk_id;
    uint32_t offset;  // of the chunk's data, from the beginning of its RIFF list
    uint32_t size;
  };

  Bytes Headers() const;
  Bytes MainHeader() const;
  Bytes StreamHeader() const;
  Bytes VideoProperties() const;
  void BeginRiff();
  void BeginMovi();
  void EndRiff();
  void WriteStandardIndexes();
  void WriteOldIndex();
  void WriteSound(double until);
  void WriteChunk(AviTrack& track, const Bytes& data);
  uint64_t RiffBytesWith(const AviTrack& track, uint64_t chunk) const;
  bool RiffIsEmpty() const;
  uint32_t LargestChunk() const;
  double Seconds(uint64_t frames) const { return FrameSeconds(video_.format, frames); }
  void PatchWord(uint64_t offset, uint64_t value);

  AviVideo video_;
  OutputFile file_;
  uint64_t riff_limit_;
  uint64_t riff_start_ = 0;  // of the RIFF list being written
  uint64_t movi_start_ = 0;  // of the size word of its movi list
  AviTrack track_;
  std::vector<AviSoundTrack> sound_;
  std::vector<OldIndexEntry> old_index_;
  uint64_t frames_ = 0;
  uint64_t first_riff_frames_ = 0;
};

}  // namespace tkmjpg::tool
