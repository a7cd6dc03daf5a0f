// One of the two films that compare reads, raw or compressed, as planes.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "tools/tkmjpg/commands/film_input.h"
#include "tools/tkmjpg/commands/frame_decoder.h"
#include "tools/tkmjpg/commands/yuv_planes.h"
#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

struct ComparedFrame {
  Bytes bytes;           // as the file holds it; empty: the last frame again
  DecodedFrame decoded;  // of compressed ones
  std::shared_ptr<const YuvPlanes> planes;
};

class ComparedFilm {
 public:
  ComparedFilm(const std::string& path, const StreamOptions& options);

  const std::string& Path() const { return path_; }
  const VideoFormat& Format() const { return stream_ ? stream_->Format() : frames_->Format(); }
  bool IsCompressed() const { return stream_ != nullptr; }
  // From here on planes of full range become limited ones.
  void MakeLimited() { makes_limited_ = Format().range == Range::kFull; }
  int64_t FrameCount() const { return stream_ ? stream_->FrameCount() : frames_->FrameCount(); }

  bool Read(ComparedFrame& frame);  // false at the end
  // Passes over the frames before `first`, once at the beginning. Throws InputError if there are
  // not so many.
  void SkipTo(int64_t first);
  // Makes the planes, on any thread. `picture` is scratch memory. A frame that repeats the one
  // before it, or cannot be decoded, has none yet.
  void Unpack(ComparedFrame& frame, Picture& picture) const;
  // In sequence: gives the frame the planes that it has after the ones before it. Returns whether
  // they are others than Unpack made. Throws InputError for a frame that cannot be decoded.
  bool Settle(ComparedFrame& frame, Picture& picture);

  // Of the frames that are settled: "frame 7: no EOI (2 frames damaged)"; empty if there is none.
  std::string Damage() const;

 private:
  FrameDecoder Decoder() const;
  void Decode(ComparedFrame& frame, uint32_t memory, Picture& picture) const;
  void MakePlanes(ComparedFrame& frame, const Picture& picture) const;

  std::string path_;
  std::unique_ptr<FilmInput> stream_;
  std::unique_ptr<FrameReader> frames_;
  bool makes_limited_ = false;
  std::shared_ptr<const YuvPlanes> last_;  // of the frame before, of compressed films
  uint32_t memory_;                        // decode_flags as the last settled frame left them
  std::atomic<uint32_t> guess_;            // the same for threads that are further on
  int64_t settled_ = 0;
  int64_t damaged_ = 0;
  std::string first_damage_;
};

}  // namespace tkmjpg::tool
