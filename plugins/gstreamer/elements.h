// The elements of the plugin.
#pragma once

#include <gst/gst.h>

namespace tkmjpg::gst {

GType EncoderType();
GType DecoderType();

}  // namespace tkmjpg::gst
