#include "tools/tkmjpg/media/open_input.h"

#include "tkmjpg.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/media/picture_files.h"
#include "tools/tkmjpg/media/png_reader.h"
#include "tools/tkmjpg/media/pnm_reader.h"
#include "tools/tkmjpg/media/raw_reader.h"
#include "tools/tkmjpg/media/test_card.h"
#include "tools/tkmjpg/media/video_text.h"
#include "tools/tkmjpg/media/y4m_reader.h"

namespace tkmjpg::tool {
namespace {

std::unique_ptr<FrameReader> OpenRawAs(const std::string& name, const InputOptions& options,
                                       VideoFormat format) {
  const uint32_t layout = RawLayoutByName(options.layout.empty() ? "YUY2" : options.layout);
  if (layout == 0) {
    throw UsageError("--layout: '" + options.layout +
                     "' is none of YUY2, UYVY, VYUY, BGR3, BGR4, BGRA, R555");
  }
  if (options.alpha && layout != TKMJPG_BGRA) throw UsageError("--alpha needs --layout BGRA");
  ParseSize("--size", options.size, format);
  return OpenRaw(name, format, layout);
}

}  // namespace

std::unique_ptr<FrameReader> OpenFrameReader(const std::string& name, const InputOptions& options) {
  VideoFormat format;
  format.field_order = options.field_order.value_or(FieldOrder::kProgressive);
  if (!options.rate.empty()) format.rate = ParseRate("--rate", options.rate);

  const std::string extension = options.size.empty() ? Extension(name) : "";
  const bool png = extension == "png";
  const bool pnm = extension == "ppm" || extension == "pgm" || extension == "pnm";
  if (options.start && !png && !pnm) throw UsageError(kStartNeedsNumbers);
  if (!options.size.empty()) return OpenRawAs(name, options, format);
  if (!options.rate.empty() && !png && !pnm) {
    throw UsageError("--rate is for raw frames, pictures and .mjpg only");
  }
  if (!options.layout.empty()) throw UsageError("--layout needs --size");
  if (name.starts_with(kTestCardPrefix)) return OpenTestCard(name, format.field_order);
  if (png) return OpenPng(PictureFiles(name, options.start), format, options.alpha);
  if (options.alpha && pnm) throw UsageError("--alpha: PPM and PGM have no alpha plane");
  if (pnm) return OpenPnm(PictureFiles(name, options.start), format);
  if (options.alpha) throw UsageError("--alpha: Y4M input has no alpha plane");
  return OpenY4m(name, options.field_order, options.keep_full_range);
}

}  // namespace tkmjpg::tool
