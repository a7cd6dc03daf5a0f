#include "tools/tkmjpg/commands/film_input.h"

#include <algorithm>

#include "tkmjpg.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/terminal/interrupt.h"

namespace tkmjpg::tool {
namespace {

constexpr size_t kMostAhead =
    16;  // frames that may be empty or damaged before the first undamaged one

// Coded pictures are up to 15 pixels wider and 15 lines higher than what they show.
bool IsRounded(int coded, int shown) { return shown > 0 && shown <= coded && coded - shown <= 15; }

// A file's word is taken where the stream can be such a picture, whole or made of fields.
bool Fits(const VideoFormat& format, const ImageAnalysis& image) {
  return IsRounded(image.width, format.width) &&
         (IsRounded(image.height, format.height) || IsRounded(2 * image.height, format.height));
}

// Which field is the earlier one if the file does not tell: the first image's. The decoder puts it
// on the odd lines, the bottom field's, unless it is told otherwise.
FieldOrder OrderOf(const FrameAnalysis& frame, uint32_t flags) {
  bool top = (flags & TKMJPG_D_INVERT_FIELDS) != 0;
  const bool by_code = (flags & TKMJPG_D_USE_AVI1_MARKERS) != 0;
  if (by_code && frame.images[0].field_code.value_or(0) == 2) top = !top;
  return top ? FieldOrder::kTopFirst : FieldOrder::kBottomFirst;
}

}  // namespace

FilmInput::FilmInput(const std::string& path, const StreamOptions& options, uint32_t flags)
    : path_(path), stream_(OpenStream(path, options)), format_(stream_.reader->Format()) {
  CatchInterrupts();
  problems_ = stream_.Problems();
  for (Bytes stream; ahead_.size() < kMostAhead && stream_.reader->Read(stream);) {
    ahead_.push_back(stream);
    const FrameAnalysis frame = AnalyseFrame(stream);
    if (frame.images.empty() || frame.images[0].width == 0 || frame.images[0].height == 0) continue;
    if (frame.images[0].SizeIsImpossible()) continue;
    SettleFormat(frame, flags);
    return;
  }
}

void FilmInput::SettleFormat(const FrameAnalysis& frame, uint32_t flags) {
  const ImageAnalysis& image = frame.images[0];
  size_from_stream_ = true;
  const int width = format_.width, height = format_.height;
  if (!Fits(format_, image)) {
    format_.width = image.width;
    format_.height = frame.PictureHeight();
    if (width != 0 || height != 0) {
      problems_.push_back("says " + std::to_string(width) + "x" + std::to_string(height) +
                          ", the stream is " + std::to_string(format_.width) + "x" +
                          std::to_string(format_.height));
    }
  }
  const bool fields =
      frame.IsFieldPair() && (frame.HasFieldCode() || image.height < format_.height);
  if (!fields || (flags & TKMJPG_D_ONE_FIELD) != 0) {
    format_.field_order = FieldOrder::kProgressive;
  } else if (format_.field_order == FieldOrder::kProgressive) {
    format_.field_order = OrderOf(frame, flags);
  }
}

// A size that only the file states is believed as far as a picture of it costs little.
void FilmInput::RequireSize() const {
  constexpr int64_t kBelievedPixels = 1 << 26;
  const int64_t pixels = int64_t{format_.width} * format_.height;
  if (pixels > 0 && (size_from_stream_ || pixels <= kBelievedPixels)) return;
  if (ahead_.empty()) throw InputError(path_ + ": holds no frame");
  throw InputError(path_ + ": frame 0: " + AnalyseFrame(ahead_.front()).refusal);
}

bool FilmInput::Read(Bytes& stream) {
  StopIfInterrupted();
  if (ahead_.empty()) return stream_.reader->Read(stream);
  stream = std::move(ahead_.front());
  ahead_.pop_front();
  return true;
}

}  // namespace tkmjpg::tool
