// Frames as other writers store 4:2:2, made here from coefficients that this codec's encoder made,
// have to become its own bytes again.
#include "tools/tkmjpg/streams/lossless_recode.h"

#include "encoder/coefficients_to_bits.h"
#include "encoder/entropy_output.h"
#include "tests/command_runner.h"
#include "tests/frame_calls.h"
#include "tools/tkmjpg/streams/coefficient_reader.h"
#include "tools/tkmjpg/streams/stream_repair.h"

namespace tkmjpg::tool {
namespace {

using Mcus = std::vector<McuBlocks>;

constexpr int kWidth = 41, kHeight = 20;
constexpr size_t kColumns = 3, kRows = 3;

Bytes Encode(uint32_t flags) {
  const Call call{kBgra, kWidth, kHeight, flags, 85};
  Bytes pixels(call.Size());
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i * i / 37 + i % 5);
  return Compress(pixels, call);
}

Mcus Coefficients(const Bytes& stream, size_t begin = 0) {
  const ImageAnalysis image = AnalyseImage(stream, begin);
  CoefficientReader reader(stream, image);
  Mcus all, band;
  for (int lines = 0; lines < image.height; lines += 8) {
    reader.ReadBand(band);
    all.insert(all.end(), band.begin(), band.end());
  }
  return all;
}

// The standard values with codes of one length.
template <int N>
HuffmanSpec<N> Flat(HuffmanSpec<N> huffman, size_t length) {
  huffman.counts = {};
  huffman.counts[length - 1] = N;
  std::reverse(huffman.values.begin(), huffman.values.end());
  return huffman;
}

struct Shape {
  const char* name;
  uint8_t h, v;  // of chroma
  bool own_tables;
  std::array<uint8_t, 3> quant;
  uint8_t interval;
};

constexpr Shape kShapes[] = {
    {"16x16", 1, 2, false, {0, 1, 1}, 0},     {"16x16, own tables", 1, 2, true, {2, 3, 3}, 0},
    {"own tables", 1, 1, true, {0, 1, 1}, 0}, {"own tables, restarts", 1, 1, true, {0, 1, 1}, 2},
    {"numbers", 1, 1, false, {3, 0, 0}, 0},   {"Cr repeats Cb's table", 1, 1, false, {0, 1, 2}, 0},
    {"32x8", 2, 1, false, {0, 1, 1}, 0},      {"16x16, restarts", 1, 2, false, {1, 0, 0}, 1},
};

struct Codes {
  HuffmanCodeTable dc, ac;
};
const auto kOwnDcLuma = Flat(kDcLumaSpec, 4), kOwnDcChroma = Flat(kDcChromaSpec, 11);
const auto kOwnAcLuma = Flat(kAcLumaSpec, 8), kOwnAcChroma = Flat(kAcChromaSpec, 12);

template <int N>
Bytes Dht(uint8_t id, const HuffmanSpec<N>& huffman) {
  return Bytes{0xFF, kDht, 0, 19 + N, id} + Bytes(huffman.counts.begin(), huffman.counts.end()) +
         Bytes(huffman.values.begin(), huffman.values.end());
}

// The scan of one image in another shape.
class ScanWriter {
 public:
  ScanWriter(const Shape& shape, const Mcus& mcus) : shape_(shape), mcus_(mcus) {}

  Bytes Run() {
    Bytes room(1 << 16);
    output_ = {room.data(), 1 << 16};
    uint32_t count = 0;
    for (size_t y = 0; y < mcus_.size() / kColumns; y += shape_.v) {
      for (size_t x = 0; x < kColumns; x += shape_.h, ++count) {
        if (shape_.interval != 0 && count != 0 && count % shape_.interval == 0) {
          FlushBits(output_);
          PutByte(output_, 0xFF);
          PutByte(output_, kRst0 + (count / shape_.interval - 1) % 8);
          last_dc_ = {};
        }
        for (size_t c = 0; c < 3; ++c) PutComponent(c, x, y);
      }
    }
    FlushBits(output_);
    return Head(room, output_.output_position);
  }

 private:
  // Blocks outside the image have coefficients too.
  void PutComponent(size_t c, size_t column, size_t row) {
    const size_t per_mcu = c == 0 ? 2 : 1;
    for (size_t y = row; y < row + shape_.v; ++y) {
      for (size_t x = column * per_mcu; x < (column + shape_.h) * per_mcu; ++x) {
        const bool inside = x / per_mcu < kColumns && y * kColumns < mcus_.size();
        const McuBlocks& mcu = mcus_[inside ? y * kColumns + x / per_mcu : 0];
        const auto& block = mcu[c == 0 ? x % 2 : c + 1];
        const Codes& codes = (shape_.own_tables ? own_ : standard_)[c == 0 ? 0 : 1];
        EncodeBlock(output_, block.data(), last_dc_[c], codes.dc, codes.ac);
        last_dc_[c] = block[0];
      }
    }
  }

  const Shape& shape_;
  const Mcus& mcus_;
  const Codes standard_[2] = {{kDcLumaCodes, kAcLumaCodes}, {kDcChromaCodes, kAcChromaCodes}};
  const Codes own_[2] = {{MakeCodeTable(kOwnDcLuma), MakeCodeTable(kOwnAcLuma)},
                         {MakeCodeTable(kOwnDcChroma), MakeCodeTable(kOwnAcChroma)}};
  EntropyOutput output_;
  std::array<int32_t, 3> last_dc_{};
};

Bytes Reshape(const Bytes& source, const ImageAnalysis& image, const Shape& shape) {
  const auto segment = [&](uint8_t marker) {
    const Segment& found = *std::ranges::find(image.segments, marker, &Segment::marker);
    return Slice(source, found.offset, found.end);
  };
  const auto luma = static_cast<uint8_t>(shape.h << 5 | shape.v);
  const auto chroma = static_cast<uint8_t>(shape.h << 4 | shape.v);
  const auto& [y, cb, cr] = shape.quant;
  const Bytes dqt = segment(kDqt);
  Bytes out = Bytes{0xFF, kSoi} + segment(kApp0);
  for (size_t c = 0; c < 3; ++c) {
    const size_t values = c == 0 ? 5 : 70;
    out = out + Bytes{0xFF, kDqt, 0, 67, shape.quant[c]} + Slice(dqt, values, values + 64);
  }
  out = out + Set(segment(kSof0), 10, {1, luma, y, 2, chroma, cb, 3, chroma, cr});
  if (shape.own_tables) {
    out = out + Dht(0x00, kOwnDcLuma) + Dht(0x10, kOwnAcLuma) + Dht(0x01, kOwnDcChroma) +
          Dht(0x11, kOwnAcChroma);
  }
  return out + Bytes{0xFF, kDri, 0, 4, 0, shape.interval} +
         Set(segment(kSos), 5, {1, 0x00, 2, 0x11, 3, 0x11}) +
         ScanWriter(shape, Coefficients(source, image.begin)).Run() + Bytes{0xFF, kEoi};
}

// All images of a frame in another shape, and what is behind them.
Bytes Reshape(const Bytes& source, const Shape& shape) {
  const FrameAnalysis frame = AnalyseFrame(source);
  Bytes out;
  for (const ImageAnalysis& image : frame.images) out = out + Reshape(source, image, shape);
  return out + Slice(source, frame.images.back().end, source.size());
}

TEST(LosslessRecode, BecomesTheEncodersOwnBytes) {
  constexpr uint32_t kFields = TKMJPG_C_FIELDS | TKMJPG_C_CODE2_FIRST;
  for (const Shape& shape : kShapes) {
    for (const uint32_t mode : {0U, 5U, 7U}) {
      for (const uint32_t kind : {0U, uint32_t{TKMJPG_C_ALPHA}, kFields}) {
        SCOPED_TRACE(testing::Message() << shape.name << ", " << mode << ", " << kind);
        const uint32_t flags = kind | Mode(mode);
        const Bytes wanted = Encode(flags), other = Reshape(wanted, shape);
        const FrameAnalysis frame = AnalyseFrame(other);
        ASSERT_TRUE(frame.NeedsRecoding()) << frame.refusal;
        const RecodedFrame recoded = RecodeFrame(other, frame);
        EXPECT_EQ(recoded.stream, wanted);
        EXPECT_EQ(recoded.damage, "");
        const RepairedFrame repaired = RepairFrame(other, HuffmanRepair::kAdd);
        EXPECT_EQ(repaired.stream, Encode(flags | TKMJPG_C_HUFFMAN_TABLES));
        EXPECT_TRUE(repaired.recoded);
      }
    }
  }
}

TEST(LosslessRecode, KeepsWhatIsAheadOfACut) {
  const Bytes source = Encode(0);
  const Mcus wanted = Coefficients(source);
  for (const Shape& shape : kShapes) {
    SCOPED_TRACE(shape.name);
    const Bytes whole = Reshape(source, shape);
    ptrdiff_t kept = 0;
    for (size_t size = 0; size <= whole.size(); ++size) {
      const Bytes cut = Head(whole, size);
      const FrameAnalysis frame = AnalyseFrame(cut);
      if (!frame.NeedsRecoding()) continue;
      const RecodedFrame recoded = RecodeFrame(cut, frame);
      ASSERT_EQ(AnalyseFrame(recoded.stream).problems, std::vector<std::string>{}) << size;
      const Mcus mcus = Coefficients(recoded.stream);
      const ptrdiff_t sound = std::ranges::mismatch(mcus, wanted).in1 - mcus.begin();
      ASSERT_GE(sound, kept) << size;
      ASSERT_TRUE(!recoded.damage.empty() || mcus == wanted) << size;
      kept = sound;
    }
    EXPECT_EQ(kept, kRows * kColumns);
  }
}

// A break costs no more than the interval it is in.
TEST(LosslessRecode, GoesOnBehindARestart) {
  const Bytes source = Encode(0), sound = Reshape(source, kShapes[3]);  // two MCUs an interval
  const Bytes broken = Set(sound, EntropyStart(sound), {0xFF, 0x3A});
  const RecodedFrame recoded = RecodeFrame(broken, AnalyseFrame(broken));
  const Mcus wanted = Coefficients(source), mcus = Coefficients(recoded.stream);
  EXPECT_NE(recoded.damage, "");
  EXPECT_EQ(mcus[0], McuBlocks{});
  EXPECT_TRUE(std::equal(mcus.begin() + 2, mcus.end(), wanted.begin() + 2));
}

TEST(LosslessRecode, AnyBytesGiveADecodableFrame) {
  std::minstd_rand random(7);
  for (const Shape& shape : kShapes) {
    const Bytes sound = Reshape(Encode(TKMJPG_C_FIELDS), shape);
    for (int round = 0; round < 300; ++round) {
      Bytes stream = sound;
      for (int i = 0; i < 4; ++i) stream[random() % stream.size()] = static_cast<uint8_t>(random());
      const FrameAnalysis frame = AnalyseFrame(stream);
      if (!frame.NeedsRecoding()) continue;
      const FrameAnalysis recoded = AnalyseFrame(RecodeFrame(stream, frame).stream);
      ASSERT_EQ(recoded.refusal, "");
      ASSERT_EQ(recoded.images[0].width, frame.images[0].width);
      ASSERT_EQ(recoded.images[0].height, frame.images[0].height);
    }
  }
}

TEST(LosslessRecode, RefusesByName) {
  const Bytes sound = Reshape(Encode(0), kShapes[5]), tables = Reshape(Encode(0), kShapes[1]);
  const size_t sof = FindMarker(sound, kSof0), dqt = FindMarker(sound, kDqt);
  const struct {
    const char* refusal;
    Bytes stream;
  } cases[] = {
      {"Cr has a quantisation table of its own", Set(sound, dqt + 2 * 69 + 13, {77})},
      {"2x1 1x1 1x2 image; only 4:2:2", Set(sound, sof + 17, {0x12})},
      {"65301x65300 pixels in ", Set(sound, sof + 5, {0xFF, 0x14, 0xFF, 0x15})},
      {"quantisation tables are missing", Set(tables, FindMarker(tables, kSof0) + 12, {1})},
  };
  for (const auto& c : cases) {
    const FrameAnalysis frame = AnalyseFrame(c.stream);
    EXPECT_NE(frame.refusal.find(c.refusal), std::string::npos) << frame.refusal;
    EXPECT_FALSE(frame.NeedsRecoding()) << c.refusal;
  }
}

class FilmsOfAnotherProgram : public CommandTest {};

// Two independent witnesses: another program finds the same pixels ahead of and behind the repair,
// and they are nearly ours, whose inverse transform rounds its own way.
TEST_F(FilmsOfAnotherProgram, AreRecoded) {
  if (Shell("ffmpeg -version").code != 0) GTEST_SKIP() << "no ffmpeg";
  const auto ffmpeg = [this](const std::string& arguments) {
    EXPECT_EQ(Shell("ffmpeg -v error -y -i " + arguments).code, 0) << arguments;
  };
  RunWell("encode testcard:98x72@25:4 card.avi -q");
  for (const char* huffman : {"default", "optimal"}) {
    SCOPED_TRACE(huffman);
    ffmpeg(std::string("card.avi -c:v mjpeg -pix_fmt yuvj422p -q:v 3 -huffman ") + huffman +
           " a.avi");
    RunWell("repair a.avi b.avi -qf");
    RunWell("decode a.avi a.y4m -qf");
    ffmpeg("a.avi -f rawvideo -pix_fmt yuvj422p a.yuv");
    ffmpeg("b.avi -f rawvideo -pix_fmt yuvj422p b.yuv");
    const Bytes a = Output("a.yuv"), ours = Output("a.y4m");
    ASSERT_EQ(a.size(), 4U * 2 * 98 * 72);
    EXPECT_EQ(a, Output("b.yuv"));
    const size_t frame = a.size() / 4, header = ours.size() - 4 * (frame + 6);
    for (size_t i = 0; i < a.size(); ++i) {
      const size_t at = header + i / frame * (frame + 6) + 6 + i % frame;
      ASSERT_LE(std::abs(a[i] - ours[at]), 3) << i;
    }
  }
}

}  // namespace
}  // namespace tkmjpg::tool
