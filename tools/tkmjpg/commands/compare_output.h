// What compare prints, as text, JSON or CSV.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tools/tkmjpg/commands/frame_measure.h"
#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

struct ComparedFacts {
  std::string path;
  VideoFormat format;
  bool compressed = false;
  bool full_range = false;  // luma 0 to 255
};

struct FrameResult {
  int64_t number = 0;
  size_t bytes_a = 0, bytes_b = 0;  // as the files hold the frame
  FrameMeasure measure;
};

struct CompareSummary {
  int64_t frames = 0;
  FrameMeasure mean;
  int64_t worst = -1;      // the frame with the largest error of Y
  double worst_error = 0;  // of its Y
  std::string first_difference;
  uint64_t bytes_a = 0, bytes_b = 0;
  bool complete = false;  // both films ended after the same frame
};

class CompareOutput {
 public:
  virtual ~CompareOutput() = default;
  virtual void Begin(const ComparedFacts& a, const ComparedFacts& b) = 0;
  virtual void Frame(const FrameResult& frame) = 0;
  // Also after an error that ends the comparison.
  virtual void End(const CompareSummary& summary) = 0;
};

std::unique_ptr<CompareOutput> MakeTextCompareOutput(bool per_frame);
std::unique_ptr<CompareOutput> MakeJsonCompareOutput();
std::unique_ptr<CompareOutput> MakeCsvCompareOutput();

}  // namespace tkmjpg::tool
