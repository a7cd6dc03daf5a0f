// AVI files that lie, and what their frames hold: every place that is reported lies inside the
// file, and a repaired frame that is undamaged needs no more repair and shows what it showed.
#include <algorithm>
#include <string_view>

#include "fuzz/fuzz_support.h"
#include "tests/temporary_folder.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/avi_parser.h"
#include "tools/tkmjpg/media/avi_reader.h"
#include "tools/tkmjpg/media/avi_writer.h"
#include "tools/tkmjpg/streams/frame_damage.h"
#include "tools/tkmjpg/streams/repair_check.h"
#include "tools/tkmjpg/streams/stream_analysis.h"
#include "tools/tkmjpg/streams/stream_repair.h"

namespace {

using tkmjpg::tool::AviReader;
using tkmjpg::tool::FrameAnalysis;
using tkmjpg::tool::ImageAnalysis;

constexpr size_t kFrames = 20;      // that are looked at
constexpr size_t kRewritten = 200;  // frames at most of a film that is written again

Bytes AllOf(tkmjpg::tool::SoundReader& sound) {
  Bytes all;
  for (Bytes piece; sound.Read(piece);) all.insert(all.end(), piece.begin(), piece.end());
  return all;
}

void RequireInside(const ImageAnalysis& image, size_t size) {
  Require(image.begin < image.data_end && image.data_end <= image.end && image.end <= size,
          "an image lies inside the frame");
  Require(image.scan_begin <= image.data_end, "the scan lies inside the image");
  for (const tkmjpg::tool::Segment& segment : image.segments) {
    Require(segment.offset >= image.begin && segment.end <= image.data_end &&
                segment.payload <= segment.end,
            "a segment lies inside the image");
  }
  Require(!image.sizes || image.sizes->offset + 8 <= image.data_end, "size fields lie inside");
}

void Analyse(std::span<const uint8_t> bytes) {
  const Bytes copy(bytes.begin(), bytes.end());
  const GuardedBuffer guarded(copy);
  const std::span<const uint8_t> frame(guarded.data(), guarded.size());
  const FrameAnalysis analysis = tkmjpg::tool::AnalyseFrame(frame);
  Require(analysis.size == frame.size(), "the frame's size");
  Require(!analysis.images.empty() || !analysis.refusal.empty(), "no image, so refused");
  Require(analysis.leading + analysis.trailing <= frame.size(), "what is left over lies inside");
  Require(analysis.alpha_offset <= frame.size(), "alpha lies inside");
  size_t end = 0;
  for (const ImageAnalysis& image : analysis.images) {
    Require(image.begin >= end, "images do not overlap");
    RequireInside(image, frame.size());
    end = image.end;
  }
  if (!analysis.images.empty()) (void)analysis.PictureHeight();
}

// The decoder takes the letters for a field code wherever they stand, in quantisation tables too.
bool SpellsATag(std::span<const uint8_t> stream) {
  constexpr std::string_view kTag = "AVI1";
  constexpr size_t kPlace = 6, kSearched = 131;  // bytes from the start of the frame
  const auto head = stream.first(std::min(stream.size(), kSearched));
  const auto found = std::search(head.begin(), head.end(), kTag.begin(), kTag.end());
  return found != head.end() && found != head.begin() + kPlace;
}

void Repair(std::span<const uint8_t> frame) {
  const FrameAnalysis analysis = tkmjpg::tool::AnalyseFrame(frame);
  // Of damaged frames the command keeps those whose pictures would change, and what is mended of
  // one may show what else is to mend.
  const bool sound = analysis.refusal.empty() && FindDamage(frame, analysis).empty() &&
                     std::ranges::all_of(analysis.Pictures(), [](const ImageAnalysis* image) {
                       return tkmjpg::tool::RefusalOf(*image).empty();
                     });
  for (const auto huffman :
       {tkmjpg::tool::HuffmanRepair::kAdd, tkmjpg::tool::HuffmanRepair::kRemove}) {
    const auto once = tkmjpg::tool::RepairFrame(frame, huffman);
    const auto twice = tkmjpg::tool::RepairFrame(once.stream, huffman);
    if (!sound || !once.damage.empty()) continue;
    Require(once.stream == twice.stream, "a repaired frame needs no repair");
    if (SpellsATag(once.stream)) continue;
    Require(tkmjpg::tool::ComparePictures(frame, once.stream).empty(), "repaired pictures stay");
  }
}

// Every piece of sound lies inside the file, and is all there is of its chunks.
void RequireSound(std::span<const uint8_t> all) {
  AviReader reader(std::make_unique<tkmjpg::tool::MemorySource>(all), "fuzz");
  const tkmjpg::tool::SoundTracks tracks = reader.OpenSound();
  const auto& sound = reader.File().sound;
  Require(tracks.size() == sound.size(), "a reader for each sound");
  for (size_t i = 0; i < sound.size(); ++i) {
    uint64_t listed = 0, read = 0;
    for (const tkmjpg::tool::AviFrame& chunk : sound[i].chunks) {
      Require(chunk.offset + chunk.size <= all.size(), "sound lies inside the file");
      listed += chunk.size;
    }
    for (Bytes piece; tracks[i]->Read(piece);) read += piece.size();
    Require(read == listed, "all sound is read");
    Require(!tracks[i]->Format().Description().empty(), "it can be described");
  }
}

// What is written of it holds the same sound and frames.
void RequireRewritten(std::span<const uint8_t> all) {
  constexpr uint64_t kRiffBytes = 20000;
  const TemporaryFolder folder;
  AviReader reader(std::make_unique<tkmjpg::tool::MemorySource>(all), "fuzz");
  tkmjpg::tool::AviWriter writer(folder.Path("a.avi"), tkmjpg::tool::MjpgAviVideo(reader.Format()),
                                 tkmjpg::tool::Overwrite::kRefuse, reader.OpenSound(), kRiffBytes);
  for (Bytes frame; reader.Read(frame);) writer.Write(frame);
  writer.Finish();
  AviReader again(tkmjpg::tool::OpenByteSource(folder.Path("a.avi")), "again");
  Require(again.File().index == tkmjpg::tool::AviIndex::kRight || again.File().frames.empty(),
          "the index is right");
  Require(again.File().frames.size() == reader.File().frames.size(), "all frames are there");
  const auto before = reader.OpenSound(), after = again.OpenSound();
  Require(before.size() == after.size() || before.size() > 254, "all sound is there");
  for (size_t i = 0; i < std::min(before.size(), after.size()); ++i) {
    Require(AllOf(*before[i]) == AllOf(*after[i]), "its bytes are the same");
  }
}

void ReadFile(const GuardedBuffer& bytes) {
  const std::span<const uint8_t> all(bytes.data(), bytes.size());
  const tkmjpg::tool::MemorySource source(all);
  const tkmjpg::tool::AviFile file = tkmjpg::tool::ParseAvi(source);
  Require(file.stream >= 0 && file.fourcc.size() == 4, "a Motion-JPEG stream");
  uint64_t end = 0;
  for (const tkmjpg::tool::AviFrame& frame : file.frames) {
    Require(frame.offset >= end && frame.offset + frame.size <= all.size(),
            "frames lie inside the file, one after the other");
    end = frame.offset + frame.size;
  }
  RequireSound(all);
  if (!file.sound.empty() && file.frames.size() < kRewritten) RequireRewritten(all);
  for (size_t i = 0; i < std::min(file.frames.size(), kFrames); ++i) {
    const auto frame = all.subspan(file.frames[i].offset, file.frames[i].size);
    Analyse(frame);
    Repair(frame);
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Bytes input(data, data + size);
  const GuardedBuffer bytes(input, size % 2 == 0 ? GuardAt::kEnd : GuardAt::kStart);
  try {
    ReadFile(bytes);
  } catch (const tkmjpg::tool::InputError&) {
    // no AVI file: its bytes may still be a frame
    Analyse({bytes.data(), bytes.size()});
    Repair({bytes.data(), bytes.size()});
  }
  return 0;
}
