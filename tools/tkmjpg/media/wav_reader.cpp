#include "tools/tkmjpg/media/wav_reader.h"

#include <algorithm>
#include <array>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/byte_source.h"

namespace tkmjpg::tool {
namespace {

constexpr uint32_t kChunksPerSecond = 25;
constexpr size_t kMostFormatBytes = 65536;
constexpr uint64_t kMostChunkBytes = 1 << 24;

class WavReader : public SoundReader {
 public:
  explicit WavReader(const std::string& path) : path_(path), source_(OpenByteSource(path)) {
    std::array<uint8_t, 12> head{};
    source_->Read(0, head);
    const std::string form(head.begin(), head.begin() + 4);
    if ((form != "RIFF" && form != "RF64") || std::string(head.begin() + 8, head.end()) != "WAVE") {
      Fail("is no WAV file");
    }
    uint64_t at = head.size();
    while (end_ == 0) at = ReadHeader(at);
    const uint64_t wanted = format_.BytesPerSecond() / kChunksPerSecond;
    const uint64_t block = format_.sample_size;
    chunk_bytes_ = std::clamp(wanted, block, std::max(kMostChunkBytes, block)) / block * block;
  }

  const SoundFormat& Format() const override { return format_; }

  bool Read(Bytes& chunk) override {
    chunk.resize(std::min(chunk_bytes_, end_ - next_));
    if (source_->Read(next_, chunk) < chunk.size()) {
      Fail("cannot be read at byte " + std::to_string(next_));
    }
    next_ += chunk.size();
    return !chunk.empty();
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const { throw InputError(path_ + ": " + what); }

  // Deals with the chunk at `at`; returns where the next one is.
  uint64_t ReadHeader(uint64_t at) {
    std::array<uint8_t, 8> head{};
    if (source_->Read(at, head) < head.size()) Fail("has no sound: no data chunk");
    const std::string id(head.begin(), head.begin() + 4);
    uint64_t size = Little32(&head[4]);
    at += head.size();
    const uint64_t left = source_->Size() - at;
    if (id == "ds64") {
      std::array<uint8_t, 16> sizes{};
      source_->Read(at, sizes);
      long_data_bytes_ = Little64(&sizes[8]);
    } else if (id == "fmt ") {
      TakeFormat(at, size);
    } else if (id == "data") {
      if (format_.wave.empty()) Fail("has its sound before its format");
      if (size == UINT32_MAX && long_data_bytes_ != 0) size = long_data_bytes_;
      // Who writes to a pipe cannot tell the size.
      if (size == 0 || size > left) size = left;
      const uint64_t block = format_.sample_size;
      if (size < block) Fail("holds no sound");
      next_ = at;
      end_ = at + size / block * block;
    }
    return at + std::min(size + size % 2, left);
  }

  void TakeFormat(uint64_t at, uint64_t size) {
    format_.wave.resize(std::clamp<uint64_t>(size, 16, kMostFormatBytes));
    source_->Read(at, format_.wave);
    const bool pcm =
        format_.Tag() != 0 && format_.BitsPerSample() != 0 &&
        format_.BlockBytes() == format_.Channels() * ((format_.BitsPerSample() + 7) / 8);
    // The blocks of MP3 and AC-3 are no frames.
    const bool frames = format_.Tag() == kWaveMp3 || format_.Tag() == kWaveAc3;
    format_.sample_size = frames ? 1 : std::max(format_.BlockBytes(), 1U);
    format_.scale = pcm ? 1 : format_.sample_size;
    format_.rate = pcm ? format_.SamplesPerSecond() : format_.BytesPerSecond();
    if (format_.rate == 0) Fail("does not tell its rate");
  }

  std::string path_;
  std::unique_ptr<ByteSource> source_;
  SoundFormat format_;
  uint64_t long_data_bytes_ = 0;
  uint64_t chunk_bytes_ = 0;
  uint64_t next_ = 0, end_ = 0;
};

}  // namespace

std::shared_ptr<SoundReader> OpenWav(const std::string& path) {
  return std::make_shared<WavReader>(path);
}

}  // namespace tkmjpg::tool
