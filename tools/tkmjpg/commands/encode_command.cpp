#include "tools/tkmjpg/commands/encode_command.h"

#include <memory>
#include <string>

#include "tools/tkmjpg/commands/encode_film.h"
#include "tools/tkmjpg/commands/source_options.h"
#include "tools/tkmjpg/commands/threads_option.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/same_file.h"

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
    "--target-size and --bitrate: where a rate window begins, the encoder forgets what it knows "
    "of\n"
    "the frames before. Windows are coded at once, on as many threads as there are, and parts "
    "that\n"
    "begin where a window does (--frames, in one job each) have the bytes of the whole film: "
    "`tkmjpg"
    "\n"
    "split-plan` and `tkmjpg join`. With --quality parts may begin anywhere. With --manifest "
    "nothing"
    "\n"
    "is kept of a part that ends early.\n"
    "\n"
    "A signal (Ctrl-C, SIGTERM, SIGHUP), a full disk or an input that breaks off ends the film "
    "with\n"
    "the frames before, in a whole file, and one line says so; there is none before the first "
    "frame.\n"
    "\n"
    "Frames count from 0 in messages. Exit code: 0 done, 1 bad input or an output that cannot be\n"
    "written (what there is of the film is kept), 2 bad usage, 3 frames of the film that was read\n"
    "were damaged, 130, 143 or 129 after a signal.";

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
  if (options.rate_window && !options.HasRateControl()) {
    throw UsageError("--rate-window needs --target-size or --bitrate");
  }
  if (options.progressive) options.source.field_order = FieldOrder::kProgressive;
  if (options.fields == "top") options.source.field_order = FieldOrder::kTopFirst;
  if (options.fields == "bottom") options.source.field_order = FieldOrder::kBottomFirst;
  CheckRange(options);
  options.source.keep_full_range = options.StreamRange() == Range::kFull;
  RefuseSameFile(options.input, options.output);
  if (!options.sound.empty()) RefuseSameFile(options.sound, options.output);
  EncodeFilm(options);
}

void AddInputOptions(const Command& command, EncodeOptions& o) {
  command.Add("INPUT", o.input, "what to read, see below").Required();
  command.Add("OUTPUT", o.output, "what to write, see below").Required();
  AddSourceOptions(command, o.source);
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
      .Add("--rate-window", o.rate_window,
           "start the rate control again at each frame whose number is a multiple of this; 0: "
           "never; default: 250, into a pipe 0")
      .NotNegative();
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
  AddPartOptions(command, o.part);
  AddThreadsOption(command, o.threads, "frames coded at once; the bytes are the same");
  command.AddFlag("--keep-going", o.source.keep_going,
                  "go on where a frame of a film cannot be read: with the one before it");
  command.AddFlag("-f,--force", o.force, "replace an output that exists");
  command.AddFlag("-q,--quiet", o.quiet, "print nothing but errors");
}

}  // namespace

void AddEncodeCommand(const CommandLine& line) {
  const Command command = line.AddCommand("encode", "Raw video in, Motion-JPEG out");
  auto options = std::make_shared<EncodeOptions>();
  AddInputOptions(command, *options);
  AddCodingOptions(command, *options);
  AddRunOptions(command, *options);
  command.Footer(kFooter);
  command.Run([options, &line] {
    options->part.words = line.Words();
    Encode(*options);
  });
}

}  // namespace tkmjpg::tool
