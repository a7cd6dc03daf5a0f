#include "tools/tkmjpg/report/report_text.h"

#include <cstdint>

#include "tools/tkmjpg/commands/frame_measure.h"

namespace tkmjpg::tool {

void WriteText(OutputFile& file, std::string_view text) {
  file.Write({reinterpret_cast<const uint8_t*>(text.data()), text.size()});
}

std::string BaseName(const std::string& path) { return path.substr(path.rfind('/') + 1); }

std::string Decibels(double error) {
  return error == 0 ? "identical" : Text("%.2f dB", Psnr(error));
}

}  // namespace tkmjpg::tool
