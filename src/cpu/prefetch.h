// Asking for memory ahead of its use.
#pragma once

#include <cstddef>

namespace tkmjpg {

// Of the first `count` lines of a band of eight: fetches what stands at `offset` in the lines eight
// below. A processor foresees that a line goes on, but not far when there are eight at once, and
// not that the next band begins elsewhere. Nothing is read, so that there need not be such lines.
template <typename Byte>
inline void PrefetchBandBelow(Byte* const rows[8], int count, size_t offset) {
  const ptrdiff_t band = count < 2 ? 0 : 8 * (rows[1] - rows[0]);
  for (int r = 0; r < count; ++r) __builtin_prefetch(rows[r] + band + offset);
}

}  // namespace tkmjpg
