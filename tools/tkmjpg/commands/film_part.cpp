#include "tools/tkmjpg/commands/film_part.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "tkmjpg_version.h"
#include "tools/tkmjpg/commands/part_manifest.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/media/same_file.h"
#include "tools/tkmjpg/terminal/printable.h"

namespace tkmjpg::tool {
namespace {

// Those that the bytes do not depend on: a job may run again with others.
constexpr std::string_view kWithValue[] = {"--threads", "--cpu"};
constexpr std::string_view kFlags[] = {"-f",      "-q",      "-fq",          "-qf",
                                       "--force", "--quiet", "--keep-going", "--resume"};

std::vector<std::string> WordsThatMatter(const std::vector<std::string>& words) {
  std::vector<std::string> matter;
  for (size_t i = 0; i < words.size(); ++i) {
    const std::string name = words[i].substr(0, words[i].find('='));
    if (std::ranges::find(kFlags, name) != std::end(kFlags)) continue;
    if (std::ranges::find(kWithValue, name) == std::end(kWithValue)) {
      matter.push_back(words[i]);
    } else if (name == words[i]) {
      ++i;
    }
  }
  return matter;
}

std::string FileName(const std::string& path) {
  return std::filesystem::path(path).filename().string();
}

}  // namespace

void AddPartOptions(const Command& command, PartOptions& options) {
  AddFramesOption(command, options.frames);
  command
      .Add("--manifest", options.manifest,
           "also describe the output: frames, bytes, MD5, command line, version")
      .ValueName("FILE.json");
  command.AddFlag("--resume", options.resume,
                  "do nothing if the output is there as its manifest says; else replace it");
}

void TellDone(const std::string& output, bool quiet) {
  if (quiet) return;
  std::fprintf(stderr, "%s: is there, as its manifest says\n", Printable(output).c_str());
}

FilmPart::FilmPart(const PartOptions& options, const std::string& output, const std::string& coding)
    : options_(options), output_(output), coding_(coding), range_(ParseFrameRange(options.frames)) {
  if (options.resume && options.manifest.empty()) throw UsageError("--resume needs --manifest");
  if (options.manifest.empty()) return;
  const std::string extension = Extension(output);
  const bool one_file = extension == "avi" || extension == "mjpg" || extension == "mjpeg";
  if (!one_file) throw UsageError("--manifest needs an output that is NAME.avi or NAME.mjpg");
  if (options.manifest == "-") throw UsageError("--manifest: name a file");
  RefuseSameFile(output, options.manifest);
}

bool FilmPart::IsDone() const {
  namespace fs = std::filesystem;
  if (!options_.resume || !fs::exists(output_) || !fs::exists(options_.manifest)) return false;
  try {
    const PartManifest manifest = ReadManifest(options_.manifest);
    return manifest.version == TKMJPG_VERSION &&
           manifest.command == WordsThatMatter(options_.words) &&
           CheckPart(output_, manifest).empty();
  } catch (const InputError&) {
    return false;  // a job was killed while it wrote, or the disk was full
  }
}

void FilmPart::Begin(bool force) {
  if (!options_.manifest.empty()) manifest_.emplace(options_.manifest, Replaces(force));
}

PartMark FilmPart::Mark(int64_t film, int64_t taken) const {
  return {range_.first, range_.first + taken - 1, film, frames_, coding_};
}

std::string FilmPart::Comment(int64_t film, int64_t taken) const {
  return options_.frames.empty() ? "" : MarkText(Mark(film, taken));
}

std::string FilmPart::Comment(int64_t film) const { return Comment(film, 0); }

void FilmPart::Add(const Bytes& stream) {
  ++frames_;
  if (manifest_) md5_.Add(stream);
}

void FilmPart::WriteManifest(int64_t film, int64_t taken) {
  if (!manifest_) return;
  const std::string text =
      ManifestText({FileName(output_), Mark(film, taken), std::filesystem::file_size(output_),
                    md5_.Finish(), WordsThatMatter(options_.words), TKMJPG_VERSION});
  manifest_->WriteWhole({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
  manifest_->Finish();
}

}  // namespace tkmjpg::tool
