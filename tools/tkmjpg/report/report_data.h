// What the script of a report's page draws, as JSON.
#pragma once

#include <array>
#include <span>
#include <string>

#include "tools/tkmjpg/commands/compare_output.h"
#include "tools/tkmjpg/report/curve.h"
#include "tools/tkmjpg/report/worst_frames.h"

namespace tkmjpg::tool {

struct ReportCurves {
  std::array<Curve, 3> errors;  // mean squared errors of Y, Cb and Cr
  Curve bytes_a, bytes_b;
};

std::string ReportData(const ComparedFacts& a, const ComparedFacts& b, const ReportCurves& curves,
                       std::span<const KeptFrame> worst);

}  // namespace tkmjpg::tool
