#include "tools/tkmjpg/media/avi_writer.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <utility>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/riff_bytes.h"

namespace tkmjpg::tool {
namespace {

constexpr uint32_t kMovi = FourCc("movi");
constexpr uint32_t kKeyFrame = 0x10;         // AVIIF_KEYFRAME
constexpr uint32_t kHasIndex = 0x10;         // AVIF_HASINDEX
constexpr uint32_t kInterleaved = 0x100;     // AVIF_ISINTERLEAVED
constexpr uint32_t kTrustChunkType = 0x800;  // AVIF_TRUSTCKTYPE
constexpr size_t kHeaderAlignment = 2048;
constexpr size_t kOldIndexEntry = 16;
constexpr size_t kMostSound = 254;  // streams: two hexadecimal digits number them

// The nearest ratio with both parts within `limit`.
Rational Limited(Rational ratio, int64_t limit) {
  const int64_t divisor = std::max<int64_t>(std::gcd(ratio.num, ratio.den), 1);
  ratio = {ratio.num / divisor, ratio.den / divisor};
  while (ratio.num > limit || ratio.den > limit) {
    ratio = {std::max<int64_t>((ratio.num + 1) / 2, 1), std::max<int64_t>((ratio.den + 1) / 2, 1)};
  }
  return ratio;
}

Rational Rate(const VideoFormat& format) { return Limited(format.rate, INT32_MAX); }

// Of the whole picture. Unknown pixels count as square.
Rational PictureAspect(const VideoFormat& format) {
  Rational pixel = format.pixel_aspect;
  if (pixel.num <= 0 || pixel.den <= 0) pixel = {1, 1};
  pixel = Limited(pixel, INT32_MAX);
  return Limited({pixel.num * format.width, pixel.den * format.height}, 0xFFFF);
}

Bytes OpenDmlHeader(uint64_t frames) {
  constexpr size_t kReserved = 244;
  Bytes body, chunk;
  Append32(body, static_cast<uint32_t>(frames));
  body.resize(body.size() + kReserved);
  AppendChunk(chunk, FourCc("dmlh"), body);
  return List(FourCc("odml"), chunk);
}

// Of a fixed length, so that it can be replaced.
Bytes Comment(const std::string& comment) {
  constexpr size_t kBytes = 512;
  Bytes body(comment.begin(), comment.begin() + std::min(comment.size(), kBytes - 1)), chunk;
  body.resize(kBytes);
  AppendChunk(chunk, FourCc("ICMT"), body);
  return List(FourCc("INFO"), chunk);
}

}  // namespace

// The extended header that is published for "MJPG": EXBMINFOHEADER with a JPEGINFOHEADER.
AviVideo MjpgAviVideo(const VideoFormat& format) {
  constexpr uint32_t kYCbCr = 2;
  constexpr size_t kPlain = 40;  // BITMAPINFOHEADER
  Bytes header;
  for (const uint32_t word :
       {uint32_t{68}, static_cast<uint32_t>(format.width), static_cast<uint32_t>(format.height),
        uint32_t{24} << 16 | 1, FourCc("MJPG"),
        static_cast<uint32_t>(int64_t{format.width} * format.height * 3 / 2), uint32_t{0},
        uint32_t{0}, uint32_t{0}, uint32_t{0}, uint32_t{44}, uint32_t{24}, uint32_t{0}, kYCbCr,
        uint32_t{8}, uint32_t{2}, uint32_t{1}}) {
    Append32(header, word);
  }
  if (!format.extended_header) {
    header.resize(kPlain);
    header[0] = kPlain;
  }
  return {format,
          FourCc("MJPG"),
          FourCc("00dc"),
          header,
          format.field_order != FieldOrder::kProgressive,
          {}};
}

AviWriter::AviWriter(const std::string& path, AviVideo video, Overwrite overwrite,
                     const SoundTracks& sound, uint64_t riff_bytes)
    : video_(std::move(video)),
      file_(path, overwrite),
      riff_limit_(riff_bytes),
      track_(video_.chunk_id, FourCc("ix00")) {
  if (path == "-") throw UsageError("an AVI file cannot go to standard output; name a file");
  for (const auto& reader : sound) {
    if (sound_.size() == kMostSound) break;
    sound_.emplace_back(reader, static_cast<uint32_t>(sound_.size() + 1));
  }
  file_.Write(Headers());
  BeginMovi();
}

Bytes AviWriter::MainHeader() const {
  const Rational rate = Rate(video_.format);
  const double seconds = static_cast<double>(rate.den) / static_cast<double>(rate.num);
  double bytes_a_second = static_cast<double>(track_.LargestChunk()) / seconds;
  for (const AviSoundTrack& sound : sound_) bytes_a_second += sound.BytesPerSecond();
  Bytes body, chunk;
  for (const uint32_t word :
       {static_cast<uint32_t>(std::min(std::llround(seconds * 1e6), 0xFFFFFFFFLL)),
        static_cast<uint32_t>(std::min(bytes_a_second, 4294967295.0)), uint32_t{0},
        kHasIndex | kTrustChunkType | (sound_.empty() ? 0 : kInterleaved),
        static_cast<uint32_t>(first_riff_frames_), uint32_t{0},
        static_cast<uint32_t>(sound_.size() + 1), LargestChunk(),
        static_cast<uint32_t>(video_.format.width), static_cast<uint32_t>(video_.format.height),
        uint32_t{0}, uint32_t{0}, uint32_t{0}, uint32_t{0}}) {
    Append32(body, word);
  }
  AppendChunk(chunk, FourCc("avih"), body);
  return chunk;
}

Bytes AviWriter::StreamHeader() const {
  constexpr uint32_t kDefaultQuality = 0xFFFFFFFF;
  const Rational rate = Rate(video_.format);
  Bytes body, chunk;
  for (const uint32_t word : {FourCc("vids"), video_.handler, uint32_t{0}, uint32_t{0}, uint32_t{0},
                              static_cast<uint32_t>(rate.den), static_cast<uint32_t>(rate.num),
                              uint32_t{0}, static_cast<uint32_t>(frames_), track_.LargestChunk(),
                              kDefaultQuality, uint32_t{0}, uint32_t{0},
                              (static_cast<uint32_t>(video_.format.width) & 0xFFFF) |
                                  static_cast<uint32_t>(video_.format.height) << 16}) {
    Append32(body, word);
  }
  AppendChunk(chunk, FourCc("strh"), body);
  return chunk;
}

// Fields are listed in the order of time; each says on which line of the frame it begins.
Bytes AviWriter::VideoProperties() const {
  const VideoFormat& format = video_.format;
  const Rational rate = Rate(format), aspect = PictureAspect(format);
  const bool interlaced = format.field_order != FieldOrder::kProgressive;
  const uint32_t fields = interlaced ? 2 : 1;
  const auto width = static_cast<uint32_t>(format.width);
  const auto height = static_cast<uint32_t>(format.height);
  const auto per_second = static_cast<uint32_t>((rate.num + rate.den / 2) / rate.den);
  Bytes body, chunk;
  for (const uint32_t word :
       {uint32_t{0}, uint32_t{0}, per_second * fields, width, height,
        static_cast<uint32_t>(aspect.num) << 16 | static_cast<uint32_t>(aspect.den), width, height,
        fields}) {
    Append32(body, word);
  }
  const uint32_t first_line = format.field_order == FieldOrder::kBottomFirst ? 1 : 0;
  for (uint32_t field = 0; field < fields; ++field) {
    const uint32_t lines = height / fields;
    const uint32_t coded = video_.field_images || !interlaced ? (lines + 7) / 8 * 8 : lines;
    for (const uint32_t word : {coded, width, lines, width, uint32_t{0}, uint32_t{0}, uint32_t{0},
                                interlaced ? first_line ^ field : 0}) {
      Append32(body, word);
    }
  }
  AppendChunk(chunk, FourCc("vprp"), body);
  return chunk;
}

Bytes AviWriter::Headers() const {
  Bytes stream = StreamHeader();
  AppendChunk(stream, FourCc("strf"), video_.stream_format);
  Append(stream, track_.SuperIndex());
  Append(stream, VideoProperties());
  Bytes header = MainHeader();
  Append(header, List(FourCc("strl"), stream));
  for (const AviSoundTrack& sound : sound_) Append(header, sound.Headers());
  Append(header, OpenDmlHeader(frames_));

  Bytes bytes;
  for (const uint32_t word : {FourCc("RIFF"), uint32_t{0}, FourCc("AVI ")}) Append32(bytes, word);
  Append(bytes, List(FourCc("hdrl"), header));
  if (!video_.comment.empty()) Append(bytes, Comment(video_.comment));
  // The movi list begins at a round place, 12 bytes for its own header.
  const size_t used = bytes.size() + 8 + 12;
  AppendChunk(bytes, FourCc("JUNK"), Bytes((kHeaderAlignment - used % kHeaderAlignment), 0));
  return bytes;
}

void AviWriter::BeginRiff() {
  Bytes bytes;
  riff_start_ = file_.Size();
  for (const uint32_t word : {FourCc("RIFF"), uint32_t{0}, FourCc("AVIX")}) Append32(bytes, word);
  file_.Write(bytes);
  BeginMovi();
}

void AviWriter::BeginMovi() {
  Bytes bytes;
  movi_start_ = file_.Size() + 4;
  for (const uint32_t word : {FourCc("LIST"), uint32_t{0}, kMovi}) Append32(bytes, word);
  file_.Write(bytes);
}

uint64_t AviWriter::RiffBytesWith(const AviTrack& track, uint64_t chunk) const {
  uint64_t indexes = track_.IndexBytesWith(&track == &track_ ? 1 : 0);
  for (const AviSoundTrack& sound : sound_) {
    indexes += sound.Track().IndexBytesWith(&track == &sound.Track() ? 1 : 0);
  }
  if (riff_start_ == 0) indexes += 8 + (old_index_.size() + 1) * kOldIndexEntry;
  return file_.Size() - riff_start_ + 8 + chunk + 1 + indexes;
}

bool AviWriter::RiffIsEmpty() const {
  return track_.ChunksInRiff() == 0 && std::ranges::all_of(sound_, [](const AviSoundTrack& sound) {
           return sound.Track().ChunksInRiff() == 0;
         });
}

uint32_t AviWriter::LargestChunk() const {
  uint32_t largest = track_.LargestChunk();
  for (const AviSoundTrack& sound : sound_) {
    largest = std::max(largest, sound.Track().LargestChunk());
  }
  return largest;
}

double FrameSeconds(const VideoFormat& format, uint64_t frames) {
  const Rational rate = Rate(format);
  return static_cast<double>(frames) * static_cast<double>(rate.den) /
         static_cast<double>(rate.num);
}

// With the indexes of all chunks so far: they are what is written when the disk is full.
void AviWriter::WriteChunk(AviTrack& track, const Bytes& data) {
  constexpr uint64_t kNextRiff = 4096;  // its headers, and indexes of little
  file_.Reserve(RiffBytesWith(track, data.size()) - (file_.Size() - riff_start_) + kNextRiff);
  if (!RiffIsEmpty() && RiffBytesWith(track, data.size()) > riff_limit_) {
    EndRiff();
    BeginRiff();
  }
  Bytes head;
  Append32(head, track.ChunkId());
  Append32(head, static_cast<uint32_t>(data.size()));
  file_.Write(head);
  const uint64_t offset = file_.Size() - riff_start_;
  track.Add(offset, data.size());
  if (riff_start_ == 0) {
    old_index_.push_back(
        {track.ChunkId(), static_cast<uint32_t>(offset), static_cast<uint32_t>(data.size())});
  }
  file_.Write(data);
  if (data.size() % 2 != 0) file_.Write(Bytes(1, 0));
}

void AviWriter::WriteSound(double until) {
  for (AviSoundTrack& sound : sound_) {
    while (const Bytes* chunk = sound.Next(until)) WriteChunk(sound.Track(), *chunk);
  }
}

void AviWriter::Write(const Bytes& stream) {
  WriteSound(Seconds(frames_ + 1));
  WriteChunk(track_, stream);
  ++frames_;
}

void AviWriter::EndSoundHere() {
  for (AviSoundTrack& sound : sound_) sound.EndAt(Seconds(frames_));
}

void AviWriter::WriteStandardIndexes() {
  bool full = track_.IsFull();
  for (const AviSoundTrack& sound : sound_) full = full || sound.Track().IsFull();
  if (full) {
    throw InputError(file_.Name() + ": too long for its index, at frame " +
                     std::to_string(frames_));
  }
  const auto frames = static_cast<uint32_t>(track_.ChunksInRiff());
  file_.Write(track_.EndRiff(riff_start_, file_.Size(), frames));
  for (AviSoundTrack& sound : sound_) file_.Write(sound.EndRiff(riff_start_, file_.Size()));
}

// Offsets count from the word "movi" to the chunk's header.
void AviWriter::WriteOldIndex() {
  const auto movi = static_cast<uint32_t>(movi_start_ + 4);
  Bytes body, chunk;
  for (const OldIndexEntry& entry : old_index_) {
    for (const uint32_t word : {entry.chunk_id, kKeyFrame, entry.offset - 8 - movi, entry.size}) {
      Append32(body, word);
    }
  }
  AppendChunk(chunk, FourCc("idx1"), body);
  file_.Write(chunk);
}

void AviWriter::EndRiff() {
  WriteStandardIndexes();
  PatchWord(movi_start_, file_.Size() - movi_start_ - 4);
  if (riff_start_ == 0) {
    first_riff_frames_ = frames_;
    WriteOldIndex();
    old_index_ = {};
  }
  PatchWord(riff_start_ + 4, file_.Size() - riff_start_ - 8);
}

void AviWriter::PatchWord(uint64_t offset, uint64_t value) {
  Bytes word;
  Append32(word, static_cast<uint32_t>(value));
  file_.Patch(offset, word);
}

// The headers have the same length as at the start; only their counts have changed. The first 12
// bytes hold the size of the RIFF list, which is right by now.
void AviWriter::Finish() {
  WriteSound(std::numeric_limits<double>::infinity());
  EndRiff();
  const Bytes headers = Headers();
  file_.Patch(12, std::span(headers).subspan(12));
  file_.Finish();
}

}  // namespace tkmjpg::tool
