#include "tools/tkmjpg/commands/compare_command.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <memory>

#include "tkmjpg.h"
#include "tools/tkmjpg/commands/film_input.h"
#include "tools/tkmjpg/commands/frame_decoder.h"
#include "tools/tkmjpg/commands/stream_options.h"
#include "tools/tkmjpg/commands/yuv_planes.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/open_input.h"
#include "tools/tkmjpg/media/picture_files.h"
#include "tools/tkmjpg/terminal/print.h"

namespace tkmjpg::tool {
namespace {

constexpr char kFooter[] =
    "A and B are Y4M, PNG, a test card or Motion-JPEG (.avi, .mjpg, .jpg), which is decoded with\n"
    "luma as the stream holds it. PSNR is in dB, inf where nothing differs. Frames, lines and\n"
    "pixels count from 0. Exit code: 0 compared, whatever came out; 1 sizes or lengths differ.";

// Raw or compressed frames, one after the other.
class Film {
 public:
  Film(const std::string& path, std::optional<int64_t> start) : path_(path) {
    if (IsStream(path)) {
      stream_ = std::make_unique<FilmInput>(path, StreamOptions{.start = start}, 0);
      stream_->RequireSize();
    } else {
      InputOptions options;
      options.start = start;
      frames_ = OpenFrameReader(path, options);
    }
  }

  const std::string& Path() const { return path_; }
  const VideoFormat& Format() const { return stream_ ? stream_->Format() : frames_->Format(); }

  bool Read(YuvPlanes& planes) {
    if (!(stream_ ? Decode() : Unpack())) return false;
    ++frame_;
    MakeYuvPlanes(picture_, Format().width, Format().height, planes);
    return true;
  }

 private:
  bool Unpack() {
    if (!frames_->Read(bytes_)) return false;
    frames_->Unpack(bytes_, picture_);
    return true;
  }

  bool Decode() {
    if (!stream_->Read(bytes_)) return false;
    const FrameDecoder decoder(Format().width, Format().height, TKMJPG_YuYv, 0);
    if (bytes_.empty()) {  // the last frame again
      if (frame_ == 0) decoder.MakeBlack(picture_);
      return true;
    }
    const DecodedFrame decoded = decoder.Decode(bytes_, memory_, picture_);
    if (!decoded.refusal.empty()) {
      throw InputError(path_ + ": frame " + std::to_string(frame_) + ": " + decoded.refusal);
    }
    memory_ = decoded.memory_after;
    return true;
  }

  std::string path_;
  std::unique_ptr<FilmInput> stream_;
  std::unique_ptr<FrameReader> frames_;
  Bytes bytes_;
  Picture picture_;
  uint32_t memory_ = 256;
  int64_t frame_ = 0;
};

using PlaneErrors = std::array<double, 3>;  // mean squared error of Y, Cb, Cr

double MeanSquaredError(const Bytes& a, const Bytes& b) {
  uint64_t sum = 0;
  for (size_t i = 0; i < a.size(); ++i) {
    const int difference = a[i] - b[i];
    sum += static_cast<uint64_t>(difference * difference);
  }
  return static_cast<double>(sum) / static_cast<double>(std::max<size_t>(a.size(), 1));
}

double Psnr(double error) { return error == 0 ? HUGE_VAL : 10 * std::log10(255.0 * 255.0 / error); }

void PrintErrors(const char* what, const PlaneErrors& errors) {
  Print("%s: Y %.2f  Cb %.2f  Cr %.2f dB\n", what, Psnr(errors[0]), Psnr(errors[1]),
        Psnr(errors[2]));
}

class Comparison {
 public:
  void Add(const YuvPlanes& a, const YuvPlanes& b, int width, bool print) {
    PlaneErrors errors{};
    for (size_t p = 0; p < 3; ++p) {
      errors[p] = MeanSquaredError(a.planes[p], b.planes[p]);
      total_[p] += errors[p];
    }
    if (errors[0] > worst_error_ || worst_ < 0) {
      worst_ = frames_;
      worst_error_ = errors[0];
    }
    if (first_difference_.empty()) FindDifference(a, b, width);
    if (print) PrintErrors(("frame " + std::to_string(frames_)).c_str(), errors);
    ++frames_;
  }

  int64_t Frames() const { return frames_; }

  void Summarise() const {
    PlaneErrors mean = total_;
    for (double& error : mean) error /= static_cast<double>(std::max<int64_t>(frames_, 1));
    PrintErrors((std::to_string(frames_) + (frames_ == 1 ? " frame" : " frames")).c_str(), mean);
    Print("worst frame: %lld, Y %.2f dB\n", static_cast<long long>(worst_), Psnr(worst_error_));
    Print("first difference: %s\n", first_difference_.empty() ? "none" : first_difference_.c_str());
  }

 private:
  void FindDifference(const YuvPlanes& a, const YuvPlanes& b, int width) {
    constexpr const char* kNames[] = {"Y", "Cb", "Cr"};
    for (size_t p = 0; p < 3; ++p) {
      const auto [at, other] = std::ranges::mismatch(a.planes[p], b.planes[p]);
      if (at == a.planes[p].end()) continue;
      const auto index = static_cast<size_t>(at - a.planes[p].begin());
      const auto line_width = static_cast<size_t>(p == 0 ? width : (width + 1) / 2);
      char text[128];
      std::snprintf(text, sizeof text, "frame %lld, %s, line %zu, sample %zu: %d and %d",
                    static_cast<long long>(frames_), kNames[p], index / line_width,
                    index % line_width, *at, *other);
      first_difference_ = text;
      return;
    }
  }

  PlaneErrors total_{};
  int64_t frames_ = 0;
  int64_t worst_ = -1;
  double worst_error_ = 0;
  std::string first_difference_;
};

void CheckSizes(const Film& a, const Film& b) {
  const VideoFormat &x = a.Format(), &y = b.Format();
  if (x.width == y.width && x.height == y.height) return;
  throw InputError(b.Path() + ": is " + std::to_string(y.width) + "x" + std::to_string(y.height) +
                   ", not " + std::to_string(x.width) + "x" + std::to_string(x.height));
}

struct CompareOptions {
  std::string a, b;
  bool per_frame = false;
  std::optional<int64_t> start;
};

bool IsNumbered(const std::string& path) { return path.find('%') != std::string::npos; }

void Compare(const CompareOptions& options) {
  const std::string &path_a = options.a, &path_b = options.b;
  if (options.start && !IsNumbered(path_a) && !IsNumbered(path_b)) {
    throw UsageError(kStartNeedsNumbers);
  }
  const auto start = [&](const std::string& path) {
    return IsNumbered(path) ? options.start : std::nullopt;
  };
  Film a(path_a, start(path_a)), b(path_b, start(path_b));
  CheckSizes(a, b);
  Comparison comparison;
  YuvPlanes planes_a, planes_b;
  for (;;) {
    const bool more_a = a.Read(planes_a), more_b = b.Read(planes_b);
    if (more_a && more_b) {
      comparison.Add(planes_a, planes_b, a.Format().width, options.per_frame);
      continue;
    }
    if (comparison.Frames() > 0) comparison.Summarise();
    if (!more_a && !more_b) return;
    throw InputError((more_a ? path_b : path_a) + ": ends after " +
                     std::to_string(comparison.Frames()) + " frames, the other one goes on");
  }
}

}  // namespace

void AddCompareCommand(const CommandLine& line) {
  const Command command = line.AddCommand("compare", "PSNR between two films");
  auto options = std::make_shared<CompareOptions>();
  command.Add("A", options->a, "the one to compare with, see below").Required();
  command.Add("B", options->b, "the one to judge").Required();
  command.AddFlag("--per-frame", options->per_frame, "a line for each frame as well");
  AddStartOption(command, options->start);
  command.Footer(kFooter);
  command.Run([options] { Compare(*options); });
}

}  // namespace tkmjpg::tool
