// Compares the index of an AVI file with the frames that a walk found.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/tkmjpg/media/byte_source.h"

namespace tkmjpg::tool {

struct AviFile;
enum class AviIndex;

class AviIndexCheck {
 public:
  void AddMovi(uint64_t type_offset) { movi_.push_back(type_offset); }
  // Notes the chunks that are part of an index: idx1, and ix## of OpenDML.
  void Take(const std::string& id, uint64_t offset, uint64_t size);

  AviIndex Check(const ByteSource& source, const AviFile& file) const;

 private:
  struct Part {
    uint64_t offset = 0;
    uint64_t size = 0;
    int stream = -1;  // of ix##
  };
  std::vector<uint64_t> EntriesOfPlainIndex(const ByteSource& source, const AviFile& file) const;
  std::vector<uint64_t> EntriesOfOpenDml(const ByteSource& source, const AviFile& file) const;

  std::vector<uint64_t> movi_;  // where the word "movi" stands
  std::vector<Part> plain_, open_dml_;
};

}  // namespace tkmjpg::tool
