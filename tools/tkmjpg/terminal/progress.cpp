#include "tools/tkmjpg/terminal/progress.h"

#include <unistd.h>

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "tools/tkmjpg/terminal/printable.h"

namespace tkmjpg::tool {
namespace {

constexpr auto kBetweenLines = std::chrono::milliseconds(200);
constexpr double kMega = 1e6;

}  // namespace

Progress::Progress(Verbosity verbosity, const VideoFormat& format, int64_t frames)
    : verbosity_(verbosity),
      moving_(verbosity == Verbosity::kNormal && isatty(STDERR_FILENO) != 0),
      pixels_(static_cast<double>(format.width) * format.height),
      total_(frames),
      start_(Clock::now()),
      next_(start_ + kBetweenLines) {}

Progress::~Progress() { Clear(); }

double Progress::Seconds() const {
  return std::max(std::chrono::duration<double>(Clock::now() - start_).count(), 1e-6);
}

void Progress::Add(size_t bytes) {
  ++frames_;
  bytes_ += bytes;
  if (moving_ && Clock::now() >= next_) Show();
}

void Progress::Show() {
  const double seconds = Seconds(), fps = static_cast<double>(frames_) / seconds;
  std::string left;
  if (total_ > 0) {
    const auto rest =
        static_cast<int64_t>(static_cast<double>(std::max(total_ - frames_, int64_t{0})) / fps);
    char text[64];
    std::snprintf(text, sizeof text, " of %" PRId64 ", %" PRId64 ":%02d left", total_, rest / 60,
                  static_cast<int>(rest % 60));
    left = text;
  }
  std::fprintf(stderr, "\r\033[K%" PRId64 " frames%s, %.1f fps, %.1f MB/s", frames_, left.c_str(),
               fps, static_cast<double>(bytes_) / kMega / seconds);
  std::fflush(stderr);
  shown_ = true;
  next_ = Clock::now() + kBetweenLines;
}

void Progress::Clear() {
  if (shown_) std::fputs("\r\033[K", stderr);
  shown_ = false;
}

void Progress::Summarise(const std::string& name) {
  Clear();
  if (verbosity_ == Verbosity::kQuiet) return;
  const double frames = static_cast<double>(std::max(frames_, int64_t{1}));
  std::fprintf(stderr, "%s: %" PRId64 " frames, %" PRIu64 " bytes, %.3f bits per pixel, %.1f fps\n",
               Printable(name).c_str(), frames_, bytes_,
               static_cast<double>(bytes_) * 8 / frames / pixels_,
               static_cast<double>(frames_) / Seconds());
}

}  // namespace tkmjpg::tool
