#include "tools/tkmjpg/commands/decode_command.h"

#include <memory>

#include "tools/tkmjpg/commands/decode_options.h"
#include "tools/tkmjpg/commands/film_sound.h"
#include "tools/tkmjpg/commands/md5_command.h"
#include "tools/tkmjpg/commands/warnings.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/open_frame_output.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/media/same_file.h"
#include "tools/tkmjpg/media/wav_writer.h"

namespace tkmjpg::tool {
namespace {

constexpr char kFooter[] =
    "OUTPUT is NAME.y4m (- is standard output), NAME.png or NAME_%04d.png (from 0 on),\n"
    "NAME.avi (uncompressed, --layout YUY2 or BGR3), or raw frames: NAME.raw, NAME.yuv or any\n"
    "name with --layout. Y4M and raw frames have luma as the stream holds it (layout YuYv); YUY2\n"
    "limits it to 16 to 235. A file that exists is kept unless --force is given. The film's sound\n"
    "goes along into AVI as it is; --sound FILE.wav writes it to a file.\n"
    "\n"
    "The picture has the size that the AVI file states if the stream can be such a picture, else\n"
    "the size of the stream, with the height of two fields where there are two. Pixels that the\n"
    "stream does not reach are black.\n"
    "\n"
    "Field pairs are interleaved. Which lines the first image has is told by comments that encode\n"
    "writes; else by horizontal edges in the first eight pairs, which the wrong order tears "
    "apart;\n"
    "else by the AVI1 field codes, 1 for the odd lines. A single image\n"
    "of the full height is a whole frame whatever its field code.\n"
    "\n"
    "The comment CS=ITU601 or this codec's AVI1 header means luma of 16 to 235, JFIF and other\n"
    "JPEG 0 to 255. Y4M is marked so (XCOLORRANGE), PNG, RGB and AVI are converted. info says "
    "what\n"
    "was found and why.\n"
    "\n"
    "Every baseline, progressive and arithmetic JPEG of 8 bits is decoded: 4:2:0, 4:2:2, 4:4:4,\n"
    "any other sampling, grey, RGB, own Huffman tables or none. Y4M keeps 4:2:0, 4:1:1, 4:4:4 and\n"
    "grey as they are; what it has no name for becomes 4:4:4, or 4:2:2 where chroma has half of "
    "the\n"
    "columns or less. Raw frames and AVI get 4:2:2 or RGB, PNG is made from all the chroma.\n"
    "\n"
    "A signal (Ctrl-C, SIGTERM, SIGHUP) or a full disk ends the film with the frames before, in a\n"
    "whole file, and one line says so.\n"
    "\n"
    "Frames count from 0 in messages. Exit code: 0 done, 1 bad input or an output that cannot be\n"
    "written, 2 bad usage, 3 written, but frames are damaged, 130, 143 or 129 after a signal.";

struct DecodeCommandOptions : DecodeOptions {
  std::string output;
  std::string verify;
  std::string sound;
  bool force = false;
  FrameOutputOptions target;
};

void WriteSound(const DecodeCommandOptions& options, const SoundTracks& sound) {
  if (sound.empty()) throw InputError(options.input + ": has no sound to write");
  WriteWav(options.sound, *sound[0], options.target.overwrite);
}

// The sound of the frames that are decoded, where it is wanted.
void TakeSound(DecodeCommandOptions& options, FilmInput& film) {
  const bool avi = Extension(options.output) == "avi";
  if (!avi && options.sound.empty()) return;
  const FilmSettings settings = options.Settings();
  std::vector<std::string> left_out;
  const auto open = [&] {
    return SoundOfFrames(film.OpenSound(), film.Format(), settings.range, left_out);
  };
  if (!options.sound.empty()) WriteSound(options, open());
  left_out.clear();
  if (avi) options.target.sound = open();
  if (options.quiet) return;
  for (const std::string& what : left_out) WarnOf(options.input, what);
}

void Decode(DecodeCommandOptions options) {
  if (!options.verify.empty()) {
    if (!options.output.empty()) throw UsageError("--verify decodes to nothing: leave OUTPUT out");
    if (!options.sound.empty()) throw UsageError("--verify decodes to nothing: leave --sound out");
    VerifyMd5(options, options.target.layout, options.verify);
    return;
  }
  if (options.output.empty()) throw UsageError("OUTPUT is required");
  RefuseSameFile(options.input, options.output);
  if (!options.sound.empty()) {
    RefuseSameFile(options.input, options.sound);
    RefuseSameFile(options.sound, options.output);
  }
  options.target.overwrite = options.force ? Overwrite::kReplace : Overwrite::kRefuse;
  std::unique_ptr<FrameWriter> writer;
  RunDecode(options, options.output,
            [&](const VideoFormat& format, FilmInput& film) -> FrameWriter& {
              TakeSound(options, film);
              writer = OpenFrameWriter(options.output, format, options.target);
              return *writer;
            });
}

}  // namespace

void AddDecodeCommand(const CommandLine& line) {
  const Command command = line.AddCommand("decode", "Motion-JPEG in, raw video out");
  auto options = std::make_shared<DecodeCommandOptions>();
  AddDecodeOptions(command, *options);
  command.Add("OUTPUT", options->output, "what to write, see below");
  command.Add("--layout", options->target.layout,
              "layout of raw frames and AVI: YuYv (default), YUY2, UYVY, BGR3, BGRA, R565, ...");
  command.AddFlag("--alpha", options->target.alpha, "PNG with the alpha plane");
  command.Add("--sound", options->sound, "write the first sound of the film to this FILE.wav")
      .ValueName("FILE");
  command
      .Add("--verify", options->verify,
           "write nothing; compare with a checksum made by the md5 command")
      .ValueName("MD5");
  AddRunOptions(command, *options);
  command.AddFlag("-f,--force", options->force, "replace an output that exists");
  command.Footer(kFooter);
  command.Run([options] { Decode(*options); });
}

}  // namespace tkmjpg::tool
