#include "tools/tkmjpg/commands/decode_film.h"

#include <atomic>
#include <utility>

#include "tkmjpg.h"
#include "tools/tkmjpg/commands/conceal.h"
#include "tools/tkmjpg/commands/frame_decoder.h"
#include "tools/tkmjpg/commands/ordered_pipeline.h"
#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

struct FrameJob {
  Bytes stream;  // empty: the last frame again
  Bytes packed;
  Picture picture;  // kept for the frame after it, if that may need it
  DecodedFrame decoded;
};

// What a frame in field mode becomes depends on whether the one before it had one image, which is
// known for sure only in sequence. So each thread decodes with the memory that the last written
// frame left, and a frame whose guess turns out wrong is decoded again when its turn to be written
// comes. That is a few frames at each change between fields and pairs; films hardly have any.
class Film {
 public:
  Film(StreamReader& reader, const VideoFormat& format, FrameWriter& writer,
       const FilmSettings& settings)
      : reader_(reader),
        writer_(writer),
        settings_(settings),
        decoder_(format.width, format.height, writer.Layout(), settings.flags, format.chroma),
        pictures_(static_cast<size_t>(settings.threads)) {}

  FilmResult Run() {
    SkipToFirst();
    RunOrdered<FrameJob>(
        settings_.threads, [this](FrameJob& job) { return Read(job); },
        [this](FrameJob& job, int thread) {
          Work(job, settings_.conceal ? job.picture : pictures_[static_cast<size_t>(thread)]);
        },
        [this](FrameJob& job) { Write(job); });
    return result_;
  }

 private:
  // The frame before the first one is decoded for what it leaves in the memory, and for the frames
  // that repeat it.
  void SkipToFirst() {
    Bytes stream;
    next_ = reader_.Skip(settings_.range.first, stream);
    if (!stream.empty()) {
      const DecodedFrame decoded = decoder_.Decode(stream, memory_, again_);
      memory_ = decoded.memory_after;
      if (decoded.refusal.empty()) writer_.Pack(again_, last_);
    }
    guess_ = memory_;
    written_ = next_;
  }

  bool Read(FrameJob& job) {
    if (next_ > settings_.range.last || !reader_.Read(job.stream)) return false;
    ++next_;
    return true;
  }

  void Work(FrameJob& job, Picture& picture) {
    if (job.stream.empty()) return;
    Decode(job, guess_.load(std::memory_order_relaxed), picture);
  }

  void Decode(FrameJob& job, uint32_t memory, Picture& picture) {
    job.decoded = decoder_.Decode(job.stream, memory, picture);
    if (job.decoded.refusal.empty()) writer_.Pack(picture, job.packed);
  }

  void Write(FrameJob& job) {
    if (!job.stream.empty()) Settle(job);
    if (last_.empty()) {  // a film that begins with a frame that repeats the one before it
      decoder_.MakeBlack(again_);
      writer_.Pack(again_, last_);
    }
    writer_.Write(last_);
    ++result_.frames;
    ++written_;
    result_.stream_bytes += job.stream.size();
    settings_.progress(job.stream.size());
  }

  // Makes `last_` the picture of this frame.
  void Settle(FrameJob& job) {
    if (job.decoded.refusal.empty() && job.decoded.memory_before != memory_) {
      Decode(job, memory_, settings_.conceal ? job.picture : again_);
    }
    if (job.decoded.refusal.empty()) {
      memory_ = job.decoded.memory_after;
      guess_.store(memory_, std::memory_order_relaxed);
      if (!job.decoded.damage.empty()) SettleDamage(job);
      std::swap(last_, job.packed);
      if (settings_.conceal) std::swap(last_picture_, job.picture);
      return;
    }
    if (!settings_.keep_going && !settings_.conceal) {
      throw InputError(settings_.name + ": " + Place() + ": " + job.decoded.refusal);
    }
    Note(result_.repeated, Place() + ": " + job.decoded.refusal);
  }

  void SettleDamage(FrameJob& job) {
    Note(result_.damaged, Describe(job.decoded.damage.front(), Place()));
    if (!settings_.conceal) return;
    if (!Conceal(job.stream, decoder_, last_picture_, job.picture)) return;
    ++result_.concealed;
    writer_.Pack(job.picture, job.packed);
  }

  std::string Place() const { return "frame " + std::to_string(written_); }

  void Note(int64_t& count, const std::string& what) {
    ++count;
    if (result_.first_damage.empty()) result_.first_damage = what;
  }

  StreamReader& reader_;
  FrameWriter& writer_;
  const FilmSettings& settings_;
  FrameDecoder decoder_;
  std::vector<Picture> pictures_;  // one a thread
  Picture again_;                  // for frames that are decoded in sequence
  Bytes last_;                     // the last frame that was written
  Picture last_picture_;           // and what it shows, where lost lines are concealed
  int64_t next_ = 0;               // frame to read
  int64_t written_ = 0;            // frame to write
  uint32_t memory_ = kNewMemory;   // as the last written frame left it
  std::atomic<uint32_t> guess_ = kNewMemory;
  FilmResult result_;
};

}  // namespace

FilmResult DecodeFilm(StreamReader& reader, const VideoFormat& format, FrameWriter& writer,
                      const FilmSettings& settings) {
  return Film(reader, format, writer, settings).Run();
}

}  // namespace tkmjpg::tool
