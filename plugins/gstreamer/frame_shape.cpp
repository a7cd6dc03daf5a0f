#include "gstreamer/frame_shape.h"

namespace tkmjpg::gst {
namespace {

// Writers fill up to whole MCUs, of 16 lines or pixels at most; field images once more.
constexpr int kMaxFill = 15;

bool Fits(int coded, int wanted) { return coded >= wanted && coded <= wanted + kMaxFill; }

bool IsPair(const JpegFrame& frame) {
  const JpegImage &first = frame.images[0], &second = frame.images[1];
  return frame.count == 2 && first.width == second.width && first.height == second.height;
}

bool AreFields(const JpegFrame& frame, int height) {
  const JpegImage& first = frame.images[0];
  const bool pair = IsPair(frame);
  if (height == 0) return pair;
  if (!Fits(first.height, height / 2)) return pair && !Fits(first.height, height);
  // As low as a field, and as high as the frame only if that is tiny.
  return !Fits(first.height, height) || (pair && first.field_code != 0);
}

}  // namespace

FrameShape ShapeOf(const JpegFrame& frame, int width, int height) {
  const JpegImage& first = frame.images[0];
  FrameShape shape;
  shape.fields = AreFields(frame, height);
  shape.one_field = shape.fields && !IsPair(frame);
  shape.width = width != 0 && Fits(first.width, width) ? width : first.width;
  if (shape.fields) {
    const bool known = height != 0 && Fits(first.height, height / 2);
    shape.height = known ? height : 2 * first.height;
  } else {
    shape.height = height != 0 && Fits(first.height, height) ? height : first.height;
  }
  return shape;
}

}  // namespace tkmjpg::gst
