// This library beside TurboJPEG: one process, one thread, the same frames, streams of the same
// size. usage: tkmjpg_peers [OPTIONS] [FILES...]
//   --rung NAME                this library's rung, and TurboJPEG held to the same level
//   --rungs                    the rungs of this machine, one a line, and nothing else
//   --rounds N, --frames N     21 and 12 by default
//   --json FILE                the results as well
//   --size WxH --layout NAME   of raw frames
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
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "bench/luma_error.h"
#include "bench/peer_frames.h"
#include "bench/peer_report.h"
#include "bench/turbojpeg_peer.h"
#include "cpu/cpu_rung.h"

namespace tkmjpg {
namespace {

using tool::Bytes;
using tool::Picture;

struct Candidate {
  const char* name;
  std::function<void(size_t frame)> run;
  StreamFacts streams;
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

PeerRow MakeRow(const std::string& operation, int quality, const Candidate& candidate,
                const Candidate& own, double pixels) {
  std::vector<double> ratios;
  for (size_t i = 0; i < own.seconds.size(); ++i) {
    ratios.push_back(candidate.seconds[i] / own.seconds[i]);
  }
  return {operation,
          quality,
          candidate.name,
          pixels / Quantile(candidate.seconds, 0.5),
          Quantile(ratios, 0.5),
          Quantile(ratios, 0.25),
          Quantile(ratios, 0.75),
          candidate.streams};
}

// The quality number whose streams come nearest to `target` bytes; sizes grow with it.
int Tune(double target, const std::function<size_t(int quality)>& bytes) {
  int low = 1, high = 100;
  while (high - low > 1) {
    const int middle = (low + high) / 2;
    (static_cast<double>(bytes(middle)) < target ? low : high) = middle;
  }
  const double below = target - static_cast<double>(bytes(low));
  const double above = static_cast<double>(bytes(high)) - target;
  return below < above ? low : high;
}

class Bench {
 public:
  Bench(std::vector<PeerFrame> frames, PeerRun& run) : frames_(std::move(frames)), run_(run) {
    size_t capacity = 0;
    for (const PeerFrame& frame : frames_) {
      planes_.emplace_back(frame.width, frame.height).FromPacked(frame.yuv);
      run_.pixels += static_cast<double>(frame.width) * frame.height;
      capacity = std::max(capacity, StreamCapacity(frame.width, frame.height));
    }
    stream_.resize(capacity);
  }

  void Run(int quality) {
    quality_ = quality;
    streams_[0] = Streams(&PeerFrame::yuv);
    streams_[1] = Streams(&PeerFrame::bgr);
    facts_[0] = Facts(streams_[0], LumaSource::kYuv);
    facts_[1] = Facts(streams_[1], LumaSource::kBgrLimited);
    EncodeYuv();
    EncodeBgr();
    DecodeYuv();
    DecodeBgr();
  }

 private:
  // TurboJPEG's way to a stream of this library's size.
  struct Tuned {
    int quality;
    StreamFacts streams;
  };

  std::vector<Bytes> Streams(Picture PeerFrame::*picture) {
    std::vector<Bytes> streams;
    for (const PeerFrame& frame : frames_) {
      const size_t size = Encode(frame, frame.*picture);
      streams.emplace_back(stream_.begin(), stream_.begin() + static_cast<ptrdiff_t>(size));
    }
    return streams;
  }

  // One judge for all streams: TurboJPEG's accurate transform.
  StreamFacts Facts(const std::vector<Bytes>& streams, LumaSource source) {
    StreamFacts facts;
    double error = 0;
    for (size_t i = 0; i < streams.size(); ++i) {
      Planes& decoded = Scratch(frames_[i]);
      peer_.DecodePlanes(streams[i], frames_[i], decoded, TJFLAG_ACCURATEDCT);
      error += LumaError(frames_[i], source, decoded);
      facts.bytes += static_cast<double>(streams[i].size());
    }
    facts.psnr = LumaPsnr(error / run_.pixels);
    return facts;
  }

  size_t Encode(const PeerFrame& frame, const Picture& picture) {
    return EncodePicture(picture, frame.width, frame.height, quality_, stream_);
  }

  void Decode(const Bytes& stream, const PeerFrame& frame, const Picture& like) {
    DecodePicture(stream, frame.width, frame.height, Output(like));
  }

  Tuned TuneTo(const StreamFacts& own, LumaSource source,
               const std::function<size_t(size_t, int)>& encode) {
    const int quality = Tune(own.bytes, [&](int q) {
      size_t sum = 0;
      for (size_t i = 0; i < frames_.size(); ++i) sum += encode(i, q);
      return sum;
    });
    std::vector<Bytes> streams;
    for (size_t i = 0; i < frames_.size(); ++i) {
      encode(i, quality);
      streams.emplace_back(peer_.Stream().begin(), peer_.Stream().end());
    }
    StreamFacts facts = Facts(streams, source);
    facts.size_error = facts.bytes / own.bytes - 1;
    return {quality, facts};
  }

  void Report(const std::string& operation, std::vector<Candidate> candidates) {
    Measure(candidates, frames_.size(), run_.rounds);
    for (const Candidate& candidate : candidates) {
      run_.rows.push_back(MakeRow(operation, quality_, candidate, candidates[0], run_.pixels));
    }
    PrintRows(std::span(run_.rows).last(candidates.size()));
  }

  void EncodeYuv() {
    const auto planar = [&](int flags, const Tuned& tuned) {
      return [this, flags, q = tuned.quality](size_t i) {
        peer_.EncodePlanes(frames_[i], planes_[i], q, flags);
      };
    };
    const auto packed = [&](int flags, const Tuned& tuned) {
      return [this, flags, q = tuned.quality](size_t i) {
        Planes& planes = Scratch(frames_[i]);
        planes.FromPacked(frames_[i].yuv);
        peer_.EncodePlanes(frames_[i], planes, q, flags);
      };
    };
    const auto tune = [&](int flags) {
      return TuneTo(facts_[0], LumaSource::kYuv, [&](size_t i, int q) {
        return peer_.EncodePlanes(frames_[i], planes_[i], q, flags);
      });
    };
    const Tuned fast = tune(TJFLAG_FASTDCT), accurate = tune(TJFLAG_ACCURATEDCT);
    Report("encode packed YUV",
           {{"tkmjpg", [&](size_t i) { Encode(frames_[i], frames_[i].yuv); }, facts_[0]},
            {"turbo fast", packed(TJFLAG_FASTDCT, fast), fast.streams},
            {"turbo accurate", packed(TJFLAG_ACCURATEDCT, accurate), accurate.streams},
            {"turbo fast, planar", planar(TJFLAG_FASTDCT, fast), fast.streams},
            {"turbo accurate, planar", planar(TJFLAG_ACCURATEDCT, accurate), accurate.streams}});
  }

  void EncodeBgr() {
    const auto tune = [&](int flags) {
      return TuneTo(facts_[1], LumaSource::kBgrFull,
                    [&](size_t i, int q) { return peer_.EncodeBgr(frames_[i], q, flags); });
    };
    const auto encode = [&](int flags, const Tuned& tuned) {
      return [this, flags, q = tuned.quality](size_t i) { peer_.EncodeBgr(frames_[i], q, flags); };
    };
    const Tuned fast = tune(TJFLAG_FASTDCT), accurate = tune(TJFLAG_ACCURATEDCT);
    Report("encode BGR",
           {{"tkmjpg", [&](size_t i) { Encode(frames_[i], frames_[i].bgr); }, facts_[1]},
            {"turbo fast", encode(TJFLAG_FASTDCT, fast), fast.streams},
            {"turbo accurate", encode(TJFLAG_ACCURATEDCT, accurate), accurate.streams}});
  }

  // All decode this library's streams. What they write is the same memory each time.
  void DecodeYuv() {
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
    const auto own = [&](size_t i) { Decode(streams_[0][i], frames_[i], frames_[i].yuv); };
    Report("decode packed YUV",
           {{"tkmjpg", own, facts_[0]},
            {"turbo fast", packed(TJFLAG_FASTDCT), facts_[0]},
            {"turbo accurate", packed(TJFLAG_ACCURATEDCT), facts_[0]},
            {"turbo fast, planar", planar(TJFLAG_FASTDCT), facts_[0]},
            {"turbo accurate, planar", planar(TJFLAG_ACCURATEDCT), facts_[0]}});
  }

  void DecodeBgr() {
    const auto decode = [&](int flags) {
      return [this, flags](size_t i) { peer_.DecodeBgr(streams_[1][i], frames_[i], flags); };
    };
    const auto own = [&](size_t i) { Decode(streams_[1][i], frames_[i], frames_[i].bgr); };
    Report("decode BGR",
           {{"tkmjpg", own, facts_[1]},
            {"turbo fast", decode(TJFLAG_FASTDCT | TJFLAG_FASTUPSAMPLE), facts_[1]},
            {"turbo accurate", decode(TJFLAG_ACCURATEDCT | TJFLAG_FASTUPSAMPLE), facts_[1]}});
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
  PeerRun& run_;
  int quality_ = 0;
  std::vector<Planes> planes_;  // of each frame, for the peer's planar calls
  std::map<std::pair<int, int>, Planes> scratch_;
  std::vector<Bytes> streams_[2];  // this library's, of packed YUV and of BGR
  StreamFacts facts_[2];           // of those
  Bytes stream_;
  Picture output_;
  TurboJpeg peer_;
};

// TurboJPEG reads these at its first call. It knows nothing above AVX2.
struct PeerLevel {
  CpuRung rung;
  const char* variable;
};
constexpr PeerLevel kPeerLevels[] = {{CpuRung::kPlain, "JSIMD_FORCENONE"},
                                     {CpuRung::kSse4, "JSIMD_FORCESSE2"}};

// Returns what was set. A limit from outside would hold for one side alone.
std::string HoldPeerTo(CpuRung rung) {
  std::string set;
  for (const PeerLevel& level : kPeerLevels) {
    unsetenv(level.variable);
    if (level.rung != rung) continue;
    setenv(level.variable, "1", 1);
    set = std::string(level.variable) + "=1";
  }
  return set;
}

struct Options {
  int rounds = 21;
  size_t frames = 12;  // at 1080p more than caches hold
  bool list_rungs = false;
  std::string rung, json;
  tool::InputOptions input;
  std::vector<std::string> files;
};

Options ReadOptions(std::span<char*> arguments) {
  Options options;
  for (size_t i = 0; i < arguments.size(); ++i) {
    const std::string argument = arguments[i];
    const auto value = [&] {
      if (i + 1 == arguments.size()) throw std::runtime_error(argument + " needs a value");
      return std::string(arguments[++i]);
    };
    if (argument == "--rounds") {
      options.rounds = std::max(std::atoi(value().c_str()), 3);
    } else if (argument == "--frames") {
      options.frames = static_cast<size_t>(std::max(std::atoi(value().c_str()), 1));
    } else if (argument == "--rung") {
      options.rung = value();
    } else if (argument == "--rungs") {
      options.list_rungs = true;
    } else if (argument == "--json") {
      options.json = value();
    } else if (argument == "--size") {
      options.input.size = value();
    } else if (argument == "--layout") {
      options.input.layout = value();
    } else {
      options.files.push_back(argument);
    }
  }
  return options;
}

CpuRung UseRung(const std::string& name) {
  if (name.empty()) return ActiveCpuRung();
  const std::optional<CpuRung> rung = CpuRungByName(name);
  if (!rung) throw std::runtime_error("--rung: '" + name + "' is no rung");
  if (!ForceCpuRung(*rung)) throw std::runtime_error("--rung: this machine has no " + name);
  return *rung;
}

std::vector<PeerFrame> ReadFrames(const Options& options) {
  constexpr size_t kTestPictures = 3;
  if (options.files.empty()) return TestFrames(std::max<size_t>(options.frames / kTestPictures, 1));
  std::vector<PeerFrame> frames;
  const size_t most = std::max<size_t>(options.frames / options.files.size(), 1);
  for (const std::string& file : options.files) AddFile(file, options.input, most, frames);
  if (frames.empty()) throw std::runtime_error("no frame to measure");
  return frames;
}

void Run(const Options& options) {
  const CpuRung rung = UseRung(options.rung);
  PeerRun run{std::string(CpuRungName(rung)), HoldPeerTo(rung), options.rounds, 0, 0};
  std::vector<PeerFrame> frames = ReadFrames(options);
  run.frames = frames.size();
  PrintHead(run);
  Bench bench(std::move(frames), run);
  for (const int quality : {50, 75, 90}) bench.Run(quality);
  if (!options.json.empty()) WriteJson(options.json, run);
}

void PrintRungs() {
  for (const CpuRung rung : RunnableCpuRungs()) {
    std::printf("%s\n", std::string(CpuRungName(rung)).c_str());
  }
}

}  // namespace
}  // namespace tkmjpg

int main(int argc, char** argv) {
  try {
    const auto options = tkmjpg::ReadOptions(std::span(argv + 1, static_cast<size_t>(argc - 1)));
    options.list_rungs ? tkmjpg::PrintRungs() : tkmjpg::Run(options);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "tkmjpg_peers: %s\n", error.what());
    return 1;
  }
}
