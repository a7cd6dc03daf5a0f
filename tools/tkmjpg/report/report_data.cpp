#include "tools/tkmjpg/report/report_data.h"

#include <functional>
#include <vector>

#include "tools/tkmjpg/report/report_text.h"
#include "tools/tkmjpg/terminal/json.h"

namespace tkmjpg::tool {
namespace {

// How a curve is shown. `low` is drawn below `high`.
struct Shown {
  std::string name;
  const char* colour;  // a custom property of page.css
  std::function<double(double)> value;
  bool upside_down;  // the lowest values belong to the highest points
  int digits;
};

template <typename Value>
std::string Values(const Curve& curve, int digits, Value value) {
  return JsonArray(curve.Points(), [&](const CurvePoint& p) { return JsonReal(value(p), digits); });
}

std::string Series(const Curve& curve, const Shown& shown) {
  JsonObject series;
  series.Text("name", shown.name).Text("colour", shown.colour);
  const auto add = [&](const char* name, auto value) {
    series.Raw(name, Values(curve, shown.digits,
                            [&](const CurvePoint& p) { return shown.value(value(p)); }));
  };
  add("mean", [](const CurvePoint& p) { return p.Mean(); });
  if (curve.FramesPerPoint() > 1) {
    add(shown.upside_down ? "high" : "low", [](const CurvePoint& p) { return p.low; });
    add(shown.upside_down ? "low" : "high", [](const CurvePoint& p) { return p.high; });
  }
  return series.Done();
}

std::string PsnrSeries(const char* name, const char* colour, const Curve& errors) {
  return Series(errors, {name, colour, Psnr, true, 2});
}

std::string SizeSeries(const ComparedFacts& facts, const char* colour, const Curve& bytes) {
  const auto same = [](double value) { return value; };
  return Series(bytes, {BaseName(facts.path), colour, same, false, 0});
}

std::string Joined(const std::vector<std::string>& series) {
  return JsonArray(series, [](const std::string& one) { return one; });
}

std::string WorstObject(const KeptFrame& frame) {
  return JsonObject()
      .Int("frame", frame.result.number)
      .Real("psnr", Psnr(frame.result.measure.error[0]))
      .Done();
}

int64_t FramesOf(const Curve& curve) {
  const auto& points = curve.Points();
  if (points.empty()) return 0;
  return static_cast<int64_t>(points.size() - 1) * curve.FramesPerPoint() + points.back().frames;
}

}  // namespace

std::string ReportData(const ComparedFacts& a, const ComparedFacts& b, const ReportCurves& curves,
                       std::span<const KeptFrame> worst) {
  std::vector<std::string> sizes;
  if (b.compressed) sizes.push_back(SizeSeries(b, "size", curves.bytes_b));
  if (a.compressed) sizes.push_back(SizeSeries(a, "other", curves.bytes_a));
  return JsonObject()
      .Int("frames", FramesOf(curves.errors[0]))
      .Int("perPoint", curves.errors[0].FramesPerPoint())
      .Int("rateNum", b.format.rate.num)
      .Int("rateDen", b.format.rate.den)
      .Raw("psnr",
           Joined({PsnrSeries("Y", "y", curves.errors[0]), PsnrSeries("Cb", "cb", curves.errors[1]),
                   PsnrSeries("Cr", "cr", curves.errors[2])}))
      .Raw("sizes", Joined(sizes))
      .Raw("worst", JsonArray(worst, WorstObject))
      .Done();
}

}  // namespace tkmjpg::tool
