// AVI files of every shape that is out there, made in memory.
#include "tests/bytes.h"
#include "tests/expect.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/avi_parser.h"

namespace tkmjpg::tool {
namespace {

Bytes Words(const std::vector<size_t>& words) {
  Bytes bytes;
  for (const size_t word : words) {
    for (int i = 0; i < 4; ++i) bytes.push_back(static_cast<uint8_t>(word >> 8 * i));
  }
  return bytes;
}

Bytes Text(const std::string& text) { return {text.begin(), text.end()}; }

Bytes Chunk(const std::string& id, const Bytes& body) {
  return Text(id) + Words({body.size()}) + body + Bytes(body.size() % 2);
}

Bytes List(const std::string& type, const Bytes& chunks) {
  return Chunk("LIST", Text(type) + chunks);
}

// What frame n holds: its number, so that it can be told from others; odd sizes among them.
Bytes FrameBytes(size_t n) { return Bytes(5 + n, static_cast<uint8_t>(n)); }

Bytes Stream(const std::string& type, const std::string& fourcc) {
  const Bytes header =
      Text(type) + Text(fourcc) + Words({0, 0, 0, 1001, 30000, 0, 0, 0, 0, 0, 0, 0});
  const Bytes format = Words({40, 64, 48, 1 | 24 << 16}) + Text(fourcc) + Bytes(20);
  return List("strl", Chunk("strh", header) + Chunk("strf", format));
}

Bytes Headers(const Bytes& streams) { return List("hdrl", Chunk("avih", Bytes(56)) + streams); }
const Bytes kHeaders = Headers(Stream("vids", "MJPG"));

Bytes Frames(size_t first, size_t last, const std::string& id = "00dc") {
  Bytes bytes;
  for (size_t n = first; n <= last; ++n) bytes = bytes + Chunk(id, FrameBytes(n));
  return bytes;
}

Bytes Riff(const Bytes& chunks, const std::string& form = "AVI ") {
  return Chunk("RIFF", Text(form) + chunks);
}
// A film whose movi list holds these chunks.
Bytes Film(const Bytes& movi, const Bytes& after = {}) {
  return Riff(kHeaders + List("movi", movi) + after);
}

// idx1 for frames 0 to 2 that lie directly after the word "movi".
Bytes Index(size_t base, size_t shift = 0) {
  Bytes body;
  size_t offset = base + 4;
  for (size_t n = 0; n < 3; ++n) {
    body = body + Text("00dc") + Words({0x10, offset + shift, FrameBytes(n).size()});
    offset += Frames(n, n).size();
  }
  return Chunk("idx1", body);
}

// The numbers of the frames that are found; "=" for one that repeats the last.
std::string Numbers(const Bytes& bytes) {
  std::string numbers;
  for (const AviFrame& frame : ParseAvi(MemorySource(bytes)).frames) {
    const bool inside = frame.size != 0 && frame.offset + frame.size <= bytes.size();
    const size_t first = inside ? bytes[frame.offset] : 0;
    const bool right = inside && frame.size == FrameBytes(first).size();
    numbers += frame.size == 0 ? "=" : right ? std::to_string(first) : "?";
  }
  return numbers;
}

TEST(AviReader, FindsTheFrames) {
  const size_t movi_word = 12 + kHeaders.size() + 8;
  const Bytes sizeless = Set(Set(Film(Frames(0, 2)), 4, Words({0})), movi_word - 4, Words({0}));
  const Bytes unpadded = Text("00dc") + Words({5}) + FrameBytes(0) + Frames(1, 1);
  const Bytes audio = Chunk("01wb", Bytes(7, 0xEE)), junk = Chunk("JUNK", Bytes(9));
  const Bytes three_streams =
      Headers(Stream("auds", "\1\2\3\4") + Stream("vids", "mJPG") + Stream("vids", "MJPG"));
  const struct {
    const char* name;
    Bytes bytes;
    const char* numbers;
    AviIndex index = AviIndex::kNone;
  } cases[] = {
      {"no index", Film(Frames(0, 2)), "012"},
      {"index from movi", Film(Frames(0, 2), Index(0)), "012", AviIndex::kRight},
      {"index from the start", Film(Frames(0, 2), Index(movi_word)), "012", AviIndex::kRight},
      {"index that is wrong", Film(Frames(0, 2), Index(0, 2)), "012", AviIndex::kWrong},
      {"sizes of lists never written", sizeless, "012"},
      {"junk between", Film(Frames(0, 0) + junk + Chunk("odd!", Bytes(4)) + Frames(1, 1)), "01"},
      {"bytes that are no chunk", Film(Frames(0, 0) + Bytes(11, 1) + Frames(1, 2)), "012"},
      {"zero length", Film(Frames(0, 0) + Chunk("00dc", {}) + Frames(1, 1)), "0=1"},
      {"groups", Film(List("rec ", Frames(0, 0) + audio) + List("rec ", Frames(1, 1))), "01"},
      {"more than one RIFF", Film(Frames(0, 1)) + Riff(List("movi", Frames(2, 3)), "AVIX"), "0123"},
      {"second stream",
       Riff(three_streams +
            List("movi", Frames(8, 8, "00wb") + Frames(1, 2, "01dc") + Frames(7, 7, "02dc"))),
       "12"},
      {"uncompressed id", Film(Frames(0, 1, "00db")), "01"},
      {"no padding", Film(unpadded), "01"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(Numbers(c.bytes), c.numbers);
    const AviFile file = ParseAvi(MemorySource(c.bytes));
    EXPECT_EQ(file.index, c.index);
    EXPECT_EQ(file.format.width, 64);
    EXPECT_EQ(file.format.height, 48);
    EXPECT_EQ(file.format.rate.num, 30000);
    EXPECT_EQ(file.format.rate.den, 1001);
  }
}

TEST(AviReader, TakesFourccsOfMotionJpegAlone) {
  const Bytes movi = List("movi", Frames(0, 0));
  for (const char* fourcc : {"MJPG", "mJPG", "mjpg", "dmb1", "dmb2", "jpeg"}) {
    EXPECT_EQ(Numbers(Riff(Headers(Stream("vids", fourcc)) + movi)), "0") << fourcc;
  }
  const std::pair<Bytes, const char*> refused[] = {
      {Riff(Headers(Stream("vids", "XVID")) + movi),
       "video is 'XVID'; only Motion-JPEG can be read"},
      {Riff(Headers(Stream("auds", "MJPG")) + movi), "no video stream"},
      {Riff({}, "WAVE"), "no AVI file"},
      {{}, "no AVI file"}};
  for (const auto& [bytes, message] : refused) {
    EXPECT_EQ(ThrownBy<InputError>([&bytes = bytes] { ParseAvi(MemorySource(bytes)); }), message);
  }
}

// Every cut leaves the frames that are whole, in order.
TEST(AviReader, CutAtEveryLength) {
  const Bytes whole = Film(Frames(0, 2), Index(0));
  size_t most = 0;
  for (size_t size = 12 + kHeaders.size() + 12; size <= whole.size(); ++size) {
    const std::string numbers = Numbers(Head(whole, size));
    EXPECT_EQ(numbers, std::string("012").substr(0, numbers.size())) << size;
    EXPECT_GE(numbers.size(), most) << size;
    most = numbers.size();
  }
  EXPECT_EQ(most, 3U);
}

// A lie in any place may cost frames, but nothing is read outside the file and other frames stay.
TEST(AviReader, LiesInEveryWord) {
  const Bytes whole = Film(Frames(0, 2), Index(0));
  for (const size_t lie : {0U, 1U, 7U, 0x7FFFFFFFU, 0xFFFFFFFFU}) {
    for (size_t at = 0; at + 4 <= whole.size(); ++at) {
      const Bytes bytes = Set(whole, at, Words({lie}));
      try {
        const AviFile file = ParseAvi(MemorySource(bytes));
        EXPECT_LE(file.frames.size(), 4U);
        for (const AviFrame& frame : file.frames) {
          EXPECT_LE(frame.offset + frame.size, bytes.size()) << at << " " << lie;
        }
      } catch (const InputError&) {
        EXPECT_LT(at, 12 + kHeaders.size()) << "only headers can make it no film";
      }
    }
  }
}

}  // namespace
}  // namespace tkmjpg::tool
