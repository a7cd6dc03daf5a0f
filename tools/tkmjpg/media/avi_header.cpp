#include "tools/tkmjpg/media/avi_header.h"

#include <algorithm>
#include <cctype>
#include <numeric>
#include <string_view>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/avi_parser.h"

namespace tkmjpg::tool {
namespace {

constexpr uint32_t kMaxSide = 65535;  // of an image, by its SOF0
constexpr size_t kMostStreams = 256;  // two hexadecimal digits number them
constexpr size_t kLeastFormatBytes = 16, kMostFormatBytes = 65536;  // of sound

std::string FourccAt(std::span<const uint8_t> bytes, size_t offset) {
  return {bytes.begin() + offset, bytes.begin() + offset + 4};
}

// The names of Motion-JPEG, in any case.
bool IsMotionJpeg(const std::string& fourcc) {
  std::string upper = fourcc;
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  constexpr std::string_view kNames[] = {"MJPG", "JPEG", "MJPA", "DMB1", "DMB2", "AVRN"};
  return std::ranges::find(kNames, upper) != std::end(kNames);
}

// As `strf` names them: BI_RGB, and two layouts of packed YUV.
bool IsUncompressed(const std::string& compression) {
  return compression == std::string(4, '\0') || compression == "YUY2" || compression == "YUYV" ||
         compression == "UYVY";
}

// Height counts down in bitmaps that are stored top-down.
uint32_t Magnitude(uint32_t side) { return side > INT32_MAX ? 0U - side : side; }

Rational Reduced(int64_t num, int64_t den) {
  const int64_t divisor = std::gcd(num, den);
  return divisor == 0 ? Rational{0, 0} : Rational{num / divisor, den / divisor};
}

std::string Printable(const std::string& fourcc) {
  std::string text = fourcc;
  for (char& c : text) {
    if (c < 0x20 || c > 0x7E) c = '?';
  }
  return text;
}

}  // namespace

void AviHeaders::Take(const ByteSource& source, const std::string& id, uint64_t offset,
                      uint32_t size) {
  std::array<uint8_t, 72> fields{};  // fields after a short chunk read as 0
  source.Read(offset, {fields.data(), std::min<size_t>(size, fields.size())});
  if (id == "avih") {
    frame_microseconds_ = Little32(&fields[0]);
    width_ = Little32(&fields[32]);
    height_ = Little32(&fields[36]);
  } else if (id == "strh") {
    TakeStreamHeader(fields);
  } else if (id == "strf" && !streams_.empty()) {
    TakeFormat(streams_.back(), fields);
    TakeSoundFormat(streams_.back(), source, offset, size);
  } else if (id == "vprp" && !streams_.empty()) {
    streams_.back().frame_aspect = Little32(&fields[20]);
    streams_.back().fields = Little32(&fields[32]);
    streams_.back().first_line = Little32(&fields[64]);
  }
}

void AviHeaders::TakeStreamHeader(std::span<const uint8_t> bytes) {
  Stream stream;
  stream.type = FourccAt(bytes, 0);
  stream.handler = FourccAt(bytes, 4);
  stream.scale = Little32(&bytes[20]);
  stream.rate = Little32(&bytes[24]);
  SoundFormat& sound = stream.sound;
  sound.handler = Little32(&bytes[4]);
  sound.flags = Little32(&bytes[8]);
  sound.language = Little32(&bytes[12]);
  sound.scale = stream.scale;
  sound.rate = stream.rate;
  sound.start = Little32(&bytes[28]);
  sound.sample_size = Little32(&bytes[44]);
  streams_.push_back(stream);
}

void AviHeaders::TakeFormat(Stream& stream, std::span<const uint8_t> bytes) {
  if (stream.type != "vids") return;
  stream.width = Magnitude(Little32(&bytes[4]));
  stream.height = Magnitude(Little32(&bytes[8]));
  stream.top_down = Little32(&bytes[8]) > INT32_MAX;
  stream.bits = Little16(&bytes[14]);
  stream.compression = FourccAt(bytes, 16);
  constexpr uint32_t kOffset = 44, kSize = 24, kYCbCr = 2;
  stream.extended = Little32(&bytes[40]) == kOffset && Little32(&bytes[44]) == kSize &&
                    Little32(&bytes[52]) == kYCbCr;
}

void AviHeaders::TakeSoundFormat(Stream& stream, const ByteSource& source, uint64_t offset,
                                 uint32_t size) {
  if (stream.type != "auds") return;
  SoundFormat& sound = stream.sound;
  sound.wave.resize(std::min<size_t>(size, kMostFormatBytes));
  sound.wave.resize(source.Read(offset, sound.wave));
  sound.wave.resize(std::max(sound.wave.size(), kLeastFormatBytes));
  if (sound.scale != 0 && sound.rate != 0) return;
  sound.scale = std::max(sound.BlockBytes(), 1U);
  sound.rate = sound.BytesPerSecond();
  sound.sample_size = sound.scale;
}

void AviHeaders::ChooseStream(AviFile& file, AviVideoKind video) const {
  ChooseVideo(file, video);
  for (size_t i = 0; i < streams_.size() && i < kMostStreams; ++i) {
    if (streams_[i].type != "auds" || streams_[i].sound.wave.empty()) continue;
    if (streams_[i].sound.rate == 0) {
      file.problems.push_back("sound stream " + std::to_string(i) + " does not tell its rate");
      continue;
    }
    file.sound.push_back({static_cast<int>(i), streams_[i].sound, {}});
  }
}

void AviHeaders::ChooseVideo(AviFile& file, AviVideoKind video) const {
  std::string other;
  for (size_t i = 0; i < streams_.size() && i < kMostStreams; ++i) {
    const Stream& stream = streams_[i];
    if (stream.type != "vids") continue;
    const bool by_format = IsMotionJpeg(stream.compression);
    const bool motion_jpeg = by_format || IsMotionJpeg(stream.handler);
    const bool uncompressed = IsUncompressed(stream.compression);
    if (motion_jpeg || (video == AviVideoKind::kAny && uncompressed)) {
      file.stream = static_cast<int>(i);
      file.fourcc = by_format || uncompressed ? stream.compression : stream.handler;
      file.format = FormatOf(stream);
      if (uncompressed && !motion_jpeg) file.bitmap = {stream.bits, stream.top_down};
      return;
    }
    if (other.empty()) other = uncompressed ? "uncompressed" : stream.compression;
    if (other.empty()) other = stream.handler;
  }
  if (other.empty()) throw InputError("no video stream");
  if (other == "uncompressed") {
    throw InputError("video is uncompressed; `tkmjpg encode` reads it");
  }
  throw InputError("video is '" + Printable(other) + "'; only Motion-JPEG can be read");
}

VideoFormat AviHeaders::FormatOf(const Stream& stream) const {
  VideoFormat format;
  const bool own = stream.width != 0 && stream.height != 0;
  const uint32_t width = own ? stream.width : width_;
  const uint32_t height = own ? stream.height : height_;
  if (width <= kMaxSide && height <= kMaxSide) {
    format.width = static_cast<int>(width);
    format.height = static_cast<int>(height);
  }
  if (stream.scale != 0 && stream.rate != 0) {
    format.rate = Reduced(stream.rate, stream.scale);
  } else if (frame_microseconds_ != 0) {
    format.rate = Reduced(1000000, frame_microseconds_);
  }
  if (stream.fields == 2) {
    format.field_order = stream.first_line == 0 ? FieldOrder::kTopFirst : FieldOrder::kBottomFirst;
  }
  format.extended_header = stream.extended;
  const int64_t x = stream.frame_aspect >> 16, y = stream.frame_aspect & 0xFFFF;
  if (x != 0 && y != 0 && format.width != 0 && format.height != 0) {
    format.pixel_aspect = Reduced(x * format.height, y * format.width);
  }
  return format;
}

}  // namespace tkmjpg::tool
