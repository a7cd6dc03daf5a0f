#include "tools/tkmjpg/commands/md5_command.h"

#include <cctype>
#include <memory>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/md5_writer.h"
#include "tools/tkmjpg/media/open_frame_output.h"
#include "tools/tkmjpg/terminal/print.h"

namespace tkmjpg::tool {
namespace {

constexpr char kFooter[] =
    "The checksum is that of the bytes that `tkmjpg decode INPUT x.raw` writes with the same\n"
    "options, and does not depend on --threads.";

struct Md5Options : DecodeOptions {
  std::string layout, verify;
};

std::string DigestOf(DecodeOptions options, const std::string& layout) {
  options.quiet = true;
  Md5Writer writer(RawLayout(layout));
  RunDecode(options, "", [&](const VideoFormat&) -> FrameWriter& { return writer; });
  return writer.Digest();
}

std::string LowerCase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

void PrintOrVerify(const Md5Options& options) {
  if (!options.verify.empty()) return VerifyMd5(options, options.layout, options.verify);
  Print("%s\n", DigestOf(options, options.layout).c_str());
}

}  // namespace

void VerifyMd5(const DecodeOptions& options, const std::string& layout, const std::string& wanted) {
  const bool is_digest = wanted.size() == 32 &&
                         wanted.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
  if (!is_digest) throw UsageError("--verify: '" + wanted + "' is no MD5 of 32 digits");
  const std::string digest = DigestOf(options, layout);
  if (digest != LowerCase(wanted)) {
    throw InputError(options.input + ": MD5 is " + digest + ", not " + LowerCase(wanted));
  }
}

void AddMd5Command(const CommandLine& line) {
  const Command command = line.AddCommand("md5", "Checksum of the decoded frames");
  auto options = std::make_shared<Md5Options>();
  AddDecodeOptions(command, *options);
  command.Add("--layout", options->layout, "of the frames: YuYv (default), YUY2, ...");
  command.Add("--verify", options->verify, "print nothing; exit 1 if it is another one");
  AddRunOptions(command, *options);
  command.Footer(kFooter);
  command.Run([options] { PrintOrVerify(*options); });
}

}  // namespace tkmjpg::tool
