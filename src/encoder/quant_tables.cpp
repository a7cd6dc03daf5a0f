#include "encoder/quant_tables.h"

#include <algorithm>

namespace tkmjpg {
namespace {

// ITU T.81 Table K.1, natural order, but for row 0, column 2: 12 instead of 10.
constexpr std::array<uint8_t, 64> kLumaBase = {16, 11, 12, 16, 24,  40,  51,  61,   //
                                               12, 12, 14, 19, 26,  58,  60,  55,   //
                                               14, 13, 16, 24, 40,  57,  69,  56,   //
                                               14, 17, 22, 29, 51,  87,  80,  62,   //
                                               18, 22, 37, 56, 68,  109, 103, 77,   //
                                               24, 35, 55, 64, 81,  104, 113, 92,   //
                                               49, 64, 78, 87, 103, 121, 120, 101,  //
                                               72, 92, 95, 98, 112, 100, 103, 99};

// ITU T.81 Table K.2.
constexpr std::array<uint8_t, 64> kChromaBase = {17, 18, 24, 47, 99, 99, 99, 99,  //
                                                 18, 21, 26, 66, 99, 99, 99, 99,  //
                                                 24, 26, 56, 99, 99, 99, 99, 99,  //
                                                 47, 66, 99, 99, 99, 99, 99, 99,  //
                                                 99, 99, 99, 99, 99, 99, 99, 99,  //
                                                 99, 99, 99, 99, 99, 99, 99, 99,  //
                                                 99, 99, 99, 99, 99, 99, 99, 99,  //
                                                 99, 99, 99, 99, 99, 99, 99, 99};

// Where the scale factors of the transform are smallest, a small step would push the reciprocal
// past 32767, the largest signed 16-bit multiplier.
constexpr int32_t SmallestStep(int row, int column) {
  if (row == 7 && column == 7) return 3;
  return row + column == 13 ? 2 : 1;
}

EncoderQuantTable ScaledTable(const std::array<uint8_t, 64>& base, int32_t scale) {
  constexpr int32_t kKnee = 75;
  EncoderQuantTable table;
  for (int row = 0; row < 8; ++row) {
    for (int column = 0; column < 8; ++column) {
      const int32_t excess = std::max(scale - kKnee, 0);
      const int32_t tilted = ((row + 8 + 2 * column) * excess) >> 3;
      const int32_t step = (base[8 * row + column] * (std::min(scale, kKnee) + tilted) + 50) / 100;
      table.values[8 * row + column] =
          static_cast<uint8_t>(std::clamp(step, SmallestStep(row, column), 255));
    }
  }
  return table;
}

}  // namespace

int32_t ScaleFromQuality(int32_t quality) {
  if (quality < 1) return 5000;
  if (quality > 100) return 0;
  return quality < 50 ? 5000 / quality : 200 - 2 * quality;
}

void BuildQuantTablesFromScale(EncoderContext& context, int32_t scale) {
  context.quant_tables[0] = ScaledTable(kLumaBase, scale);
  context.quant_tables[1] = ScaledTable(kChromaBase, scale);
}

void BuildQuantTablesFromQuality(EncoderContext& context, int32_t quality) {
  BuildQuantTablesFromScale(context, ScaleFromQuality(quality));
}

}  // namespace tkmjpg
