// The compression messages, one after the other.
#include <algorithm>
#include <memory>

#include "tests/driver_host.h"

namespace {

constexpr uint32_t kBitrate = 0x1000000;
constexpr uint32_t kQualityAsSize = 0x2000000;

constexpr Format kAccepted[] = {
    {16, BI_RGB, TKMJPG_R555, true}, {16, Code("YUY2"), TKMJPG_YUY2},
    {16, Code("VYUY"), TKMJPG_YUY2}, {16, Code("UYVY"), TKMJPG_UYVY},
    {16, Code("YUV2"), TKMJPG_UYVY}, {24, BI_RGB, TKMJPG_BGR3, true},
    {32, BI_RGB, TKMJPG_BGR4, true}, {24, Code("TK24"), TKMJPG_BGR3, true},
};
constexpr Format kRgb24 = kAccepted[5];

constexpr Format kRefused[] = {
    {0, BI_RGB},        {8, BI_RGB},        {15, BI_RGB},       {32, BI_BITFIELDS},
    {1, BI_BITFIELDS},  {8, BI_BITFIELDS},  {24, BI_BITFIELDS}, {16, BI_BITFIELDS},
    {16, Code("yuy2")}, {16, Code("TK24")}, {24, Code("YUY2")}, {24, kMjpg},
};

// The capacity is that of 24 bits a pixel, or less if the input's size says so.
Frame NewFrame(const Format& format, LONG width, LONG height, int size_image = 0) {
  const int pixels = std::abs(width * height);
  const int capacity = size_image != 0 ? std::min(std::abs(size_image), pixels * 3) : pixels * 3;
  return {GuardedHeader(format, width, height, size_image),
          GuardedHeader(Header(0, kMjpg, width, height, 12345)),
          GuardedBuffer(Picture(pixels * format.bits / 8)), GuardedBuffer(capacity)};
}

std::vector<uint8_t> Direct(const Format& format, const Frame& frame, uint32_t flags, int value,
                            CodecCarryState* carry = nullptr) {
  const LONG width = frame.in->biWidth, height = frame.in->biHeight;
  const auto [first, stride] = PackedLines(format, width, height);
  std::vector<uint8_t> stream(1 << 20);
  stream.resize(CompressBuffer_MJPG(frame.from.data() + first, stride, stream.data(), 1 << 20,
                                    std::abs(width), std::abs(height), value, flags, format.layout,
                                    0, carry));
  return stream;
}

std::vector<uint8_t> Coded(const Frame& frame) {
  return {frame.to.data(), frame.to.data() + frame.out->biSizeImage};
}

class CompressMessages : public DriverTest {
 protected:
  void ExpectInput(const GuardedHeader& input, bool taken) const {
    for (const uint32_t message :
         {ICM_COMPRESS_QUERY, ICM_COMPRESS_GET_FORMAT, ICM_COMPRESS_BEGIN}) {
      const intptr_t good = message == ICM_COMPRESS_GET_FORMAT ? 68 : ICERR_OK;
      EXPECT_EQ(driver_.Send(message, input), taken ? good : ICERR_BADFORMAT)
          << input->biBitCount << ' ' << input->biWidth << " x " << input->biHeight;
    }
  }

  OpenDriver driver_;
};

TEST_F(CompressMessages, TakeTheListedFormatsInTheListedSizes) {
  constexpr struct {
    LONG width, height;
    bool by_rule, by_any_height;
  } kSizes[] = {
      {320, 240, true, true},         {-320, 8, true, true},      {16, -8, true, true},
      {320, -244, false, true},       {16, INT_MAX, false, true}, {328, 240, false, false},
      {INT_MAX, 244, false, false},   {1, -8, false, false},      {0, 0, true, true},
      {INT_MIN, INT_MIN, true, true},
  };
  for (const uint32_t options : {0u, 0x84100u, kAnyHeight, 0xFFFFFFFFu}) {
    driver_.SetOptions(options);
    for (const Format& format : kAccepted) {
      for (const auto& size : kSizes) {
        ExpectInput(GuardedHeader(format, size.width, size.height),
                    (options & kAnyHeight) != 0 ? size.by_any_height : size.by_rule);
      }
    }
  }
}

TEST_F(CompressMessages, RefuseOtherFormatsAndOutputs) {
  EXPECT_EQ(driver_.Send(ICM_COMPRESS_QUERY), ICERR_BADFORMAT);
  for (const Format& format : kRefused) ExpectInput(GuardedHeader(format, 320, 240), false);
  EXPECT_EQ(driver_.Send(ICM_COMPRESS_END), ICERR_ERROR) << "no refused begin opened a series";

  const GuardedHeader input(kRgb24, 320, -240);
  const std::tuple<uint32_t, LONG, LONG, intptr_t> outputs[] = {
      {kMjpg, 320, -240, ICERR_OK},
      {Code("mjpg"), 320, -240, ICERR_BADFORMAT},
      {kMjpg, 320, 240, ICERR_BADFORMAT},
      {kMjpg, 336, -240, ICERR_BADFORMAT}};
  for (const auto& [fourcc, width, height, answer] : outputs) {
    const GuardedHeader output(Header(24, fourcc, width, height));
    EXPECT_EQ(driver_.Send(ICM_COMPRESS_QUERY, input, output), answer);
    EXPECT_EQ(driver_.Send(ICM_COMPRESS_BEGIN, input, output), answer);
  }
}

TEST_F(CompressMessages, GetFormatFillsTheExtendedHeader) {
  const BITMAPINFOHEADER input = {40, 320, -240, 1, 16, Code("YUY2"), 77, 5, 6, 7, 8};
  const GuardedBuffer output(68);
  ASSERT_EQ(driver_.Send(ICM_COMPRESS_GET_FORMAT, &input, output.data()), ICERR_OK);
  const uint32_t expected[17] = {68, 320, 0xFFFFFF10, 0x180001, kMjpg, 115200, 5, 6, 0,
                                 8,  44,  24,         0,        2,     8,      2, 1};
  EXPECT_EQ(std::memcmp(output.data(), expected, 68), 0);
}

TEST_F(CompressMessages, GetSizeIsBytesOfTheOutputsDepth) {
  constexpr struct {
    LONG width, height;
    int bits;
    intptr_t size;
  } kCases[] = {{-320, 240, 24, 230400},   {320, -240, 25, 307200}, {3, 5, 1, 15}, {3, 5, 0, 0},
                {INT_MIN, INT_MIN, 24, 0}, {65536, 65537, 8, 65536}};
  for (const auto& c : kCases) {
    const GuardedHeader input(Header(1, 99, c.width, c.height));
    const GuardedHeader output(Header(c.bits, 0, 0, 0));
    EXPECT_EQ(driver_.Send(ICM_COMPRESS_GET_SIZE, input, output), c.size);
    EXPECT_EQ(driver_.Send(ICM_COMPRESS_GET_SIZE, input), 0);
    EXPECT_EQ(driver_.Send(ICM_COMPRESS_GET_SIZE, nullptr, output), 0);
  }
}

TEST_F(CompressMessages, AFrameIsThatOfTheDirectCallOrEmptyWhenItDoesNotFit) {
  constexpr struct {
    uint32_t options;
    DWORD frame_size, quality;
    uint32_t flags;
    int value;
  } kModes[] = {
      {0x84100, 0, 7500, 0, 75},
      {1 | kAnyHeight, 5000, 7500, 1, 75},
      {kBitrate | 0x80, 900, 7500, 0x10080, 900},
      {kBitrate, 0, 7500, 0, 75},
      {kQualityAsSize, 900, 75, 0x10000, 750},
      {kQualityAsSize, 0, 0xFFFFFFFF, 0x10000, 100000},
      {kBitrate | kQualityAsSize, 900, 75, 0x10000, 900},
      {0xFFFFFFFF & ~kBitrate, 0, 100, 0x100FF, 1000},
      // Quality is hundredths, and then within 1 to 100.
      {0, 0, 199, 0, 1},
      {0, 0, 200, 0, 2},
      {0, 0, 9999, 0, 99},
      {0, 0, 0xFFFFFFFF, 0, 100},
  };
  const std::pair<LONG, LONG> sizes[] = {{16, 16}, {64, -64}, {-64, 64}, {-16, -64}};
  for (const Format& format : kAccepted) {
    for (const auto& [width, height] : sizes) {
      const int exact = std::abs(width * height) * format.bits / 8;
      for (const int size_image : {0, exact, exact + 4096, -exact, 100, 1}) {
        for (const auto& mode : kModes) {
          const OpenDriver driver;
          driver.SetOptions(mode.options);
          Frame frame = NewFrame(format, width, height, size_image);
          frame.compress.dwFrameSize = mode.frame_size;
          frame.compress.dwQuality = mode.quality;
          ASSERT_EQ(driver.Send(ICM_COMPRESS, &frame.compress), ICERR_OK);
          auto expected = Direct(format, frame, mode.flags, mode.value);
          if (expected.size() > frame.to.size()) expected.clear();
          EXPECT_EQ(Coded(frame), expected)
              << format.bits << ' ' << height << ' ' << size_image << ' ' << mode.options;
          EXPECT_EQ(frame.out->biSize, 68u);
          EXPECT_EQ(frame.out->biBitCount, 24);
          EXPECT_EQ(frame.chunk, 0x6264u);
          EXPECT_EQ(frame.flags, 0x10u);
        }
      }
    }
  }
}

TEST_F(CompressMessages, SizesBeyondAnyFrameGiveEmptyOnes) {
  driver_.SetOptions(kAnyHeight);
  const std::pair<LONG, LONG> beyond_any_frame[] = {
      {0, 16},      {16, 0},     {INT_MIN, 8}, {16, INT_MIN},      {16, INT_MAX},
      {16, -65536}, {65536, 16}, {-65536, -8}, {INT_MIN, INT_MIN},
  };
  for (const Format& format : kAccepted) {
    for (const auto& [width, height] : beyond_any_frame) {
      Frame frame = NewFrame(format, 16, 16, 16);
      frame.in->biWidth = frame.out->biWidth = width;
      frame.in->biHeight = frame.out->biHeight = height;
      EXPECT_EQ(driver_.Send(ICM_COMPRESS, &frame.compress), ICERR_OK) << width << " x " << height;
      EXPECT_EQ(frame.out->biSizeImage, 0u);
    }
  }
}

TEST_F(CompressMessages, AFrameWithoutWhatItNeedsIsRefusedWholeWhileOthersTellTheirStatus) {
  static std::vector<intptr_t> calls;
  calls.clear();
  ICSETSTATUSPROC status = {};
  status.lParam = 4711;
  status.Status = [](LPARAM parameter, UINT message, LONG l) -> LONG {
    calls.insert(calls.end(), {parameter, static_cast<intptr_t>(message), l});
    return 1;
  };
  ASSERT_EQ(driver_.Send(ICM_SET_STATUS_PROC, &status, sizeof status), ICERR_OK);
  Frame frame = NewFrame(kRgb24, 64, 64), narrow = NewFrame(kRgb24, 60, 64);
  ICCOMPRESS messages[5] = {frame.compress, frame.compress, frame.compress, frame.compress,
                            narrow.compress};
  messages[0].lpbiInput = nullptr;
  messages[1].lpbiOutput = nullptr;
  messages[2].lpInput = nullptr;
  messages[3].lpOutput = nullptr;
  for (const auto& message : messages) {
    EXPECT_EQ(driver_.Send(ICM_COMPRESS, &message), ICERR_BADFORMAT);
  }
  EXPECT_EQ(driver_.Send(ICM_COMPRESS), ICERR_BADFORMAT);
  EXPECT_EQ(frame.out->biSizeImage, 12345u);
  EXPECT_EQ(frame.chunk, 0u);
  EXPECT_TRUE(calls.empty());
  frame.compress.lpckid = frame.compress.lpdwFlags = nullptr;
  EXPECT_EQ(driver_.Send(ICM_COMPRESS, &frame.compress), ICERR_OK);
  frame.in->biSizeImage = 1;  // does not fit
  EXPECT_EQ(driver_.Send(ICM_COMPRESS, &frame.compress), ICERR_OK);
  EXPECT_EQ(calls, (std::vector<intptr_t>{4711, 0, 0, 4711, 2, 0, 4711, 0, 0, 4711, 2, 0}));
}

// What a status procedure can see of a frame, and harm.
struct Watched {
  std::unique_ptr<GuardedHeader> input;
  Frame* frame;
  void (*harm)(Watched&);
  std::vector<uint32_t> seen;
};

TEST_F(CompressMessages, TheStatusProcedureSeesTheFrameDoneAndCannotHarmIt) {
  void (*const harms[])(Watched&) = {
      [](Watched&) {},
      [](Watched& w) { w.input.reset(); },
      [](Watched& w) { *w.input->get() = Header(99, 99, 16, -8, 1); },
      [](Watched& w) { w.input->get()->biHeight *= -1; },
      [](Watched& w) { w.frame->compress = {}; },
  };
  for (const auto harm : harms) {
    Frame frame = NewFrame(kRgb24, 64, 64);
    const auto expected = Direct(kRgb24, frame, 0, 75);
    Watched watched = {std::make_unique<GuardedHeader>(kRgb24, 64, 64), &frame, harm, {}};
    ICSETSTATUSPROC status = {};
    status.lParam = Param(&watched).value;
    status.Status = [](LPARAM parameter, UINT message, LONG) -> LONG {
      Watched& w = *reinterpret_cast<Watched*>(parameter);
      const BITMAPINFOHEADER& out = *w.frame->out.get();
      w.seen.insert(w.seen.end(), {message, out.biSizeImage, out.biBitCount, w.frame->chunk});
      if (message == ICSTATUS_START) w.harm(w);
      return 1;
    };
    ASSERT_EQ(driver_.Send(ICM_SET_STATUS_PROC, &status, sizeof status), ICERR_OK);
    driver_.SetOptions(0);
    frame.compress.lpbiInput = watched.input->get();
    EXPECT_EQ(driver_.Send(ICM_COMPRESS, &frame.compress), ICERR_OK);
    EXPECT_EQ(Coded(frame), expected);
    EXPECT_EQ(frame.chunk, 0x6264u);
    EXPECT_EQ(frame.flags, 0x10u);
    const auto size = static_cast<uint32_t>(expected.size());
    EXPECT_EQ(watched.seen, (Words{ICSTATUS_START, 12345, 0, 0, ICSTATUS_END, size, 24, 0}));
  }
}

TEST_F(CompressMessages, EachFrameReadsTheOptionsAndCarriesOn) {
  constexpr uint32_t kNone = ICM_DECOMPRESS_END;
  constexpr struct {
    uint32_t message;  // before the frame
    uint32_t options;
    DWORD frame_size;
    uint32_t flags;
    int value;
  } kFrames[] = {
      {kNone, kBitrate, 900, 0x10000, 900},
      {ICM_COMPRESS_BEGIN, kBitrate, 900, 0x10000, 900},
      {kNone, 1, 900, 1, 75},
      {kNone, kQualityAsSize, 0, 0x10000, 75000},
      {kNone, kBitrate | 0x80, 600, 0x10080, 600},
      {kNone, 0, 600, 0, 75},
      {ICM_COMPRESS_END, kBitrate, 600, 0x10000, 600},
  };
  CodecCarryState carry = {256, 0};
  for (const auto& f : kFrames) {
    SCOPED_TRACE(&f - kFrames);
    Frame frame = NewFrame(kRgb24, 64, 64);
    driver_.SetOptions(f.options);
    driver_.Send(f.message, frame.in);
    frame.compress.dwFrameSize = f.frame_size;
    ASSERT_EQ(driver_.Send(ICM_COMPRESS, &frame.compress), ICERR_OK);
    EXPECT_EQ(Coded(frame), Direct(kRgb24, frame, f.flags, f.value, &carry));
  }
  const Frame frame = NewFrame(kRgb24, 64, 64);
  EXPECT_NE(Direct(kRgb24, frame, 0x10000, 900, &carry), Direct(kRgb24, frame, 0x10000, 900))
      << "what is carried can be seen";
}

TEST_F(CompressMessages, ASeriesLastsFromBeginToEnd) {
  const OpenDriver other;
  const GuardedHeader input(kRgb24, 64, 64);
  Frame frame = NewFrame(kRgb24, 64, 64);
  EXPECT_EQ(driver_.Send(ICM_COMPRESS_END), ICERR_ERROR);
  EXPECT_EQ(driver_.Send(ICM_COMPRESS, &frame.compress), ICERR_OK);
  EXPECT_EQ(driver_.Send(ICM_COMPRESS_END), ICERR_ERROR) << "a lone frame closes what it opened";
  EXPECT_EQ(driver_.Send(ICM_COMPRESS_BEGIN, input), ICERR_OK);
  EXPECT_EQ(driver_.Send(ICM_COMPRESS_BEGIN, input), ICERR_OK);
  EXPECT_EQ(other.Send(ICM_COMPRESS_END), ICERR_ERROR) << "series belong to an instance";
  EXPECT_EQ(driver_.Send(ICM_COMPRESS, &frame.compress), ICERR_OK);
  frame.in->biHeight = frame.out->biHeight = 60;
  EXPECT_EQ(driver_.Send(ICM_COMPRESS, &frame.compress), ICERR_BADFORMAT)
      << "tested in a series too";
  EXPECT_EQ(driver_.Send(ICM_COMPRESS_END), ICERR_OK);
  EXPECT_EQ(driver_.Send(ICM_COMPRESS_END), ICERR_ERROR);
}

}  // namespace
