#include "tools/tkmjpg/media/avi_index.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "tools/tkmjpg/media/avi_parser.h"

namespace tkmjpg::tool {
namespace {

// The index as frame positions; a zero-length frame may be indexed anywhere, so it counts as 0.
uint64_t PositionOf(uint64_t offset, uint32_t size) { return size == 0 ? 0 : offset; }

int StreamOfIndex(const std::string& id) {
  int stream = -1;
  if (id.starts_with("ix")) std::from_chars(id.data() + 2, id.data() + 4, stream, 16);
  return stream;
}

bool IsAt(const ByteSource& source, uint64_t offset, const char* id) {
  std::array<uint8_t, 4> found{};
  return source.Read(offset, found) == found.size() &&
         std::equal(found.begin(), found.end(), id,
                    [](uint8_t byte, char letter) { return byte == static_cast<uint8_t>(letter); });
}

bool IsPrefix(const std::vector<uint64_t>& entries, const AviFile& file, size_t count) {
  if (entries.size() != count) return false;
  for (size_t i = 0; i < count; ++i) {
    if (entries[i] != PositionOf(file.frames[i].offset, file.frames[i].size)) return false;
  }
  return true;
}

}  // namespace

void AviIndexCheck::Take(const std::string& id, uint64_t offset, uint64_t size) {
  if (id == "idx1") plain_.push_back({offset, size, -1});
  if (StreamOfIndex(id) >= 0) open_dml_.push_back({offset, size, StreamOfIndex(id)});
}

// Offsets of idx1 count from the start of the file, if the first chunk is there, or from the word
// "movi".
std::vector<uint64_t> AviIndexCheck::EntriesOfPlainIndex(const ByteSource& source,
                                                         const AviFile& file) const {
  std::vector<uint64_t> entries;
  std::array<uint8_t, 16> entry{};
  uint64_t base = 0;
  bool first = true;
  for (uint64_t at = 0; at + entry.size() <= plain_[0].size; at += entry.size()) {
    if (source.Read(plain_[0].offset + at, entry) < entry.size()) break;
    int stream = -1;
    const char* id = reinterpret_cast<const char*>(entry.data());
    std::from_chars(id, id + 2, stream, 16);
    if (stream != file.stream || id[2] != 'd') continue;
    const uint64_t offset = Little32(&entry[8]);
    if (first && !movi_.empty() && !IsAt(source, offset, id)) base = movi_[0];
    first = false;
    entries.push_back(PositionOf(base + offset + 8, Little32(&entry[12])));
  }
  return entries;
}

// OpenDML standard index: 24 bytes of header, then offset of the data and size of each frame.
std::vector<uint64_t> AviIndexCheck::EntriesOfOpenDml(const ByteSource& source,
                                                      const AviFile& file) const {
  std::vector<uint64_t> entries;
  for (const Part& part : open_dml_) {
    std::array<uint8_t, 24> header{};
    if (part.stream != file.stream || source.Read(part.offset, header) < header.size()) continue;
    const uint64_t base = Little64(&header[12]);
    const uint64_t capacity = part.size < header.size() ? 0 : (part.size - header.size()) / 8;
    const uint64_t count = std::min<uint64_t>(Little32(&header[4]), capacity);
    for (uint64_t i = 0; i < count; ++i) {
      std::array<uint8_t, 8> entry{};
      if (source.Read(part.offset + header.size() + 8 * i, entry) < entry.size()) break;
      const uint32_t size = Little32(&entry[4]) & 0x7FFFFFFF;  // the top bit: no key frame
      entries.push_back(PositionOf(base + Little32(&entry[0]), size));
    }
  }
  return entries;
}

AviIndex AviIndexCheck::Check(const ByteSource& source, const AviFile& file) const {
  if (plain_.empty() && open_dml_.empty()) return AviIndex::kNone;
  bool right = true;
  if (!open_dml_.empty()) {
    right = IsPrefix(EntriesOfOpenDml(source, file), file, file.frames.size());
  }
  if (!plain_.empty()) {
    // Only the first RIFF has one; the frames of the others are left to the OpenDML index.
    const auto after = std::partition_point(
        file.frames.begin(), file.frames.end(),
        [this](const AviFrame& frame) { return frame.offset < plain_[0].offset; });
    const size_t count = static_cast<size_t>(after - file.frames.begin());
    right = right && IsPrefix(EntriesOfPlainIndex(source, file), file, count);
    right = right && (count == file.frames.size() || !open_dml_.empty());
  }
  return right ? AviIndex::kRight : AviIndex::kWrong;
}

}  // namespace tkmjpg::tool
