// Where frames and streams come from and go to. Files are read and written in sequence by one
// thread; what costs time for each frame (Unpack, Pack) is const and runs on any thread.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tkmjpg::tool {

using Bytes = std::vector<uint8_t>;

struct Rational {
  int64_t num = 0;
  int64_t den = 1;
};

enum class FieldOrder { kProgressive, kTopFirst, kBottomFirst };

struct VideoFormat {
  int width = 0;
  int height = 0;
  Rational rate{25, 1};         // frames a second
  Rational pixel_aspect{0, 0};  // 0:0 when unknown
  FieldOrder field_order = FieldOrder::kProgressive;
};

// Raw pictures, top line first, lines without padding, in one TKMJPG_ layout of the public header.
struct Picture {
  uint32_t layout = 0;
  int64_t stride = 0;  // width x bytes per pixel
  Bytes pixels;
};

// Raw frames in: Y4M, PNG sequence, raw, test card.
class FrameReader {
 public:
  virtual ~FrameReader() = default;
  virtual const VideoFormat& Format() const = 0;
  virtual int64_t FrameCount() const { return -1; }  // -1 when unknown
  // The next frame's bytes as the file holds them; false at the end. Throws InputError on damage;
  // all frames before it have been delivered then.
  virtual bool Read(Bytes& raw) = 0;
  virtual void Unpack(const Bytes& raw, Picture& picture) const = 0;
};

// Raw frames out: Y4M, PNG sequence, raw, uncompressed AVI, checksum.
class FrameWriter {
 public:
  virtual ~FrameWriter() = default;
  virtual uint32_t Layout() const = 0;  // the TKMJPG_ layout that Pack wants
  virtual void Pack(const Picture& picture, Bytes& packed) const = 0;
  virtual void Write(const Bytes& packed) = 0;
  virtual void Finish() = 0;  // makes the file whole and gives it its final name
};

// Compressed frames in: AVI, MJPG, JPEG sequence.
class StreamReader {
 public:
  virtual ~StreamReader() = default;
  virtual const VideoFormat& Format() const = 0;
  virtual int64_t FrameCount() const { return -1; }
  // The next frame; false at the end. An empty stream stands for the last frame again.
  virtual bool Read(Bytes& stream) = 0;
};

// Compressed frames out: AVI, MJPG, JPEG sequence.
class StreamWriter {
 public:
  virtual ~StreamWriter() = default;
  virtual void Write(const Bytes& stream) = 0;
  virtual void Finish() = 0;  // makes the file whole and gives it its final name
};

}  // namespace tkmjpg::tool
