#include "tools/tkmjpg/commands/encode_film.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <exception>
#include <memory>
#include <set>
#include <utility>
#include <vector>

#include "tools/tkmjpg/commands/film_end.h"
#include "tools/tkmjpg/commands/film_frames.h"
#include "tools/tkmjpg/commands/film_sound.h"
#include "tools/tkmjpg/commands/ordered_pipeline.h"
#include "tools/tkmjpg/commands/warnings.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/input_file.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/terminal/interrupt.h"
#include "tools/tkmjpg/terminal/progress.h"

namespace tkmjpg::tool {
namespace {

// "25M" is 25 million, "1.5k" 1500.
double ParseAmount(const std::string& option, const std::string& text) {
  double amount = 0;
  const char* last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, amount);
  const std::string unit(end, last);
  const double scale = unit.empty()                 ? 1
                       : unit == "k" || unit == "K" ? 1e3
                       : unit == "M"                ? 1e6
                       : unit == "G"                ? 1e9
                                                    : 0;
  if (error != std::errc() || scale == 0 || !(amount > 0) || amount * scale > 1e15) {
    throw UsageError(option + ": '" + text + "' is no amount such as 40000, 500k or 25M");
  }
  return amount * scale;
}

int32_t TargetBytes(const EncodeOptions& options, const VideoFormat& format) {
  const double bytes = options.bitrate.empty() ? ParseAmount("--target-size", options.target_size)
                                               : ParseAmount("--bitrate", options.bitrate) / 8 *
                                                     static_cast<double>(format.rate.den) /
                                                     static_cast<double>(format.rate.num);
  return static_cast<int32_t>(std::clamp(bytes, 1.0, 2147483647.0));
}

FrameSettings Settings(const EncodeOptions& options, const VideoFormat& format) {
  FrameSettings settings;
  settings.quality = options.quality;
  settings.range = options.StreamRange();
  settings.form = FormOf(format, settings.range, options.For());
  settings.flags = static_cast<uint32_t>(options.Mode()) << TKMJPG_C_MODE_SHIFT;
  settings.flags |= FieldFlags(format.field_order, options.For());
  if (options.huffman_tables) settings.flags |= TKMJPG_C_HUFFMAN_TABLES;
  if (options.source.alpha) settings.flags |= TKMJPG_C_ALPHA;
  if (options.HasRateControl()) {
    const auto marks = static_cast<int32_t>(settings.form ? settings.form->MarkBytes() : 0);
    settings.quality = std::max(TargetBytes(options, format) - marks, 1);
    settings.flags |= TKMJPG_C_RATE_CONTROL;
    if (options.strong) settings.flags |= TKMJPG_C_STRONG_RATE;
  }
  return settings;
}

// The options that the bytes depend on, for whoever puts parts together.
std::string Coding(const EncodeOptions& options) {
  std::string text = "encode ";
  if (!options.bitrate.empty()) text += "--bitrate " + options.bitrate;
  if (!options.target_size.empty()) text += "--target-size " + options.target_size;
  if (!options.HasRateControl()) text += "--quality " + std::to_string(options.quality);
  if (options.HasRateControl()) text += " --rate-window " + std::to_string(options.RateWindow());
  if (options.strong) text += " --strong";
  text += " --mode " + std::to_string(options.Mode()) + " --for " + options.profile;
  text += " --range " + options.range;
  if (!options.huffman_tables) text += " --no-huffman-tables";
  if (options.source.alpha) text += " --alpha";
  return text;
}

constexpr CodecCarryState kNewRate = TKMJPG_CARRY_INIT;

// An encoder, and what it reads if it reads on its own.
class Worker {
 public:
  Worker(const VideoFormat& format, const FrameSettings& settings) : encoder(format, settings) {}

  // Has the reader at `frame`; false if the film ends before.
  bool Open(const EncodeOptions& options, int64_t frame) {
    if (!reader) reader = OpenFrames(options.input, options.source);
    next += reader->Skip(frame - next);
    return next == frame;
  }

  FrameEncoder encoder;
  Picture picture;
  Bytes raw;
  std::unique_ptr<FrameReader> reader;
  int64_t next = 0;  // that it reads
};

// One run of the command.
class EncodeRun {
 public:
  EncodeRun(const EncodeOptions& options, FilmPart& part, std::unique_ptr<FrameReader> reader)
      : options_(options),
        part_(part),
        reader_(std::move(reader)),
        settings_(Settings(options, reader_->Format())),
        writer_(OpenStreamWriter(options.output, reader_->Format(), part.Replaces(options.force),
                                 Sound(), part.Comment(reader_->FrameCount()))),
        progress_(options.quiet ? Verbosity::kQuiet : Verbosity::kNormal, reader_->Format(),
                  part.Range().CountOf(reader_->FrameCount())) {}

  void Run() {
    const FilmEnd film = {options_.output, [this] { return progress_.Frames(); },
                          [this](bool early) { Finish(early); }, part_.WholeOnly()};
    RunToEnd(film, [this] {
      Code();
      if (progress_.Frames() > 0 || Interrupted()) return;
      CheckReached(options_.input, part_.Range(), next_);
      throw InputError(options_.input + ": holds no frame");
    });
    part_.WriteManifest(FilmFrames(), progress_.Frames());
    progress_.Summarise(options_.output);
    TakeProblems(*reader_);
    if (!options_.quiet) Warn();
    TellDamage();
  }

 private:
  struct Frame {
    int64_t number = 0;
    Bytes raw;
    Picture picture;
    Bytes stream;
  };

  // Frames that are coded with what the ones before left, and with nothing else.
  struct Window {
    int64_t first = 0, end = 0;
    std::vector<Bytes> streams;  // kept for the next window
    size_t count = 0;
    bool cut = false;  // by the end of the film, an error or a signal
    std::exception_ptr error;
  };

  SoundTracks Sound() const {
    return SoundOfPart(SoundFor(options_.output, options_.sound, reader_->OpenSound()),
                       reader_->Format(), part_.Range(), reader_->FrameCount());
  }

  void Code() {
    if (options_.HasRateControl() && options_.threads > 1 && HasWindows()) return CodeWindows();
    next_ = reader_->Skip(part_.Range().first);
    if (next_ < part_.Range().first) return;
    options_.HasRateControl() ? CodeInSequence() : CodeAtOnce();
  }

  // Each window is read by whoever codes it, so that not more than the compressed frames wait.
  bool HasWindows() const {
    const int64_t window = options_.RateWindow();
    const int64_t frames = part_.Range().CountOf(reader_->FrameCount());
    return window > 0 && !IsPipe(options_.input) && (frames < 0 || frames > window);
  }

  std::vector<Worker> MakeWorkers() const {
    std::vector<Worker> workers;
    workers.reserve(static_cast<size_t>(options_.threads));
    for (int i = 0; i < options_.threads; ++i) workers.emplace_back(reader_->Format(), settings_);
    return workers;
  }

  // At a fixed quality no frame depends on another one.
  void CodeAtOnce() {
    std::vector<Worker> workers = MakeWorkers();
    RunOrdered<Frame>(
        options_.threads, [&](Frame& frame) { return Read(frame); },
        [&](Frame& frame, int n) {
          reader_->Unpack(frame.raw, workers[n].picture);
          Encode(workers[n].encoder, workers[n].picture, nullptr, frame.number, frame.stream);
        },
        [&](Frame& frame) { Write(frame.stream); });
  }

  // Under rate control each frame is coded with what the last one left, so only reading and
  // unpacking run beside it.
  void CodeInSequence() {
    FrameEncoder encoder(reader_->Format(), settings_);
    const int64_t window = options_.RateWindow();
    CodecCarryState carry = kNewRate;
    RunOrdered<Frame>(
        options_.threads, [&](Frame& frame) { return Read(frame); },
        [&](Frame& frame, int) { reader_->Unpack(frame.raw, frame.picture); },
        [&](Frame& frame) {
          if (window > 0 && frame.number % window == 0) carry = kNewRate;
          Encode(encoder, frame.picture, &carry, frame.number, frame.stream);
          Write(frame.stream);
        });
  }

  void CodeWindows() {
    std::vector<Worker> workers = MakeWorkers();
    workers[0].reader = std::move(reader_);
    reader_ = OpenFrames(options_.input, options_.source);  // for what is told at the end
    std::atomic<bool> ended = false;
    next_ = part_.Range().first;
    RunOrdered<Window>(
        options_.threads, [&](Window& window) { return !ended && NextWindow(window); },
        [&](Window& window, int n) {
          CodeWindow(workers[static_cast<size_t>(n)], window);
          if (window.cut) ended = true;
        },
        [&](Window& window) { WriteWindow(window); });
    for (const Worker& worker : workers) {
      if (worker.reader) TakeProblems(*worker.reader);
    }
  }

  bool NextWindow(Window& window) {
    if (Interrupted() || next_ > part_.Range().last) return false;
    const int64_t size = std::max<int64_t>(options_.RateWindow(), 1);
    window.first = next_;
    next_ = (next_ / size + 1) * size;
    if (next_ > part_.Range().last) next_ = part_.Range().last + 1;
    window.end = next_;
    return true;
  }

  void CodeWindow(Worker& worker, Window& window) const {
    window.count = 0;
    window.cut = true;
    window.error = nullptr;
    try {
      if (!worker.Open(options_, window.first)) return;
      CodecCarryState carry = kNewRate;
      for (; worker.next < window.end; ++window.count) {
        if (Interrupted() || !worker.reader->Read(worker.raw)) return;
        const int64_t number = worker.next++;
        if (window.count == window.streams.size()) window.streams.emplace_back();
        worker.reader->Unpack(worker.raw, worker.picture);
        Encode(worker.encoder, worker.picture, &carry, number, window.streams[window.count]);
      }
      window.cut = false;
    } catch (...) {
      window.error = std::current_exception();
    }
  }

  // Nothing is written after a window that was cut: the film ends there.
  void WriteWindow(const Window& window) {
    if (ended_) return;
    for (size_t i = 0; i < window.count; ++i) Write(window.streams[i]);
    ended_ = window.cut;
    if (window.error) std::rethrow_exception(window.error);
  }

  // An interrupted film ends with its last whole frame: it may be a capture.
  bool Read(Frame& frame) {
    if (Interrupted() || next_ > part_.Range().last) return false;
    frame.number = next_;
    try {
      if (!reader_->Read(frame.raw)) {
        ended_ = true;
        return false;
      }
    } catch (const InputError&) {
      if (!Interrupted()) throw;
      return false;
    }
    ++next_;
    return true;
  }

  void Encode(FrameEncoder& encoder, const Picture& picture, CodecCarryState* carry, int64_t number,
              Bytes& stream) const {
    try {
      encoder.Encode(picture, carry, stream);
    } catch (const InputError& error) {
      throw InputError(options_.input + ": frame " + std::to_string(number) + ": " + error.what());
    }
  }

  void Write(const Bytes& stream) {
    writer_->Write(stream);
    progress_.Add(stream.size());
    part_.Add(stream);
    bytes_ += stream.size();
  }

  // -1 if unknown.
  int64_t FilmFrames() const {
    const int64_t count = reader_->FrameCount();
    return count >= 0 || !ended_ ? count : part_.Range().first + progress_.Frames();
  }

  void Finish(bool early) {
    if (early) writer_->EndSoundHere();
    writer_->SetComment(part_.Comment(FilmFrames(), progress_.Frames()));
    writer_->Finish();
  }

  void TakeProblems(const FrameReader& reader) {
    for (const std::string& problem : reader.Problems()) problems_.insert(problem);
    damaged_.Add(reader.Damaged());
  }

  void TellDamage() const {
    if (damaged_.frames == 0) return;
    throw DamageError(options_.input + ": " + damaged_.what + " (" +
                      std::to_string(damaged_.frames) +
                      (damaged_.frames == 1 ? " frame" : " frames") + " damaged)");
  }

  void Warn() const {
    for (const std::string& problem : problems_) WarnOf(options_.input, problem);
    const std::string lost = LostSound(options_.output, reader_->OpenSound());
    if (!lost.empty()) WarnOf(options_.input, lost);
    if (reader_->Format().rate_assumed && progress_.Frames() > 1) {
      WarnOf(options_.input, AssumedRate(reader_->Format().rate));
    }
    if (options_.HasRateControl()) WarnOfSize();
    if (options_.HasRateControl()) WarnOfBegin();
  }

  void WarnOfSize() const {
    const double mean = static_cast<double>(bytes_) / static_cast<double>(progress_.Frames());
    const std::string warning =
        SizeWarning(mean, TargetBytes(options_, reader_->Format()), reader_->Format().rate);
    if (!warning.empty()) WarnOf(options_.output, warning);
  }

  void WarnOfBegin() const {
    const int64_t first = part_.Range().first, window = options_.RateWindow();
    if (first == 0 || (window > 0 && first % window == 0)) return;
    const std::string where = window == 0 ? "no frame but 0 begins a rate window"
                                          : "frame " + std::to_string(first) +
                                                " begins none of the rate windows of " +
                                                std::to_string(window);
    WarnOf(options_.output, where + ": the film in one go has other bytes here");
  }

  const EncodeOptions& options_;
  FilmPart& part_;
  std::unique_ptr<FrameReader> reader_;
  FrameSettings settings_;
  std::unique_ptr<StreamWriter> writer_;
  Progress progress_;
  int64_t next_ = 0;    // frame to read
  bool ended_ = false;  // the film, or what is written of it
  uint64_t bytes_ = 0;  // of the frames that were written
  std::set<std::string> problems_;
  DamageCount damaged_;
};

}  // namespace

int64_t EncodeOptions::RateWindow() const {
  return rate_window.value_or(IsPipe(output) ? 0 : kRateWindow);
}

void EncodeFilm(const EncodeOptions& options) {
  FilmPart part(options.part, options.output, Coding(options));
  if (part.IsDone()) return TellDone(options.output, options.quiet);
  auto reader = OpenFrames(options.input, options.source);
  CatchInterrupts();  // before there is an output that would be left unfinished
  part.Begin(options.force);
  EncodeRun(options, part, std::move(reader)).Run();
}

}  // namespace tkmjpg::tool
