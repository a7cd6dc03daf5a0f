#include <gst/gst.h>

#include "gstreamer/elements.h"
#include "tkmjpg_version.h"

namespace {

// After the usual Motion-JPEG elements, which read and write more kinds of JPEG: these are chosen
// by name.
gboolean Register(GstPlugin* plugin) {
  return gst_element_register(plugin, "tkmjpgenc", GST_RANK_MARGINAL, tkmjpg::gst::EncoderType()) &&
         gst_element_register(plugin, "tkmjpgdec", GST_RANK_MARGINAL, tkmjpg::gst::DecoderType());
}

}  // namespace

GST_PLUGIN_DEFINE(GST_VERSION_MAJOR, GST_VERSION_MINOR, tkmjpg,
                  "Motion-JPEG, baseline 4:2:2, exact and fast", Register, TKMJPG_VERSION,
                  "MIT/X11", "tkmjpg", "tkmjpg")
