// The properties of the encoder.
#pragma once

#include <gst/gst.h>

#include "gstreamer/choices.h"

namespace tkmjpg::gst {

struct EncoderOptions {
  int quality = 75;
  guint bitrate = 0, target_size = 0;
  Fields fields = Fields::kAuto;
  Range range = Range::kAuto;
  bool huffman_tables = true;
  bool alpha = false;
  guint threads = 1;

  bool HasRateControl() const { return bitrate != 0 || target_size != 0; }
};

void InstallEncoderOptions(GObjectClass* object);

// False for a property that there is not.
bool SetOption(EncoderOptions& options, guint id, const GValue* value);
bool GetOption(const EncoderOptions& options, guint id, GValue* value);

}  // namespace tkmjpg::gst
