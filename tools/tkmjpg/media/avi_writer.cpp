#include "tools/tkmjpg/media/avi_writer.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/riff_bytes.h"

namespace tkmjpg::tool {
namespace {

constexpr uint32_t kMovi = FourCc("movi");
constexpr uint32_t kKeyFrame = 0x10;         // AVIIF_KEYFRAME
constexpr uint32_t kHasIndex = 0x10;         // AVIF_HASINDEX
constexpr uint32_t kTrustChunkType = 0x800;  // AVIF_TRUSTCKTYPE
constexpr uint8_t kIndexOfIndexes = 0, kIndexOfChunks = 1;
constexpr size_t kSuperIndexEntries = 512;  // half a TiB
constexpr size_t kHeaderAlignment = 2048;
constexpr size_t kStandardIndexHeader = 32, kOldIndexEntry = 16, kStandardIndexEntry = 8;

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

Bytes List(uint32_t type, const Bytes& chunks) {
  Bytes body;
  Append32(body, type);
  body.insert(body.end(), chunks.begin(), chunks.end());
  Bytes list;
  AppendChunk(list, FourCc("LIST"), body);
  return list;
}

void Append(Bytes& bytes, const Bytes& more) {
  bytes.insert(bytes.end(), more.begin(), more.end());
}

Bytes OpenDmlHeader(uint64_t frames) {
  constexpr size_t kReserved = 244;
  Bytes body, chunk;
  Append32(body, static_cast<uint32_t>(frames));
  body.resize(body.size() + kReserved);
  AppendChunk(chunk, FourCc("dmlh"), body);
  return List(FourCc("odml"), chunk);
}

}  // namespace

// The extended header that is published for "MJPG": EXBMINFOHEADER with a JPEGINFOHEADER.
AviVideo MjpgAviVideo(const VideoFormat& format) {
  constexpr uint32_t kYCbCr = 2;
  Bytes header;
  for (const uint32_t word :
       {uint32_t{68}, static_cast<uint32_t>(format.width), static_cast<uint32_t>(format.height),
        uint32_t{24} << 16 | 1, FourCc("MJPG"),
        static_cast<uint32_t>(int64_t{format.width} * format.height * 3 / 2), uint32_t{0},
        uint32_t{0}, uint32_t{0}, uint32_t{0}, uint32_t{44}, uint32_t{24}, uint32_t{0}, kYCbCr,
        uint32_t{8}, uint32_t{2}, uint32_t{1}}) {
    Append32(header, word);
  }
  return {format, FourCc("MJPG"), FourCc("00dc"), header,
          format.field_order != FieldOrder::kProgressive};
}

AviWriter::AviWriter(const std::string& path, AviVideo video, Overwrite overwrite,
                     uint64_t riff_bytes)
    : video_(std::move(video)), file_(path, overwrite), riff_limit_(riff_bytes) {
  if (path == "-") throw UsageError("an AVI file cannot go to standard output; name a file");
  WriteHeaders();
  BeginRiff();
}

Bytes AviWriter::MainHeader() const {
  const Rational rate = Rate(video_.format);
  const double seconds = static_cast<double>(rate.den) / static_cast<double>(rate.num);
  const double bytes_a_second = static_cast<double>(largest_) / seconds;
  Bytes body, chunk;
  for (const uint32_t word :
       {static_cast<uint32_t>(std::min(std::llround(seconds * 1e6), 0xFFFFFFFFLL)),
        static_cast<uint32_t>(std::min(bytes_a_second, 4294967295.0)), uint32_t{0},
        kHasIndex | kTrustChunkType, static_cast<uint32_t>(first_riff_frames_), uint32_t{0},
        uint32_t{1}, largest_, static_cast<uint32_t>(video_.format.width),
        static_cast<uint32_t>(video_.format.height), uint32_t{0}, uint32_t{0}, uint32_t{0},
        uint32_t{0}}) {
    Append32(body, word);
  }
  AppendChunk(chunk, FourCc("avih"), body);
  return chunk;
}

Bytes AviWriter::StreamHeader() const {
  constexpr uint32_t kDefaultQuality = 0xFFFFFFFF;
  const Rational rate = Rate(video_.format);
  Bytes body, chunk;
  for (const uint32_t word :
       {FourCc("vids"), video_.handler, uint32_t{0}, uint32_t{0}, uint32_t{0},
        static_cast<uint32_t>(rate.den), static_cast<uint32_t>(rate.num), uint32_t{0},
        static_cast<uint32_t>(frames_), largest_, kDefaultQuality, uint32_t{0}, uint32_t{0},
        (static_cast<uint32_t>(video_.format.width) & 0xFFFF) |
            static_cast<uint32_t>(video_.format.height) << 16}) {
    Append32(body, word);
  }
  AppendChunk(chunk, FourCc("strh"), body);
  return chunk;
}

// Space for all entries from the start, so that it can be filled in at the end.
Bytes AviWriter::SuperIndex() const {
  constexpr uint32_t kLongsPerEntry = 4;
  Bytes body, chunk;
  Append16(body, kLongsPerEntry);
  body.push_back(0);
  body.push_back(kIndexOfIndexes);
  Append32(body, static_cast<uint32_t>(riffs_.size()));
  Append32(body, video_.chunk_id);
  for (int i = 0; i < 3; ++i) Append32(body, 0);
  for (const RiffIndex& riff : riffs_) {
    Append64(body, riff.offset);
    Append32(body, riff.bytes);
    Append32(body, riff.frames);
  }
  body.resize(24 + 16 * kSuperIndexEntries);
  AppendChunk(chunk, FourCc("indx"), body);
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
  Append(stream, SuperIndex());
  Append(stream, VideoProperties());
  Bytes header = MainHeader();
  Append(header, List(FourCc("strl"), stream));
  Append(header, OpenDmlHeader(frames_));

  Bytes bytes;
  for (const uint32_t word : {FourCc("RIFF"), uint32_t{0}, FourCc("AVI ")}) Append32(bytes, word);
  Append(bytes, List(FourCc("hdrl"), header));
  // The movi list begins at a round place, 12 bytes for its own header.
  const size_t used = bytes.size() + 8 + 12;
  AppendChunk(bytes, FourCc("JUNK"), Bytes((kHeaderAlignment - used % kHeaderAlignment), 0));
  return bytes;
}

void AviWriter::WriteHeaders() { file_.Write(Headers()); }

void AviWriter::BeginRiff() {
  Bytes bytes;
  if (!riffs_.empty()) {
    riff_start_ = file_.Size();
    for (const uint32_t word : {FourCc("RIFF"), uint32_t{0}, FourCc("AVIX")}) Append32(bytes, word);
  }
  movi_start_ = file_.Size() + bytes.size() + 4;
  for (const uint32_t word : {FourCc("LIST"), uint32_t{0}, kMovi}) Append32(bytes, word);
  file_.Write(bytes);
}

uint64_t AviWriter::RiffBytesWith(uint64_t chunk) const {
  const uint64_t entries = index_.size() + 1;
  return file_.Size() - riff_start_ + 8 + chunk + 1 + kStandardIndexHeader + 8 +
         entries * (kStandardIndexEntry + kOldIndexEntry);
}

void AviWriter::Write(const Bytes& stream) {
  if (!index_.empty() && RiffBytesWith(stream.size()) > riff_limit_) {
    EndRiff();
    BeginRiff();
  }
  Bytes head;
  Append32(head, video_.chunk_id);
  Append32(head, static_cast<uint32_t>(stream.size()));
  file_.Write(head);
  index_.push_back(
      {static_cast<uint32_t>(file_.Size() - riff_start_), static_cast<uint32_t>(stream.size())});
  file_.Write(stream);
  if (stream.size() % 2 != 0) file_.Write(Bytes(1, 0));
  largest_ = std::max(largest_, static_cast<uint32_t>(stream.size()));
  ++frames_;
}

void AviWriter::WriteStandardIndex() {
  constexpr uint32_t kLongsPerEntry = 2;
  Bytes body, chunk;
  Append16(body, kLongsPerEntry);
  body.push_back(0);
  body.push_back(kIndexOfChunks);
  Append32(body, static_cast<uint32_t>(index_.size()));
  Append32(body, video_.chunk_id);
  Append64(body, riff_start_);
  Append32(body, 0);
  for (const IndexEntry& entry : index_) {
    Append32(body, entry.offset);
    Append32(body, entry.size);  // bit 31 clear: a key frame
  }
  AppendChunk(chunk, FourCc("ix00"), body);
  if (riffs_.size() == kSuperIndexEntries) {
    throw InputError(file_.Name() + ": too long for its index, at frame " +
                     std::to_string(frames_));
  }
  riffs_.push_back(
      {file_.Size(), static_cast<uint32_t>(chunk.size()), static_cast<uint32_t>(index_.size())});
  file_.Write(chunk);
}

// Offsets count from the word "movi" to the chunk's header.
void AviWriter::WriteOldIndex() {
  const auto movi = static_cast<uint32_t>(movi_start_ + 4 - riff_start_);
  Bytes body, chunk;
  for (const IndexEntry& entry : index_) {
    for (const uint32_t word : {video_.chunk_id, kKeyFrame, entry.offset - 8 - movi, entry.size}) {
      Append32(body, word);
    }
  }
  AppendChunk(chunk, FourCc("idx1"), body);
  file_.Write(chunk);
}

void AviWriter::EndRiff() {
  WriteStandardIndex();
  PatchWord(movi_start_, file_.Size() - movi_start_ - 4);
  if (riff_start_ == 0) {
    first_riff_frames_ = index_.size();
    WriteOldIndex();
  }
  PatchWord(riff_start_ + 4, file_.Size() - riff_start_ - 8);
  index_.clear();
}

void AviWriter::PatchWord(uint64_t offset, uint64_t value) {
  Bytes word;
  Append32(word, static_cast<uint32_t>(value));
  file_.Patch(offset, word);
}

// The headers have the same length as at the start; only their counts have changed. The first 12
// bytes hold the size of the RIFF list, which is right by now.
void AviWriter::Finish() {
  EndRiff();
  const Bytes headers = Headers();
  file_.Patch(12, std::span(headers).subspan(12));
  file_.Finish();
}

}  // namespace tkmjpg::tool
