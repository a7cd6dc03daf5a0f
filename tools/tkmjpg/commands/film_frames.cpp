#include "tools/tkmjpg/commands/film_frames.h"

#include <cstring>
#include <mutex>

#include "tkmjpg.h"
#include "tools/tkmjpg/commands/film_input.h"
#include "tools/tkmjpg/commands/frame_decoder.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/avi_picture_reader.h"

namespace tkmjpg::tool {
namespace {

class FilmFrames : public FrameReader {
 public:
  FilmFrames(const std::string& name, const StreamOptions& stream, const InputOptions& options)
      : name_(name), film_(name, stream, 0), keep_going_(options.keep_going) {
    film_.RequireSize();
    format_ = film_.Format();
    if (options.field_order) format_.field_order = *options.field_order;
    // Luma as the stream has it; alpha comes with RGB only.
    decoder_ = std::make_unique<FrameDecoder>(format_.width, format_.height,
                                              options.alpha ? TKMJPG_BGRA : TKMJPG_YuYv,
                                              film_.DecodeFlags());
  }

  const VideoFormat& Format() const override { return format_; }
  int64_t FrameCount() const override { return film_.FrameCount(); }
  SoundTracks OpenSound() override { return film_.OpenSound(); }

  // The frame's number, for messages, then the stream.
  bool Read(Bytes& raw) override {
    if (!film_.Read(raw)) return false;
    if (keep_going_ && !raw.empty()) Replace(raw);
    if (raw.empty()) raw = last_;  // the frame before goes on
    last_ = raw;
    if (frame_ == 0 && !raw.empty()) {
      Picture picture;
      memory_ = decoder_->Decode(raw, kNewMemory, picture).memory_after;
    }
    Bytes number(sizeof frame_);
    std::memcpy(number.data(), &frame_, sizeof frame_);
    raw.insert(raw.begin(), number.begin(), number.end());
    ++frame_;
    return true;
  }

  int64_t Skip(int64_t frames) override {
    int64_t skipped = 0;
    Bytes raw;
    // The first frame is read for what it leaves in the memory.
    if (frame_ == 0 && frames > 0) {
      if (!Read(raw)) return 0;
      skipped = 1;
    }
    const int64_t more = film_.Skip(frames - skipped, last_);
    frame_ += more;
    return skipped + more;
  }

  void Unpack(const Bytes& raw, Picture& picture) const override {
    int64_t frame = 0;
    std::memcpy(&frame, raw.data(), sizeof frame);
    const std::span<const uint8_t> stream = std::span(raw).subspan(sizeof frame);
    if (stream.empty()) {  // a film that begins with a frame that repeats the one before it
      decoder_->MakeBlack(picture);
      if (picture.layout == TKMJPG_YuYv) picture.layout = TKMJPG_YUY2;
      return;
    }
    const DecodedFrame decoded =
        decoder_->Decode(stream, frame == 0 ? kNewMemory : memory_, picture);
    if (!decoded.refusal.empty()) {
      throw InputError(name_ + ": frame " + std::to_string(frame) + ": " + decoded.refusal);
    }
    if (!decoded.damage.empty()) {
      Note(frame, Describe(decoded.damage.front(), "frame " + std::to_string(frame)));
    }
    if (picture.layout == TKMJPG_YuYv) picture.layout = TKMJPG_YUY2;  // the same to an encoder
  }

  std::vector<std::string> Problems() const override { return film_.Problems(); }

  DamageCount Damaged() const override {
    const std::lock_guard lock(mutex_);
    return damaged_;
  }

 private:
  // A stream that cannot be decoded gives way to the one before it.
  void Replace(Bytes& raw) const {
    const std::string refusal = AnalyseFrame(raw).refusal;
    if (refusal.empty()) return;
    Note(frame_, "frame " + std::to_string(frame_) + ": " + refusal);
    raw.clear();
  }

  void Note(int64_t frame, const std::string& what) const {
    const std::lock_guard lock(mutex_);
    damaged_.Add({1, frame, what});
  }

  std::string name_;
  FilmInput film_;
  VideoFormat format_;
  bool keep_going_;
  std::unique_ptr<FrameDecoder> decoder_;
  Bytes last_;
  int64_t frame_ = 0;
  uint32_t memory_ = kNewMemory;  // as the first frame leaves it

  mutable std::mutex mutex_;
  mutable DamageCount damaged_;
};

void RefuseFilmOptions(const std::string& name, const InputOptions& options) {
  const char* option = options.first_image != "auto" ? "--first-image"
                       : options.range != "auto"     ? "--input-range"
                                                     : nullptr;
  if (option != nullptr) throw UsageError(std::string(option) + ": " + name + " is no film");
}

}  // namespace

std::unique_ptr<FrameReader> OpenFrames(const std::string& name, const InputOptions& options) {
  if (!options.size.empty() || !IsStream(name)) {
    RefuseFilmOptions(name, options);
    return OpenFrameReader(name, options);
  }
  if (!options.layout.empty()) throw UsageError("--layout needs --size");
  if (IsAviFile(name)) {
    if (auto pictures = OpenAviPictures(name, options.field_order)) {
      RefuseFilmOptions(name, options);
      if (options.alpha) throw UsageError("--alpha: uncompressed AVI has no alpha plane");
      if (!options.rate.empty()) throw UsageError("--rate: " + name + " tells its own");
      return pictures;
    }
  }
  StreamOptions stream;
  stream.pairs = options.field_pairs;
  stream.start = options.start;
  stream.rate = options.rate;
  stream.first_image = options.first_image;
  stream.range = options.range;
  return std::make_unique<FilmFrames>(name, stream, options);
}

}  // namespace tkmjpg::tool
