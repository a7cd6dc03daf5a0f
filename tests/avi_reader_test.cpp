// AVI files of every shape that is out there, made in memory.
#include <gtest/gtest.h>

#include <algorithm>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/avi_parser.h"

namespace tkmjpg::tool {
namespace {

void Put32(Bytes& bytes, uint64_t value) {
  for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<uint8_t>(value >> 8 * i));
}

Bytes Text(const std::string& text) { return {text.begin(), text.end()}; }

Bytes Join(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

Bytes Chunk(const std::string& id, const Bytes& body) {
  Bytes bytes = Text(id);
  Put32(bytes, body.size());
  bytes.insert(bytes.end(), body.begin(), body.end());
  if (body.size() % 2 != 0) bytes.push_back(0);
  return bytes;
}

Bytes List(const std::string& type, const Bytes& chunks, const std::string& id = "LIST") {
  return Chunk(id, Join({Text(type), chunks}));
}

// What frame n holds: its number, so that it can be told from others; odd sizes among them.
Bytes FrameBytes(int n) { return Bytes(static_cast<size_t>(5 + n), static_cast<uint8_t>(n)); }

Bytes Stream(const std::string& type, const std::string& fourcc) {
  Bytes header = Join({Text(type), Text(fourcc)});
  for (const uint32_t word : {0, 0, 0, 1001, 30000, 0, 0, 0, 0, 0, 0, 0}) Put32(header, word);
  Bytes format;
  for (const uint32_t word : {40, 64, 48, 1 | 24 << 16}) Put32(format, word);
  const Bytes rest = Join({Text(fourcc), Bytes(20)});
  format.insert(format.end(), rest.begin(), rest.end());
  return List("strl", Join({Chunk("strh", header), Chunk("strf", format)}));
}

Bytes Headers(const Bytes& streams) {
  return List("hdrl", Join({Chunk("avih", Bytes(56)), streams}));
}
Bytes Headers() { return Headers(Stream("vids", "MJPG")); }

Bytes Frames(int first, int last, const std::string& id = "00dc") {
  Bytes bytes;
  for (int n = first; n <= last; ++n) bytes = Join({bytes, Chunk(id, FrameBytes(n))});
  return bytes;
}

Bytes Riff(const Bytes& chunks, const std::string& form = "AVI ") {
  return List(form, chunks, "RIFF");
}

// idx1 for frames 0 to 2 that lie directly behind the word "movi".
Bytes Index(uint32_t base, uint32_t shift) {
  Bytes body;
  uint32_t offset = base + 4;
  for (int n = 0; n < 3; ++n) {
    const auto size = static_cast<uint32_t>(FrameBytes(n).size());
    body = Join({body, Text("00dc")});
    for (const uint32_t word : {0x10U, offset + shift, size}) Put32(body, word);
    offset += 8 + (size + 1) / 2 * 2;
  }
  return Chunk("idx1", body);
}

std::string Numbers(const Bytes& bytes) {
  const MemorySource source(bytes);
  std::string numbers;
  for (const AviFrame& frame : ParseAvi(source).frames) {
    uint8_t first = 0;
    const bool there = source.Read(frame.offset, {&first, 1}) == 1;
    const bool whole = there && frame.offset + frame.size <= bytes.size();
    const bool right = whole && frame.size == FrameBytes(first).size();
    numbers += frame.size == 0 ? "=" : right ? std::to_string(first) : "?";
  }
  return numbers;
}

struct Shape {
  const char* name;
  Bytes bytes;
  const char* numbers;
  AviIndex index = AviIndex::kNone;
};

std::vector<Shape> Shapes() {
  const Bytes movi = List("movi", Frames(0, 2));
  const auto movi_word = static_cast<uint32_t>(12 + Headers().size() + 8);
  const Bytes audio = Chunk("01wb", Bytes(7, 0xEE));
  Bytes endless = Riff(Join({Headers(), movi}));
  std::fill(endless.begin() + 4, endless.begin() + 8, 0);
  std::fill(endless.begin() + movi_word - 4, endless.begin() + movi_word, 0);
  Bytes unpadded = Join({Text("00dc"), {5, 0, 0, 0}, FrameBytes(0), Chunk("00dc", FrameBytes(1))});
  return {
      {"no index", Riff(Join({Headers(), movi})), "012"},
      {"index from movi", Riff(Join({Headers(), movi, Index(0, 0)})), "012", AviIndex::kRight},
      {"index from the start", Riff(Join({Headers(), movi, Index(movi_word, 0)})), "012",
       AviIndex::kRight},
      {"index that is wrong", Riff(Join({Headers(), movi, Index(0, 2)})), "012", AviIndex::kWrong},
      {"sizes of lists never written", endless, "012"},
      {"junk between",
       Riff(Join({Headers(), Chunk("JUNK", Bytes(9)),
                  List("movi", Join({Frames(0, 0), Chunk("JUNK", Bytes(3)), Chunk("odd!", Bytes(4)),
                                     Frames(1, 1)}))})),
       "01"},
      {"bytes that are no chunk",
       Riff(Join({Headers(), List("movi", Join({Frames(0, 0), Bytes(11, 1), Frames(1, 2)}))})),
       "012"},
      {"zero length",
       Riff(Join({Headers(), List("movi", Join({Frames(0, 0), Chunk("00dc", {}), Frames(1, 1)}))})),
       "0=1"},
      {"groups",
       Riff(Join({Headers(), List("movi", Join({List("rec ", Join({Frames(0, 0), audio})),
                                                List("rec ", Frames(1, 1))}))})),
       "01"},
      {"more than one RIFF",
       Join({Riff(Join({Headers(), List("movi", Frames(0, 1))})),
             Riff(List("movi", Frames(2, 3)), "AVIX")}),
       "0123"},
      {"second stream",
       Riff(Join({Headers(Join({Stream("auds", "\1\0\0\0"), Stream("vids", "mJPG"),
                                Stream("vids", "MJPG")})),
                  List("movi",
                       Join({Frames(8, 8, "00wb"), Frames(1, 2, "01dc"), Frames(7, 7, "02dc")}))})),
       "12"},
      {"uncompressed id", Riff(Join({Headers(), List("movi", Frames(0, 1, "00db"))})), "01"},
      {"no padding", Riff(Join({Headers(), List("movi", unpadded)})), "01"},
  };
}

TEST(AviReader, FindsTheFrames) {
  for (const Shape& shape : Shapes()) {
    SCOPED_TRACE(shape.name);
    EXPECT_EQ(Numbers(shape.bytes), shape.numbers);
    const AviFile file = ParseAvi(MemorySource(shape.bytes));
    EXPECT_EQ(file.index, shape.index);
    EXPECT_EQ(file.format.width, 64);
    EXPECT_EQ(file.format.height, 48);
    EXPECT_EQ(file.format.rate.num, 30000);
    EXPECT_EQ(file.format.rate.den, 1001);
  }
}

TEST(AviReader, TakesFourccsOfMotionJpegAlone) {
  const Bytes movi = List("movi", Frames(0, 0));
  for (const char* fourcc : {"MJPG", "mJPG", "mjpg", "dmb1", "dmb2"}) {
    EXPECT_EQ(Numbers(Riff(Join({Headers(Stream("vids", fourcc)), movi}))), "0") << fourcc;
  }
  const std::pair<Bytes, const char*> refused[] = {
      {Riff(Join({Headers(Stream("vids", "XVID")), movi})),
       "video is 'XVID'; only Motion-JPEG can be read"},
      {Riff(Join({Headers(Stream("auds", "MJPG")), movi})), "no video stream"},
      {List("WAVE", {}, "RIFF"), "no AVI file"},
      {{}, "no AVI file"}};
  for (const auto& [bytes, message] : refused) {
    try {
      ParseAvi(MemorySource(bytes));
      ADD_FAILURE() << message;
    } catch (const InputError& error) {
      EXPECT_STREQ(error.what(), message);
    }
  }
}

// Every cut leaves the frames that are whole, in order.
TEST(AviReader, CutAtEveryLength) {
  const Bytes whole = Riff(Join({Headers(), List("movi", Frames(0, 2)), Index(0, 0)}));
  size_t most = 0;
  for (size_t size = 12 + Headers().size() + 12; size <= whole.size(); ++size) {
    const std::string numbers = Numbers({whole.begin(), whole.begin() + static_cast<long>(size)});
    EXPECT_EQ(numbers, std::string("012").substr(0, numbers.size())) << size;
    EXPECT_GE(numbers.size(), most) << size;
    most = numbers.size();
  }
  EXPECT_EQ(most, 3U);
}

// A lie in any place may cost frames, but nothing is read outside the file and other frames stay.
TEST(AviReader, LiesInEveryWord) {
  const Bytes whole = Riff(Join({Headers(), List("movi", Frames(0, 2)), Index(0, 0)}));
  for (const uint32_t lie : {0U, 1U, 7U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    for (size_t at = 0; at + 4 <= whole.size(); ++at) {
      Bytes bytes = whole;
      for (size_t i = 0; i < 4; ++i) bytes[at + i] = static_cast<uint8_t>(lie >> 8 * i);
      try {
        const AviFile file = ParseAvi(MemorySource(bytes));
        EXPECT_LE(file.frames.size(), 4U);
        for (const AviFrame& frame : file.frames) {
          EXPECT_LE(frame.offset + frame.size, bytes.size()) << at << " " << lie;
        }
      } catch (const InputError&) {
        EXPECT_LT(at, 12 + Headers().size()) << "only headers can make it no film";
      }
    }
  }
}

}  // namespace
}  // namespace tkmjpg::tool
