#include "tools/tkmjpg/commands/compared_film.h"

#include <optional>

#include "tkmjpg.h"
#include "tools/tkmjpg/commands/frame_range.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/avi_picture_reader.h"
#include "tools/tkmjpg/media/open_input.h"
#include "tools/tkmjpg/media/sample_range.h"
#include "tools/tkmjpg/terminal/interrupt.h"

namespace tkmjpg::tool {
namespace {

// Null for compressed films.
std::unique_ptr<FrameReader> OpenRaw(const std::string& path, const StreamOptions& stream) {
  if (IsStream(path)) return IsAviFile(path) ? OpenAviPictures(path, std::nullopt) : nullptr;
  InputOptions options;
  options.start = stream.start;
  options.keep_full_range = true;
  return OpenFrameReader(path, options);
}

}  // namespace

ComparedFilm::ComparedFilm(const std::string& path, const StreamOptions& options)
    : path_(path), frames_(OpenRaw(path, options)), memory_(kNewMemory), guess_(kNewMemory) {
  if (frames_) return;
  stream_ = std::make_unique<FilmInput>(path, options, 0);
  stream_->RequireSize();
}

bool ComparedFilm::Read(ComparedFrame& frame) {
  StopIfInterrupted();
  frame.planes.reset();
  return stream_ ? stream_->Read(frame.bytes) : frames_->Read(frame.bytes);
}

// The frame before the first one is decoded for what it leaves in the memory, and for the frames
// that repeat it.
void ComparedFilm::SkipTo(int64_t first) {
  ComparedFrame before;
  settled_ = stream_ ? stream_->Skip(first, before.bytes) : frames_->Skip(first);
  if (settled_ < first) CheckReached(path_, {first}, settled_);
  if (before.bytes.empty()) return;
  Picture picture;
  Decode(before, memory_, picture);
  memory_ = before.decoded.memory_after;
  guess_.store(memory_, std::memory_order_relaxed);
  last_ = before.planes;
}

void ComparedFilm::Unpack(ComparedFrame& frame, Picture& picture) const {
  if (stream_) {
    if (!frame.bytes.empty()) Decode(frame, guess_.load(std::memory_order_relaxed), picture);
    return;
  }
  frames_->Unpack(frame.bytes, picture);
  MakePlanes(frame, picture);
}

bool ComparedFilm::Settle(ComparedFrame& frame, Picture& picture) {
  const int64_t number = settled_++;
  if (!stream_) return false;
  if (frame.bytes.empty()) {
    if (!last_) {
      Decoder().MakeBlack(picture);
      MakePlanes(frame, picture);
      last_ = frame.planes;
    }
    frame.planes = last_;
    return true;
  }
  const bool wrong_guess = frame.decoded.memory_before != memory_;
  if (wrong_guess) Decode(frame, memory_, picture);
  if (!frame.decoded.refusal.empty()) {
    throw InputError(path_ + ": frame " + std::to_string(number) + ": " + frame.decoded.refusal);
  }
  if (!frame.decoded.damage.empty() && damaged_++ == 0) {
    first_damage_ = Describe(frame.decoded.damage.front(), "frame " + std::to_string(number));
  }
  memory_ = frame.decoded.memory_after;
  guess_.store(memory_, std::memory_order_relaxed);
  last_ = frame.planes;
  return wrong_guess;
}

std::string ComparedFilm::Damage() const {
  if (damaged_ == 0) return {};
  return first_damage_ + " (" + std::to_string(damaged_) +
         (damaged_ == 1 ? " frame damaged)" : " frames damaged)");
}

FrameDecoder ComparedFilm::Decoder() const {
  return {Format().width, Format().height, TKMJPG_YuYv, stream_->DecodeFlags()};
}

void ComparedFilm::Decode(ComparedFrame& frame, uint32_t memory, Picture& picture) const {
  frame.decoded = Decoder().Decode(frame.bytes, memory, picture);
  if (frame.decoded.refusal.empty()) MakePlanes(frame, picture);
}

void ComparedFilm::MakePlanes(ComparedFrame& frame, const Picture& picture) const {
  const auto planes = std::make_shared<YuvPlanes>();
  MakeYuvPlanes(picture, Format().width, Format().height, *planes);
  if (makes_limited_) {
    const RangeTables& tables = TablesTo(Range::kLimited);
    ChangeSamples(tables.luma, planes->planes[0]);
    ChangeSamples(tables.chroma, planes->planes[1]);
    ChangeSamples(tables.chroma, planes->planes[2]);
  }
  frame.planes = planes;
}

}  // namespace tkmjpg::tool
