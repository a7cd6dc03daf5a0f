#include "tools/tkmjpg/streams/frame_damage.h"

#include <algorithm>

#include "tools/tkmjpg/streams/scan_check.h"
#include "tools/tkmjpg/streams/segment_check.h"

namespace tkmjpg::tool {
namespace {

using Bytes = std::span<const uint8_t>;

constexpr size_t kMostImages = 2;  // that make a picture

size_t ImagesOf(const FrameAnalysis& analysis) {
  return std::min(analysis.images.size(), kMostImages);
}

// What shows without a look at the codes; empty if nothing does.
std::string StructuralDamage(Bytes frame, const FrameAnalysis& analysis, size_t number) {
  const ImageAnalysis& image = analysis.images[number];
  if (!image.problem.empty()) return image.problem;
  if (std::string segments = CheckSegments(frame, image); !segments.empty()) return segments;
  const bool has_first_two = image.quant.defined[0] && image.quant.defined[1];
  if (image.HasScan() && !image.HasItsQuantTables() && !has_first_two) {
    return "no quantisation tables";
  }
  if (number == 0) return {};
  if (image.sof == 0) return "no frame header";
  const ImageAnalysis& first = analysis.images[0];
  const bool same = image.width == first.width && image.height == first.height;
  return same ? RefusalOf(image) : "its size is another than that of image 1";
}

std::optional<Damage> DamageOf(Bytes frame, const FrameAnalysis& analysis, size_t number,
                               bool sound) {
  Damage damage = {StructuralDamage(frame, analysis, number), {}, {}, false};
  if (analysis.IsFieldPair()) damage.image = number;
  const ScanCheck scan =
      sound && damage.what.empty() ? ScanCheck() : CheckScan(frame, analysis.images[number]);
  const std::optional<ScanFault>& fault = scan.damage ? scan.damage : scan.suspect;
  if (fault) damage.row = fault->row;
  if (!damage.what.empty()) return damage;
  if (!fault) return {};
  damage.what = fault->what;
  damage.suspect = !scan.damage;
  return damage;
}

}  // namespace

FrameDamage FindDamage(Bytes frame, const FrameAnalysis& analysis, size_t sound_images) {
  const bool sound = sound_images >= ImagesOf(analysis);
  FrameDamage found;
  for (size_t i = 0; i < ImagesOf(analysis); ++i) {
    if (auto damage = DamageOf(frame, analysis, i, sound)) found.push_back(std::move(*damage));
  }
  return found;
}

std::string Describe(const Damage& damage, std::string place) {
  const auto add = [&](const std::string& part) { place += (place.empty() ? "" : ", ") + part; };
  if (damage.image) add("image " + std::to_string(*damage.image + 1));
  if (damage.row) add("MCU row " + std::to_string(*damage.row));
  if (!place.empty()) place += ": ";
  return place + (damage.suspect ? "suspect: " : "") + damage.what;
}

void AddDamage(const FrameDamage& damage, FrameAnalysis& analysis) {
  for (const Damage& one : damage) {
    const bool known = std::ranges::any_of(
        analysis.problems, [&](const std::string& problem) { return problem.ends_with(one.what); });
    if (!known) analysis.problems.push_back(Describe(one));
  }
}

std::vector<ImageLines> FindLostLines(Bytes frame, const FrameAnalysis& analysis) {
  std::vector<ImageLines> lost;
  for (size_t i = 0; i < ImagesOf(analysis); ++i) {
    const ImageAnalysis& image = analysis.images[i];
    const ScanCheck scan = CheckScan(frame, image);
    if (!scan.damage && !scan.suspect) continue;
    const auto height = static_cast<size_t>(image.height);
    for (const McuRows& rows : LocateDamage(frame, image).gone) {
      lost.push_back({i, rows.first * scan.row_lines, std::min(rows.end * scan.row_lines, height)});
    }
  }
  return lost;
}

}  // namespace tkmjpg::tool
