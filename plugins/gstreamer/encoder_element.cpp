#include <gst/video/gstvideoencoder.h>

#include <algorithm>
#include <memory>
#include <thread>

#include "gstreamer/elements.h"
#include "gstreamer/encode_pool.h"
#include "gstreamer/encoder_options.h"

GST_DEBUG_CATEGORY_STATIC(tkmjpgenc_debug);
#define GST_CAT_DEFAULT tkmjpgenc_debug

namespace tkmjpg::gst {
namespace {

constexpr int kAssumedFramesPerSecond = 25;

struct TkmjpgEnc {
  GstVideoEncoder parent;
  struct State {
    EncoderOptions options;  // under the object lock
    GstVideoCodecState* input = nullptr;
    std::unique_ptr<EncodePool> pool;
    CodecCarryState carry = {256, 0};
  } * state;
};
struct TkmjpgEncClass {
  GstVideoEncoderClass parent;
};
G_DEFINE_TYPE(TkmjpgEnc, tkmjpg_enc, GST_TYPE_VIDEO_ENCODER)

#define TKMJPG_YUV_FORMATS "YUY2, UYVY, VYUY, Y42B, I420"
#define TKMJPG_SIZES \
  "width = (int) [ 1, 65534 ], height = (int) [ 1, 65528 ], framerate = (fraction) [ 0, max ]"

GstStaticPadTemplate sink_template =
    GST_STATIC_PAD_TEMPLATE("sink", GST_PAD_SINK, GST_PAD_ALWAYS,
                            GST_STATIC_CAPS("video/x-raw, format = (string) { " TKMJPG_YUV_FORMATS
                                            ", BGR, BGRx, BGRA }, " TKMJPG_SIZES));
// BGR comes out of the codec with limited range only.
GstStaticCaps full_range_sink_caps =
    GST_STATIC_CAPS("video/x-raw, format = (string) { " TKMJPG_YUV_FORMATS " }, " TKMJPG_SIZES);
GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("image/jpeg, parsed = (boolean) true, sof-marker = (int) 0, "
                    "colorspace = (string) sYUV, sampling = (string) YCbCr-4:2:2, " TKMJPG_SIZES));

TkmjpgEnc* Self(gpointer object) { return reinterpret_cast<TkmjpgEnc*>(object); }

EncoderOptions OptionsNow(TkmjpgEnc* self) {
  GST_OBJECT_LOCK(self);
  const EncoderOptions options = self->state->options;
  GST_OBJECT_UNLOCK(self);
  return options;
}

bool IsInterlaced(const EncoderOptions& options, const GstVideoFrame& frame) {
  if (options.fields == Fields::kAuto) return GST_VIDEO_FRAME_IS_INTERLACED(&frame);
  return options.fields == Fields::kInterlaced;
}

int32_t TargetSize(const EncoderOptions& options, const GstVideoInfo& info) {
  if (options.target_size != 0) return static_cast<int32_t>(options.target_size);
  const bool known = GST_VIDEO_INFO_FPS_N(&info) > 0;
  const guint64 bytes = gst_util_uint64_scale(
      options.bitrate, static_cast<guint64>(known ? GST_VIDEO_INFO_FPS_D(&info) : 1),
      static_cast<guint64>(known ? GST_VIDEO_INFO_FPS_N(&info) : kAssumedFramesPerSecond) * 8);
  return static_cast<int32_t>(std::min<guint64>(bytes, INT32_MAX));
}

EncodeSettings SettingsFor(const EncoderOptions& options, const GstVideoFrame& frame) {
  EncodeSettings settings;
  settings.quality = options.quality;
  if (options.huffman_tables) settings.flags |= TKMJPG_C_HUFFMAN_TABLES;
  if (options.alpha) settings.flags |= TKMJPG_C_ALPHA;
  // Even lines first, with codes 1 and 2: what players take for granted.
  if (IsInterlaced(options, frame)) settings.flags |= TKMJPG_C_FIELDS | TKMJPG_C_SWAP_LINES;
  if (options.HasRateControl()) {
    settings.flags |= TKMJPG_C_RATE_CONTROL;
    settings.quality = TargetSize(options, frame.info);
  }
  return settings;
}

GstFlowReturn FinishOldest(TkmjpgEnc* self) {
  GstVideoCodecFrame* frame = self->state->pool->TakeOldest();
  GstVideoEncoder* base = GST_VIDEO_ENCODER(self);
  if (frame->output_buffer == nullptr) {
    GST_ELEMENT_ERROR(self, STREAM, ENCODE, ("The frame cannot be coded."),
                      ("the codec has no stream for it"));
    gst_video_encoder_finish_frame(base, frame);
    return GST_FLOW_ERROR;
  }
  GST_VIDEO_CODEC_FRAME_SET_SYNC_POINT(frame);
  return gst_video_encoder_finish_frame(base, frame);
}

GstFlowReturn FinishAll(TkmjpgEnc* self) {
  GstFlowReturn result = GST_FLOW_OK;
  while (self->state->pool != nullptr && !self->state->pool->IsEmpty()) {
    const GstFlowReturn flow = FinishOldest(self);
    if (result == GST_FLOW_OK) result = flow;
  }
  return result;
}

void DropAll(TkmjpgEnc* self) {
  while (self->state->pool != nullptr && !self->state->pool->IsEmpty()) {
    gst_video_codec_frame_unref(self->state->pool->TakeOldest());
  }
}

GstFlowReturn HandleFrame(GstVideoEncoder* base, GstVideoCodecFrame* frame) {
  TkmjpgEnc* self = Self(base);
  GstVideoFrame raw;
  if (!gst_video_frame_map(&raw, &self->state->input->info, frame->input_buffer, GST_MAP_READ)) {
    GST_ELEMENT_ERROR(self, STREAM, ENCODE, ("A raw frame cannot be read."), (nullptr));
    gst_video_codec_frame_unref(frame);
    return GST_FLOW_ERROR;
  }
  const EncoderOptions options = OptionsNow(self);
  // A frame's scale of rate control comes from the frame before it.
  if (options.HasRateControl()) {
    const GstFlowReturn flow = FinishAll(self);
    if (flow != GST_FLOW_OK) {
      gst_video_frame_unmap(&raw);
      gst_video_codec_frame_unref(frame);
      return flow;
    }
  }
  EncodePool& pool = *self->state->pool;
  pool.Start(frame, raw, SettingsFor(options, raw),
             options.HasRateControl() ? &self->state->carry : nullptr);
  return pool.IsFull() ? FinishOldest(self) : GST_FLOW_OK;
}

bool CanBeCoded(TkmjpgEnc* self, const GstVideoInfo& info) {
  switch (GST_VIDEO_INFO_INTERLACE_MODE(&info)) {
    case GST_VIDEO_INTERLACE_MODE_PROGRESSIVE:
    case GST_VIDEO_INTERLACE_MODE_INTERLEAVED:
    case GST_VIDEO_INTERLACE_MODE_MIXED:
      return true;
    default:
      GST_ELEMENT_ERROR(self, STREAM, FORMAT,
                        ("Fields in buffers of their own cannot be coded; both have to be in one."),
                        (nullptr));
      return false;
  }
}

EncodeFormat FormatFor(Range range, const GstVideoInfo& info) {
  const bool full_input =
      GST_VIDEO_INFO_IS_YUV(&info) && info.colorimetry.range == GST_VIDEO_COLOR_RANGE_0_255;
  const bool full = range == Range::kAuto ? full_input : range == Range::kFull;
  EncodeFormat format = {GST_VIDEO_INFO_WIDTH(&info), GST_VIDEO_INFO_HEIGHT(&info)};
  format.limited_range = !full;
  if (full != full_input) {
    format.range_change = full ? RangeChange::kExpand : RangeChange::kNarrow;
  }
  return format;
}

// The extended format data of Motion-JPEG in AVI (OpenDML): 44, the offset of the 24 bytes that
// follow; no process, YCbCr, 8 bits, 2 x 1 samples. FFmpeg puts the first image of a pair on line
// 0 only where it finds them.
GstBuffer* NewExtendedHeader() {
  static const guint32 words[] = {44, 24, 0, 2, 8, 2, 1};
  guint8 bytes[sizeof words];
  for (size_t i = 0; i < std::size(words); ++i) GST_WRITE_UINT32_LE(&bytes[4 * i], words[i]);
  return gst_buffer_new_memdup(bytes, sizeof bytes);
}

GstVideoInterlaceMode OutputMode(Fields fields, const GstVideoInfo& info) {
  return fields == Fields::kInterlaced ? GST_VIDEO_INTERLACE_MODE_INTERLEAVED
                                       : GST_VIDEO_INFO_INTERLACE_MODE(&info);
}

GstCaps* NewOutputCaps(GstVideoInterlaceMode mode, const GstVideoInfo& info) {
  GstCaps* caps = gst_caps_new_simple(
      "image/jpeg", "parsed", G_TYPE_BOOLEAN, TRUE, "sof-marker", G_TYPE_INT, 0, "colorspace",
      G_TYPE_STRING, "sYUV", "sampling", G_TYPE_STRING, "YCbCr-4:2:2", "interlace-mode",
      G_TYPE_STRING, gst_video_interlace_mode_to_string(mode), nullptr);
  if (mode == GST_VIDEO_INTERLACE_MODE_PROGRESSIVE) return caps;
  GstVideoFieldOrder order = GST_VIDEO_INFO_FIELD_ORDER(&info);
  if (order == GST_VIDEO_FIELD_ORDER_UNKNOWN) order = GST_VIDEO_FIELD_ORDER_TOP_FIELD_FIRST;
  GstBuffer* header = NewExtendedHeader();
  gst_caps_set_simple(caps, "field-order", G_TYPE_STRING, gst_video_field_order_to_string(order),
                      "codec_data", GST_TYPE_BUFFER, header, nullptr);
  gst_buffer_unref(header);
  return caps;
}

// RGB becomes YCbCr by BT.601 in the codec.
GstVideoColorimetry OutputColorimetry(const GstVideoInfo& info, bool limited_range) {
  GstVideoColorimetry result = info.colorimetry;
  if (!GST_VIDEO_INFO_IS_YUV(&info)) result.matrix = GST_VIDEO_COLOR_MATRIX_BT601;
  result.range = limited_range ? GST_VIDEO_COLOR_RANGE_16_235 : GST_VIDEO_COLOR_RANGE_0_255;
  return result;
}

void ReportLatency(TkmjpgEnc* self, const GstVideoInfo& info, guint threads) {
  const int fps_n = GST_VIDEO_INFO_FPS_N(&info), fps_d = GST_VIDEO_INFO_FPS_D(&info);
  const GstClockTime latency =
      fps_n > 0 ? gst_util_uint64_scale((threads - 1) * GST_SECOND, static_cast<guint64>(fps_d),
                                        static_cast<guint64>(fps_n))
                : 0;
  gst_video_encoder_set_latency(GST_VIDEO_ENCODER(self), latency, latency);
}

gboolean SetFormat(GstVideoEncoder* base, GstVideoCodecState* input) {
  TkmjpgEnc* self = Self(base);
  TkmjpgEnc::State& state = *self->state;
  // What has begun leaves with the caps that it came with.
  FinishAll(self);
  if (!CanBeCoded(self, input->info)) return FALSE;
  const EncoderOptions options = OptionsNow(self);
  const EncodeFormat format = FormatFor(options.range, input->info);
  const bool full_rgb = !format.limited_range && !GST_VIDEO_INFO_IS_YUV(&input->info);
  if (full_rgb) {
    GST_ELEMENT_ERROR(self, STREAM, FORMAT, ("RGB cannot be coded with range=full."), (nullptr));
    return FALSE;
  }
  if (options.bitrate != 0 && options.target_size == 0 && GST_VIDEO_INFO_FPS_N(&input->info) <= 0) {
    GST_ELEMENT_WARNING(
        self, STREAM, ENCODE,
        ("No frame rate is known: bitrate is for %d frames a second.", kAssumedFramesPerSecond),
        (nullptr));
  }
  const guint threads =
      options.threads != 0 ? options.threads : std::max(1U, std::thread::hardware_concurrency());
  state.pool = std::make_unique<EncodePool>(format, threads);
  g_clear_pointer(&state.input, gst_video_codec_state_unref);
  state.input = gst_video_codec_state_ref(input);

  const GstVideoInterlaceMode mode = OutputMode(options.fields, input->info);
  GstVideoCodecState* output =
      gst_video_encoder_set_output_state(base, NewOutputCaps(mode, input->info), input);
  output->info.interlace_mode = mode;
  output->info.colorimetry = OutputColorimetry(input->info, format.limited_range);
  gst_video_codec_state_unref(output);
  ReportLatency(self, input->info, threads);
  return TRUE;
}

GstCaps* GetCaps(GstVideoEncoder* base, GstCaps* filter) {
  GstCaps* own = nullptr;
  if (OptionsNow(Self(base)).range == Range::kFull)
    own = gst_static_caps_get(&full_range_sink_caps);
  GstCaps* caps = gst_video_encoder_proxy_getcaps(base, own, filter);
  if (own != nullptr) gst_caps_unref(own);
  return caps;
}

gboolean ProposeAllocation(GstVideoEncoder* base, GstQuery* query) {
  gst_query_add_allocation_meta(query, GST_VIDEO_META_API_TYPE, nullptr);
  return GST_VIDEO_ENCODER_CLASS(tkmjpg_enc_parent_class)->propose_allocation(base, query);
}

GstFlowReturn Finish(GstVideoEncoder* base) { return FinishAll(Self(base)); }

gboolean Flush(GstVideoEncoder* base) {
  DropAll(Self(base));
  return TRUE;
}

gboolean Start(GstVideoEncoder* base) {
  Self(base)->state->carry = {256, 0};
  return TRUE;
}

gboolean Stop(GstVideoEncoder* base) {
  TkmjpgEnc::State& state = *Self(base)->state;
  DropAll(Self(base));
  state.pool.reset();
  g_clear_pointer(&state.input, gst_video_codec_state_unref);
  return TRUE;
}

void SetProperty(GObject* object, guint id, const GValue* value, GParamSpec* property) {
  GST_OBJECT_LOCK(object);
  const bool known = SetOption(Self(object)->state->options, id, value);
  GST_OBJECT_UNLOCK(object);
  if (!known) G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, property);
}

void GetProperty(GObject* object, guint id, GValue* value, GParamSpec* property) {
  if (!GetOption(OptionsNow(Self(object)), id, value)) {
    G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, property);
  }
}

void Finalize(GObject* object) {
  delete Self(object)->state;
  G_OBJECT_CLASS(tkmjpg_enc_parent_class)->finalize(object);
}

void tkmjpg_enc_class_init(TkmjpgEncClass* type) {
  GST_DEBUG_CATEGORY_INIT(tkmjpgenc_debug, "tkmjpgenc", 0, "tkmjpg encoder");
  GObjectClass* object = G_OBJECT_CLASS(type);
  object->set_property = SetProperty;
  object->get_property = GetProperty;
  object->finalize = Finalize;
  InstallEncoderOptions(object);

  GstElementClass* element = GST_ELEMENT_CLASS(type);
  gst_element_class_add_static_pad_template(element, &sink_template);
  gst_element_class_add_static_pad_template(element, &src_template);
  gst_element_class_set_static_metadata(element, "tkmjpg Motion-JPEG encoder",
                                        "Codec/Encoder/Video",
                                        "Codes frames as baseline JPEG 4:2:2", "tkmjpg");

  GstVideoEncoderClass* encoder = GST_VIDEO_ENCODER_CLASS(type);
  encoder->start = Start;
  encoder->stop = Stop;
  encoder->set_format = SetFormat;
  encoder->handle_frame = HandleFrame;
  encoder->finish = Finish;
  encoder->flush = Flush;
  encoder->getcaps = GetCaps;
  encoder->propose_allocation = ProposeAllocation;
}

void tkmjpg_enc_init(TkmjpgEnc* self) { self->state = new TkmjpgEnc::State; }

}  // namespace

GType EncoderType() { return tkmjpg_enc_get_type(); }

}  // namespace tkmjpg::gst
