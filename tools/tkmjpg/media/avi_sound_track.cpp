#include "tools/tkmjpg/media/avi_sound_track.h"

#include <algorithm>
#include <limits>
#include <string>

#include "tools/tkmjpg/media/riff_bytes.h"

namespace tkmjpg::tool {
namespace {

// "01wb" of `before` 0 and `after` "wb", "ix01" the other way round.
uint32_t NumberedId(const std::string& before, uint32_t stream, const std::string& after) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  const std::string id = before + kDigits[stream >> 4 & 15] + kDigits[stream & 15] + after;
  uint32_t code = 0;
  for (size_t i = 4; i > 0; --i) code = code << 8 | static_cast<uint8_t>(id[i - 1]);
  return code;
}

}  // namespace

AviSoundTrack::AviSoundTrack(std::shared_ptr<SoundReader> reader, uint32_t stream)
    : reader_(std::move(reader)),
      track_(NumberedId("", stream, "wb"), NumberedId("ix", stream, "")),
      clock_(reader_->Format()),
      end_(std::numeric_limits<double>::infinity()) {}

bool AviSoundTrack::Fetch() {
  if (waiting_ || at_end_) return waiting_;
  waiting_ = reader_->Read(chunk_);
  at_end_ = !waiting_;
  return waiting_;
}

const Bytes* AviSoundTrack::Next(double seconds) {
  if (clock_.Seconds() >= std::min(seconds, end_) || !Fetch()) return nullptr;
  waiting_ = false;
  if (end_ < std::numeric_limits<double>::infinity() && reader_->Format().IsCuttable()) {
    chunk_.resize(std::min(chunk_.size(), clock_.BytesUntil(end_)));
  }
  clock_.Add(chunk_.size());
  return &chunk_;
}

Bytes AviSoundTrack::EndRiff(uint64_t riff_start, uint64_t at) {
  const auto units = static_cast<uint32_t>(clock_.Units() - indexed_);
  indexed_ = clock_.Units();
  return track_.EndRiff(riff_start, at, units);
}

Bytes AviSoundTrack::StreamHeader() const {
  constexpr uint32_t kDefaultQuality = 0xFFFFFFFF;
  const SoundFormat& format = reader_->Format();
  const auto length = static_cast<uint32_t>(std::min<uint64_t>(clock_.Units(), UINT32_MAX));
  Bytes body, chunk;
  // Initial frames are 0: each frame comes after the sound that is heard while it is seen.
  for (const uint32_t word :
       {FourCc("auds"), format.handler, format.flags, format.language, uint32_t{0}, format.scale,
        format.rate, format.start, length, track_.LargestChunk(), kDefaultQuality,
        format.sample_size, uint32_t{0}, uint32_t{0}}) {
    Append32(body, word);
  }
  AppendChunk(chunk, FourCc("strh"), body);
  return chunk;
}

Bytes AviSoundTrack::Headers() const {
  Bytes stream = StreamHeader();
  AppendChunk(stream, FourCc("strf"), reader_->Format().wave);
  Append(stream, track_.SuperIndex());
  return List(FourCc("strl"), stream);
}

}  // namespace tkmjpg::tool
