#include "tools/tkmjpg/media/open_frame_output.h"

#include "tkmjpg.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/decode_layout.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/media/picture_avi_writer.h"
#include "tools/tkmjpg/media/png_writer.h"
#include "tools/tkmjpg/media/raw_writer.h"
#include "tools/tkmjpg/media/y4m_writer.h"

namespace tkmjpg::tool {
namespace {

uint32_t AviLayout(const std::string& name) {
  if (name.empty() || name == "YUY2") return TKMJPG_YUY2;
  if (name == "BGR3") return TKMJPG_BGR3;
  throw UsageError("--layout: uncompressed AVI is YUY2 or BGR3, not '" + name + "'");
}

}  // namespace

// Raw frames are what the stream says unless the user asks for something else: luma unlimited.
uint32_t RawLayout(const std::string& name) {
  if (name.empty()) return TKMJPG_YuYv;
  const uint32_t layout = DecodeLayoutByName(name);
  if (layout == 0) {
    throw UsageError("--layout: '" + name + "' is none of " + DecodeLayoutNames());
  }
  return layout;
}

std::unique_ptr<FrameWriter> OpenFrameWriter(const std::string& name, const VideoFormat& format,
                                             const FrameOutputOptions& options) {
  const std::string extension = Extension(name);
  const std::string& layout = options.layout;
  if (options.alpha && extension != "png") {
    throw UsageError("--alpha needs PNG; raw frames have it with --layout BGRA");
  }
  if (extension == "avi") {
    return std::make_unique<PictureAviWriter>(name, format, AviLayout(layout), options.overwrite,
                                              options.sound);
  }
  if (extension == "png" || extension == "y4m") {
    if (!layout.empty()) throw UsageError("--layout is not for ." + extension);
  }
  if (extension == "png") {
    return std::make_unique<PngWriter>(name, format, options.alpha, options.overwrite);
  }
  if (extension == "y4m" || (name == "-" && layout.empty())) {
    return std::make_unique<Y4mWriter>(name, format, options.overwrite);
  }
  if (extension == "raw" || extension == "yuv" || !layout.empty()) {
    return std::make_unique<RawWriter>(name, RawLayout(layout), options.overwrite);
  }
  throw UsageError(name + ": the name of the output ends in .y4m, .png, .avi or .raw, or is -");
}

}  // namespace tkmjpg::tool
