#include "tools/tkmjpg/commands/split_plan_command.h"

#include <algorithm>
#include <filesystem>
#include <memory>

#include "tools/tkmjpg/commands/encode_film.h"
#include "tools/tkmjpg/commands/film_frames.h"
#include "tools/tkmjpg/commands/source_options.h"
#include "tools/tkmjpg/commands/warnings.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/input_file.h"
#include "tools/tkmjpg/media/sequence_name.h"
#include "tools/tkmjpg/media/test_card.h"
#include "tools/tkmjpg/terminal/print.h"

namespace tkmjpg::tool {
namespace {

constexpr char kFooter[] =
    "A line a part: its range of frames, a tab, and the name of its file, for\n"
    "`tkmjpg encode INPUT NAME --frames RANGE`. Parts begin where a rate window does, so that the\n"
    "joined film has the bytes of one go under rate control too; with --rate-window 1 anywhere,\n"
    "which is enough for --quality and repair. The same input and options give the same plan. "
    "Where\n"
    "the input does not tell how many frames it has, it is read.";

struct PlanOptions {
  std::string input, name;
  InputOptions source;
  std::optional<int64_t> parts, frames_per_part;
  int64_t rate_window = kRateWindow;
  bool quiet = false;
};

// "clip_part_%04d.avi" of clip.y4m, in the folder that one is in now.
std::string DefaultName(const std::string& input) {
  if (input.starts_with(kTestCardPrefix)) return "testcard_part_%04d.avi";
  std::string stem = std::filesystem::path(input).stem().string();
  stem = stem.substr(0, stem.find('%'));
  if (stem.empty()) stem = "film";
  return stem + (stem.back() == '_' ? "" : "_") + "part_%04d.avi";
}

int64_t CountFrames(const PlanOptions& options) {
  if (IsPipe(options.input)) throw UsageError("split-plan needs a file that can be read again");
  const auto reader = OpenFrames(options.input, options.source);
  const int64_t count = reader->FrameCount();
  const int64_t frames = count >= 0 ? count : reader->Skip(INT64_MAX);
  if (frames == 0) throw InputError(options.input + ": holds no frame");
  return frames;
}

// The first frames of the parts, and the end of the film.
std::vector<int64_t> Cuts(const PlanOptions& options, int64_t frames) {
  const int64_t window = std::max<int64_t>(options.rate_window, 1);
  const int64_t windows = (frames + window - 1) / window;
  std::vector<int64_t> cuts;
  if (options.frames_per_part) {
    for (int64_t at = 0; at < frames; at += *options.frames_per_part) cuts.push_back(at);
  } else {
    const int64_t parts = std::min(*options.parts, windows);
    for (int64_t i = 0; i < parts; ++i) {
      cuts.push_back(windows / parts * i * window + windows % parts * i / parts * window);
    }
  }
  cuts.push_back(frames);
  return cuts;
}

void CheckOptions(const PlanOptions& options) {
  if (options.parts.has_value() == options.frames_per_part.has_value()) {
    throw UsageError("split-plan needs --parts or --frames-per-part");
  }
  if (options.parts.value_or(1) < 1) throw UsageError("--parts: at least 1");
  const int64_t each = options.frames_per_part.value_or(kRateWindow);
  if (each < 1) throw UsageError("--frames-per-part: at least 1");
  if (options.frames_per_part && options.rate_window > 1 && each % options.rate_window != 0) {
    throw UsageError("--frames-per-part: " + std::to_string(each) +
                     " is no multiple of the rate window, " + std::to_string(options.rate_window) +
                     "; --rate-window 1 is for --quality and repair");
  }
}

void Plan(const PlanOptions& options) {
  CheckOptions(options);
  const SequenceName names(options.name.empty() ? DefaultName(options.input) : options.name);
  if (!names.IsNumbered()) throw UsageError("--name: has no number, as in part_%04d.avi");
  const std::vector<int64_t> cuts = Cuts(options, CountFrames(options));
  const auto parts = static_cast<int64_t>(cuts.size()) - 1;
  for (int64_t i = 0; i < parts; ++i) {
    const auto at = static_cast<size_t>(i);
    Print("%lld:%lld\t%s\n", static_cast<long long>(cuts[at]),
          static_cast<long long>(cuts[at + 1] - 1), names.Name(i).c_str());
  }
  if (options.quiet || parts >= options.parts.value_or(parts)) return;
  WarnOf(options.input, "has only " + std::to_string(parts) + " rate windows of " +
                            std::to_string(options.rate_window) +
                            " frames; --rate-window 1 cuts anywhere, for --quality and repair");
}

}  // namespace

void AddSplitPlanCommand(const CommandLine& line) {
  const Command command = line.AddCommand("split-plan", "Ranges of frames, one for each job");
  auto options = std::make_shared<PlanOptions>();
  PlanOptions& o = *options;
  command.Add("INPUT", o.input, "as encode takes it").Required();
  const Option parts = command.Add("--parts", o.parts, "so many parts, about as long");
  command.Add("--frames-per-part", o.frames_per_part, "parts of so many frames").Excludes(parts);
  command.Add("--rate-window", o.rate_window, "as encode has it; parts begin at its multiples")
      .ShowDefault()
      .NotNegative();
  command.Add("--name", o.name,
              "of the parts, as part_%04d.avi; default: the input's, and _part_%04d.avi");
  AddSourceOptions(command, o.source);
  command.AddFlag("-q,--quiet", o.quiet, "print no warning");
  command.Footer(kFooter);
  command.Run([options] { Plan(*options); });
}

}  // namespace tkmjpg::tool
