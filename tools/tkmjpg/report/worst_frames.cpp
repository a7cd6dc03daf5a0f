#include "tools/tkmjpg/report/worst_frames.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

namespace tkmjpg::tool {
namespace {

std::pair<double, double> ErrorOf(const KeptFrame& frame) {
  const auto& error = frame.result.measure.error;
  return {error[0], error[1] + error[2]};
}

bool Differs(const KeptFrame& frame) { return ErrorOf(frame) > std::pair<double, double>(0, 0); }

bool IsAmong(const KeptFrame& frame, const std::vector<KeptFrame>& frames) {
  return std::ranges::any_of(
      frames, [&](const KeptFrame& kept) { return kept.result.number == frame.result.number; });
}

}  // namespace

void WorstFrames::Add(const KeptFrame& frame) {
  if (!worst_.empty() && !Differs(frame)) return;
  if (!worst_.empty() && !Differs(worst_[0])) {  // the first frame, kept because none differed
    worst_.clear();
    worst_apart_.clear();
  }
  Insert(frame, worst_);
  AddApart(frame);
}

void WorstFrames::AddApart(const KeptFrame& frame) {
  const auto is_near = [&](const KeptFrame& kept) {
    return std::abs(kept.result.number - frame.result.number) < apart_;
  };
  const auto is_near_and_worse = [&](const KeptFrame& kept) {
    return is_near(kept) && ErrorOf(kept) >= ErrorOf(frame);
  };
  if (std::ranges::any_of(worst_apart_, is_near_and_worse)) return;
  std::erase_if(worst_apart_, is_near);
  Insert(frame, worst_apart_);
}

void WorstFrames::Insert(const KeptFrame& frame, std::vector<KeptFrame>& frames) const {
  const auto place = std::ranges::find_if(
      frames, [&](const KeptFrame& kept) { return ErrorOf(kept) < ErrorOf(frame); });
  frames.insert(place, frame);
  if (frames.size() > most_) frames.pop_back();
}

std::vector<KeptFrame> WorstFrames::Frames() const {
  std::vector<KeptFrame> frames = worst_apart_;
  for (const KeptFrame& frame : worst_) {
    if (frames.size() < most_ && !IsAmong(frame, frames)) Insert(frame, frames);
  }
  return frames;
}

}  // namespace tkmjpg::tool
