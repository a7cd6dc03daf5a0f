// Field pairs as other writers may store them: where tables and intervals stand, which of them the
// second image takes from the first. Whatever is odd, they decode to the same pixels, before and
// after repair.
#include "tests/command_runner.h"
#include "tests/reshaped_frames.h"
#include "tools/tkmjpg/commands/frame_decoder.h"
#include "tools/tkmjpg/streams/repair_check.h"
#include "tools/tkmjpg/streams/stream_repair.h"

namespace tkmjpg::tool {
namespace {

// An image: its segments without SOI, and its scan up to EOI.
struct Parts {
  std::vector<Bytes> segments;
  Bytes scan;

  static Parts Of(const Bytes& image) {
    const ImageAnalysis analysis = AnalyseImage(image, 0);
    Parts parts;
    for (const Segment& s : analysis.segments) {
      parts.segments.push_back(Slice(image, s.offset, s.end));
    }
    parts.scan = Slice(image, analysis.scan_begin, analysis.data_end);
    return parts;
  }

  Bytes Joined() const {
    Bytes image = {0xFF, kSoi};
    for (const Bytes& segment : segments) image = image + segment;
    return image + scan;
  }

  void Drop(uint8_t marker, size_t count = 99) {
    for (size_t i = 0; i < segments.size() && count > 0;) {
      const bool drop = segments[i][1] == marker;
      if (drop) segments.erase(segments.begin() + static_cast<ptrdiff_t>(i));
      if (drop) --count;
      if (!drop) ++i;
    }
  }

  Bytes TakeTables() {
    Bytes tables;
    for (const Bytes& s : segments) {
      if (s[1] == kDqt || s[1] == kDht) tables = tables + s;
    }
    Drop(kDqt);
    Drop(kDht);
    return tables;
  }

  void PutFirst(const Bytes& segment) { segments.insert(segments.begin(), segment); }
  void PutBeforeScan(const Bytes& segment) { segments.insert(segments.end() - 1, segment); }
};

Bytes Junk(uint8_t table) { return Bytes{0xFF, kDqt, 0, 67, table} + Bytes(64, 77); }

Bytes StandardTables() {
  return Dht(0x00, kDcLumaSpec) + Dht(0x10, kAcLumaSpec) + Dht(0x01, kDcChromaSpec) +
         Dht(0x11, kAcChromaSpec);
}

void SwapNumbers(Parts& image) {
  image.PutFirst(Dht(0x01, kDcLumaSpec) + Dht(0x11, kAcLumaSpec) + Dht(0x00, kDcChromaSpec) +
                 Dht(0x10, kAcChromaSpec));
  image.segments.back() = Set(image.segments.back(), 5, {0, 0x11, 1, 0x00, 2, 0x00});
}

constexpr Shape kPlain = {"", 1, 1, false, {0, 1, 1}, 0}, kOwn = {"", 1, 1, true, {0, 1, 1}, 0},
                kTall = {"", 1, 2, true, {0, 1, 1}, 0}, kRestarts = {"", 1, 1, false, {0, 1, 1}, 2},
                kOften = {"", 1, 1, false, {0, 1, 1}, 1},
                kNumbers = {"", 1, 1, false, {2, 3, 3}, 0};

const struct Oddity {
  const char* name;
  Shape first, second;
  void (*change)(Parts& first, Parts& second);
} kOddities[] = {
    {"all tables of image 1", kOwn, kOwn, [](Parts&, Parts& b) { b.TakeTables(); }},
    {"all tables of image 1, 16x16", kTall, kTall, [](Parts&, Parts& b) { b.TakeTables(); }},
    {"Huffman tables of image 1", kOwn, kOwn, [](Parts&, Parts& b) { b.Drop(kDht); }},
    {"one Huffman table of its own", kOwn, kOwn, [](Parts&, Parts& b) { b.Drop(kDht, 3); }},
    {"quantisation tables of image 1", kOwn, kOwn, [](Parts&, Parts& b) { b.Drop(kDqt); }},
    {"standard codes, quantisation tables of image 1", kPlain, kPlain,
     [](Parts&, Parts& b) { b.Drop(kDqt); }},
    {"other numbers of quantisation tables, of image 1", kNumbers, kNumbers,
     [](Parts& a, Parts& b) {
       b.Drop(kDqt);
       a.PutFirst(Junk(0) + Junk(1));
     }},
    {"an interval that ends with image 1", kRestarts, kPlain,
     [](Parts&, Parts& b) { b.Drop(kDri); }},
    {"an interval that goes on", kRestarts, kRestarts, [](Parts&, Parts& b) { b.Drop(kDri); }},
    {"another interval", kRestarts, kOften, [](Parts&, Parts&) {}},
    {"the last interval counts", kRestarts, kOften,
     [](Parts& a, Parts& b) {
       a.PutFirst({0xFF, kDri, 0, 4, 0, 1});
       b.PutFirst({0xFF, kDri, 0, 4, 0, 2});
     }},
    {"the last table counts", kOwn, kOwn,
     [](Parts& a, Parts& b) {
       a.PutFirst(Junk(0) + Junk(1) + Dht(0x00, kDcChromaSpec));
       b.PutFirst(Junk(1) + Dht(0x10, kAcLumaSpec));
     }},
    {"tables in an image of their own", kOwn, kOwn,
     [](Parts& a, Parts& b) {
       const Bytes tables = a.TakeTables();
       b.TakeTables();
       a.PutFirst(tables + Bytes{0xFF, kEoi, 0xFF, kSoi});
     }},
    {"tables in an image of their own before each image", kPlain, kPlain,
     [](Parts& a, Parts& b) {
       a.PutFirst(a.TakeTables() + Bytes{0xFF, kEoi, 0xFF, kSoi});
       b.PutFirst(StandardTables() + Bytes{0xFF, kEoi, 0xFF, 0xFF, kSoi});
     }},
    {"tables after the frame header", kOwn, kOwn,
     [](Parts& a, Parts& b) {
       for (Parts* image : {&a, &b}) image->PutBeforeScan(image->TakeTables());
     }},
    {"APP segments and fill between the tables", kOwn, kOwn,
     [](Parts& a, Parts& b) {
       for (Parts* image : {&a, &b}) {
         const Bytes app = {0xFF, 0xE5, 0, 8, 0xFF, kSoi, 0xFF, kDqt, 0, 67};
         for (Bytes& segment : image->segments) segment = segment + app + Bytes{0xFF, 0xFF};
         image->segments.back() = Slice(image->segments.back(), 0, 14);
       }
     }},
    {"16-bit quantisation tables of image 1", kPlain, kPlain,
     [](Parts& a, Parts& b) {
       b.Drop(kDqt);
       for (Bytes& segment : a.segments) {
         if (segment[1] != kDqt) continue;
         Bytes words = {0xFF, kDqt, 0, 131, static_cast<uint8_t>(0x10 | segment[4])};
         for (size_t i = 5; i < 69; ++i) words = words + Bytes{0, segment[i]};
         segment = words;
       }
     }},
    {"standard tables under swapped numbers, of image 1", kPlain, kPlain,
     [](Parts& a, Parts& b) {
       SwapNumbers(a);
       SwapNumbers(b);
       b.Drop(kDht);
     }},
    {"standard tables under swapped numbers, then under their own", kPlain, kPlain,
     [](Parts& a, Parts& b) {
       SwapNumbers(a);
       b.PutFirst(StandardTables());
     }},
    {"numbers of quantisation tables that are not there", kPlain, kOwn,
     [](Parts& a, Parts&) {
       for (Bytes& s : a.segments) {
         if (s[1] == kSof0) s = Set(s, 12, {2, 1, 0x11, 3, 2, 0x11, 3});
       }
     }},
};

Bytes Make(const Oddity& oddity, const Bytes& source) {
  const FrameAnalysis frame = AnalyseFrame(source);
  Parts first = Parts::Of(Reshape(source, frame.images[0], oddity.first));
  Parts second = Parts::Of(Reshape(source, frame.images[1], oddity.second));
  oddity.change(first, second);
  return first.Joined() + second.Joined();
}

constexpr Call kPicture = {kYuYv, kWidth, kHeight};

// Whether each image is complete in itself, for readers that know of no other one.
void ExpectImagesApart(const Bytes& repaired, const Bytes& source) {
  const FrameAnalysis frame = AnalyseFrame(repaired), wanted = AnalyseFrame(source);
  for (size_t i = 0; i < 2; ++i) {
    const Bytes alone = Slice(repaired, frame.images[i].begin, frame.images[i].end);
    EXPECT_EQ(AnalyseImage(alone, 0).huffman, HuffmanTables::kStandard);
    EXPECT_EQ(AnalyseImage(alone, 0).quant.values[1], wanted.images[i].quant.values[1]);
    EXPECT_TRUE(Coefficients(alone) == Coefficients(source, wanted.images[i].begin));
  }
}

TEST(StreamOddities, DecodeToTheSamePixels) {
  for (const uint32_t mode : {0U, 5U}) {
    const Bytes source = Encode(TKMJPG_C_FIELDS | Mode(mode)),
                wanted = Decompress(source, kPicture);
    for (const Oddity& oddity : kOddities) {
      SCOPED_TRACE(testing::Message() << oddity.name << ", mode " << mode);
      const Bytes odd = Make(oddity, source);
      Picture picture;
      const DecodedFrame decoded =
          FrameDecoder(kWidth, kHeight, TKMJPG_YuYv, 0).Decode(odd, 256, picture);
      EXPECT_EQ(decoded.refusal, "");
      for (const tkmjpg::tool::Damage& damage : decoded.damage) ADD_FAILURE() << damage.what;
      EXPECT_TRUE(Bytes(picture.pixels.begin(), picture.pixels.end()) == wanted);
      for (const auto huffman : {HuffmanRepair::kAdd, HuffmanRepair::kRemove}) {
        const RepairedFrame repaired = RepairFrame(odd, huffman);
        EXPECT_EQ(repaired.damage, "");
        EXPECT_TRUE(Decompress(repaired.stream, kPicture) == wanted);
        EXPECT_EQ(ComparePictures(odd, repaired.stream), "");
        EXPECT_EQ(RepairFrame(repaired.stream, huffman).stream, repaired.stream);
        if (huffman == HuffmanRepair::kAdd) ExpectImagesApart(repaired.stream, source);
      }
    }
  }
}

// Tables that were inherited from an image without a scan outlive it.
TEST(StreamOddities, TablesOfAnImageThatIsDropped) {
  const Bytes source = Encode(Mode(5)), wanted = Decompress(source, kPicture);
  const auto apart = [&](const Shape& shape, const Bytes& tables) {
    Parts image = Parts::Of(Reshape(source, AnalyseImage(source, 0), shape)), headers = image;
    headers.Drop(kSos);
    headers.PutFirst(tables);
    headers.scan = {0xFF, kEoi};
    image.TakeTables();
    return headers.Joined() + image.Joined();
  };
  EXPECT_TRUE(Decompress(RepairFrame(apart(kOwn, {}), HuffmanRepair::kAdd).stream, kPicture) ==
              wanted);
  Parts swapped = Parts::Of(source);
  SwapNumbers(swapped);
  const Bytes pair = swapped.Joined() + apart(kPlain, StandardTables());
  EXPECT_EQ(ComparePictures(pair, RepairFrame(pair, HuffmanRepair::kRemove).stream), "");
}

// A pair is coded again as a whole or not at all: the other image may need the tables.
TEST(StreamOddities, PairWithAnImageThatIsRefused) {
  Bytes pair = Make(kOddities[0], Encode(TKMJPG_C_FIELDS));
  pair[FindMarker(pair, kSof0, AnalyseFrame(pair).images[1].begin) + 11] = 0x22;
  for (const auto huffman : {HuffmanRepair::kAdd, HuffmanRepair::kRemove}) {
    const RepairedFrame repaired = RepairFrame(pair, huffman);
    EXPECT_FALSE(repaired.recoded);
    EXPECT_EQ(ComparePictures(pair, repaired.stream), "");
  }
}

TEST(StreamOddities, AnImageThatWouldBeReadWithAnothersHeaderIsRefused) {
  const Bytes source = Encode(TKMJPG_C_FIELDS);
  const size_t second = FindMarker(source, kSof0, AnalyseFrame(source).images[1].begin);
  EXPECT_EQ(AnalyseFrame(Set(source, second + 1, {0xC3})).refusal,
            "image 2: image of type SOF3; only baseline, progressive and arithmetic ones can be "
            "decoded");
}

// The check of repaired frames must see each way in which they can be wrong.
TEST(RepairCheck, SeesWhatIsDifferent) {
  const Bytes source = Encode(TKMJPG_C_FIELDS), odd = Make(kOddities[0], source);
  const Bytes good = RepairFrame(odd, HuffmanRepair::kAdd).stream;
  const ImageAnalysis second = AnalyseFrame(good).images[1];
  const auto at = [&](uint8_t marker) { return FindMarker(good, marker, second.begin); };
  const struct {
    const char* name;
    Bytes original, repaired;
    const char* difference;
  } cases[] = {
      {"nothing", odd, good, ""},
      {"a coefficient", odd, Set(good, second.scan_begin + 9, {0x5A}), "other coefficients"},
      {"a step", odd, Set(good, at(kDqt) + 5, {33}), "other coefficients"},
      {"a Huffman table", odd, Erase(good, at(kDht), 420), ""},
      {"another one", odd, Set(good, at(kDht) + 50, {2, 1}), "other coefficients"},
      {"the size", odd, Set(good, at(kSof0) + 6, {8}), "other coefficients"},
      {"an interval", odd, Set(good, at(kDri) + 5, {1}), "other coefficients"},
      {"an image", odd, Head(good, second.begin), "images are lost"},
      {"the images' order", odd, Slice(good, second.begin, good.size()) + Head(good, second.begin),
       "other coefficients"},
      {"tables that the decoder does not read", source, odd, "decodes to other pixels"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string difference = ComparePictures(c.original, c.repaired);
    ExpectHas(difference, c.difference);
    EXPECT_EQ(difference.empty(), *c.difference == '\0') << difference;
  }
}

bool AllAreDecoded(const Bytes& stream) {
  const FrameAnalysis frame = AnalyseFrame(stream);
  return std::ranges::all_of(frame.Pictures(),
                             [](const ImageAnalysis* image) { return RefusalOf(*image).empty(); });
}

// A frame that is repaired has the picture that it had, however it is damaged.
TEST(RepairCheck, AgreesWithRepair) {
  std::minstd_rand random(5);
  for (const Oddity& oddity : kOddities) {
    const Bytes odd = Make(oddity, Encode(TKMJPG_C_FIELDS));
    for (int round = 0; round < 60; ++round) {
      Bytes stream = odd;
      for (int i = 0; i < 3; ++i) stream[random() % stream.size()] = static_cast<uint8_t>(random());
      if (round % 4 == 0) stream.resize(random() % stream.size());
      for (const auto huffman : {HuffmanRepair::kAdd, HuffmanRepair::kRemove}) {
        const RepairedFrame first = RepairFrame(stream, huffman);
        const Bytes& repaired = first.stream;
        if (first.damage.empty()) {
          ASSERT_EQ(RepairFrame(repaired, huffman).stream, repaired) << oddity.name << round;
        }
        if (!AllAreDecoded(stream)) continue;
        ASSERT_EQ(ComparePictures(stream, repaired), "") << oddity.name << ", round " << round;
      }
    }
  }
}

class OddFilms : public CommandTest {};

TEST_F(OddFilms, RepairSaysWhatItCouldNotDo) {
  const Bytes source = Encode(Mode(5)), own = Reshape(source, AnalyseImage(source, 0), kOwn);
  WriteFile("damaged.jpg", Set(own, AnalyseImage(own, 0).scan_begin + 50, {0xFF, 0x3A}));
  const std::string said = Run("repair damaged.jpg a.jpg").errors;
  ExpectHas(said, "0 recoded without loss");
  ExpectHas(said,
            "damaged.jpg: warning: frame 0, MCU row 0: FF3A in the entropy-coded data at byte");

  // Without tables its numbers of them said nothing; with tables they are wrong. Images of 12 bits
  // are not coded again.
  const size_t sof = FindMarker(source, kSof0), sos = FindMarker(source, kSos);
  const Bytes numbers = Set(Set(source, sof + 4, {12}), sos + 6, {0x11, 1, 0x00, 2, 0x00});
  WriteFile("numbers.jpg", numbers);
  ExpectRefusal("repair numbers.jpg b.jpg -q", 1, "frame 0: image 1 has other coefficients");
  EXPECT_EQ(Output("b.jpg"), numbers);
  RunWell("repair numbers.jpg b.jpg -qf --no-verify");
  EXPECT_NE(Output("b.jpg"), numbers);
}

// Both halves of another program's image as a pair of which the second has no tables of its own.
TEST_F(OddFilms, PairOfAnotherProgram) {
  constexpr size_t kColumnsOfPair = 96, kLines = 128;
  const auto pixels = [this](const std::string& name) {
    EXPECT_EQ(Shell("ffmpeg -v error -y -i " + name + " -f rawvideo -pix_fmt yuvj422p x.yuv").code,
              0);
    return Output("x.yuv");
  };
  if (Shell("ffmpeg -v error -f lavfi -i testsrc2=size=96x256 -frames:v 1 x.ppm && "
            "cjpeg -optimize -restart 1 -sample 2x1 -quality 90 x.ppm >whole.jpg")
          .code != 0) {
    GTEST_SKIP() << "no ffmpeg or no cjpeg";
  }
  Parts first = Parts::Of(Output("whole.jpg")), second = first;
  const size_t seventh = FindMarker(first.scan, kRst0 + 7);
  const size_t half = FindMarker(first.scan, kRst0 + 7, seventh + 2);  // after 16 rows of MCUs
  second.scan = Slice(first.scan, half + 2, first.scan.size());
  first.scan = Head(first.scan, half) + Bytes{0xFF, kEoi};
  for (Parts* image : {&first, &second}) {
    for (Bytes& s : image->segments) {
      if (s[1] == kSof0) s = Set(s, 5, {0, kLines});
    }
  }
  second.TakeTables();
  WriteFile("pair.jpg", first.Joined() + second.Joined());

  RunWell("decode pair.jpg pair.y4m -q");
  RunWell("repair pair.jpg repaired.jpg -q");
  RunWell("decode repaired.jpg repaired.y4m -q");
  const Bytes ours = Output("pair.y4m"), whole = pixels("whole.jpg");
  EXPECT_EQ(ours, Output("repaired.y4m"));
  ASSERT_EQ(whole.size(), kColumnsOfPair * kLines * 4);
  const size_t header = ours.size() - whole.size();
  for (size_t i = 0; i < kColumnsOfPair * 2 * kLines; ++i) {  // luma; the first image on odd lines
    const size_t line = i / kColumnsOfPair, from = line / 2 + (line % 2 == 0 ? kLines : 0);
    const int wanted = whole[from * kColumnsOfPair + i % kColumnsOfPair];
    ASSERT_LE(std::abs(ours[header + i] - wanted), 3) << i;
  }
  const Bytes repaired = Output("repaired.jpg");
  WriteFile("second.jpg", Slice(repaired, AnalyseFrame(repaired).images[1].begin, repaired.size()));
  const Bytes alone = pixels("second.jpg");
  ASSERT_EQ(alone.size(), whole.size() / 2);
  EXPECT_TRUE(std::equal(alone.begin(), alone.begin() + kColumnsOfPair * kLines,
                         whole.begin() + kColumnsOfPair * kLines));
}

}  // namespace
}  // namespace tkmjpg::tool
