// Sound that goes along with a film: chunks whose bytes are never changed, and what the stream
// header of an AVI file says of them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

// Format tags of WAVEFORMATEX.
inline constexpr uint32_t kWavePcm = 1, kWaveFloat = 3, kWaveAlaw = 6, kWaveMulaw = 7,
                          kWaveMp3 = 0x55, kWaveAac = 0xFF, kWaveAc3 = 0x2000,
                          kWaveExtensible = 0xFFFE;

struct SoundFormat {
  Bytes wave;  // a WAVEFORMATEX and what its codec adds; 16 bytes at least
  uint32_t handler = 0, flags = 0, language = 0;
  // Units of `scale` / `rate` seconds. One is `sample_size` bytes; 0: one is a chunk, or a block of
  // it where the format says how large blocks are.
  uint32_t scale = 1, rate = 1, sample_size = 0;
  uint32_t start = 0;  // units after the first frame

  uint32_t Tag() const;  // for kWaveExtensible, that of its sub-format
  uint32_t Channels() const;
  uint32_t SamplesPerSecond() const;
  uint32_t BytesPerSecond() const;
  uint32_t BlockBytes() const;
  uint32_t BitsPerSample() const;

  // Every block is a sample of all channels, so that it can be cut anywhere.
  bool IsCuttable() const;
  std::string CodecName() const;    // "PCM", "MP3", or the tag
  std::string Description() const;  // "PCM, 48000 Hz, 2 channels, 16 bits"
};

// A WAVEFORMATEX of 18 bytes with `more` after it.
struct WaveFields {
  uint32_t tag, channels, samples_per_second, bytes_per_second, block_bytes, bits;
};
Bytes WaveFormat(const WaveFields& fields, const Bytes& more = {});

class SoundReader {
 public:
  virtual ~SoundReader() = default;
  virtual const SoundFormat& Format() const = 0;
  virtual bool Read(Bytes& chunk) = 0;  // the next chunk; false at the end
};

// How far a stream has come, counted as its header says.
class SoundClock {
 public:
  explicit SoundClock(const SoundFormat& format);
  void Add(size_t bytes);
  uint64_t Units() const;  // without the start
  double Seconds() const;  // since the first frame
  size_t BytesUntil(double seconds) const;

 private:
  double seconds_per_unit_, start_seconds_;
  uint64_t sample_size_, block_bytes_;
  uint64_t bytes_ = 0, blocks_ = 0;
};

// The part of a cuttable sound from `begin` to `end` seconds after the first frame.
std::shared_ptr<SoundReader> SoundBetween(std::shared_ptr<SoundReader> sound, double begin,
                                          double end);

// The chunks, whole, that begin from `begin` to `end` seconds after the first frame.
std::shared_ptr<SoundReader> SoundChunksBetween(std::shared_ptr<SoundReader> sound, double begin,
                                                double end);

}  // namespace tkmjpg::tool
