#include <gst/video/gstvideodecoder.h>

#include "gstreamer/choices.h"
#include "gstreamer/elements.h"
#include "gstreamer/frame_decoder.h"
#include "gstreamer/stream_caps.h"

GST_DEBUG_CATEGORY_STATIC(tkmjpgdec_debug);
#define GST_CAT_DEFAULT tkmjpgdec_debug

namespace tkmjpg::gst {
namespace {

struct Options {
  Range range = Range::kAuto;
  FirstImage first_image = FirstImage::kAuto;
};

enum Property { kRangeProperty = 1, kFirstImage, kDamagedFrames };

struct TkmjpgDec {
  GstVideoDecoder parent;
  struct State {
    Options options;         // under the object lock
    guint64 damaged_frames;  // the same
    GstVideoCodecState* input = nullptr;
    GstVideoInfo output;
    OutputShape shape;  // that `output` was made for; width 0: none yet
    FrameDecoder decoder;
  } * state;
};
struct TkmjpgDecClass {
  GstVideoDecoderClass parent;
};
G_DEFINE_TYPE(TkmjpgDec, tkmjpg_dec, GST_TYPE_VIDEO_DECODER)

// What decides for automatic plugging. Caps without these fields are accepted too, see SinkQuery.
GstStaticPadTemplate sink_template = GST_STATIC_PAD_TEMPLATE(
    "sink", GST_PAD_SINK, GST_PAD_ALWAYS,
    GST_STATIC_CAPS("image/jpeg, sof-marker = (int) 0, colorspace = (string) sYUV, "
                    "sampling = (string) YCbCr-4:2:2"));
GstStaticPadTemplate src_template = GST_STATIC_PAD_TEMPLATE(
    "src", GST_PAD_SRC, GST_PAD_ALWAYS,
    GST_STATIC_CAPS(GST_VIDEO_CAPS_MAKE("{ YUY2, UYVY, BGR, BGRx, BGRA }")));

TkmjpgDec* Self(gpointer object) { return reinterpret_cast<TkmjpgDec*>(object); }

Options OptionsNow(TkmjpgDec* self) {
  GST_OBJECT_LOCK(self);
  const Options options = self->state->options;
  GST_OBJECT_UNLOCK(self);
  return options;
}

// A refusal that a user understands comes from SetFormat, so that all JPEG gets that far.
gboolean SinkQuery(GstVideoDecoder* base, GstQuery* query) {
  if (GST_QUERY_TYPE(query) != GST_QUERY_ACCEPT_CAPS) {
    return GST_VIDEO_DECODER_CLASS(tkmjpg_dec_parent_class)->sink_query(base, query);
  }
  GstCaps* caps;
  gst_query_parse_accept_caps(query, &caps);
  const GstStructure* structure = gst_caps_get_structure(caps, 0);
  gst_query_set_accept_caps_result(query, gst_structure_has_name(structure, "image/jpeg"));
  return TRUE;
}

void PostRefusal(TkmjpgDec* self, const char* why) {
  GST_ELEMENT_ERROR(self, STREAM, WRONG_TYPE, ("This JPEG is for another decoder: %s.", why),
                    (nullptr));
}

gboolean SetFormat(GstVideoDecoder* base, GstVideoCodecState* input) {
  TkmjpgDec* self = Self(base);
  const char* refusal = RefusalOf(input->caps);
  if (refusal != nullptr) {
    PostRefusal(self, refusal);
    return FALSE;
  }
  TkmjpgDec::State& state = *self->state;
  g_clear_pointer(&state.input, gst_video_codec_state_unref);
  state.input = gst_video_codec_state_ref(input);
  state.shape = {};
  state.decoder = {};
  return TRUE;
}

// Null if `caps` has none. RGB is made by BT.601 only.
const char* FirstFormatIn(GstCaps* caps, GstVideoColorMatrix matrix) {
  for (const char* name : {"YUY2", "UYVY", "BGR", "BGRx", "BGRA"}) {
    if (name[0] == 'B' && matrix != GST_VIDEO_COLOR_MATRIX_BT601) continue;
    GstCaps* wanted = gst_caps_new_simple("video/x-raw", "format", G_TYPE_STRING, name, nullptr);
    const bool possible = gst_caps_can_intersect(caps, wanted);
    gst_caps_unref(wanted);
    if (possible) return name;
  }
  return nullptr;
}

// Converters give first what they need not convert, and then, apart, what they can.
GstVideoFormat ChooseFormat(GstVideoDecoder* base, GstVideoColorMatrix matrix) {
  GstCaps* caps = gst_pad_peer_query_caps(GST_VIDEO_DECODER_SRC_PAD(base), nullptr);
  const char* name = gst_caps_is_any(caps) ? FirstFormatIn(caps, matrix) : nullptr;
  for (guint i = 0; i < gst_caps_get_size(caps) && name == nullptr; ++i) {
    GstCaps* one = gst_caps_copy_nth(caps, i);
    name = FirstFormatIn(one, matrix);
    gst_caps_unref(one);
  }
  gst_caps_unref(caps);
  return name == nullptr ? GST_VIDEO_FORMAT_UNKNOWN : gst_video_format_from_string(name);
}

bool Negotiate(TkmjpgDec* self, const OutputShape& shape) {
  TkmjpgDec::State& state = *self->state;
  GstVideoDecoder* base = GST_VIDEO_DECODER(self);
  const GstVideoColorimetry colors = StreamColorimetry(*state.input, shape.limited_range);
  const GstVideoFormat format = ChooseFormat(base, colors.matrix);
  if (format == GST_VIDEO_FORMAT_UNKNOWN) {
    GST_ELEMENT_ERROR(self, STREAM, FORMAT, ("No raw format suits what follows the decoder."),
                      (nullptr));
    return false;
  }
  GstVideoCodecState* output = gst_video_decoder_set_interlaced_output_state(
      base, format, shape.mode, static_cast<guint>(shape.width), static_cast<guint>(shape.height),
      state.input);
  GST_VIDEO_INFO_FIELD_ORDER(&output->info) = shape.order;
  if (GST_VIDEO_INFO_IS_YUV(&output->info)) {
    output->info.colorimetry = colors;
  } else {
    gst_video_colorimetry_from_string(&output->info.colorimetry, GST_VIDEO_COLORIMETRY_SRGB);
  }
  gst_video_codec_state_unref(output);
  if (!gst_video_decoder_negotiate(base)) return false;
  GstVideoCodecState* settled = gst_video_decoder_get_output_state(base);
  state.output = settled->info;
  gst_video_codec_state_unref(settled);
  state.shape = shape;
  return true;
}

// Counts, warns, and gives what max-errors makes of it.
GstFlowReturn CountDamage(TkmjpgDec* self, guint32 number, const char* what) {
  GST_OBJECT_LOCK(self);
  ++self->state->damaged_frames;
  GST_OBJECT_UNLOCK(self);
  GST_ELEMENT_WARNING(self, STREAM, DECODE, ("Frame %u is damaged: %s.", number, what), (nullptr));
  GstFlowReturn result = GST_FLOW_OK;
  GST_VIDEO_DECODER_ERROR(self, 1, STREAM, DECODE, ("Too many damaged frames."),
                          ("frame %u: %s", number, what), result);
  return result;
}

const char* DamageOf(const JpegFrame& frame, const FrameShape& shape) {
  if (frame.images[0].damage != nullptr) return frame.images[0].damage;
  if (!shape.fields) return nullptr;
  if (shape.one_field && frame.images[0].field_code != 0) return "its second field is missing";
  return frame.images[1].damage;
}

const char* RefusalOf(const JpegFrame& frame) {
  for (int i = 0; i < frame.count; ++i) {
    if (frame.images[i].refusal != nullptr) return frame.images[i].refusal;
  }
  return nullptr;
}

void FlagOutput(GstBuffer* buffer, const FrameShape& shape, const OutputShape& output,
                bool damaged) {
  if (damaged) GST_BUFFER_FLAG_SET(buffer, GST_BUFFER_FLAG_CORRUPTED);
  if (output.mode == GST_VIDEO_INTERLACE_MODE_PROGRESSIVE) return;
  if (shape.fields || output.mode == GST_VIDEO_INTERLACE_MODE_INTERLEAVED) {
    GST_BUFFER_FLAG_SET(buffer, GST_VIDEO_BUFFER_FLAG_INTERLACED);
  }
  if (output.order == GST_VIDEO_FIELD_ORDER_TOP_FIELD_FIRST) {
    GST_BUFFER_FLAG_SET(buffer, GST_VIDEO_BUFFER_FLAG_TFF);
  }
}

GstFlowReturn Output(TkmjpgDec* self, GstVideoCodecFrame* codec_frame,
                     std::span<const uint8_t> stream, const JpegFrame& frame,
                     const FrameShape& shape, const Options& options) {
  TkmjpgDec::State& state = *self->state;
  GstVideoDecoder* base = GST_VIDEO_DECODER(self);
  const GstFlowReturn flow = gst_video_decoder_allocate_output_frame(base, codec_frame);
  if (flow != GST_FLOW_OK) return flow;
  GstVideoFrame out;
  if (!gst_video_frame_map(&out, &state.output, codec_frame->output_buffer, GST_MAP_READWRITE)) {
    return GST_FLOW_ERROR;
  }
  state.decoder.Decode(stream, frame, shape, state.shape.limited_range, options.first_image, &out);
  gst_video_frame_unmap(&out);
  return GST_FLOW_OK;
}

// GST_FLOW_CUSTOM_SUCCESS: there is nothing to give out for this frame.
GstFlowReturn CountAndDrop(TkmjpgDec* self, guint32 number, const char* what) {
  const GstFlowReturn flow = CountDamage(self, number, what);
  return flow == GST_FLOW_OK ? GST_FLOW_CUSTOM_SUCCESS : flow;
}

FrameShape ShapeOf(const TkmjpgDec::State& state, const JpegFrame& frame) {
  const GstVideoInfo& info = state.input->info;
  int height = GST_VIDEO_INFO_HEIGHT(&info);
  // Where no container tells the height, a pair that lost its second image still makes one.
  if (height == 0 && frame.count == 1 && frame.images[0].field_code != 0) {
    height = state.shape.height;
  }
  return ShapeOf(frame, GST_VIDEO_INFO_WIDTH(&info), height);
}

GstFlowReturn DecodeFrame(TkmjpgDec* self, GstVideoCodecFrame* codec_frame,
                          std::span<const uint8_t> stream) {
  const TkmjpgDec::State& state = *self->state;
  const guint32 number = codec_frame->system_frame_number;
  const JpegFrame frame = ReadJpegFrame(stream);
  const JpegImage& first = frame.images[0];
  const bool begun = state.shape.width != 0;
  if (const char* refusal = RefusalOf(frame); refusal != nullptr) {
    if (begun) return CountAndDrop(self, number, refusal);
    PostRefusal(self, refusal);
    return GST_FLOW_NOT_NEGOTIATED;
  }
  if (frame.count == 0 || first.width == 0 || first.height == 0) {
    return CountAndDrop(self, number, "there is no image in it");
  }
  const Options options = OptionsNow(self);
  const FrameShape shape = ShapeOf(state, frame);
  const OutputShape output = OutputShapeOf(*state.input, frame, shape, options.range);
  const char* damage = DamageOf(frame, shape);
  // What is damaged is not believed when it says that the size has changed.
  if (damage != nullptr && output != state.shape && (begun || first.too_short)) {
    return CountAndDrop(self, number, damage);
  }
  if (damage != nullptr) {
    const GstFlowReturn flow = CountDamage(self, number, damage);
    if (flow != GST_FLOW_OK) return flow;
  }
  if (output != state.shape && !Negotiate(self, output)) return GST_FLOW_NOT_NEGOTIATED;
  const GstFlowReturn flow = Output(self, codec_frame, stream, frame, shape, options);
  if (flow == GST_FLOW_OK) {
    FlagOutput(codec_frame->output_buffer, shape, output, damage != nullptr);
  }
  return flow;
}

GstFlowReturn HandleFrame(GstVideoDecoder* base, GstVideoCodecFrame* frame) {
  GstMapInfo map;
  if (!gst_buffer_map(frame->input_buffer, &map, GST_MAP_READ)) {
    gst_video_decoder_release_frame(base, frame);
    return GST_FLOW_ERROR;
  }
  GstFlowReturn flow = GST_FLOW_CUSTOM_SUCCESS;
  // Without any byte it is not damaged: the frame before it stays.
  if (map.size != 0) flow = DecodeFrame(Self(base), frame, {map.data, map.size});
  gst_buffer_unmap(frame->input_buffer, &map);
  if (flow == GST_FLOW_OK) return gst_video_decoder_finish_frame(base, frame);
  if (flow == GST_FLOW_CUSTOM_SUCCESS) return gst_video_decoder_drop_frame(base, frame);
  gst_video_decoder_release_frame(base, frame);
  return flow;
}

gboolean Start(GstVideoDecoder* base) {
  TkmjpgDec* self = Self(base);
  GST_OBJECT_LOCK(self);
  self->state->damaged_frames = 0;
  GST_OBJECT_UNLOCK(self);
  return TRUE;
}

gboolean Stop(GstVideoDecoder* base) {
  TkmjpgDec::State& state = *Self(base)->state;
  g_clear_pointer(&state.input, gst_video_codec_state_unref);
  state.shape = {};
  state.decoder = {};
  return TRUE;
}

void SetProperty(GObject* object, guint id, const GValue* value, GParamSpec* property) {
  Options& options = Self(object)->state->options;
  GST_OBJECT_LOCK(object);
  switch (id) {
    case kRangeProperty:
      options.range = ChoiceOf<Range>(value);
      break;
    case kFirstImage:
      options.first_image = ChoiceOf<FirstImage>(value);
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, property);
  }
  GST_OBJECT_UNLOCK(object);
}

void GetProperty(GObject* object, guint id, GValue* value, GParamSpec* property) {
  const TkmjpgDec::State& state = *Self(object)->state;
  GST_OBJECT_LOCK(object);
  switch (id) {
    case kRangeProperty:
      g_value_set_enum(value, static_cast<gint>(state.options.range));
      break;
    case kFirstImage:
      g_value_set_enum(value, static_cast<gint>(state.options.first_image));
      break;
    case kDamagedFrames:
      g_value_set_uint64(value, state.damaged_frames);
      break;
    default:
      G_OBJECT_WARN_INVALID_PROPERTY_ID(object, id, property);
  }
  GST_OBJECT_UNLOCK(object);
}

void Finalize(GObject* object) {
  delete Self(object)->state;
  G_OBJECT_CLASS(tkmjpg_dec_parent_class)->finalize(object);
}

void InstallProperties(GObjectClass* object) {
  const auto settable = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                                 GST_PARAM_MUTABLE_PLAYING);
  g_object_class_install_property(
      object, kRangeProperty,
      g_param_spec_enum(
          "range", "Range",
          "Range of luma in the stream. Auto: limited if a comment CS=ITU601 says so, else "
          "as the caps say, else limited with an AVI1 segment and full without",
          RangeType(), static_cast<gint>(Range::kAuto), settable));
  g_object_class_install_property(
      object, kFirstImage,
      g_param_spec_enum("first-image", "First image",
                        "Which lines the first image of a field pair has", FirstImageType(),
                        static_cast<gint>(FirstImage::kAuto), settable));
  g_object_class_install_property(
      object, kDamagedFrames,
      g_param_spec_uint64("damaged-frames", "Damaged frames",
                          "Frames so far whose markers show that something is missing or wrong", 0,
                          G_MAXUINT64, 0,
                          static_cast<GParamFlags>(G_PARAM_READABLE | G_PARAM_STATIC_STRINGS)));
}

void tkmjpg_dec_class_init(TkmjpgDecClass* type) {
  GST_DEBUG_CATEGORY_INIT(tkmjpgdec_debug, "tkmjpgdec", 0, "tkmjpg decoder");
  GObjectClass* object = G_OBJECT_CLASS(type);
  object->set_property = SetProperty;
  object->get_property = GetProperty;
  object->finalize = Finalize;
  InstallProperties(object);

  GstElementClass* element = GST_ELEMENT_CLASS(type);
  gst_element_class_add_static_pad_template(element, &sink_template);
  gst_element_class_add_static_pad_template(element, &src_template);
  gst_element_class_set_static_metadata(
      element, "tkmjpg Motion-JPEG decoder", "Codec/Decoder/Video",
      "Decodes baseline JPEG 4:2:2 and keeps its chroma", "tkmjpg");

  GstVideoDecoderClass* decoder = GST_VIDEO_DECODER_CLASS(type);
  decoder->start = Start;
  decoder->stop = Stop;
  decoder->set_format = SetFormat;
  decoder->handle_frame = HandleFrame;
  decoder->sink_query = SinkQuery;
}

void tkmjpg_dec_init(TkmjpgDec* self) {
  self->state = new TkmjpgDec::State;
  gst_video_decoder_set_packetized(GST_VIDEO_DECODER(self), TRUE);
}

}  // namespace

GType DecoderType() { return tkmjpg_dec_get_type(); }

}  // namespace tkmjpg::gst
