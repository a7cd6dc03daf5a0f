#include "tools/tkmjpg/commands/version_text.h"

#include <png.h>

// clang-format off
#include <cstdio>  // jpeglib.h wants FILE
#include <jpeglib.h>
// clang-format on

#include "cpu/cpu_rung.h"
#include "tkmjpg_version.h"
#include "tools/tkmjpg/media/container_reader.h"

namespace tkmjpg::tool {
namespace {

#if defined(__clang__)
constexpr char kCompiler[] = "Clang " __clang_version__;
#else
constexpr char kCompiler[] = "GCC " __VERSION__;
#endif

// The library itself does not tell its own.
#define TKMJPG_TEXT_OF(value) #value
#define TKMJPG_VALUE_TEXT(macro) TKMJPG_TEXT_OF(macro)
#if defined(LIBJPEG_TURBO_VERSION)
constexpr char kJpegLibrary[] = "libjpeg-turbo " TKMJPG_VALUE_TEXT(LIBJPEG_TURBO_VERSION);
#else
constexpr char kJpegLibrary[] = "libjpeg " TKMJPG_VALUE_TEXT(JPEG_LIB_VERSION);
#endif

std::string Bits() { return std::to_string(8 * sizeof(void*)) + " bits"; }

// Those that run here; the best one is in use.
std::string Rungs() {
  std::string text;
  for (int i = 0; i < kCpuRungCount; ++i) {
    const auto rung = static_cast<CpuRung>(i);
    if (CpuRungRuns(rung)) text += (text.empty() ? "" : ", ") + std::string(CpuRungName(rung));
  }
  return text;
}

}  // namespace

std::string VersionText() {
  std::string text = "tkmjpg " TKMJPG_VERSION;
  text += "\nbuild         " + std::string(kCompiler) + ", " + Bits();
  text += "\ninstructions  " + Rungs();
  text += "\nlibraries     libpng " + std::string(png_get_libpng_ver(nullptr)) + ", " +
          kJpegLibrary + ", " + ContainerLibrary();
  return text;
}

}  // namespace tkmjpg::tool
