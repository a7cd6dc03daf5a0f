// Lanes of 128 bits: NEON as every ARMv8-A has it.
// The vocabulary that all lanes_*.h share: a register holds kLanes lanes of 128 bits, a lane eight
// words or sixteen bytes. Unless it says so, nothing crosses from a lane to another.
#pragma once

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>
#include <utility>

#include "cpu/targets.h"

#define TKMJPG_LANES_TARGET TKMJPG_TARGET_NEON
#define TKMJPG_LANES_INLINE TKMJPG_TARGET_NEON TKMJPG_ALWAYS_INLINE

namespace tkmjpg::neon {

using Register = int16x8_t;
inline constexpr int kLanes = 1;

TKMJPG_LANES_INLINE uint16x8_t Unsigned(Register x) { return vreinterpretq_u16_s16(x); }
TKMJPG_LANES_INLINE uint8x16_t AsBytes(Register x) { return vreinterpretq_u8_s16(x); }
TKMJPG_LANES_INLINE Register Signed(uint16x8_t x) { return vreinterpretq_s16_u16(x); }
TKMJPG_LANES_INLINE Register Signed(uint8x16_t x) { return vreinterpretq_s16_u8(x); }

// --- Memory -------------------------------------------------------------------------------------

TKMJPG_LANES_INLINE Register Load(const void* from) {
  return Signed(vld1q_u8(static_cast<const uint8_t*>(from)));
}
TKMJPG_LANES_INLINE void Store(void* to, Register x) {
  vst1q_u8(static_cast<uint8_t*>(to), AsBytes(x));
}
// The same 16 bytes in each lane.
TKMJPG_LANES_INLINE Register LoadSame(const void* from) { return Load(from); }

// --- Constants ----------------------------------------------------------------------------------

TKMJPG_LANES_INLINE Register Zero() { return vdupq_n_s16(0); }
TKMJPG_LANES_INLINE Register Words(int value) { return vdupq_n_s16(static_cast<int16_t>(value)); }
TKMJPG_LANES_INLINE Register Bytes(int value) {
  return Signed(vdupq_n_u8(static_cast<uint8_t>(value)));
}

// --- Words --------------------------------------------------------------------------------------

// Sums and differences wrap.
TKMJPG_LANES_INLINE Register Add(Register a, Register b) { return vaddq_s16(a, b); }
TKMJPG_LANES_INLINE Register Sub(Register a, Register b) { return vsubq_s16(a, b); }
TKMJPG_LANES_INLINE Register AddSaturated(Register a, Register b) { return vqaddq_s16(a, b); }
TKMJPG_LANES_INLINE Register SubToZero(Register a, Register b) {
  return Signed(vqsubq_u16(Unsigned(a), Unsigned(b)));
}
TKMJPG_LANES_INLINE Register MulLow(Register a, Register b) { return vmulq_s16(a, b); }
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
// The high half of an unsigned product.
template <int kFactor>
TKMJPG_LANES_INLINE Register MulHighUnsigned(Register a) {
  const uint16x8_t x = Unsigned(a);
  const uint32x4_t low = vmull_n_u16(vget_low_u16(x), kFactor);
  const uint32x4_t high = vmull_high_n_u16(x, kFactor);
  return Signed(vuzp2q_u16(vreinterpretq_u16_u32(low), vreinterpretq_u16_u32(high)));
}
// The same of twice the word, which stays within 16 bits.
template <int kFactor>
TKMJPG_LANES_INLINE Register MulHighOfDouble(Register a) {
  return vqdmulhq_n_s16(a, kFactor);
}
// i x factor / 256, of words that hold a colour i shifted left by kColourShift.
inline constexpr int kColourShift = 7;
template <int kFactor>
TKMJPG_LANES_INLINE Register ColourProduct(Register colour) {
  if constexpr (kFactor < 32768) return vqdmulhq_n_s16(colour, kFactor);
  return MulHighUnsigned<kFactor>(vaddq_s16(colour, colour));
}
template <int kBits>
TKMJPG_LANES_INLINE Register ShiftLeft(Register a) {
  return vshlq_n_s16(a, kBits);
}
template <int kBits>
TKMJPG_LANES_INLINE Register ShiftRight(Register a) {
  return Signed(vshrq_n_u16(Unsigned(a), kBits));
}
template <int kBits>
TKMJPG_LANES_INLINE Register ShiftRightSigned(Register a) {
  return vshrq_n_s16(a, kBits);
}
TKMJPG_LANES_INLINE Register Abs(Register a) { return vabsq_s16(a); }
// `a`, negated where `sign` is negative. Where `sign` is 0, `a` must be.
TKMJPG_LANES_INLINE Register ApplySign(Register a, Register sign) {
  const int16x8_t negative = vshrq_n_s16(sign, 15);
  return vsubq_s16(veorq_s16(a, negative), negative);
}

// x + 1 where a > b, else x.
TKMJPG_LANES_INLINE Register AddOneWhereGreater(Register x, Register a, Register b) {
  return vsubq_s16(x, vreinterpretq_s16_u16(vcgtq_s16(a, b)));
}

// --- Bits and bytes -----------------------------------------------------------------------------

TKMJPG_LANES_INLINE Register And(Register a, Register b) { return vandq_s16(a, b); }
TKMJPG_LANES_INLINE Register Or(Register a, Register b) { return vorrq_s16(a, b); }
TKMJPG_LANES_INLINE Register Xor(Register a, Register b) { return veorq_s16(a, b); }
TKMJPG_LANES_INLINE Register MinBytes(Register a, Register b) {
  return Signed(vminq_u8(AsBytes(a), AsBytes(b)));
}
TKMJPG_LANES_INLINE Register MaxBytes(Register a, Register b) {
  return Signed(vmaxq_u8(AsBytes(a), AsBytes(b)));
}
// Byte index[i] of its lane for each i; 0 where the index is negative.
TKMJPG_LANES_INLINE Register Shuffle(Register bytes, Register index) {
  return Signed(vqtbl1q_u8(AsBytes(bytes), AsBytes(index)));
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
// Whether a word has a bit of the mask.
TKMJPG_LANES_INLINE bool HasBits(Register a, Register mask) {
  return vmaxvq_u16(vandq_u16(Unsigned(a), Unsigned(mask))) != 0;
}

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
#define TKMJPG_UNPACK(bits)                                                              \
  TKMJPG_LANES_INLINE Register UnpackLow##bits(Register a, Register b) {                 \
    return vreinterpretq_s16_s##bits(                                                    \
        vzip1q_s##bits(vreinterpretq_s##bits##_s16(a), vreinterpretq_s##bits##_s16(b))); \
  }                                                                                      \
  TKMJPG_LANES_INLINE Register UnpackHigh##bits(Register a, Register b) {                \
    return vreinterpretq_s16_s##bits(                                                    \
        vzip2q_s##bits(vreinterpretq_s##bits##_s16(a), vreinterpretq_s##bits##_s16(b))); \
  }
TKMJPG_UNPACK(8)
TKMJPG_UNPACK(32)
TKMJPG_UNPACK(64)
#undef TKMJPG_UNPACK
TKMJPG_LANES_INLINE Register UnpackLow16(Register a, Register b) { return vzip1q_s16(a, b); }
TKMJPG_LANES_INLINE Register UnpackHigh16(Register a, Register b) { return vzip2q_s16(a, b); }

TKMJPG_LANES_INLINE void StoreLane(void* to, Register x, int /*lane*/) { Store(to, x); }

// To a block each: words that alternate between two blocks; four words of one and four of the
// other.
TKMJPG_LANES_INLINE void SplitAlternating(const Register words[2], Register blocks[2]) {
  blocks[0] = vuzp1q_s16(words[0], words[1]);
  blocks[1] = vuzp2q_s16(words[0], words[1]);
}
TKMJPG_LANES_INLINE void SplitHalves(const Register words[2], Register blocks[2]) {
  blocks[0] = UnpackLow64(words[0], words[1]);
  blocks[1] = UnpackHigh64(words[0], words[1]);
}
TKMJPG_LANES_INLINE void ExchangeBlocks(Register blocks[2]) { std::swap(blocks[0], blocks[1]); }

}  // namespace tkmjpg::neon
