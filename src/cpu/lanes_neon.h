// Lanes of 128 bits: NEON as every ARMv8-A has it.
// The vocabulary that all lanes_*.h share: a register holds kLanes lanes of 128 bits, a lane eight
// words or sixteen bytes. Unless it says so, nothing crosses from a lane to another.
#pragma once

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

#include "cpu/targets.h"

#define TKMJPG_LANES_TARGET TKMJPG_TARGET_NEON
#define TKMJPG_LANES_INLINE TKMJPG_TARGET_NEON TKMJPG_ALWAYS_INLINE

namespace tkmjpg::neon {

using Register = int16x8_t;
inline constexpr int kLanes = 1;

#include "cpu/lanes_vector.inc"

// --- Words --------------------------------------------------------------------------------------

TKMJPG_LANES_INLINE Register AddSaturated(Register a, Register b) { return vqaddq_s16(a, b); }
TKMJPG_LANES_INLINE Register SubToZero(Register a, Register b) {
  return Signed(vqsubq_u16(Unsigned(a), Unsigned(b)));
}
// The high half of a signed product, rounded towards minus infinity; not for twice -32768. The
// instruction doubles the product, so that an even factor is halved before it instead.
TKMJPG_LANES_INLINE Register MulHigh(Register a, Register b) {
  return vshrq_n_s16(vqdmulhq_s16(a, b), 1);
}
template <int kFactor>
TKMJPG_LANES_INLINE Register MulHigh(Register a) {
  static_assert(kFactor > 0 && kFactor < 32768);
  if constexpr (kFactor % 2 == 0) return vqdmulhq_n_s16(a, kFactor / 2);
  return vshrq_n_s16(vqdmulhq_n_s16(a, kFactor), 1);
}
// The high half of a signed product of twice the word, which stays within 16 bits.
template <int kFactor>
TKMJPG_LANES_INLINE Register MulHighOfDouble(Register a) {
  return vqdmulhq_n_s16(a, kFactor);
}
// And of four times the word.
template <int kFactor>
TKMJPG_LANES_INLINE Register MulHighOfQuadruple(Register a) {
  return vqdmulhq_n_s16(vaddq_s16(a, a), kFactor);
}
// sum + (a >> kBits), without a sign.
template <int kBits>
TKMJPG_LANES_INLINE Register AddShifted(Register sum, Register a) {
  return Signed(vsraq_n_u16(Unsigned(sum), Unsigned(a), kBits));
}
// i x factor / 256, of words that hold a colour i shifted left by kColourShift; of a large factor
// without the lowest bit.
inline constexpr int kColourShift = 7;
template <int kFactor>
TKMJPG_LANES_INLINE Register ColourProduct(Register colour) {
  if constexpr (kFactor < 32768) return vqdmulhq_n_s16(colour, kFactor);
  static_assert(kFactor < 32768 || kFactor % 2 == 0);
  const Register half = vqdmulhq_n_s16(colour, kFactor / 2);
  return vaddq_s16(half, half);
}
// sum + i x factor / 32768.
template <int kFactor>
TKMJPG_LANES_INLINE Register AddColourPart(Register sum, Register colour) {
  static_assert(kFactor > 32768 && kFactor < 65536);
  return AddShifted<7>(AddShifted<7>(sum, colour), vqdmulhq_n_s16(colour, kFactor - 32768));
}
// a x factor / 32768, of words below 32768 without a sign.
template <int kFactor>
TKMJPG_LANES_INLINE Register Fraction(Register a) {
  return vqdmulhq_n_s16(a, kFactor);
}
// sum + kFactor a; wraps.
template <int kFactor>
TKMJPG_LANES_INLINE Register MulAdd(Register sum, Register a) {
  return vmlaq_n_s16(sum, a, kFactor);
}
TKMJPG_LANES_INLINE Register Abs(Register a) { return vabsq_s16(a); }

// --- Bits and bytes -----------------------------------------------------------------------------

TKMJPG_LANES_INLINE Register AbsBytes(Register a) {
  return Signed(vreinterpretq_u8_s8(vabsq_s8(vreinterpretq_s8_s16(a))));
}
// The low bytes of the words of a, with those of b above them; the high bytes likewise.
TKMJPG_LANES_INLINE Register LowBytes(Register a, Register b) {
  return Signed(vtrn1q_u8(AsBytes(a), AsBytes(b)));
}
TKMJPG_LANES_INLINE Register HighBytes(Register a, Register b) {
  return Signed(vtrn2q_u8(AsBytes(a), AsBytes(b)));
}
// LowBytes of words whose high bytes are 0.
TKMJPG_LANES_INLINE Register JoinBytes(Register a, Register b) { return LowBytes(a, b); }
// Whether a byte, as one without a sign, is above the limit.
TKMJPG_LANES_INLINE bool AnyByteAbove(Register a, int limit) {
  return vmaxvq_u8(AsBytes(a)) > limit;
}
// A bit for each of the 64 bytes of a block that is not 0: sums of neighbours, three times over.
alignas(16) inline constexpr uint8_t kBitOfByte[16] = {1, 2, 4, 8, 16, 32, 64, 128,
                                                       1, 2, 4, 8, 16, 32, 64, 128};

// --- Two registers to one -----------------------------------------------------------------------

TKMJPG_LANES_INLINE Register PackSigned(Register a, Register b) {
  return vreinterpretq_s16_s8(vqmovn_high_s16(vqmovn_s16(a), b));
}
TKMJPG_LANES_INLINE Register PackUnsigned(Register a, Register b) {
  return Signed(vqmovun_high_s16(vqmovun_s16(a), b));
}
// PackUnsigned of words shifted right.
template <int kBits>
TKMJPG_LANES_INLINE Register PackShifted(Register a, Register b) {
  return Signed(vqshrun_high_n_s16(vqshrun_n_s16(a, kBits), b, kBits));
}
// Sums of pairs of words: four of a, four of b.
TKMJPG_LANES_INLINE Register PairSums(Register a, Register b) { return vpaddq_s16(a, b); }

}  // namespace tkmjpg::neon
