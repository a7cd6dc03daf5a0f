// What compare and its report work out: SSIM, curves, the worst frames, text for HTML.
#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>

#include "tools/tkmjpg/commands/frame_measure.h"
#include "tools/tkmjpg/report/curve.h"
#include "tools/tkmjpg/report/html_text.h"
#include "tools/tkmjpg/report/worst_frames.h"

namespace tkmjpg::tool {
namespace {

Bytes Noise(size_t size, int low, int high, unsigned seed) {
  std::mt19937 random(seed);
  Bytes bytes(size);
  for (uint8_t& byte : bytes) {
    byte = static_cast<uint8_t>(low + static_cast<int>(random() % (high - low + 1)));
  }
  return bytes;
}

// A window by the definition: means, unbiased variances and covariance.
double WindowSsim(const Bytes& a, const Bytes& b, int stride, int x, int y, int w, int h) {
  const double n = w * h;
  double mean_a = 0, mean_b = 0, variance_a = 0, variance_b = 0, covariance = 0;
  const auto each = [&](auto use) {
    for (int line = y; line < y + h; ++line) {
      for (int i = x; i < x + w; ++i) use(a[line * stride + i], b[line * stride + i]);
    }
  };
  each([&](double s, double t) { mean_a += s / n, mean_b += t / n; });
  each([&](double s, double t) {
    variance_a += (s - mean_a) * (s - mean_a) / std::max(n - 1, 1.0);
    variance_b += (t - mean_b) * (t - mean_b) / std::max(n - 1, 1.0);
    covariance += (s - mean_a) * (t - mean_b) / std::max(n - 1, 1.0);
  });
  constexpr double kC1 = 6.5025, kC2 = 58.5225;
  return (2 * mean_a * mean_b + kC1) * (2 * covariance + kC2) /
         ((mean_a * mean_a + mean_b * mean_b + kC1) * (variance_a + variance_b + kC2));
}

TEST(FrameMeasure, SsimIsTheMeanOverWindows) {
  const struct {
    int width, height;
    std::vector<int> across, down;  // where windows begin
    int low, high;                  // of the samples
  } cases[] = {
      {8, 8, {0}, {0}, 0, 255},
      {16, 12, {0, 4, 8}, {0, 4}, 16, 235},
      {17, 9, {0, 4, 8, 9}, {0, 1}, 120, 130},
      {5, 20, {0}, {0, 4, 8, 12}, 0, 255},
      {1, 1, {0}, {0}, 0, 255},
      {16, 16, {0, 4, 8}, {0, 4, 8}, 255, 255},
  };
  for (const auto& c : cases) {
    const size_t size = c.width * c.height;
    const Bytes a = Noise(size, c.low, c.high, 1), b = Noise(size, c.low, c.high, 2);
    double total = 0;
    for (const int y : c.down) {
      for (const int x : c.across) {
        total += WindowSsim(a, b, c.width, x, y, std::min(8, c.width), std::min(8, c.height));
      }
    }
    EXPECT_NEAR(Ssim(a, b, c.width, c.height),
                total / static_cast<double>(c.across.size() * c.down.size()), 1e-9)
        << c.width << "x" << c.height;
    EXPECT_DOUBLE_EQ(Ssim(a, a, c.width, c.height), 1);
  }
}

TEST(Curve, KeepsExtremesAndMeansOfAnyLength) {
  const struct {
    size_t frames, points;
    int64_t frames_per_point;
  } cases[] = {{1, 1, 1}, {2048, 2048, 1}, {2049, 1025, 2}, {4096, 2048, 2}, {100'000, 1563, 64}};
  for (const auto& c : cases) {
    std::vector<double> values(c.frames);
    for (size_t i = 0; i < c.frames; ++i) values[i] = static_cast<double>(i * 7919 % 10007);
    Curve curve;
    for (const double value : values) curve.Add(value);
    EXPECT_EQ(curve.FramesPerPoint(), c.frames_per_point);
    ASSERT_EQ(curve.Points().size(), c.points) << c.frames;
    auto at = values.begin();
    for (const CurvePoint& point : curve.Points()) {
      const auto end = at + point.frames;
      EXPECT_EQ(point.low, *std::min_element(at, end));
      EXPECT_EQ(point.high, *std::max_element(at, end));
      EXPECT_DOUBLE_EQ(point.Mean(),
                       std::accumulate(at, end, 0.0) / static_cast<double>(point.frames));
      at = end;
    }
    EXPECT_TRUE(at == values.end());
  }
}

TEST(WorstFrames, AreApartWhereThereAreEnough) {
  const struct {
    const char* why;
    std::vector<double> errors;  // of luma, by frame
    std::vector<int64_t> worst;  // of at most 3, 4 frames apart
  } cases[] = {
      {"no frame", {}, {}},
      {"nothing differs", {0, 0, 0}, {0}},
      {"those that do not differ are none", {0, 0, 5, 0, 0, 2, 0}, {2, 5}},
      {"worst first", {1, 0, 0, 0, 9, 0, 0, 0, 4, 0, 0, 0, 6}, {4, 12, 8}},
      {"a worse neighbour", {0, 7, 8, 7, 0, 0, 0, 3, 0, 0, 0, 2}, {2, 7, 11}},
      {"too few that are apart", {7, 9, 8, 6, 5}, {1, 2, 0}},
      {"equal ones: the earlier", {5, 5, 5, 5, 5, 5, 5, 5, 5}, {0, 4, 8}},
  };
  for (const auto& c : cases) {
    WorstFrames frames(3, 4);
    for (size_t i = 0; i < c.errors.size(); ++i) {
      KeptFrame frame;
      frame.result.number = static_cast<int64_t>(i);
      frame.result.measure.error[0] = c.errors[i];
      frames.Add(frame);
    }
    std::vector<int64_t> worst;
    for (const KeptFrame& frame : frames.Frames()) worst.push_back(frame.result.number);
    EXPECT_EQ(worst, c.worst) << c.why;
  }
}

TEST(WorstFrames, ChromaDecidesWhereLumaIsEqual) {
  WorstFrames frames(1, 1);
  for (const double chroma : {1.0, 3.0, 2.0}) {
    KeptFrame frame;
    frame.result.number = static_cast<int64_t>(chroma);
    frame.result.measure.error = {0, 0, chroma};
    frames.Add(frame);
  }
  EXPECT_EQ(frames.Frames()[0].result.number, 3);
}

TEST(HtmlText, Escapes) {
  EXPECT_EQ(HtmlText("<i>&\"'\x1b"), "&lt;i&gt;&amp;&quot;&#39;\\x1b");
  EXPECT_EQ(ScriptJson("[\"</script><!--\"]"), "[\"\\u003c/script>\\u003c!--\"]");
  const std::pair<const char*, const char*> base64[] = {
      {"", ""}, {"f", "Zg=="}, {"fo", "Zm8="}, {"foo", "Zm9v"}, {"foob\xFF\xFE", "Zm9vYv/+"}};
  for (const auto& [text, code] : base64) {
    const std::string bytes = text;
    EXPECT_EQ(Base64({reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size()}), code);
  }
}

}  // namespace
}  // namespace tkmjpg::tool
