#include "tools/tkmjpg/commands/info_summary.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "tools/tkmjpg/terminal/format_text.h"

namespace tkmjpg::tool {
namespace {

using Number = long long;

// "1:02:03.480", without hours "2:03.480".
std::string Duration(double seconds) {
  const auto thousandths = static_cast<Number>(std::llround(seconds * 1000));
  const Number minutes = thousandths / 60000, rest = thousandths % 60000;
  const Number hours = minutes / 60;
  const std::string end = Text(".%03lld", rest % 1000);
  if (hours == 0) return Text("%lld:%02lld", minutes, rest / 1000) + end;
  return Text("%lld:%02lld:%02lld", hours, minutes % 60, rest / 1000) + end;
}

std::string PictureText(const VideoFormat& format) {
  const std::string size = Text("%dx%d", format.width, format.height);
  const Rational pixel = format.pixel_aspect;
  if (pixel.num <= 0 || pixel.den <= 0) return size + ", pixel aspect unknown";
  const int64_t width = pixel.num * format.width, height = pixel.den * format.height;
  const int64_t common = std::max<int64_t>(std::gcd(width, height), 1);
  return size + Text(", pixels %lld:%lld, shown as %lld:%lld", static_cast<Number>(pixel.num),
                     static_cast<Number>(pixel.den), static_cast<Number>(width / common),
                     static_cast<Number>(height / common));
}

std::string Length(const VideoFormat& format, const FilmSummary& s) {
  const double rate = static_cast<double>(format.rate.num) / static_cast<double>(format.rate.den);
  std::string text = Duration(s.seconds) +
                     Text(", %lld frames, %.6g a second", static_cast<Number>(s.frames), rate);
  if (format.rate_assumed) text += " (assumed)";
  if (s.repeats == 0) return text;
  return text + Text("; %lld %s the one before", static_cast<Number>(s.repeats),
                     s.repeats == 1 ? "repeats" : "repeat");
}

std::string Size(const FilmSummary& s) {
  std::string text = Text("%llu bytes", static_cast<unsigned long long>(s.bytes));
  if (s.seconds > 0) text += ", " + BitRateText(s.BitsPerSecond());
  text += Text(", %.3f bits a pixel", s.bits_per_pixel);
  if (s.largest > 0) text += Text("; frames of %zu to %zu", s.smallest, s.largest);
  return text;
}

std::string Quality(const FilmSummary& s) {
  if (s.highest_quality == 0) return {};
  const char* const about = s.quality_exact ? "" : "about ";
  if (s.lowest_quality == s.highest_quality) {
    return Text(", quality %s%d", about, s.lowest_quality);
  }
  return Text(", quality %s%d to %d", about, s.lowest_quality, s.highest_quality);
}

std::string Coding(const FilmSummary& s) {
  const std::string sampling = s.samplings.Joined();
  if (sampling.empty()) return "no image";
  std::string text = sampling + Quality(s) + ", Huffman tables " + s.huffman.Joined();
  if (s.alphas > 0) text += Text(", %lld with alpha", static_cast<Number>(s.alphas));
  if (s.recodable == 0) return text;
  return text +
         Text("; %lld to be recoded without loss before decoding: ",
              static_cast<Number>(s.recodable)) +
         s.other_shape;
}

std::string Fields(const FilmFacts& facts, const FilmSummary& s) {
  std::string text = FieldOrderName(facts.format.field_order);
  if (s.pairs > 0) text += Text(", %lld field pairs", static_cast<Number>(s.pairs));
  return facts.fields.empty() ? text : text + "; " + facts.fields;
}

std::string Joined(const std::vector<std::string>& lines) {
  std::string text;
  for (const std::string& line : lines) text += (text.empty() ? "" : "; ") + line;
  return text.empty() ? "none" : text;
}

std::string Damage(const FilmSummary& s) {
  if (s.with_problems == 0) return "none";
  return Text("%lld %s with anomalies", static_cast<Number>(s.with_problems),
              s.with_problems == 1 ? "frame" : "frames");
}

}  // namespace

void Words::Add(const std::string& word) {
  if (std::ranges::find(words_, word) == words_.end()) words_.push_back(word);
}

std::string Words::Joined() const {
  std::string text;
  for (const std::string& word : words_) text += (text.empty() ? "" : ", ") + word;
  return text;
}

double FilmSummary::BitsPerSecond() const {
  return seconds > 0 ? 8 * static_cast<double>(bytes) / seconds : 0;
}

std::vector<SummaryLine> SummaryLines(const FilmFacts& facts, const FilmSummary& s) {
  std::vector<SummaryLine> lines = {{"picture", PictureText(facts.format)},
                                    {"length", Length(facts.format, s)},
                                    {"size", Size(s)},
                                    {"coding", Coding(s)},
                                    {"fields", Fields(facts, s)},
                                    {"range", facts.range},
                                    {"sound", Joined(facts.sound)},
                                    {"index", facts.index},
                                    {"damage", Damage(s)}};
  std::erase_if(lines, [](const SummaryLine& line) { return line.text.empty(); });
  return lines;
}

}  // namespace tkmjpg::tool
