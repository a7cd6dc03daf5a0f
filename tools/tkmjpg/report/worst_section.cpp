#include "tools/tkmjpg/report/worst_section.h"

#include <string>

#include "tools/tkmjpg/report/report_pictures.h"
#include "tools/tkmjpg/report/report_text.h"

namespace tkmjpg::tool {
namespace {

std::string Image(const char* kind, const std::string& what, const std::string& url) {
  std::string html = Text("<img class=\"%s\" alt=\"%s\" src=\"", kind, what.c_str());
  return html.append(url).append("\">\n");
}

std::string OutsideLimits(const YuvPlanes& planes) {
  size_t below = 0, above = 0;
  for (const uint8_t level : planes.planes[0]) {
    below += level < 16 ? 1 : 0;
    above += level > 235 ? 1 : 0;
  }
  const double percent = 100.0 / static_cast<double>(planes.planes[0].size());
  return Text("below 16: %.2f %%, above 235: %.2f %%", static_cast<double>(below) * percent,
              static_cast<double>(above) * percent);
}

std::string Level(int level) {
  const bool limit = level == 16 || level == 235;
  const double top = (255.5 - level) / 256 * 100;
  std::string html =
      Text("<span%s style=\"top:%.2f%%\">%d</span>", limit ? " class=\"limit\"" : "", top, level);
  if (limit) html += Text("<hr style=\"top:%.2f%%\">", top);
  return html.append("\n");
}

void WriteMonitor(const char* kind, const YuvPlanes& planes, const PictureShape& shape,
                  OutputFile& file) {
  const std::string name = std::string("luma of the ") + kind;
  WriteText(file, "<figure><div class=\"monitor\"><div>\n");
  WriteText(file, Image("waveform", name, WaveformUrl(planes, shape)));
  for (const int level : {255, 235, 128, 16, 0}) WriteText(file, Level(level));
  WriteText(file, Text("</div></div>\n<figcaption>%s; %s</figcaption></figure>\n", name.c_str(),
                       OutsideLimits(planes).c_str()));
}

// Of the whole picture, width to height, with its pixel aspect.
double Aspect(const VideoFormat& format) {
  const Rational pixel = format.pixel_aspect;
  const bool known = pixel.num > 0 && pixel.den > 0;
  const double wide = known ? static_cast<double>(pixel.num) / static_cast<double>(pixel.den) : 1;
  return wide * format.width / format.height;
}

void WriteArticle(const KeptFrame& frame, const PictureShape& shape, double aspect,
                  OutputFile& file) {
  const auto number = static_cast<long long>(frame.result.number);
  const std::string name = Text("Frame %lld", number);
  const std::string psnr = Decibels(frame.result.measure.error[0]);
  WriteText(file, Text("<article id=\"frame-%lld\" data-name=\"%s\" data-psnr=\"%s\">\n", number,
                       name.c_str(), psnr.c_str()));
  WriteText(file, Text("<h3>%s, %s</h3>\n<div class=\"view\"><div class=\"stage\" "
                       "style=\"--columns:%d;--lines:%d;--wide:%.5f\">\n",
                       name.c_str(), psnr.c_str(), shape.width, shape.height, aspect));
  WriteText(file, Image("source", name + ", source", RgbUrl(*frame.a, shape)));
  WriteText(file, Image("decoded", name + ", decoded", RgbUrl(*frame.b, shape)));
  WriteText(file,
            Image("difference", name + ", difference", DifferenceUrl(*frame.a, *frame.b, shape)));
  WriteText(file, "<i></i></div></div>\n<div class=\"monitors\">\n");
  WriteMonitor("source", *frame.a, shape, file);
  WriteMonitor("decoded", *frame.b, shape, file);
  WriteText(file, "</div>\n</article>\n");
}

}  // namespace

void WriteWorstSection(std::span<const KeptFrame> frames, const VideoFormat& format,
                       bool full_range, OutputFile& file) {
  const PictureShape shape = {format.width, format.height, full_range};
  for (const KeptFrame& frame : frames) WriteArticle(frame, shape, Aspect(format), file);
}

}  // namespace tkmjpg::tool
