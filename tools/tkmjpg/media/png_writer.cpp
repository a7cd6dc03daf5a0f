#include "tools/tkmjpg/media/png_writer.h"

#include <png.h>

#include <filesystem>

#include "tkmjpg.h"
#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

constexpr int kZlibLevel = 3;  // twice the speed of the customary 6 for a few percent more bytes

void AppendBytes(png_structp png, png_bytep bytes, png_size_t size) {
  auto& packed = *static_cast<Bytes*>(png_get_io_ptr(png));
  packed.insert(packed.end(), bytes, bytes + size);
}

void FlushNothing(png_structp) {}

[[noreturn]] void Fail(png_structp, png_const_charp message) {
  throw InputError(std::string("PNG: ") + message);
}

}  // namespace

PngWriter::PngWriter(const std::string& pattern, const VideoFormat& format, bool alpha,
                     Overwrite overwrite)
    : names_(pattern),
      width_(static_cast<uint32_t>(format.width)),
      height_(static_cast<uint32_t>(format.height)),
      alpha_(alpha),
      overwrite_(overwrite) {
  if (overwrite == Overwrite::kRefuse && std::filesystem::exists(names_.Name(0))) {
    throw UsageError(names_.Name(0) + ": exists; --force replaces it");
  }
}

uint32_t PngWriter::Layout() const { return alpha_ ? TKMJPG_BGRA : TKMJPG_BGR3; }

void PngWriter::Pack(const Picture& picture, Bytes& packed) const {
  packed.clear();
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, Fail, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_write_fn(png, &packed, AppendBytes, FlushNothing);
  png_set_compression_level(png, kZlibLevel);
  png_set_IHDR(png, info, width_, height_, 8, alpha_ ? PNG_COLOR_TYPE_RGBA : PNG_COLOR_TYPE_RGB,
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  png_set_bgr(png);
  for (uint32_t y = 0; y < height_; ++y) {
    png_write_row(png, picture.pixels.data() + y * picture.stride);
  }
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
}

void PngWriter::Write(const Bytes& packed) {
  if (next_ > 0 && !names_.IsNumbered()) {
    throw UsageError(names_.Name(0) + ": holds one frame only; name more as frame_%04d.png");
  }
  OutputFile file(names_.Name(next_++), overwrite_);
  file.Write(packed);
  file.Finish();
}

}  // namespace tkmjpg::tool
