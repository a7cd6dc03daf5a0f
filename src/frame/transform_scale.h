// The gains of the scaled DCT that both directions share, and the scale factors made of them.
#pragma once

#include <array>
#include <cstdint>

namespace tkmjpg {

// Cosine by its power series; x within [0, pi/2], exact to the last bits of a double.
constexpr double Cosine(double x) {
  double term = 1, sum = 1;
  for (int n = 2; n < 40; n += 2) {
    term *= -x * x / (n * (n - 1));
    sum += term;
  }
  return sum;
}

// TransformGain: a one-dimensional pass yields g(k) times the orthonormal DCT-II coefficient k.
constexpr double TransformGain(int k) {
  constexpr double kPi = 3.14159265358979323846;
  switch (k) {
    case 0:
    case 4:
      return 4 * Cosine(kPi / 4);  // 2 x sqrt(2)
    case 2:
      return 4 * Cosine(kPi / 8);
    case 6:
      return 4 * Cosine(3 * kPi / 8);  // 4 x sin(pi / 8)
    default:
      return 4 * Cosine(k * kPi / 16) / Cosine(kPi / 8);
  }
}

// QuantScale: 2048 g(u) g(v), rounded; symmetric. [1461, 36929]
constexpr std::array<uint16_t, 64> MakeQuantScale() {
  std::array<uint16_t, 64> scale{};
  for (int v = 0; v < 8; ++v) {
    for (int u = 0; u < 8; ++u) {
      const double exact = 2048 * TransformGain(u) * TransformGain(v);
      scale[8 * v + u] = static_cast<uint16_t>(exact + 0.5);
    }
  }
  return scale;
}
inline constexpr std::array<uint16_t, 64> kQuantScale = MakeQuantScale();

}  // namespace tkmjpg
