#include "tools/tkmjpg/commands/film_input.h"

#include <algorithm>
#include <utility>

#include "tkmjpg.h"
#include "tools/tkmjpg/commands/frame_decoder.h"
#include "tools/tkmjpg/commands/line_arrangement.h"
#include "tools/tkmjpg/commands/other_images.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/terminal/interrupt.h"

namespace tkmjpg::tool {
namespace {

// Frames that may be empty or damaged before the first undamaged one.
constexpr size_t kMostAhead = 16;
constexpr size_t kJudgedFrames = 8;
constexpr int64_t kBelievedPixels = 1 << 26;  // of a picture that is made of little data

// Coded pictures are up to 15 pixels wider and 15 lines higher than what they show. An odd line is
// left out of fields.
bool IsRounded(int coded, int shown) { return shown > 0 && shown <= coded && coded - shown <= 15; }

// A file's word is taken where the stream can be such a picture, whole or made of fields.
bool Fits(const VideoFormat& format, const ImageAnalysis& image) {
  return IsRounded(image.width, format.width) &&
         (IsRounded(image.height, format.height) || IsRounded(image.height, format.height / 2));
}

}  // namespace

FilmInput::FilmInput(const std::string& path, const StreamOptions& options, uint32_t flags)
    : path_(path),
      stream_(OpenStream(path, options)),
      options_(options),
      flags_(flags),
      format_(stream_.reader->Format()) {
  CatchInterrupts();
  problems_ = stream_.Problems();
  while (ahead_.size() < kMostAhead && ReadAhead()) {
    const FrameAnalysis frame = AnalyseFrame(ahead_.back());
    if (frame.images.empty() || frame.images[0].width == 0 || frame.images[0].height == 0) continue;
    if (frame.images[0].SizeIsImpossible()) continue;
    SettleFormat(frame);
    SettleFields(frame);
    return;
  }
}

// What is wrong with a later frame is for its reader.
bool FilmInput::ReadAhead() {
  if (after_them_) return false;
  try {
    Bytes stream;
    if (!stream_.reader->Read(stream)) return false;
    ahead_.push_back(std::move(stream));
    return true;
  } catch (const InputError&) {
    after_them_ = std::current_exception();
    return false;
  }
}

// Whatever its field code says. Fields have half the lines that the file states.
bool FilmInput::IsWholeFrame(const FrameAnalysis& frame) const {
  return !frame.IsFieldPair() && IsWholeHeight(frame.images[0], format_.height);
}

void FilmInput::SettleFormat(const FrameAnalysis& frame) {
  const ImageAnalysis& image = frame.images[0];
  size_from_stream_ = true;
  format_.chroma = image.loss.empty() ? Chroma::k422 : ChromaOf(image);
  const int width = format_.width, height = format_.height;
  if (!Fits(format_, image)) {
    format_.height = IsWholeFrame(frame) ? image.height : frame.PictureHeight();
    format_.width = image.width;
    if (width != 0 || height != 0) {
      problems_.push_back("says " + std::to_string(width) + "x" + std::to_string(height) +
                          ", the stream is " + std::to_string(format_.width) + "x" +
                          std::to_string(format_.height));
    }
  }
  SettleRange(image, properties_);
  if (options_.range != "auto") {
    properties_.range = options_.range == "full" ? Range::kFull : Range::kLimited;
    properties_.range_from = FilmProperties::RangeFrom::kOption;
  }
  format_.range = properties_.range;
  if (format_.range == Range::kFull) flags_ |= TKMJPG_D_FULL_RANGE;
}

void FilmInput::SettleFields(const FrameAnalysis& frame) {
  const ImageAnalysis& image = frame.images[0];
  properties_.fields =
      (frame.HasFieldCode() || image.height < format_.height) && !IsWholeFrame(frame);
  if (properties_.fields) SettleLines(frame);
  if (!properties_.fields || !frame.IsFieldPair() || (flags_ & TKMJPG_D_ONE_FIELD) != 0) {
    format_.field_order = FieldOrder::kProgressive;
  } else if (image.marks.lines || format_.field_order == FieldOrder::kProgressive) {
    format_.field_order = OrderOf(frame);
  }
}

// The decoder puts the first image on the odd lines, unless it is told otherwise.
void FilmInput::SettleLines(const FrameAnalysis& frame) {
  using From = FilmProperties::LinesFrom;
  const ImageAnalysis& image = frame.images[0];
  if (options_.first_image != "auto") {
    properties_.lines_from = From::kOption;
    flags_ |= kIgnoreLinesMarks;
    if (options_.first_image == "top") flags_ |= TKMJPG_D_INVERT_FIELDS;
  } else if (image.marks.lines) {
    properties_.lines_from = From::kMark;
    if (image.marks.lines == FieldLines::kEven) flags_ |= TKMJPG_D_INVERT_FIELDS;
  } else {
    flags_ |= TKMJPG_D_USE_AVI1_MARKERS;
    properties_.lines_from = frame.HasFieldCode() ? From::kCodes : From::kConvention;
    const bool cheap = int64_t{format_.width} * format_.height <= kBelievedPixels;
    if (frame.IsFieldPair() && cheap) JudgePictures();
  }
  const bool by_code = (flags_ & TKMJPG_D_USE_AVI1_MARKERS) != 0 && image.field_code == 2;
  const bool even = ((flags_ & TKMJPG_D_INVERT_FIELDS) != 0) != by_code;
  properties_.first_image = even ? FieldLines::kEven : FieldLines::kOdd;
}

// Judged is what the field codes say, and so the convention of the writer: a film may hold pairs of
// either order.
void FilmInput::JudgePictures() {
  const FrameDecoder decoder(format_.width, format_.height, TKMJPG_YuYv,
                             flags_ & ~uint32_t{TKMJPG_D_ONE_FIELD});
  LineArrangement lines;
  Picture picture;
  size_t next = 0;
  for (size_t judged = 0; judged < kJudgedFrames && !lines.IsCertain(); ++next) {
    if (next == ahead_.size() && (next >= kMostAhead || !ReadAhead())) break;
    if (!AnalyseFrame(ahead_[next]).IsFieldPair()) continue;
    if (!decoder.Decode(ahead_[next], kNewMemory, picture).refusal.empty()) continue;
    lines.Add(picture, format_.height);
    ++judged;
  }
  if (!lines.IsClear()) return;
  properties_.lines_from = FilmProperties::LinesFrom::kPicture;
  properties_.margin = lines.Margin();
  properties_.pictures = lines.Pictures();
  if (lines.IsSwapped()) flags_ |= TKMJPG_D_INVERT_FIELDS;
}

// Which field is the earlier one if the stream does not say it: the first image's.
FieldOrder FilmInput::OrderOf(const FrameAnalysis& frame) const {
  const ImageMarks& marks = frame.images[0].marks;
  const bool later = marks.lines && !marks.earlier;
  const bool even = properties_.first_image == FieldLines::kEven;
  return even != later ? FieldOrder::kTopFirst : FieldOrder::kBottomFirst;
}

// A size that only the file states is believed as far as a picture of it costs little.
void FilmInput::RequireSize() const {
  const int64_t pixels = int64_t{format_.width} * format_.height;
  if (pixels > 0 && (size_from_stream_ || pixels <= kBelievedPixels)) return;
  if (ahead_.empty() && after_them_) std::rethrow_exception(after_them_);
  if (ahead_.empty()) throw InputError(path_ + ": holds no frame");
  throw InputError(path_ + ": frame 0: " + AnalyseFrame(ahead_.front()).refusal);
}

bool FilmInput::Read(Bytes& stream) {
  StopIfInterrupted();
  if (ahead_.empty()) {
    if (after_them_) std::rethrow_exception(std::exchange(after_them_, nullptr));
    const bool more = stream_.reader->Read(stream);
    StopIfInterrupted();  // what was being read then may be half a frame
    return more;
  }
  stream = std::move(ahead_.front());
  ahead_.pop_front();
  return true;
}

int64_t FilmInput::Skip(int64_t frames, Bytes& last) {
  int64_t skipped = 0;
  Bytes stream;
  for (; skipped < frames && (!ahead_.empty() || after_them_) && Read(stream); ++skipped) {
    if (!stream.empty()) std::swap(last, stream);
  }
  if (skipped < frames) skipped += stream_.reader->Skip(frames - skipped, last);
  StopIfInterrupted();
  return skipped;
}

}  // namespace tkmjpg::tool
