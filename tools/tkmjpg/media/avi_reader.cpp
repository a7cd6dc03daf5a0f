#include "tools/tkmjpg/media/avi_reader.h"

#include <algorithm>

#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

// Some writers put all the sound into one chunk. What can be cut is read piece by piece.
constexpr uint64_t kMostPieceBytes = 1 << 18;

class AviSoundReader : public SoundReader {
 public:
  AviSoundReader(std::shared_ptr<const ByteSource> source, std::string name,
                 std::shared_ptr<const AviFile> file, size_t sound)
      : source_(std::move(source)),
        name_(std::move(name)),
        file_(std::move(file)),
        sound_(file_->sound[sound]) {}

  const SoundFormat& Format() const override { return sound_.format; }

  bool Read(Bytes& chunk) override {
    if (next_ == sound_.chunks.size()) return false;
    const AviFrame& whole = sound_.chunks[next_];
    const uint64_t left = whole.size - done_;
    const uint32_t sample = sound_.format.sample_size;
    const uint64_t piece =
        sample == 0 ? left
                    : std::min(left, std::max<uint64_t>(kMostPieceBytes / sample, 1) * sample);
    chunk.resize(piece);
    if (source_->Read(whole.offset + done_, chunk) < piece) {
      throw InputError(name_ + ": sound stream " + std::to_string(sound_.stream) +
                       ": cannot be read at byte " + std::to_string(whole.offset + done_));
    }
    done_ += piece;
    if (done_ < whole.size) return true;
    done_ = 0;
    ++next_;
    return true;
  }

 private:
  std::shared_ptr<const ByteSource> source_;
  std::string name_;
  std::shared_ptr<const AviFile> file_;
  const AviSound& sound_;
  size_t next_ = 0;
  uint64_t done_ = 0;  // of the next chunk
};

}  // namespace

AviReader::AviReader(std::unique_ptr<ByteSource> source, const std::string& name,
                     AviVideoKind video)
    : source_(std::move(source)), name_(name) {
  try {
    file_ = std::make_shared<AviFile>(ParseAvi(*source_, video));
  } catch (const InputError& error) {
    throw InputError(name_ + ": " + error.what());
  }
}

bool AviReader::Read(Bytes& stream) {
  if (next_ == file_->frames.size()) return false;
  ReadFrame(next_++, stream);
  return true;
}

void AviReader::ReadFrame(size_t number, Bytes& stream) const {
  const AviFrame& frame = file_->frames[number];
  stream.resize(frame.size);
  if (source_->Read(frame.offset, stream) < frame.size) {
    throw InputError(name_ + ": frame " + std::to_string(number) + ": cannot be read");
  }
}

int64_t AviReader::Skip(int64_t frames, Bytes& last) {
  const size_t count = static_cast<size_t>(
      std::min(static_cast<uint64_t>(frames), uint64_t{file_->frames.size() - next_}));
  size_t before = count;
  while (before > 0 && file_->frames[next_ + before - 1].size == 0) --before;
  if (before > 0) ReadFrame(next_ + before - 1, last);
  next_ += count;
  return static_cast<int64_t>(count);
}

SoundTracks AviReader::OpenSound() {
  SoundTracks tracks;
  for (size_t i = 0; i < file_->sound.size(); ++i) {
    tracks.push_back(std::make_shared<AviSoundReader>(source_, name_, file_, i));
  }
  return tracks;
}

}  // namespace tkmjpg::tool
