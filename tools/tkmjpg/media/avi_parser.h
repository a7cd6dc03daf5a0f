// Where the frames of an AVI file lie.
//
// The file is walked chunk by chunk, whatever its index says: the index of an unfinished file is
// missing, that of an edited one wrong, and a plain one ends at the first gigabyte. So the sizes of
// RIFF and LIST are not believed either; each list that can hold frames is stepped into. Where
// the walk meets bytes that are no chunk it looks for the next one. The index is then compared
// with what was found.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/tkmjpg/media/byte_source.h"
#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/sound.h"

namespace tkmjpg::tool {

struct AviFrame {
  uint64_t offset = 0;  // of the frame's first byte
  uint32_t size = 0;    // 0: the last frame again
};

enum class AviIndex { kNone, kRight, kWrong };
enum class AviVideoKind { kMotionJpeg, kAny };  // kAny: uncompressed video too

struct AviSound {
  int stream = -1;  // its number
  SoundFormat format;
  std::vector<AviFrame> chunks;
};

// Uncompressed video.
struct AviBitmap {
  uint32_t bits = 0;  // a pixel; 0: the video is Motion-JPEG
  bool top_down = false;
};

struct AviFile {
  std::string fourcc;  // of the video stream
  int stream = -1;     // its number
  VideoFormat format;  // width and height 0 where the file has none
  AviBitmap bitmap;
  bool open_dml = false;
  std::string comment;  // of the file
  AviIndex index = AviIndex::kNone;
  std::vector<AviFrame> frames;
  std::vector<AviSound> sound;
  std::vector<std::string> problems;  // what was stepped over, and where
};

// Throws InputError, its text without the file's name, if this is no AVI file or has no such video.
AviFile ParseAvi(const ByteSource& source, AviVideoKind video = AviVideoKind::kMotionJpeg);

}  // namespace tkmjpg::tool
