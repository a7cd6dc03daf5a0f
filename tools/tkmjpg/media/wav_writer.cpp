#include "tools/tkmjpg/media/wav_writer.h"

#include <algorithm>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/riff_bytes.h"

namespace tkmjpg::tool {
namespace {

constexpr size_t kDs64Bytes = 28;
constexpr size_t kPiece = 1 << 16;
constexpr uint64_t kMostSilence = 1 << 30;  // bytes; more is no film's but a broken header's

// What stands before the sound; always of the same length. JUNK keeps the place of ds64.
Bytes Header(const SoundFormat& format, uint64_t data_bytes) {
  Bytes bytes, sizes, chunks;
  const uint64_t padded = data_bytes + data_bytes % 2;
  const uint64_t format_chunk = 8 + format.wave.size() + format.wave.size() % 2;
  const uint64_t riff_bytes = 4 + 8 + kDs64Bytes + format_chunk + 8 + padded;
  const bool is_long = riff_bytes > UINT32_MAX;
  if (is_long) {
    Append64(sizes, riff_bytes);
    Append64(sizes, data_bytes);
    Append64(sizes, data_bytes / std::max(format.BlockBytes(), 1U));
  }
  sizes.resize(kDs64Bytes);
  Append32(bytes, FourCc(is_long ? "RF64" : "RIFF"));
  Append32(bytes, is_long ? UINT32_MAX : static_cast<uint32_t>(riff_bytes));
  Append32(bytes, FourCc("WAVE"));
  AppendChunk(bytes, FourCc(is_long ? "ds64" : "JUNK"), sizes);
  AppendChunk(bytes, FourCc("fmt "), format.wave);
  Append32(bytes, FourCc("data"));
  Append32(bytes, is_long ? UINT32_MAX : static_cast<uint32_t>(data_bytes));
  return bytes;
}

uint8_t SilentByte(const SoundFormat& format) {
  if (format.Tag() == kWaveAlaw) return 0xD5;
  if (format.Tag() == kWaveMulaw) return 0xFF;
  return format.BitsPerSample() <= 8 ? 0x80 : 0;
}

void WriteSilence(OutputFile& file, const SoundFormat& format) {
  const Bytes silence(kPiece, SilentByte(format));
  uint64_t left = uint64_t{format.start} * format.sample_size;
  if (left > kMostSilence) {
    throw InputError(file.Name() + ": the sound begins too late for a WAV file");
  }
  for (; left > 0; left -= std::min<uint64_t>(left, kPiece)) {
    file.Write(std::span(silence).first(std::min<uint64_t>(left, kPiece)));
  }
}

}  // namespace

void WriteWav(const std::string& path, SoundReader& sound, Overwrite overwrite) {
  if (path == "-") throw UsageError("a WAV file cannot go to standard output; name a file");
  const SoundFormat& format = sound.Format();
  if (format.Tag() == kWaveAac) {
    throw InputError(path + ": a WAV file does not tell where frames of AAC end; AVI does");
  }
  OutputFile file(path, overwrite);
  file.Write(Header(format, 0));
  const uint64_t begin = file.Size();
  if (format.IsCuttable()) WriteSilence(file, format);
  for (Bytes chunk; sound.Read(chunk);) file.Write(chunk);
  const uint64_t bytes = file.Size() - begin;
  if (bytes % 2 != 0) file.Write(Bytes(1, 0));
  file.Patch(0, Header(format, bytes));
  file.Finish();
}

}  // namespace tkmjpg::tool
