#include "tools/tkmjpg/media/png_encode.h"

#include <png.h>

#include <string>

#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

void AppendBytes(png_structp png, png_bytep bytes, png_size_t size) {
  auto& packed = *static_cast<Bytes*>(png_get_io_ptr(png));
  packed.insert(packed.end(), bytes, bytes + size);
}

void FlushNothing(png_structp) {}

[[noreturn]] void Fail(png_structp, png_const_charp message) {
  throw InputError(std::string("PNG: ") + message);
}

int ColourType(PngColour colour) {
  if (colour == PngColour::kGrey) return PNG_COLOR_TYPE_GRAY;
  return colour == PngColour::kBgr ? PNG_COLOR_TYPE_RGB : PNG_COLOR_TYPE_RGBA;
}

}  // namespace

void EncodePng(const PngPicture& picture, int level, Bytes& packed) {
  packed.clear();
  png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, Fail, nullptr);
  png_infop info = png_create_info_struct(png);
  png_set_write_fn(png, &packed, AppendBytes, FlushNothing);
  png_set_compression_level(png, level);
  png_set_IHDR(png, info, picture.width, picture.height, 8, ColourType(picture.colour),
               PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
  png_write_info(png, info);
  if (picture.colour != PngColour::kGrey) png_set_bgr(png);
  for (uint32_t y = 0; y < picture.height; ++y) {
    png_write_row(png, picture.pixels + y * picture.stride);
  }
  png_write_end(png, info);
  png_destroy_write_struct(&png, &info);
}

}  // namespace tkmjpg::tool
