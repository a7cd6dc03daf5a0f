// The steps of the decoder that a fast rung has its own of, against the plain ones, on every rung
// that can run here.
#include "decoder/decoder_kernels.h"

#include "decoder/bits_to_coefficients.h"
#include "tests/kernel_cases.h"

namespace {

using namespace tkmjpg;

enum class Spectrum { kZero, kDcOnly, kSparse, kSmall, kWild };

// An MCU as the decoder has it ahead of the transform.
struct Mcu {
  alignas(64) std::array<int16_t, 256> words{};  // block after block, transposed natural order
  alignas(64) std::array<QuantValues, 2> dequant;

  Mcu(Spectrum spectrum, uint32_t seed) {
    const bool wild = spectrum == Spectrum::kWild;
    std::mt19937 random(seed);
    const auto within = [&](int limit) {
      return static_cast<int16_t>(static_cast<int>(random() % (2U * limit + 1)) - limit);
    };
    for (int i = 0; i < 256 && spectrum != Spectrum::kZero; ++i) {
      const bool dc = i % 64 == 0;
      if (dc) words[i] = within(wild ? 32767 : 300);
      if (dc || spectrum == Spectrum::kDcOnly) continue;
      if (spectrum == Spectrum::kSparse && random() % 12 == 0) words[i] = within(40);
      if (spectrum == Spectrum::kSmall) words[i] = within(6);
      if (wild) words[i] = within(random() % 2 == 0 ? 2047 : 32767);
    }
    // 16 x the quantisation values; a wild one makes all products wrap.
    for (QuantValues& table : dequant) {
      for (uint16_t& value : table)
        value = static_cast<uint16_t>(random() % (wild ? 256 : 40) * 16);
    }
  }
};

// Lines for one MCU each, with guard bytes on both sides. Lines that are not to be written are
// null.
struct OutputLines {
  static constexpr size_t kMargin = 40;
  Bytes bytes;
  uint8_t* rows[8] = {};

  OutputLines(PixelCode code, int row_count) {
    const size_t line_bytes = 16 * BytesPerPixel(code) + 2 * kMargin;
    bytes.assign(8 * line_bytes, 0xA5);
    for (int r = 0; r < row_count; ++r) rows[r] = &bytes[r * line_bytes + kMargin];
  }
};

// An MCU's blocks in the order that a McuWriter takes: word 32 u + 8 l + v.
template <typename Word>
std::array<Word, kMcuWords> ByLane(const std::function<Word(int block, int index)>& word) {
  std::array<Word, kMcuWords> words;
  for (int i = 0; i < kMcuWords; ++i) words[i] = word(i / 8 % 4, 8 * (i / 32) + i % 8);
  return words;
}

// The writer's rows begin 16 pixels ahead of what it is to write.
void CheckWriter(const McuWriter& writer, PixelCode code, const Mcu& mcu, int row_count) {
  uint8_t samples[kMcuBlockBytes];
  for (int b = 0; b < 4; ++b) {
    InverseTransformBlock(samples + 64 * b, mcu.words.data() + 64 * b, mcu.dequant[b / 2].data());
  }
  OutputLines wanted(code, row_count), got(code, row_count);
  SelectMcuConverter(DecoderKernelsOf(CpuRung::kPlain), code)(wanted.rows, samples, row_count);

  alignas(64) auto words = ByLane<int16_t>([&](int b, int i) { return mcu.words[64 * b + i]; });
  alignas(64) const auto factors =
      ByLane<uint16_t>([&](int b, int i) { return mcu.dequant[b / 2][i]; });
  const size_t offset = OutputLines::kMargin / 2;
  for (int r = 0; r < row_count; ++r) got.rows[r] -= offset;
  alignas(64) std::array<uint8_t, kMcuWords> scratch;
  WriteMcu(writer, {words.data(), factors.data(), scratch.data(), got.rows, row_count, offset});
  ASSERT_EQ(got.bytes, wanted.bytes) << static_cast<uint32_t>(code) << ", lines " << row_count;
  ASSERT_EQ(std::count(words.begin(), words.end(), 0), kMcuWords) << "coefficients are left";
}

TEST(DecoderKernels, WritersOfAllLayouts) {
  ForEachFastRung([](CpuRung rung) {
    const auto select = DecoderKernelsOf(rung).select_writer;
    ASSERT_NE(select, nullptr);
    EXPECT_EQ(select(PixelCode::kVyuy)[0], nullptr);
    for (const Layout& layout : kOutputLayouts) {
      ASSERT_NE(select(layout.code)[0], nullptr);
      for (uint32_t i = 0; i < 400; ++i) {
        SCOPED_TRACE(i);
        CheckWriter(select(layout.code), layout.code, Mcu(static_cast<Spectrum>(i % 5), i),
                    static_cast<int>(i / 5 % 8) + 1);
      }
    }
  });
}

// Every sample of luma with every one of chroma, by flat blocks.
TEST(DecoderKernels, WritersOfAllColours) {
  ForEachFastRung([](CpuRung rung) {
    for (const PixelCode code : {PixelCode::kBgr24, PixelCode::kBgr24Full}) {
      for (int i = 0; i < 256 * 16; ++i) {
        Mcu mcu(Spectrum::kZero, 0);
        const int levels[4] = {i % 256, i * 7 % 256, i / 16, 255 - i / 16};
        for (int b = 0; b < 4; ++b) mcu.words[64 * b] = static_cast<int16_t>(8 * (levels[b] - 128));
        for (QuantValues& table : mcu.dequant) table.fill(16);
        CheckWriter(DecoderKernelsOf(rung).select_writer(code), code, mcu, 1);
      }
    }
  });
}

using Staged = std::tuple<Bytes, ptrdiff_t, uint32_t>;  // what is moved, read, and the marker

Staged Stage(ByteStager stage, const GuardedBuffer& data, int room) {
  const GuardedBuffer output(room);
  EntropyInput input{data.data() + data.size(), data.data(), 0};
  const int moved = stage(input, output.data(), room);
  return {Head(output.Bytes(), moved), input.read_pos - data.data(), input.pending_marker};
}

void CheckStaging(CpuRung rung, const Bytes& bytes) {
  const GuardedBuffer data(bytes);
  for (const int room : {0, 1, 31, 32, 33, 63, 64, 65, 127, 130, 400}) {
    ASSERT_TRUE(Stage(DecoderKernelsOf(rung).stage_bytes, data, room) ==
                Stage(StageBytes, data, room))
        << "room " << room << ", bytes " << bytes.size();
  }
}

TEST(DecoderKernels, StageBytes) {
  ForEachFastRung([](CpuRung rung) {
    for (size_t at = 0; at < 200; ++at) {
      Bytes bytes = Noise(200, static_cast<uint32_t>(at));
      std::replace(bytes.begin(), bytes.end(), uint8_t{0xFF}, uint8_t{0x0F});
      CheckStaging(rung, Head(bytes, at));
      CheckStaging(rung, Head(bytes, at) + Bytes{0xFF});
      for (const uint8_t next : Bytes{0x00, 0xD3, 0xFF, 0x01}) {
        CheckStaging(rung, Head(Set(bytes + Bytes{0}, at, {0xFF, next}), 200));
      }
    }
    // Clusters: 0xFF and 0 by chance, with and without an end at any length.
    for (uint32_t i = 0; i < 300; ++i) {
      Bytes bytes = Noise(i, i);
      for (size_t k = 0; k + 1 < bytes.size(); ++k) {
        if (bytes[k] < 40 || bytes[k] == 255) bytes[k] = 0xFF, bytes[k + 1] = 0;
      }
      CheckStaging(rung, bytes);
      if (i > 70) bytes[i - 1 - i % 70] = 0xFF;
      CheckStaging(rung, bytes);
    }
  });
}

}  // namespace
