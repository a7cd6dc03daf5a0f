// Sound in AVI and WAV files: every byte comes back, and beside the frame that it belongs to.
#include "tools/tkmjpg/media/sound.h"

#include "tests/bytes.h"
#include "tests/expect.h"
#include "tests/temporary_folder.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/avi_reader.h"
#include "tools/tkmjpg/media/avi_writer.h"
#include "tools/tkmjpg/media/wav_reader.h"
#include "tools/tkmjpg/media/wav_writer.h"

namespace tkmjpg::tool {
namespace {

SoundFormat Pcm(uint32_t channels, uint32_t rate, uint32_t bits, uint32_t start = 0) {
  const uint32_t block = channels * bits / 8;
  return {WaveFormat({kWavePcm, channels, rate, rate * block, block, bits}),
          0,
          0,
          0,
          1,
          rate,
          block,
          start};
}

SoundFormat Mp3(uint32_t sample_size) {
  const uint32_t block = sample_size == 0 ? 1152 : 1;
  return {WaveFormat({kWaveMp3, 2, 48000, 16000, block, 0}, Bytes(12, 7)),
          85,
          0,
          9,
          sample_size == 0 ? 1152U : 1U,
          sample_size == 0 ? 48000U : 16000U,
          sample_size,
          3};
}

class MadeSound : public SoundReader {
 public:
  MadeSound(SoundFormat format, std::vector<Bytes> chunks)
      : format_(std::move(format)), chunks_(std::move(chunks)) {}
  const SoundFormat& Format() const override { return format_; }
  bool Read(Bytes& chunk) override {
    if (next_ == chunks_.size()) return false;
    chunk = chunks_[next_++];
    return true;
  }

 private:
  SoundFormat format_;
  std::vector<Bytes> chunks_;
  size_t next_ = 0;
};

std::vector<Bytes> SomeChunks(size_t count, size_t size, size_t step) {
  std::vector<Bytes> chunks;
  for (size_t i = 0; i < count; ++i) {
    chunks.push_back(Noise(size + step * (i % 5), static_cast<uint32_t>(i)));
  }
  return chunks;
}

Bytes Joined(const std::vector<Bytes>& chunks) {
  Bytes joined;
  for (const Bytes& chunk : chunks) joined.insert(joined.end(), chunk.begin(), chunk.end());
  return joined;
}

std::vector<Bytes> ReadAll(SoundReader& sound) {
  std::vector<Bytes> chunks;
  for (Bytes chunk; sound.Read(chunk);) chunks.push_back(chunk);
  return chunks;
}

uint32_t Word(const Bytes& bytes, size_t at) { return Little32(&bytes.at(at)); }

// Of each chunk of a stream, where its data lies, as its OpenDML indexes say.
std::vector<uint64_t> IndexedOffsets(const Bytes& avi, const std::string& index) {
  std::vector<uint64_t> offsets;
  const Bytes id(index.begin(), index.end());
  for (size_t at = Find(avi, id); at < avi.size(); at = Find(avi, id, at + 4)) {
    for (size_t i = 0; i < Word(avi, at + 12); ++i) {
      offsets.push_back(Little64(&avi[at + 20]) + Word(avi, at + 32 + 8 * i));
    }
  }
  return offsets;
}

size_t EntriesOfOldIndex(const Bytes& avi, const std::string& chunk) {
  const size_t index = Find(avi, {'i', 'd', 'x', '1'});
  size_t entries = 0;
  for (size_t at = index + 8; at < index + 8 + Word(avi, index + 4); at += 16) {
    if (Slice(avi, at, at + 4) != Bytes(chunk.begin(), chunk.end())) continue;
    ++entries;
    const size_t movi = Find(avi, {'m', 'o', 'v', 'i'});
    EXPECT_EQ(Slice(avi, movi + Word(avi, at + 8), movi + Word(avi, at + 8) + 4),
              Bytes(chunk.begin(), chunk.end()));
  }
  return entries;
}

// A film with these tracks, whose frame i has 100 + 31 * i bytes.
std::string WriteFilm(const TemporaryFolder& folder, const SoundTracks& tracks, size_t frames = 50,
                      bool end_sound = false, uint64_t riff_bytes = kAviRiffBytes) {
  std::string path = folder.Path("a.avi");
  AviWriter writer(path, MjpgAviVideo({64, 48}), Overwrite::kRefuse, tracks, riff_bytes);
  for (size_t i = 0; i < frames; ++i) writer.Write(Bytes(100 + 31 * i, static_cast<uint8_t>(i)));
  if (end_sound) writer.EndSoundHere();
  writer.Finish();
  return path;
}

struct SoundCase {
  const char* name;
  SoundFormat format;
  std::vector<Bytes> chunks;
  uint32_t length;  // as the header counts
};

const SoundCase kSounds[] = {
    {"PCM", Pcm(2, 48000, 16), SomeChunks(50, 7680, 4), 50 * (1920 + 2)},
    {"PCM of odd bytes, later", Pcm(1, 8000, 8, 800), SomeChunks(20, 801, 1), 20 * 803},
    {"PCM, one long chunk", Pcm(2, 48000, 16), SomeChunks(1, 400000, 0), 100000},
    {"frames of a variable size", Mp3(0), SomeChunks(83, 300, 97), 83},
    {"a constant number of bytes", Mp3(1), SomeChunks(30, 1001, 0), 30030}};

class SoundInAvi : public testing::TestWithParam<uint64_t> {};

TEST_P(SoundInAvi, ComesBack) {
  for (const SoundCase& c : kSounds) {
    SCOPED_TRACE(c.name);
    const TemporaryFolder folder;
    const SoundTracks tracks = {std::make_shared<MadeSound>(c.format, c.chunks),
                                std::make_shared<MadeSound>(Pcm(1, 8000, 8), SomeChunks(3, 9, 0))};
    const std::string path = WriteFilm(folder, tracks, 50, false, GetParam());
    AviReader reader(OpenByteSource(path), "a.avi");
    const AviFile& file = reader.File();
    const SoundTracks read = reader.OpenSound();
    EXPECT_EQ(file.frames.size(), 50U);
    EXPECT_EQ(file.index, AviIndex::kRight);
    EXPECT_EQ(file.problems, std::vector<std::string>{});
    ASSERT_EQ(read.size(), 2U);
    EXPECT_EQ(Joined(ReadAll(*read[0])), Joined(c.chunks));
    EXPECT_EQ(Joined(ReadAll(*read[1])), Joined(SomeChunks(3, 9, 0)));
    const SoundFormat& got = read[0]->Format();
    EXPECT_EQ(got.wave, c.format.wave);
    for (const auto member : {&SoundFormat::handler, &SoundFormat::language, &SoundFormat::scale,
                              &SoundFormat::rate, &SoundFormat::sample_size, &SoundFormat::start}) {
      EXPECT_EQ(got.*member, c.format.*member);
    }

    const Bytes avi = ReadBytes(path);
    const size_t header = Find(avi, {'a', 'u', 'd', 's'});
    EXPECT_EQ(Word(avi, header + 32), c.length);
    EXPECT_EQ(Word(avi, Find(avi, {'a', 'v', 'i', 'h'}) + 32), 3U);  // streams
    std::vector<uint64_t> offsets;
    for (const AviFrame& chunk : file.sound[0].chunks) offsets.push_back(chunk.offset);
    EXPECT_EQ(offsets, IndexedOffsets(avi, "ix01"));
    for (const auto& [sound, id] : {std::pair(0, "01wb"), {1, "02wb"}}) {
      EXPECT_EQ(EntriesOfOldIndex(avi, id),
                std::ranges::count_if(file.sound[sound].chunks, [&](const AviFrame& chunk) {
                  return chunk.offset < Word(avi, 4);  // in the first RIFF list
                }));
    }
  }
}

INSTANTIATE_TEST_SUITE_P(RiffBytes, SoundInAvi, testing::Values(kAviRiffBytes, 100000, 60000));

// What is heard while a frame is seen comes before it, and not long before.
TEST(SoundInAviOrder, IsThatOfTime) {
  for (const SoundCase& c : kSounds) {
    SCOPED_TRACE(c.name);
    const TemporaryFolder folder;
    const Bytes avi =
        ReadBytes(WriteFilm(folder, {std::make_shared<MadeSound>(c.format, c.chunks)}));
    const AviFile file = ParseAvi(MemorySource(avi));
    SoundClock clock(c.format);
    for (const AviFrame& chunk : file.sound[0].chunks) {
      const auto frame = static_cast<size_t>(std::max(clock.Seconds(), 0.0) * 25);
      if (frame < 50) {
        EXPECT_LT(chunk.offset, file.frames[frame].offset);
      }
      if (frame > 0 && frame <= 50) {
        EXPECT_GT(chunk.offset, file.frames[frame - 1].offset);
      }
      clock.Add(chunk.size);
    }
  }
}

TEST(SoundInAviOrder, EndsWithTheFilmIfToldTo) {
  const TemporaryFolder folder;
  const auto sound = std::make_shared<MadeSound>(Pcm(1, 1000, 8), SomeChunks(10, 100, 0));
  const AviFile file = ParseAvi(*OpenByteSource(WriteFilm(folder, {sound}, 5, true)));
  EXPECT_EQ(file.sound[0].chunks.size(), 2U);
}

TEST(Sound, IsCutAtTheSample) {
  const Bytes all = Noise(4000, 1);  // a second of 1000 blocks of 4 bytes
  const std::vector<Bytes> chunks = {Slice(all, 0, 1000), Slice(all, 1000, 1004),
                                     Slice(all, 1004, 4000)};
  const struct {
    double begin, end;
    uint32_t start, start_left;
    size_t first, last;
  } cases[] = {{0, 9, 0, 0, 0, 4000},          {0.25, 9, 0, 0, 1000, 4000},
               {0.251, 0.5, 0, 0, 1004, 2000}, {0.1, 0.3, 200, 100, 0, 400},
               {0.3, 0.5, 200, 0, 400, 1200},  {0.1, 0.15, 200, 100, 0, 0},
               {2, 3, 0, 0, 4000, 4000}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.begin);
    const auto part = SoundBetween(std::make_shared<MadeSound>(Pcm(2, 1000, 16, c.start), chunks),
                                   c.begin, c.end);
    EXPECT_EQ(part->Format().start, c.start_left);
    EXPECT_EQ(Joined(ReadAll(*part)), Slice(all, c.first, c.last));
  }
}

TEST(Wav, ReadsWhatItWrites) {
  for (const SoundCase& c : kSounds) {
    SCOPED_TRACE(c.name);
    const TemporaryFolder folder;
    MadeSound sound(c.format, c.chunks);
    WriteWav(folder.Path("a.wav"), sound, Overwrite::kRefuse);
    const auto read = OpenWav(folder.Path("a.wav"));
    EXPECT_EQ(read->Format().wave, c.format.wave);
    EXPECT_EQ(read->Format().start, 0U);
    const Bytes silence(c.format.IsCuttable() ? c.format.start * c.format.sample_size : 0, 0x80);
    EXPECT_EQ(Joined(ReadAll(*read)), silence + Joined(c.chunks));
  }
}

TEST(Wav, TakesWhatOthersWrite) {
  const TemporaryFolder folder;
  const std::string path = folder.Path("a.wav");
  const Bytes samples = Noise(1000, 3);
  MadeSound sound(Pcm(2, 1000, 16), {samples});
  WriteWav(path, sound, Overwrite::kRefuse);
  const Bytes wav = ReadBytes(path);
  const size_t data = Find(wav, {'d', 'a', 't', 'a'}), junk = 12;
  const Bytes unknown(4, 0xFF),
      ds64 =
          Set(Set(wav, 0, {'R', 'F', '6', '4'}), junk,
              {'d', 's', '6', '4', 28, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0xE0, 3, 0, 0, 0, 0, 0, 0});
  const struct {
    const char* name;
    Bytes bytes;
    size_t size;  // of the sound
  } cases[] = {
      {"as it is", wav, 1000},
      {"size never written", Set(wav, data + 4, {0, 0, 0, 0}), 1000},
      {"size unknown", Set(wav, data + 4, unknown), 1000},
      {"cut within a block", Head(wav, wav.size() - 10), 988},
      {"RF64", Set(ds64, data + 4, unknown), 992},
      {"other chunks after it", wav + Bytes{'L', 'I', 'S', 'T', 4, 0, 0, 0, 1, 2, 3, 4}, 1000}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    WriteBytes(path, c.bytes);
    EXPECT_EQ(Joined(ReadAll(*OpenWav(path))), Head(samples, c.size));
  }
  const std::pair<Bytes, const char*> refused[] = {
      {Bytes(100), "is no WAV file"},
      {Head(wav, data), "has no sound: no data chunk"},
      {Head(wav, data + 10), "holds no sound"},
      {Set(wav, Find(wav, {'f', 'm', 't', ' '}), {'x'}), "has its sound before its format"},
      {Set(wav, Find(wav, {'f', 'm', 't', ' '}) + 12, Bytes(8)), "does not tell its rate"}};
  for (const auto& [bytes, message] : refused) {
    WriteBytes(path, bytes);
    EXPECT_EQ(ThrownBy<InputError>([&] { OpenWav(path); }), path + ": " + message);
  }
}

}  // namespace
}  // namespace tkmjpg::tool
