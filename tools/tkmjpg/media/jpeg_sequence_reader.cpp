#include "tools/tkmjpg/media/jpeg_sequence_reader.h"

#include <filesystem>

#include "tools/tkmjpg/media/input_file.h"

namespace tkmjpg::tool {

JpegSequenceReader::JpegSequenceReader(const std::string& pattern) : names_(pattern) {
  const bool from_one = names_.IsNumbered() && !std::filesystem::exists(names_.Name(0)) &&
                        std::filesystem::exists(names_.Name(1));
  first_ = next_ = from_one ? 1 : 0;
}

bool JpegSequenceReader::Read(Bytes& stream) {
  if (next_ > first_ && (!names_.IsNumbered() || !std::filesystem::exists(names_.Name(next_)))) {
    return false;
  }
  ReadWholeFile(names_.Name(next_++), stream);
  return true;
}

}  // namespace tkmjpg::tool
