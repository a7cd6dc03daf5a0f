#include "tools/tkmjpg/media/avi_reader.h"

#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {

AviReader::AviReader(std::unique_ptr<ByteSource> source, const std::string& name)
    : source_(std::move(source)), name_(name) {
  try {
    file_ = ParseAvi(*source_);
  } catch (const InputError& error) {
    throw InputError(name_ + ": " + error.what());
  }
}

bool AviReader::Read(Bytes& stream) {
  if (next_ == file_.frames.size()) return false;
  const AviFrame& frame = file_.frames[next_++];
  stream.resize(frame.size);
  if (source_->Read(frame.offset, stream) < frame.size) {
    throw InputError(name_ + ": frame " + std::to_string(next_ - 1) + ": cannot be read");
  }
  return true;
}

}  // namespace tkmjpg::tool
