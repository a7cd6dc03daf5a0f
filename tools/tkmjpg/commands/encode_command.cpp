#include "tools/tkmjpg/commands/encode_command.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tools/tkmjpg/commands/film_end.h"
#include "tools/tkmjpg/commands/film_frames.h"
#include "tools/tkmjpg/commands/film_sound.h"
#include "tools/tkmjpg/commands/frame_encoder.h"
#include "tools/tkmjpg/commands/ordered_pipeline.h"
#include "tools/tkmjpg/commands/stream_options.h"
#include "tools/tkmjpg/commands/threads_option.h"
#include "tools/tkmjpg/commands/warnings.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/open_input.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/media/same_file.h"
#include "tools/tkmjpg/terminal/interrupt.h"
#include "tools/tkmjpg/terminal/progress.h"

namespace tkmjpg::tool {
namespace {

constexpr char kFooter[] =
    "INPUT is a Y4M file (4:2:0, 4:2:2, 4:4:4 or mono, 8 bits; - is standard input), a PNG, PPM,\n"
    "PGM or JPEG picture or sequence (frame_%04d.png, from 0, 1 or --start on, without gaps), a\n"
    "Motion-JPEG film in any container that decode reads, uncompressed AVI (BGR, YUY2, UYVY), raw\n"
    "frames (with --size), or a moving test picture made here (testcard:720x576@25 has 100 "
    "frames,\n"
    "testcard:720x576@25:FRAMES as many as it says). A film's sound goes along into AVI as it is.\n"
    "OUTPUT is NAME.avi, NAME.mjpg (frames back to back; - is standard output), or NAME.jpg or\n"
    "NAME_%04d.jpg (a file for each frame, from 0 on). It gets its name when it is whole. A file\n"
    "that exists is kept unless --force is given; its mode and symbolic links to it stay. The\n"
    "input is never replaced, and nothing is written to a terminal.\n"
    "\n"
    "--for players (default): plays in FFmpeg, VLC, mpv, GStreamer and mjpegtools. Fields have "
    "the\n"
    "even lines first, comments in the stream say so and that luma is 16 to 235, and heights are\n"
    "exact. Browsers and jpegdec of GStreamer take all JPEG for 0 to 255: --range full is for "
    "them.\n"
    "--for driver: for Windows hosts with the codec's driver: odd lines first, no comments.\n"
    "`tkmjpg decode` reads both.\n"
    "\n"
    "Interlaced Y4M is coded as two images a frame, one a field; --fields and --progressive say\n"
    "otherwise. Line 0 belongs to the top field. 4:2:0 chroma is interpolated between lines where\n"
    "its siting says, within each field of interlaced video. Y4M says its range (XCOLORRANGE);\n"
    "raw YUV is taken for 16 to 235.\n"
    "\n"
    "A signal (Ctrl-C, SIGTERM, SIGHUP), a full disk or an input that breaks off ends the film "
    "with\n"
    "the frames before, in a whole file, and one line says so; there is none before the first "
    "frame.\n"
    "\n"
    "Frames count from 0 in messages. Exit code: 0 done, 1 bad input or an output that cannot be\n"
    "written (what there is of the film is kept), 2 bad usage, 130, 143 or 129 after a signal.";

struct EncodeOptions {
  std::string input, output, sound;
  InputOptions source;
  int quality = 75;
  std::string target_size, bitrate, fields;
  int mode = -1;  // as the range wants it
  std::string profile = "players", range = "limited";
  bool strong = false;
  bool huffman_tables = true;
  bool progressive = false;
  bool keep_going = false;
  bool quiet = false;
  bool force = false;
  int threads = 1;

  bool HasRateControl() const { return !target_size.empty() || !bitrate.empty(); }
  Profile For() const { return profile == "driver" ? Profile::kDriver : Profile::kPlayers; }
  Range StreamRange() const { return range == "full" ? Range::kFull : Range::kLimited; }
  // Readers take JFIF for full range.
  int Mode() const { return mode >= 0 ? mode : StreamRange() == Range::kFull ? 7 : 0; }
};

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

// One run of the command.
class EncodeRun {
 public:
  EncodeRun(const EncodeOptions& options, std::unique_ptr<FrameReader> reader)
      : options_(options),
        reader_(std::move(reader)),
        settings_(Settings(options, reader_->Format())),
        writer_(OpenStreamWriter(options.output, reader_->Format(),
                                 options.force ? Overwrite::kReplace : Overwrite::kRefuse,
                                 SoundFor(options.output, options.sound, reader_->OpenSound()))),
        progress_(options.quiet ? Verbosity::kQuiet : Verbosity::kNormal, reader_->Format(),
                  reader_->FrameCount()) {}

  void Run() {
    const FilmEnd film = {options_.output, [this] { return progress_.Frames(); },
                          [this](bool early) {
                            if (early) writer_->EndSoundHere();
                            writer_->Finish();
                          }};
    RunToEnd(film, [this] {
      options_.HasRateControl() ? CodeInSequence() : CodeAtOnce();
      if (progress_.Frames() == 0 && !Interrupted()) {
        throw InputError(options_.input + ": holds no frame");
      }
    });
    progress_.Summarise(options_.output);
    if (!options_.quiet) Warn();
  }

 private:
  struct Frame {
    int64_t number = 0;
    Bytes raw;
    Picture picture;
    Bytes stream;
  };

  // At a fixed quality no frame depends on another one.
  void CodeAtOnce() {
    std::vector<Worker> workers;
    workers.reserve(options_.threads);
    for (int i = 0; i < options_.threads; ++i) workers.emplace_back(reader_->Format(), settings_);
    RunOrdered<Frame>(
        options_.threads, [&](Frame& frame) { return Read(frame); },
        [&](Frame& frame, int n) {
          reader_->Unpack(frame.raw, workers[n].picture);
          Encode(workers[n].encoder, workers[n].picture, nullptr, frame);
        },
        [&](Frame& frame) { Write(frame); });
  }

  // Under rate control each frame is coded with what the last one left, so only reading and
  // unpacking run beside it.
  void CodeInSequence() {
    FrameEncoder encoder(reader_->Format(), settings_);
    CodecCarryState carry{256, 0};
    RunOrdered<Frame>(
        options_.threads, [&](Frame& frame) { return Read(frame); },
        [&](Frame& frame, int) { reader_->Unpack(frame.raw, frame.picture); },
        [&](Frame& frame) {
          Encode(encoder, frame.picture, &carry, frame);
          Write(frame);
        });
  }

  struct Worker {
    Worker(const VideoFormat& format, const FrameSettings& settings) : encoder(format, settings) {}
    FrameEncoder encoder;
    Picture picture;
  };

  // An interrupted film ends with its last whole frame: it may be a capture.
  bool Read(Frame& frame) {
    if (Interrupted()) return false;
    frame.number = next_++;
    try {
      return reader_->Read(frame.raw);
    } catch (const InputError&) {
      if (!Interrupted()) throw;
      return false;
    }
  }

  void Encode(FrameEncoder& encoder, const Picture& picture, CodecCarryState* carry,
              Frame& frame) const {
    try {
      encoder.Encode(picture, carry, frame.stream);
    } catch (const InputError& error) {
      throw InputError(options_.input + ": frame " + std::to_string(frame.number) + ": " +
                       error.what());
    }
  }

  void Write(const Frame& frame) {
    writer_->Write(frame.stream);
    progress_.Add(frame.stream.size());
    bytes_ += frame.stream.size();
  }

  void Warn() const {
    for (const std::string& problem : reader_->Problems()) WarnOf(options_.input, problem);
    const std::string lost = LostSound(options_.output, reader_->OpenSound());
    if (!lost.empty()) WarnOf(options_.input, lost);
    if (reader_->Format().rate_assumed && progress_.Frames() > 1) {
      WarnOf(options_.input, AssumedRate(reader_->Format().rate));
    }
    if (options_.HasRateControl()) WarnOfSize();
  }

  void WarnOfSize() const {
    const double mean = static_cast<double>(bytes_) / static_cast<double>(progress_.Frames());
    const std::string warning =
        SizeWarning(mean, TargetBytes(options_, reader_->Format()), reader_->Format().rate);
    if (!warning.empty()) WarnOf(options_.output, warning);
  }

  const EncodeOptions& options_;
  std::unique_ptr<FrameReader> reader_;
  FrameSettings settings_;
  std::unique_ptr<StreamWriter> writer_;
  Progress progress_;
  int64_t next_ = 0;
  uint64_t bytes_ = 0;  // of the frames that were written
};

void CheckRange(const EncodeOptions& options) {
  if (options.StreamRange() == Range::kLimited) return;
  if (options.source.alpha) throw UsageError("--alpha: the codec has it in limited range only");
  const bool says_so =
      options.For() == Profile::kPlayers || options.Mode() == 5 || options.Mode() == 7;
  if (!says_so) throw UsageError("--mode: of the driver's headers 5 and 7 alone mean full range");
}

void Encode(EncodeOptions options) {
  if (options.strong && !options.HasRateControl()) {
    throw UsageError("--strong needs --target-size or --bitrate");
  }
  if (options.progressive) options.source.field_order = FieldOrder::kProgressive;
  if (options.fields == "top") options.source.field_order = FieldOrder::kTopFirst;
  if (options.fields == "bottom") options.source.field_order = FieldOrder::kBottomFirst;
  CheckRange(options);
  options.source.keep_full_range = options.StreamRange() == Range::kFull;
  RefuseSameFile(options.input, options.output);
  if (!options.sound.empty()) RefuseSameFile(options.sound, options.output);
  auto reader = OpenFrames(options.input, options.source);
  CatchInterrupts();  // before there is an output that would be left unfinished
  EncodeRun(options, std::move(reader)).Run();
}

void AddSourceOptions(const Command& command, EncodeOptions& o) {
  command.Add("INPUT", o.input, "what to read, see below").Required();
  command.Add("OUTPUT", o.output, "what to write, see below").Required();
  command.Add("--size", o.source.size, "the input is raw frames of this size, as 720x576")
      .ValueName("WIDTHxHEIGHT");
  command.Add("--layout", o.source.layout,
              "layout of raw frames: YUY2 (default), UYVY, VYUY, BGR3, BGR4, BGRA or R555");
  command
      .Add("--rate", o.source.rate,
           "frames a second of raw frames, pictures and .mjpg, as 25 (default) or 30000/1001")
      .ValueName("RATE");
  AddStartOption(command, o.source.start);
  command.AddFlag("--field-pairs", o.source.field_pairs,
                  "in .mjpg two images without field codes make a frame");
  command.Add("--sound", o.sound, "put this FILE.wav into the AVI, in place of the film's sound")
      .ValueName("FILE");
  const Option fields = command.Add("--fields", o.fields,
                                    "code two fields a frame; which comes first: top or bottom");
  fields.OneOf({"top", "bottom"});
  command.AddFlag("--progressive", o.progressive, "code whole frames").Excludes(fields);
  command
      .Add("--for", o.profile,
           "what will read the film: players (default), or programs with the driver")
      .OneOf({"players", "driver"});
  command
      .Add("--range", o.range, "range of luma in the stream: limited (16 to 235, default) or full")
      .OneOf({"limited", "full"});
  command.AddFlag("--alpha", o.source.alpha, "keep the alpha plane, lossless");
}

void AddCodingOptions(const Command& command, EncodeOptions& o) {
  const Option quality = command.Add("--quality", o.quality, "1 (smallest) to 100 (best)");
  quality.ShowDefault().Within(1, 100);
  const Option target =
      command
          .Add("--target-size", o.target_size, "bytes that each frame comes near, as 40000 or 40k")
          .ValueName("BYTES");
  const Option bitrate =
      command.Add("--bitrate", o.bitrate, "bits a second that the film comes near, as 25M")
          .ValueName("BITS");
  quality.Excludes(target).Excludes(bitrate);
  target.Excludes(bitrate);
  command.AddFlag("--strong", o.strong, "code frames again that are far off their size");
  command
      .Add("--mode", o.mode,
           "header style: 0 AVI1 (default), 1 short with DC30, 2 short, 3 AVI1 without "
           "restart interval, 5 JFIF 1.00, 7 JFIF 1.02 (default of --range full); 4 and 6 are as "
           "0")
      .Within(0, 7);
  command.AddFlag("--huffman-tables,!--no-huffman-tables", o.huffman_tables,
                  "write the Huffman tables into each image (default), or leave them out");
}

void AddRunOptions(const Command& command, EncodeOptions& o) {
  AddThreadsOption(command, o.threads, "frames coded at once; the bytes are the same");
  command.AddFlag("--keep-going", o.keep_going,
                  "for scripts; what comes before the damage is kept in any case");
  command.AddFlag("-f,--force", o.force, "replace an output that exists");
  command.AddFlag("-q,--quiet", o.quiet, "print nothing but errors");
}

}  // namespace

void AddEncodeCommand(const CommandLine& line) {
  const Command command = line.AddCommand("encode", "Raw video in, Motion-JPEG out");
  auto options = std::make_shared<EncodeOptions>();
  AddSourceOptions(command, *options);
  AddCodingOptions(command, *options);
  AddRunOptions(command, *options);
  command.Footer(kFooter);
  command.Run([options] { Encode(*options); });
}

}  // namespace tkmjpg::tool
