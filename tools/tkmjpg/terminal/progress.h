// What the user sees while a film is on its way, and at its end. All of it goes to stderr, for
// standard output may carry the film.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

enum class Verbosity { kQuiet, kNormal };

class Progress {
 public:
  // `frames` is -1 when unknown. The line that moves is shown on a terminal only.
  Progress(Verbosity verbosity, const VideoFormat& format, int64_t frames);
  ~Progress();  // takes the moving line away

  // One more frame, of so many compressed bytes.
  void Add(size_t bytes);

  // The summary line, for the file `name`.
  void Summarise(const std::string& name);

  int64_t Frames() const { return frames_; }

 private:
  using Clock = std::chrono::steady_clock;

  double Seconds() const;
  void Show();
  void Clear();

  Verbosity verbosity_;
  bool moving_ = false;
  bool shown_ = false;
  double pixels_;  // of a frame
  int64_t total_;
  int64_t frames_ = 0;
  uint64_t bytes_ = 0;
  Clock::time_point start_;
  Clock::time_point next_;
};

}  // namespace tkmjpg::tool
