// Whole files: films with the order of their fields and range found, pictures, and sound. What is
// read of any bytes is the same with any number of threads, and lies inside the file.
#include <cstring>
#include <string_view>

#include "fuzz/fuzz_support.h"
#include "tests/temporary_folder.h"
#include "tools/tkmjpg/commands/decode_film.h"
#include "tools/tkmjpg/commands/film_frames.h"
#include "tools/tkmjpg/commands/film_input.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/output_file.h"
#include "tools/tkmjpg/media/sound.h"
#include "tools/tkmjpg/media/wav_reader.h"

namespace {

using tkmjpg::tool::FilmInput;
using tkmjpg::tool::FilmResult;
using tkmjpg::tool::Picture;
using tkmjpg::tool::VideoFormat;

constexpr int64_t kFrames = 12, kPixels = 1 << 16;  // what takes no time

bool IsSmall(const VideoFormat& format) {
  return format.width > 0 && format.height > 0 && int64_t{format.width} * format.height <= kPixels;
}

class Pictures : public tkmjpg::tool::FrameWriter {
 public:
  explicit Pictures(uint32_t layout) : layout_(layout) {}
  uint32_t Layout() const override { return layout_; }
  void Pack(const Picture& picture, Bytes& packed) const override { packed = picture.pixels; }
  void Write(const Bytes& packed) override { all.push_back(packed); }
  void Finish() override {}

  std::vector<Bytes> all;

 private:
  uint32_t layout_;
};

struct Choices {
  bool pairs, conceal, planes;
};

struct Decoded {
  FilmResult result;
  std::vector<Bytes> pictures;
  std::string lines, range;
};

Decoded Decode(const std::string& path, const Choices& choices, int threads) {
  tkmjpg::tool::StreamOptions options;
  options.pairs = choices.pairs;
  FilmInput film(path, options, 0);
  Decoded decoded = {{}, {}, film.Properties().LinesReason(), film.Properties().RangeReason()};
  Require(!decoded.lines.empty() && !decoded.range.empty(), "reasons are told");
  if (!IsSmall(film.Format())) return decoded;
  Pictures pictures(choices.planes ? 0 : uint32_t{TKMJPG_YuYv});
  tkmjpg::tool::FilmSettings settings;
  settings.name = "film";
  settings.flags = film.DecodeFlags();
  settings.threads = threads;
  settings.range.last = kFrames - 1;
  settings.keep_going = true;
  settings.conceal = choices.conceal;
  decoded.result = DecodeFilm(film, film.Format(), pictures, settings);
  decoded.pictures = std::move(pictures.all);
  return decoded;
}

void ReadFilm(const std::string& path, const Choices& choices) {
  const Decoded one = Decode(path, choices, 1), two = Decode(path, choices, 2);
  const FilmResult& result = one.result;
  Require(result.frames == static_cast<int64_t>(one.pictures.size()), "all frames are written");
  Require(result.damaged + result.repeated <= result.frames, "a frame is damaged once");
  Require((result.damaged + result.repeated == 0) == result.first_damage.empty(), "it is named");
  Require(result.concealed <= result.damaged, "damage alone is concealed");
  Require(one.pictures == two.pictures, "the same pictures with two threads");
  Require(result.first_damage == two.result.first_damage && result.damaged == two.result.damaged,
          "the same damage");
  Require(one.lines == two.lines && one.range == two.range, "the same order and range");
}

void ReadPictures(const std::string& path) {
  const auto reader = tkmjpg::tool::OpenFrames(path, {});
  if (!IsSmall(reader->Format())) return;
  Bytes raw;
  Picture picture;
  for (int64_t i = 0; i < kFrames && reader->Read(raw); ++i) {
    reader->Unpack(raw, picture);
    Require(!picture.pixels.empty(), "a picture");
  }
}

void ReadSound(const std::string& path, size_t size) {
  const auto sound = tkmjpg::tool::OpenWav(path);
  Require(!sound->Format().Description().empty(), "it can be described");
  size_t read = 0;
  for (Bytes chunk; sound->Read(chunk);) read += chunk.size();
  Require(read <= size, "sound lies inside the file");
}

bool BeginsWith(const Bytes& bytes, std::string_view text, size_t at = 0) {
  return bytes.size() >= at + text.size() && std::memcmp(&bytes[at], text.data(), text.size()) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  Arguments arguments(data, size);
  const Choices choices = {arguments.ConsumeBool(), arguments.ConsumeBool(),
                           arguments.ConsumeBool()};
  const Bytes bytes = arguments.ConsumeRemainingBytes<uint8_t>();
  const TemporaryFolder folder;
  const bool pictures = BeginsWith(bytes, "YUV4MPEG2"), sound = BeginsWith(bytes, "WAVE", 8);
  const std::string path = folder.Path(pictures ? "film.y4m" : sound ? "film.wav" : "film.avi");
  tkmjpg::tool::OutputFile file(path, tkmjpg::tool::Overwrite::kRefuse);
  file.Write(bytes);
  file.Finish();
  try {
    if (pictures) {
      ReadPictures(path);
    } else if (sound) {
      ReadSound(path, bytes.size());
    } else {
      ReadFilm(path, choices);
    }
  } catch (const tkmjpg::tool::InputError&) {
    // no such file, which is said
  }
  return 0;
}
