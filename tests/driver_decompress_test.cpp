// The decompression messages, in both families.
#include <algorithm>

#include "tests/driver_host.h"

namespace {

constexpr uint32_t kYuy2Disable = 0x100000;
constexpr uint32_t kUyvyDisable = 0x200000;
constexpr uint8_t kUnwritten = 0xA5;

constexpr Format kAccepted[] = {
    {16, BI_RGB, TKMJPG_R555, true},
    {16, BI_BITFIELDS, TKMJPG_R555, true, 0, {0x7C00, 0x3E0, 0x1F}},
    {16, BI_BITFIELDS, TKMJPG_R565, true, 0, {0xF800, 0x7E0, 0x1F}},
    {16, Code("YUY2"), TKMJPG_YUY2, false, kYuy2Disable},
    {16, Code("UYVY"), TKMJPG_UYVY, false, kUyvyDisable},
    {24, BI_RGB, TKMJPG_BGR3, true},
    {24, Code("TK24"), TKMJPG_BGR3, true},
    {32, BI_RGB, TKMJPG_BGR4, true},
    {32, BI_BITFIELDS, TKMJPG_BGR4, true, 0, {0xFF0000, 0xFF00, 0xFF}},
};
constexpr Format kRgb24 = kAccepted[5];

constexpr Format kRefused[] = {
    {8, BI_RGB},
    // Without masks: nothing after these headers is read.
    {0, BI_BITFIELDS},
    {1, BI_BITFIELDS},
    {8, BI_BITFIELDS},
    {15, BI_BITFIELDS},
    {24, BI_BITFIELDS},
    {16, Code("yuy2")},
    {16, Code("VYUY")},
    {24, kMjpg},
    {32, Code("YUY2")},
    {16, BI_BITFIELDS, 0, true, 0, {0x1F, 0x3E0, 0x7C00}},
    {32, BI_BITFIELDS, 0, true, 0, {0xFF, 0xFF00, 0xFF0000}},
};

// A stream of a 64 x 48 frame.
std::vector<uint8_t> Stream(uint32_t flags = 0) {
  std::vector<uint8_t> stream(1 << 16);
  stream.resize(CompressBuffer_MJPG(Picture(64 * 48 * 3).data(), 192, stream.data(), 1 << 16, 64,
                                    48, 85, flags, TKMJPG_BGR3, 0, nullptr));
  return stream;
}

const std::vector<uint8_t> kStream = Stream();

Frame NewFrame(const Format& format, LONG width = 64, LONG height = 48, DWORD size_image = 0,
               const std::vector<uint8_t>& data = kStream, GuardAt guard = GuardAt::kEnd) {
  const int size = (width * format.bits / 8 + 3) / 4 * 4 * std::abs(height);
  return {GuardedHeader(Header(24, kMjpg, 64, 48, static_cast<DWORD>(data.size()))),
          GuardedHeader(format, width, height, size_image), GuardedBuffer(data),
          GuardedBuffer(std::vector<uint8_t>(size, kUnwritten), guard)};
}

bool Untouched(const Frame& frame) {
  return frame.to.Bytes() == std::vector<uint8_t>(frame.to.size(), kUnwritten);
}

std::vector<uint8_t> Direct(const Format& format, const std::vector<uint8_t>& data, LONG height,
                            uint32_t flags, CodecCarryState* carry = nullptr) {
  const auto [first, stride] = PackedLines(format, 64, height);
  std::vector<uint8_t> pixels(static_cast<size_t>(48 * 64 * format.bits / 8), kUnwritten);
  DecompressBuffer_MJPG(data.data(), static_cast<uint32_t>(data.size()), pixels.data() + first,
                        stride, 64, 48, flags, format.layout, 0, carry);
  return pixels;
}

class DecompressMessages : public DriverTest {
 protected:
  // The same question in both families.
  void ExpectQuery(const Frame& frame, intptr_t answer) const {
    const ICDECOMPRESSEX& query = frame.extended;
    EXPECT_EQ(driver_.Send(ICM_DECOMPRESS_QUERY, query.lpbiSrc, query.lpbiDst), answer);
    EXPECT_EQ(driver_.Send(ICM_DECOMPRESSEX_QUERY, &query), answer);
  }

  OpenDriver driver_;
};

TEST_F(DecompressMessages, TakeTheListedSourcesAndRefuseOtherOutputs) {
  const std::pair<uint32_t, bool> sources[] = {
      {kMjpg, true},        {Code("mJPG"), true},  {Code("mjpg"), true}, {Code("dmb2"), true},
      {Code("dmb1"), true}, {Code("MJPx"), false}, {BI_RGB, false},      {Code("Mjpg"), false}};
  Frame frame = NewFrame(kRgb24);
  for (const auto& [fourcc, known] : sources) {
    for (const int bits : {0, 1, 8, 16, 24, 32}) {
      *frame.in.get() = Header(bits, fourcc, 64, 48);
      const bool taken = known && (bits == 8 || bits == 16 || bits == 24);
      ExpectQuery(frame, taken ? ICERR_OK : ICERR_BADFORMAT);
      EXPECT_EQ(driver_.Send(ICM_DECOMPRESS_GET_FORMAT, frame.in), taken ? 40 : ICERR_BADFORMAT);
    }
  }
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESS_QUERY), ICERR_BADFORMAT);
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESS_GET_FORMAT), ICERR_BADFORMAT);
  for (const Format& format : kRefused) {
    const Frame refused = NewFrame(format);
    ExpectQuery(refused, ICERR_BADFORMAT);
    EXPECT_EQ(driver_.Send(ICM_DECOMPRESS_BEGIN, refused.in, refused.out), ICERR_BADFORMAT);
    EXPECT_EQ(driver_.Send(ICM_DECOMPRESS, &refused.plain), ICERR_BADFORMAT);
    EXPECT_EQ(refused.out->biSizeImage, 0u);
  }
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESS_END), ICERR_ERROR) << "no refused message opened a series";
}

TEST_F(DecompressMessages, TakeTheWholeFrameUnscaledAndUnhurried) {
  const struct {
    void (*change)(ICDECOMPRESSEX& m);
    intptr_t answer;  // outside a series
    bool passed_over;
  } cases[] = {
      {[](auto&) {}, ICERR_OK, false},
      {[](auto& m) { m.dxSrc = m.dxDst = 64, m.dySrc = m.dyDst = 48; }, ICERR_OK, false},
      {[](auto& m) { m.lpbiDst->biHeight = -48, m.dySrc = 48; }, ICERR_OK, true},
      {[](auto& m) { m.lpbiDst->biWidth = 128, m.dxDst = 64; }, ICERR_OK, true},
      {[](auto& m) { m.lpbiDst->biHeight = 96, m.dyDst = 48; }, ICERR_OK, true},
      {[](auto& m) { m.xDst = 8; }, ICERR_OK, true},
      {[](auto& m) { m.yDst = -8; }, ICERR_OK, true},
      {[](auto& m) { m.dwFlags = ICDECOMPRESS_HURRYUP; }, ICERR_OK, true},
      {[](auto& m) { m.xSrc = 8; }, ICERR_BADPARAM, true},
      {[](auto& m) { m.ySrc = 8; }, ICERR_BADPARAM, true},
      {[](auto& m) { m.dxSrc = m.dxDst = 32; }, ICERR_BADPARAM, false},
      {[](auto& m) { m.dySrc = m.dyDst = 24; }, ICERR_BADPARAM, false},
      {[](auto& m) { m.dxDst = 32; }, ICERR_BADFORMAT, true},
      {[](auto& m) { m.lpbiDst->biWidth = 128; }, ICERR_BADFORMAT, false},
      {[](auto& m) { m.lpbiDst->biHeight = 96; }, ICERR_BADFORMAT, false},
      {[](auto& m) { m.lpbiDst->biSize = 44; }, ICERR_BADFORMAT, false},
      {[](auto& m) { m.lpbiSrc->biHeight = -48; }, ICERR_BADFORMAT, false},
      {[](auto& m) { m.lpbiSrc->biHeight = m.lpbiDst->biHeight = -48; }, ICERR_BADFORMAT, false},
      // The source's format comes first, then its rectangle, then the output.
      {[](auto& m) { m.lpbiSrc->biBitCount = 32, m.xSrc = 8; }, ICERR_BADFORMAT, true},
      {[](auto& m) { m.lpbiSrc->biCompression = 0, m.ySrc = 8; }, ICERR_BADFORMAT, true},
      {[](auto& m) { m.lpbiDst->biSize = 44, m.xSrc = 8; }, ICERR_BADPARAM, true},
      {[](auto& m) { m.lpbiDst->biCompression = 9, m.dySrc = 24; }, ICERR_BADPARAM, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    Frame frame = NewFrame(kRgb24, 128, 96);
    frame.out->biWidth = 64, frame.out->biHeight = 48;
    ASSERT_EQ(driver_.Send(ICM_DECOMPRESSEX_BEGIN, &frame.extended), ICERR_OK);
    c.change(frame.extended);
    EXPECT_EQ(driver_.Send(ICM_DECOMPRESSEX, &frame.extended), ICERR_OK) << "in a series";
    EXPECT_EQ(Untouched(frame), c.passed_over);
    EXPECT_EQ(driver_.Send(ICM_DECOMPRESSEX_END), ICERR_OK);
    EXPECT_EQ(driver_.Send(ICM_DECOMPRESSEX_QUERY, &frame.extended), c.answer);
    EXPECT_EQ(driver_.Send(ICM_DECOMPRESSEX, &frame.extended), c.answer);
    const bool open = c.answer == ICERR_OK && c.passed_over;
    EXPECT_EQ(driver_.Send(ICM_DECOMPRESS_END), open ? ICERR_OK : ICERR_ERROR)
        << "a frame that is passed over leaves its series open";
  }
  Frame frame = NewFrame(kRgb24);
  frame.plain.dwFlags = ICDECOMPRESS_HURRYUP;
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESS, &frame.plain), ICERR_OK);
  EXPECT_FALSE(Untouched(frame)) << "the plain message hurries nothing";
}

TEST_F(DecompressMessages, GetFormatAndBeginGiveTheImageSize) {
  constexpr struct {
    LONG width, height;
    DWORD size_image;
  } kFormats[] = {{322, 240, 324 * 3 * 240}, {-322, -240, 324 * 3 * 240}, {INT_MIN, INT_MIN, 0}};
  for (const auto& c : kFormats) {
    const BITMAPINFOHEADER source = {68, c.width, c.height, 1, 16, kMjpg, 99, 0, 0, 3, 4};
    const BITMAPINFOHEADER expected = {40,           c.width, c.height, 1, 24, BI_RGB,
                                       c.size_image, 0,       0,        0, 4};
    const GuardedHeader output(Header(0, 0, 0, 0));
    ASSERT_EQ(driver_.Send(ICM_DECOMPRESS_GET_FORMAT, &source, output), ICERR_OK);
    EXPECT_EQ(std::memcmp(output.get(), &expected, sizeof expected), 0) << c.width;
  }
  constexpr struct {
    int bits;
    LONG height;
    DWORD given, expected;
  } kBegins[] = {
      {24, 240, 0, 232320}, {24, -240, 0, 232320}, {24, 240, 5, 5}, {16, 240, 0, 154560}};
  for (const auto& c : kBegins) {
    const GuardedHeader source(Header(24, kMjpg, 322, 240));
    const GuardedHeader output(Header(c.bits, BI_RGB, 322, c.height, c.given));
    EXPECT_EQ(driver_.Send(ICM_DECOMPRESS_BEGIN, source, output), ICERR_OK);
    EXPECT_EQ(output->biSizeImage, c.expected);
  }
  // A frame outside a series begins one, and the size is given whether or not it is decoded.
  for (const bool series : {true, false}) {
    for (const DWORD flags : {DWORD{0}, DWORD{ICDECOMPRESS_HURRYUP}}) {
      Frame frame = NewFrame(kRgb24);
      frame.extended.dwFlags = flags;
      EXPECT_EQ(driver_.Send(ICM_DECOMPRESSEX, &frame.extended), ICERR_OK);
      EXPECT_EQ(frame.out->biSizeImage, series ? 0 : 64u * 48 * 3);
      if (!series) driver_.Send(ICM_DECOMPRESS_END);
    }
    driver_.Send(ICM_DECOMPRESS_END);
  }
}

TEST_F(DecompressMessages, NullFormatsAreRefusedAndOpenNoSeries) {
  Frame frame = NewFrame(kRgb24);
  frame.plain.lpInput = nullptr;
  frame.plain.lpbiOutput = frame.extended.lpbiDst = nullptr;
  for (const uint32_t needy :
       {ICM_DECOMPRESS, ICM_DECOMPRESSEX, ICM_DECOMPRESSEX_QUERY, ICM_DECOMPRESSEX_BEGIN}) {
    EXPECT_EQ(driver_.Send(needy), ICERR_BADPARAM);
  }
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESS_BEGIN, frame.in), ICERR_BADFORMAT);
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESSEX_BEGIN, &frame.extended), ICERR_BADFORMAT);
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESS, &frame.plain), ICERR_BADFORMAT);
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESSEX, &frame.extended), ICERR_BADFORMAT);
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESS_END), ICERR_ERROR);
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESSEX_END), ICERR_ERROR);
  ExpectQuery(frame, ICERR_OK);
  frame.extended.xSrc = 8;
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESSEX_QUERY, &frame.extended), ICERR_BADPARAM);

  ASSERT_EQ(driver_.Send(ICM_DECOMPRESS_BEGIN, frame.in, frame.out), ICERR_OK);
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESS, &frame.plain), ICERR_BADFORMAT);
  frame.plain.lpbiOutput = frame.out.get();
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESS, &frame.plain), ICERR_OK);
  EXPECT_TRUE(Untouched(frame)) << "no data";
  frame.plain.lpbiInput = nullptr;
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESS, &frame.plain), ICERR_BADFORMAT);
}

TEST_F(DecompressMessages, AFrameIsThatOfTheDirectCallUnlessTheOptionsRefuseItsFormat) {
  constexpr uint32_t kTwoFields = 0x20000;
  for (const auto& data : {kStream, Stream(kTwoFields)}) {
    for (const uint32_t options : {0x84100u, 0u, 0x200u, 0x400u, 0xFFFFu, 0xFF0000FFu, kYuy2Disable,
                                   kUyvyDisable, 0xFFFFFFFFu}) {
      for (const Format& format : kAccepted) {
        for (const LONG height : {48, -48}) {
          const bool taken = (options & format.refused_by) == 0;
          const intptr_t answer = taken ? ICERR_OK : ICERR_BADFORMAT;
          auto expected = Direct(format, data, height, options & 0xFF00);
          if (!taken) std::fill(expected.begin(), expected.end(), kUnwritten);
          driver_.SetOptions(options);
          for (const DWORD size_image : {0u, 1u, 0x7FFFFFFFu, 0x80000000u}) {
            const GuardAt guard = size_image % 2 == 0 ? GuardAt::kEnd : GuardAt::kStart;
            const Frame plain = NewFrame(format, 64, height, size_image, data, guard);
            const Frame extended = NewFrame(format, 64, height, size_image, data, guard);
            ExpectQuery(plain, answer);
            EXPECT_EQ(driver_.Send(ICM_DECOMPRESS, &plain.plain), answer);
            EXPECT_EQ(driver_.Send(ICM_DECOMPRESSEX, &extended.extended), answer);
            EXPECT_EQ(plain.to.Bytes(), expected) << format.bits << ' ' << height << ' ' << options;
            EXPECT_EQ(extended.to.Bytes(), expected);
            EXPECT_EQ(driver_.Send(ICM_DECOMPRESS_END), ICERR_ERROR);
          }
        }
      }
    }
  }
}

TEST_F(DecompressMessages, RowsOfOddWidthsArePaddedToFourBytes) {
  // A query lets the rectangle stand for the frame, so that the lines of the buffer may be longer.
  Frame frame = NewFrame(kRgb24, 67);
  frame.extended.dxSrc = frame.extended.dxDst = 64;
  frame.extended.dySrc = frame.extended.dyDst = 48;
  ASSERT_EQ(driver_.Send(ICM_DECOMPRESSEX, &frame.extended), ICERR_OK);
  const auto packed = Direct(kRgb24, Stream(), 48, 0x4100);
  std::vector<uint8_t> padded(204 * 48, kUnwritten);
  for (int line = 0; line < 48; ++line) {
    std::copy_n(packed.begin() + line * 192, 192, padded.begin() + line * 204);
  }
  EXPECT_EQ(frame.to.Bytes(), padded);
}

TEST_F(DecompressMessages, ASeriesTakesHeadersUnseenAndStaysInTheBuffer) {
  Frame frame = NewFrame(kRgb24);
  ASSERT_EQ(driver_.Send(ICM_DECOMPRESSEX_BEGIN, &frame.extended), ICERR_OK);
  driver_.SetOptions(kYuy2Disable);
  for (const Format& format : kAccepted) {
    for (const LONG height : {48, -48, 40, -40}) {
      for (const LONG width : {64, 60, 16}) {
        const Frame other = NewFrame(format, width, height);
        ASSERT_EQ(driver_.Send(ICM_DECOMPRESS, &other.plain), ICERR_OK);
        const bool fits = width == 64 && std::abs(height) == 48;
        EXPECT_EQ(Untouched(other), !fits) << format.bits << ' ' << width << " x " << height;
      }
    }
  }
  for (const LONG size : {INT_MIN, INT_MAX, 0}) {
    frame.in->biWidth = frame.out->biWidth = size;
    frame.in->biHeight = frame.out->biHeight = 48;
    EXPECT_EQ(driver_.Send(ICM_DECOMPRESS, &frame.plain), ICERR_OK);
    frame.in->biHeight = frame.out->biHeight = size;
    EXPECT_EQ(driver_.Send(ICM_DECOMPRESS, &frame.plain), ICERR_OK);
    EXPECT_TRUE(Untouched(frame)) << size;
  }
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESSEX_END), ICERR_OK);
  EXPECT_EQ(driver_.Send(ICM_DECOMPRESS_END), ICERR_ERROR);
}

TEST_F(DecompressMessages, FramesHaveRulesOfTheirOwn) {
  constexpr Format kBitFields[] = {kAccepted[1], kAccepted[2], kAccepted[8]};
  constexpr auto kBgr = TKMJPG_BGR3;
  struct {
    Format format;
    WORD planes;
    int source_bits;
    uint32_t source;
    intptr_t query;
    bool decoded_in_series;
  } const cases[] = {
      {kRgb24, 1, 8, kMjpg, ICERR_OK, true},
      {kRgb24, 1, 16, kMjpg, ICERR_OK, true},
      {kRgb24, 1, 32, kMjpg, ICERR_BADFORMAT, true},
      {kRgb24, 1, 24, BI_RGB, ICERR_BADFORMAT, true},
      {kRgb24, 1, 0, kMjpg, ICERR_BADFORMAT, false},
      {kRgb24, 1, 15, kMjpg, ICERR_BADFORMAT, false},
      {{24, BI_BITFIELDS, kBgr, true}, 1, 24, kMjpg, ICERR_BADFORMAT, true},
      {{24, Code("YUY2"), kBgr, true}, 1, 24, kMjpg, ICERR_BADFORMAT, true},
      {{1, BI_BITFIELDS}, 1, 24, kMjpg, ICERR_BADFORMAT, false},
      {{15, BI_BITFIELDS}, 1, 24, kMjpg, ICERR_BADFORMAT, false},
      {{32, Code("YUY2")}, 1, 24, kMjpg, ICERR_BADFORMAT, false},
      // Planes count in bit fields alone, and in no query.
      {kBitFields[0], 2, 24, kMjpg, ICERR_OK, false},
      {kBitFields[1], 0, 24, kMjpg, ICERR_OK, false},
      {kBitFields[2], 2, 24, kMjpg, ICERR_OK, false},
      {kAccepted[0], 2, 24, kMjpg, ICERR_OK, true},
      {kAccepted[3], 0, 24, kMjpg, ICERR_OK, true},
      {kRgb24, 2, 24, kMjpg, ICERR_OK, true},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    const auto pixels = Direct(c.format, kStream, 48, 0x4100);
    for (const bool series : {false, true}) {
      const Frame frame = NewFrame(c.format);
      const Frame opens = NewFrame(kRgb24);
      frame.in->biBitCount = static_cast<WORD>(c.source_bits);
      frame.in->biCompression = c.source;
      frame.out->biPlanes = c.planes;
      ExpectQuery(frame, c.query);
      if (series) driver_.Send(ICM_DECOMPRESS_BEGIN, opens.in, opens.out);
      EXPECT_EQ(driver_.Send(ICM_DECOMPRESS, &frame.plain), series ? ICERR_OK : c.query);
      EXPECT_EQ(driver_.Send(ICM_DECOMPRESS_END), series ? ICERR_OK : ICERR_ERROR);
      if (c.decoded_in_series && (series || c.query == ICERR_OK)) {
        EXPECT_EQ(frame.to.Bytes(), pixels);
      } else {
        EXPECT_TRUE(Untouched(frame));
      }
    }
  }
}

TEST_F(DecompressMessages, EachFrameReadsTheOptionsAndCarriesOn) {
  const auto field = Stream(TKMJPG_C_FIELDS | TKMJPG_C_ONE_FIELD);
  const auto fields = Stream(TKMJPG_C_FIELDS);
  const struct {
    uint32_t message;  // before the frame
    uint32_t options;
    const std::vector<uint8_t>& stream;
  } frames[] = {
      {ICM_DECOMPRESS_END, 0x100, field}, {ICM_DECOMPRESS_BEGIN, 0x100, field},
      {ICM_COMPRESS_END, 0, field},       {ICM_COMPRESS_END, 0x4100, field},
      {ICM_COMPRESS_END, 0x400, fields},  {ICM_COMPRESS_END, 0, fields},
      {ICM_COMPRESS_END, 0x100, field},   {ICM_DECOMPRESS_END, 0x100, field},
  };
  CodecCarryState carry = {256, 0};
  for (const auto& f : frames) {
    SCOPED_TRACE(&f - frames);
    const Frame frame = NewFrame(kRgb24, 64, 48, 0, f.stream);
    driver_.SetOptions(f.options);
    driver_.Send(f.message, frame.in, frame.out);
    EXPECT_EQ(driver_.Send(ICM_DECOMPRESS, &frame.plain), ICERR_OK);
    EXPECT_EQ(frame.to.Bytes(), Direct(kRgb24, f.stream, 48, f.options, &carry));
  }
  EXPECT_NE(Direct(kRgb24, field, 48, 0x100, &carry), Direct(kRgb24, field, 48, 0x100))
      << "what is carried can be seen";
}

}  // namespace
