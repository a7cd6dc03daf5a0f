#include "tools/tkmjpg/media/jpeg_sequence_reader.h"

#include <algorithm>

#include "tools/tkmjpg/media/input_file.h"

namespace tkmjpg::tool {

bool JpegSequenceReader::Read(Bytes& stream) {
  if (next_ == files_.Count()) return false;
  ReadWholeFile(files_.Name(next_++), stream);
  return true;
}

int64_t JpegSequenceReader::Skip(int64_t frames, Bytes& last) {
  const int64_t count = std::min(frames, files_.Count() - next_);
  next_ += count;
  if (count > 0) ReadWholeFile(files_.Name(next_ - 1), last);
  return count;
}

}  // namespace tkmjpg::tool
