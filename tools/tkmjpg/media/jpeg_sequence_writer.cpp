#include "tools/tkmjpg/media/jpeg_sequence_writer.h"

#include <filesystem>

#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {

JpegSequenceWriter::JpegSequenceWriter(const std::string& pattern, Overwrite overwrite)
    : names_(pattern), overwrite_(overwrite) {
  if (overwrite == Overwrite::kRefuse && std::filesystem::exists(names_.Name(0))) {
    throw UsageError(names_.Name(0) + ": exists; --force replaces it");
  }
}

void JpegSequenceWriter::Write(const Bytes& stream) {
  if (next_ > 0 && !names_.IsNumbered()) {
    throw UsageError(names_.Name(0) + ": holds one frame only; name more as frame_%04d.jpg");
  }
  OutputFile file(names_.Name(next_++), overwrite_);
  file.WriteWhole(stream);
  file.Finish();
}

}  // namespace tkmjpg::tool
