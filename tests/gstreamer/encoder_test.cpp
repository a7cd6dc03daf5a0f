#include <algorithm>
#include <tuple>

#include "tests/gstreamer/element_harness.h"

namespace {

constexpr char kMark[] = "CS=ITU601";

// The stream without the comment that the element puts into each image, and its sizes as before.
Bytes WithoutMarks(Bytes stream) {
  for (;;) {
    const auto mark = std::search(stream.begin(), stream.end(), kMark, kMark + 9);
    if (mark == stream.end()) return stream;
    const auto begin = mark - 7;  // three fill bytes, marker, length
    for (const int field : {20 - 12, 20 - 16}) {
      auto low = begin - field + 3;
      for (int carry = 16; carry != 0; --low) {
        const int value = *low - carry;
        *low = static_cast<uint8_t>(value);
        carry = value < 0 ? 1 : 0;
      }
    }
    stream.erase(begin, mark + 9);
  }
}

TEST(GstEncoder, GivesTheStreamsOfTheCodec) {
  constexpr uint32_t kPair = TKMJPG_C_FIELDS | TKMJPG_C_SWAP_LINES;
  const std::tuple<const char*, const char*, uint32_t, uint32_t> cases[] = {
      {"YUY2", "", TKMJPG_YUY2, 0},
      {"UYVY", "", TKMJPG_UYVY, 0},
      {"VYUY", "", TKMJPG_VYUY, 0},
      {"BGR", "", TKMJPG_BGR3, 0},
      {"BGRx", "", TKMJPG_BGR4, 0},
      {"BGRA", "", TKMJPG_BGRA, 0},
      {"YUY2", ", interlace-mode=interleaved", TKMJPG_YUY2, kPair},
      {"BGR", ", interlace-mode=interleaved, field-order=bottom-field-first", TKMJPG_BGR3, kPair},
  };
  for (const auto& [format, more, layout, flags] : cases) {
    SCOPED_TRACE(std::string(format) + more);
    const std::string caps = RawCaps(format, 50, 34, more);
    const GstVideoInfo info = InfoOf(caps);
    ElementHarness encoder("tkmjpgenc", caps);
    Buffer picture = NewPicture(info);
    const Bytes expected = CodecStream(info, picture.get(), layout, flags, 75);
    const Bytes stream = BytesOf(encoder.Through(std::move(picture)).get());
    EXPECT_EQ(Count(stream, kMark), flags == kPair ? 2 : 1);
    EXPECT_EQ(stream.size() % 8, 0U);
    EXPECT_EQ(WithoutMarks(stream), expected);
  }
}

TEST(GstEncoder, SaysInItsCapsWhatTheStreamIs) {
  ElementHarness encoder("tkmjpgenc", RawCaps("YUY2", 64, 48,
                                              ", interlace-mode=interleaved,"
                                              " field-order=bottom-field-first"));
  encoder.Through(NewPicture(InfoOf(RawCaps("YUY2", 64, 48))));
  const std::pair<const char*, const char*> fields[] = {
      {"parsed", "true"},
      {"sof-marker", "0"},
      {"colorspace", "sYUV"},
      {"sampling", "YCbCr-4:2:2"},
      {"width", "64"},
      {"height", "48"},
      {"framerate", "25/1"},
      {"interlace-mode", "interleaved"},
      {"field-order", "bottom-field-first"},
      {"colorimetry", "bt601"},
      // Of 44 and 24 bytes, YCbCr: FFmpeg then puts the first field on line 0.
      {"codec_data", "2c000000180000000000000002000000080000000200000001000000"},
  };
  for (const auto& [name, value] : fields) EXPECT_EQ(encoder.OutputField(name), value) << name;
}

// Every format and odd size comes back as it was, seen through the decoder.
TEST(GstEncoder, FormatsAndSizesComeBack) {
  for (const char* format : {"YUY2", "UYVY", "VYUY", "Y42B", "I420", "BGR", "BGRx", "BGRA"}) {
    for (const auto& [width, height] : {std::pair{64, 48}, {33, 17}, {1, 1}, {2, 3}, {321, 241}}) {
      const bool rgb = format[0] == 'B';
      const std::string caps = RawCaps(format, width, height);
      SCOPED_TRACE(caps);
      const GstVideoInfo info = InfoOf(caps);
      ElementHarness both("tkmjpgenc quality=95 ! tkmjpgdec", caps,
                          rgb ? "video/x-raw, format=BGRx" : "video/x-raw, format=YUY2");
      const Buffer picture = NewPicture(info);
      const Buffer back = both.Through(Buffer(gst_buffer_copy(picture.get())));
      ASSERT_NE(back, nullptr);
      const GstVideoInfo out = both.OutputInfo();
      EXPECT_EQ(GST_VIDEO_INFO_WIDTH(&out), width);
      EXPECT_EQ(GST_VIDEO_INFO_HEIGHT(&out), height);
      EXPECT_GT(Psnr(info, picture.get(), out, back.get()), rgb ? 30 : 36);
      if (rgb || std::string(format) == "I420") continue;
      for (const int chroma : {1, 2}) {
        EXPECT_GT(Psnr(info, picture.get(), out, back.get(), chroma), 36) << chroma;
      }
    }
  }
}

// The stream has the true width, and nothing of what lies beside the picture.
TEST(GstEncoder, OddWidthsAreExact) {
  for (const char* format : {"YUY2", "VYUY", "Y42B", "I420", "BGRx"}) {
    const std::string caps = RawCaps(format, 33, 17);
    ElementHarness encoder("tkmjpgenc", caps);
    const Bytes stream = BytesOf(encoder.Through(NewPicture(InfoOf(caps), 0, 0x00)).get());
    EXPECT_EQ(BytesOf(encoder.Through(NewPicture(InfoOf(caps), 0, 0xFF)).get()), stream) << format;
    const size_t sof = FindMarker(stream, 0xC0);
    EXPECT_EQ(Slice(stream, sof + 7, sof + 9), (Bytes{0, 33})) << format;
  }
}

TEST(GstEncoder, InterlacedChromaStaysInItsField) {
  const std::string caps = RawCaps("I420", 64, 64, ", interlace-mode=interleaved");
  const GstVideoInfo info = InfoOf(caps);
  Buffer picture = NewPicture(info);
  {  // Red in the even lines, none in the odd ones: in 4:2:0, so are lines of Cr.
    MappedFrame frame(info, picture.get(), GST_MAP_READWRITE);
    for (int y = 0; y < 32; ++y) {
      for (int x = 0; x < 32; ++x) frame.At(2, x, y) = y % 2 == 0 ? 200 : 60;
    }
  }
  ElementHarness both("tkmjpgenc quality=95 ! tkmjpgdec first-image=top", caps);
  const Buffer back = both.Through(std::move(picture));
  MappedFrame frame(both.OutputInfo(), back.get());
  for (int y = 0; y < 64; ++y) EXPECT_NEAR(frame.At(2, 9, y), y % 2 == 0 ? 200 : 60, 6) << y;
}

TEST(GstEncoder, FieldsFollowTheCapsUnlessToldOtherwise) {
  const std::tuple<const char*, const char*, int, const char*> cases[] = {
      {"auto", "progressive", 1, "progressive"},
      {"auto", "interleaved", 2, "interleaved"},
      {"auto", "mixed", 1, "mixed"},  // by the flag of the buffer, which is not set here
      {"progressive", "interleaved", 1, "interleaved"},
      {"interlaced", "progressive", 2, "interleaved"},
  };
  for (const auto& [fields, mode, images, output] : cases) {
    SCOPED_TRACE(std::string(fields) + ", " + mode);
    const std::string caps = RawCaps("YUY2", 64, 48, std::string(", interlace-mode=") + mode);
    ElementHarness encoder(std::string("tkmjpgenc fields=") + fields, caps);
    const Buffer stream = encoder.Through(NewPicture(InfoOf(caps)));
    EXPECT_EQ(Count(BytesOf(stream.get()), "AVI1"), images);
    EXPECT_EQ(encoder.OutputField("interlace-mode"), output);
  }
  const std::string mixed = RawCaps("YUY2", 64, 48, ", interlace-mode=mixed");
  ElementHarness encoder("tkmjpgenc", mixed);
  Buffer picture = NewPicture(InfoOf(mixed));
  GST_BUFFER_FLAG_SET(picture.get(), GST_VIDEO_BUFFER_FLAG_INTERLACED);
  EXPECT_EQ(Count(BytesOf(encoder.Through(std::move(picture)).get()), "AVI1"), 2);
}

TEST(GstEncoder, RefusesFieldsInBuffersOfTheirOwn) {
  ElementHarness encoder("tkmjpgenc", RawCaps("YUY2", 64, 48, ", interlace-mode=fields"));
  EXPECT_EQ(encoder.Push(NewPicture(InfoOf(RawCaps("YUY2", 64, 48)))), GST_FLOW_NOT_NEGOTIATED);
  const auto messages = encoder.Messages();
  ASSERT_FALSE(messages.empty());
  ExpectHas(messages[0], "both have to be in one");
}

// White and black by `colorimetry` are those of the output, and the stream says which they are.
TEST(GstEncoder, RangeIsMarkedAndConverted) {
  const std::tuple<const char*, const char*, const char*, bool> cases[] = {
      {"YUY2", "bt601", "auto", true},    {"YUY2", "1:4:0:0", "auto", false},
      {"Y42B", "bt601", "full", false},   {"YUY2", "bt601", "full", false},
      {"I420", "1:4:0:0", "full", false}, {"UYVY", "1:4:0:0", "limited", true},
      {"YUY2", "bt601", "limited", true},
  };
  for (const auto& [format, colorimetry, range, limited] : cases) {
    SCOPED_TRACE(std::string(format) + " " + colorimetry + " " + range);
    const std::string caps = RawCaps(format, 32, 16, std::string(", colorimetry=") + colorimetry);
    const GstVideoInfo info = InfoOf(caps);
    const bool limited_input = info.colorimetry.range == GST_VIDEO_COLOR_RANGE_16_235;
    Buffer picture = NewPicture(info);
    {
      MappedFrame frame(info, picture.get(), GST_MAP_READWRITE);
      for (int y = 0; y < 16; ++y) {
        for (int x = 0; x < 32; ++x) {
          frame.At(0, x, y) = static_cast<uint8_t>(limited_input ? x < 16 ? 16 : 235
                                                   : x < 16      ? 0
                                                                 : 255);
          if (x < frame.Width(1) && y < frame.Height(1))
            frame.At(1, x, y) = frame.At(2, x, y) = 128;
        }
      }
    }
    ElementHarness encoder(std::string("tkmjpgenc quality=100 range=") + range, caps);
    const Buffer stream = encoder.Through(std::move(picture));
    EXPECT_EQ(Count(BytesOf(stream.get()), kMark), limited ? 1 : 0);
    EXPECT_EQ(Count(BytesOf(stream.get()), "JFIF"), limited ? 0 : 1);
    ElementHarness decoder("tkmjpgdec", "image/jpeg", "video/x-raw, format=YUY2");
    const Buffer back = decoder.Through(Buffer(gst_buffer_copy(stream.get())));
    MappedFrame frame(decoder.OutputInfo(), back.get());
    EXPECT_NEAR(frame.At(0, 4, 4), limited ? 16 : 0, 2);
    EXPECT_NEAR(frame.At(0, 28, 4), limited ? 235 : 255, 2);
    EXPECT_NEAR(frame.At(1, 7, 4), 128, 2);
    EXPECT_EQ(decoder.OutputInfo().colorimetry.range,
              limited ? GST_VIDEO_COLOR_RANGE_16_235 : GST_VIDEO_COLOR_RANGE_0_255);
  }
}

TEST(GstEncoder, FullRangeIsNotOfferedToRgb) {
  ElementHarness encoder("tkmjpgenc range=full", RawCaps("YUY2", 64, 48));
  const Caps caps(gst_pad_peer_query_caps(encoder.get()->srcpad, nullptr));
  const Caps rgb(gst_caps_from_string("video/x-raw, format=BGR"));
  EXPECT_FALSE(gst_caps_can_intersect(caps.get(), rgb.get()));
}

TEST(GstEncoder, RateControlComesNearItsTarget) {
  const std::string caps = RawCaps("YUY2", 320, 240);
  for (const char* option :
       {"target-size=12000", "bitrate=2400000", "target-size=12000 bitrate=1000 threads=4"}) {
    SCOPED_TRACE(option);
    ElementHarness encoder(std::string("tkmjpgenc ") + option, caps);
    for (int i = 0; i < 12; ++i) encoder.Push(NewPicture(InfoOf(caps), i));
    encoder.SendEnd();
    ASSERT_EQ(encoder.Waiting(), 12);
    Buffer last;
    for (int i = 0; i < 12; ++i) last = encoder.Pull();
    EXPECT_NEAR(static_cast<double>(gst_buffer_get_size(last.get())), 12000, 1800);
  }
}

TEST(GstEncoder, HuffmanTablesCanBeLeftOut) {
  const std::string caps = RawCaps("YUY2", 64, 48);
  ElementHarness with("tkmjpgenc", caps), without("tkmjpgenc huffman-tables=false", caps);
  const gsize more = gst_buffer_get_size(with.Through(NewPicture(InfoOf(caps))).get());
  EXPECT_NEAR(
      static_cast<double>(gst_buffer_get_size(without.Through(NewPicture(InfoOf(caps))).get())),
      static_cast<double>(more) - 420, 8);
}

TEST(GstEncoder, AlphaIsKeptOnDemand) {
  const std::string caps = RawCaps("BGRA", 33, 17);
  const GstVideoInfo info = InfoOf(caps);
  for (const bool alpha : {false, true}) {
    ElementHarness both(alpha ? "tkmjpgenc alpha=true fields=interlaced ! tkmjpgdec"
                              : "tkmjpgenc fields=interlaced ! tkmjpgdec",
                        caps, "video/x-raw, format=BGRA");
    const Buffer back = both.Through(NewPicture(info));
    MappedFrame frame(both.OutputInfo(), back.get());
    EXPECT_EQ(frame.At(3, 20, 9), alpha ? PictureSample(3, 20, 9, 0) : 255);
  }
}

// Any number of threads gives the same streams in the same order, and all of them at the end.
TEST(GstEncoder, ThreadsKeepOrderAndBytes) {
  const std::string caps = RawCaps("I420", 160, 120);
  for (const std::string option : {"", "target-size=6000 "}) {
    ElementHarness one("tkmjpgenc " + option, caps);
    ElementHarness four("tkmjpgenc threads=4 " + option, caps);
    for (int i = 0; i < 10; ++i) {
      one.Push(NewPicture(InfoOf(caps), i));
      four.Push(NewPicture(InfoOf(caps), i));
      EXPECT_EQ(four.Waiting(), std::max(0, i + 1 - (option.empty() ? 3 : 1)));
    }
    four.SendEnd();
    ASSERT_EQ(four.Waiting(), 10);
    for (int i = 0; i < 10; ++i) {
      const Buffer expected = one.Pull(), stream = four.Pull();
      EXPECT_EQ(BytesOf(stream.get()), BytesOf(expected.get()));
      EXPECT_EQ(GST_BUFFER_PTS(stream.get()), i * 40 * GST_MSECOND);
    }
  }
}

TEST(GstEncoder, LatencyIsAFrameForEachFurtherThread) {
  for (const int threads : {1, 2, 4}) {
    const std::string caps = RawCaps("YUY2", 64, 48);
    ElementHarness encoder("tkmjpgenc threads=" + std::to_string(threads), caps);
    encoder.Push(NewPicture(InfoOf(caps)));
    EXPECT_EQ(gst_harness_query_latency(encoder.get()), (threads - 1) * 40 * GST_MSECOND);
  }
}

// New caps in the middle: what came before them leaves before them, with its own.
TEST(GstEncoder, RenegotiatesWithFramesUnderWay) {
  const std::string small = RawCaps("YUY2", 64, 48), large = RawCaps("BGR", 96, 80);
  ElementHarness both("tkmjpgenc threads=4 ! tkmjpgdec", small);
  both.Push(NewPicture(InfoOf(small)));
  both.Push(NewPicture(InfoOf(small)));
  EXPECT_EQ(both.Waiting(), 0);
  both.SetCaps(large);
  EXPECT_EQ(both.Waiting(), 2);
  for (int i = 0; i < 2; ++i) {
    EXPECT_EQ(gst_buffer_get_size(both.Pull().get()), 64U * 48 * 2);
  }
  both.Push(NewPicture(InfoOf(large)));
  both.SendEnd();
  EXPECT_EQ(gst_buffer_get_size(both.Pull().get()), 96U * 80 * 2);
  EXPECT_EQ(both.OutputField("width"), "96");
}

TEST(GstEncoder, FlushDropsWhatIsUnderWay) {
  const std::string caps = RawCaps("YUY2", 64, 48);
  ElementHarness encoder("tkmjpgenc threads=4", caps);
  for (int i = 0; i < 3; ++i) encoder.Push(NewPicture(InfoOf(caps), i));
  encoder.Flush();
  encoder.Push(NewPicture(InfoOf(caps), 7));
  encoder.SendEnd();
  ASSERT_EQ(encoder.Waiting(), 1);
  EXPECT_EQ(GST_BUFFER_PTS(encoder.Pull().get()), 3 * 40 * GST_MSECOND);
}

TEST(GstElements, EndOfStreamFirst) {
  for (const char* line : {"tkmjpgenc threads=4", "tkmjpgdec"}) {
    ElementHarness harness(line, line[6] == 'e' ? RawCaps("YUY2", 64, 48) : "image/jpeg");
    EXPECT_TRUE(gst_harness_push_event(harness.get(), gst_event_new_eos())) << line;
    EXPECT_EQ(harness.Waiting(), 0);
    EXPECT_TRUE(harness.Messages().empty());
  }
}

TEST(GstElements, CanBeUsedAgain) {
  const std::string caps = RawCaps("YUY2", 64, 48);
  ElementHarness both("tkmjpgenc threads=2 ! tkmjpgdec", caps);
  Bytes first;
  for (int round = 0; round < 2; ++round) {
    both.Push(NewPicture(InfoOf(caps)));
    both.Push(NewPicture(InfoOf(caps), 1));  // stays under way
    const Buffer back = both.Pull();
    ASSERT_NE(back, nullptr);
    if (round == 0) first = BytesOf(back.get());
    EXPECT_EQ(BytesOf(back.get()), first);
    gst_element_set_state(both.get()->element, GST_STATE_NULL);
    gst_harness_play(both.get());
    gst_harness_push_event(both.get(), gst_event_new_stream_start("again"));
    both.SetCaps(caps);
    both.SendSegment();
  }
}

}  // namespace
