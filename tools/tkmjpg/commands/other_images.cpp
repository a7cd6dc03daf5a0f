#include "tools/tkmjpg/commands/other_images.h"

#include <algorithm>

#include "tkmjpg.h"
#include "tools/tkmjpg/media/planes_to_picture.h"
#include "tools/tkmjpg/streams/image_planes.h"

namespace tkmjpg::tool {
namespace {

class OtherFrame {
 public:
  OtherFrame(std::span<const uint8_t> stream, const FrameAnalysis& frame, int height,
             uint32_t flags, Picture& picture)
      : stream_(stream),
        images_(frame.Pictures()),
        height_(height),
        flags_(flags),
        picture_(picture) {}

  OtherPicture Run() {
    const ImagePlanes first = Decode(*images_[0]);
    if (!first.refusal.empty()) return {first.refusal, {}};
    const bool pair = images_.size() > 1 && images_[0]->height < height_;
    if (pair && !Has(TKMJPG_D_ONE_FIELD) && PutSecond()) {
      Put(first, {FirstLine(), 2});
    } else {
      PutSingle(first);
    }
    return {{}, damage_};
  }

 private:
  bool Has(uint32_t flag) const { return (flags_ & flag) != 0; }

  ImagePlanes Decode(const ImageAnalysis& image) {
    const std::string refusal = RefusalOf(image);
    ImagePlanes planes;
    if (refusal.empty()) planes = DecodePlanes(stream_, image);
    if (!refusal.empty()) planes.refusal = refusal;
    if (damage_.empty()) damage_ = planes.damage;
    return planes;
  }

  bool PutSecond() {
    const ImagePlanes second = Decode(*images_[1]);
    if (!second.refusal.empty()) {
      damage_ = "image 2: " + second.refusal;
      return false;
    }
    Put(second, {1 - FirstLine(), 2});
    return true;
  }

  // That of the first image.
  int FirstLine() const {
    bool odd = !Has(TKMJPG_D_INVERT_FIELDS);
    const bool by_code = Has(TKMJPG_D_USE_AVI1_MARKERS);
    if (by_code && images_[0]->field_code.value_or(0) == 2) odd = !odd;
    return odd ? 1 : 0;
  }

  void PutSingle(const ImagePlanes& image) {
    const bool field = image.height < height_ && 2 * image.height + 1 >= height_;
    if (!field) return Put(image, {});
    if (Has(TKMJPG_D_ONE_FIELD_SMART)) return Put(image, {0, 1, true});
    Put(image, {0, 2});
    Put(image, {1, 2});
  }

  void Put(const ImagePlanes& image, const LineShare& share) {
    PutPlanes(image, share, Has(TKMJPG_D_FULL_RANGE), picture_);
  }

  std::span<const uint8_t> stream_;
  std::vector<const ImageAnalysis*> images_;
  int height_;
  uint32_t flags_;
  Picture& picture_;
  std::string damage_;
};

}  // namespace

Chroma ChromaOf(const ImageAnalysis& image) {
  const ComponentShape &y = image.shape[0], &cb = image.shape[1], &cr = image.shape[2];
  if (image.components == 1) return Chroma::kMono;
  if (image.rgb) return Chroma::k444;
  const bool alike = cb.h == cr.h && cb.v == cr.v;
  const auto is = [&y = y, &cb = cb, alike](int h, int v) {
    return alike && y.h == h * cb.h && y.v == v * cb.v;
  };
  if (is(2, 2)) return Chroma::k420;
  if (is(4, 1)) return Chroma::k411;
  return 2 * std::max(cb.h, cr.h) <= y.h ? Chroma::k422 : Chroma::k444;
}

OtherPicture DecodeOtherImages(std::span<const uint8_t> stream, const FrameAnalysis& frame,
                               int height, uint32_t flags, Picture& picture) {
  return OtherFrame(stream, frame, height, flags, picture).Run();
}

void PutPacked(const Picture& packed, int width, int height, bool full_range, Picture& picture) {
  ImagePlanes image;
  image.width = width;
  image.height = height;
  image.most_h = 2;
  const auto pairs = static_cast<size_t>(width) / 2, lines = static_cast<size_t>(image.height);
  for (size_t c = 0; c < 3; ++c) {
    const size_t columns = c == 0 ? static_cast<size_t>(width) : pairs;
    SamplePlane plane{static_cast<int>(columns), image.height, columns, c == 0 ? 2 : 1, 1, {}};
    plane.samples.resize(columns * lines);
    image.planes.push_back(std::move(plane));
  }
  for (size_t y = 0; y < lines; ++y) {
    const uint8_t* in = packed.pixels.data() + y * static_cast<size_t>(packed.stride);
    uint8_t* luma = image.planes[0].samples.data() + y * image.planes[0].stride;
    for (size_t x = 0; x < image.planes[0].stride; ++x) luma[x] = in[2 * x];
    for (size_t i = 0; i < pairs; ++i) {
      image.planes[1].samples[y * pairs + i] = in[4 * i + 1];
      image.planes[2].samples[y * pairs + i] = in[4 * i + 3];
    }
  }
  PutPlanes(image, {}, full_range, picture);
}

}  // namespace tkmjpg::tool
