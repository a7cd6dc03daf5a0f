// Where frames and streams come from and go to. Files are read and written in sequence by one
// thread; what costs time for each frame (Unpack, Pack) is const and runs on any thread.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tools/tkmjpg/media/planar_rows.h"

namespace tkmjpg::tool {

using Bytes = std::vector<uint8_t>;

struct Rational {
  int64_t num = 0;
  int64_t den = 1;
};

enum class FieldOrder { kProgressive, kTopFirst, kBottomFirst };

// Of luma and chroma: 16 to 235 and 240, or 0 to 255.
enum class Range { kLimited, kFull };

struct VideoFormat {
  int width = 0;
  int height = 0;
  Rational rate{25, 1};         // frames a second
  Rational pixel_aspect{0, 0};  // 0:0 when unknown
  FieldOrder field_order = FieldOrder::kProgressive;
  Range range = Range::kLimited;  // of YUV frames; RGB has its own
  // AVI with Motion-JPEG: the header goes on after the BITMAPINFOHEADER. Players that know this
  // put the first image of a field pair on line 0, else on line 1.
  bool extended_header = true;
  bool rate_assumed = false;     // nothing tells the rate
  Chroma chroma = Chroma::k422;  // what planes lose nothing with; packed layouts have their own
};

// Raw pictures, top line first, lines without padding, in one TKMJPG_ layout of the public header,
// or in planes.
struct Picture {
  uint32_t layout = 0;  // 0: planes
  int64_t stride = 0;   // width x bytes per pixel; 0 for planes
  PlanarFormat planes;
  Bytes pixels;
};

// Frames that are not as they were coded.
struct DamageCount {
  int64_t frames = 0;
  int64_t first = 0;
  std::string what;  // of the first

  void Add(const DamageCount& other) {
    if (other.frames > 0 && (frames == 0 || other.first < first)) {
      first = other.first;
      what = other.what;
    }
    frames += other.frames;
  }
};

class SoundReader;
using SoundTracks = std::vector<std::shared_ptr<SoundReader>>;

// Raw frames in: Y4M, PNG sequence, raw, test card, films that are decoded.
class FrameReader {
 public:
  virtual ~FrameReader() = default;
  virtual const VideoFormat& Format() const = 0;
  virtual SoundTracks OpenSound() { return {}; }     // each time from the beginning
  virtual int64_t FrameCount() const { return -1; }  // -1 when unknown
  // The next frame's bytes as the file holds them; false at the end. Throws InputError on damage;
  // all frames before it have been delivered then.
  virtual bool Read(Bytes& raw) = 0;
  // Passes over so many frames; returns how many there were, fewer only at the end. Where the file
  // tells where its frames lie, they are not read.
  virtual int64_t Skip(int64_t frames) {
    Bytes raw;
    int64_t skipped = 0;
    while (skipped < frames && Read(raw)) ++skipped;
    return skipped;
  }
  virtual void Unpack(const Bytes& raw, Picture& picture) const = 0;
  // What was wrong with the input all the same, one line each; known at the end.
  virtual std::vector<std::string> Problems() const { return {}; }
  virtual DamageCount Damaged() const { return {}; }  // of the frames so far
};

// Raw frames out: Y4M, PNG sequence, raw, uncompressed AVI, checksum.
class FrameWriter {
 public:
  virtual ~FrameWriter() = default;
  virtual uint32_t Layout() const = 0;  // the TKMJPG_ layout that Pack wants, or 0: planes
  virtual void Pack(const Picture& picture, Bytes& packed) const = 0;
  virtual void Write(const Bytes& packed) = 0;
  virtual void EndSoundHere() {}  // none goes on after the frames that are written by now
  virtual void Finish() = 0;      // makes the file whole and gives it its final name
};

// Compressed frames in: AVI, MJPG, JPEG sequence, other containers.
class StreamReader {
 public:
  virtual ~StreamReader() = default;
  virtual const VideoFormat& Format() const = 0;
  virtual SoundTracks OpenSound() { return {}; }  // each time from the beginning
  virtual int64_t FrameCount() const { return -1; }
  // The next frame; false at the end. An empty stream stands for the last frame again.
  virtual bool Read(Bytes& stream) = 0;
  // Passes over so many frames; returns how many there were, fewer only at the end. The last of
  // them that is not empty is put into `last`: the next one may stand for it.
  virtual int64_t Skip(int64_t frames, Bytes& last) {
    Bytes stream;
    int64_t skipped = 0;
    for (; skipped < frames && Read(stream); ++skipped) {
      if (!stream.empty()) std::swap(last, stream);
    }
    return skipped;
  }
};

// Compressed frames out: AVI, MJPG, JPEG sequence.
class StreamWriter {
 public:
  virtual ~StreamWriter() = default;
  virtual void Write(const Bytes& stream) = 0;
  virtual void EndSoundHere() {}  // none goes on after the frames that are written by now
  // Replaces the comment that the file was opened with.
  virtual void SetComment(const std::string& /*comment*/) {}
  virtual void Finish() = 0;  // makes the file whole and gives it its final name
};

}  // namespace tkmjpg::tool
