// Frames as other writers store 4:2:2, made here from coefficients that this codec's encoder made,
// have to become its own bytes again.
#include "tools/tkmjpg/lossless_recode.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <numeric>
#include <random>

#include "encoder/entropy_output.h"
#include "encoder/huffman_coder.h"
#include "tests/temporary_folder.h"
#include "tkmjpg.h"
#include "tools/tkmjpg/coefficient_reader.h"
#include "tools/tkmjpg/stream_repair.h"

namespace tkmjpg::tool {
namespace {

using Bytes = std::vector<uint8_t>;
using Mcus = std::vector<McuBlocks>;

constexpr int kWidth = 41, kHeight = 20;
constexpr size_t kColumns = 3, kRows = 3;

Bytes Encode(uint32_t flags, int mode) {
  Bytes pixels(kWidth * kHeight * 4), stream(1 << 16);
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i * i / 37 + i % 5);
  stream.resize(CompressBuffer_MJPG(pixels.data(), kWidth * 4, stream.data(), 1 << 16, kWidth,
                                    kHeight, 85, flags | mode << TKMJPG_C_MODE_SHIFT, TKMJPG_BGRA,
                                    0, nullptr));
  return stream;
}

Mcus Coefficients(const Bytes& stream, const ImageAnalysis& image) {
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

class Writer {
 public:
  Writer(const Bytes& source, const ImageAnalysis& image, const Shape& shape)
      : source_(source), image_(image), shape_(shape), mcus_(Coefficients(source, image)) {}

  Bytes Run() {
    Put({0xFF, kSoi});
    const Segment& app0 = image_.segments[0];
    out_.insert(out_.end(), source_.begin() + static_cast<long>(app0.offset),
                source_.begin() + static_cast<long>(app0.end));
    for (size_t c = 0; c < 3; ++c) PutQuantTable(c);
    const uint8_t h = shape_.h, v = shape_.v;
    const auto luma = static_cast<uint8_t>(h << 5 | v), chroma = static_cast<uint8_t>(h << 4 | v);
    const auto height = static_cast<uint8_t>(image_.height);
    Put({0xFF, kSof0, 0, 17, 8, 0, height, 0, kWidth, 3, 1, luma, shape_.quant[0], 2, chroma,
         shape_.quant[1], 3, chroma, shape_.quant[2]});
    if (shape_.own_tables) PutHuffmanTables();
    Put({0xFF, kDri, 0, 4, 0, shape_.interval});
    Put({0xFF, kSos, 0, 12, 3, 1, 0x00, 2, 0x11, 3, 0x11, 0, 63, 0});
    PutScan();
    Put({0xFF, kEoi});
    return out_;
  }

 private:
  void Put(std::initializer_list<int> bytes) {
    for (const int byte : bytes) out_.push_back(static_cast<uint8_t>(byte));
  }

  void PutQuantTable(size_t component) {
    Put({0xFF, kDqt, 0, 67, shape_.quant[component]});
    const auto& values = image_.quant.values[component == 0 ? 0 : 1];
    for (const uint16_t value : values) out_.push_back(static_cast<uint8_t>(value));
  }

  template <int N>
  void PutTable(int id, const HuffmanSpec<N>& huffman) {
    Put({0xFF, kDht, 0, 19 + N, id});
    out_.insert(out_.end(), huffman.counts.begin(), huffman.counts.end());
    out_.insert(out_.end(), huffman.values.begin(), huffman.values.end());
  }

  void PutHuffmanTables() {
    PutTable(0x00, Flat(kDcLumaSpec, 4));
    PutTable(0x10, Flat(kAcLumaSpec, 8));
    PutTable(0x01, Flat(kDcChromaSpec, 11));
    PutTable(0x11, Flat(kAcChromaSpec, 12));
  }

  void PutScan() {
    Bytes room(1 << 16);
    EntropyOutput output;
    output.output_start = room.data();
    output.output_capacity = 1 << 16;
    const size_t rows = mcus_.size() / kColumns;
    uint32_t count = 0;
    for (size_t y = 0; y < rows; y += shape_.v) {
      for (size_t x = 0; x < kColumns; x += shape_.h, ++count) {
        if (shape_.interval != 0 && count != 0 && count % shape_.interval == 0) {
          FlushBits(output);
          PutByte(output, 0xFF);
          PutByte(output, kRst0 + (count / shape_.interval - 1) % 8);
          last_dc_ = {};
        }
        for (size_t c = 0; c < 3; ++c) PutComponent(output, c, x, y);
      }
    }
    FlushBits(output);
    out_.insert(out_.end(), room.begin(), room.begin() + static_cast<long>(output.output_position));
  }

  // Blocks outside the image have coefficients too.
  void PutComponent(EntropyOutput& output, size_t c, size_t column, size_t row) {
    const size_t per_mcu = c == 0 ? 2 : 1;
    for (size_t y = row; y < row + shape_.v; ++y) {
      for (size_t x = column * per_mcu; x < (column + shape_.h) * per_mcu; ++x) {
        const bool inside = x / per_mcu < kColumns && y * kColumns < mcus_.size();
        const McuBlocks& mcu = mcus_[inside ? y * kColumns + x / per_mcu : 0];
        const auto& block = mcu[c == 0 ? x % 2 : c + 1];
        EncodeBlock(output, block.data(), last_dc_[c], DcCodes(c), AcCodes(c));
        last_dc_[c] = block[0];
      }
    }
  }

  HuffmanCodeTable DcCodes(size_t c) const {
    if (!shape_.own_tables) return c == 0 ? kDcLumaCodes : kDcChromaCodes;
    return c == 0 ? MakeCodeTable(Flat(kDcLumaSpec, 4)) : MakeCodeTable(Flat(kDcChromaSpec, 11));
  }
  HuffmanCodeTable AcCodes(size_t c) const {
    if (!shape_.own_tables) return c == 0 ? kAcLumaCodes : kAcChromaCodes;
    return c == 0 ? MakeCodeTable(Flat(kAcLumaSpec, 8)) : MakeCodeTable(Flat(kAcChromaSpec, 12));
  }

  const Bytes& source_;
  const ImageAnalysis& image_;
  const Shape& shape_;
  Mcus mcus_;
  std::array<int32_t, 3> last_dc_{};
  Bytes out_;
};

// All images of a frame in another shape, and what is behind them.
Bytes Reshape(const Bytes& source, const Shape& shape) {
  const FrameAnalysis frame = AnalyseFrame(source);
  Bytes out;
  for (const ImageAnalysis& image : frame.images) {
    const Bytes one = Writer(source, image, shape).Run();
    out.insert(out.end(), one.begin(), one.end());
  }
  out.insert(out.end(), source.begin() + static_cast<long>(frame.images.back().end), source.end());
  return out;
}

TEST(LosslessRecode, BecomesTheEncodersOwnBytes) {
  constexpr uint32_t kFields = TKMJPG_C_FIELDS | TKMJPG_C_CODE2_FIRST;
  for (const Shape& shape : kShapes) {
    for (const int mode : {0, 5, 7}) {
      for (const uint32_t flags : {0U, static_cast<uint32_t>(TKMJPG_C_ALPHA), kFields}) {
        SCOPED_TRACE(testing::Message() << shape.name << ", " << mode << ", " << flags);
        const Bytes wanted = Encode(flags, mode), other = Reshape(wanted, shape);
        const FrameAnalysis frame = AnalyseFrame(other);
        ASSERT_TRUE(frame.NeedsRecoding()) << frame.refusal;
        const RecodedFrame recoded = RecodeFrame(other, frame);
        EXPECT_EQ(recoded.stream, wanted);
        EXPECT_EQ(recoded.damage, "");
        const RepairedFrame repaired = RepairFrame(other, HuffmanRepair::kAdd);
        EXPECT_EQ(repaired.stream, Encode(flags | TKMJPG_C_HUFFMAN_TABLES, mode));
        EXPECT_TRUE(repaired.recoded);
      }
    }
  }
}

size_t SoundMcus(const Bytes& stream, const Mcus& wanted) {
  const Mcus mcus = Coefficients(stream, AnalyseImage(stream, 0));
  return static_cast<size_t>(std::ranges::mismatch(mcus, wanted).in1 - mcus.begin());
}

TEST(LosslessRecode, KeepsWhatIsAheadOfACut) {
  const Bytes source = Encode(0, 0);
  const Mcus wanted = Coefficients(source, AnalyseImage(source, 0));
  for (const Shape& shape : kShapes) {
    SCOPED_TRACE(shape.name);
    const Bytes whole = Reshape(source, shape);
    size_t kept = 0;
    for (size_t size = 0; size <= whole.size(); ++size) {
      const Bytes cut(whole.begin(), whole.begin() + static_cast<long>(size));
      const FrameAnalysis frame = AnalyseFrame(cut);
      if (!frame.NeedsRecoding()) continue;
      const RecodedFrame recoded = RecodeFrame(cut, frame);
      ASSERT_EQ(AnalyseFrame(recoded.stream).problems, std::vector<std::string>{}) << size;
      const size_t sound = SoundMcus(recoded.stream, wanted);
      ASSERT_GE(sound, kept) << size;
      ASSERT_TRUE(!recoded.damage.empty() || sound == wanted.size()) << size;
      kept = sound;
    }
    EXPECT_EQ(kept, kRows * kColumns);
  }
}

// A break costs no more than the interval it is in.
TEST(LosslessRecode, GoesOnBehindARestart) {
  const Bytes source = Encode(0, 0);
  const Mcus wanted = Coefficients(source, AnalyseImage(source, 0));
  Bytes broken = Reshape(source, kShapes[3]);  // two MCUs an interval
  const FrameAnalysis sound = AnalyseFrame(broken);
  broken[sound.images[0].scan_begin] = 0xFF;
  broken[sound.images[0].scan_begin + 1] = 0x3A;
  const RecodedFrame recoded = RecodeFrame(broken, AnalyseFrame(broken));
  const Mcus mcus = Coefficients(recoded.stream, AnalyseImage(recoded.stream, 0));
  EXPECT_NE(recoded.damage, "");
  EXPECT_EQ(mcus[0], McuBlocks{});
  EXPECT_TRUE(std::equal(mcus.begin() + 2, mcus.end(), wanted.begin() + 2));
}

TEST(LosslessRecode, AnyBytesGiveADecodableFrame) {
  std::minstd_rand random(7);
  for (const Shape& shape : kShapes) {
    const Bytes sound = Reshape(Encode(TKMJPG_C_FIELDS, 0), shape);
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
  const Bytes sound = Reshape(Encode(0, 0), kShapes[5]);
  const Bytes tables = Reshape(Encode(0, 0), kShapes[1]);
  const FrameAnalysis frame = AnalyseFrame(sound), with_tables = AnalyseFrame(tables);
  const auto segment = [](const FrameAnalysis& f, uint8_t marker) {
    return std::ranges::find(f.images[0].segments, marker, &Segment::marker)->payload;
  };
  const size_t sof = segment(frame, kSof0), dqt = segment(frame, kDqt);
  const struct {
    const char* refusal;
    const Bytes& stream;
    size_t offset;
    uint8_t value;
  } cases[] = {
      {"Cr has a quantisation table of its own", sound, dqt + 2 * 69 + 9, 77},
      {"2x1 1x1 1x2 image; only 4:2:2", sound, sof + 13, 0x12},
      {"4:2:0 image; only 4:2:2", sound, sof + 7, 0x22},
      {"samples of 12 bits", sound, sof, 12},
      {"65301x65300 pixels in ", sound, 0, 0},
      {"quantisation tables are missing", tables, segment(with_tables, kSof0) + 8, 1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.refusal);
    Bytes stream = c.stream;
    if (c.offset != 0) stream[c.offset] = c.value;
    if (c.offset == 0) std::ranges::copy(Bytes{0xFF, 0x14, 0xFF, 0x15}, &stream[sof + 1]);
    const FrameAnalysis analysis = AnalyseFrame(stream);
    EXPECT_NE(analysis.refusal.find(c.refusal), std::string::npos) << analysis.refusal;
    EXPECT_FALSE(analysis.NeedsRecoding());
  }
}

int Shell(const TemporaryFolder& folder, const std::string& command) {
  return std::system(("cd " + folder.Path("") + " && " + command).c_str());
}

// Two independent witnesses: another program finds the same pixels ahead of and behind the repair,
// and they are nearly ours, whose inverse transform rounds its own way.
TEST(LosslessRecode, FilmsOfAnotherProgram) {
  if (std::system("ffmpeg -version >/dev/null 2>&1") != 0) GTEST_SKIP() << "no ffmpeg";
  const TemporaryFolder folder;
  const std::string command = TKMJPG_COMMAND, ffmpeg = "ffmpeg -v error -y ";
  ASSERT_EQ(Shell(folder, command + " encode testcard:98x72@25:4 card.avi -q"), 0);
  for (const char* huffman : {"default", "optimal"}) {
    SCOPED_TRACE(huffman);
    ASSERT_EQ(Shell(folder, ffmpeg + "-i card.avi -c:v mjpeg -pix_fmt yuvj422p -huffman " +
                                huffman + " -q:v 3 a.avi"),
              0);
    ASSERT_EQ(Shell(folder, command + " repair a.avi b.avi -qf"), 0);
    const std::string raw = " -f rawvideo -pix_fmt yuvj422p ";
    ASSERT_EQ(Shell(folder, ffmpeg + "-i a.avi" + raw + "a.yuv && " + ffmpeg + "-i b.avi" + raw +
                                "b.yuv && " + command + " decode a.avi a.y4m -qf"),
              0);
    const Bytes a = ReadBytes(folder.Path("a.yuv")), ours = ReadBytes(folder.Path("a.y4m"));
    ASSERT_EQ(a.size(), 4U * 2 * 98 * 72);
    EXPECT_EQ(a, ReadBytes(folder.Path("b.yuv")));
    const size_t frame = a.size() / 4, header = ours.size() - 4 * (frame + 6);
    for (size_t i = 0; i < a.size(); ++i) {
      const size_t at = header + i / frame * (frame + 6) + 6 + i % frame;
      ASSERT_LE(std::abs(a[i] - ours[at]), 3) << i;
    }
  }
}

}  // namespace
}  // namespace tkmjpg::tool
