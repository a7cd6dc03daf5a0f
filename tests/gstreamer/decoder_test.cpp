#include <tuple>

#include "tests/gstreamer/element_harness.h"

namespace {

constexpr uint32_t kJfif = 7U << TKMJPG_C_MODE_SHIFT;
constexpr uint32_t kPair = TKMJPG_C_FIELDS;  // odd lines first

Bytes Encode(int width, int height, uint32_t flags, int seed = 0) {
  const GstVideoInfo info = InfoOf(RawCaps("YUY2", width, height));
  return CodecStream(info, NewPicture(info, seed).get(), TKMJPG_YUY2, flags, 90);
}

std::string JpegCaps(int width, int height, const std::string& more = "") {
  return "image/jpeg, width=" + std::to_string(width) + ", height=" + std::to_string(height) +
         ", framerate=25/1" + more;
}

// Luma beside that of the picture that Encode made.
double LumaPsnr(const ElementHarness& decoder, GstBuffer* out, int seed = 0) {
  const GstVideoInfo info = decoder.OutputInfo();
  const GstVideoInfo made =
      InfoOf(RawCaps("YUY2", GST_VIDEO_INFO_WIDTH(&info), GST_VIDEO_INFO_HEIGHT(&info)));
  return Psnr(made, NewPicture(made, seed).get(), info, out);
}

TEST(GstDecoder, GivesThePixelsOfTheCodec) {
  const std::tuple<const char*, uint32_t, int> layouts[] = {{"YUY2", TKMJPG_YUY2, 2},
                                                            {"UYVY", TKMJPG_UYVY, 2},
                                                            {"BGR", TKMJPG_BGR3, 3},
                                                            {"BGRx", TKMJPG_BGR4, 4},
                                                            {"BGRA", TKMJPG_BGRA, 4}};
  for (const auto& [format, layout, pixel_bytes] : layouts) {
    for (const uint32_t header_style : {0U, kJfif}) {
      SCOPED_TRACE(std::string(format) + (header_style == 0 ? " AVI1" : " JFIF"));
      const Bytes stream = Encode(64, 40, header_style);
      ElementHarness decoder("tkmjpgdec", "image/jpeg",
                             std::string("video/x-raw, format=") + format);
      const Buffer out = decoder.Through(BufferOf(stream));
      Bytes expected(static_cast<size_t>(64 * 40 * pixel_bytes));
      DecompressBuffer_MJPG(stream.data(), static_cast<uint32_t>(stream.size()), expected.data(),
                            64 * pixel_bytes, 64, 40, header_style == 0 ? 0 : TKMJPG_D_FULL_RANGE,
                            layout, 0, nullptr);
      EXPECT_EQ(BytesOf(out.get()), expected);
    }
  }
}

TEST(GstDecoder, PrefersYuy2AndTakesWhatIsWanted) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "YUY2"},
      {"video/x-raw, format={ BGR, UYVY, YUY2 }", "YUY2"},
      {"video/x-raw, format={ BGRA, BGRx, UYVY }", "UYVY"},
      {"video/x-raw, format={ I420, BGRA, BGR }", "BGR"},
  };
  for (const auto& [wanted, given] : cases) {
    ElementHarness decoder("tkmjpgdec", "image/jpeg", wanted);
    decoder.Through(BufferOf(Encode(32, 16, 0)));
    EXPECT_EQ(decoder.OutputField("format"), given) << wanted;
  }
}

// RGB is made by BT.601: a stream of other colours stays YCbCr for somebody else to convert.
TEST(GstDecoder, ColoursOfTheCapsGoOn) {
  ElementHarness decoder("tkmjpgdec", JpegCaps(32, 16, ", colorimetry=bt709"),
                         "video/x-raw, format=BGR; video/x-raw, format=YUY2");
  decoder.Through(BufferOf(Encode(32, 16, 0)));
  EXPECT_EQ(decoder.OutputField("format"), "YUY2");
  EXPECT_EQ(decoder.OutputField("colorimetry"), "bt709");
}

// The container's size crops; a height that is nearly the image's does not make a field of it.
TEST(GstDecoder, SizesAndFieldsOfContainerAndStream) {
  struct Case {
    const char* what;
    int width, height;  // coded
    uint32_t flags;
    int caps_width, caps_height;  // 0: no such caps
    int out_width, out_height;
    const char* mode;
  };
  const Case cases[] = {
      {"whole", 64, 1080, 0, 64, 1080, 64, 1080, "progressive"},
      {"1080 lines where the container says 1088", 64, 1080, 0, 64, 1088, 64, 1080, "progressive"},
      {"1088 where it says 1080", 64, 1088, 0, 64, 1080, 64, 1080, "progressive"},
      {"pair of 544 for 1080", 64, 1080, kPair, 64, 1080, 64, 1080, "interleaved"},
      {"pair without a container", 64, 96, kPair, 0, 0, 64, 96, "interleaved"},
      {"pair without codes", 64, 96, kPair | kJfif, 0, 0, 64, 96, "interleaved"},
      {"pair without codes in a container", 64, 90, kPair | kJfif, 64, 90, 64, 90, "interleaved"},
      {"odd height in fields", 64, 91, kPair, 64, 91, 64, 91, "interleaved"},
      {"tiny pair", 64, 16, kPair, 64, 16, 64, 16, "interleaved"},
      {"pair as high as its frame, tiny", 64, 8, kPair, 64, 8, 64, 8, "interleaved"},
      {"as low as half a frame, tiny", 64, 8, 0, 64, 8, 64, 8, "progressive"},
      {"one field of a frame", 64, 96, kPair | TKMJPG_C_ONE_FIELD, 64, 96, 64, 96, "interleaved"},
      {"cropped and odd", 64, 48, 0, 63, 47, 63, 47, "progressive"},
      {"odd in the stream", 63, 47, 0, 63, 47, 63, 47, "progressive"},
      {"a container that cannot be true", 64, 48, 0, 720, 576, 64, 48, "progressive"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    ElementHarness decoder(
        "tkmjpgdec", c.caps_width == 0 ? "image/jpeg" : JpegCaps(c.caps_width, c.caps_height));
    // A second field that never comes is interpolated from the second frame on.
    decoder.Through(BufferOf(Encode(c.width, c.height, c.flags)));
    const Buffer out = decoder.Through(BufferOf(Encode(c.width, c.height, c.flags)));
    ASSERT_NE(out, nullptr);
    const GstVideoInfo info = decoder.OutputInfo();
    EXPECT_EQ(GST_VIDEO_INFO_WIDTH(&info), c.out_width);
    EXPECT_EQ(GST_VIDEO_INFO_HEIGHT(&info), c.out_height);
    EXPECT_EQ(decoder.OutputField("interlace-mode"), c.mode);
    EXPECT_GT(LumaPsnr(decoder, out.get()), 40);
    EXPECT_EQ(GST_BUFFER_FLAG_IS_SET(out.get(), GST_VIDEO_BUFFER_FLAG_INTERLACED),
              std::string(c.mode) == "interleaved");
    if (c.out_height == 91) {  // the last line is in neither field
      MappedFrame frame(info, out.get());
      for (int x = 0; x < 64; ++x) EXPECT_EQ(frame.At(0, x, 90), frame.At(0, x, 89));
    }
    EXPECT_TRUE(decoder.Messages().empty());
  }
}

TEST(GstDecoder, AWholeImageWithAFieldCodeIsNoField) {
  for (const int code : {1, 2}) {
    Bytes stream = Encode(64, 48, 0);
    stream[10] = static_cast<uint8_t>(code);
    ElementHarness decoder("tkmjpgdec", JpegCaps(64, 48));
    const Buffer out = decoder.Through(BufferOf(stream));
    EXPECT_GT(LumaPsnr(decoder, out.get()), 36) << code;
  }
}

// Writers differ in which lines come first, and in what the codes mean: the picture tells.
TEST(GstDecoder, FieldsAreWovenAsThePictureAsks) {
  const uint32_t orders[] = {0, TKMJPG_C_SWAP_LINES, TKMJPG_C_CODE2_FIRST,
                             TKMJPG_C_SWAP_LINES | TKMJPG_C_CODE2_FIRST};
  for (const uint32_t order : orders) {
    for (const char* caps : {"image/jpeg", "image/jpeg, width=64, height=96"}) {
      ElementHarness decoder("tkmjpgdec", caps);
      for (int i = 0; i < 3; ++i) {
        const Buffer out = decoder.Through(BufferOf(Encode(64, 96, kPair | order, i)));
        EXPECT_GT(LumaPsnr(decoder, out.get(), i), 36) << order << ", frame " << i;
      }
    }
  }
  // With new caps it is asked once more.
  ElementHarness two("tkmjpgdec", "image/jpeg");
  two.Through(BufferOf(Encode(64, 96, kPair)));
  two.SetCaps(JpegCaps(64, 96));
  const Buffer other = two.Through(BufferOf(Encode(64, 96, kPair | TKMJPG_C_SWAP_LINES)));
  EXPECT_GT(LumaPsnr(two, other.get()), 36);
  ElementHarness told("tkmjpgdec first-image=top", "image/jpeg");  // which is wrong here
  EXPECT_LT(LumaPsnr(told, told.Through(BufferOf(Encode(64, 96, kPair))).get()), 34);
}

// Without vertical detail the even lines come first, as players have it.
TEST(GstDecoder, EvenLinesComeFirstWhereThePictureIsSilent) {
  Bytes pixels(64 * 32 * 2, 128);
  for (size_t y = 0; y < 32; ++y) {
    for (size_t x = 0; x < 64; ++x) pixels[y * 128 + 2 * x] = y % 2 == 0 ? 60 : 180;
  }
  Bytes stream(1 << 16);
  stream.resize(CompressBuffer_MJPG(pixels.data(), 128, stream.data(), 1 << 16, 64, 32, 90,
                                    kPair | TKMJPG_C_SWAP_LINES, TKMJPG_YUY2, 0, nullptr));
  ElementHarness decoder("tkmjpgdec", "image/jpeg");
  const Buffer out = decoder.Through(BufferOf(stream));
  MappedFrame frame(decoder.OutputInfo(), out.get());
  EXPECT_NEAR(frame.At(0, 30, 10), 60, 3);
  EXPECT_NEAR(frame.At(0, 30, 11), 180, 3);
}

TEST(GstDecoder, FieldOrderIsThatOfTheCaps) {
  for (const char* order : {"top-field-first", "bottom-field-first"}) {
    ElementHarness decoder(
        "tkmjpgdec",
        JpegCaps(64, 96, std::string(", interlace-mode=interleaved, field-order=") + order));
    const Buffer out = decoder.Through(BufferOf(Encode(64, 96, kPair | TKMJPG_C_SWAP_LINES)));
    EXPECT_EQ(decoder.OutputField("field-order"), order);
    EXPECT_EQ(GST_BUFFER_FLAG_IS_SET(out.get(), GST_VIDEO_BUFFER_FLAG_TFF), order[0] == 't');
  }
}

TEST(GstDecoder, RangeByProperty_Comment_Caps_Header) {
  Bytes marked = Encode(32, 16, kJfif);
  marked = Insert(marked, 20, {0xFF, 0xFE, 0, 11, 'C', 'S', '=', 'I', 'T', 'U', '6', '0', '1'});
  const Bytes avi1 = Encode(32, 16, 0), jfif = Encode(32, 16, kJfif);
  const std::tuple<const char*, const Bytes&, const char*, bool> cases[] = {
      {"auto", avi1, "", true},
      {"auto", jfif, "", false},
      {"auto", marked, "", true},
      {"auto", jfif, ", colorimetry=bt601", true},
      {"auto", avi1, ", colorimetry=1:4:0:0", false},
      {"auto", marked, ", colorimetry=1:4:0:0", true},
      {"full", marked, "", false},
      {"limited", jfif, ", colorimetry=1:4:0:0", true},
  };
  int row = 0;
  for (const auto& [range, stream, colorimetry, limited] : cases) {
    ElementHarness decoder(std::string("tkmjpgdec range=") + range, JpegCaps(32, 16, colorimetry));
    decoder.Through(BufferOf(stream));
    EXPECT_EQ(decoder.OutputInfo().colorimetry.range,
              limited ? GST_VIDEO_COLOR_RANGE_16_235 : GST_VIDEO_COLOR_RANGE_0_255)
        << "row " << row;
    ++row;
  }
}

// What the codec does not read is left to others, with the reason, at the caps or the first frame.
TEST(GstDecoder, RefusesWhatItDoesNotRead) {
  const Bytes good = Encode(32, 16, 0);
  const size_t sof = FindMarker(good, 0xC0), codes = FindMarker(good, 0xC4) + 4 + 17;
  const std::tuple<const char*, Bytes, const char*> cases[] = {
      {"image/jpeg, sof-marker=2", good, "only baseline images"},
      {"image/jpeg, sampling=YCbCr-4:2:0", good, "only 4:2:2"},
      {"image/jpeg, colorspace=GRAY", good, "only YCbCr"},
      {"image/jpeg", Set(good, sof + 1, {0xC2}), "only baseline images"},
      {"image/jpeg", Set(good, sof + 11, {0x22}), "only 4:2:2"},
      {"image/jpeg", Set(good, sof + 11, {0x11}), "only 4:2:2"},
      {"image/jpeg", Set(good, codes, {good[codes + 1], good[codes]}), "Annex K"},
  };
  for (const auto& [caps, stream, reason] : cases) {
    SCOPED_TRACE(reason);
    ElementHarness decoder("tkmjpgdec", caps);
    EXPECT_EQ(decoder.Push(stream), GST_FLOW_NOT_NEGOTIATED);
    EXPECT_EQ(decoder.Waiting(), 0);
    const auto messages = decoder.Messages();
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages[0].rfind("error: This JPEG is for another decoder: ", 0), 0U) << messages[0];
    ExpectHas(messages[0], reason);
  }
}

// So that automatic plugging takes another decoder from the start, and this one never first.
TEST(GstDecoder, IsPluggedForItsOwnKindOnlyAndNotFirst) {
  GstElementFactory* factory = gst_element_factory_find("tkmjpgdec");
  ASSERT_NE(factory, nullptr);
  EXPECT_EQ(gst_plugin_feature_get_rank(GST_PLUGIN_FEATURE(factory)), GST_RANK_MARGINAL);
  const std::pair<const char*, bool> cases[] = {
      {"image/jpeg, sof-marker=0, colorspace=sYUV, sampling=YCbCr-4:2:2, width=8", true},
      {"image/jpeg, sof-marker=0, colorspace=sYUV, sampling=YCbCr-4:2:0, width=8", false},
      {"image/jpeg, sof-marker=2, colorspace=sYUV, sampling=YCbCr-4:2:2, width=8", false},
      {"image/jpeg, width=8", false},
  };
  for (const auto& [text, taken] : cases) {
    const Caps caps(gst_caps_from_string(text));
    EXPECT_EQ(gst_element_factory_can_sink_all_caps(factory, caps.get()), taken) << text;
  }
  gst_object_unref(factory);
}

// The frames around damage come out as they are, and damage is told frame by frame.
TEST(GstDecoder, DamageIsCountedAndShownAndNeverFatal) {
  const Bytes good = Encode(64, 48, 0), pair = Encode(64, 48, kPair);
  const size_t scan = FindMarker(good, 0xDA) + 14, size = FindMarker(good, 0xC0) + 5;
  const std::tuple<const char*, Bytes, const Bytes&, bool> cases[] = {
      {"noise", Noise(5000, 3), good, false},
      {"one byte", {0xFF}, good, false},
      {"headers only", Head(good, scan - 20), good, false},
      {"cut in the scan", Head(good, scan + 100), good, true},
      {"no EOI", Erase(good, FindMarker(good, 0xD9), 2), good, true},
      {"a marker in the scan", Set(good, scan + 50, {0xFF, 0xC7}), good, true},
      {"a restart marker in the scan", Set(good, scan + 50, {0xFF, 0xD0}), good, true},
      {"another size in SOF0", Set(good, size, {0x7F, 0xF8, 0x7F, 0xF0}), good, false},
      {"no second field", Head(pair, pair.size() / 2 - 40), pair, true},
  };
  for (const auto& [what, damaged, whole, shown] : cases) {
    SCOPED_TRACE(what);
    ElementHarness decoder("tkmjpgdec name=d", "image/jpeg");
    const Bytes expected = BytesOf(decoder.Through(BufferOf(whole)).get());
    for (int i = 0; i < 3; ++i) EXPECT_EQ(decoder.Push(damaged), GST_FLOW_OK);
    ASSERT_EQ(decoder.Waiting(), shown ? 3 : 0);
    for (int i = 0; i < decoder.Waiting();) {
      const Buffer out = decoder.Pull();
      EXPECT_EQ(gst_buffer_get_size(out.get()), expected.size());
      EXPECT_TRUE(GST_BUFFER_FLAG_IS_SET(out.get(), GST_BUFFER_FLAG_CORRUPTED));
    }
    EXPECT_EQ(BytesOf(decoder.Through(BufferOf(whole)).get()), expected);
    const auto messages = decoder.Messages();
    EXPECT_EQ(messages.size(), 3U);
    for (size_t i = 0; i < messages.size(); ++i) {
      const std::string begin = "warning: Frame " + std::to_string(i + 1) + " is damaged: ";
      EXPECT_EQ(messages[i].rfind(begin, 0), 0U) << messages[i];
    }
    guint64 count = 0;
    GstElement* element = gst_harness_find_element(decoder.get(), "tkmjpgdec");
    g_object_get(element, "damaged-frames", &count, nullptr);
    gst_object_unref(element);
    EXPECT_EQ(count, 3U);
  }
}

// Frames come in memory that was used before; what damage leaves out of them is black.
TEST(GstDecoder, WhatCannotBeDecodedIsBlack) {
  const Bytes good = Encode(63, 48, 0);
  const size_t interval = FindMarker(good, 0xDD) + 4;
  const Bytes damaged = Set(good, interval, {0, 2});  // no restart marker follows
  const std::tuple<const char*, int, int> formats[] = {
      {"YUY2", 16, 128}, {"UYVY", 16, 128}, {"BGR", 0, 0}, {"BGRx", 0, 0}};
  for (const auto& [format, luma, chroma] : formats) {
    SCOPED_TRACE(format);
    ElementHarness decoder("tkmjpgdec", "image/jpeg", std::string("video/x-raw, format=") + format);
    for (int i = 0; i < 3; ++i) decoder.Through(BufferOf(good));
    const Buffer out = decoder.Through(BufferOf(damaged));
    MappedFrame frame(decoder.OutputInfo(), out.get());
    for (const int x : {40, 62}) {
      EXPECT_EQ(frame.At(0, x, 40), luma);
      EXPECT_EQ(frame.At(1, x / (chroma == 0 ? 1 : 2), 40), chroma);
      EXPECT_EQ(frame.At(2, x / (chroma == 0 ? 1 : 2), 40), chroma);
    }
  }
}

// Whatever the bytes are, the next undamaged frame comes out as it is.
TEST(GstDecoder, AnyDamageIsOvercome) {
  std::mt19937 random(20);
  for (const auto& [width, height, flags] : {std::tuple{47, 33, 0U}, {48, 34, kPair}}) {
    const Bytes good = Encode(width, height, flags);
    ElementHarness decoder("tkmjpgdec", JpegCaps(width, height));
    const Bytes expected = BytesOf(decoder.Through(BufferOf(good)).get());
    for (int round = 0; round < 400; ++round) {
      Bytes damaged = good;
      for (int edit = 0; edit < 3 && !damaged.empty(); ++edit) {
        const size_t at = random() % (edit == 0 ? 200 : damaged.size());
        if (random() % 4 == 0)
          damaged.resize(at);
        else
          damaged[at] = static_cast<uint8_t>(random());
      }
      ASSERT_EQ(decoder.Push(damaged), GST_FLOW_OK);
      while (decoder.Pull() != nullptr) {
      }
      decoder.Messages();
    }
    const Buffer out = decoder.Through(BufferOf(good));
    EXPECT_EQ(BytesOf(out.get()), expected);
  }
}

TEST(GstDecoder, AnImpossibleSizeInTheFirstFrameIsNotBelieved) {
  const Bytes good = Encode(64, 48, 0);
  ElementHarness decoder("tkmjpgdec", "image/jpeg");
  const size_t size = FindMarker(good, 0xC0) + 5;
  EXPECT_EQ(decoder.Push(Set(good, size, {0x7F, 0xF8, 0x7F, 0xF0})), GST_FLOW_OK);
  EXPECT_EQ(decoder.Waiting(), 0);
  decoder.Through(BufferOf(good));
  EXPECT_EQ(decoder.OutputField("height"), "48");
}

TEST(GstDecoder, MaxErrorsEndsIt) {
  ElementHarness decoder("tkmjpgdec max-errors=2", "image/jpeg");
  const Bytes noise = Noise(500, 1);
  EXPECT_EQ(decoder.Push(noise), GST_FLOW_OK);
  EXPECT_EQ(decoder.Push(noise), GST_FLOW_OK);
  EXPECT_EQ(decoder.Push(noise), GST_FLOW_ERROR);
  EXPECT_EQ(decoder.Messages().back(), "error: Too many damaged frames.");
}

// A change of size, of kind, and new caps, in the middle.
TEST(GstDecoder, Renegotiates) {
  ElementHarness decoder("tkmjpgdec", "image/jpeg");
  const std::tuple<int, int, uint32_t, const char*> cases[] = {
      {64, 48, 0, "progressive"},
      {96, 32, 0, "progressive"},
      {96, 64, kPair, "interleaved"},
      {64, 48, kJfif, "progressive"},
  };
  for (const auto& [width, height, flags, mode] : cases) {
    const Buffer out = decoder.Through(BufferOf(Encode(width, height, flags)));
    EXPECT_EQ(decoder.OutputField("width"), std::to_string(width));
    EXPECT_EQ(decoder.OutputField("height"), std::to_string(height));
    EXPECT_EQ(decoder.OutputField("interlace-mode"), mode);
    EXPECT_GT(LumaPsnr(decoder, out.get()), 34);
  }
  decoder.SetCaps(JpegCaps(62, 46));
  decoder.Through(BufferOf(Encode(64, 48, 0)));
  EXPECT_EQ(decoder.OutputField("height"), "46");
}

TEST(GstDecoder, GoesOnAfterAFlush) {
  ElementHarness decoder("tkmjpgdec", JpegCaps(64, 48));
  decoder.Through(BufferOf(Encode(64, 48, 0)));
  decoder.Flush();
  const Buffer out = decoder.Through(BufferOf(Encode(64, 48, 0, 5)));
  EXPECT_GT(LumaPsnr(decoder, out.get(), 5), 36);
  EXPECT_TRUE(decoder.Messages().empty());
}

TEST(GstDecoder, WhatFollowsTheFirstImage) {
  const Bytes whole = Encode(64, 48, kJfif), pair = Encode(64, 48, kPair | kJfif);
  const Bytes zeros(20);
  const size_t second = FindMarker(pair, 0xD8, 2);
  const std::tuple<const char*, Bytes, std::string, const char*> cases[] = {
      {"a smaller picture, of a camera", whole + Encode(32, 16, kJfif), "image/jpeg",
       "progressive"},
      {"the same once more", whole + whole, JpegCaps(64, 48), "progressive"},
      {"noise", whole + Noise(300, 9), "image/jpeg", "progressive"},
      {"the second field, after zeros", Insert(pair, second, zeros), "image/jpeg", "interleaved"},
  };
  for (const auto& [what, stream, caps, mode] : cases) {
    SCOPED_TRACE(what);
    ElementHarness decoder("tkmjpgdec", caps);
    const Buffer out = decoder.Through(BufferOf(stream));
    EXPECT_EQ(decoder.OutputField("height"), "48");
    EXPECT_EQ(decoder.OutputField("interlace-mode"), mode);
    EXPECT_GT(LumaPsnr(decoder, out.get()), 34);
    EXPECT_TRUE(decoder.Messages().empty());
  }
}

}  // namespace
