// Sizes and rates as users write them.
#pragma once

#include <string>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

// Both throw UsageError, which begins with `what`.

// "720x576" into width and height.
void ParseSize(const std::string& what, const std::string& text, VideoFormat& format);

// "25", "29.97" or "30000/1001", above 0.
Rational ParseRate(const std::string& what, const std::string& text);

// Throws InputError "NAME: ..." if the codec's frames cannot hold such a picture.
void CheckPictureSize(const std::string& name, int64_t width, int64_t height);

}  // namespace tkmjpg::tool
