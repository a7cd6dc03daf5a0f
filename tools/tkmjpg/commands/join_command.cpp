#include "tools/tkmjpg/commands/join_command.h"

#include <cstdio>
#include <memory>
#include <utility>

#include "tools/tkmjpg/commands/film_end.h"
#include "tools/tkmjpg/commands/film_parts.h"
#include "tools/tkmjpg/commands/film_sound.h"
#include "tools/tkmjpg/commands/md5.h"
#include "tools/tkmjpg/commands/warnings.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/media/open_stream.h"
#include "tools/tkmjpg/media/same_file.h"
#include "tools/tkmjpg/terminal/interrupt.h"
#include "tools/tkmjpg/terminal/progress.h"

namespace tkmjpg::tool {
namespace {

constexpr char kFooter[] =
    "Parts are NAME.avi or NAME.mjpg, in the order of their frames, as encode and repair write "
    "them\n"
    "with --frames; the last name is OUTPUT, NAME.avi or NAME.mjpg. AVI parts say which frames of\n"
    "which film they have, and how they were coded; of .mjpg their manifests do. What is damaged,\n"
    "does not fit the first part, or leaves a gap is refused before anything is written. The "
    "output\n"
    "has the bytes of the film coded in one go, with one index and the sound once. Parts without\n"
    "numbers are joined as they come, and a line says so. A signal, a full disk or a part that is\n"
    "not what its manifest says leaves no output.\n"
    "\n"
    "Exit code: 0 done, 1 a part that does not fit or an output that cannot be written, 2 bad "
    "usage,\n"
    "130, 143 or 129 after a signal.";

struct JoinOptions {
  std::vector<std::string> names;  // parts, then the output
  bool manifests = false, quiet = false, force = false;
};

// One sound of all parts, one after the other. It is read along with the frames, now a little
// before, now after them, so it opens the parts once more.
class JoinedSound : public SoundReader {
 public:
  JoinedSound(const std::vector<FilmParts::Part>& parts, size_t track, SoundFormat format)
      : parts_(parts), track_(track), format_(std::move(format)) {}

  const SoundFormat& Format() const override { return format_; }

  bool Read(Bytes& chunk) override {
    for (;;) {
      if (sound_ && sound_->Read(chunk)) return true;
      if (next_ == parts_.size()) return false;
      sound_ = OpenStream(parts_[next_++].name, {}).reader->OpenSound().at(track_);
    }
  }

 private:
  const std::vector<FilmParts::Part>& parts_;
  size_t track_;
  SoundFormat format_;
  std::shared_ptr<SoundReader> sound_;
  size_t next_ = 0;
};

SoundTracks SoundOf(const FilmParts& parts) {
  SoundTracks tracks;
  for (size_t i = 0; i < parts.First().sound.size(); ++i) {
    tracks.push_back(std::make_shared<JoinedSound>(parts.Parts(), i, parts.First().sound[i]));
  }
  return tracks;
}

class Join {
 public:
  Join(const FilmParts& parts, StreamWriter& writer, bool can_repeat, Progress& progress)
      : parts_(parts), writer_(writer), can_repeat_(can_repeat), progress_(progress) {}

  void Run() {
    for (const FilmParts::Part& part : parts_.Parts()) Add(part);
  }

 private:
  void Add(const FilmParts::Part& part) {
    const StreamInput input = OpenStream(part.name, {});
    Md5 md5;
    for (Bytes stream; input.reader->Read(stream);) {
      StopIfInterrupted();
      if (!part.md5.empty()) md5.Add(stream);
      progress_.Add(stream.size());
      Write(stream);
    }
    if (part.md5.empty()) return;
    const std::string digest = md5.Finish();
    if (digest == part.md5) return;
    throw InputError(part.name + ": MD5 is " + digest + ", its manifest says " + part.md5);
  }

  void Write(Bytes& stream) {
    if (can_repeat_) return writer_.Write(stream);
    if (!stream.empty()) std::swap(last_, stream);
    if (!last_.empty()) writer_.Write(last_);
  }

  const FilmParts& parts_;
  StreamWriter& writer_;
  bool can_repeat_;
  Progress& progress_;
  Bytes last_;
};

void CheckNames(const JoinOptions& options, const std::vector<std::string>& parts,
                const std::string& output) {
  if (parts.empty()) throw UsageError("join needs parts, and then OUTPUT");
  if (output != "-" && Extension(output) != "avi" && Extension(output) != "mjpg") {
    throw UsageError(output + ": the last name is that of the output, and ends in .avi or .mjpg");
  }
  for (const std::string& part : parts) {
    if (part == "-") throw UsageError("parts are files; standard input is none");
    RefuseSameFile(part, output);
    if (options.manifests) RefuseSameFile(part + ".json", output);
  }
}

void JoinParts(JoinOptions options) {
  std::string output = std::move(options.names.back());
  options.names.pop_back();
  CheckNames(options, options.names, output);
  CatchInterrupts();
  const FilmParts parts(options.names, options.manifests);
  const bool avi = Extension(output) == "avi";
  if (avi && parts.First().container != "AVI") {
    throw UsageError(output + ": the parts are .mjpg, which tells no rate; join them to .mjpg");
  }
  const SoundTracks sound = SoundOf(parts);
  const auto writer = OpenStreamWriter(output, parts.First().format,
                                       options.force ? Overwrite::kReplace : Overwrite::kRefuse,
                                       avi ? sound : SoundTracks());
  Progress progress(options.quiet ? Verbosity::kQuiet : Verbosity::kNormal, parts.First().format,
                    parts.Frames());
  const FilmEnd film = {output, [&] { return progress.Frames(); }, [&](bool) { writer->Finish(); },
                        true};
  RunToEnd(film, [&] { Join(parts, *writer, avi, progress).Run(); });
  progress.Summarise(output);
  if (options.quiet) return;
  if (!parts.Numbered()) WarnOf(output, "the parts have no numbers; they are joined as they came");
  const std::string lost = LostSound(output, sound);
  if (!lost.empty()) WarnOf(output, lost);
}

}  // namespace

void AddJoinCommand(const CommandLine& line) {
  const Command command = line.AddCommand("join", "Put parts of a film together");
  auto options = std::make_shared<JoinOptions>();
  command.Add("PART", options->names, "the parts, and as the last name OUTPUT, see below")
      .Required();
  command.AddFlag("--manifest", options->manifests,
                  "each part has a manifest, PART.json, and must be as it says");
  command.AddFlag("-f,--force", options->force, "replace an output that exists");
  command.AddFlag("-q,--quiet", options->quiet, "print nothing but errors");
  command.Footer(kFooter);
  command.Run([options] { JoinParts(*options); });
}

}  // namespace tkmjpg::tool
