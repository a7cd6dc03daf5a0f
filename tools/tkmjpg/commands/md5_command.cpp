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

struct Result {
  std::string digest;
  std::string damage;  // of the film; empty if there is none
};

Result Decode(DecodeOptions options, const std::string& layout) {
  options.quiet = true;
  Md5Writer writer(RawLayout(layout));
  Result result;
  try {
    RunDecode(options, "", [&](const VideoFormat&, FilmInput&) -> FrameWriter& { return writer; });
  } catch (const DamageError& error) {
    result.damage = error.what();
  }
  result.digest = writer.Digest();
  return result;
}

std::string LowerCase(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

void PrintOrVerify(const Md5Options& options) {
  if (!options.verify.empty()) return VerifyMd5(options, options.layout, options.verify);
  const Result result = Decode(options, options.layout);
  Print("%s\n", result.digest.c_str());
  if (!result.damage.empty()) throw DamageError(result.damage);
}

}  // namespace

void VerifyMd5(const DecodeOptions& options, const std::string& layout, const std::string& wanted) {
  const bool is_digest = wanted.size() == 32 &&
                         wanted.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
  if (!is_digest) throw UsageError("--verify: '" + wanted + "' is no MD5 of 32 digits");
  const Result result = Decode(options, layout);
  if (result.digest != LowerCase(wanted)) {
    throw InputError(options.input + ": MD5 is " + result.digest + ", not " + LowerCase(wanted));
  }
  if (!result.damage.empty()) throw DamageError(result.damage);
}

void AddMd5Command(const CommandLine& line) {
  const Command command = line.AddCommand("md5", "Checksum of the decoded frames");
  auto options = std::make_shared<Md5Options>();
  AddDecodeOptions(command, *options);
  command.Add("--layout", options->layout, "of the frames: YuYv (default), YUY2, ...");
  command.Add("--verify", options->verify, "print nothing; exit 1 if the checksum is another one")
      .ValueName("MD5");
  AddRunOptions(command, *options);
  command.Footer(kFooter);
  command.Run([options] { PrintOrVerify(*options); });
}

}  // namespace tkmjpg::tool
