// One stream of an AVI file that is being written: its name and its OpenDML indexes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

class AviTrack {
 public:
  AviTrack(uint32_t chunk_id, uint32_t index_id) : chunk_id_(chunk_id), index_id_(index_id) {}

  uint32_t ChunkId() const { return chunk_id_; }  // of its data, "00dc"
  uint32_t LargestChunk() const { return largest_; }
  size_t ChunksInRiff() const { return index_.size(); }
  bool IsFull() const;  // no index of another RIFF list finds space

  // `offset` of the chunk's data counts from the beginning of its RIFF list.
  void Add(uint64_t offset, size_t size);
  // The bytes of the index of this RIFF list with so many chunks more; 0 for no chunks.
  uint64_t IndexBytesWith(size_t more) const;
  // The index of the chunks of this RIFF list, which ends with it, to be written at `at`. `units`
  // is the duration since the last one, as the stream header counts.
  Bytes EndRiff(uint64_t riff_start, uint64_t at, uint32_t units);
  // With space for all entries from the start, so that it can be filled in at the end.
  Bytes SuperIndex() const;

 private:
  struct Entry {
    uint32_t offset, size;
  };
  struct RiffIndex {
    uint64_t offset;
    uint32_t bytes, units;
  };

  uint32_t chunk_id_, index_id_;
  std::vector<Entry> index_;      // of the RIFF list being written
  std::vector<RiffIndex> riffs_;  // the indexes that are written
  uint32_t largest_ = 0;
};

}  // namespace tkmjpg::tool
