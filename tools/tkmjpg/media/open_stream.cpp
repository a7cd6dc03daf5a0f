#include "tools/tkmjpg/media/open_stream.h"

#include <cstring>
#include <string_view>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/avi_reader.h"
#include "tools/tkmjpg/media/byte_source.h"
#include "tools/tkmjpg/media/input_file.h"
#include "tools/tkmjpg/media/jpeg_sequence_reader.h"
#include "tools/tkmjpg/media/mjpg_reader.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/media/picture_files.h"
#include "tools/tkmjpg/media/test_card.h"

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
  return avi == nullptr ? std::vector<std::string>{} : avi->problems;
}

StreamInput OpenStream(const std::string& path, const StreamOptions& options) {
  if (IsJpegName(path)) {
    return {std::make_unique<JpegSequenceReader>(path, options.start), "JPEG", nullptr};
  }
  if (options.start) throw UsageError(kStartNeedsNumbers);
  auto file = std::make_unique<InputFile>(path);
  Bytes head = ReadHead(*file);
  if (IsAvi(head)) {
    if (file->Size() < 0) return OpenAvi(TakeAll(*file, std::move(head)), file->Name());
    return OpenAvi(OpenByteSource(path), path);
  }
  RefuseOtherVideo(*file, head);
  return {std::make_unique<MjpgReader>(std::move(file), std::move(head), options.pairs), "MJPG",
          nullptr};
}

bool IsStream(const std::string& path) {
  if (IsJpegName(path)) return true;
  if (path == "-" || path.starts_with("testcard:") || path.find('%') != std::string::npos)
    return false;
  if (path.starts_with(kTestCardPrefix)) return false;
  InputFile file(path);
  const Bytes head = ReadHead(file);
  const std::string extension = Extension(path);
  return IsAvi(head) || extension == "mjpg" || extension == "mjpeg" ||
         (head.size() > 2 && head[0] == 0xFF && head[1] == 0xD8);
}

}  // namespace tkmjpg::tool
