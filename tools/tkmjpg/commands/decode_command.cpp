#include "tools/tkmjpg/commands/decode_command.h"

#include <memory>

#include "tools/tkmjpg/commands/decode_options.h"
#include "tools/tkmjpg/commands/md5_command.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/open_frame_output.h"
#include "tools/tkmjpg/media/same_file.h"

namespace tkmjpg::tool {
namespace {

constexpr char kFooter[] =
    "OUTPUT is NAME.y4m (4:2:2; - is standard output), NAME.png or NAME_%04d.png (from 0 on),\n"
    "NAME.avi (uncompressed, --layout YUY2 or BGR3), or raw frames: NAME.raw, NAME.yuv or any\n"
    "name with --layout. Y4M and raw frames have luma as the stream holds it (layout YuYv); YUY2\n"
    "limits it to 16 to 235. A file that exists is kept unless --force is given.\n"
    "\n"
    "The picture has the size that the AVI file states if the stream can be such a picture, else\n"
    "the size of the stream, with the height of two fields where there are two. Pixels that the\n"
    "stream does not reach are black. Field pairs are interleaved, the first image on lines 1, 3,\n"
    "5 and so on, counted from 0.\n"
    "\n"
    "4:2:2 frames of other writers (MCUs of another size, Huffman tables of their own, tables "
    "that\n"
    "one image of a field pair takes from the other) are decoded too: they are recoded in memory\n"
    "first, without loss.\n"
    "\n"
    "Frames count from 0 in messages. Exit code: 0 done, 1 bad input or an output that cannot be\n"
    "written, 2 bad usage.";

struct DecodeCommandOptions : DecodeOptions {
  std::string output;
  std::string verify;
  bool force = false;
  FrameOutputOptions target;
};

void Decode(DecodeCommandOptions options) {
  if (!options.verify.empty()) {
    if (!options.output.empty()) throw UsageError("--verify decodes to nothing: leave OUTPUT out");
    VerifyMd5(options, options.target.layout, options.verify);
    return;
  }
  if (options.output.empty()) throw UsageError("OUTPUT is required");
  RefuseSameFile(options.input, options.output);
  options.target.full_range = options.full_range;
  options.target.overwrite = options.force ? Overwrite::kReplace : Overwrite::kRefuse;
  std::unique_ptr<FrameWriter> writer;
  RunDecode(options, options.output, [&](const VideoFormat& format) -> FrameWriter& {
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
              "of raw frames and AVI: YuYv (default), YUY2, UYVY, BGR3, BGRA, R565, ...");
  command.AddFlag("--alpha", options->target.alpha, "PNG with the alpha plane");
  command.Add("--verify", options->verify,
              "write nothing; compare with a checksum made by the md5 command");
  AddRunOptions(command, *options);
  command.AddFlag("-f,--force", options->force, "replace an output that exists");
  command.Footer(kFooter);
  command.Run([options] { Decode(*options); });
}

}  // namespace tkmjpg::tool
