// What is told of a frame from its markers, and frames mended by it.
#include "tools/tkmjpg/stream_analysis.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "tkmjpg.h"
#include "tools/tkmjpg/stream_repair.h"

namespace tkmjpg::tool {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr int kWidth = 48, kHeight = 32;
constexpr uint32_t kTables = TKMJPG_C_HUFFMAN_TABLES;

Bytes Encode(uint32_t flags, int mode = 0, int quality = 60, uint32_t layout = TKMJPG_YUY2) {
  Bytes pixels(kWidth * kHeight * 4), stream(1 << 16);
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i * i / 37);
  const int stride = kWidth * (layout == TKMJPG_BGRA ? 4 : 2);
  stream.resize(CompressBuffer_MJPG(pixels.data(), stride, stream.data(), 1 << 16, kWidth, kHeight,
                                    quality, flags | mode << TKMJPG_C_MODE_SHIFT, layout, 0,
                                    nullptr));
  return stream;
}

size_t Find(const Bytes& stream, std::initializer_list<uint8_t> what, size_t from = 0) {
  const auto at =
      std::search(stream.begin() + static_cast<long>(from), stream.end(), what.begin(), what.end());
  return static_cast<size_t>(at - stream.begin());
}

TEST(StreamAnalysis, SoundFrames) {
  for (const int mode : {0, 1, 2, 3, 5, 7}) {
    for (const uint32_t flags : {0U, kTables, static_cast<uint32_t>(TKMJPG_C_FIELDS)}) {
      for (const int quality : {1, 60, 100}) {
        const Bytes stream = Encode(flags, mode, quality);
        const FrameAnalysis frame = AnalyseFrame(stream);
        SCOPED_TRACE(testing::Message() << mode << " " << flags << " " << quality);
        EXPECT_EQ(frame.problems, std::vector<std::string>{});
        ASSERT_EQ(frame.images.size(), flags == TKMJPG_C_FIELDS ? 2U : 1U);
        EXPECT_EQ(frame.PictureHeight(), kHeight);
        EXPECT_EQ(frame.trailing + frame.leading + frame.alpha_offset, 0U);
        EXPECT_EQ(frame.images.back().end, stream.size());
        for (const ImageAnalysis& image : frame.images) {
          EXPECT_EQ(image.mode, mode);
          EXPECT_EQ(image.quality, quality);
          EXPECT_TRUE(image.quality_exact);
          EXPECT_EQ(image.width, kWidth);
          EXPECT_EQ(image.sampling, "4:2:2");
          EXPECT_EQ(image.sizes.has_value(), mode == 0 || mode == 3);
          EXPECT_EQ(image.field_code.has_value(), mode < 5);
          EXPECT_EQ(image.huffman == HuffmanTables::kStandard, flags == kTables);
          EXPECT_EQ(image.Fill() >= 8, mode < 5);
        }
      }
    }
  }
}

TEST(StreamAnalysis, FindsTheAlphaSegment) {
  const FrameAnalysis frame = AnalyseFrame(Encode(TKMJPG_C_ALPHA, 0, 60, TKMJPG_BGRA));
  EXPECT_EQ(frame.images.size(), 1U);
  EXPECT_EQ(frame.alpha_offset, frame.images[0].end);
  EXPECT_TRUE(frame.problems.empty());
}

TEST(StreamAnalysis, NamesWhatIsWrong) {
  const Bytes sound = Encode(kTables);
  const size_t sof = Find(sound, {0xFF, 0xC0}), dht = Find(sound, {0xFF, 0xC4});
  const size_t scan = Find(sound, {0xFF, 0xDA}), tag = Find(sound, {'A', 'V', 'I', '1'});
  const struct {
    const char* name;
    size_t offset;
    uint8_t value;
    const char* problem;
    bool refused;
  } cases[] = {
      {"4:2:0", sof + 11, 0x22, "4:2:0 image; only 4:2:2 can be decoded", true},
      {"4:4:4", sof + 11, 0x11, "4:4:4 image; only 4:2:2 can be decoded", true},
      {"12 bits", sof + 4, 12, "samples of 12 bits; only 8 can be decoded", true},
      {"progressive", sof + 1, 0xC2, "progressive image; only baseline images can be decoded",
       true},
      {"lossless", sof + 1, 0xC3, "image of type SOF3; only baseline images can be decoded", true},
      {"broken tables", dht + 7, 0x55, "Huffman tables that are none", true},
      {"size fields", tag + 8, 0x77, "wrong size fields", false},
      {"no SOI", 1, 0xE0, "no image begins here", true},
      {"marker in the scan", scan + 20, 0xFF, "in the entropy-coded data", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Bytes stream = sound;
    stream[c.offset] = c.value;
    if (c.offset == scan + 20) stream[c.offset + 1] = 0x3A;
    const FrameAnalysis frame = AnalyseFrame(stream);
    ASSERT_FALSE(frame.problems.empty());
    EXPECT_NE(frame.problems[0].find(c.problem), std::string::npos) << frame.problems[0];
    EXPECT_EQ(!frame.refusal.empty(), c.refused);
  }
}

TEST(StreamAnalysis, CutAtEveryLength) {
  const Bytes sound = Encode(TKMJPG_C_FIELDS | kTables);
  const size_t first_end = AnalyseFrame(sound).images[0].end;
  for (size_t size = 0; size < sound.size() - 20; size += 3) {
    if (size >= first_end && size < first_end + 3) continue;  // one sound field
    const Bytes cut(sound.begin(), sound.begin() + static_cast<long>(size));
    EXPECT_FALSE(AnalyseFrame(cut).problems.empty()) << size;
    RepairFrame(cut, HuffmanRepair::kAdd);
  }
}

// Taking the tables out and putting them in again gives the encoder's own bytes.
TEST(StreamRepair, HuffmanTables) {
  for (const int mode : {0, 1, 2, 3, 5, 7}) {
    for (const uint32_t fields : {0U, static_cast<uint32_t>(TKMJPG_C_FIELDS)}) {
      SCOPED_TRACE(testing::Message() << mode << " " << fields);
      const Bytes with = Encode(fields | kTables, mode), without = Encode(fields, mode);
      EXPECT_EQ(RepairFrame(with, HuffmanRepair::kRemove).stream, without);
      EXPECT_EQ(RepairFrame(without, HuffmanRepair::kAdd).stream, with);
      EXPECT_EQ(RepairFrame(with, HuffmanRepair::kAdd).stream, with);
      EXPECT_EQ(RepairFrame(without, HuffmanRepair::kRemove).stream, without);
    }
  }
}

TEST(StreamRepair, MendsAndDrops) {
  const Bytes sound = Encode(kTables);
  const size_t tag = Find(sound, {'A', 'V', 'I', '1'});
  Bytes damaged = sound;
  damaged[tag + 6] = 1;
  damaged.insert(damaged.begin(), {1, 2, 3});
  damaged.insert(damaged.end(), {0, 0, 0, 0, 0});
  const RepairedFrame mended = RepairFrame(damaged, HuffmanRepair::kAdd);
  EXPECT_EQ(mended.stream, sound);
  EXPECT_TRUE(mended.sizes_mended);
  EXPECT_EQ(mended.bytes_dropped, 8U);

  const Bytes cut(sound.begin(), sound.end() - 200);
  const RepairedFrame completed = RepairFrame(cut, HuffmanRepair::kAdd);
  EXPECT_TRUE(completed.completed);
  EXPECT_TRUE(AnalyseFrame(completed.stream).problems.empty());
  EXPECT_TRUE(RepairFrame(Bytes(100, 7), HuffmanRepair::kAdd).stream.empty());
}

}  // namespace
}  // namespace tkmjpg::tool
