// This library beside TurboJPEG: one process, one thread, the same frames, streams of the same
// size. usage: tkmjpg_peers [--rounds N] [--size WxH --layout NAME] [FILES...]
//
// The candidates of a row take turns frame by frame, and another one begins in each round, so that
// whatever else the machine does falls on all of them alike. Times are CPU time of the process.
// A ratio is that of the sums of one round; the table has the median and the quartiles of all
// rounds. TurboJPEG's quality number is chosen so that its streams have the size of this library's.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <map>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/peer_frames.h"
#include "bench/turbojpeg_peer.h"

namespace tkmjpg {
namespace {

using tool::Bytes;
using tool::Picture;

constexpr size_t kMostFrames = 12;  // of a file; at 1080p more than caches hold
constexpr double kSizeTolerance = 0.03;

struct Candidate {
  const char* name;
  std::function<void(size_t frame)> run;
  double size_error = 0;             // of the streams, against this library's
  std::vector<double> seconds = {};  // of each round
};

double CpuSeconds() {
  timespec time;
  clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
  return static_cast<double>(time.tv_sec) + 1e-9 * static_cast<double>(time.tv_nsec);
}

double Quantile(std::vector<double> values, double q) {
  std::sort(values.begin(), values.end());
  return values[static_cast<size_t>(std::lround(q * static_cast<double>(values.size() - 1)))];
}

void Measure(std::span<Candidate> candidates, size_t frames, int rounds) {
  for (int round = -1; round < rounds; ++round) {  // the first one warms up
    std::vector<double> sums(candidates.size());
    for (size_t frame = 0; frame < frames; ++frame) {
      for (size_t turn = 0; turn < candidates.size(); ++turn) {
        const size_t i = (turn + static_cast<size_t>(round + 1) + frame) % candidates.size();
        const double start = CpuSeconds();
        candidates[i].run(frame);
        sums[i] += CpuSeconds() - start;
      }
    }
    for (size_t i = 0; round >= 0 && i < sums.size(); ++i) candidates[i].seconds.push_back(sums[i]);
  }
}

void PrintRows(const std::string& name, std::span<const Candidate> candidates, double pixels) {
  const Candidate& own = candidates[0];
  std::printf("%-22s %-22s %6.0f\n", name.c_str(), own.name,
              pixels / Quantile(own.seconds, 0.5) / 1e6);
  for (const Candidate& peer : candidates.subspan(1)) {
    std::vector<double> ratios;
    for (size_t i = 0; i < own.seconds.size(); ++i) {
      ratios.push_back(peer.seconds[i] / own.seconds[i]);
    }
    std::printf("%-22s %-22s %6.0f   %5.2f  %5.2f..%.2f", "", peer.name,
                pixels / Quantile(peer.seconds, 0.5) / 1e6, Quantile(ratios, 0.5),
                Quantile(ratios, 0.25), Quantile(ratios, 0.75));
    if (peer.size_error != 0) std::printf("  size %+.1f %%", 100 * peer.size_error);
    const bool matched = std::abs(peer.size_error) <= kSizeTolerance;
    std::printf("%s\n", matched ? "" : "  SIZE NOT MATCHED");
  }
}

struct Tuned {
  int quality;
  double error;
};

// The quality number whose streams come nearest to `target` bytes; sizes grow with it.
Tuned Tune(double target, const std::function<size_t(int quality)>& bytes) {
  int low = 1, high = 100;
  while (high - low > 1) {
    const int middle = (low + high) / 2;
    (static_cast<double>(bytes(middle)) < target ? low : high) = middle;
  }
  const double below = static_cast<double>(bytes(low)) / target - 1;
  const double above = static_cast<double>(bytes(high)) / target - 1;
  return std::abs(below) < std::abs(above) ? Tuned{low, below} : Tuned{high, above};
}

class Bench {
 public:
  Bench(std::vector<PeerFrame> frames, int rounds) : frames_(std::move(frames)), rounds_(rounds) {
    size_t room = 0;
    for (const PeerFrame& frame : frames_) {
      planes_.emplace_back(frame.width, frame.height).FromPacked(frame.yuv);
      pixels_ += static_cast<double>(frame.width) * frame.height;
      room = std::max(room, StreamRoom(frame.width, frame.height));
    }
    stream_.resize(room);
  }

  void Run(int quality) {
    const std::string at = ", q" + std::to_string(quality);
    streams_[0] = Streams(quality, &PeerFrame::yuv);
    streams_[1] = Streams(quality, &PeerFrame::bgr);
    EncodeYuv("encode packed YUV" + at, quality);
    EncodeBgr("encode BGR" + at, quality);
    DecodeYuv("decode packed YUV" + at);
    DecodeBgr("decode BGR" + at);
  }

 private:
  std::vector<Bytes> Streams(int quality, Picture PeerFrame::*picture) {
    std::vector<Bytes> streams;
    for (const PeerFrame& frame : frames_) {
      const size_t size = Encode(frame, frame.*picture, quality);
      streams.emplace_back(stream_.begin(), stream_.begin() + static_cast<ptrdiff_t>(size));
    }
    return streams;
  }

  size_t Encode(const PeerFrame& frame, const Picture& picture, int quality) {
    return EncodePicture(picture, frame.width, frame.height, quality, stream_);
  }

  void Decode(const Bytes& stream, const PeerFrame& frame, const Picture& like) {
    DecodePicture(stream, frame.width, frame.height, Output(like));
  }

  Tuned TuneTo(const std::vector<Bytes>& own, const std::function<size_t(size_t, int)>& encode) {
    double target = 0;
    for (const Bytes& stream : own) target += static_cast<double>(stream.size());
    return Tune(target, [&](int quality) {
      size_t sum = 0;
      for (size_t i = 0; i < frames_.size(); ++i) sum += encode(i, quality);
      return sum;
    });
  }

  void Report(const std::string& name, std::vector<Candidate> candidates) {
    Measure(candidates, frames_.size(), rounds_);
    PrintRows(name, candidates, pixels_);
    std::fflush(stdout);
  }

  void EncodeYuv(const std::string& name, int quality) {
    const auto planar = [&](int flags, Tuned tuned) {
      return [this, flags, tuned](size_t i) {
        peer_.EncodePlanes(frames_[i], planes_[i], tuned.quality, flags);
      };
    };
    const auto packed = [&](int flags, Tuned tuned) {
      return [this, flags, tuned](size_t i) {
        Planes& planes = Scratch(frames_[i]);
        planes.FromPacked(frames_[i].yuv);
        peer_.EncodePlanes(frames_[i], planes, tuned.quality, flags);
      };
    };
    const auto tune = [&](int flags) {
      return TuneTo(streams_[0], [&](size_t i, int q) {
        return peer_.EncodePlanes(frames_[i], planes_[i], q, flags);
      });
    };
    const Tuned fast = tune(TJFLAG_FASTDCT), accurate = tune(TJFLAG_ACCURATEDCT);
    Report(name,
           {{"tkmjpg", [&](size_t i) { Encode(frames_[i], frames_[i].yuv, quality); }},
            {"turbo fast", packed(TJFLAG_FASTDCT, fast), fast.error},
            {"turbo accurate", packed(TJFLAG_ACCURATEDCT, accurate), accurate.error},
            {"turbo fast, planar", planar(TJFLAG_FASTDCT, fast), fast.error},
            {"turbo accurate, planar", planar(TJFLAG_ACCURATEDCT, accurate), accurate.error}});
  }

  void EncodeBgr(const std::string& name, int quality) {
    const auto tune = [&](int flags) {
      return TuneTo(streams_[1],
                    [&](size_t i, int q) { return peer_.EncodeBgr(frames_[i], q, flags); });
    };
    const auto encode = [&](int flags, Tuned tuned) {
      return [this, flags, tuned](size_t i) { peer_.EncodeBgr(frames_[i], tuned.quality, flags); };
    };
    const Tuned fast = tune(TJFLAG_FASTDCT), accurate = tune(TJFLAG_ACCURATEDCT);
    Report(name, {{"tkmjpg", [&](size_t i) { Encode(frames_[i], frames_[i].bgr, quality); }},
                  {"turbo fast", encode(TJFLAG_FASTDCT, fast), fast.error},
                  {"turbo accurate", encode(TJFLAG_ACCURATEDCT, accurate), accurate.error}});
  }

  // All decode this library's streams. What they write is the same memory each time.
  void DecodeYuv(const std::string& name) {
    const auto planar = [&](int flags) {
      return [this, flags](size_t i) {
        peer_.DecodePlanes(streams_[0][i], frames_[i], Scratch(frames_[i]), flags);
      };
    };
    const auto packed = [&](int flags) {
      return [this, flags](size_t i) {
        Planes& planes = Scratch(frames_[i]);
        peer_.DecodePlanes(streams_[0][i], frames_[i], planes, flags);
        planes.ToPacked(Output(frames_[i].yuv));
      };
    };
    Report(name, {{"tkmjpg", [&](size_t i) { Decode(streams_[0][i], frames_[i], frames_[i].yuv); }},
                  {"turbo fast", packed(TJFLAG_FASTDCT)},
                  {"turbo accurate", packed(TJFLAG_ACCURATEDCT)},
                  {"turbo fast, planar", planar(TJFLAG_FASTDCT)},
                  {"turbo accurate, planar", planar(TJFLAG_ACCURATEDCT)}});
  }

  void DecodeBgr(const std::string& name) {
    const auto decode = [&](int flags) {
      return [this, flags](size_t i) { peer_.DecodeBgr(streams_[1][i], frames_[i], flags); };
    };
    Report(name, {{"tkmjpg", [&](size_t i) { Decode(streams_[1][i], frames_[i], frames_[i].bgr); }},
                  {"turbo fast", decode(TJFLAG_FASTDCT | TJFLAG_FASTUPSAMPLE)},
                  {"turbo accurate", decode(TJFLAG_ACCURATEDCT | TJFLAG_FASTUPSAMPLE)}});
  }

  Planes& Scratch(const PeerFrame& frame) {
    return scratch_.try_emplace({frame.width, frame.height}, frame.width, frame.height)
        .first->second;
  }

  Picture& Output(const Picture& like) {
    output_.layout = like.layout;
    output_.stride = like.stride;
    output_.pixels.resize(like.pixels.size());
    return output_;
  }

  std::vector<PeerFrame> frames_;
  int rounds_;
  std::vector<Planes> planes_;  // of each frame, for the peer's planar calls
  std::map<std::pair<int, int>, Planes> scratch_;
  std::vector<Bytes> streams_[2];  // this library's, of packed YUV and of BGR
  double pixels_ = 0;
  Bytes stream_;
  Picture output_;
  TurboJpeg peer_;
};

void Run(std::span<char*> arguments) {
  int rounds = 21;
  tool::InputOptions options;
  std::vector<std::string> files;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string argument = arguments[i];
    const auto value = [&] {
      if (i + 1 == arguments.size()) throw std::runtime_error(argument + " needs a value");
      return std::string(arguments[++i]);
    };
    if (argument == "--rounds") {
      rounds = std::max(std::atoi(value().c_str()), 3);
    } else if (argument == "--size") {
      options.size = value();
    } else if (argument == "--layout") {
      options.layout = value();
    } else {
      files.push_back(argument);
    }
  }
  std::vector<PeerFrame> frames = files.empty() ? TestFrames() : std::vector<PeerFrame>();
  for (const std::string& file : files) {
    AddFile(file, options, std::max<size_t>(kMostFrames / files.size(), 1), frames);
  }
  if (frames.empty()) throw std::runtime_error("no frame to measure");
  std::printf("%zu frames, %d rounds; ratio: time of TurboJPEG to time of tkmjpg\n", frames.size(),
              rounds);
  std::printf("%-22s %-22s %6s   %5s  quartiles\n", "", "", "MP/s", "ratio");
  Bench bench(std::move(frames), rounds);
  for (const int quality : {50, 75, 90}) bench.Run(quality);
}

}  // namespace
}  // namespace tkmjpg

int main(int argc, char** argv) {
  try {
    tkmjpg::Run(std::span(argv + 1, static_cast<size_t>(argc - 1)));
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tkmjpg_peers: %s\n", error.what());
    return 1;
  }
}
