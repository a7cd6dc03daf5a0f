#include "gstreamer/encoder_options.h"

namespace tkmjpg::gst {
namespace {

enum Property {
  kQuality = 1,
  kBitrate,
  kTargetSize,
  kFields,
  kRange,
  kHuffmanTables,
  kAlpha,
  kThreads,
};

}  // namespace

void InstallEncoderOptions(GObjectClass* object) {
  const EncoderOptions defaults;
  const auto ready = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                              GST_PARAM_MUTABLE_READY);
  const auto playing = static_cast<GParamFlags>(G_PARAM_READWRITE | G_PARAM_STATIC_STRINGS |
                                                GST_PARAM_MUTABLE_PLAYING);
  g_object_class_install_property(
      object, kQuality,
      g_param_spec_int("quality", "Quality", "From 1 (smallest) to 100 (best)", 1, 100,
                       defaults.quality, playing));
  g_object_class_install_property(
      object, kBitrate,
      g_param_spec_uint("bitrate", "Bit rate",
                        "Bits a second that the stream should come near, instead of quality; "
                        "0: not used",
                        0, G_MAXINT, 0, playing));
  g_object_class_install_property(
      object, kTargetSize,
      g_param_spec_uint("target-size", "Target size",
                        "Bytes that a frame should come near, instead of quality and bitrate; "
                        "0: not used",
                        0, G_MAXINT, 0, playing));
  g_object_class_install_property(
      object, kFields,
      g_param_spec_enum("fields", "Fields", "Whether a frame is coded as two fields", FieldsType(),
                        static_cast<gint>(defaults.fields), ready));
  g_object_class_install_property(
      object, kRange,
      g_param_spec_enum("range", "Range",
                        "Range of luma in the stream; frames of the other range are converted. "
                        "Browsers and jpegdec expect full",
                        RangeType(), static_cast<gint>(defaults.range), ready));
  g_object_class_install_property(
      object, kHuffmanTables,
      g_param_spec_boolean(
          "huffman-tables", "Huffman tables",
          "Write the Huffman tables into each image; many readers have no defaults",
          defaults.huffman_tables, playing));
  g_object_class_install_property(
      object, kAlpha,
      g_param_spec_boolean(
          "alpha", "Alpha",
          "Keep the alpha plane of BGRA, without loss, in a segment after the image",
          defaults.alpha, playing));
  g_object_class_install_property(
      object, kThreads,
      g_param_spec_uint(
          "threads", "Threads",
          "Frames coded at once; each one more than 1 is a frame of latency. 0: as many "
          "as there are processors. Rate control codes one at a time",
          0, 64, defaults.threads, ready));
}

bool SetOption(EncoderOptions& options, guint id, const GValue* value) {
  switch (id) {
    case kQuality:
      options.quality = g_value_get_int(value);
      return true;
    case kBitrate:
      options.bitrate = g_value_get_uint(value);
      return true;
    case kTargetSize:
      options.target_size = g_value_get_uint(value);
      return true;
    case kFields:
      options.fields = ChoiceOf<Fields>(value);
      return true;
    case kRange:
      options.range = ChoiceOf<Range>(value);
      return true;
    case kHuffmanTables:
      options.huffman_tables = g_value_get_boolean(value);
      return true;
    case kAlpha:
      options.alpha = g_value_get_boolean(value);
      return true;
    case kThreads:
      options.threads = g_value_get_uint(value);
      return true;
    default:
      return false;
  }
}

bool GetOption(const EncoderOptions& options, guint id, GValue* value) {
  switch (id) {
    case kQuality:
      g_value_set_int(value, options.quality);
      return true;
    case kBitrate:
      g_value_set_uint(value, options.bitrate);
      return true;
    case kTargetSize:
      g_value_set_uint(value, options.target_size);
      return true;
    case kFields:
      g_value_set_enum(value, static_cast<gint>(options.fields));
      return true;
    case kRange:
      g_value_set_enum(value, static_cast<gint>(options.range));
      return true;
    case kHuffmanTables:
      g_value_set_boolean(value, options.huffman_tables);
      return true;
    case kAlpha:
      g_value_set_boolean(value, options.alpha);
      return true;
    case kThreads:
      g_value_set_uint(value, options.threads);
      return true;
    default:
      return false;
  }
}

}  // namespace tkmjpg::gst
