#include "tools/tkmjpg/streams/frame_form.h"

#include <algorithm>
#include <optional>

#include "frame/marker_segments.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {
namespace {

class FramePut {
 public:
  FramePut(std::span<const uint8_t> frame, const FrameForm& form, std::vector<uint8_t>& out)
      : frame_(frame), form_(form), out_(out) {}

  void Run() {
    const FrameAnalysis analysis = AnalyseFrame(frame_);
    size_t n = 0;
    for (const ImageAnalysis* image : analysis.Pictures()) PutImage(*image, form_.marks[n++]);
    if (analysis.alpha_offset != 0) Append(analysis.alpha_offset, frame_.size());
  }

 private:
  void Append(size_t begin, size_t end) {
    const auto bytes = frame_.subspan(begin, end - begin);
    out_.insert(out_.end(), bytes.begin(), bytes.end());
  }

  void PutImage(const ImageAnalysis& image, const ImageMarks& marks) {
    const size_t begin = out_.size();
    out_.insert(out_.end(), {0xFF, kSoi});
    PutHeaders(image, marks);
    Append(image.scan_begin, image.data_end);
    const size_t data_size = out_.size() - begin;
    if (image.Fill() != 0) out_.resize(out_.size() + FillSize(out_.size()), 0xFF);
    if (!image.sizes) return;
    const size_t place = begin + image.sizes->offset - image.begin;  // before the marks
    std::ranges::copy(SizeFieldBytes(out_.size() - begin, data_size),
                      out_.begin() + static_cast<ptrdiff_t>(place));
  }

  void PutHeaders(const ImageAnalysis& image, const ImageMarks& marks) {
    for (const Segment& segment : image.segments) {
      Append(segment.offset, segment.end);
      if (segment.marker == kSof0) PutSize(out_.size() - (segment.end - segment.payload));
      if (segment.marker != kApp0) continue;
      const std::vector<uint8_t> comments = MarkSegments(marks);
      out_.insert(out_.end(), comments.begin(), comments.end());
    }
  }

  // `payload` is where that of SOF0 begins: precision, height, width.
  void PutSize(size_t payload) {
    const int sizes[] = {form_.height, form_.width};
    for (size_t i = 0; i < 2; ++i) {
      out_[payload + 1 + 2 * i] = static_cast<uint8_t>(sizes[i] >> 8);
      out_[payload + 2 + 2 * i] = static_cast<uint8_t>(sizes[i]);
    }
  }

  std::span<const uint8_t> frame_;
  const FrameForm& form_;
  std::vector<uint8_t>& out_;
};

}  // namespace

size_t FrameForm::MarkBytes() const {
  size_t bytes = 0;
  for (size_t i = 0; i < images; ++i) bytes += MarkSegments(marks[i]).size();
  return bytes;
}

void PutFrame(std::span<const uint8_t> frame, const FrameForm& form, std::vector<uint8_t>& out) {
  out.clear();
  out.reserve(frame.size() + 256);
  FramePut(frame, form, out).Run();
}

}  // namespace tkmjpg::tool
