// The decompression messages, in both families.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <vector>

#include "tests/driver_host.h"

namespace {

class DecompressMessages : public DriverTest {};

constexpr uint32_t kMjpg = Code("MJPG");
constexpr uint32_t kYuy2Disable = 0x100000;
constexpr uint32_t kUyvyDisable = 0x200000;

struct Output {
  int bits;
  uint32_t compression;
  uint32_t masks[3] = {};
  uint32_t layout = 0;      // of the direct call
  bool rgb = false;         // bottom-up with a positive height
  uint32_t refused_by = 0;  // option
};

constexpr Output kAccepted[] = {
    {16, BI_RGB, {}, TKMJPG_R555, true, 0},
    {16, BI_BITFIELDS, {0x7C00, 0x3E0, 0x1F}, TKMJPG_R555, true, 0},
    {16, BI_BITFIELDS, {0xF800, 0x7E0, 0x1F}, TKMJPG_R565, true, 0},
    {16, Code("YUY2"), {}, TKMJPG_YUY2, false, kYuy2Disable},
    {16, Code("UYVY"), {}, TKMJPG_UYVY, false, kUyvyDisable},
    {24, BI_RGB, {}, TKMJPG_BGR3, true, 0},
    {24, Code("TK24"), {}, TKMJPG_BGR3, true, 0},
    {32, BI_RGB, {}, TKMJPG_BGR4, true, 0},
    {32, BI_BITFIELDS, {0xFF0000, 0xFF00, 0xFF}, TKMJPG_BGR4, true, 0},
};

constexpr Output kRefused[] = {{8, BI_RGB},
                               {15, BI_RGB},
                               {16, Code("yuy2")},
                               {16, Code("VYUY")},
                               {24, kMjpg},
                               {32, Code("YUY2")},
                               {16, BI_BITFIELDS, {0x1F, 0x3E0, 0x7C00}},
                               {16, BI_BITFIELDS, {0xFF0000, 0xFF00, 0xFF}},
                               {24, BI_BITFIELDS, {0xFF0000, 0xFF00, 0xFF}},
                               {32, BI_BITFIELDS, {0xFF, 0xFF00, 0xFF0000}}};

GuardedHeader OutputHeader(const Output& output, LONG width, LONG height, DWORD size_image = 0) {
  return GuardedHeader(Header(output.bits, output.compression, width, height, size_image),
                       output.compression == BI_BITFIELDS ? output.masks : nullptr);
}

ICDECOMPRESSEX Extended(BITMAPINFOHEADER* source, BITMAPINFOHEADER* output) {
  ICDECOMPRESSEX message = {};
  message.lpbiSrc = source;
  message.lpbiDst = output;
  message.dxSrc = message.dySrc = message.dxDst = message.dyDst = -1;
  return message;
}

// The same question in both families.
void ExpectQuery(const OpenDriver& driver, BITMAPINFOHEADER* source, BITMAPINFOHEADER* output,
                 intptr_t answer) {
  const ICDECOMPRESSEX message = Extended(source, output);
  EXPECT_EQ(driver.Send(ICM_DECOMPRESS_QUERY, source, output), answer);
  EXPECT_EQ(driver.Send(ICM_DECOMPRESSEX_QUERY, &message), answer);
}

TEST_F(DecompressMessages, TakeTheListedSources) {
  const OpenDriver driver;
  for (const uint32_t fourcc : {kMjpg, Code("mJPG"), Code("mjpg"), Code("dmb2"), Code("dmb1"),
                                Code("MJPx"), uint32_t{BI_RGB}, Code("Mjpg")}) {
    const bool known = fourcc != Code("MJPx") && fourcc != BI_RGB && fourcc != Code("Mjpg");
    for (const int bits : {0, 1, 8, 16, 24, 32}) {
      const GuardedHeader source(Header(bits, fourcc, 322, 241));
      const bool good = known && (bits == 8 || bits == 16 || bits == 24);
      ExpectQuery(driver, source.get(), nullptr, good ? ICERR_OK : ICERR_BADFORMAT);
      EXPECT_EQ(driver.Send(ICM_DECOMPRESS_GET_FORMAT, source.get()), good ? 40 : ICERR_BADFORMAT);
    }
  }
  ExpectQuery(driver, nullptr, nullptr, ICERR_BADFORMAT);
  EXPECT_EQ(driver.Send(ICM_DECOMPRESS_GET_FORMAT), ICERR_BADFORMAT);
}

TEST_F(DecompressMessages, TakeTheListedOutputsUnlessTheOptionsRefuseThem) {
  const OpenDriver driver;
  const GuardedHeader source(Header(24, kMjpg, 320, 240));
  for (const uint32_t options : {0u, 0x84100u, kYuy2Disable, kUyvyDisable, 0xFFFFFFFFu}) {
    driver.SetOptions(options);
    for (const LONG height : {240, -240}) {
      for (const Output& output : kAccepted) {
        const bool refused = (options & output.refused_by) != 0;
        ExpectQuery(driver, source.get(), OutputHeader(output, 320, height).get(),
                    refused ? ICERR_BADFORMAT : ICERR_OK);
      }
      for (const Output& output : kRefused) {
        ExpectQuery(driver, source.get(), OutputHeader(output, 320, height).get(), ICERR_BADFORMAT);
      }
    }
  }
}

TEST_F(DecompressMessages, WantTheWholeFrameUnscaled) {
  const OpenDriver driver;
  const struct {
    LONG width, height, out_width, out_height;
    int x_src, y_src, dx_src, dy_src, x_dst, dx_dst, dy_dst;
    intptr_t answer;
  } cases[] = {
      {320, 240, 320, 240, 0, 0, -1, -1, 0, -1, -1, ICERR_OK},
      {320, 240, 320, 240, 0, 0, 320, 240, 0, 320, 240, ICERR_OK},
      {320, 240, 320, -240, 0, 0, 320, 240, 0, -1, -1, ICERR_OK},
      {320, 240, 640, 480, 0, 0, -1, -1, 0, -1, -1, ICERR_BADFORMAT},
      {320, 240, 640, 480, 0, 0, -1, -1, 0, 320, 240, ICERR_OK},  // by its rectangle
      {320, 240, 320, 240, 0, 0, 100, 100, 0, -1, -1, ICERR_BADPARAM},
      {320, 240, 320, 240, 8, 0, -1, -1, 0, -1, -1, ICERR_BADPARAM},
      {320, 240, 320, 240, 0, 8, -1, -1, 0, -1, -1, ICERR_BADPARAM},
      {320, 240, 320, 240, 0, 0, -1, -1, 8, -1, -1, ICERR_OK},
      {320, 240, 320, 240, 0, 0, -1, -1, 0, 160, -1, ICERR_BADFORMAT},
      {320, -240, 320, 240, 0, 0, -1, -1, 0, -1, -1, ICERR_BADFORMAT},
      {320, -240, 320, -240, 0, 0, -1, -1, 0, -1, -1, ICERR_BADFORMAT},
      {320, INT_MIN, 320, INT_MIN, 0, 0, -1, -1, 0, -1, -1, ICERR_BADFORMAT},
      {INT_MIN, 240, INT_MIN, 240, 0, 0, -1, -1, 0, -1, -1, ICERR_OK},
  };
  for (const auto& c : cases) {
    const GuardedHeader source(Header(24, kMjpg, c.width, c.height));
    const GuardedHeader output(Header(24, BI_RGB, c.out_width, c.out_height));
    ICDECOMPRESSEX message = Extended(source.get(), output.get());
    message.xSrc = c.x_src, message.ySrc = c.y_src, message.dxSrc = c.dx_src,
    message.dySrc = c.dy_src, message.xDst = c.x_dst, message.dxDst = c.dx_dst,
    message.dyDst = c.dy_dst;
    EXPECT_EQ(driver.Send(ICM_DECOMPRESSEX_QUERY, &message), c.answer) << &c - cases;
  }
  GuardedHeader source(Header(24, kMjpg, 320, 240)), output(Header(24, BI_RGB, 320, 240));
  output->biSize = 44;
  ExpectQuery(driver, source.get(), output.get(), ICERR_BADFORMAT);
}

TEST_F(DecompressMessages, GetFormatAndBeginGiveTheImageSize) {
  const OpenDriver driver;
  const struct {
    LONG width, height;
    uint32_t size_image;
  } cases[] = {{322, 240, 324 * 3 * 240}, {-322, -240, 324 * 3 * 240}, {INT_MIN, INT_MIN, 0}};
  for (const auto& c : cases) {
    BITMAPINFOHEADER source = Header(16, Code("mjpg"), c.width, c.height, 99);
    source.biSize = 68;
    source.biClrUsed = 3;
    source.biClrImportant = 4;
    const GuardedHeader output(Header(0, 0, 0, 0));
    ASSERT_EQ(driver.Send(ICM_DECOMPRESS_GET_FORMAT, &source, output.get()), ICERR_OK);
    BITMAPINFOHEADER expected = Header(24, BI_RGB, c.width, c.height, c.size_image);
    expected.biClrImportant = 4;
    EXPECT_EQ(std::memcmp(output.get(), &expected, sizeof expected), 0) << c.width;
  }
  const struct {
    int bits;
    LONG height;
    DWORD given, expected;
  } begins[] = {{24, 240, 0, 232320},
                {24, -240, 0, 232320},
                {24, 240, 5, 5},
                {16, 240, 0, 154560},
                {32, 240, 0, 309120}};
  for (const auto& c : begins) {
    const GuardedHeader source(Header(24, kMjpg, 322, 240));
    const GuardedHeader output(Header(c.bits, BI_RGB, 322, c.height, c.given));
    EXPECT_EQ(driver.Send(ICM_DECOMPRESS_BEGIN, source.get(), output.get()), ICERR_OK);
    EXPECT_EQ(output->biSizeImage, c.expected);
  }
}

TEST_F(DecompressMessages, NullFormatsAreRefusedAndOpenNoSeries) {
  const OpenDriver driver;
  const GuardedHeader source(Header(24, kMjpg, 64, 64));
  const ICDECOMPRESSEX extended = Extended(source.get(), nullptr);
  ICDECOMPRESS plain = {};
  plain.lpbiInput = source.get();
  EXPECT_EQ(driver.Send(ICM_DECOMPRESS_BEGIN, source.get()), ICERR_BADFORMAT);
  EXPECT_EQ(driver.Send(ICM_DECOMPRESSEX_BEGIN, &extended), ICERR_BADFORMAT);
  EXPECT_EQ(driver.Send(ICM_DECOMPRESS, &plain), ICERR_BADFORMAT);
  EXPECT_EQ(driver.Send(ICM_DECOMPRESSEX, &extended), ICERR_BADFORMAT);
  const uint32_t needy[] = {ICM_DECOMPRESS, ICM_DECOMPRESSEX, ICM_DECOMPRESSEX_QUERY,
                            ICM_DECOMPRESSEX_BEGIN};
  for (const uint32_t message : needy) EXPECT_EQ(driver.Send(message), ICERR_BADPARAM);
  EXPECT_EQ(driver.Send(ICM_DECOMPRESS_END), ICERR_ERROR);
  EXPECT_EQ(driver.Send(ICM_DECOMPRESSEX_END), ICERR_ERROR);

  const GuardedHeader output(Header(24, BI_RGB, 64, 64));
  ASSERT_EQ(driver.Send(ICM_DECOMPRESS_BEGIN, source.get(), output.get()), ICERR_OK);
  plain.lpbiOutput = output.get();
  EXPECT_EQ(driver.Send(ICM_DECOMPRESS, &plain), ICERR_OK) << "no data: nothing decoded";
  plain.lpbiInput = nullptr;
  EXPECT_EQ(driver.Send(ICM_DECOMPRESS, &plain), ICERR_BADFORMAT);
}

// A stream of a 64 x 48 frame.
std::vector<uint8_t> Stream(uint32_t flags = 0) {
  std::vector<uint8_t> pixels(64 * 48 * 3), stream(1 << 16);
  std::minstd_rand random(3);
  for (size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = static_cast<uint8_t>(i / 40 + random() % 8);
  }
  stream.resize(CompressBuffer_MJPG(pixels.data(), 192, stream.data(), 1 << 16, 64, 48, 85, flags,
                                    TKMJPG_BGR3, 0, nullptr));
  return stream;
}

constexpr uint8_t kUnwritten = 0xA5;

// One frame with its buffers, each as large as the formats say and no byte larger.
struct Frame {
  Frame(const std::vector<uint8_t>& data, const Output& output, LONG width, LONG height,
        DWORD size_image, GuardAt guard = GuardAt::kEnd)
      : source(Header(24, kMjpg, 64, 48, static_cast<DWORD>(data.size()))),
        out(OutputHeader(output, width, height, size_image)),
        stream(data),
        pixels(static_cast<size_t>((width * output.bits / 8 + 3) / 4 * 4 * std::abs(height)),
               guard) {
    std::memset(pixels.data(), kUnwritten, pixels.size());
    plain.lpbiInput = source.get();
    plain.lpInput = stream.data();
    plain.lpbiOutput = out.get();
    plain.lpOutput = pixels.data();
    extended = Extended(source.get(), out.get());
    extended.lpSrc = stream.data();
    extended.lpDst = pixels.data();
  }
  intptr_t Send(const OpenDriver& driver, bool ex) const {
    return ex ? driver.Send(ICM_DECOMPRESSEX, &extended) : driver.Send(ICM_DECOMPRESS, &plain);
  }
  bool Untouched() const {
    return std::all_of(pixels.data(), pixels.data() + pixels.size(),
                       [](uint8_t byte) { return byte == kUnwritten; });
  }

  GuardedHeader source, out;
  GuardedBuffer stream, pixels;
  ICDECOMPRESS plain = {};
  ICDECOMPRESSEX extended = {};
};

std::vector<uint8_t> Direct(const Output& output, const std::vector<uint8_t>& data, LONG height,
                            uint32_t flags) {
  const int row = 64 * output.bits / 8;
  const bool bottom_up = output.rgb && height > 0;
  std::vector<uint8_t> pixels(static_cast<size_t>(48 * row), kUnwritten);
  DecompressBuffer_MJPG(data.data(), static_cast<uint32_t>(data.size()),
                        pixels.data() + (bottom_up ? 47 * row : 0), bottom_up ? -row : row, 64, 48,
                        flags, output.layout, 0, nullptr);
  return pixels;
}

TEST_F(DecompressMessages, AFrameIsThatOfTheDirectCall) {
  const uint32_t kTwoFields = 0x20000;
  for (const auto& data : {Stream(), Stream(kTwoFields)}) {
    for (const Output& output : kAccepted) {
      for (const LONG height : {48, -48}) {
        for (const DWORD size_image : {0u, 1u, 0x7FFFFFFFu, 0x80000000u}) {
          for (const uint32_t options : {0x84100u, 0u, 0x200u, 0x400u, 0xFFFFu, 0xFF0000FFu}) {
            for (const GuardAt guard : {GuardAt::kEnd, GuardAt::kStart}) {
              for (const bool ex : {false, true}) {
                const OpenDriver driver;
                driver.SetOptions(options);
                const Frame frame(data, output, 64, height, size_image, guard);
                ASSERT_EQ(frame.Send(driver, ex), ICERR_OK);
                EXPECT_EQ(frame.pixels.Bytes(), Direct(output, data, height, options & 0xFF00))
                    << output.bits << ' ' << height << ' ' << size_image << ' ' << options;
                EXPECT_EQ(driver.Send(ICM_DECOMPRESS_END), ICERR_ERROR);
              }
            }
          }
        }
      }
    }
  }
}

TEST_F(DecompressMessages, RowsOfOddWidthsArePaddedToFourBytes) {
  // A query lets the rectangle stand for the frame, so that the lines of the buffer may be longer.
  const OpenDriver driver;
  const Frame frame(Stream(), kAccepted[5], 67, 48, 0);
  ICDECOMPRESSEX message = frame.extended;
  message.dxSrc = message.dxDst = 64;
  message.dySrc = message.dyDst = 48;
  ASSERT_EQ(driver.Send(ICM_DECOMPRESSEX, &message), ICERR_OK);
  const auto packed = Direct(kAccepted[5], Stream(), 48, 0x4100);
  for (size_t line = 0; line < 48; ++line) {
    const uint8_t* row = frame.pixels.data() + line * 204;
    ASSERT_EQ(std::memcmp(row, packed.data() + line * 192, 192), 0) << line;
    for (int i = 192; i < 204; ++i) ASSERT_EQ(row[i], kUnwritten) << line;
  }
}

TEST_F(DecompressMessages, PassesOverFramesThatAreNotTheWholeOrHurried) {
  const struct {
    void (*change)(ICDECOMPRESSEX&);
    intptr_t alone;  // the answer outside a series
  } cases[] = {
      {[](ICDECOMPRESSEX& m) { m.xDst = 8; }, ICERR_OK},
      {[](ICDECOMPRESSEX& m) { m.yDst = -8; }, ICERR_OK},
      {[](ICDECOMPRESSEX& m) { m.dxDst = 64; }, ICERR_OK},
      {[](ICDECOMPRESSEX& m) { m.dySrc = 48; }, ICERR_OK},
      {[](ICDECOMPRESSEX& m) { m.xSrc = 8; }, ICERR_BADPARAM},
      {[](ICDECOMPRESSEX& m) { m.dwFlags = ICDECOMPRESS_HURRYUP; }, ICERR_OK},
  };
  for (const auto& c : cases) {
    const OpenDriver driver;
    Frame frame(Stream(), kAccepted[5], 64, 48, 0);
    c.change(frame.extended);
    EXPECT_EQ(frame.Send(driver, true), c.alone);
    EXPECT_EQ(driver.Send(ICM_DECOMPRESSEX_END), c.alone == ICERR_OK ? ICERR_OK : ICERR_ERROR)
        << "a frame that is passed over leaves its series open";
    ASSERT_EQ(driver.Send(ICM_DECOMPRESS_BEGIN, frame.source.get(), frame.out.get()), ICERR_OK);
    EXPECT_EQ(frame.Send(driver, true), ICERR_OK);
    EXPECT_TRUE(frame.Untouched());
  }
  const OpenDriver driver;
  Frame frame(Stream(), kAccepted[5], 64, 48, 0);
  frame.plain.dwFlags = ICDECOMPRESS_HURRYUP;
  EXPECT_EQ(frame.Send(driver, false), ICERR_OK);
  EXPECT_FALSE(frame.Untouched()) << "the plain message hurries nothing";
}

TEST_F(DecompressMessages, ASeriesTakesHeadersUnseenAndStaysInTheBuffer) {
  const OpenDriver driver;
  const Frame begun(Stream(), kAccepted[5], 64, 48, 0);
  ASSERT_EQ(driver.Send(ICM_DECOMPRESSEX_BEGIN, &begun.extended), ICERR_OK);
  driver.SetOptions(kYuy2Disable);
  for (const Output& output : kAccepted) {
    for (const LONG height : {48, -48, 40, -40}) {
      for (const LONG width : {64, 60, 16}) {
        Frame frame(Stream(), output, width, height, 0);
        ASSERT_EQ(frame.Send(driver, false), ICERR_OK);
        const bool fits = width == 64 && std::abs(height) == 48;
        EXPECT_EQ(frame.Untouched(), !fits) << output.bits << ' ' << width << " x " << height;
      }
    }
  }
  for (const LONG size : {INT_MIN, INT_MAX, 0}) {
    Frame frame(Stream(), kAccepted[5], 64, 48, 0);
    frame.source->biWidth = frame.out->biWidth = size;
    EXPECT_EQ(frame.Send(driver, false), ICERR_OK);
    frame.source->biHeight = frame.out->biHeight = size;
    EXPECT_EQ(frame.Send(driver, false), ICERR_OK);
    EXPECT_TRUE(frame.Untouched());
  }
  Frame unknown(Stream(), kAccepted[1], 64, 48, 0);
  unknown.out->biPlanes = 2;
  EXPECT_EQ(unknown.Send(driver, false), ICERR_OK);
  EXPECT_TRUE(unknown.Untouched()) << "bit fields in two planes";
  EXPECT_EQ(driver.Send(ICM_DECOMPRESSEX_END), ICERR_OK);
  EXPECT_EQ(driver.Send(ICM_DECOMPRESS_END), ICERR_ERROR);
}

}  // namespace
