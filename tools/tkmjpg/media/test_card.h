// A moving test picture, made here: slopes, fine lines, rings, text-like edges, motion and, as
// alpha, a ramp. The same pixels everywhere and always.
#pragma once

#include <memory>
#include <string>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

inline constexpr char kTestCardPrefix[] = "testcard:";

// `name` is testcard:WxH@RATE or testcard:WxH@RATE:FRAMES. Throws UsageError if it is not. The
// fields of an interlaced card are half a frame apart in time.
std::unique_ptr<FrameReader> OpenTestCard(const std::string& name, FieldOrder field_order);

}  // namespace tkmjpg::tool
