// What is told of a frame from its markers, and frames fixed by it.
#include "tools/tkmjpg/streams/stream_analysis.h"

#include "tests/expect.h"
#include "tests/frame_calls.h"
#include "tools/tkmjpg/streams/quality_estimate.h"
#include "tools/tkmjpg/streams/stream_repair.h"

namespace tkmjpg::tool {
namespace {

constexpr int kWidth = 48, kHeight = 32;
constexpr uint32_t kTables = TKMJPG_C_HUFFMAN_TABLES, kFields = TKMJPG_C_FIELDS;
constexpr uint32_t kModes[] = {0, 1, 2, 3, 5, 7};

Bytes Encode(uint32_t flags, int quality = 60, const Layout& layout = kYuy2) {
  const Call call{layout, kWidth, kHeight, flags, quality};
  Bytes pixels(call.Size());
  for (size_t i = 0; i < pixels.size(); ++i) pixels[i] = static_cast<uint8_t>(i * i / 37);
  return Compress(pixels, call);
}

TEST(StreamAnalysis, UndamagedFrames) {
  for (const uint32_t mode : kModes) {
    for (const uint32_t flags : {0U, kTables, kFields}) {
      for (const int quality : {1, 60, 100}) {
        const Bytes stream = Encode(flags | Mode(mode), quality);
        const FrameAnalysis frame = AnalyseFrame(stream);
        SCOPED_TRACE(testing::Message() << mode << " " << flags << " " << quality);
        EXPECT_EQ(frame.problems, std::vector<std::string>{});
        ASSERT_EQ(frame.images.size(), flags == kFields ? 2U : 1U);
        EXPECT_EQ(frame.PictureHeight(), kHeight);
        EXPECT_EQ(frame.trailing + frame.leading + frame.alpha_offset, 0U);
        EXPECT_EQ(frame.images.back().end, stream.size());
        for (const ImageAnalysis& image : frame.images) {
          EXPECT_EQ(image.mode, static_cast<int>(mode));
          EXPECT_EQ(FindNearestQuality(image).quality, quality);
          EXPECT_TRUE(FindNearestQuality(image).exact);
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
  const FrameAnalysis frame = AnalyseFrame(Encode(TKMJPG_C_ALPHA, 60, kBgra));
  EXPECT_EQ(frame.images.size(), 1U);
  EXPECT_EQ(frame.alpha_offset, frame.images[0].end);
  EXPECT_TRUE(frame.problems.empty());
}

TEST(StreamAnalysis, NamesWhatIsWrong) {
  const Bytes undamaged = Encode(kTables);
  const size_t sof = FindMarker(undamaged, 0xC0), scan = FindMarker(undamaged, 0xDA),
               tag = Find(undamaged, {'A', 'V', 'I', '1'});
  const struct {
    size_t offset;
    Bytes values;
    const char* problem;
    bool refused;
  } cases[] = {
      {sof + 4, {12}, "samples of 12 bits; only 8 can be decoded", true},
      {sof + 1, {0xC3}, "image of type SOF3; only baseline, progressive and arithmetic", true},
      {sof + 9, {4}, "4-component image; only 1 and 3 components can be decoded", true},
      {tag + 8, {0x77}, "wrong size fields", false},
      {1, {0xE0}, "no image begins here", true},
      {scan + 20, {0xFF, 0x3A}, "in the entropy-coded data", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.problem);
    const FrameAnalysis frame = AnalyseFrame(Set(undamaged, c.offset, c.values));
    ASSERT_FALSE(frame.problems.empty());
    ExpectHas(frame.problems[0], c.problem);
    EXPECT_EQ(!frame.refusal.empty(), c.refused);
  }
}

TEST(StreamAnalysis, CutAtEveryLength) {
  const Bytes undamaged = Encode(kFields | kTables);
  const size_t first_end = AnalyseFrame(undamaged).images[0].end;
  for (size_t size = 0; size < undamaged.size() - 20; size += 3) {
    if (size >= first_end && size < first_end + 3) continue;  // one undamaged field
    const Bytes cut = Head(undamaged, size);
    EXPECT_FALSE(AnalyseFrame(cut).problems.empty()) << size;
    RepairFrame(cut, HuffmanRepair::kAdd);
  }
}

// Taking the tables out and putting them in again gives the encoder's own bytes.
TEST(StreamRepair, HuffmanTables) {
  for (const uint32_t mode : kModes) {
    for (const uint32_t fields : {0U, kFields}) {
      SCOPED_TRACE(testing::Message() << mode << " " << fields);
      const Bytes without = Encode(fields | Mode(mode)),
                  with = Encode(fields | Mode(mode) | kTables);
      for (const Bytes& stream : {with, without}) {
        EXPECT_EQ(RepairFrame(stream, HuffmanRepair::kRemove).stream, without);
        EXPECT_EQ(RepairFrame(stream, HuffmanRepair::kAdd).stream, with);
      }
    }
  }
}

TEST(StreamRepair, FixesAndDrops) {
  const Bytes undamaged = Encode(kTables);
  const size_t tag = Find(undamaged, {'A', 'V', 'I', '1'});
  const Bytes damaged = Bytes{1, 2, 3} + Set(undamaged, tag + 6, {1}) + Bytes(5, 0);
  const RepairedFrame fixed = RepairFrame(damaged, HuffmanRepair::kAdd);
  EXPECT_EQ(fixed.stream, undamaged);
  EXPECT_TRUE(fixed.sizes_fixed);
  EXPECT_EQ(fixed.bytes_dropped, 8U);

  const RepairedFrame completed =
      RepairFrame(Head(undamaged, undamaged.size() - 200), HuffmanRepair::kAdd);
  EXPECT_TRUE(completed.completed);
  EXPECT_TRUE(AnalyseFrame(completed.stream).problems.empty());
  EXPECT_TRUE(RepairFrame(Bytes(100, 7), HuffmanRepair::kAdd).stream.empty());
}

}  // namespace
}  // namespace tkmjpg::tool
