// Whether a repaired frame still shows what it showed: both are decoded.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tkmjpg::tool {

// Why `repaired` has another picture than `original`; empty if it has the same one.
//
// Two readings of each image have to agree. As any JPEG reader takes it: the same coefficients and
// quantisation tables, or the very same codes and Huffman tables. And as this codec's decoder takes
// it, if it was coded again: its pixels are those that the coefficients of the original make.
std::string ComparePictures(std::span<const uint8_t> original, std::span<const uint8_t> repaired);

}  // namespace tkmjpg::tool
