// Frames as other writers store 4:2:2 have to become this codec's own bytes again.
#include "tools/tkmjpg/streams/lossless_recode.h"

#include "tests/command_runner.h"
#include "tests/reshaped_frames.h"
#include "tools/tkmjpg/streams/stream_repair.h"

namespace tkmjpg::tool {
namespace {

constexpr Shape kShapes[] = {
    {"16x16", 1, 2, false, {0, 1, 1}, 0},     {"16x16, own tables", 1, 2, true, {2, 3, 3}, 0},
    {"own tables", 1, 1, true, {0, 1, 1}, 0}, {"own tables, restarts", 1, 1, true, {0, 1, 1}, 2},
    {"numbers", 1, 1, false, {3, 0, 0}, 0},   {"Cr repeats Cb's table", 1, 1, false, {0, 1, 2}, 0},
    {"32x8", 2, 1, false, {0, 1, 1}, 0},      {"16x16, restarts", 1, 2, false, {1, 0, 0}, 1},
};

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

TEST(LosslessRecode, KeepsWhatIsBeforeACut) {
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
      const ptrdiff_t undamaged = std::ranges::mismatch(mcus, wanted).in1 - mcus.begin();
      ASSERT_GE(undamaged, kept) << size;
      ASSERT_TRUE(!recoded.damage.empty() || mcus == wanted) << size;
      kept = undamaged;
    }
    EXPECT_EQ(kept, kRows * kColumns);
  }
}

// A break costs no more than the interval it is in.
TEST(LosslessRecode, GoesOnAfterARestart) {
  const Bytes source = Encode(0), undamaged = Reshape(source, kShapes[3]);  // two MCUs an interval
  const Bytes broken = Set(undamaged, EntropyStart(undamaged), {0xFF, 0x3A});
  const RecodedFrame recoded = RecodeFrame(broken, AnalyseFrame(broken));
  const Mcus wanted = Coefficients(source), mcus = Coefficients(recoded.stream);
  EXPECT_NE(recoded.damage, "");
  EXPECT_EQ(mcus[1], McuBlocks{});
  EXPECT_TRUE(std::equal(mcus.begin() + 2, mcus.end(), wanted.begin() + 2));
}

// Words of padding are no damage, more is: the scan may have been read with the wrong tables.
TEST(LosslessRecode, NothingIsLeftOver) {
  const Bytes own = Reshape(Encode(0), kShapes[2]);
  for (const size_t more : {3U, 40U}) {
    const Bytes longer = Insert(own, own.size() - 2, Bytes(more, 0));
    const std::string damage = RecodeFrame(longer, AnalyseFrame(longer)).damage;
    EXPECT_EQ(damage.find("bytes of entropy-coded data left over") != damage.npos, more == 40);
    EXPECT_EQ(damage.empty(), more == 3);
  }
}

TEST(LosslessRecode, AnyBytesGiveADecodableFrame) {
  std::minstd_rand random(7);
  int refused = 0;
  for (const Shape& shape : kShapes) {
    const Bytes undamaged = Reshape(Encode(TKMJPG_C_FIELDS), shape);
    for (int round = 0; round < 300; ++round) {
      Bytes stream = undamaged;
      for (int i = 0; i < 4; ++i) stream[random() % stream.size()] = static_cast<uint8_t>(random());
      const FrameAnalysis frame = AnalyseFrame(stream);
      if (!frame.NeedsRecoding()) continue;
      const RecodedFrame recoded = RecodeFrame(stream, frame);
      refused += recoded.refusal.empty() ? 0 : 1;
      if (!recoded.refusal.empty()) continue;
      const FrameAnalysis after = AnalyseFrame(recoded.stream);
      ASSERT_EQ(after.refusal + after.OtherShape(), "");
      ASSERT_EQ(after.images[0].width, frame.images[0].width);
      ASSERT_EQ(after.images[0].height, frame.images[0].height);
    }
  }
  EXPECT_LT(refused, 200);  // of 2400; their Huffman tables are none
}

TEST(LosslessRecode, RefusesByName) {
  const Bytes undamaged = Reshape(Encode(0), kShapes[5]), tables = Reshape(Encode(0), kShapes[1]);
  const size_t sof = FindMarker(undamaged, kSof0), dqt = FindMarker(undamaged, kDqt);
  const struct {
    const char* what;
    Bytes stream;
  } cases[] = {
      {"image with a quantisation table of its own for Cr",
       Set(undamaged, dqt + 2 * 69 + 13, {77})},
      {"2x1 1x1 1x2 image", Set(undamaged, sof + 17, {0x12})},
      {"65301x65300 pixels in ", Set(undamaged, sof + 5, {0xFF, 0x14, 0xFF, 0x15})},
      {"quantisation tables are missing", Set(tables, FindMarker(tables, kSof0) + 12, {1})},
  };
  for (const auto& c : cases) {
    const FrameAnalysis frame = AnalyseFrame(c.stream);
    ExpectHas((frame.refusal + frame.Loss()), c.what);
    EXPECT_FALSE(frame.NeedsRecoding()) << c.what;
  }
}

class FilmsOfAnotherProgram : public CommandTest {};

// Two independent witnesses: another program finds the same pixels before and after the repair,
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
