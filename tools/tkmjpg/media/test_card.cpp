#include "tools/tkmjpg/media/test_card.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdlib>
#include <cstring>

#include "tkmjpg.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/video_text.h"

namespace tkmjpg::tool {
namespace {

constexpr int64_t kDefaultFrames = 100;

struct Colour {
  int r, g, b;
};

constexpr Colour Grey(int v) { return {v, v, v}; }

// Up and down again with a period of 512: [0, 255].
constexpr int Triangle(int64_t v) {
  const int wrapped = static_cast<int>(v & 511);
  return wrapped < 256 ? wrapped : 511 - wrapped;
}

// Digits of 3x5 dots, a row in each octal digit, the top one first.
constexpr std::array<int, 10> kDigits = {075557, 026227, 071747, 071717, 055711,
                                         074717, 074757, 071111, 075757, 075717};

bool DigitDot(int digit, int x, int y) {
  return (kDigits[digit] >> (3 * (4 - y) + 2 - x) & 1) != 0;
}

// Four bands and a disc over them; `time` counts fields.
class Card {
 public:
  Card(const VideoFormat& format, int64_t time)
      : width_(format.width), height_(format.height), band_((height_ + 3) / 4), time_(time) {
    radius_ = std::max(std::min(width_, height_) / 8, 1);
    disc_x_ = Bounce(time * 3, width_);
    disc_y_ = Bounce(time * 2, height_);
  }

  void DrawLine(int y, uint8_t* bgra) const {
    for (int x = 0; x < width_; ++x, bgra += 4) {
      const bool in_disc = InDisc(x, y);
      const Colour colour = in_disc ? Disc(x, y) : Background(x, y);
      bgra[0] = static_cast<uint8_t>(colour.b);
      bgra[1] = static_cast<uint8_t>(colour.g);
      bgra[2] = static_cast<uint8_t>(colour.r);
      bgra[3] = static_cast<uint8_t>(in_disc ? 255 : 255 * x / width_);
    }
  }

 private:
  int Bounce(int64_t way, int size) const {
    const int64_t span = std::max(size - 2 * radius_, 1);
    const int64_t at = way % (2 * span);
    return static_cast<int>(radius_ + (at < span ? at : 2 * span - at));
  }

  bool InDisc(int x, int y) const {
    const int64_t dx = x - disc_x_, dy = y - disc_y_;
    return dx * dx + dy * dy <= int64_t{radius_} * radius_;
  }

  Colour Disc(int x, int y) const {
    const int shade = 128 * (x - disc_x_ + y - disc_y_ + 2 * radius_) / (4 * radius_);
    return {255 - shade, 96 + shade, 32};
  }

  Colour Background(int x, int y) const {
    switch (y / band_) {
      case 0:
        return Slopes(x, y);
      case 1:
        return Lines(x, y - band_);
      case 2:
        return Text(x, y - 2 * band_);
      default:
        return Rings(x, y);
    }
  }

  // A grey ramp over a slow drift of hues.
  Colour Slopes(int x, int y) const {
    if (2 * y < band_) return Grey(255 * x / width_);
    const int64_t hue = int64_t{768} * x / width_ + time_;
    return {Triangle(hue), Triangle(hue + 170), Triangle(hue + 341)};
  }

  // Vertical lines of 1 to 4 pixels, then horizontal and slanted ones.
  Colour Lines(int x, int y) const {
    const int part = std::min(6 * x / width_, 5);
    const int at = part < 4 ? x / (part + 1) : part == 4 ? y : (2 * x + 3 * y) / 4;
    return at % 2 != 0 ? Grey(235) : Grey(20);
  }

  // Columns of digits in three sizes that scroll to the left.
  Colour Text(int x, int y) const {
    const int dot = 1 + std::min(3 * y / band_, 2);
    const int64_t column = (x + time_) / dot;
    const int row = y / dot;
    const auto in_x = static_cast<int>(column % 4);
    if (in_x == 3 || row % 6 == 5) return Grey(240);
    const auto digit = static_cast<int>((column / 4 * 7 + row / 6 * 3) % 10);
    return DigitDot(digit, in_x, row % 6) ? Colour{16, 16, 64} : Grey(240);
  }

  // Rings that grow finer to the outside and move inwards.
  Colour Rings(int x, int y) const {
    const int64_t dx = x - width_ / 2, dy = y - height_;
    const int64_t phase = (dx * dx + dy * dy) * 512 / (int64_t{16} * band_) + time_ * 16;
    const int v = Triangle(phase);
    return {v, 255 - v / 2, 128 + v / 4};
  }

  int width_, height_, band_;
  int64_t time_;
  int radius_, disc_x_ = 0, disc_y_ = 0;
};

class TestCard : public FrameReader {
 public:
  TestCard(const VideoFormat& format, int64_t frames) : format_(format), frames_(frames) {}

  const VideoFormat& Format() const override { return format_; }
  int64_t FrameCount() const override { return frames_; }

  bool Read(Bytes& raw) override {
    if (next_ == frames_) return false;
    raw.resize(sizeof next_);
    std::memcpy(raw.data(), &next_, sizeof next_);
    ++next_;
    return true;
  }

  int64_t Skip(int64_t frames) override {
    const int64_t count = std::min(frames, frames_ - next_);
    next_ += count;
    return count;
  }

  void Unpack(const Bytes& raw, Picture& picture) const override {
    int64_t frame = 0;
    std::memcpy(&frame, raw.data(), sizeof frame);
    picture.layout = TKMJPG_BGRA;
    picture.stride = int64_t{4} * format_.width;
    picture.pixels.resize(static_cast<size_t>(picture.stride * format_.height));
    const Card first(format_, 2 * frame), second(format_, 2 * frame + 1);
    for (int y = 0; y < format_.height; ++y) {
      (IsSecondField(y) ? second : first).DrawLine(y, picture.pixels.data() + picture.stride * y);
    }
  }

 private:
  bool IsSecondField(int y) const {
    if (format_.field_order == FieldOrder::kProgressive) return false;
    return y % 2 == (format_.field_order == FieldOrder::kTopFirst ? 1 : 0);
  }

  VideoFormat format_;
  int64_t frames_;
  int64_t next_ = 0;
};

int64_t ParseFrames(const std::string& name, const std::string& text) {
  int64_t frames = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), frames);
  if (error != std::errc() || end != text.data() + text.size() || frames < 1) {
    throw UsageError(name + ": '" + text + "' is no number of frames");
  }
  return frames;
}

}  // namespace

std::unique_ptr<FrameReader> OpenTestCard(const std::string& name, FieldOrder field_order) {
  const std::string text = name.substr(std::strlen(kTestCardPrefix));
  const size_t at = text.find('@');
  const size_t colon = text.find(':');
  VideoFormat format;
  format.field_order = field_order;
  format.pixel_aspect = {1, 1};
  ParseSize(name, text.substr(0, std::min(at, colon)), format);
  if (at != std::string::npos) {
    const size_t length = colon == std::string::npos ? colon : colon - at - 1;
    format.rate = ParseRate(name, text.substr(at + 1, length));
  }
  const int64_t frames =
      colon == std::string::npos ? kDefaultFrames : ParseFrames(name, text.substr(colon + 1));
  return std::make_unique<TestCard>(format, frames);
}

}  // namespace tkmjpg::tool
