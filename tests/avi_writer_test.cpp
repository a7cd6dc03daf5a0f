// The AVI that is written, taken apart byte by byte.
#include "tools/tkmjpg/media/avi_writer.h"

#include <gtest/gtest.h>

#include <cstring>

#include "tests/temporary_folder.h"

namespace tkmjpg::tool {
namespace {

struct Chunk {
  uint32_t id;
  size_t data;  // offset in the file
  uint32_t size;
  uint32_t list_type;  // of RIFF and LIST, whose chunks begin at data + 4
};

class AviFile {
 public:
  explicit AviFile(Bytes bytes) : bytes_(std::move(bytes)) {}

  const Bytes& All() const { return bytes_; }
  uint32_t Word(size_t at) const { return Number<uint32_t>(at); }
  uint64_t Long(size_t at) const { return Number<uint64_t>(at); }
  Bytes Data(size_t at, size_t size) const {
    return {bytes_.begin() + static_cast<ptrdiff_t>(at),
            bytes_.begin() + static_cast<ptrdiff_t>(at + size)};
  }

  // The chunks of [begin, end), which they must fill exactly.
  std::vector<Chunk> Chunks(size_t begin, size_t end) const {
    std::vector<Chunk> chunks;
    size_t at = begin;
    while (at + 8 <= end) {
      const uint32_t id = Word(at), size = Word(at + 4);
      const bool list = id == FourCc("RIFF") || id == FourCc("LIST");
      chunks.push_back({id, at + 8, size, list ? Word(at + 8) : 0});
      at += 8 + size + size % 2;
    }
    EXPECT_EQ(at, end);
    return chunks;
  }

  std::vector<Chunk> Riffs() const { return Chunks(0, bytes_.size()); }
  std::vector<Chunk> Inside(const Chunk& list) const {
    return Chunks(list.data + 4, list.data + list.size);
  }

  // The chunk at the end of a path of list types and a chunk id, in the first RIFF.
  Chunk Find(std::initializer_list<const char*> path) const {
    Chunk at = Riffs().at(0);
    for (const char* name : path) {
      uint32_t wanted = 0;
      std::memcpy(&wanted, name, sizeof wanted);
      const std::vector<Chunk> inside = Inside(at);
      const auto found = std::find_if(inside.begin(), inside.end(), [&](const Chunk& chunk) {
        return (chunk.list_type != 0 ? chunk.list_type : chunk.id) == wanted;
      });
      if (found == inside.end()) throw std::runtime_error(std::string("no ") + name);
      at = *found;
    }
    return at;
  }

 private:
  template <class T>
  T Number(size_t at) const {
    T value = 0;
    std::memcpy(&value, bytes_.data() + at, sizeof value);
    return value;
  }
  Bytes bytes_;
};

std::vector<Bytes> SomeFrames(int count) {
  std::vector<Bytes> frames;
  for (int i = 0; i < count; ++i) {
    frames.emplace_back(i % 7 == 3 ? 0 : 100 + 37 * i % 901, static_cast<uint8_t>(i + 1));
  }
  return frames;
}

AviFile Written(const VideoFormat& format, const std::vector<Bytes>& frames,
                uint64_t riff_bytes = kAviRiffBytes) {
  const TemporaryFolder folder;
  AviWriter writer(folder.Path("a.avi"), MjpgAviVideo(format), Overwrite::kRefuse, riff_bytes);
  for (const Bytes& frame : frames) writer.Write(frame);
  writer.Finish();
  return AviFile(ReadBytes(folder.Path("a.avi")));
}

// The frames that lie in the movi list of `riff`.
std::vector<Chunk> FrameChunks(const AviFile& avi, const Chunk& riff) {
  std::vector<Chunk> frames;
  for (const Chunk& list : avi.Inside(riff)) {
    if (list.list_type != FourCc("movi")) continue;
    for (const Chunk& chunk : avi.Inside(list)) {
      if (chunk.id == FourCc("00dc")) frames.push_back(chunk);
    }
  }
  return frames;
}

// Checks the standard index at `at` against the chunks it must list.
void ExpectStandardIndex(const AviFile& avi, size_t at, size_t bytes,
                         const std::vector<Chunk>& frames) {
  EXPECT_EQ(avi.Word(at), FourCc("ix00"));
  EXPECT_EQ(avi.Word(at + 4) + 8, bytes);
  EXPECT_EQ(avi.Word(at + 8), 0x01000002U);  // two words an entry, an index of chunks
  ASSERT_EQ(avi.Word(at + 12), frames.size());
  EXPECT_EQ(avi.Word(at + 16), FourCc("00dc"));
  const uint64_t base = avi.Long(at + 20);
  for (size_t i = 0; i < frames.size(); ++i) {
    EXPECT_EQ(base + avi.Word(at + 32 + 8 * i), frames[i].data);
    EXPECT_EQ(avi.Word(at + 36 + 8 * i), frames[i].size);
  }
}

void ExpectOldIndex(const AviFile& avi, const std::vector<Chunk>& frames) {
  const Chunk index = avi.Find({"idx1"}), movi = avi.Find({"movi"});
  ASSERT_EQ(index.size, 16 * frames.size());
  for (size_t i = 0; i < frames.size(); ++i) {
    const size_t entry = index.data + 16 * i;
    EXPECT_EQ(avi.Word(entry), FourCc("00dc"));
    EXPECT_EQ(avi.Word(entry + 4), 0x10U);
    EXPECT_EQ(movi.data + avi.Word(entry + 8), frames[i].data - 8);
    EXPECT_EQ(avi.Word(entry + 12), frames[i].size);
  }
}

class AviLength : public testing::TestWithParam<uint64_t> {};

TEST_P(AviLength, EveryIndexFindsEveryFrame) {
  const std::vector<Bytes> frames = SomeFrames(60);
  const AviFile avi = Written({64, 48}, frames, GetParam());
  const std::vector<Chunk> riffs = avi.Riffs();
  EXPECT_EQ(riffs.size() > 1, GetParam() < avi.All().size());
  const Chunk super = avi.Find({"hdrl", "strl", "indx"});
  EXPECT_EQ(avi.Word(super.data), 4U);
  ASSERT_EQ(avi.Word(super.data + 4), riffs.size());

  size_t frame = 0;
  for (size_t r = 0; r < riffs.size(); ++r) {
    EXPECT_EQ(riffs[r].id, FourCc("RIFF"));
    EXPECT_EQ(riffs[r].list_type, r == 0 ? FourCc("AVI ") : FourCc("AVIX"));
    const std::vector<Chunk> chunks = FrameChunks(avi, riffs[r]);
    EXPECT_TRUE(chunks.size() == 1 || riffs[r].size + 8 <= GetParam());
    for (const Chunk& chunk : chunks) {
      EXPECT_EQ(avi.Data(chunk.data, chunk.size), frames.at(frame++));
    }
    const size_t entry = super.data + 24 + 16 * r;
    ExpectStandardIndex(avi, avi.Long(entry), avi.Word(entry + 8), chunks);
    EXPECT_EQ(avi.Word(entry + 12), chunks.size());
    if (r != 0) continue;
    ExpectOldIndex(avi, chunks);
    EXPECT_EQ(avi.Word(avi.Find({"hdrl", "avih"}).data + 16), chunks.size());
  }
  EXPECT_EQ(frame, frames.size());
  EXPECT_EQ(avi.Word(avi.Find({"hdrl", "odml", "dmlh"}).data), frames.size());
  EXPECT_EQ(avi.Word(avi.Find({"hdrl", "strl", "strh"}).data + 32), frames.size());
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
    const AviFile avi = Written(c.format, SomeFrames(2));
    const size_t stream = avi.Find({"hdrl", "strl", "strh"}).data;
    EXPECT_EQ(avi.Word(stream + 20), c.scale);
    EXPECT_EQ(avi.Word(stream + 24), c.rate);
    const Chunk vprp = avi.Find({"hdrl", "strl", "vprp"});
    ASSERT_EQ(vprp.size, 36 + 32 * c.fields);
    EXPECT_EQ(avi.Word(vprp.data + 20), c.aspect);
    EXPECT_EQ(avi.Word(vprp.data + 32), c.fields);
    for (uint32_t field = 0; field < c.fields; ++field) {
      const size_t at = vprp.data + 36 + 32 * field;
      EXPECT_EQ(avi.Word(at), c.coded_lines);
      EXPECT_EQ(avi.Word(at + 8), c.field_lines);
      EXPECT_EQ(avi.Word(at + 28), field == 0 ? c.first_line : 1 - c.first_line);
    }
  }
}

TEST(AviWriter, StreamFormatIsTheExtendedHeader) {
  const AviFile avi = Written({720, 576}, SomeFrames(1));
  const Chunk format = avi.Find({"hdrl", "strl", "strf"});
  const uint32_t words[17] = {
      68, 720, 576, 24 << 16 | 1, FourCc("MJPG"), 622080, 0, 0, 0, 0, 44, 24, 0, 2, 8, 2, 1};
  ASSERT_EQ(format.size, sizeof words);
  for (size_t i = 0; i < 17; ++i) EXPECT_EQ(avi.Word(format.data + 4 * i), words[i]) << i;
}

}  // namespace
}  // namespace tkmjpg::tool
