// The AVI that is written, taken apart byte by byte, and read again.
#include "tools/tkmjpg/media/avi_writer.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/bytes.h"
#include "tests/temporary_folder.h"
#include "tools/tkmjpg/media/avi_parser.h"

namespace tkmjpg::tool {
namespace {

class AviBytes {
 public:
  explicit AviBytes(Bytes bytes) : bytes_(std::move(bytes)) {
    for (size_t at = 0; at < bytes_.size(); at = ExpectChunk(at)) riffs_.push_back(at);
  }

  const Bytes& All() const { return bytes_; }
  uint32_t Word(size_t at) const { return static_cast<uint32_t>(Long(at)); }
  uint64_t Long(size_t at) const {
    uint64_t value = 0;
    std::memcpy(&value, &bytes_.at(at), std::min<size_t>(8, bytes_.size() - at));
    return value;
  }
  const std::vector<size_t>& Riffs() const { return riffs_; }
  // Where the data of the first chunk of this name begins.
  size_t Find(const std::string& id) const {
    return ::Find(bytes_, Bytes(id.begin(), id.end())) + 8;
  }

 private:
  // The end of the chunk at `at`. Those in a list must fill it exactly.
  size_t ExpectChunk(size_t at) const {
    const uint32_t id = Word(at), size = Word(at + 4);
    const size_t end = at + 8 + size + size % 2;
    if (id != FourCc("RIFF") && id != FourCc("LIST")) return end;
    size_t inside = at + 12;
    while (inside < end) inside = ExpectChunk(inside);
    EXPECT_EQ(inside, end);
    return end;
  }

  Bytes bytes_;
  std::vector<size_t> riffs_;
};

std::vector<Bytes> SomeFrames(int count) {
  std::vector<Bytes> frames;
  frames.reserve(count);
  for (int i = 0; i < count; ++i) {
    frames.emplace_back(i % 7 == 3 ? 0 : 100 + 37 * i % 901, static_cast<uint8_t>(i + 1));
  }
  return frames;
}

AviBytes Written(const VideoFormat& format, const std::vector<Bytes>& frames,
                 uint64_t riff_bytes = kAviRiffBytes) {
  const TemporaryFolder folder;
  AviWriter writer(folder.Path("a.avi"), MjpgAviVideo(format), Overwrite::kRefuse, {}, riff_bytes);
  for (const Bytes& frame : frames) writer.Write(frame);
  writer.Finish();
  return AviBytes(ReadBytes(folder.Path("a.avi")));
}

class AviLength : public testing::TestWithParam<uint64_t> {};

TEST_P(AviLength, EveryIndexFindsEveryFrame) {
  const std::vector<Bytes> frames = SomeFrames(60);
  const AviBytes avi = Written({64, 48}, frames, GetParam());
  const AviFile read = ParseAvi(MemorySource(avi.All()));
  EXPECT_EQ(read.index, AviIndex::kRight);
  EXPECT_EQ(read.problems, std::vector<std::string>{});
  ASSERT_EQ(read.frames.size(), frames.size());

  const std::vector<size_t>& riffs = avi.Riffs();
  EXPECT_EQ(riffs.size() > 1, GetParam() < avi.All().size());
  const size_t super = avi.Find("indx");
  EXPECT_EQ(avi.Word(super), 4U);
  ASSERT_EQ(avi.Word(super + 4), riffs.size());
  size_t frame = 0;
  for (size_t r = 0; r < riffs.size(); ++r) {
    EXPECT_EQ(avi.Word(riffs[r] + 8), r == 0 ? FourCc("AVI ") : FourCc("AVIX"));
    const size_t entry = super + 24 + 16 * r, index = avi.Long(entry);
    const uint32_t count = avi.Word(entry + 12);
    EXPECT_TRUE(count == 1 || avi.Word(riffs[r] + 4) + 8 <= GetParam());
    EXPECT_EQ(avi.Word(index), FourCc("ix00"));
    EXPECT_EQ(avi.Word(index + 4) + 8, avi.Word(entry + 8));
    EXPECT_EQ(avi.Word(index + 8), 0x01000002U);  // two words an entry, an index of chunks
    EXPECT_EQ(avi.Word(index + 12), count);
    EXPECT_EQ(avi.Word(index + 16), FourCc("00dc"));
    for (size_t i = 0; i < count; ++i, ++frame) {
      const size_t data = avi.Long(index + 20) + avi.Word(index + 32 + 8 * i);
      EXPECT_EQ(data, read.frames[frame].offset);
      EXPECT_EQ(Slice(avi.All(), data, data + avi.Word(index + 36 + 8 * i)), frames[frame]);
    }
    if (r == 0) {
      EXPECT_EQ(avi.Word(avi.Find("avih") + 16), count);
    }
  }
  EXPECT_EQ(avi.Word(avi.Find("idx1") + 4), 0x10U);
  EXPECT_EQ(avi.Word(avi.Find("dmlh")), frames.size());
  EXPECT_EQ(avi.Word(avi.Find("strh") + 32), frames.size());
}

INSTANTIATE_TEST_SUITE_P(RiffBytes, AviLength,
                         testing::Values(kAviRiffBytes, 30000, 16000, 12000, 1));

TEST(AviWriter, RateAspectAndFields) {
  const VideoFormat pal = {720, 576, {25, 1}, {16, 15}, FieldOrder::kTopFirst};
  const VideoFormat ntsc = {720, 480, {30000, 1001}, {8, 9}, FieldOrder::kBottomFirst};
  const VideoFormat unknown = {1920, 1080, {50, 2}, {0, 0}, FieldOrder::kProgressive};
  const VideoFormat rounded = {16, 20, {10, 1}, {1, 1}, FieldOrder::kTopFirst};
  const struct {
    const VideoFormat& format;
    uint32_t rate, scale, aspect, fields, field_lines, coded_lines, first_line;
  } cases[] = {{pal, 25, 1, 4 << 16 | 3, 2, 288, 288, 0},
               {ntsc, 30000, 1001, 4 << 16 | 3, 2, 240, 240, 1},
               {unknown, 25, 1, 16 << 16 | 9, 1, 1080, 1080, 0},
               {rounded, 10, 1, 4 << 16 | 5, 2, 10, 16, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.format.width);
    const AviBytes avi = Written(c.format, SomeFrames(2));
    EXPECT_EQ(avi.Word(avi.Find("strh") + 20), c.scale);
    EXPECT_EQ(avi.Word(avi.Find("strh") + 24), c.rate);
    const size_t vprp = avi.Find("vprp");
    ASSERT_EQ(avi.Word(vprp - 4), 36 + 32 * c.fields);
    EXPECT_EQ(avi.Word(vprp + 20), c.aspect);
    EXPECT_EQ(avi.Word(vprp + 32), c.fields);
    for (uint32_t field = 0; field < c.fields; ++field) {
      const size_t at = vprp + 36 + 32 * field;
      EXPECT_EQ(avi.Word(at), c.coded_lines);
      EXPECT_EQ(avi.Word(at + 8), c.field_lines);
      EXPECT_EQ(avi.Word(at + 28), field == 0 ? c.first_line : 1 - c.first_line);
    }
  }
}

TEST(AviWriter, StreamFormatIsTheExtendedHeader) {
  const AviBytes avi = Written({720, 576}, SomeFrames(1));
  const size_t format = avi.Find("strf");
  const uint32_t words[17] = {
      68, 720, 576, 24 << 16 | 1, FourCc("MJPG"), 622080, 0, 0, 0, 0, 44, 24, 0, 2, 8, 2, 1};
  ASSERT_EQ(avi.Word(format - 4), sizeof words);
  for (size_t i = 0; i < 17; ++i) EXPECT_EQ(avi.Word(format + 4 * i), words[i]) << i;
}

}  // namespace
}  // namespace tkmjpg::tool
