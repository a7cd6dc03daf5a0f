#include "bench/peer_frames.h"

#include "bench/bench_picture.h"
#include "tkmjpg.h"
#include "tools/tkmjpg/media/open_stream.h"
#include "tools/tkmjpg/media/test_card.h"

namespace tkmjpg {

using tool::Bytes;
using tool::Picture;

size_t StreamCapacity(int width, int height) {
  return size_t(width + 16) * (height + 16) * 8 + 65536;
}

size_t EncodePicture(const Picture& picture, int width, int height, int quality, Bytes& buffer) {
  constexpr uint32_t kFlags = TKMJPG_C_HUFFMAN_TABLES | 5 << TKMJPG_C_MODE_SHIFT;
  const uint32_t size =
      CompressBuffer_MJPG(picture.pixels.data(), static_cast<int32_t>(picture.stride),
                          buffer.data(), static_cast<uint32_t>(buffer.size()), width, height,
                          quality, kFlags, picture.layout, 0, nullptr);
  if (size == 0) throw std::runtime_error("a frame cannot be coded");
  return size;
}

void DecodePicture(const Bytes& stream, int width, int height, Picture& picture) {
  DecompressBuffer_MJPG(stream.data(), static_cast<uint32_t>(stream.size()), picture.pixels.data(),
                        static_cast<int32_t>(picture.stride), width, height, 0, picture.layout, 0,
                        nullptr);
}

namespace {

Bytes Encode(const Picture& picture, int width, int height, int quality) {
  Bytes stream(StreamCapacity(width, height));
  stream.resize(EncodePicture(picture, width, height, quality, stream));
  return stream;
}

Picture Empty(int width, int height, uint32_t layout, int bytes_per_pixel) {
  return {layout,
          int64_t{width} * bytes_per_pixel,
          {},
          Bytes(static_cast<size_t>(width) * height * bytes_per_pixel)};
}

// A stream in both layouts.
PeerFrame BothLayouts(const Bytes& stream, int width, int height) {
  PeerFrame frame{width, height, Empty(width, height, TKMJPG_YUY2, 2),
                  Empty(width, height, TKMJPG_BGR3, 3)};
  DecodePicture(stream, width, height, frame.yuv);
  DecodePicture(stream, width, height, frame.bgr);
  return frame;
}

// The other layout goes through the codec at its best quality: near enough for measuring.
PeerFrame FromPicture(const Picture& picture, int width, int height) {
  PeerFrame frame = BothLayouts(Encode(picture, width, height, 100), width, height);
  if (picture.layout == TKMJPG_YUY2) frame.yuv = picture;
  if (picture.layout == TKMJPG_BGR3) frame.bgr = picture;
  return frame;
}

}  // namespace

void AddFile(const std::string& path, const tool::InputOptions& options, size_t most,
             std::vector<PeerFrame>& frames) {
  Bytes raw;
  if (options.size.empty() && !path.starts_with(tool::kTestCardPrefix) && tool::IsStream(path)) {
    const auto input = tool::OpenStream(path, {});
    const auto& format = input.reader->Format();
    for (size_t i = 0; i < most && input.reader->Read(raw); ++i) {
      if (!raw.empty()) frames.push_back(BothLayouts(raw, format.width, format.height));
    }
    return;
  }
  const auto reader = tool::OpenFrameReader(path, options);
  Picture picture;
  for (size_t i = 0; i < most && reader->Read(raw); ++i) {
    reader->Unpack(raw, picture);
    frames.push_back(FromPicture(picture, reader->Format().width, reader->Format().height));
  }
}

std::vector<PeerFrame> TestFrames(size_t each) {
  constexpr int kWidth = 1920, kHeight = 1080, kCoarse = 10;
  std::vector<PeerFrame> frames;
  AddFile("testcard:1920x1080@25", {}, each, frames);
  for (int i = 0; i < static_cast<int>(each); ++i) {
    const BenchPicture made = MakeBenchPicture(kWidth, kHeight, i, TKMJPG_YUY2);
    const Picture picture{TKMJPG_YUY2, made.Stride(), {}, made.bytes};
    frames.push_back(FromPicture(picture, kWidth, kHeight));
    frames.push_back(BothLayouts(Encode(picture, kWidth, kHeight, kCoarse), kWidth, kHeight));
  }
  return frames;
}

}  // namespace tkmjpg
