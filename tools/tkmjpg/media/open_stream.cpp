#include "tools/tkmjpg/media/open_stream.h"

#include <cstring>
#include <filesystem>
#include <string_view>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/avi_reader.h"
#include "tools/tkmjpg/media/byte_source.h"
#include "tools/tkmjpg/media/container_name.h"
#include "tools/tkmjpg/media/input_file.h"
#include "tools/tkmjpg/media/jpeg_sequence_reader.h"
#include "tools/tkmjpg/media/mjpg_reader.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/media/picture_files.h"
#include "tools/tkmjpg/media/test_card.h"
#include "tools/tkmjpg/media/video_text.h"

namespace tkmjpg::tool {
namespace {

constexpr size_t kHead = 12;

bool IsAvi(const Bytes& head) {
  return head.size() >= 4 && std::memcmp(head.data(), "RIFF", 4) == 0;
}

bool IsJpegName(const std::string& path) {
  const std::string extension = Extension(path);
  return extension == "jpg" || extension == "jpeg";
}

bool IsMjpgName(const std::string& path) {
  const std::string extension = Extension(path);
  return extension == "mjpg" || extension == "mjpeg";
}

bool IsImage(const Bytes& head) { return head.size() > 2 && head[0] == 0xFF && head[1] == 0xD8; }

StreamInput OpenOther(std::unique_ptr<ByteSource> source, const std::string& name,
                      const ContainerName& container) {
  auto reader = OpenContainer(std::move(source), name, container);
  const ContainerReader* other = reader.get();
  return {std::move(reader), container.name, nullptr, other};
}

StreamInput OpenAvi(std::unique_ptr<ByteSource> source, const std::string& name) {
  auto reader = std::make_unique<AviReader>(std::move(source), name);
  const AviFile* avi = &reader->File();
  return {std::move(reader), avi->open_dml ? "OpenDML AVI" : "AVI", avi};
}

Bytes ReadHead(InputFile& file) {
  Bytes head(kHead);
  head.resize(file.Read(head));
  return head;
}

// Whose bytes might look like an image here and there.
void RefuseOtherVideo(const InputFile& file, const Bytes& head) {
  constexpr struct {
    std::string_view begin;
    const char* what;
  } kOthers[] = {{"YUV4MPEG2 ", "Y4M; `tkmjpg encode` reads it"},
                 {"\x89PNG\r\n\x1A\n", "PNG; `tkmjpg encode` reads it"}};
  const std::string text(head.begin(), head.end());
  for (const auto& other : kOthers) {
    if (text.starts_with(other.begin)) {
      file.Fail(std::string("is no Motion-JPEG but ") + other.what);
    }
  }
}

// Standard input cannot be read at any place: the index-free walk needs all of it in memory.
std::unique_ptr<ByteSource> TakeAll(InputFile& file, Bytes bytes) {
  constexpr size_t kStep = 1 << 20;
  for (size_t n = 1; n != 0;) {
    const size_t size = bytes.size();
    bytes.resize(size + kStep);
    n = file.Read(std::span(bytes).subspan(size));
    bytes.resize(size + n);
  }
  return std::make_unique<OwnedMemory>(std::move(bytes));
}

}  // namespace

std::vector<std::string> StreamInput::Problems() const {
  if (other != nullptr) return other->Problems();
  return avi == nullptr ? std::vector<std::string>{} : avi->problems;
}

StreamInput OpenStream(const std::string& path, const StreamOptions& options) {
  VideoFormat assumed;
  assumed.rate_assumed = options.rate.empty();
  if (!options.rate.empty()) assumed.rate = ParseRate("--rate", options.rate);
  if (IsJpegName(path)) {
    return {std::make_unique<JpegSequenceReader>(path, options.start, assumed), "JPEG"};
  }
  if (options.start) throw UsageError(kStartNeedsNumbers);
  auto file = std::make_unique<InputFile>(path);
  Bytes head = ReadHead(*file);
  const ContainerName* const container = FindContainer(head);
  if (IsAvi(head) || container != nullptr) {
    if (!options.rate.empty()) throw UsageError("--rate: " + file->Name() + " tells its own");
    const std::string name = file->Name();
    auto source = file->Size() < 0 ? TakeAll(*file, std::move(head)) : OpenByteSource(path);
    if (container != nullptr) return OpenOther(std::move(source), name, *container);
    return OpenAvi(std::move(source), name);
  }
  RefuseOtherVideo(*file, head);
  if (!IsImage(head) && path != "-" && !IsMjpgName(path)) {
    file->Fail("is no film: neither AVI, MOV, MP4, Matroska, NUT, MPEG nor JPEG images");
  }
  return {std::make_unique<MjpgReader>(std::move(file), std::move(head), options.pairs, assumed),
          "MJPG"};
}

bool IsAviFile(const std::string& path) {
  if (IsJpegName(path) || IsPipe(path)) return false;
  InputFile file(path);
  return IsAvi(ReadHead(file));
}

bool IsStream(const std::string& path) {
  if (IsJpegName(path)) return true;
  if (path == "-" || path.find('%') != std::string::npos) return false;
  if (path.starts_with(kTestCardPrefix)) return false;
  if (IsPipe(path)) return IsMjpgName(path);
  InputFile file(path);
  const Bytes head = ReadHead(file);
  return IsAvi(head) || FindContainer(head) != nullptr || IsMjpgName(path) || IsImage(head);
}

}  // namespace tkmjpg::tool
