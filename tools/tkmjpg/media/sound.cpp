#include "tools/tkmjpg/media/sound.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tools/tkmjpg/media/byte_source.h"
#include "tools/tkmjpg/media/riff_bytes.h"

namespace tkmjpg::tool {
namespace {

constexpr struct {
  uint32_t tag;
  const char* name;
} kCodecs[] = {{kWavePcm, "PCM"},    {2, "ADPCM"},           {kWaveFloat, "PCM float"},
               {kWaveAlaw, "A-law"}, {kWaveMulaw, "mu-law"}, {0x11, "IMA ADPCM"},
               {0x50, "MPEG audio"}, {kWaveMp3, "MP3"},      {kWaveAac, "AAC"},
               {0x160, "WMA"},       {0x161, "WMA"},         {kWaveAc3, "AC-3"},
               {0x2001, "DTS"}};

uint64_t UnitsAt(const SoundFormat& format, double seconds) {
  constexpr double kMostUnits = 1e12;
  return static_cast<uint64_t>(
      std::min(std::round(seconds * format.rate / format.scale), kMostUnits));
}

// Passes over what comes before a time, and ends at another.
class PartOfSound : public SoundReader {
 public:
  PartOfSound(std::shared_ptr<SoundReader> sound, double begin, double end)
      : sound_(std::move(sound)), format_(sound_->Format()) {
    const uint64_t first = UnitsAt(format_, begin), last = UnitsAt(format_, end);
    const uint64_t start = format_.start;
    format_.start = static_cast<uint32_t>(start - std::min(first, start));
    to_skip_ = (std::max(first, start) - start) * format_.sample_size;
    left_ = (std::max(last, start) - std::max(first, start)) * format_.sample_size;
  }

  const SoundFormat& Format() const override { return format_; }

  bool Read(Bytes& chunk) override {
    while (left_ > 0 && sound_->Read(chunk)) {
      const auto skipped = std::min<uint64_t>(to_skip_, chunk.size());
      to_skip_ -= skipped;
      if (skipped == chunk.size() && skipped > 0) continue;
      chunk.erase(chunk.begin(), chunk.begin() + static_cast<ptrdiff_t>(skipped));
      chunk.resize(std::min<uint64_t>(left_, chunk.size()));
      left_ -= chunk.size();
      return true;
    }
    return false;
  }

 private:
  std::shared_ptr<SoundReader> sound_;
  SoundFormat format_;
  uint64_t to_skip_ = 0, left_ = 0;  // bytes
};

class ChunksOfSound : public SoundReader {
 public:
  ChunksOfSound(std::shared_ptr<SoundReader> sound, double begin, double end)
      : sound_(std::move(sound)), format_(sound_->Format()), clock_(format_), end_(end) {
    Bytes chunk;
    while (clock_.Seconds() < begin && sound_->Read(chunk)) clock_.Add(chunk.size());
    const uint64_t at = format_.start + clock_.Units();
    format_.start = static_cast<uint32_t>(at - std::min(at, UnitsAt(format_, begin)));
  }

  const SoundFormat& Format() const override { return format_; }

  bool Read(Bytes& chunk) override {
    if (clock_.Seconds() >= end_ || !sound_->Read(chunk)) return false;
    clock_.Add(chunk.size());
    return true;
  }

 private:
  std::shared_ptr<SoundReader> sound_;
  SoundFormat format_;
  SoundClock clock_;
  double end_;
};

}  // namespace

uint32_t SoundFormat::Tag() const {
  constexpr size_t kSubFormat = 24;
  const uint32_t tag = Little16(&wave[0]);
  const bool has_sub_format = tag == kWaveExtensible && wave.size() >= kSubFormat + 16;
  return has_sub_format ? Little16(&wave[kSubFormat]) : tag;
}
uint32_t SoundFormat::Channels() const { return Little16(&wave[2]); }
uint32_t SoundFormat::SamplesPerSecond() const { return Little32(&wave[4]); }
uint32_t SoundFormat::BytesPerSecond() const { return Little32(&wave[8]); }
uint32_t SoundFormat::BlockBytes() const { return Little16(&wave[12]); }
uint32_t SoundFormat::BitsPerSample() const { return Little16(&wave[14]); }

bool SoundFormat::IsCuttable() const {
  const uint32_t tag = Tag();
  const bool plain = tag == kWavePcm || tag == kWaveFloat || tag == kWaveAlaw || tag == kWaveMulaw;
  return plain && sample_size != 0 && sample_size == BlockBytes();
}

std::string SoundFormat::CodecName() const {
  for (const auto& codec : kCodecs) {
    if (codec.tag == Tag()) return codec.name;
  }
  char text[16];
  std::snprintf(text, sizeof text, "0x%04X", Tag());
  return std::string("format ") + text;
}

std::string SoundFormat::Description() const {
  std::string text = CodecName() + ", " + std::to_string(SamplesPerSecond()) + " Hz, " +
                     std::to_string(Channels()) + (Channels() == 1 ? " channel" : " channels");
  if (IsCuttable()) return text + ", " + std::to_string(BitsPerSample()) + " bits";
  const uint32_t kbits = (BytesPerSecond() * 8 + 500) / 1000;
  return kbits == 0 ? text : text + ", about " + std::to_string(kbits) + " kbit/s";
}

Bytes WaveFormat(const WaveFields& fields, const Bytes& more) {
  Bytes wave;
  Append16(wave, fields.tag);
  Append16(wave, fields.channels);
  Append32(wave, fields.samples_per_second);
  Append32(wave, fields.bytes_per_second);
  Append16(wave, fields.block_bytes);
  Append16(wave, fields.bits);
  Append16(wave, static_cast<uint32_t>(more.size()));
  wave.insert(wave.end(), more.begin(), more.end());
  return wave;
}

SoundClock::SoundClock(const SoundFormat& format)
    : seconds_per_unit_(static_cast<double>(format.scale) / format.rate),
      start_seconds_(format.start * seconds_per_unit_),
      sample_size_(format.sample_size),
      block_bytes_(std::max(format.BlockBytes(), 1U)) {
  // Of so few bytes a block is no frame of a codec, and the chunk is.
  if (block_bytes_ < 64) block_bytes_ = UINT32_MAX;
}

void SoundClock::Add(size_t bytes) {
  bytes_ += bytes;
  blocks_ += (bytes + block_bytes_ - 1) / block_bytes_;
}

uint64_t SoundClock::Units() const { return sample_size_ == 0 ? blocks_ : bytes_ / sample_size_; }

double SoundClock::Seconds() const {
  return start_seconds_ + static_cast<double>(Units()) * seconds_per_unit_;
}

size_t SoundClock::BytesUntil(double seconds) const {
  const double units = std::round((seconds - start_seconds_) / seconds_per_unit_);
  const double bytes = units * static_cast<double>(sample_size_) - static_cast<double>(bytes_);
  return bytes > 0 ? static_cast<size_t>(bytes) : 0;
}

std::shared_ptr<SoundReader> SoundBetween(std::shared_ptr<SoundReader> sound, double begin,
                                          double end) {
  return std::make_shared<PartOfSound>(std::move(sound), begin, end);
}

std::shared_ptr<SoundReader> SoundChunksBetween(std::shared_ptr<SoundReader> sound, double begin,
                                                double end) {
  return std::make_shared<ChunksOfSound>(std::move(sound), begin, end);
}

}  // namespace tkmjpg::tool
