// The compression messages, one after the other.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <random>
#include <vector>

#include "tests/driver_host.h"

namespace {

class CompressMessages : public DriverTest {};

constexpr uint32_t kDht = 0x1;
constexpr uint32_t kBitrate = 0x1000000;
constexpr uint32_t kQualityAsSize = 0x2000000;
constexpr uint32_t kAnyHeight = 0x4000000;
constexpr uint32_t kMjpg = Code("MJPG");

struct Input {
  int bits;
  uint32_t compression;
  uint32_t layout = 0;  // of the direct call
  bool rgb = false;     // bottom-up with a positive height
};

constexpr Input kAccepted[] = {
    {16, BI_RGB, TKMJPG_R555, true},        {16, Code("YUY2"), TKMJPG_YUY2, false},
    {16, Code("VYUY"), TKMJPG_YUY2, false}, {16, Code("UYVY"), TKMJPG_UYVY, false},
    {16, Code("YUV2"), TKMJPG_UYVY, false}, {24, BI_RGB, TKMJPG_BGR3, true},
    {24, Code("TK24"), TKMJPG_BGR3, true},  {32, BI_RGB, TKMJPG_BGR4, true},
};

constexpr Input kRefused[] = {{0, BI_RGB},        {1, BI_RGB},        {8, BI_RGB},
                              {15, BI_RGB},       {48, BI_RGB},       {0xFFFF, BI_RGB},
                              {16, BI_BITFIELDS}, {16, Code("yuy2")}, {16, Code("YUYV")},
                              {16, Code("TK24")}, {24, Code("YUY2")}, {24, BI_BITFIELDS},
                              {24, Code("MJPG")}, {32, Code("UYVY")}, {32, BI_BITFIELDS}};

constexpr uint32_t kFormatTests[] = {ICM_COMPRESS_QUERY, ICM_COMPRESS_GET_FORMAT,
                                     ICM_COMPRESS_BEGIN};

TEST_F(CompressMessages, TakeTheListedFormatsInTheListedSizes) {
  struct Size {
    LONG width, height;
    bool by_rule, by_any_height;
  };
  const Size sizes[] = {
      {320, 240, true, true},     {-320, 240, true, true},   {16, 8, true, true},
      {320, 244, false, true},    {320, 1, false, true},     {328, 240, false, false},
      {328, 244, false, false},   {1, 8, false, false},      {0, 0, true, true},
      {INT_MIN, 8, true, true},   {16, INT_MIN, true, true}, {INT_MAX, 8, false, false},
      {16, INT_MAX, false, true},
  };
  const OpenDriver driver;
  for (const uint32_t options : {0u, 0x84100u, kAnyHeight, 0xFFFFFFFFu}) {
    driver.SetOptions(options);
    for (const Input& input : kAccepted) {
      for (const Size& size : sizes) {
        for (const int sign : {1, -1}) {
          if (size.height == INT_MIN && sign < 0) continue;
          const GuardedHeader header(
              Header(input.bits, input.compression, size.width, sign * size.height));
          const bool accepted = (options & kAnyHeight) != 0 ? size.by_any_height : size.by_rule;
          for (const uint32_t message : kFormatTests) {
            const intptr_t good = message == ICM_COMPRESS_GET_FORMAT ? 68 : ICERR_OK;
            EXPECT_EQ(driver.Send(message, header.get()), accepted ? good : ICERR_BADFORMAT)
                << message << ": " << size.width << " x " << header->biHeight << ", " << options;
          }
        }
      }
    }
  }
}

TEST_F(CompressMessages, RefuseOtherFormatsAndOutputs) {
  const OpenDriver driver;
  for (const uint32_t message : kFormatTests) {
    EXPECT_EQ(driver.Send(message), ICERR_BADFORMAT);
    for (const Input& input : kRefused) {
      const GuardedHeader header(Header(input.bits, input.compression, 320, 240));
      EXPECT_EQ(driver.Send(message, header.get()), ICERR_BADFORMAT)
          << message << ": " << input.bits << ' ' << input.compression;
    }
  }
  EXPECT_EQ(driver.Send(ICM_COMPRESS_END), ICERR_ERROR) << "no refused begin opened a series";
  const GuardedHeader input(Header(24, BI_RGB, 320, -240));
  const struct {
    uint32_t compression;
    LONG width, height;
  } outputs[] = {{kMjpg, 320, -240}, {Code("mjpg"), 320, -240}, {kMjpg, 320, 240},
                 {kMjpg, 336, -240}, {BI_RGB, 320, -240},       {kMjpg, -320, -240}};
  for (const auto& output : outputs) {
    const GuardedHeader header(Header(24, output.compression, output.width, output.height));
    const intptr_t answer = &output == outputs ? ICERR_OK : ICERR_BADFORMAT;
    EXPECT_EQ(driver.Send(ICM_COMPRESS_QUERY, input.get(), header.get()), answer);
    EXPECT_EQ(driver.Send(ICM_COMPRESS_BEGIN, input.get(), header.get()), answer);
  }
}

TEST_F(CompressMessages, GetFormatFillsTheExtendedHeader) {
  const OpenDriver driver;
  BITMAPINFOHEADER input = Header(16, Code("YUY2"), 320, -240, 77);
  input.biXPelsPerMeter = 5;
  input.biYPelsPerMeter = 6;
  input.biClrUsed = 7;
  input.biClrImportant = 8;
  const GuardedBuffer output(68);
  ASSERT_EQ(driver.Send(ICM_COMPRESS_GET_FORMAT, &input, output.data()), ICERR_OK);
  const uint32_t expected[17] = {68, 320, 0xFFFFFF10, 0x180001, kMjpg, 115200, 5, 6, 0,
                                 8,  44,  24,         0,        2,     8,      2, 1};
  EXPECT_EQ(std::memcmp(output.data(), expected, 68), 0);
}

TEST_F(CompressMessages, GetSizeIsBytesOfTheOutputsDepth) {
  const struct {
    LONG width, height;
    int bits;
    uint32_t size;
  } cases[] = {
      {320, 240, 24, 230400}, {-320, -240, 24, 230400},  {320, 240, 25, 307200},  {3, 5, 1, 15},
      {3, 5, 0, 0},           {INT_MIN, INT_MIN, 24, 0}, {65536, 65537, 8, 65536}};
  const OpenDriver driver;
  for (const auto& c : cases) {
    const GuardedHeader input(Header(1, 99, c.width, c.height));
    const GuardedHeader output(Header(c.bits, 0, 0, 0));
    EXPECT_EQ(driver.Send(ICM_COMPRESS_GET_SIZE, input.get(), output.get()), intptr_t{c.size});
  }
  const GuardedHeader format(Header(24, BI_RGB, 320, 240));
  EXPECT_EQ(driver.Send(ICM_COMPRESS_GET_SIZE, format.get()), 0);
  EXPECT_EQ(driver.Send(ICM_COMPRESS_GET_SIZE, intptr_t{0}, Param(format.get())), 0);
}

// One ICM_COMPRESS with its buffers, each as large as the formats say and no byte larger.
struct Frame {
  Frame(const Input& input, LONG width, LONG height, DWORD size_image, size_t room)
      : in(Header(input.bits, input.compression, width, height, size_image)),
        out(Header(0, kMjpg, width, height, 12345)),
        pixels(static_cast<size_t>(std::abs(width) * std::abs(height) * input.bits / 8)),
        stream(room) {
    std::minstd_rand random(7);
    for (size_t i = 0; i < pixels.size(); ++i) {
      pixels.data()[i] = static_cast<uint8_t>(i / 3 + random() % 16);
    }
    message.lpbiInput = in.get();
    message.lpInput = pixels.data();
    message.lpbiOutput = out.get();
    message.lpOutput = stream.data();
    message.lpckid = &chunk;
    message.lpdwFlags = &flags;
    message.dwQuality = 7500;
  }
  std::vector<uint8_t> Result() const { return {stream.data(), stream.data() + out->biSizeImage}; }

  GuardedHeader in, out;
  GuardedBuffer pixels, stream;
  DWORD chunk = 0, flags = 0;
  ICCOMPRESS message = {};
};

std::vector<uint8_t> Direct(const Input& input, const Frame& frame, uint32_t flags, int quality) {
  const int width = std::abs(frame.in->biWidth), height = std::abs(frame.in->biHeight);
  const int row = width * input.bits / 8;
  const bool bottom_up = input.rgb && frame.in->biHeight > 0;
  const uint8_t* top = frame.pixels.data() + (bottom_up ? (height - 1) * row : 0);
  std::vector<uint8_t> stream(1 << 20);
  stream.resize(CompressBuffer_MJPG(top, bottom_up ? -row : row, stream.data(), 1 << 20, width,
                                    height, quality, flags, input.layout, 0, nullptr));
  return stream;
}

TEST_F(CompressMessages, AFrameIsThatOfTheDirectCall) {
  const struct {
    uint32_t options;
    DWORD frame_size, quality;
    uint32_t flags;
    int value;
  } modes[] = {
      {0x84100, 0, 7500, 0, 75},
      {kDht | kAnyHeight, 5000, 7500, 1, 75},
      {kBitrate | 0x80, 900, 7500, 0x10080, 900},
      {kBitrate, 0, 7500, 0, 75},
      {kQualityAsSize, 900, 75, 0x10000, 750},
      {kBitrate | kQualityAsSize, 900, 75, 0x10000, 900},
      {0xFFFFFFFF & ~kBitrate, 0, 100, 0x100FF, 1000},
  };
  for (const Input& input : kAccepted) {
    for (const LONG width : {16, 64, -64}) {
      for (const LONG height : {16, 64, -16, -64}) {
        const auto exact = static_cast<DWORD>(std::abs(width * height) * input.bits / 8);
        // Capacities that the stream fits; RGB may leave its size out.
        for (const DWORD size_image : {0u, exact, exact + 4096, 0u - exact}) {
          for (const auto& mode : modes) {
            const OpenDriver driver;
            driver.SetOptions(mode.options);
            Frame frame(input, width, height, size_image,
                        static_cast<size_t>(std::abs(width * height) * 3));
            frame.message.dwFrameSize = mode.frame_size;
            frame.message.dwQuality = mode.quality;
            ASSERT_EQ(driver.Send(ICM_COMPRESS, &frame.message), ICERR_OK);
            const auto expected = Direct(input, frame, mode.flags, mode.value);
            const bool tight = size_image == exact || size_image == 0u - exact;
            const size_t room = frame.stream.size();
            const bool fits = expected.size() <= (tight ? std::min<size_t>(exact, room) : room);
            EXPECT_EQ(frame.Result(), fits ? expected : std::vector<uint8_t>())
                << input.bits << ' ' << width << " x " << height << ' ' << size_image << ' '
                << mode.options;
            EXPECT_EQ(frame.out->biSize, 68u);
            EXPECT_EQ(frame.out->biBitCount, 24);
            EXPECT_EQ(frame.chunk, 0x6264u);
            EXPECT_EQ(frame.flags, 0x10u);
          }
        }
      }
    }
  }
}

TEST_F(CompressMessages, QualityIsHundredthsWithinOneToHundred) {
  const struct {
    DWORD given;
    int quality;
  } cases[] = {{0, 1},       {99, 1},      {199, 1},          {200, 2},         {9999, 99},
               {10000, 100}, {10100, 100}, {0x80000000, 100}, {0xFFFFFFFF, 100}};
  const OpenDriver driver;
  for (const auto& c : cases) {
    Frame frame(kAccepted[1], 64, 64, 0, 64 * 64 * 3);
    frame.message.dwQuality = c.given;
    ASSERT_EQ(driver.Send(ICM_COMPRESS, &frame.message), ICERR_OK);
    EXPECT_EQ(frame.Result(), Direct(kAccepted[1], frame, 0, c.quality)) << c.given;
  }
  driver.SetOptions(kQualityAsSize);
  Frame frame(kAccepted[1], 64, 64, 0, 64 * 64 * 3);
  frame.message.dwQuality = static_cast<DWORD>(ICQUALITY_DEFAULT);
  ASSERT_EQ(driver.Send(ICM_COMPRESS, &frame.message), ICERR_OK);
  EXPECT_EQ(frame.Result(), Direct(kAccepted[1], frame, 0x10000, 100000));
}

TEST_F(CompressMessages, AFrameThatDoesNotFitIsEmptyAndWritesNothingBehindItsRoom) {
  const OpenDriver driver;
  Frame whole(kAccepted[5], 64, -64, 0, 64 * 64 * 3);
  ASSERT_EQ(driver.Send(ICM_COMPRESS, &whole.message), ICERR_OK);
  const DWORD size = whole.out->biSizeImage;
  ASSERT_GT(size, 0u);
  for (const DWORD room : {size, size - 1, 100u, 1u}) {
    Frame frame(kAccepted[5], 64, -64, room, room);
    ASSERT_EQ(driver.Send(ICM_COMPRESS, &frame.message), ICERR_OK);
    EXPECT_EQ(frame.out->biSizeImage, room == size ? size : 0u);
    EXPECT_EQ(frame.chunk, 0x6264u);
    EXPECT_EQ(frame.flags, 0x10u);
  }
}

TEST_F(CompressMessages, SizesBeyondAnyFrameGiveEmptyOnes) {
  const OpenDriver driver;
  driver.SetOptions(kAnyHeight);
  const std::pair<LONG, LONG> sizes[] = {
      {0, 0},      {INT_MIN, 8}, {16, INT_MIN},      {16, INT_MAX}, {16, -65536},
      {65536, 16}, {-65536, -8}, {INT_MIN, INT_MIN}, {0, 16},       {16, 0}};
  for (const Input& input : kAccepted) {
    for (const auto& [width, height] : sizes) {
      Frame frame(input, 16, 16, 16, 16);
      frame.in->biWidth = frame.out->biWidth = width;
      frame.in->biHeight = frame.out->biHeight = height;
      EXPECT_EQ(driver.Send(ICM_COMPRESS, &frame.message), ICERR_OK) << width << " x " << height;
      EXPECT_EQ(frame.out->biSizeImage, 0u);
    }
  }
}

TEST_F(CompressMessages, AFrameWithoutWhatItNeedsIsRefusedWhole) {
  const OpenDriver driver;
  EXPECT_EQ(driver.Send(ICM_COMPRESS), ICERR_BADFORMAT);
  Frame frame(kAccepted[5], 64, 64, 0, 64 * 64 * 3);
  for (int missing = 0; missing < 4; ++missing) {
    ICCOMPRESS message = frame.message;
    if (missing == 0) message.lpbiInput = nullptr;
    if (missing == 1) message.lpbiOutput = nullptr;
    if (missing == 2) message.lpInput = nullptr;
    if (missing == 3) message.lpOutput = nullptr;
    EXPECT_EQ(driver.Send(ICM_COMPRESS, &message), ICERR_BADFORMAT);
  }
  EXPECT_EQ(frame.out->biSizeImage, 12345u);
  EXPECT_EQ(frame.chunk, 0u);
  frame.message.lpckid = nullptr;
  frame.message.lpdwFlags = nullptr;
  EXPECT_EQ(driver.Send(ICM_COMPRESS, &frame.message), ICERR_OK);
}

TEST_F(CompressMessages, StatusComesBeforeAndAfterEveryFrameThatIsTaken) {
  static std::vector<std::vector<intptr_t>> calls;
  calls.clear();
  const OpenDriver driver;
  ICSETSTATUSPROC status = {};
  status.lParam = 4711;
  status.Status = [](LPARAM parameter, UINT message, LONG l) -> LONG {
    calls.push_back({parameter, message, l});
    return 1;
  };
  ASSERT_EQ(driver.Send(ICM_SET_STATUS_PROC, &status, intptr_t{sizeof status}), ICERR_OK);
  Frame frame(kAccepted[5], 64, 64, 0, 64 * 64 * 3);
  EXPECT_EQ(driver.Send(ICM_COMPRESS, &frame.message), ICERR_OK);
  frame.in->biSizeImage = 1;  // does not fit
  EXPECT_EQ(driver.Send(ICM_COMPRESS, &frame.message), ICERR_OK);
  frame.in->biWidth = 60;  // refused
  EXPECT_EQ(driver.Send(ICM_COMPRESS, &frame.message), ICERR_BADFORMAT);
  const std::vector<intptr_t> start = {4711, 0, 0}, end = {4711, 2, 0};
  EXPECT_EQ(calls, (std::vector{start, end, start, end}));
}

TEST_F(CompressMessages, ASeriesLastsFromBeginToEnd) {
  const OpenDriver driver, other;
  const GuardedHeader input(Header(24, BI_RGB, 64, 64));
  Frame frame(kAccepted[5], 64, 64, 0, 64 * 64 * 3);
  EXPECT_EQ(driver.Send(ICM_COMPRESS_END), ICERR_ERROR);
  EXPECT_EQ(driver.Send(ICM_COMPRESS, &frame.message), ICERR_OK);
  EXPECT_EQ(driver.Send(ICM_COMPRESS_END), ICERR_ERROR) << "a lone frame closes what it opened";
  EXPECT_EQ(driver.Send(ICM_COMPRESS_BEGIN, input.get()), ICERR_OK);
  EXPECT_EQ(driver.Send(ICM_COMPRESS_BEGIN, input.get()), ICERR_OK);
  EXPECT_EQ(other.Send(ICM_COMPRESS_END), ICERR_ERROR) << "series belong to an instance";
  EXPECT_EQ(driver.Send(ICM_COMPRESS, &frame.message), ICERR_OK);
  EXPECT_EQ(driver.Send(ICM_COMPRESS_END), ICERR_OK);
  EXPECT_EQ(driver.Send(ICM_COMPRESS_END), ICERR_ERROR);
}

}  // namespace
