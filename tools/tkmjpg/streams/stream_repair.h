// A frame made fit for other readers, without touching its picture.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tkmjpg::tool {

enum class HuffmanRepair { kAdd, kRemove };

struct RepairedFrame {
  std::vector<uint8_t> stream;  // empty if there is no frame in it
  bool tables_changed = false;
  bool sizes_fixed = false;
  bool recoded = false;      // from another 4:2:2 shape, without loss but for the damage
  std::string damage;        // of what was recoded; empty if the entropy-coded data is undamaged
  std::string loss;          // why it cannot be recoded without loss; empty if nothing has to be
  bool completed = false;    // an EOI was missing
  size_t bytes_dropped = 0;  // that belonged to no image
};

// Images of another 4:2:2 shape than this codec's become it, with the same coefficients; those of
// another sampling stay as they are. Puts in the standard Huffman tables that are missing, or takes
// standard ones out; gives each image the tables that it took from the image before; writes right
// AVI1 size fields and ends that are missing; drops bytes before, between and after the images that
// are no fill and no alpha segment. An undamaged frame comes back as it was, and so does what has
// been repaired once.
RepairedFrame RepairFrame(std::span<const uint8_t> frame, HuffmanRepair huffman);

}  // namespace tkmjpg::tool
