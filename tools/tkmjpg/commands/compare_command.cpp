#include "tools/tkmjpg/commands/compare_command.h"

#include <unistd.h>

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

#include "tools/tkmjpg/commands/compare_films.h"
#include "tools/tkmjpg/commands/frame_range.h"
#include "tools/tkmjpg/commands/stream_options.h"
#include "tools/tkmjpg/commands/threads_option.h"
#include "tools/tkmjpg/commands/warnings.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/picture_files.h"
#include "tools/tkmjpg/media/same_file.h"
#include "tools/tkmjpg/report/compare_report.h"
#include "tools/tkmjpg/terminal/interrupt.h"
#include "tools/tkmjpg/terminal/progress.h"

namespace tkmjpg::tool {
namespace {

constexpr char kFooter[] =
    "A and B are Y4M, PNG, a test card, Motion-JPEG or uncompressed AVI. If one has luma 0 to 255\n"
    "and the other one 16 to 235, both are compared as 16 to 235. PSNR is in dB, inf where "
    "nothing\n"
    "differs (null in JSON). SSIM is that of Wang, Bovik, Sheikh and Simoncelli (2004), over\n"
    "windows of 8 x 8 samples at every fourth sample and line; 1 where nothing differs. Frames,\n"
    "lines and pixels count from 0. Exit code: 0 compared, whatever came out; 1 sizes or lengths\n"
    "differ. --report also writes the page of what was compared until then.";

struct CompareOptions {
  std::string a, b;
  bool per_frame = false, json = false, csv = false, quiet = false, force = false;
  std::string report;
  std::string frames;
  int worst = 4;
  int threads = 1;
  StreamOptions stream;

  bool Prints() const { return per_frame || json || csv; }
};

bool IsNumbered(const std::string& path) { return path.find('%') != std::string::npos; }

StreamOptions StreamOf(const CompareOptions& options, const std::string& path) {
  StreamOptions stream = options.stream;
  if (!IsNumbered(path)) stream.start.reset();
  return stream;
}

std::unique_ptr<CompareOutput> MakeOutput(const CompareOptions& options) {
  if (options.json) return MakeJsonCompareOutput();
  return options.csv ? MakeCsvCompareOutput() : MakeTextCompareOutput(options.per_frame);
}

std::optional<OutputFile> OpenReport(const CompareOptions& options) {
  if (options.report.empty()) return std::nullopt;
  RefuseSameFile(options.a, options.report);
  RefuseSameFile(options.b, options.report);
  return std::optional<OutputFile>(std::in_place, options.report,
                                   options.force ? Overwrite::kReplace : Overwrite::kRefuse);
}

ComparedFacts FactsOf(const ComparedFilm& film) {
  return {film.Path(), film.Format(), film.IsCompressed(), film.Format().range == Range::kFull};
}

int64_t FramesToCome(const ComparedFilm& a, const ComparedFilm& b) {
  const int64_t x = a.FrameCount(), y = b.FrameCount();
  return x < 0 || y < 0 ? std::max(x, y) : std::min(x, y);
}

// Lines of frames on a terminal leave no place for one that moves.
Verbosity ProgressOf(const CompareOptions& options) {
  const bool crowded = options.Prints() && isatty(STDOUT_FILENO) != 0;
  return options.quiet || crowded ? Verbosity::kQuiet : Verbosity::kNormal;
}

void Compare(const CompareOptions& options) {
  const FrameRange range = ParseFrameRange(options.frames);
  if (options.stream.start && !IsNumbered(options.a) && !IsNumbered(options.b)) {
    throw UsageError(kStartNeedsNumbers);
  }
  ComparedFilm a(options.a, StreamOf(options, options.a));
  ComparedFilm b(options.b, StreamOf(options, options.b));
  if (a.Format().range != b.Format().range) {
    a.MakeLimited();
    b.MakeLimited();
  }
  auto file = OpenReport(options);
  CatchInterrupts();
  const ComparedFacts facts_a = FactsOf(a), facts_b = FactsOf(b);
  CompareReport report(facts_a, facts_b, options.worst);
  const auto output = MakeOutput(options);
  CompareSummary summary;
  std::string note;
  const auto finish = [&] {
    output->End(summary);
    if (!file) return;
    report.Write(summary, note, *file);
    file->Finish();
  };
  const auto warn = [&] {
    for (const ComparedFilm* film : {&a, &b}) {
      const std::string damage = film->Damage();
      if (!damage.empty()) WarnOf(film->Path(), damage);
    }
  };
  output->Begin(facts_a, facts_b);
  try {
    Progress progress(ProgressOf(options), b.Format(), range.CountOf(FramesToCome(a, b)));
    CompareFilms(a, b, range, options.threads, summary,
                 [&](const FrameResult& result, const ComparedFrame& x, const ComparedFrame& y) {
                   output->Frame(result);
                   if (file) report.Add({result, x.planes, y.planes});
                   progress.Add(result.bytes_b);
                 });
  } catch (const InputError& error) {
    note = error.what();
    finish();
    warn();
    throw;
  }
  finish();
  warn();
}

}  // namespace

void AddCompareCommand(const CommandLine& line) {
  const Command command = line.AddCommand("compare", "PSNR and SSIM between two films");
  auto options = std::make_shared<CompareOptions>();
  CompareOptions& o = *options;
  command.Add("A", o.a, "the one to compare with, see below").Required();
  command.Add("B", o.b, "the one to judge").Required();
  command.AddFlag("--per-frame", o.per_frame, "a line for each frame as well");
  const Option json = command.AddFlag("--json", o.json, "all figures for programs");
  command.AddFlag("--csv", o.csv, "a line for each frame, for spreadsheets").Excludes(json);
  command
      .Add("--report", o.report,
           "also one HTML page: curves, the worst frames beside the source, waveforms")
      .ValueName("NAME.html");
  command.Add("--worst", o.worst, "frames with pictures in the report").ShowDefault().Within(1, 50);
  AddFramesOption(command, o.frames);
  AddStartOption(command, o.stream.start);
  AddPictureOptions(command, o.stream);
  AddThreadsOption(command, o.threads, "frames compared at once; the figures are the same");
  command.AddFlag("-f,--force", o.force, "replace a report that exists");
  command.AddFlag("-q,--quiet", o.quiet, "no line that tells how far it is");
  command.Footer(kFooter);
  command.Run([options] { Compare(*options); });
}

}  // namespace tkmjpg::tool
