#include "tools/tkmjpg/media/jpeg_sequence_reader.h"

#include "tools/tkmjpg/media/input_file.h"

namespace tkmjpg::tool {

bool JpegSequenceReader::Read(Bytes& stream) {
  if (next_ == files_.Count()) return false;
  ReadWholeFile(files_.Name(next_++), stream);
  return true;
}

}  // namespace tkmjpg::tool
