// A comparison as one HTML page that needs nothing but itself: curves over all frames, and the
// frames that differ most.
#pragma once

#include <string>

#include "tools/tkmjpg/commands/compare_output.h"
#include "tools/tkmjpg/media/output_file.h"
#include "tools/tkmjpg/report/report_data.h"
#include "tools/tkmjpg/report/worst_frames.h"

namespace tkmjpg::tool {

class CompareReport {
 public:
  CompareReport(const ComparedFacts& a, const ComparedFacts& b, int worst)
      : a_(a), b_(b), worst_(static_cast<size_t>(worst), HalfASecond(b.format.rate)) {}

  void Add(const KeptFrame& frame);
  // Writes the page. `note` tells what ended the comparison too early.
  void Write(const CompareSummary& summary, const std::string& note, OutputFile& file) const;

 private:
  static int64_t HalfASecond(const Rational& rate) { return rate.num / (2 * rate.den) + 1; }
  std::string Header(const std::string& note) const;
  std::string Figures(const CompareSummary& summary) const;

  ComparedFacts a_, b_;
  ReportCurves curves_;
  WorstFrames worst_;
};

}  // namespace tkmjpg::tool
