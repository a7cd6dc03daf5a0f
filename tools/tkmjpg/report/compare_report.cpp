#include "tools/tkmjpg/report/compare_report.h"

#include <cinttypes>
#include <functional>
#include <map>
#include <string_view>
#include <vector>

#include "tools/tkmjpg/report/html_text.h"
#include "tools/tkmjpg/report/page_texts.h"
#include "tools/tkmjpg/report/report_text.h"
#include "tools/tkmjpg/report/worst_section.h"

namespace tkmjpg::tool {
namespace {

double FramesASecond(const VideoFormat& format) {
  return static_cast<double>(format.rate.num) / static_cast<double>(format.rate.den);
}

std::string RangeName(const ComparedFacts& facts) {
  return facts.full_range ? "luma 0 to 255" : "luma 16 to 235";
}

std::string Figure(const std::string& value, const std::string& name) {
  std::string html = "  <div><b>";
  return html.append(value).append("</b><span>").append(name).append("</span></div>\n");
}

std::string SizeFigures(const ComparedFacts& facts, uint64_t bytes, int64_t frames) {
  if (!facts.compressed || frames == 0) return {};
  const double seconds = static_cast<double>(frames) / FramesASecond(facts.format);
  const double pixels =
      static_cast<double>(facts.format.width) * facts.format.height * static_cast<double>(frames);
  const double bits = 8 * static_cast<double>(bytes);
  return Figure(Text("%.2f Mbit/s", bits / seconds / 1e6),
                Text("%.3f bits a pixel, ", bits / pixels) + HtmlText(BaseName(facts.path)));
}

// Writes the page's text with {{NAME}} replaced by what writes that part.
using Parts = std::map<std::string_view, std::function<void()>>;
void WritePage(std::string_view page, const Parts& parts, OutputFile& file) {
  for (;;) {
    const size_t open = page.find("{{");
    WriteText(file, page.substr(0, open));
    if (open == std::string_view::npos) return;
    const size_t close = page.find("}}", open);
    parts.at(page.substr(open + 2, close - open - 2))();
    page.remove_prefix(close + 2);
  }
}

}  // namespace

void CompareReport::Add(const KeptFrame& frame) {
  const FrameResult& result = frame.result;
  for (size_t p = 0; p < 3; ++p) curves_.errors[p].Add(result.measure.error[p]);
  curves_.bytes_a.Add(static_cast<double>(result.bytes_a));
  curves_.bytes_b.Add(static_cast<double>(result.bytes_b));
  worst_.Add(frame);
}

void CompareReport::Write(const CompareSummary& summary, const std::string& note,
                          OutputFile& file) const {
  const auto text = [&file](const std::string& html) {
    return [&file, html] { WriteText(file, html); };
  };
  const std::vector<KeptFrame> worst = worst_.Frames();
  const std::string title = HtmlText(BaseName(b_.path) + " beside " + BaseName(a_.path));
  WritePage(
      kPageHtml,
      {{"title", text(title)},
       {"style", [&] { WriteText(file, kPageStyle); }},
       {"header", text(Header(note))},
       {"figures", text(Figures(summary))},
       {"worst_title", text(summary.first_difference.empty() ? "First frame" : "Worst frames")},
       {"worst",
        [&] { WriteWorstSection(worst, b_.format, a_.full_range && b_.full_range, file); }},
       {"data", text(ScriptJson(ReportData(a_, b_, curves_, worst)))},
       {"script", [&] { WriteText(file, kPageScript); }}},
      file);
}

std::string CompareReport::Header(const std::string& note) const {
  const VideoFormat& format = b_.format;
  std::string html = "  <h1>";
  html += HtmlText(BaseName(b_.path)) + " <small>beside " + HtmlText(BaseName(a_.path)) +
          "</small></h1>\n";
  html += Text("  <p>%d x %d, %.6g frames a second, %s", format.width, format.height,
               FramesASecond(format), RangeName(b_).c_str());
  if (a_.full_range != b_.full_range)
    html += " (the source: " + RangeName(a_) + "), compared as 16 to 235";
  html += "</p>\n";
  if (!note.empty()) html += "  <p class=\"note\">" + HtmlText(note) + "</p>\n";
  return html;
}

std::string CompareReport::Figures(const CompareSummary& s) const {
  if (s.frames == 0) return {};
  const FrameMeasure& mean = s.mean;
  return Figure(Decibels(mean.error[0]), "PSNR of Y") +
         Figure(Decibels(mean.error[1]), "PSNR of Cb") +
         Figure(Decibels(mean.error[2]), "PSNR of Cr") +
         Figure(Text("%.5f", mean.ssim[0]), "SSIM of Y") +
         Figure(Decibels(s.worst_error), Text("Y of the worst frame, %" PRId64, s.worst)) +
         Figure(Text("%" PRId64, s.frames),
                Text("frames, %.2f seconds",
                     static_cast<double>(s.frames) / FramesASecond(b_.format))) +
         SizeFigures(b_, s.bytes_b, s.frames) + SizeFigures(a_, s.bytes_a, s.frames);
}

}  // namespace tkmjpg::tool
