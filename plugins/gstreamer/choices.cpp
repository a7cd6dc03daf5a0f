#include "gstreamer/choices.h"

namespace tkmjpg::gst {
namespace {

template <typename Choice>
constexpr GEnumValue Row(Choice choice, const char* meaning, const char* nick) {
  return {static_cast<gint>(choice), meaning, nick};
}

}  // namespace

GType FieldsType() {
  static const GEnumValue values[] = {
      Row(Fields::kAuto, "As the caps say", "auto"),
      Row(Fields::kProgressive, "One image a frame", "progressive"),
      Row(Fields::kInterlaced, "Two images a frame, one a field", "interlaced"),
      {},
  };
  static const GType type = g_enum_register_static("TkmjpgFields", values);
  return type;
}

GType RangeType() {
  static const GEnumValue values[] = {
      Row(Range::kAuto, "As the input says", "auto"),
      Row(Range::kLimited, "Luma is 16 to 235", "limited"),
      Row(Range::kFull, "Luma is 0 to 255", "full"),
      {},
  };
  static const GType type = g_enum_register_static("TkmjpgRange", values);
  return type;
}

GType FirstImageType() {
  static const GEnumValue values[] = {
      Row(FirstImage::kAuto, "Found from the picture, else the even lines", "auto"),
      Row(FirstImage::kTop, "It has the even lines, from line 0", "top"),
      Row(FirstImage::kBottom, "It has the odd lines", "bottom"),
      {},
  };
  static const GType type = g_enum_register_static("TkmjpgFirstImage", values);
  return type;
}

}  // namespace tkmjpg::gst
