// The decoder's output layouts by name.
#pragma once

#include <cstdint>
#include <string>

namespace tkmjpg::tool {

// 0 if the decoder gives none of this name. Names differ in case: BGR3 and bgr3 are two.
uint32_t DecodeLayoutByName(const std::string& name);
std::string DecodeLayoutNames();  // all of them, for a message

int LayoutBytesPerPixel(uint32_t layout);

// One picture in black, lines without padding.
void FillBlack(uint32_t layout, uint8_t* pixels, size_t bytes);

}  // namespace tkmjpg::tool
