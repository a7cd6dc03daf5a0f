#include "tools/tkmjpg/commands/info_command.h"

#include <algorithm>
#include <memory>
#include <optional>
#include <string>

#include "tools/tkmjpg/commands/film_sound.h"
#include "tools/tkmjpg/commands/frame_range.h"
#include "tools/tkmjpg/commands/info_report.h"
#include "tools/tkmjpg/commands/stream_options.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/streams/frame_damage.h"
#include "tools/tkmjpg/streams/quality_estimate.h"

namespace tkmjpg::tool {
namespace {

constexpr char kFooter[] =
    "Ten lines, and what is wrong, by frame, counted from 0. --frames adds a line for each frame:\n"
    "bytes, bits a pixel, header style (as encode --mode; - of other writers), AVI1 field codes,\n"
    "size of the images, quality whose quantisation tables come nearest (~ if not the same),\n"
    "Huffman tables (none: those of ITU T.81 Annex K are understood), restart interval, AVI1 size\n"
    "fields. --json always has them.";

struct InfoOptions {
  std::string input;
  bool json = false;
  std::optional<std::string> frames;  // empty: all
  StreamOptions stream;
  std::optional<int64_t> frame;

  InfoFrames Listed() const {
    if (frame) return InfoFrames::kOne;
    return frames || json ? InfoFrames::kAll : InfoFrames::kNone;
  }
};

std::string IndexName(AviIndex index) {
  if (index == AviIndex::kNone) return "missing";
  return index == AviIndex::kRight ? "right" : "wrong";
}

std::string FieldsText(const FilmProperties& properties) {
  const bool even = properties.first_image == FieldLines::kEven;
  return std::string("the first image has the lines ") + (even ? "0, 2, ..." : "1, 3, ...") + " (" +
         properties.LinesReason() + ")";
}

std::string RangeText(const FilmProperties& properties) {
  const bool full = properties.range == Range::kFull;
  return std::string("luma ") + (full ? "0 to 255" : "16 to 235") + " (" +
         properties.RangeReason() + ")";
}

FilmFacts FactsOf(FilmInput& film, const std::string& name) {
  FilmFacts facts = {name, film.Stream().container, {}, {}, film.Format(), film.Problems()};
  facts.sound = DescribeSound(film.OpenSound());
  const FilmProperties& properties = film.Properties();
  facts.properties = properties;
  if (properties.fields) facts.fields = FieldsText(properties);
  facts.range = RangeText(properties);
  if (const AviFile* avi = film.Stream().avi) {
    facts.fourcc = avi->fourcc;
    facts.index = IndexName(avi->index);
  }
  return facts;
}

void AddImage(FilmSummary& summary, const ImageAnalysis& image) {
  if (!image.HasScan()) return;
  summary.samplings.Add(image.sampling);
  summary.huffman.Add(HuffmanName(image.huffman));
  const NearestQuality nearest = FindNearestQuality(image);
  if (nearest.quality == 0) return;
  if (summary.lowest_quality == 0) summary.lowest_quality = nearest.quality;
  summary.lowest_quality = std::min(summary.lowest_quality, nearest.quality);
  summary.highest_quality = std::max(summary.highest_quality, nearest.quality);
  summary.quality_exact = summary.quality_exact && nearest.exact;
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
  for (const ImageAnalysis& image : frame.images) AddImage(summary, image);
}

void Finish(FilmSummary& summary, const VideoFormat& format) {
  const auto frames = static_cast<double>(summary.frames);
  const auto shown = static_cast<double>(std::max<int64_t>(summary.frames - summary.repeats, 1));
  summary.bits_per_pixel = BitsPerPixel(static_cast<size_t>(summary.bytes), format) / shown;
  if (format.rate.num <= 0) return;
  summary.seconds =
      frames * static_cast<double>(format.rate.den) / static_cast<double>(format.rate.num);
}

FrameRange RangeOf(const InfoOptions& options) {
  if (options.frame) return {*options.frame, *options.frame};
  return ParseFrameRange(options.frames.value_or(""));
}

void PrintInfo(const InfoOptions& options) {
  const FrameRange range = RangeOf(options);
  FilmInput film(options.input, options.stream, 0);
  const InfoFrames listed = options.Listed();
  const auto report = options.json ? MakeJsonReport(listed) : MakeTextReport(listed);
  FilmSummary summary;
  int64_t number = 0;
  bool begun = false;
  Bytes stream;
  number = film.Skip(range.first, stream);
  for (; number <= range.last && film.Read(stream); ++number) {
    if (!begun) report->Begin(FactsOf(film, options.input));
    begun = true;
    FrameAnalysis frame = AnalyseFrame(stream);
    AddDamage(FindDamage(stream, frame), frame);
    Add(summary, frame);
    report->Frame(number, frame);
  }
  if (!begun) CheckReached(options.input, range, number);
  if (!begun) report->Begin(FactsOf(film, options.input));
  Finish(summary, film.Format());
  report->End(summary);
}

}  // namespace

void AddInfoCommand(const CommandLine& line) {
  const Command command = line.AddCommand("info", "What a Motion-JPEG file holds");
  auto options = std::make_shared<InfoOptions>();
  command
      .Add("FILE", options->input,
           "NAME.avi, .mov, .mp4, .mkv, .nut, .mjpg, .jpg, NAME_%04d.jpg, or -")
      .Required();
  command.AddFlag("--json", options->json,
                  "for programs; what is no UTF-8 in a name becomes U+FFFD");
  const Option frames = command.Add("--frames", options->frames,
                                    "a line for each frame as well; with A:B of these only");
  command.Add("--frame", options->frame, "this one only, with segments and tables")
      .NotNegative()
      .Excludes(frames);
  AddStreamOptions(command, options->stream);
  command.Footer(kFooter);
  command.Run([options] { PrintInfo(*options); });
}

}  // namespace tkmjpg::tool
