#include "tools/tkmjpg/commands/info_command.h"

#include <algorithm>
#include <memory>

#include "tools/tkmjpg/commands/info_report.h"
#include "tools/tkmjpg/commands/stream_options.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/streams/quality_estimate.h"

namespace tkmjpg::tool {
namespace {

constexpr char kFooter[] =
    "One line a frame: bytes, bits a pixel, header style (as encode --mode; - of other writers),\n"
    "AVI1 field codes, size of the images, quality whose quantisation tables come nearest (~ if\n"
    "not the same), Huffman tables (none: those of ITU T.81 Annex K are understood), restart\n"
    "interval, AVI1 size fields. Then a summary, and what is wrong, by frame, counted from 0.";

struct InfoOptions {
  std::string input;
  bool json = false;
  StreamOptions stream;
  int64_t frame = -1;
};

std::string IndexName(AviIndex index) {
  if (index == AviIndex::kNone) return "missing";
  return index == AviIndex::kRight ? "right" : "wrong";
}

FilmFacts FactsOf(const FilmInput& film, const std::string& name) {
  FilmFacts facts = {name, film.Stream().container, {}, {}, film.Format(), film.Problems()};
  if (const AviFile* avi = film.Stream().avi) {
    facts.fourcc = avi->fourcc;
    facts.index = IndexName(avi->index);
  }
  return facts;
}

void AddQuality(FilmSummary& summary, const ImageAnalysis& image) {
  const int quality = FindNearestQuality(image).quality;
  if (quality == 0) return;
  if (summary.lowest_quality == 0) summary.lowest_quality = quality;
  summary.lowest_quality = std::min(summary.lowest_quality, quality);
  summary.highest_quality = std::max(summary.highest_quality, quality);
}

void Add(FilmSummary& summary, const FrameAnalysis& frame) {
  ++summary.frames;
  if (frame.size == 0) {
    ++summary.repeats;
    return;
  }
  summary.bytes += frame.size;
  summary.smallest = std::min(summary.smallest, frame.size);
  summary.largest = std::max(summary.largest, frame.size);
  summary.pairs += frame.IsFieldPair() ? 1 : 0;
  summary.alphas += frame.alpha_offset != 0 ? 1 : 0;
  if (frame.NeedsRecoding() && summary.recodable++ == 0) summary.other_shape = frame.OtherShape();
  summary.with_problems += frame.problems.empty() ? 0 : 1;
  for (const ImageAnalysis& image : frame.images) AddQuality(summary, image);
}

void PrintInfo(const InfoOptions& options) {
  FilmInput film(options.input, options.stream, 0);
  const auto report = options.json ? MakeJsonReport() : MakeTextReport();
  FilmSummary summary;
  const bool one = options.frame >= 0;
  int64_t number = 0;
  bool begun = false;
  for (Bytes stream; film.Read(stream); ++number) {
    if (one && number < options.frame) continue;
    if (!begun) report->Begin(FactsOf(film, options.input));
    begun = true;
    const FrameAnalysis frame = AnalyseFrame(stream);
    Add(summary, frame);
    report->Frame(number, frame, one);
    if (one) break;
  }
  if (!begun && one && number > 0) {
    throw InputError(options.input + ": has no frame " + std::to_string(options.frame) + ", only " +
                     std::to_string(number));
  }
  if (!begun) report->Begin(FactsOf(film, options.input));
  const auto shown = std::max<int64_t>(summary.frames - summary.repeats, 1);
  summary.bits_per_pixel =
      BitsPerPixel(static_cast<size_t>(summary.bytes), film.Format()) / static_cast<double>(shown);
  report->End(summary);
}

}  // namespace

void AddInfoCommand(const CommandLine& line) {
  const Command command = line.AddCommand("info", "What a Motion-JPEG file holds");
  auto options = std::make_shared<InfoOptions>();
  command.Add("FILE", options->input, "NAME.avi, NAME.mjpg, NAME.jpg, NAME_%04d.jpg, or -")
      .Required();
  command.AddFlag("--json", options->json,
                  "for programs; what is no UTF-8 in a name becomes U+FFFD");
  command.Add("--frame", options->frame, "this one only, with segments and tables").NotNegative();
  AddStreamOptions(command, options->stream);
  command.Footer(kFooter);
  command.Run([options] { PrintInfo(*options); });
}

}  // namespace tkmjpg::tool
