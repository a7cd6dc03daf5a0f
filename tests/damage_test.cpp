// Damage in the entropy-coded data: what a strict reader finds, and what the command makes of it.
#include "decoder/frame_decompressor.h"
#include "tests/command_runner.h"
#include "tests/frame_calls.h"
#include "tools/tkmjpg/streams/frame_damage.h"
#include "tools/tkmjpg/streams/scan_check.h"
#include "tools/tkmjpg/streams/segment_check.h"

namespace tkmjpg::tool {
namespace {

// 3 MCUs a row, 2 rows. A flat MCU is a DC difference of 0 and the end of the block, four times.
constexpr int kWidth = 48, kHeight = 16;
constexpr size_t kMcus = 6;
const std::string kFlat = "001010 001010 0000 0000 ";
const std::string kChroma = "0000 0000 ";

// Bits as text, the last byte filled with `padding`, stuffed.
Bytes Scan(const std::string& bits, char padding = '1') {
  Bytes bytes;
  uint32_t byte = 1;
  const auto put = [&](char bit) {
    byte = byte << 1 | (bit == '1' ? 1U : 0U);
    if (byte < 0x100) return;
    bytes.push_back(static_cast<uint8_t>(byte));
    if (bytes.back() == 0xFF) bytes.push_back(0);
    byte = 1;
  };
  for (const char bit : bits) {
    if (bit != ' ') put(bit);
  }
  while (byte != 1) put(padding);
  return bytes;
}

// A grey picture with another scan. Its DC step is 16.
Bytes WithScan(const Bytes& scan, uint8_t interval = 0) {
  const Bytes grey =
      Compress(Bytes(kWidth * kHeight * 2, 128), {kYuy2, kWidth, kHeight, kBare, 50});
  const Bytes dri = interval == 0 ? Bytes() : Bytes{0xFF, 0xDD, 0, 4, 0, interval};
  const size_t begin = AnalyseImage(grey, 0).scan_begin;
  return Insert(Head(grey, begin), FindMarker(grey, 0xDA), dri) + scan + Bytes{0xFF, 0xD9};
}

std::string Repeat(const std::string& text, size_t count) {
  std::string all;
  for (size_t i = 0; i < count; ++i) all += text;
  return all;
}

std::string Found(const ScanCheck& check) {
  if (check.damage) return check.damage->what;
  return check.suspect ? "suspect: " + check.suspect->what : "";
}

// Whether the codec has read a picture of this size without finding fault with it.
bool FoundSound(const Bytes& frame) {
  CodecCarryState carry = TKMJPG_CARRY_INIT;
  Bytes pixels(kWidth * kHeight * 2);
  return DecompressFrame(frame.data(), static_cast<uint32_t>(frame.size()), pixels.data(),
                         kWidth * 2, kWidth, kHeight, 0, PixelFormatCode::kYuyv, &carry)
             .sound_images == 1;
}

TEST(ScanCheck, FindsWhatNoEncoderWrites) {
  const std::string zeros = "11111111001 ";
  const struct {
    const char* name;
    std::string mcu;  // in place of MCU 4, the middle one of row 1
    const char* damage;
  } cases[] = {
      {"a flat block", kFlat, ""},
      {"48 zeros, then a 1", "00" + Repeat(zeros, 3) + "001 1010 001010 " + kChroma, ""},
      {"64 zeros", "00" + Repeat(zeros, 4) + "001 1010 001010 " + kChroma, "a run past the end"},
      {"an AC code of 16 bits that is none", "00 1111111111111111 1010 001010 " + kChroma,
       "invalid code"},
      {"a DC code that is none", "111111111 1010 001010 " + kChroma, "invalid code"},
      {"a DC of 2047", "111111110 11111111111 1010 001010 " + kChroma,
       "a coefficient out of range"},
      {"a mean of 16 x 60 / 8", "1110 111100 1010 1110 000011 1010 " + kChroma, ""},
      {"a mean of 16 x 100 / 8", "11110 1100100 1010 11110 0011011 1010 " + kChroma,
       "suspect: samples"},
      {"chroma of 16 x -100 / 8", "001010 001010 1111110 0011011 00 1111110 1100100 00",
       "suspect: samples"},
      {"an MCU too few", "", "the data ends early"},
      {"a block too many", kFlat + "001010 ", "the data ends early"},
      {"an MCU too many", kFlat + kFlat, "data left over"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Bytes frame = WithScan(Scan(Repeat(kFlat, 4) + c.mcu + kFlat));
    const ScanCheck check = CheckScan(frame, AnalyseImage(frame, 0));
    EXPECT_TRUE(check.readable);
    EXPECT_EQ(Found(check).substr(0, std::string(c.damage).size()), c.damage);
    EXPECT_EQ(Found(check).empty(), std::string(c.damage).empty());
    EXPECT_EQ(FoundSound(frame), std::string(c.damage).empty());
    if (!check.damage) continue;
    EXPECT_EQ(check.damage->row, 1U);
    EXPECT_EQ(check.gone, (std::vector<McuRows>{{1, 2}}));
  }
}

TEST(ScanCheck, PaddingIsOfOneValue) {
  const struct {
    Bytes scan;
    bool undamaged;
  } cases[] = {
      {Scan(Repeat(kFlat, kMcus), '1'), true},
      {Scan(Repeat(kFlat, kMcus), '0'), true},
      {Scan(Repeat(kFlat, kMcus) + "01"), false},
      {Scan(Repeat(kFlat, kMcus)) + Bytes(3, 0), true},
      {Scan(Repeat(kFlat, kMcus)) + Bytes{0xFF, 0, 0xFF, 0, 0xFF, 0}, true},
      {Scan(Repeat(kFlat, kMcus)) + Bytes(4, 0), false},
      {Scan(Repeat(kFlat, kMcus)) + Bytes{0x12}, false},
  };
  for (const auto& c : cases) {
    const Bytes frame = WithScan(c.scan);
    EXPECT_EQ(Found(CheckScan(frame, AnalyseImage(frame, 0))).empty(), c.undamaged)
        << testing::PrintToString(c.scan);
    EXPECT_EQ(FoundSound(frame), c.undamaged) << testing::PrintToString(c.scan);
  }
}

TEST(ScanCheck, RestartsLimitWhatIsLost) {
  const Bytes two = Scan(kFlat + kFlat), one = Scan(kFlat), rst0{0xFF, 0xD0}, rst1{0xFF, 0xD1};
  const Bytes invalid = Scan("00 1111111111111111" + kFlat);
  const struct {
    const char* name;
    Bytes scan;  // intervals of 2 MCUs
    const char* damage;
    std::vector<McuRows> gone;
  } cases[] = {
      {"undamaged", two + rst0 + two + rst1 + two, "", {}},
      {"fill before the marker", two + Bytes{0xFF, 0xFF} + rst0 + two + rst1 + two, "", {}},
      {"the first interval", invalid + rst0 + two + rst1 + two, "invalid code", {{0, 1}}},
      {"the last interval", two + rst0 + two + rst1 + invalid, "invalid code", {{1, 2}}},
      {"one that spans both rows", two + rst0 + invalid + rst1 + two, "invalid code", {{0, 2}}},
      {"a short interval", one + rst0 + two + rst1 + two, "the data ends early", {{0, 1}}},
      {"a long interval", two + one + rst0 + two + rst1 + two, "data left over", {{0, 1}}},
      {"another marker", two + rst1 + two + rst1 + two, "no restart marker", {{0, 2}}},
      {"no marker", two + two + rst0 + two, "data left over", {{0, 2}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const Bytes frame = WithScan(c.scan, 2);
    const ScanCheck check = CheckScan(frame, AnalyseImage(frame, 0));
    EXPECT_EQ(Found(check).substr(0, std::string(c.damage).size()), c.damage);
    EXPECT_EQ(check.gone, c.gone);
    // The codec knows no fill before a restart marker.
    EXPECT_EQ(FoundSound(frame), std::string(c.name) == "undamaged");
  }
}

TEST(ScanCheck, UndamagedFramesOfTheEncoder) {
  for (const int quality : {1, 20, 75, 100}) {
    for (const uint32_t flags :
         {0U, kBare, uint32_t{TKMJPG_C_FIELDS}, uint32_t{TKMJPG_C_HUFFMAN_TABLES}}) {
      for (const auto& [width, height] : {std::pair{41, 20}, {16, 8}, {100, 64}}) {
        const Bytes frame = CompressNoise({kYuy2, width, height, flags, quality}, 7);
        const FrameAnalysis analysis = AnalyseFrame(frame);
        for (const ImageAnalysis& image : analysis.images) {
          const ScanCheck check = CheckScan(frame, image);
          EXPECT_TRUE(check.readable);
          EXPECT_EQ(Found(check), "") << quality << " " << flags << " " << width;
        }
        EXPECT_TRUE(FindDamage(frame, analysis).empty());
      }
    }
  }
}

TEST(SegmentCheck, NamesTheSegmentThatMakesNoSense) {
  const Bytes frame = CompressNoise({kYuy2, 41, 20, kBare | TKMJPG_C_HUFFMAN_TABLES, 75}, 3);
  const size_t dqt = FindMarker(frame, 0xDB), dht = FindMarker(frame, 0xC4),
               sof = FindMarker(frame, 0xC0), sos = FindMarker(frame, 0xDA);
  const struct {
    const char* name;
    Bytes frame;
    const char* segment;
  } cases[] = {
      {"none", frame, ""},
      {"a quantisation table 7", Set(frame, dqt + 4, {0x07}), "FFDB"},
      {"a step of 0", Set(frame, dqt + 20, {0}), "FFDB"},
      {"a Huffman table 9", Set(frame, dht + 4, {0x09}), "FFC4"},
      {"more codes than there can be", Set(frame, dht + 5, {3}), "FFC4"},
      {"four components", Set(frame, sof + 9, {4}), "FFC0"},
      {"a sampling factor of 0", Set(frame, sof + 14, {0x01}), "FFC0"},
      {"two components in the scan", Set(frame, sos + 4, {2}), "FFDA"},
      {"a marker of no meaning", Set(frame, dht + 1, {0x44}), "FF44"},
  };
  for (const auto& c : cases) {
    const std::string said = CheckSegments(c.frame, AnalyseImage(c.frame, 0));
    EXPECT_EQ(said.empty(), std::string(c.segment).empty()) << c.name;
    ExpectHas(said, c.segment);
  }
}

class DamagedFilm : public CommandTest {
 protected:
  // Three frames with the same picture; the second one lacks its last bytes.
  void Write(uint32_t flags) {
    Bytes pixels(160 * 96 * 2);
    for (size_t i = 0; i < pixels.size(); ++i) {
      pixels[i] = static_cast<uint8_t>(i % 2 != 0 ? 128 : 40 + i / 320 + i % 50);
    }
    const Bytes good = Compress(pixels, {kYuy2, 160, 96, flags, 75});
    const ImageAnalysis first = AnalyseFrame(good).images[0];
    const size_t scan = first.data_end - first.scan_begin;
    const Bytes bad = Erase(good, first.data_end - 2 - scan / 3, scan / 3);
    WriteFile("good.mjpg", good + good + good);
    WriteFile("bad.mjpg", good + bad + good);
  }
};

TEST_F(DamagedFilm, IsToldByEveryCommand) {
  Write(kBare);
  const std::string what = "frame 1, MCU row 7: the data ends early at byte ";
  const struct {
    const char* arguments;
    int code;
    std::string message;
  } cases[] = {
      {"decode -q good.mjpg good.raw", 0, ""},
      {"decode -q bad.mjpg bad.raw", 3, "tkmjpg: bad.mjpg: " + what},
      {"md5 bad.mjpg", 3, "(1 of 3 frames damaged)"},
      {"info bad.mjpg", 0, ""},
      {"repair bad.mjpg fixed.mjpg", 0, "bad.mjpg: warning: " + what},
      {"repair -q good.mjpg same.mjpg", 0, ""},
      {"compare good.mjpg bad.mjpg", 0, "bad.mjpg: warning: " + what},
      {"compare good.mjpg good.mjpg", 0, ""},
  };
  for (const auto& c : cases) {
    const Result result = Run(c.arguments);
    EXPECT_EQ(result.code, c.code) << c.arguments;
    ExpectHas(result.errors, c.message);
    EXPECT_EQ(result.errors.empty(), c.message.empty() && result.code == 0) << c.arguments;
  }
  ExpectHas(RunWell("info bad.mjpg"), "the data ends early at byte");
  EXPECT_EQ(RunWell("info good.mjpg").find("ends early"), std::string::npos);
  EXPECT_EQ(Output("bad.raw").size(), Output("good.raw").size());
}

TEST_F(DamagedFilm, IsConcealedByTheFrameBefore) {
  for (const uint32_t flags : {kBare, uint32_t{TKMJPG_C_FIELDS}}) {
    Write(flags);
    RunWell("decode -qf good.mjpg good.raw");
    EXPECT_EQ(Run("decode -qf bad.mjpg bad.raw").code, 3);
    EXPECT_NE(Output("bad.raw"), Output("good.raw"));
    for (const char* threads : {"1", "3"}) {
      const Result result =
          Run(std::string("decode -qf --conceal bad.mjpg bad.raw --threads ") + threads);
      EXPECT_EQ(result.code, 3);
      ExpectHas(result.errors, "(1 of 3 frames damaged, 1 concealed)");
      EXPECT_EQ(Output("bad.raw"), Output("good.raw")) << flags;
    }
  }
}

}  // namespace
}  // namespace tkmjpg::tool
