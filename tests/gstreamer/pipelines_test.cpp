// The elements among those of others: peers that code and decode, containers, live sources.
#include <cstdlib>
#include <tuple>

#include "tests/gstreamer/element_harness.h"
#include "tests/temporary_folder.h"

namespace {

// Runs a line to its end. Empty, or the first error.
std::string RunLine(const std::string& line) {
  GError* error = nullptr;
  GstElement* pipeline = gst_parse_launch(line.c_str(), &error);
  if (error != nullptr) {
    std::string text = error->message;
    g_error_free(error);
    return text;
  }
  gst_element_set_state(pipeline, GST_STATE_PLAYING);
  GstBus* bus = gst_element_get_bus(pipeline);
  const std::unique_ptr<GstMessage, Unref> message(gst_bus_timed_pop_filtered(
      bus, 30 * GST_SECOND, static_cast<GstMessageType>(GST_MESSAGE_EOS | GST_MESSAGE_ERROR)));
  std::string result = message == nullptr ? "no end within 30 seconds" : "";
  if (message != nullptr && GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ERROR) {
    gst_message_parse_error(message.get(), &error, nullptr);
    result = error->message;
    g_error_free(error);
  }
  gst_element_set_state(pipeline, GST_STATE_NULL);
  gst_object_unref(bus);
  gst_object_unref(pipeline);
  return result;
}

class GstPipelines : public testing::Test {
 protected:
  std::string File(const std::string& name) const { return folder_.Path(name); }

  // A film of ten pictures, without gaps between lines, through `line`, and how near it came back,
  // as RGB.
  double ThereAndBack(bool interlaced, const std::string& line) const {
    const GstVideoInfo info = InfoOf(RawCaps("Y42B", 192, 128));
    Bytes film;
    for (int i = 0; i < 10; ++i) film = film + BytesOf(NewPicture(info, i).get());
    WriteBytes(File("film.raw"), film);
    const std::string source = "filesrc location=" + File("film.raw") +
                               " ! rawvideoparse format=y42b width=192 height=128 framerate=25/1 " +
                               (interlaced ? "interlaced=true top-field-first=true ! " : "! ");
    const auto raw_file = [&](const char* name) {
      return "videoconvert ! video/x-raw, format=RGB ! filesink location=" + File(name);
    };
    EXPECT_EQ(RunLine(source + raw_file("source.raw")), "");
    const size_t file = line.find("FILE");
    const std::string coded = "location=" + File("film");
    if (file == std::string::npos) {
      EXPECT_EQ(RunLine(source + line + " ! " + raw_file("back.raw")), "");
    } else {
      EXPECT_EQ(RunLine(source + line.substr(0, file) + "filesink " + coded), "");
      EXPECT_EQ(RunLine("filesrc " + coded + line.substr(file + 4) + " ! " + raw_file("back.raw")),
                "");
    }
    return Psnr(ReadBytes(File("source.raw")), ReadBytes(File("back.raw")));
  }

  TemporaryFolder folder_;
};

TEST_F(GstPipelines, PeersAndContainersBringTheFilmBack) {
  const std::pair<bool, const char*> cases[] = {
      {false, "tkmjpgenc quality=90 ! tkmjpgdec"},
      {false, "tkmjpgenc quality=90 threads=3 ! tkmjpgdec"},
      {false, "tkmjpgenc quality=90 ! avdec_mjpeg"},
      {false, "tkmjpgenc quality=90 range=full ! avdec_mjpeg"},
      {false, "tkmjpgenc quality=90 range=full ! jpegdec"},
      {false, "jpegenc quality=90 ! tkmjpgdec"},
      {false, "tkmjpgenc quality=90 ! avimux ! FILE ! avidemux ! tkmjpgdec"},
      {false, "tkmjpgenc quality=90 ! matroskamux ! FILE ! matroskademux ! tkmjpgdec"},
      {false, "tkmjpgenc quality=90 ! avimux ! FILE ! avidemux ! avdec_mjpeg"},
      {false, "jpegenc quality=90 ! avimux ! FILE ! avidemux ! tkmjpgdec range=limited"},
      {true, "tkmjpgenc quality=90 ! tkmjpgdec"},
      {true, "tkmjpgenc quality=90 ! avimux ! FILE ! avidemux ! tkmjpgdec"},
      {true, "tkmjpgenc quality=90 ! matroskamux ! FILE ! matroskademux ! tkmjpgdec"},
      {true, "tkmjpgenc quality=90 range=full ! avimux ! FILE ! avidemux ! tkmjpgdec"},
      {true, "tkmjpgenc quality=90 range=full ! avimux ! FILE ! avidemux ! jpegdec"},
      {true, "tkmjpgenc quality=90 ! avimux ! FILE ! avidemux ! avdec_mjpeg"},
      {true, "tkmjpgenc quality=90 ! matroskamux ! FILE ! matroskademux ! avdec_mjpeg"},
  };
  for (const auto& [interlaced, line] : cases) {
    SCOPED_TRACE(std::string(line) + (interlaced ? ", interlaced" : ""));
    EXPECT_GT(ThereAndBack(interlaced, line), 36);
  }
}

// What FFmpeg writes by default is for others, and it is said so.
TEST_F(GstPipelines, OtherKindsAreRefusedWithTheirReason) {
  const std::pair<const char*, const char*> cases[] = {
      {"video/x-raw, format=I420 ! jpegenc", "only 4:2:2"},
      {"video/x-raw, format=Y444 ! jpegenc", "only 4:2:2"},
      {"video/x-raw, format=GRAY8 ! jpegenc", "only baseline"},
      {"video/x-raw, format=I420 ! avenc_mjpeg", "only the Huffman tables"},
  };
  for (const auto& [line, reason] : cases) {
    const std::string error =
        RunLine(std::string("videotestsrc num-buffers=3 ! ") + line + " ! tkmjpgdec ! fakesink");
    ExpectHas(error, "for another decoder: " + std::string(reason));
  }
}

// As a camera brings frames: live, YUY2, with times of their own, on a clock.
TEST_F(GstPipelines, ALiveSourceRunsThrough) {
  EXPECT_EQ(RunLine("videotestsrc is-live=true do-timestamp=true num-buffers=12 ! "
                    "video/x-raw, format=YUY2, width=640, height=480, framerate=60/1 ! "
                    "tkmjpgenc threads=2 ! queue ! tkmjpgdec ! fakesink sync=true"),
            "");
}

#ifndef __SANITIZE_ADDRESS__
TEST_F(GstPipelines, NothingIsBlacklisted) {
  const std::string out = File("inspect.txt");
  ASSERT_EQ(
      std::system(("GST_REGISTRY=" + File("registry.bin") +
                   " GST_REGISTRY_FORK=yes gst-inspect-1.0 -b > " + out + " 2>&1 && " +
                   "GST_REGISTRY=" + File("registry.bin") + " gst-inspect-1.0 tkmjpg >> " + out)
                      .c_str()),
      0);
  const Bytes text = ReadBytes(out);
  EXPECT_EQ(Count(text, "Total count: 0 blacklisted files"), 1);
  EXPECT_EQ(Count(text, "tkmjpgenc:") + Count(text, "tkmjpgdec:"), 2);
}
#endif

}  // namespace
