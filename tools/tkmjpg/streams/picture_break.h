// Where a picture breaks: from which MCU on everything has moved or changed its brightness.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

namespace tkmjpg::tool {

// `means` of the MCUs of a picture `columns` wide, row by row. A wrong bit moves all MCUs after it,
// or makes them brighter or darker; so a whole row's length of them fits badly to the row above,
// and what follows fits again. The first such place, if there is one.
std::optional<size_t> FindBreak(std::span<const int32_t> means, size_t columns);

}  // namespace tkmjpg::tool
