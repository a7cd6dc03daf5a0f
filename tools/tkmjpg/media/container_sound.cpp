#include "tools/tkmjpg/media/container_sound.h"

#include <algorithm>
#include <cmath>

#include "tools/tkmjpg/media/riff_bytes.h"

namespace tkmjpg::tool {
namespace {

// Bytes that a packet has at most: readers count the blocks in a chunk, and one it has to be.
constexpr uint32_t kLargestAc3 = 3840, kLargestAac = 768;  // of a frame; of a channel of it

// Samples that are stored one by one. AVI has them with the low byte first, and those of one byte
// without a sign.
struct PlainSamples {
  AVCodecID codec;
  uint32_t tag, bits;
  bool other_order;
};
constexpr PlainSamples kPlain[] = {
    {AV_CODEC_ID_PCM_U8, kWavePcm, 8, false},       {AV_CODEC_ID_PCM_S8, kWavePcm, 8, true},
    {AV_CODEC_ID_PCM_S16LE, kWavePcm, 16, false},   {AV_CODEC_ID_PCM_S16BE, kWavePcm, 16, true},
    {AV_CODEC_ID_PCM_S24LE, kWavePcm, 24, false},   {AV_CODEC_ID_PCM_S24BE, kWavePcm, 24, true},
    {AV_CODEC_ID_PCM_S32LE, kWavePcm, 32, false},   {AV_CODEC_ID_PCM_S32BE, kWavePcm, 32, true},
    {AV_CODEC_ID_PCM_F32LE, kWaveFloat, 32, false}, {AV_CODEC_ID_PCM_F32BE, kWaveFloat, 32, true},
    {AV_CODEC_ID_PCM_F64LE, kWaveFloat, 64, false}, {AV_CODEC_ID_PCM_F64BE, kWaveFloat, 64, true},
    {AV_CODEC_ID_PCM_ALAW, kWaveAlaw, 8, false},    {AV_CODEC_ID_PCM_MULAW, kWaveMulaw, 8, false}};

const PlainSamples* FindPlain(AVCodecID codec) {
  const auto* const found = std::ranges::find(kPlain, codec, &PlainSamples::codec);
  return found == std::end(kPlain) ? nullptr : found;
}

SoundFormat PlainFormat(const PlainSamples& plain, uint32_t channels, uint32_t rate) {
  const uint32_t block = channels * plain.bits / 8;
  SoundFormat format;
  format.wave = WaveFormat({plain.tag, channels, rate, rate * block, block, plain.bits});
  format.rate = rate;
  format.sample_size = block;
  return format;
}

// One packet a chunk, each so many samples long.
SoundFormat PacketFormat(WaveFields fields, uint32_t samples, const Bytes& more,
                         const PacketTotals& totals) {
  const double seconds =
      static_cast<double>(totals.packets) * samples / std::max(fields.samples_per_second, 1U);
  const double average = seconds > 0 ? static_cast<double>(totals.bytes) / seconds : 0;
  fields.bytes_per_second = static_cast<uint32_t>(std::min(average, 1e9));
  SoundFormat format;
  format.wave = WaveFormat(fields, more);
  format.scale = samples;
  format.rate = fields.samples_per_second;
  return format;
}

// MPEGLAYER3WAVEFORMAT
SoundFormat Mp3Format(uint32_t channels, uint32_t rate, const PacketTotals& totals) {
  constexpr uint32_t kId = 1, kNoPadding = 2, kCodecDelay = 1393;
  const uint32_t samples = rate >= 32000 ? 1152 : 576;
  // Readers take a chunk for as many frames as it has such blocks.
  const auto block = static_cast<uint32_t>(std::clamp(totals.largest, int(samples), 0xFFFF));
  Bytes more;
  Append16(more, kId);
  Append32(more, kNoPadding);
  Append16(more, block);
  Append16(more, 1);
  Append16(more, kCodecDelay);
  return PacketFormat({kWaveMp3, channels, rate, 0, block, 0}, samples, more, totals);
}

class ContainerSound : public SoundReader {
 public:
  ContainerSound(std::unique_ptr<Demuxer> demuxer, int stream, SoundFormat format,
                 const PacketTotals& totals, double video_start)
      : demuxer_(std::move(demuxer)), format_(std::move(format)) {
    demuxer_->SelectOnly(stream);
    const AVStream& described = *demuxer_->Context().streams[stream];
    plain_ = FindPlain(described.codecpar->codec_id);
    if (totals.first_time == AV_NOPTS_VALUE) return;
    const double start =
        static_cast<double>(totals.first_time) * described.time_base.num / described.time_base.den -
        video_start;
    const double units = std::round(start * format_.rate / format_.scale);
    if (units > 0) format_.start = static_cast<uint32_t>(std::min(units, 4e9));
    if (units < 0) to_skip_ = static_cast<uint64_t>(std::min(-units, 1e15));
  }

  const SoundFormat& Format() const override { return format_; }

  bool Read(Bytes& chunk) override {
    while (const AVPacket* packet = demuxer_->Read()) {
      chunk.assign(packet->data, packet->data + packet->size);
      if (plain_ != nullptr) {
        SkipSamples(chunk);
      } else if (to_skip_ > 0) {
        --to_skip_;
        continue;
      }
      if (!chunk.empty()) return true;
    }
    return false;
  }

 private:
  void SkipSamples(Bytes& chunk) {
    const uint64_t sample = format_.sample_size;
    chunk.resize(chunk.size() / sample * sample);
    const uint64_t skipped = std::min(to_skip_, chunk.size() / sample);
    to_skip_ -= skipped;
    chunk.erase(chunk.begin(), chunk.begin() + static_cast<ptrdiff_t>(skipped * sample));
    if (!plain_->other_order) return;
    const size_t bytes = plain_->bits / 8;
    if (bytes == 1) {
      for (uint8_t& value : chunk) value ^= 0x80;
      return;
    }
    for (size_t at = 0; at + bytes <= chunk.size(); at += bytes) {
      std::reverse(chunk.begin() + static_cast<ptrdiff_t>(at),
                   chunk.begin() + static_cast<ptrdiff_t>(at + bytes));
    }
  }

  std::unique_ptr<Demuxer> demuxer_;
  SoundFormat format_;
  const PlainSamples* plain_ = nullptr;
  uint64_t to_skip_ = 0;  // units before the picture begins
};

}  // namespace

std::optional<SoundFormat> AviSoundFormat(const AVCodecParameters& codec,
                                          const PacketTotals& totals) {
  constexpr int kMostChannels = 255, kMostRate = 10'000'000;
  const int channel_count = codec.ch_layout.nb_channels;
  if (channel_count < 1 || channel_count > kMostChannels) return std::nullopt;
  if (codec.sample_rate < 1 || codec.sample_rate > kMostRate) return std::nullopt;
  const auto channels = static_cast<uint32_t>(channel_count);
  const auto rate = static_cast<uint32_t>(codec.sample_rate);
  if (const PlainSamples* plain = FindPlain(codec.codec_id)) {
    return PlainFormat(*plain, channels, rate);
  }
  const Bytes extra(codec.extradata, codec.extradata + codec.extradata_size);
  switch (codec.codec_id) {
    case AV_CODEC_ID_MP3:
      return Mp3Format(channels, rate, totals);
    case AV_CODEC_ID_AC3:
      return PacketFormat({kWaveAc3, channels, rate, 0, kLargestAc3, 0}, 1536, {}, totals);
    case AV_CODEC_ID_AAC:  // without the headers that are in the stream elsewhere
      if (extra.empty() || extra.size() > 0xFFFF) return std::nullopt;
      return PacketFormat({kWaveAac, channels, rate, 0, channels * kLargestAac, 16}, 1024, extra,
                          totals);
    default:
      return std::nullopt;
  }
}

std::shared_ptr<SoundReader> OpenContainerSound(std::unique_ptr<Demuxer> demuxer, int stream,
                                                const SoundFormat& format,
                                                const PacketTotals& totals, double video_start) {
  return std::make_shared<ContainerSound>(std::move(demuxer), stream, format, totals, video_start);
}

}  // namespace tkmjpg::tool
