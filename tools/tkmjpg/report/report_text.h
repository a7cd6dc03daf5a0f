// Small texts of a report's page.
#pragma once

#include <string>
#include <string_view>

#include "tools/tkmjpg/media/output_file.h"
#include "tools/tkmjpg/terminal/format_text.h"

namespace tkmjpg::tool {

void WriteText(OutputFile& file, std::string_view text);

std::string BaseName(const std::string& path);

// The PSNR of a mean squared error.
std::string Decibels(double error);

}  // namespace tkmjpg::tool
