// The choices that properties of the elements offer, as GLib's enumerations.
#pragma once

#include <gst/gst.h>

namespace tkmjpg::gst {

enum class Fields { kAuto, kProgressive, kInterlaced };
enum class Range { kAuto, kLimited, kFull };
enum class FirstImage { kAuto, kTop, kBottom };

GType FieldsType();
GType RangeType();
GType FirstImageType();

// A choice as the value of a property.
template <typename Choice>
Choice ChoiceOf(const GValue* value) {
  return static_cast<Choice>(g_value_get_enum(value));
}

}  // namespace tkmjpg::gst
