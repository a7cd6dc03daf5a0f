#include "tools/tkmjpg/media/mjpg_reader.h"

#include <algorithm>
#include <cstring>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {
namespace {

constexpr size_t kBlock = 1 << 20;
constexpr size_t kLongestFrame = 256 << 20;

// An alpha segment says nothing of its length and may hold any bytes. Only an image that begins
// as all of this encoder's do ends it.
size_t FindTaggedImage(std::span<const uint8_t> bytes, size_t from) {
  for (size_t at = FindImage(bytes, from); at < bytes.size(); at = FindImage(bytes, at + 2)) {
    const bool has_tag = at + 10 <= bytes.size() && bytes[at + 3] == 0xE0 &&
                         (std::memcmp(&bytes[at + 6], "AVI1", 4) == 0 ||
                          std::memcmp(&bytes[at + 6], "JFIF", 4) == 0);
    if (has_tag) return at;
  }
  return bytes.size();
}

bool IsAlphaSegment(std::span<const uint8_t> bytes, size_t at) {
  return at + 8 <= bytes.size() && std::memcmp(&bytes[at],
                                               "\xFF\xE1\0\x08"
                                               "ALPH",
                                               8) == 0;
}

}  // namespace

MjpgReader::MjpgReader(std::unique_ptr<InputFile> file, Bytes first_bytes, bool pairs,
                       const VideoFormat& format)
    : file_(std::move(file)), buffer_(std::move(first_bytes)), pairs_(pairs), format_(format) {}

// More bytes each time, so that a long frame is not walked again and again.
bool MjpgReader::Fetch() {
  if (at_end_) return false;
  if (Rest().size() > kLongestFrame) {
    file_->Fail("frame " + std::to_string(frames_) + ": no end within 256 MiB");
  }
  buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<ptrdiff_t>(begin_));
  begin_ = 0;
  const size_t size = buffer_.size();
  buffer_.resize(size + std::max(size, kBlock));
  const size_t n = file_->Read(std::span(buffer_).subspan(size));
  at_end_ = size + n < buffer_.size();
  buffer_.resize(size + n);
  return true;
}

// Steps over what is before the first image.
void MjpgReader::SkipToImage() {
  for (;;) {
    const size_t gap = FindImage(Rest(), 0);
    const bool found = gap < Rest().size();
    // The last two bytes may be the beginning of an image.
    begin_ += found || at_end_ ? gap : gap - std::min<size_t>(gap, 2);
    if (found || !Fetch()) return;
  }
}

// Where the image at `begin` and what belongs to it ends, which is where another begins.
size_t MjpgReader::FindImageEnd(size_t begin, int& field_code) const {
  const std::span<const uint8_t> bytes = Rest();
  const ImageAnalysis image = AnalyseImage(bytes, begin);
  field_code = image.field_code.value_or(0);
  if (field_code == 0 && image.marks.lines) {
    field_code = image.marks.lines == FieldLines::kEven ? 1 : 2;
  }
  if (!image.complete) {
    if (image.end == bytes.size() && !at_end_) return image.end;
    return FindImage(bytes, std::max(begin + 2, image.scan_begin));
  }
  if (IsAlphaSegment(bytes, image.end)) return FindTaggedImage(bytes, image.end);
  return FindImage(bytes, image.end);
}

// Rest().size() if the end is not known before more is read.
size_t MjpgReader::FindFrameEnd() const {
  int first = 0, second = 0;
  const size_t end = FindImageEnd(0, first);
  if (end == Rest().size() || (first == 0 && !pairs_)) return end;
  const size_t second_end = FindImageEnd(end, second);
  if (second_end == Rest().size() && !at_end_) return second_end;
  const bool is_pair = first != 0 ? second != 0 && second != first : pairs_;
  return is_pair ? second_end : end;
}

bool MjpgReader::Read(Bytes& stream) {
  SkipToImage();
  if (Rest().empty()) {
    if (frames_ == 0) file_->Fail("no JPEG image in it");
    return false;
  }
  size_t end = FindFrameEnd();
  while (end == Rest().size() && Fetch()) end = FindFrameEnd();
  const std::span<const uint8_t> frame = Rest().first(end);
  stream.assign(frame.begin(), frame.end());
  begin_ += end;
  ++frames_;
  return true;
}

}  // namespace tkmjpg::tool
