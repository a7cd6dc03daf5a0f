#include "tools/tkmjpg/media/plane_scaler.h"

#include <gtest/gtest.h>

#include "tests/bytes.h"

namespace tkmjpg::tool {
namespace {

TEST(PlaneScaler, OneRow) {
  const struct {
    const char* name;
    Bytes samples;
    int source, made;  // samples
    Bytes wanted;
  } cases[] = {
      {"the same", {1, 2, 3}, 1, 1, {1, 2, 3}},
      {"the same, longer", {1, 2}, 2, 2, {1, 2, 2, 2}},
      {"twice as many", {0, 80}, 1, 2, {0, 20, 60, 80}},
      {"twice as many, an odd width", {0, 80}, 1, 2, {0, 20, 60}},
      {"four times", {0, 80}, 1, 4, {0, 0, 10, 30, 50, 70, 80, 80}},
      {"half", {10, 20, 30, 40}, 2, 1, {15, 35}},
      {"half, an odd width", {10, 20, 30}, 2, 1, {15, 30}},
      {"a quarter", {10, 20, 30, 40, 50}, 4, 1, {25, 50}},
      {"two for three", {0, 60, 120}, 3, 2, {20, 100}},
      {"three for two", {30, 60}, 2, 3, {30, 45, 60}},
      {"no more than there can be", {255, 255, 255}, 3, 2, {255, 255}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto width = static_cast<int>(c.samples.size()),
               count = static_cast<int>(c.wanted.size());
    const ScaledAxis across(width, c.source, c.made), same(1, 1, 1), down(width, c.source, c.made);
    PlaneScaler columns({c.samples.data(), c.samples.size(), width}, across, same, count);
    const uint8_t* row = columns.Row(0);
    EXPECT_EQ(Bytes(row, row + count), c.wanted);
    PlaneScaler lines({c.samples.data(), 1, 1}, same, down, 1);
    for (int y = 0; y < count; ++y) EXPECT_EQ(*lines.Row(y), c.wanted[static_cast<size_t>(y)]) << y;
  }
}

}  // namespace
}  // namespace tkmjpg::tool
