// Lines that are lost taken from the frame before.
#pragma once

#include <cstdint>
#include <span>

#include "tools/tkmjpg/commands/frame_decoder.h"
#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

// `picture` is what `decoder` has made of the damaged frame `stream`. False if no line is known to
// be lost, or `before` is of another size.
bool Conceal(std::span<const uint8_t> stream, const FrameDecoder& decoder, const Picture& before,
             Picture& picture);

}  // namespace tkmjpg::tool
