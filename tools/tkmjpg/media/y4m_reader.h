// Y4M in.
#pragma once

#include <memory>
#include <optional>
#include <string>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

// `field_order` is used in place of what the file says. Full range becomes limited unless it is to
// be kept.
std::unique_ptr<FrameReader> OpenY4m(const std::string& path, std::optional<FieldOrder> field_order,
                                     bool keep_full_range);

}  // namespace tkmjpg::tool
