// Runs an element, or a line of them, with made pictures.
#pragma once

#include <gst/check/gstharness.h>
#include <gst/video/video.h>
#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "tests/bytes.h"
#include "tests/expect.h"
#include "tkmjpg.h"

struct Unref {
  void operator()(GstBuffer* buffer) const { gst_buffer_unref(buffer); }
  void operator()(GstCaps* caps) const { gst_caps_unref(caps); }
  void operator()(GstMessage* message) const { gst_message_unref(message); }
};
using Buffer = std::unique_ptr<GstBuffer, Unref>;
using Caps = std::unique_ptr<GstCaps, Unref>;

inline std::string RawCaps(const std::string& format, int width, int height,
                           const std::string& more = "") {
  return "video/x-raw, format=" + format + ", width=" + std::to_string(width) +
         ", height=" + std::to_string(height) + ", framerate=25/1" + more;
}

inline GstVideoInfo InfoOf(const std::string& caps) {
  GstVideoInfo info;
  const Caps parsed(gst_caps_from_string(caps.c_str()));
  EXPECT_TRUE(gst_video_info_from_caps(&info, parsed.get())) << caps;
  return info;
}

// Smooth, different in each component and by `seed`, and never the same from line to line.
inline uint8_t PictureSample(int component, double x, double y, int seed) {
  const double wave = std::sin((x + 11 * seed) / (17 + 9 * component)) +
                      std::cos((y + 3 * component) / (3 + 6 * component));
  return static_cast<uint8_t>(128 + (component == 0 ? 45 : 25) * wave);
}

class MappedFrame {
 public:
  MappedFrame(const GstVideoInfo& info, GstBuffer* buffer, GstMapFlags flags = GST_MAP_READ) {
    EXPECT_TRUE(gst_video_frame_map(&frame_, &info, buffer, flags));
  }
  MappedFrame(const MappedFrame&) = delete;
  ~MappedFrame() { gst_video_frame_unmap(&frame_); }

  int Width(int component) const { return GST_VIDEO_FRAME_COMP_WIDTH(&frame_, component); }
  int Height(int component) const { return GST_VIDEO_FRAME_COMP_HEIGHT(&frame_, component); }
  uint8_t& At(int component, int x, int y) {
    // As its bytes are, Cr first; the description of GStreamer 1.22 has it the other way round.
    if (GST_VIDEO_FRAME_FORMAT(&frame_) == GST_VIDEO_FORMAT_VYUY && component != 0) {
      return static_cast<uint8_t*>(GST_VIDEO_FRAME_PLANE_DATA(
          &frame_,
          0))[y * GST_VIDEO_FRAME_PLANE_STRIDE(&frame_, 0) + 4 * x + (component == 2 ? 0 : 2)];
    }
    return static_cast<uint8_t*>(GST_VIDEO_FRAME_COMP_DATA(
        &frame_, component))[y * GST_VIDEO_FRAME_COMP_STRIDE(&frame_, component) +
                             x * GST_VIDEO_FRAME_COMP_PSTRIDE(&frame_, component)];
  }

 private:
  GstVideoFrame frame_;
};

// `gaps` is what lies between the lines.
inline Buffer NewPicture(const GstVideoInfo& info, int seed = 0, uint8_t gaps = 0xAA) {
  Buffer buffer(gst_buffer_new_allocate(nullptr, GST_VIDEO_INFO_SIZE(&info), nullptr));
  gst_buffer_memset(buffer.get(), 0, gaps, GST_VIDEO_INFO_SIZE(&info));
  MappedFrame frame(info, buffer.get(), GST_MAP_READWRITE);
  for (guint c = 0; c < GST_VIDEO_INFO_N_COMPONENTS(&info); ++c) {
    const int x_step = 1 << GST_VIDEO_FORMAT_INFO_W_SUB(info.finfo, c);
    const int y_step = 1 << GST_VIDEO_FORMAT_INFO_H_SUB(info.finfo, c);
    for (int y = 0; y < frame.Height(static_cast<int>(c)); ++y) {
      for (int x = 0; x < frame.Width(static_cast<int>(c)); ++x) {
        frame.At(static_cast<int>(c), x, y) =
            PictureSample(static_cast<int>(c), x * x_step, y * y_step, seed);
      }
    }
  }
  return buffer;
}

// Of one component. The frames may be of different formats of the same size.
inline double Psnr(const GstVideoInfo& info_a, GstBuffer* a, const GstVideoInfo& info_b,
                   GstBuffer* b, int component = 0) {
  MappedFrame first(info_a, a), second(info_b, b);
  const int width = std::min(first.Width(component), second.Width(component));
  const int height = std::min(first.Height(component), second.Height(component));
  double sum = 0;
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const double off = first.At(component, x, y) - second.At(component, x, y);
      sum += off * off;
    }
  }
  return sum == 0 ? 99 : 10 * std::log10(255.0 * 255.0 * width * height / sum);
}

inline Bytes BytesOf(GstBuffer* buffer) {
  Bytes bytes(gst_buffer_get_size(buffer));
  gst_buffer_extract(buffer, 0, bytes.data(), bytes.size());
  return bytes;
}

inline Buffer BufferOf(const Bytes& bytes) {
  Buffer buffer(gst_buffer_new_allocate(nullptr, bytes.size(), nullptr));
  if (!bytes.empty()) gst_buffer_fill(buffer.get(), 0, bytes.data(), bytes.size());
  return buffer;
}

// What the codec itself makes of a picture.
inline Bytes CodecStream(const GstVideoInfo& info, GstBuffer* picture, uint32_t layout,
                         uint32_t flags, int quality) {
  const Bytes pixels = BytesOf(picture);
  Bytes stream(1 << 22);
  stream.resize(CompressBuffer_MJPG(pixels.data(), GST_VIDEO_INFO_PLANE_STRIDE(&info, 0),
                                    stream.data(), 1 << 22, GST_VIDEO_INFO_WIDTH(&info),
                                    GST_VIDEO_INFO_HEIGHT(&info), quality,
                                    flags | TKMJPG_C_HUFFMAN_TABLES, layout, 0, nullptr));
  return stream;
}

inline int Count(const Bytes& bytes, const std::string& text) {
  int count = 0;
  for (auto at = bytes.begin();; ++at, ++count) {
    at = std::search(at, bytes.end(), text.begin(), text.end());
    if (at == bytes.end()) return count;
  }
}

class ElementHarness {
 public:
  ElementHarness(const std::string& line, const std::string& src_caps,
                 const std::string& sink_caps = "")
      : harness_(gst_harness_new_parse(line.c_str())), bus_(gst_bus_new()) {
    gst_element_set_bus(harness_->element, bus_);
    if (!sink_caps.empty()) gst_harness_set_sink_caps_str(harness_, sink_caps.c_str());
    SetCaps(src_caps);
  }
  ElementHarness(const ElementHarness&) = delete;
  ~ElementHarness() {
    gst_element_set_bus(harness_->element, nullptr);
    gst_object_unref(bus_);
    gst_harness_teardown(harness_);
  }

  GstHarness* get() const { return harness_; }
  void SetCaps(const std::string& caps) { gst_harness_set_src_caps_str(harness_, caps.c_str()); }

  GstFlowReturn Push(Buffer buffer) {
    GST_BUFFER_PTS(buffer.get()) = pushed_++ * 40 * GST_MSECOND;
    GST_BUFFER_DURATION(buffer.get()) = 40 * GST_MSECOND;
    return gst_harness_push(harness_, buffer.release());
  }
  GstFlowReturn Push(const Bytes& bytes) { return Push(BufferOf(bytes)); }
  // Null if nothing came out.
  Buffer Pull() { return Buffer(gst_harness_try_pull(harness_)); }
  Buffer Through(Buffer buffer) {
    EXPECT_EQ(Push(std::move(buffer)), GST_FLOW_OK);
    Buffer result = Pull();
    EXPECT_NE(result, nullptr);
    return result;
  }
  void SendEnd() { gst_harness_push_event(harness_, gst_event_new_eos()); }
  void SendSegment() {
    GstSegment segment;
    gst_segment_init(&segment, GST_FORMAT_TIME);
    gst_harness_push_event(harness_, gst_event_new_segment(&segment));
  }
  void Flush() {
    gst_harness_push_event(harness_, gst_event_new_flush_start());
    gst_harness_push_event(harness_, gst_event_new_flush_stop(TRUE));
    SendSegment();
  }
  int Waiting() const { return static_cast<int>(gst_harness_buffers_in_queue(harness_)); }

  GstVideoInfo OutputInfo() const {
    GstVideoInfo info;
    const Caps caps(gst_pad_get_current_caps(harness_->sinkpad));
    EXPECT_TRUE(caps != nullptr && gst_video_info_from_caps(&info, caps.get()));
    return info;
  }
  // A field of the output caps as text; empty if there is none.
  std::string OutputField(const char* name) const {
    const Caps caps(gst_pad_get_current_caps(harness_->sinkpad));
    if (caps == nullptr) return "";
    const GValue* value = gst_structure_get_value(gst_caps_get_structure(caps.get(), 0), name);
    if (value == nullptr) return "";
    gchar* text = gst_value_serialize(value);
    std::string result = text;
    g_free(text);
    return result;
  }

  // What the element told the user: "error: ..." or "warning: ...", oldest first.
  std::vector<std::string> Messages() {
    std::vector<std::string> result;
    for (;;) {
      const std::unique_ptr<GstMessage, Unref> message(gst_bus_pop_filtered(
          bus_, static_cast<GstMessageType>(GST_MESSAGE_ERROR | GST_MESSAGE_WARNING)));
      if (message == nullptr) return result;
      GError* error = nullptr;
      const bool fatal = GST_MESSAGE_TYPE(message.get()) == GST_MESSAGE_ERROR;
      if (fatal) {
        gst_message_parse_error(message.get(), &error, nullptr);
      } else {
        gst_message_parse_warning(message.get(), &error, nullptr);
      }
      result.push_back((fatal ? "error: " : "warning: ") + std::string(error->message));
      g_error_free(error);
    }
  }

 private:
  GstHarness* harness_;
  GstBus* bus_;
  guint64 pushed_ = 0;
};
