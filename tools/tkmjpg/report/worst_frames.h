// The frames of a comparison that differ most, with their pictures.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "tools/tkmjpg/commands/compare_output.h"
#include "tools/tkmjpg/commands/yuv_planes.h"

namespace tkmjpg::tool {

struct KeptFrame {
  FrameResult result;
  std::shared_ptr<const YuvPlanes> a, b;
};

// Frames next to each other differ in the same way, so a frame gives way to a worse one that is
// less than `apart` frames from it, as long as there are `most` others to show.
class WorstFrames {
 public:
  WorstFrames(size_t most, int64_t apart) : most_(most), apart_(apart) {}

  // Of frames that differ equally the earlier one is kept.
  void Add(const KeptFrame& frame);
  // The worst one first: by luma, then by chroma. If no frame differs, the first one alone.
  std::vector<KeptFrame> Frames() const;

 private:
  void AddApart(const KeptFrame& frame);
  void Insert(const KeptFrame& frame, std::vector<KeptFrame>& frames) const;

  size_t most_;
  int64_t apart_;
  std::vector<KeptFrame> worst_, worst_apart_;
};

}  // namespace tkmjpg::tool
