#include "tools/tkmjpg/media/png_writer.h"

#include <filesystem>

#include "tkmjpg.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/png_encode.h"

namespace tkmjpg::tool {
namespace {

constexpr int kZlibLevel = 3;  // twice the speed of the customary 6 for a few percent more bytes

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
  EncodePng({picture.pixels.data(), picture.stride, width_, height_,
             alpha_ ? PngColour::kBgra : PngColour::kBgr},
            kZlibLevel, packed);
}

void PngWriter::Write(const Bytes& packed) {
  if (next_ > 0 && !names_.IsNumbered()) {
    throw UsageError(names_.Name(0) + ": holds one frame only; name more as frame_%04d.png");
  }
  OutputFile file(names_.Name(next_++), overwrite_);
  file.WriteWhole(packed);
  file.Finish();
}

}  // namespace tkmjpg::tool
