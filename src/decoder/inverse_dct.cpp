#include "decoder/inverse_dct.h"

#include <algorithm>

#include "frame/transform_scale.h"

namespace tkmjpg {
namespace {

// InverseScale: half the forward scale, symmetric. [730, 18464]
constexpr int32_t InverseScale(int n) { return kQuantScale[n] >> 1; }

// Sums, differences and shifts wrap at 16 bits. Sound data stays within; corrupt data must come out
// the same everywhere.
constexpr int16_t Wrap(int32_t value) { return static_cast<int16_t>(value); }

// The high half of a 16 x 16 bit product, rounded towards minus infinity.
constexpr int16_t MulHigh(int16_t a, int32_t constant) {
  return static_cast<int16_t>((a * constant) >> 16);
}

// One eight-point pass in place, at p[0], p[stride], ... p[7 * stride]. The doublings and
// quadruplings ahead of a multiplication keep the constants in 16 bits.
void InversePass(int16_t* p, int stride) {
  const int16_t x0 = p[0], x1 = p[stride], x2 = p[2 * stride], x3 = p[3 * stride];
  const int16_t x4 = p[4 * stride], x5 = p[5 * stride], x6 = p[6 * stride], x7 = p[7 * stride];

  const int16_t a = Wrap(x5 - x3), b = Wrap(x5 + x3), c = Wrap(x1 - x7), d = Wrap(x1 + x7);
  const int16_t g = Wrap(c + MulHigh(Wrap(2 * (c - a)), 23170));  // cos(pi/4)
  const int16_t h = Wrap(a + MulHigh(Wrap(2 * (a + c)), 23170));
  const int16_t e = MulHigh(Wrap(4 * (d - b)), 21407);  // 1 / (2 sin(pi/8))
  const int16_t f = MulHigh(Wrap(2 * (b + d)), 30274);  // cos(pi/8)
  const int16_t t6 = Wrap(g - f), t5 = Wrap(e - t6), t4 = Wrap(h - t5);

  const int16_t s = Wrap(x2 + x6);
  const int16_t m = Wrap(MulHigh(Wrap(4 * (x2 - x6)), 23170) - s);  // sqrt(2)
  const int16_t p0 = Wrap(x0 + x4), p1 = Wrap(x0 - x4);
  const int16_t e0 = Wrap(p0 + s), e3 = Wrap(p0 - s), e1 = Wrap(p1 + m), e2 = Wrap(p1 - m);

  p[0] = Wrap(e0 + f);
  p[7 * stride] = Wrap(e0 - f);
  p[stride] = Wrap(e1 + t6);
  p[6 * stride] = Wrap(e1 - t6);
  p[2 * stride] = Wrap(e2 + t5);
  p[5 * stride] = Wrap(e2 - t5);
  p[3 * stride] = Wrap(e3 + t4);
  p[4 * stride] = Wrap(e3 - t4);
}

// 4 x the scaled coefficient; doubling saturates, which holds a DC of 1024 to 2047 at the top.
int16_t Dequantise(int16_t coefficient, uint16_t dequant, int n) {
  const int16_t product = Wrap(static_cast<int32_t>(static_cast<uint32_t>(coefficient * dequant)));
  return MulHigh(static_cast<int16_t>(std::clamp(2 * product, -32768, 32767)), InverseScale(n));
}

}  // namespace

void InverseTransformBlock(uint8_t* output, const int16_t* block, const uint16_t* dequant) {
  int16_t words[64];
  for (int n = 0; n < 64; ++n) words[n] = Dequantise(block[n], dequant[n], n);
  // Along the horizontal frequencies of each vertical one, then the other way: words[8 x + j].
  for (int j = 0; j < 8; ++j) InversePass(words + j, 8);
  constexpr int kLevelShiftAndRounding = 128 * 32 + 16;
  for (int x = 0; x < 8; ++x) {
    words[8 * x] = Wrap(words[8 * x] + kLevelShiftAndRounding);
    InversePass(words + 8 * x, 1);
    for (int y = 0; y < 8; ++y) {
      output[8 * y + x] = static_cast<uint8_t>(std::clamp(words[8 * x + y] >> 5, 0, 255));
    }
  }
}

}  // namespace tkmjpg
