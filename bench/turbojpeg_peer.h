// TurboJPEG's calls for one frame, with 4:2:2 streams, and the planes that they want.
#pragma once

#include <turbojpeg.h>

#include <cstring>
#include <span>
#include <stdexcept>
#include <string>

#include "bench/peer_frames.h"

namespace tkmjpg {

// Loops that the compiler makes vector code of; they run as fast as memory lets them.
inline void SplitRow(const uint8_t* __restrict packed, uint8_t* __restrict luma,
                     uint8_t* __restrict cb, uint8_t* __restrict cr, int pairs) {
  for (int i = 0; i < pairs; ++i) {
    uint32_t pair;
    std::memcpy(&pair, packed + 4 * i, sizeof pair);
    const auto both = static_cast<uint16_t>((pair & 0xFF) | (pair >> 8 & 0xFF00));
    std::memcpy(luma + 2 * i, &both, sizeof both);
    cb[i] = static_cast<uint8_t>(pair >> 8);
    cr[i] = static_cast<uint8_t>(pair >> 24);
  }
}

inline void JoinRow(const uint8_t* __restrict luma, const uint8_t* __restrict cb,
                    const uint8_t* __restrict cr, uint8_t* __restrict packed, int pairs) {
  for (int i = 0; i < pairs; ++i) {
    packed[4 * i] = luma[2 * i];
    packed[4 * i + 1] = cb[i];
    packed[4 * i + 2] = luma[2 * i + 1];
    packed[4 * i + 3] = cr[i];
  }
}

// Planes of a picture of up to 15 more pixels and lines than shown, and the way to packed and back.
class Planes {
 public:
  Planes(int width, int height)
      : width_(width),
        height_(height),
        luma_stride_((width + 15) / 16 * 16),
        lines_((height + 15) / 16 * 16),
        bytes_(size_t(2) * luma_stride_ * lines_) {}

  void FromPacked(const tool::Picture& picture) {
    for (int y = 0; y < height_; ++y) {
      SplitRow(picture.pixels.data() + y * picture.stride, Row(0, y), Row(1, y), Row(2, y),
               width_ / 2);
    }
  }

  void ToPacked(tool::Picture& picture) {
    for (int y = 0; y < height_; ++y) {
      JoinRow(Row(0, y), Row(1, y), Row(2, y), picture.pixels.data() + y * picture.stride,
              width_ / 2);
    }
  }

  const uint8_t* LumaRow(int y) { return Row(0, y); }

  uint8_t** Pointers() {
    for (int plane = 0; plane < 3; ++plane) pointers_[plane] = Row(plane, 0);
    return pointers_;
  }
  int* Strides() {
    strides_[0] = luma_stride_;
    strides_[1] = strides_[2] = luma_stride_ / 2;
    return strides_;
  }

 private:
  uint8_t* Row(int plane, int y) {
    const size_t luma = size_t(luma_stride_) * lines_;
    if (plane == 0) return bytes_.data() + size_t(luma_stride_) * y;
    return bytes_.data() + luma / 2 * (plane + 1) + size_t(luma_stride_) / 2 * y;
  }

  int width_, height_, luma_stride_, lines_;
  tool::Bytes bytes_;
  uint8_t* pointers_[3] = {};
  int strides_[3] = {};
};

class TurboJpeg {
 public:
  TurboJpeg() : compressor_(tjInitCompress()), decompressor_(tjInitDecompress()) {}
  TurboJpeg(const TurboJpeg&) = delete;
  TurboJpeg& operator=(const TurboJpeg&) = delete;
  ~TurboJpeg() {
    tjDestroy(compressor_);
    tjDestroy(decompressor_);
  }

  size_t EncodePlanes(const PeerFrame& frame, Planes& planes, int quality, int flags) {
    return Compress(frame, [&](uint8_t** stream, unsigned long* size) {
      return tjCompressFromYUVPlanes(compressor_, const_cast<const uint8_t**>(planes.Pointers()),
                                     frame.width, planes.Strides(), frame.height, TJSAMP_422,
                                     stream, size, quality, flags | TJFLAG_NOREALLOC);
    });
  }

  size_t EncodeBgr(const PeerFrame& frame, int quality, int flags) {
    return Compress(frame, [&](uint8_t** stream, unsigned long* size) {
      return tjCompress2(compressor_, frame.bgr.pixels.data(), frame.width,
                         static_cast<int>(frame.bgr.stride), frame.height, TJPF_BGR, stream, size,
                         TJSAMP_422, quality, flags | TJFLAG_NOREALLOC);
    });
  }

  // Of the last frame encoded.
  std::span<const uint8_t> Stream() const { return {stream_.data(), stream_size_}; }

  void DecodePlanes(const tool::Bytes& stream, const PeerFrame& frame, Planes& planes, int flags) {
    Check(tjDecompressToYUVPlanes(decompressor_, stream.data(), stream.size(), planes.Pointers(),
                                  frame.width, planes.Strides(), CodedHeight(frame), flags));
  }

  void DecodeBgr(const tool::Bytes& stream, const PeerFrame& frame, int flags) {
    pixels_.resize(size_t(3) * frame.width * CodedHeight(frame));
    Check(tjDecompress2(decompressor_, stream.data(), stream.size(), pixels_.data(), frame.width,
                        3 * frame.width, CodedHeight(frame), TJPF_BGR, flags));
  }

 private:
  // This library's streams have whole MCUs of lines.
  static int CodedHeight(const PeerFrame& frame) { return (frame.height + 7) / 8 * 8; }

  template <class Call>
  size_t Compress(const PeerFrame& frame, Call call) {
    stream_.resize(tjBufSize(frame.width, frame.height, TJSAMP_422));
    uint8_t* stream = stream_.data();
    unsigned long size = stream_.size();
    Check(call(&stream, &size));
    stream_size_ = size;
    return size;
  }

  static void Check(int result) {
    if (result != 0) throw std::runtime_error(std::string("TurboJPEG: ") + tjGetErrorStr());
  }

  tjhandle compressor_, decompressor_;
  tool::Bytes stream_, pixels_;
  size_t stream_size_ = 0;
};

}  // namespace tkmjpg
