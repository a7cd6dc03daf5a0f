// Writes first inputs for the targets: streams of the encoder, and the streams of tests/data.
// usage: make_seeds VECTORS FOLDER   (tests/data/vectors/decode, fuzz/corpus)
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>

#include "tests/frame_calls.h"
#include "tools/tkmjpg/media/avi_writer.h"

namespace {

namespace fs = std::filesystem;

// Numbers in the order in which a target draws them, each from the end of the input.
class Numbers {
 public:
  Numbers& Add(int64_t value, int64_t least, int64_t most) {
    const auto offset = static_cast<uint64_t>(value - least);
    int bytes = 0;
    while (bytes < 8 && static_cast<uint64_t>(most - least) >> (8 * bytes) != 0) ++bytes;
    while (bytes-- > 0) drawn_.push_back(static_cast<uint8_t>(offset >> (8 * bytes)));
    return *this;
  }
  Bytes Behind(Bytes stream, size_t padding = 0) const {
    stream.resize(stream.size() + padding);
    stream.insert(stream.end(), drawn_.rbegin(), drawn_.rend());
    return stream;
  }
  size_t Size() const { return drawn_.size(); }

 private:
  Bytes drawn_;
};

struct Stream {
  std::string name;
  Bytes bytes;
  int width, height;
};

Bytes ReadFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

void WriteFile(const fs::path& path, const Bytes& bytes) {
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary)
      .write(reinterpret_cast<const char*>(bytes.data()),
             static_cast<std::streamsize>(bytes.size()));
}

Stream Encode(const std::string& name, int layout, int width, int height, uint32_t flags,
              int quality) {
  const Call call = {kInputLayouts[layout], width, height, flags, quality};
  Bytes pixels = Noise(static_cast<size_t>(call.Stride()) * static_cast<size_t>(height), 7);
  for (size_t i = 0; i < pixels.size(); ++i) {
    pixels[i] = static_cast<uint8_t>(pixels[i] % 32 + i / 16 % 160);
  }
  return {name, Compress(pixels, call), width, height};
}

std::vector<Stream> EncodedStreams() {
  std::vector<Stream> streams;
  for (uint32_t mode = 0; mode < 8; ++mode) {
    streams.push_back(Encode("mode_" + std::to_string(mode), static_cast<int>(mode), 40, 24,
                             mode << TKMJPG_C_MODE_SHIFT, 60));
  }
  constexpr uint32_t kFields = TKMJPG_C_FIELDS;
  streams.push_back(Encode("fields", 0, 40, 32, kFields, 70));
  streams.push_back(Encode("fields_2_first", 3, 40, 32, kFields | TKMJPG_C_CODE2_FIRST, 70));
  streams.push_back(Encode("one_field", 5, 40, 32, kFields | TKMJPG_C_ONE_FIELD, 70));
  streams.push_back(Encode("tables", 0, 33, 17, TKMJPG_C_HUFFMAN_TABLES, 80));
  streams.push_back(Encode("alpha", 7, 24, 16, TKMJPG_C_ALPHA, 50));
  streams.push_back(Encode("long", 0, 200, 56, 0, 97));
  return streams;
}

std::vector<Stream> VectorStreams(const fs::path& vectors) {
  std::vector<Stream> streams;
  for (const auto& folder : fs::directory_iterator(vectors)) {
    streams.push_back({folder.path().filename(), ReadFile(folder.path() / "stream.bin"), 48, 40});
  }
  return streams;
}

// Width, height, padding and direction of a picture, of one that may be large.
void AddPicture(Numbers& numbers, int width, int height, int least, int most) {
  numbers.Add(0, 0, 3).Add(width, least, most).Add(height, least, most).Add(3, 0, 40).Add(0, 0, 1);
}

void WriteDecodeSeed(const fs::path& folder, const Stream& stream, size_t i) {
  Numbers numbers;
  numbers.Add(static_cast<int64_t>(i % 13), 0, 13);
  AddPicture(numbers, stream.width, stream.height, -200, 200);
  for (size_t flag = 0; flag < 5; ++flag) numbers.Add(i >> flag & 1, 0, 1);
  numbers.Add(i / 2 % 2, 0, 1).Add(i / 4 % 2, 0, UINT32_MAX);
  WriteFile(folder / "decode" / stream.name, numbers.Behind(stream.bytes));
}

void WriteRungsSeed(const fs::path& folder, const Stream& stream, size_t i) {
  constexpr size_t kArguments = 64;  // the target keeps as many bytes off the stream
  Numbers numbers;
  numbers.Add(0, 0, 1).Add(0, 0, 6).Add(static_cast<int64_t>(i % 12), 0, 12);
  AddPicture(numbers, stream.width, stream.height, 0, 208);
  numbers.Add(static_cast<int64_t>(i % 64) << 8, 0, UINT16_MAX).Add(i / 2 % 2, 0, 1).Add(0, 0, 1);
  WriteFile(folder / "rungs" / stream.name,
            numbers.Behind(stream.bytes, kArguments - numbers.Size()));
}

void WriteAlphaSeed(const fs::path& folder, const Stream& stream) {
  const size_t at = FindMarker(stream.bytes, 0xE1);
  if (at == stream.bytes.size()) return;
  Numbers numbers;
  numbers.Add(1, 0, 1);
  AddPicture(numbers, stream.width, stream.height, -20, 200);
  numbers.Add(0, 0, 1);
  const Bytes segment(stream.bytes.begin() + static_cast<ptrdiff_t>(at), stream.bytes.end());
  WriteFile(folder / "alpha" / stream.name, numbers.Behind(segment));
}

void WriteAviSeed(const fs::path& folder, const std::vector<Stream>& streams, uint64_t riff_bytes) {
  namespace tool = tkmjpg::tool;
  tool::VideoFormat format;
  format.width = 40;
  format.height = 24;
  const fs::path path = folder / "avi" / ("riffs_of_" + std::to_string(riff_bytes));
  fs::create_directories(path.parent_path());
  tool::AviWriter writer(path, tool::MjpgAviVideo(format), tool::Overwrite::kReplace, riff_bytes);
  for (size_t i = 0; i < 3; ++i) writer.Write(streams[2 * i].bytes);
  writer.Write({});  // the last frame again
  writer.Finish();
}

void WriteSeeds(const fs::path& vectors, const fs::path& folder) {
  std::vector<Stream> streams = EncodedStreams();
  for (const uint64_t riff_bytes : {uint64_t{3000}, tkmjpg::tool::kAviRiffBytes}) {
    WriteAviSeed(folder, streams, riff_bytes);
  }
  for (Stream& stream : VectorStreams(vectors)) streams.push_back(std::move(stream));
  for (size_t i = 0; i < streams.size(); ++i) {
    const Stream& stream = streams[i];
    WriteDecodeSeed(folder, stream, i);
    WriteRungsSeed(folder, stream, i);
    WriteAlphaSeed(folder, stream);
    WriteFile(folder / "avi" / stream.name, stream.bytes);
    Bytes headers = stream.bytes;
    headers.resize(std::min<size_t>(headers.size(), 700));
    WriteFile(folder / "parser" / stream.name, headers);
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: make_seeds VECTORS FOLDER\n";
    return 2;
  }
  WriteSeeds(argv[1], argv[2]);
  return 0;
}
