// Every variant of every step of the decoder against the plain one, on every rung that can run
// here.
#include "decoder/decoder_kernels.h"

#include <algorithm>

#include "decoder/huffman_decoder.h"
#include "tests/kernel_cases.h"

namespace {

using namespace tkmjpg;

enum class Spectrum { kZero, kDcOnly, kSparse, kSmall, kWild };

// Coefficients of an MCU, block after block in transposed natural order.
std::array<int16_t, 256> MakeCoefficients(Spectrum spectrum, uint32_t seed) {
  std::mt19937 random(seed);
  const auto within = [&](int limit) {
    return static_cast<int16_t>(static_cast<int>(random() % static_cast<uint32_t>(2 * limit + 1)) -
                                limit);
  };
  std::array<int16_t, 256> words{};
  for (int i = 0; i < 256 && spectrum != Spectrum::kZero; ++i) {
    const bool dc = i % 64 == 0;
    if (dc) words[i] = within(spectrum == Spectrum::kWild ? 32767 : 300);
    if (dc || spectrum == Spectrum::kDcOnly) continue;
    if (spectrum == Spectrum::kSparse && random() % 12 == 0) words[i] = within(40);
    if (spectrum == Spectrum::kSmall) words[i] = within(6);
    if (spectrum == Spectrum::kWild) words[i] = within(random() % 2 == 0 ? 2047 : 32767);
  }
  return words;
}

std::string Describe(const std::array<int16_t, 256>& coefficients) {
  std::ostringstream text;
  for (int i = 0; i < 256; ++i) {
    if (coefficients[i] != 0) text << i << ':' << coefficients[i] << ' ';
  }
  return text.str();
}

// 16 x the quantisation values; a wild one makes all products wrap.
std::array<QuantValues, 2> MakeDequant(Spectrum spectrum, uint32_t seed) {
  std::mt19937 random(seed);
  std::array<QuantValues, 2> dequant;
  for (QuantValues& table : dequant) {
    for (uint16_t& value : table) {
      value = static_cast<uint16_t>(16 * (random() % (spectrum == Spectrum::kWild ? 256 : 40)));
    }
  }
  return dequant;
}

TEST(DecoderKernels, InverseTransform) {
  ForEachFastRung([](CpuRung rung) {
    for (uint32_t i = 0; i < 400; ++i) {
      const auto spectrum = static_cast<Spectrum>(i % 5);
      alignas(64) const auto words = MakeCoefficients(spectrum, i);
      alignas(64) const auto dequant = MakeDequant(spectrum, i);
      Bytes wanted(64), got(64);
      InverseTransformBlock(wanted.data(), words.data(), dequant[0].data());
      DecoderKernelsOf(rung).inverse_transform(got.data(), words.data(), dequant[0].data());
      ASSERT_EQ(got, wanted) << Describe(words);
    }
  });
}

// Lines for one MCU each, with guard bytes on both sides. Lines that are not to be written are
// null.
struct OutputLines {
  static constexpr size_t kMargin = 40;
  size_t line_bytes;
  Bytes bytes;
  uint8_t* rows[8] = {};

  OutputLines(Code format, int row_count)
      : line_bytes(16 * BytesPerPixel(format) + 2 * kMargin), bytes(8 * line_bytes, 0xA5) {
    for (int r = 0; r < row_count; ++r)
      rows[r] = &bytes[static_cast<size_t>(r) * line_bytes + kMargin];
  }
};

TEST(DecoderKernels, OutputConverters) {
  ForEachFastRung([](CpuRung rung) {
    for (uint32_t i = 0; i < 40; ++i) {
      const Bytes blocks = MakeBytes(kContents[i % 5], 8, 32, i);
      const int row_count = static_cast<int>(i) % 8 + 1;
      for (const Code format : kOutputCodes) {
        OutputLines wanted(format, row_count), got(format, row_count);
        SelectMcuConverter(DecoderKernelsOf(CpuRung::kPlain), format)(wanted.rows, blocks.data(),
                                                                      row_count);
        SelectMcuConverter(DecoderKernelsOf(rung), format)(got.rows, blocks.data(), row_count);
        ASSERT_EQ(got.bytes, wanted.bytes) << Hex(blocks.data(), blocks.size());
        for (int r = 0; r < row_count; ++r) {
          ASSERT_EQ(got.rows[r] - got.bytes.data(), wanted.rows[r] - wanted.bytes.data());
        }
      }
    }
  });
}

// An MCU's blocks in the order that a McuWriter takes: word 32 u + 8 l + v.
template <typename Word>
std::array<Word, kMcuWords> ByLane(const std::function<Word(int block, int index)>& word) {
  std::array<Word, kMcuWords> words;
  for (int i = 0; i < kMcuWords; ++i) words[i] = word(i / 8 % 4, 8 * (i / 32) + i % 8);
  return words;
}

Bytes WritePlain(Code format, const std::array<int16_t, 256>& coefficients,
                 const std::array<QuantValues, 2>& dequant, int row_count) {
  uint8_t samples[kMcuBlockBytes];
  for (int b = 0; b < 4; ++b) {
    InverseTransformBlock(samples + 64 * b, coefficients.data() + 64 * b, dequant[b / 2].data());
  }
  OutputLines lines(format, row_count);
  SelectMcuConverter(DecoderKernelsOf(CpuRung::kPlain), format)(lines.rows, samples, row_count);
  return lines.bytes;
}

// The writer's rows begin 16 pixels ahead of what it is to write.
void CheckWriter(const McuWriter& writer, Code format, const std::array<int16_t, 256>& coefficients,
                 const std::array<QuantValues, 2>& dequant, int row_count) {
  alignas(64) auto words =
      ByLane<int16_t>([&](int block, int index) { return coefficients[64 * block + index]; });
  alignas(64) const auto factors =
      ByLane<uint16_t>([&](int block, int index) { return dequant[block / 2][index]; });
  OutputLines got(format, row_count);
  const size_t offset = OutputLines::kMargin / 2;
  for (int r = 0; r < row_count; ++r) got.rows[r] -= offset;
  alignas(64) std::array<uint8_t, kMcuWords> samples;
  WriteMcu(writer, {words.data(), factors.data(), samples.data(), got.rows, row_count, offset});
  ASSERT_EQ(got.bytes, WritePlain(format, coefficients, dequant, row_count))
      << std::hex << "format " << static_cast<uint32_t>(format) << std::dec << " lines "
      << row_count << ": " << Describe(coefficients);
  ASSERT_EQ(Describe(words), "") << "coefficients are left";
}

TEST(DecoderKernels, WritersOfAllLayouts) {
  ForEachFastRung([](CpuRung rung) {
    const auto select = DecoderKernelsOf(rung).select_writer;
    ASSERT_NE(select, nullptr);
    EXPECT_EQ(select(Code::kVyuy)[0], nullptr);
    for (const Code format : kOutputCodes) {
      ASSERT_NE(select(format)[0], nullptr);
      for (uint32_t i = 0; i < 400; ++i) {
        const auto spectrum = static_cast<Spectrum>(i % 5);
        CheckWriter(select(format), format, MakeCoefficients(spectrum, i), MakeDequant(spectrum, i),
                    static_cast<int>(i / 5 % 8) + 1);
      }
    }
  });
}

// Every sample of luma with every one of chroma, by flat blocks.
TEST(DecoderKernels, WritersOfAllColours) {
  ForEachFastRung([](CpuRung rung) {
    for (const Code format : {Code::kBgr24, Code::kBgr24Full}) {
      for (int i = 0; i < 256 * 16; ++i) {
        std::array<int16_t, 256> coefficients{};
        const int levels[4] = {i % 256, i * 7 % 256, i / 16, 255 - i / 16};
        for (int b = 0; b < 4; ++b)
          coefficients[64 * b] = static_cast<int16_t>(8 * (levels[b] - 128));
        std::array<QuantValues, 2> dequant;
        for (QuantValues& table : dequant) table.fill(16);
        CheckWriter(DecoderKernelsOf(rung).select_writer(format), format, coefficients, dequant, 1);
      }
    }
  });
}

struct Staged {
  int moved;
  Bytes bytes;
  ptrdiff_t read;
  uint32_t marker;
  bool operator==(const Staged&) const = default;
};

Staged Stage(ByteStager stage, const GuardedBuffer& data, int room) {
  const GuardedBuffer output(Bytes(static_cast<size_t>(room), 0xA5));
  EntropyInput input{data.data() + data.size(), data.data(), 0};
  const int moved = stage(input, output.data(), room);
  return {moved, Bytes(output.data(), output.data() + moved), input.read_pos - data.data(),
          input.pending_marker};
}

void CheckStaging(CpuRung rung, const Bytes& bytes) {
  const GuardedBuffer data(bytes);
  for (const int room : {0, 1, 31, 32, 33, 63, 64, 65, 127, 130, 400}) {
    const Staged wanted = Stage(StageBytes, data, room);
    ASSERT_TRUE(Stage(DecoderKernelsOf(rung).stage_bytes, data, room) == wanted)
        << "room " << room << ": " << Hex(bytes.data(), bytes.size());
  }
}

TEST(DecoderKernels, StageBytes) {
  ForEachFastRung([](CpuRung rung) {
    for (size_t at = 0; at < 200; ++at) {
      Bytes bytes = Noise(200, static_cast<uint32_t>(at));
      std::replace(bytes.begin(), bytes.end(), uint8_t{0xFF}, uint8_t{0x0F});
      Bytes head(bytes.begin(), bytes.begin() + static_cast<ptrdiff_t>(at));
      CheckStaging(rung, head);
      head.push_back(0xFF);
      CheckStaging(rung, head);
      for (const uint8_t next : Bytes{0x00, 0xD3, 0xFF, 0x01}) {
        bytes[at] = 0xFF;
        if (at + 1 < bytes.size()) bytes[at + 1] = next;
        CheckStaging(rung, bytes);
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
