// Rates from the times of frames, as containers round them.
#include "tools/tkmjpg/media/frame_times.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

// The ticks at which these beats of a rate lie, the first one late by `late` seconds.
std::vector<int64_t> Ticks(const std::vector<int64_t>& beats, Rational rate, Rational tick,
                           double late = 0) {
  std::vector<int64_t> times;
  for (const int64_t beat : beats) {
    const double seconds =
        late + static_cast<double>(beat * rate.den) / static_cast<double>(rate.num);
    times.push_back(
        std::llround(seconds * static_cast<double>(tick.den) / static_cast<double>(tick.num)));
  }
  return times;
}

std::vector<int64_t> Every(size_t count, const std::vector<int64_t>& missing = {}) {
  std::vector<int64_t> beats;
  for (int64_t beat = 0; beats.size() < count; ++beat) {
    if (std::find(missing.begin(), missing.end(), beat) == missing.end()) beats.push_back(beat);
  }
  return beats;
}

TEST(FrameTimes, TellTheRate) {
  constexpr Rational kNone = {0, 0}, kMilliseconds = {1, 1000}, kFine = {1, 90000};
  constexpr Rational kNtsc = {30000, 1001}, kFilm = {24000, 1001};
  const struct {
    const char* name;
    Rational rate, tick, stated;
    std::vector<int64_t> beats;
    double late = 0;
  } cases[] = {
      {"a tick a frame", {25, 1}, {1, 25}, kNone, Every(50)},
      {"PAL", {25, 1}, {1, 12800}, kNone, Every(50)},
      {"NTSC", kNtsc, {1, 30000}, kNone, Every(50)},
      {"NTSC, rounded to milliseconds", kNtsc, kMilliseconds, kNone, Every(200)},
      {"the same, short", kNtsc, kMilliseconds, kNtsc, Every(3)},
      {"the same, and late", kNtsc, kMilliseconds, kNone, Every(200), 0.0233},
      {"film, rounded", kFilm, kMilliseconds, kNone, Every(500), 0.0107},
      {"what is stated is rounded", {60000, 1001}, kMilliseconds, {19001, 317}, Every(60)},
      {"what is stated is wrong", {24, 1}, kMilliseconds, {30, 1}, Every(100)},
      {"frames are missing", {30, 1}, kMilliseconds, kNone, Every(100, {3, 7, 8, 9, 50})},
      {"every other one is", {25, 2}, kFine, kNone, Every(50)},
      {"two frames", {25, 1}, kFine, kNone, Every(2)},
      {"an unusual rate, exact", {90000, 3333}, kFine, kNone, Every(100)},
      {"an unusual rate, rounded", {59, 2}, kMilliseconds, kNone, Every(400)},
      {"very slow", {1, 10}, kMilliseconds, kNone, Every(10)},
      {"very fast", {1000, 1}, kFine, kNone, Every(100)},
      {"an hour", kNtsc, kMilliseconds, kNone, Every(108000)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const FrameBeats found =
        FindFrameBeats(Ticks(c.beats, c.rate, c.tick, c.late), c.tick, c.stated);
    EXPECT_EQ(found.rate.num * c.rate.den, found.rate.den * c.rate.num)
        << found.rate.num << "/" << found.rate.den;
    EXPECT_EQ(found.beats, c.beats);
    EXPECT_EQ(found.problem, "");
  }
}

// A phone that is not exact: all frames stay, each near its time, and this is said.
TEST(FrameTimes, ThatVaryAreKept) {
  std::mt19937 random(1);
  std::vector<int64_t> times;
  for (int64_t i = 0; i < 300; ++i)
    times.push_back(i * 3010 + static_cast<int64_t>(random() % 700));
  const FrameBeats found = FindFrameBeats(times, {1, 90000}, {0, 0});
  EXPECT_NE(found.problem, "");
  for (size_t i = 0; i < times.size(); ++i) {
    const double beat =
        static_cast<double>(found.beats[i] * found.rate.den) / static_cast<double>(found.rate.num);
    EXPECT_NEAR(beat, static_cast<double>(times[i] - times[0]) / 90000, 0.02);
    if (i > 0) {
      EXPECT_GT(found.beats[i], found.beats[i - 1]);
    }
  }
}

TEST(FrameTimes, WithoutARateAreRefused) {
  std::vector<int64_t> ever_slower;
  for (int64_t i = 0; i < 100; ++i) ever_slower.push_back(i * i * 3000);
  const std::vector<int64_t> cases[] = {ever_slower,
                                        std::vector<int64_t>(100, 5),
                                        {INT64_MIN + 1, 0, INT64_MAX},
                                        {0, 1, 1'000'000'000}};
  for (const auto& times : cases) {
    EXPECT_THROW(FindFrameBeats(times, {1, 90000}, {25, 1}), InputError) << times[1];
  }
}

}  // namespace
}  // namespace tkmjpg::tool
