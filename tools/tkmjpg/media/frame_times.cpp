#include "tools/tkmjpg/media/frame_times.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numeric>
#include <optional>

#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

constexpr Rational kUsualRates[] = {
    {1, 1},         {2, 1},        {5, 1},   {6, 1},        {15000, 2002},  {15, 2},       {8, 1},
    {10, 1},        {12000, 1001}, {12, 1},  {25, 2},       {15000, 1001},  {15, 1},       {20, 1},
    {24000, 1001},  {24, 1},       {25, 1},  {30000, 1001}, {30, 1},        {48000, 1001}, {48, 1},
    {50, 1},        {60000, 1001}, {60, 1},  {72, 1},       {75, 1},        {90, 1},       {100, 1},
    {120000, 1001}, {120, 1},      {144, 1}, {200, 1},      {240000, 1001}, {240, 1}};

constexpr double kExact = 1e-3, kRounded = 1.01;  // ticks
constexpr int64_t kMostBeatsPerFrame = 8;
constexpr double kFineTicks = 200;  // a frame: rounding hardly matters

double Value(Rational ratio) {
  return static_cast<double>(ratio.num) / static_cast<double>(ratio.den);
}

// Matroska states a frame's duration in nanoseconds, which makes 19001/317 of 60000/1001.
Rational Usual(Rational stated) {
  constexpr double kNear = 1e-5;
  for (const Rational rate : kUsualRates) {
    if (std::abs(Value(rate) / Value(stated) - 1) < kNear) return rate;
  }
  return stated;
}

class BeatSearch {
 public:
  BeatSearch(std::span<const int64_t> times, Rational tick, Rational stated)
      : times_(times), tick_(tick), rates_(std::begin(kUsualRates), std::end(kUsualRates)) {
    if (stated.num > 0 && stated.den > 0) rates_.insert(rates_.begin(), Usual(stated));
    has_stated_ = rates_.size() > std::size(kUsualRates);
    span_ticks_ = static_cast<double>(times.back()) - static_cast<double>(times.front());
  }

  FrameBeats Run() {
    auto found = FirstThatFits(rates_, kExact);
    if (!found && has_stated_) found = FirstThatFits({rates_.begin(), 1}, kRounded);
    const bool fine = span_ticks_ >= kFineTicks * static_cast<double>(times_.size() - 1);
    if (!found && fine) found = OfCommonDivisor();
    if (!found) found = FirstThatFits(rates_, kRounded);
    if (!found && !fine) found = OfCommonDivisor();
    if (!found) found = FirstThatFits(AverageRates(), kRounded);
    return found ? *found : NearestBeats();
  }

 private:
  using Rates = std::span<const Rational>;

  double TicksPerBeat(Rational rate) const { return 1 / (Value(rate) * Value(tick_)); }

  std::optional<FrameBeats> FirstThatFits(Rates rates, double tolerance) const {
    for (const Rational rate : rates) {
      if (auto beats = Fit(rate, tolerance)) return beats;
    }
    return std::nullopt;
  }

  // Rounding makes times early or late by less than a tick, the first one too.
  std::optional<FrameBeats> Fit(Rational rate, double tolerance) const {
    const double beat_ticks = TicksPerBeat(rate);
    FrameBeats found = {rate, {}, {}};
    double earliest = 0, latest = 0;
    for (const int64_t time : times_) {
      const double since = static_cast<double>(time) - static_cast<double>(times_[0]);
      const double beat = std::round(since / beat_ticks);
      const double error = since - beat * beat_ticks;
      earliest = std::min(earliest, error);
      latest = std::max(latest, error);
      const bool later = found.beats.empty() || beat > static_cast<double>(found.beats.back());
      if (!later || latest - earliest > tolerance || !IsPossible(beat)) return std::nullopt;
      found.beats.push_back(static_cast<int64_t>(beat));
    }
    return found;
  }

  bool IsPossible(double beat) const {
    return beat <= static_cast<double>(kMostBeatsPerFrame) * static_cast<double>(times_.size());
  }

  // Exact, for times that are not rounded.
  std::optional<FrameBeats> OfCommonDivisor() const {
    uint64_t divisor = 0;
    for (size_t i = 1; i < times_.size(); ++i) {
      if (times_[i] <= times_[i - 1]) return std::nullopt;
      divisor = std::gcd(divisor,
                         static_cast<uint64_t>(times_[i]) - static_cast<uint64_t>(times_[i - 1]));
    }
    if (divisor == 0 || divisor > uint64_t{INT32_MAX}) return std::nullopt;
    const int64_t ticks = tick_.num * static_cast<int64_t>(divisor);
    const int64_t common = std::gcd(tick_.den, ticks);
    return Fit({tick_.den / common, ticks / common}, kExact);
  }

  // The simplest ratios near the number of frames divided by the time they take.
  std::vector<Rational> AverageRates() const {
    std::vector<Rational> rates;
    const double seconds = span_ticks_ * Value(tick_);
    if (!(seconds > 0)) return rates;
    const double rate = static_cast<double>(times_.size() - 1) / seconds;
    for (const int64_t den : {1, 2, 3, 4, 5, 10, 100, 1001, 1000}) {
      const double num = std::round(rate * static_cast<double>(den));
      if (num >= 1 && num <= INT32_MAX) rates.push_back({static_cast<int64_t>(num), den});
    }
    return rates;
  }

  // Of frames that have no beat: the slowest rate at which each is near its time.
  FrameBeats NearestBeats() const {
    std::vector<Rational> rates = AverageRates();
    std::ranges::reverse(rates);
    rates.insert(rates.end(), rates_.begin(), rates_.end());
    const double average = rates.empty() ? 0 : Value(rates[0]);
    for (const Rational rate : rates) {
      if (Value(rate) < average * 0.98) continue;
      if (auto found = TakeNearest(rate)) return *found;
    }
    throw InputError("frames are " + Distances() + " apart: no constant rate keeps their times");
  }

  std::optional<FrameBeats> TakeNearest(Rational rate) const {
    constexpr double kMostOff = 0.75;  // beats
    const double beat_ticks = TicksPerBeat(rate);
    FrameBeats found = {rate, {}, {}};
    double most_off = 0;
    for (const int64_t time : times_) {
      const double since = static_cast<double>(time) - static_cast<double>(times_[0]);
      const double nearest = std::round(since / beat_ticks);
      if (!IsPossible(nearest)) return std::nullopt;
      const int64_t earliest = found.beats.empty() ? 0 : found.beats.back() + 1;
      found.beats.push_back(std::max(static_cast<int64_t>(nearest), earliest));
      const double beat = static_cast<double>(found.beats.back());
      most_off = std::max(most_off, std::abs(since / beat_ticks - beat));
      if (most_off > kMostOff) return std::nullopt;
    }
    found.problem = Problem(rate, most_off / Value(rate), found.beats);
    return found;
  }

  std::string Distances() const {
    double least = HUGE_VAL, most = 0;
    for (size_t i = 1; i < times_.size(); ++i) {
      const double ticks = static_cast<double>(times_[i]) - static_cast<double>(times_[i - 1]);
      least = std::min(least, ticks * Value(tick_) * 1000);
      most = std::max(most, ticks * Value(tick_) * 1000);
    }
    char text[64];
    std::snprintf(text, sizeof text, "%.6g to %.6g ms", least, most);
    return text;
  }

  std::string Problem(Rational rate, double seconds_off, const std::vector<int64_t>& beats) const {
    char text[96];
    std::snprintf(text, sizeof text,
                  " apart: put at %.6g frames a second, none more than %.3g ms off, %lld repeated",
                  Value(rate), seconds_off * 1000,
                  static_cast<long long>(beats.back() + 1 - static_cast<int64_t>(beats.size())));
    return "frames are " + Distances() + text;
  }

  std::span<const int64_t> times_;
  Rational tick_;
  std::vector<Rational> rates_;
  bool has_stated_ = false;
  double span_ticks_ = 0;
};

}  // namespace

FrameBeats FindFrameBeats(std::span<const int64_t> times, Rational tick, Rational stated) {
  if (times.size() < 2) {
    const bool has_stated = stated.num > 0 && stated.den > 0;
    return {
        has_stated ? Usual(stated) : Rational{25, 1}, std::vector<int64_t>(times.size(), 0), {}};
  }
  return BeatSearch(times, tick, stated).Run();
}

}  // namespace tkmjpg::tool
