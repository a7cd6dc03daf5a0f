// Y4M in.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

// `field_order` is used in place of what the file says.
std::unique_ptr<FrameReader> OpenY4m(const std::string& path,
                                     std::optional<FieldOrder> field_order);

}  // namespace tkmjpg::tool
