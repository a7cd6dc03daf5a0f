#include "tools/tkmjpg/media/avi_parser.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <optional>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/avi_header.h"
#include "tools/tkmjpg/media/avi_index.h"

namespace tkmjpg::tool {
namespace {

constexpr uint64_t kHeader = 8;  // id and size of a chunk
constexpr size_t kScanBlock = 64 * 1024;
constexpr size_t kMaxProblems = 20;  // of a file that is mostly noise

bool IsHexDigit(char c) { return std::isxdigit(static_cast<unsigned char>(c)) != 0; }

int HexValue(char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; }

// The stream number of a chunk of stream data, "00dc" and the like; -1 for any other chunk.
int StreamOf(const std::string& id) {
  if (!IsHexDigit(id[0]) || !IsHexDigit(id[1])) return -1;
  return HexValue(id[0]) * 16 + HexValue(id[1]);
}

bool IsFrameType(const std::string& id) {
  const std::string type = id.substr(2);
  return type == "dc" || type == "db";
}

// Any four letters can name a chunk; bytes that cannot be letters do not.
bool IsPlausible(const std::string& id) {
  return std::all_of(id.begin(), id.end(), [](char c) { return c >= 0x20 && c < 0x7F; });
}

bool IsIndex(const std::string& id) { return id == "idx1" || id == "indx" || id.starts_with("ix"); }

// What the search for the next chunk takes for one. Indexes are full of the names of chunks.
bool IsLandmark(const std::string& id, bool within_index = false) {
  if (id == "LIST" || id == "RIFF" || id == "idx1") return true;
  return !within_index && StreamOf(id) >= 0 && (IsFrameType(id) || id.substr(2) == "wb");
}

class AviWalk {
 public:
  AviWalk(const ByteSource& source, AviVideoKind video) : source_(source), video_(video) {}

  AviFile Run() {
    const std::optional<Chunk> riff = ReadChunk(0);
    if (!riff || riff->id != "RIFF" || ReadId(kHeader) != "AVI ") {
      throw InputError("no AVI file");
    }
    uint64_t at = kHeader + 4;
    while (at + kHeader <= source_.Size()) at = Step(at);
    if (file_.stream < 0) headers_.ChooseStream(file_, video_);
    file_.index = index_.Check(source_, file_);
    return std::move(file_);
  }

 private:
  struct Chunk {
    std::string id;
    uint64_t offset = 0;  // of the data
    uint64_t size = 0;
  };

  std::string ReadId(uint64_t offset) const {
    std::array<uint8_t, 4> bytes{};
    source_.Read(offset, bytes);
    return {bytes.begin(), bytes.end()};
  }

  std::optional<Chunk> ReadChunk(uint64_t at) const {
    std::array<uint8_t, kHeader> bytes{};
    if (source_.Read(at, bytes) < kHeader) return std::nullopt;
    return Chunk{{bytes.begin(), bytes.begin() + 4}, at + kHeader, Little32(bytes.data() + 4)};
  }

  // Deals with the chunk at `at`; returns where to go on, always further on.
  uint64_t Step(uint64_t at) {
    const std::optional<Chunk> chunk = ReadChunk(at);
    if (!chunk) return source_.Size();
    if (!IsPlausible(chunk->id)) return Resynchronise(at, at, "no chunk");
    if (chunk->id == "LIST" || chunk->id == "RIFF") return StepIntoList(*chunk);
    const uint64_t left = source_.Size() - chunk->offset;
    if (chunk->size > left) return StepOverCut(*chunk);
    Take(*chunk);
    return NextChunk(chunk->offset + chunk->size);
  }

  uint64_t StepIntoList(const Chunk& list) {
    const std::string type = ReadId(list.offset);
    if (type == "INFO" || type == "strd") {
      if (type == "INFO") TakeComment(list);
      const uint64_t end = list.offset + list.size;
      return end <= source_.Size() ? NextChunk(end) : list.offset + 4;
    }
    if (type == "movi") {
      if (file_.stream < 0) headers_.ChooseStream(file_, video_);
      index_.AddMovi(list.offset);
    }
    if (type == "odml" || type == "AVIX") file_.open_dml = true;
    return list.offset + 4;
  }

  // That alone of what a file says about itself, if it comes first.
  void TakeComment(const Chunk& list) {
    constexpr uint64_t kMost = 4096;
    const std::optional<Chunk> chunk = ReadChunk(list.offset + 4);
    if (!chunk || chunk->id != "ICMT" || chunk->size > kMost) return;
    std::vector<uint8_t> text(chunk->size);
    text.resize(source_.Read(chunk->offset, text));
    file_.comment.assign(text.begin(), std::find(text.begin(), text.end(), uint8_t{0}));
  }

  // Chunks are padded to even length, but not by every writer.
  uint64_t NextChunk(uint64_t end) const {
    if (end % 2 == 0) return end;
    const std::optional<Chunk> padded = ReadChunk(end + 1);
    if (padded && IsPlausible(padded->id)) return end + 1;
    const std::optional<Chunk> unpadded = ReadChunk(end);
    return unpadded && IsLandmark(unpadded->id) ? end : end + 1;
  }

  void Take(const Chunk& chunk) {
    const int stream = StreamOf(chunk.id);
    if (file_.stream < 0) {
      headers_.Take(source_, chunk.id, chunk.offset, static_cast<uint32_t>(chunk.size));
    } else if (stream == file_.stream && IsFrameType(chunk.id)) {
      file_.frames.push_back({chunk.offset, static_cast<uint32_t>(chunk.size)});
    } else if (stream >= 0 && chunk.id.ends_with("wb")) {
      TakeSound(stream, chunk);
    }
    index_.Take(chunk.id, chunk.offset, chunk.size);
  }

  void TakeSound(int stream, const Chunk& chunk) {
    for (AviSound& sound : file_.sound) {
      if (sound.stream != stream) continue;
      sound.chunks.push_back({chunk.offset, static_cast<uint32_t>(chunk.size)});
    }
  }

  // A size that runs past the end: the file is cut here, unless chunks follow all the same. A
  // frame that is cut is left out.
  uint64_t StepOverCut(const Chunk& chunk) {
    return Resynchronise(
        chunk.offset - kHeader, chunk.offset,
        "'" + chunk.id + "' of " + std::to_string(chunk.size) + " bytes runs past the end",
        IsIndex(chunk.id));
  }

  uint64_t Resynchronise(uint64_t at, uint64_t from, const std::string& what,
                         bool within_index = false) {
    if (file_.problems.size() < kMaxProblems) {
      const std::string frame = file_.stream < 0
                                    ? std::string(" in the headers")
                                    : " after " + std::to_string(file_.frames.size()) + " frames";
      file_.problems.push_back(what + " at byte " + std::to_string(at) + frame);
    }
    return FindLandmark(std::max(from, at + 1), within_index);
  }

  uint64_t FindLandmark(uint64_t from, bool within_index) const {
    // Small blocks first: a file made of false landmarks must not cost a large one for each.
    std::vector<uint8_t> block;
    for (uint64_t at = from; at + kHeader <= source_.Size(); at += block.size() - 3) {
      block.resize(std::clamp<size_t>(block.size() * 2, 64, kScanBlock));
      const size_t n = source_.Read(at, block);
      for (size_t i = 0; i + 4 <= n; ++i) {
        // Landmarks begin with a digit or letter; this is all that most bytes cost.
        if (std::isalnum(block[i]) == 0) continue;
        if (IsLandmark({block.begin() + i, block.begin() + i + 4}, within_index)) return at + i;
      }
    }
    return source_.Size();
  }

  const ByteSource& source_;
  AviVideoKind video_;
  AviFile file_;
  AviHeaders headers_;
  AviIndexCheck index_;
};

}  // namespace

AviFile ParseAvi(const ByteSource& source, AviVideoKind video) {
  return AviWalk(source, video).Run();
}

}  // namespace tkmjpg::tool
