// The fast rows for AVX-512: an MCU's four blocks are one register, and permutations make pixels of
// them.
#include "cpu/lanes_avx512.h"
#include "decoder/mcu_writer.h"

namespace tkmjpg {
namespace avx512 {
namespace {

// clang-format off
#include "cpu/lanes_text.inc"
#include "decoder/bits_to_coefficients.inc"
#include "decoder/inverse_dct.inc"
#include "decoder/output_conversion.inc"
// clang-format on

using ByteIndex = std::array<uint8_t, 64>;

// --- Packed YUV ------------------------------------------------------------------------------

// Lane l of a packed register holds eight samples of each of two lines of block l.
constexpr uint8_t SampleByte(int l, int line, int x) {
  return static_cast<uint8_t>(16 * l + 8 * line + x);
}

template <bool kChromaFirst>
constexpr ByteIndex MakeYuvIndex() {
  ByteIndex index{};
  for (int i = 0; i < 64; ++i) {
    const int line = i / 32, at = i % 32, luma = kChromaFirst ? 1 : 0;
    const int pair = at / 4, x = at / 2;
    const bool is_luma = at % 2 == luma;
    index[i] =
        is_luma ? SampleByte(x / 8, line, x % 8) : SampleByte(at % 4 < 2 ? 2 : 3, line, pair);
  }
  return index;
}
template <bool kChromaFirst>
alignas(64) constexpr ByteIndex kYuvIndex = MakeYuvIndex<kChromaFirst>();

// Limits that hold luma, lanes 0 and 1, within 16 to 235 and leave chroma alone.
TKMJPG_LANES_INLINE Register LimitLuma(Register samples) {
  const Register low = _mm512_maskz_set1_epi8(0xFFFFFFFF, 16);
  const Register high =
      _mm512_mask_set1_epi8(_mm512_set1_epi8(-1), 0xFFFFFFFF, static_cast<char>(235));
  return _mm512_min_epu8(_mm512_max_epu8(samples, low), high);
}

template <bool kChromaFirst, bool kLimit>
TKMJPG_LANES_TARGET void WriteYuv(const McuJob& job) {
  const SamplePairs pairs = TransformGroup(job, 0);
  const Register index = Load(kYuvIndex<kChromaFirst>.data());
  for (int i = 0; 2 * i < job.row_count; ++i) {
    const Register samples = kLimit ? LimitLuma(pairs.lines[i]) : pairs.lines[i];
    const Register pixels = _mm512_permutexvar_epi8(index, samples);
    uint8_t* const* const rows = job.rows + 2 * i;
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(rows[0] + job.offset),
                        _mm512_castsi512_si256(pixels));
    if (2 * i + 1 == job.row_count) return;
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(rows[1] + job.offset),
                        _mm512_extracti64x4_epi64(pixels, 1));
  }
}

// --- RGB ----------------------------------------------------------------------------------------

// Bytes of one colour of 64 pixels: packed even pixels' words and odd pixels' words of four lines.
// Word w of either is pair w % 8 of line w / 8; packing puts lane L's even and odd pixels behind
// one another: line L, even 0 to 7, odd 0 to 7.
template <int kPixelBytes>
constexpr ByteIndex MakeBgIndex(int line) {
  // From B (bytes 0 to 63) and G (64 to 127).
  ByteIndex index{};
  for (int i = 0; i < 16 * kPixelBytes; ++i) {
    const int x = i / kPixelBytes, colour = i % kPixelBytes;
    const int byte = 16 * line + 8 * (x % 2) + x / 2;
    index[i] = static_cast<uint8_t>(colour == 1 ? 64 + byte : byte);
  }
  return index;
}
template <int kPixelBytes, int kLine>
alignas(64) constexpr ByteIndex kBgIndex = MakeBgIndex<kPixelBytes>(kLine);

constexpr uint64_t ColourBytes(int pixel_bytes, int colour) {
  uint64_t mask = 0;
  for (int x = 0; x < 16; ++x) mask |= uint64_t{1} << (pixel_bytes * x + colour);
  return mask;
}

template <int kPixelBytes, int kLastByte, int kLine>
TKMJPG_LANES_INLINE void StoreBgrLine(const Colours& bytes, uint8_t* to) {
  const Register index = _mm512_load_si512((kBgIndex<kPixelBytes, kLine>).data());
  Register pixels = _mm512_permutex2var_epi8(bytes.b, index, bytes.g);
  pixels = _mm512_mask_permutexvar_epi8(pixels, ColourBytes(kPixelBytes, 2), index, bytes.r);
  if constexpr (kPixelBytes == 4) {
    pixels = _mm512_mask_set1_epi8(pixels, ColourBytes(4, 3), static_cast<char>(kLastByte));
    _mm512_storeu_si512(to, pixels);
  } else {
    _mm512_mask_storeu_epi8(to, (uint64_t{1} << 48) - 1, pixels);
  }
}

// Four lines of packed samples, two registers of two lines, to the words of their even and odd
// pixels and their chroma pairs: word 8 line + pair.
struct FourLines {
  Register even, odd, cb, cr;
};

TKMJPG_LANES_INLINE FourLines SplitLines(Register first, Register second) {
  // Lane l of `lines`: lines 0 to 3 of block l, eight bytes each, spread over two registers; a
  // permutation brings a line's luma (16 bytes) and its chroma together.
  alignas(64) static constexpr std::array<uint8_t, 64> kLumaIndex = [] {
    std::array<uint8_t, 64> index{};
    for (int i = 0; i < 64; ++i) {
      const int line = i / 16, x = i % 16;
      index[i] = static_cast<uint8_t>(64 * (line / 2) + SampleByte(x / 8, line % 2, x % 8));
    }
    return index;
  }();
  alignas(64) static constexpr std::array<uint8_t, 64> kChromaIndex = [] {
    std::array<uint8_t, 64> index{};
    for (int i = 0; i < 64; ++i) {
      const int line = i / 16, pair = i % 16 / 2;
      index[i] = static_cast<uint8_t>(64 * (line / 2) + SampleByte(2 + i % 2, line % 2, pair));
    }
    return index;
  }();
  const Register luma =
      _mm512_permutex2var_epi8(first, _mm512_load_si512(kLumaIndex.data()), second);
  const Register chroma =
      _mm512_permutex2var_epi8(first, _mm512_load_si512(kChromaIndex.data()), second);
  const Register low = Words(0xFF);
  return {And(luma, low), ShiftRight<8>(luma), And(chroma, low), ShiftRight<8>(chroma)};
}

// Leaves the samples of lines 2 i and 2 i + 1 in bytes 64 i to 64 i + 63, a block in each 16.
TKMJPG_LANES_TARGET void TransformToSamples(const McuJob& job) {
  PrefetchBandBelow(job.rows, job.row_count, job.offset);
  const SamplePairs pairs = TransformGroup(job, 0);
  for (int i = 0; i < 4; ++i) Store(job.samples + 64 * i, pairs.lines[i]);
}

template <bool kFull, int kPixelBytes, int kLastByte, int kTop>
TKMJPG_LANES_TARGET void WriteFourLines(const McuJob& job) {
  const FourLines lines = SplitLines(_mm512_load_si512(job.samples + 32 * kTop),
                                     _mm512_load_si512(job.samples + 32 * kTop + 64));
  const Colours chroma = ChromaTerms<kFull>(lines.cb, lines.cr);
  const Colours even = LumaTerms<kFull>(lines.even), odd = LumaTerms<kFull>(lines.odd);
  const Colours bytes = ColourLevels(even, odd, chroma);
  const int left = job.row_count - kTop;
  if (left > 0) StoreBgrLine<kPixelBytes, kLastByte, 0>(bytes, job.rows[kTop] + job.offset);
  if (left > 1) StoreBgrLine<kPixelBytes, kLastByte, 1>(bytes, job.rows[kTop + 1] + job.offset);
  if (left > 2) StoreBgrLine<kPixelBytes, kLastByte, 2>(bytes, job.rows[kTop + 2] + job.offset);
  if (left > 3) StoreBgrLine<kPixelBytes, kLastByte, 3>(bytes, job.rows[kTop + 3] + job.offset);
}

template <bool kFull, int kPixelBytes, int kLastByte>
constexpr McuWriter kWriteBgr = {nullptr, TransformToSamples,
                                 WriteFourLines<kFull, kPixelBytes, kLastByte, 0>,
                                 WriteFourLines<kFull, kPixelBytes, kLastByte, 4>};

template <bool kFull>
McuWriter SelectBgrWriter(const PixelLayout& layout) {
  if (BytesPerPixel(layout.code) == 3) return kWriteBgr<kFull, 3, 0>;
  return layout.last_byte == 0 ? kWriteBgr<kFull, 4, 0> : kWriteBgr<kFull, 4, 255>;
}

// RGB of 16 bits: the plain conversion.
TKMJPG_LANES_TARGET void WriteBlocks(const McuJob& job) {
  TransformToSamples(job);
  alignas(64) uint8_t samples[kMcuBlockBytes];
  for (int i = 0; i < 4; ++i) {
    for (int l = 0; l < 4; ++l) {
      std::copy_n(job.samples + 64 * i + 16 * l, 16, samples + 64 * l + 16 * i);
    }
  }
  job.convert(job.rows, job.offset, samples, job.row_count);
}

// clang-format off
#include "decoder/select_writer.inc"
#include "decoder/mcu_row.inc"
// clang-format on

}  // namespace
}  // namespace avx512

FastRowDecoder SelectFastRowAvx512(PixelFormatCode format) { return avx512::SelectRow(format); }

}  // namespace tkmjpg
