// The sound of an AVI file that is being written: what it pulls from its reader, and its header.
#pragma once

#include <memory>

#include "tools/tkmjpg/media/avi_track.h"
#include "tools/tkmjpg/media/sound.h"

namespace tkmjpg::tool {

class AviSoundTrack {
 public:
  // `stream` is its number in the file.
  AviSoundTrack(std::shared_ptr<SoundReader> reader, uint32_t stream);

  AviTrack& Track() { return track_; }
  const AviTrack& Track() const { return track_; }
  uint32_t BytesPerSecond() const { return reader_->Format().BytesPerSecond(); }

  // The next chunk that begins before `seconds`; null if there is none.
  const Bytes* Next(double seconds);
  // No sound is wanted after this time.
  void EndAt(double seconds) { end_ = seconds; }

  Bytes EndRiff(uint64_t riff_start, uint64_t at);
  Bytes Headers() const;  // its "strl" list

 private:
  bool Fetch();
  Bytes StreamHeader() const;

  std::shared_ptr<SoundReader> reader_;
  AviTrack track_;
  SoundClock clock_;
  Bytes chunk_;
  bool waiting_ = false;  // chunk_ has not been delivered
  bool at_end_ = false;
  double end_;
  uint64_t indexed_ = 0;  // units in the indexes that are written
};

}  // namespace tkmjpg::tool
