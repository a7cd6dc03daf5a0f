#include "tools/tkmjpg/commands/compare_films.h"

#include <string>
#include <vector>

#include "tools/tkmjpg/commands/ordered_pipeline.h"
#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

struct PairOfFrames {
  ComparedFrame a, b;
  FrameMeasure measure;
};

class Comparison {
 public:
  Comparison(ComparedFilm& a, ComparedFilm& b, const FrameRange& range, int threads,
             CompareSummary& summary, const OnComparedFrame& on_frame)
      : a_(a),
        b_(b),
        range_(range),
        next_(range.first),
        width_(a.Format().width),
        height_(a.Format().height),
        pictures_(static_cast<size_t>(threads)),
        summary_(summary),
        on_frame_(on_frame) {}

  void Run() {
    if (range_.first > 0) {
      a_.SkipTo(range_.first);
      b_.SkipTo(range_.first);
    }
    RunOrdered<PairOfFrames>(
        static_cast<int>(pictures_.size()), [this](PairOfFrames& pair) { return Read(pair); },
        [this](PairOfFrames& pair, int thread) {
          Work(pair, pictures_[static_cast<size_t>(thread)]);
        },
        [this](PairOfFrames& pair) { Settle(pair); });
    if (summary_.frames == 0) CheckReached(a_.Path(), range_, range_.first);
    if (more_a_ == more_b_) {
      summary_.complete = true;
      return;
    }
    throw InputError((more_a_ ? b_ : a_).Path() + ": ends after " +
                     std::to_string(range_.first + summary_.frames) +
                     " frames, the other one goes on");
  }

 private:
  bool Read(PairOfFrames& pair) {
    if (next_ > range_.last) return false;
    ++next_;
    more_a_ = a_.Read(pair.a);
    more_b_ = b_.Read(pair.b);
    return more_a_ && more_b_;
  }

  void Work(PairOfFrames& pair, Picture& picture) const {
    a_.Unpack(pair.a, picture);
    b_.Unpack(pair.b, picture);
    if (pair.a.planes && pair.b.planes) Compare(pair);
  }

  void Compare(PairOfFrames& pair) const {
    pair.measure = Measure(*pair.a.planes, *pair.b.planes, width_, height_);
  }

  void Settle(PairOfFrames& pair) {
    const bool other_a = a_.Settle(pair.a, again_), other_b = b_.Settle(pair.b, again_);
    if (other_a || other_b) Compare(pair);
    const FrameResult result = {range_.first + summary_.frames, pair.a.bytes.size(),
                                pair.b.bytes.size(), pair.measure};
    Count(result, pair);
    on_frame_(result, pair.a, pair.b);
  }

  void Count(const FrameResult& result, const PairOfFrames& pair) {
    const FrameMeasure& measure = result.measure;
    const auto before = static_cast<double>(summary_.frames++);
    for (size_t p = 0; p < 3; ++p) {
      total_.error[p] += measure.error[p];
      total_.ssim[p] += measure.ssim[p];
      summary_.mean.error[p] = total_.error[p] / (before + 1);
      summary_.mean.ssim[p] = total_.ssim[p] / (before + 1);
    }
    if (summary_.worst < 0 || measure.error[0] > summary_.worst_error) {
      summary_.worst = result.number;
      summary_.worst_error = measure.error[0];
    }
    if (summary_.first_difference.empty()) NoteDifference(result.number, pair);
    summary_.bytes_a += result.bytes_a;
    summary_.bytes_b += result.bytes_b;
  }

  void NoteDifference(int64_t number, const PairOfFrames& pair) {
    const std::string where = FirstDifference(*pair.a.planes, *pair.b.planes, width_);
    if (where.empty()) return;
    summary_.first_difference = "frame " + std::to_string(number) + ", " + where;
  }

  ComparedFilm &a_, &b_;
  FrameRange range_;
  int64_t next_;  // frame to read
  int width_, height_;
  std::vector<Picture> pictures_;  // one a thread
  Picture again_;                  // for frames that are decoded in sequence
  bool more_a_ = true, more_b_ = true;
  FrameMeasure total_;
  CompareSummary& summary_;
  const OnComparedFrame& on_frame_;
};

void CheckSizes(const ComparedFilm& a, const ComparedFilm& b) {
  const VideoFormat &x = a.Format(), &y = b.Format();
  if (x.width == y.width && x.height == y.height) return;
  throw InputError(b.Path() + ": is " + std::to_string(y.width) + "x" + std::to_string(y.height) +
                   ", not " + std::to_string(x.width) + "x" + std::to_string(x.height));
}

}  // namespace

void CompareFilms(ComparedFilm& a, ComparedFilm& b, const FrameRange& range, int threads,
                  CompareSummary& summary, const OnComparedFrame& on_frame) {
  CheckSizes(a, b);
  Comparison(a, b, range, threads, summary, on_frame).Run();
}

}  // namespace tkmjpg::tool
