#include "tools/tkmjpg/media/avi_track.h"

#include <algorithm>

#include "tools/tkmjpg/media/riff_bytes.h"

namespace tkmjpg::tool {
namespace {

constexpr uint8_t kIndexOfIndexes = 0, kIndexOfChunks = 1;
constexpr size_t kSuperIndexEntries = 512;  // half a TiB
constexpr size_t kSuperIndexHeader = 24, kSuperIndexEntry = 16;
constexpr size_t kStandardIndexHeader = 32, kStandardIndexEntry = 8;

}  // namespace

void AviTrack::Add(uint64_t offset, size_t size) {
  index_.push_back({static_cast<uint32_t>(offset), static_cast<uint32_t>(size)});
  largest_ = std::max(largest_, static_cast<uint32_t>(size));
}

uint64_t AviTrack::IndexBytesWith(size_t more) const {
  const uint64_t entries = index_.size() + more;
  return entries == 0 ? 0 : kStandardIndexHeader + entries * kStandardIndexEntry;
}

bool AviTrack::IsFull() const { return !index_.empty() && riffs_.size() == kSuperIndexEntries; }

Bytes AviTrack::EndRiff(uint64_t riff_start, uint64_t at, uint32_t units) {
  constexpr uint32_t kLongsPerEntry = 2;
  Bytes body, chunk;
  if (index_.empty()) return chunk;
  Append16(body, kLongsPerEntry);
  body.push_back(0);
  body.push_back(kIndexOfChunks);
  Append32(body, static_cast<uint32_t>(index_.size()));
  Append32(body, chunk_id_);
  Append64(body, riff_start);
  Append32(body, 0);
  for (const Entry& entry : index_) {
    Append32(body, entry.offset);
    Append32(body, entry.size);  // bit 31 clear: a key frame
  }
  AppendChunk(chunk, index_id_, body);
  riffs_.push_back({at, static_cast<uint32_t>(chunk.size()), units});
  index_.clear();
  return chunk;
}

Bytes AviTrack::SuperIndex() const {
  constexpr uint32_t kLongsPerEntry = 4;
  Bytes body, chunk;
  Append16(body, kLongsPerEntry);
  body.push_back(0);
  body.push_back(kIndexOfIndexes);
  Append32(body, static_cast<uint32_t>(riffs_.size()));
  Append32(body, chunk_id_);
  for (int i = 0; i < 3; ++i) Append32(body, 0);
  for (const RiffIndex& riff : riffs_) {
    Append64(body, riff.offset);
    Append32(body, riff.bytes);
    Append32(body, riff.units);
  }
  body.resize(kSuperIndexHeader + kSuperIndexEntry * kSuperIndexEntries);
  AppendChunk(chunk, FourCc("indx"), body);
  return chunk;
}

}  // namespace tkmjpg::tool
