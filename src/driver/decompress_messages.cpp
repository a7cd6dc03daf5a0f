#include "driver/decompress_messages.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <iterator>

#include "decoder/frame_decompressor.h"
#include "driver/host_format.h"
#include "driver/options.h"

namespace tkmjpg {
namespace {

using ColorMasks = std::array<uint32_t, 3>;  // red, green, blue: after the header of BI_BITFIELDS

struct OutputFormat {
  uint16_t bit_count;
  uint32_t compression;
  ColorMasks masks;
  PixelFormatCode code;
  bool bottom_up;       // with a positive height
  uint32_t refused_by;  // option bits
};

constexpr ColorMasks kNoMasks = {};
constexpr ColorMasks kMasks555 = {0x7C00, 0x3E0, 0x1F};
constexpr ColorMasks kMasks565 = {0xF800, 0x7E0, 0x1F};
constexpr ColorMasks kMasks888 = {0xFF0000, 0xFF00, 0xFF};

constexpr OutputFormat kOutputFormats[] = {
    {16, BI_RGB, kNoMasks, PixelFormatCode::kRgb555, true, 0},
    {16, BI_BITFIELDS, kMasks555, PixelFormatCode::kRgb555, true, 0},
    {16, BI_BITFIELDS, kMasks565, PixelFormatCode::kRgb565, true, 0},
    {16, Fourcc("YUY2"), kNoMasks, PixelFormatCode::kYuyv, false, option::kYuy2Disable},
    {16, Fourcc("UYVY"), kNoMasks, PixelFormatCode::kUyvy, false, option::kUyvyDisable},
    {24, BI_RGB, kNoMasks, PixelFormatCode::kBgr24, true, 0},
    {24, Fourcc("TK24"), kNoMasks, PixelFormatCode::kBgr24, true, 0},
    {32, BI_RGB, kNoMasks, PixelFormatCode::kBgrx32, true, 0},
    {32, BI_BITFIELDS, kMasks888, PixelFormatCode::kBgrx32, true, 0},
};

constexpr uint32_t kSourceCompressions[] = {kMjpg, Fourcc("mJPG"), Fourcc("mjpg"), Fourcc("dmb2"),
                                            Fourcc("dmb1")};

bool HasMasks(const BITMAPINFOHEADER& header, const ColorMasks& masks) {
  return std::memcmp(&header + 1, masks.data(), sizeof masks) == 0;
}

// Masks lie after a header of BI_BITFIELDS with one of the depths in the table. Nothing is read
// after any other.
const OutputFormat* FindOutputFormat(const BITMAPINFOHEADER& output, uint32_t compression) {
  for (const OutputFormat& format : kOutputFormats) {
    if (format.bit_count == output.biBitCount && format.compression == compression &&
        (compression != BI_BITFIELDS || HasMasks(output, format.masks))) {
      return &format;
    }
  }
  return nullptr;
}

bool AcceptsOutput(const CodecInstance& instance, const BITMAPINFOHEADER& output) {
  const OutputFormat* format = FindOutputFormat(output, output.biCompression);
  return format != nullptr && (instance.state.options & format->refused_by) == 0;
}

bool AcceptsSource(const BITMAPINFOHEADER* source) {
  if (source == nullptr) return false;
  const uint16_t bits = source->biBitCount;
  if (bits != 24 && bits != 16 && bits != 8) return false;
  return std::find(std::begin(kSourceCompressions), std::end(kSourceCompressions),
                   source->biCompression) != std::end(kSourceCompressions);
}

// 64-bit, for the magnitude of a height need not fit 32 bits.
int64_t Resolve(int32_t asked, int64_t whole) { return asked == -1 ? whole : asked; }

// The layout that a frame is written in. Other than a query, a frame takes any 24-bit format for
// BI_RGB, and wants one plane of a bit-field format.
const OutputFormat* FrameFormat(const BITMAPINFOHEADER& output) {
  if (output.biBitCount == 24) return FindOutputFormat(output, BI_RGB);
  if (output.biCompression == BI_BITFIELDS && output.biPlanes != 1) return nullptr;
  return FindOutputFormat(output, output.biCompression);
}

// A series may send headers that no query has seen: a source that is larger than the output would
// be written past it, and stays undecoded.
bool FitsOutput(const BITMAPINFOHEADER& source, const BITMAPINFOHEADER& output) {
  return Magnitude(source.biWidth) <= Magnitude(output.biWidth) &&
         Magnitude(source.biHeight) <= Magnitude(output.biHeight) &&
         RowBytes(output) <= INT32_MAX &&
         RowBytes(output) * Magnitude(output.biHeight) <= UINT32_MAX;
}

void DecompressToOutput(CodecInstance& instance, const DecompressRequest& request) {
  const BITMAPINFOHEADER& source = *request.source;
  const BITMAPINFOHEADER& output = *request.output;
  const OutputFormat* format = FrameFormat(output);
  if (format == nullptr || !FitsOutput(source, output)) return;
  if (request.source_data == nullptr || request.output_data == nullptr) return;

  const auto height = static_cast<uint32_t>(Magnitude(source.biHeight));
  const RowLayout rows = LocateRows(static_cast<uint32_t>(RowBytes(output)), height,
                                    format->bottom_up && output.biHeight > 0);
  DecompressFrame(static_cast<const uint8_t*>(request.source_data), SizeImage(source),
                  static_cast<uint8_t*>(request.output_data) + rows.first, rows.stride,
                  static_cast<int32_t>(Magnitude(source.biWidth)), static_cast<int32_t>(height),
                  instance.state.options & option::kDecoderMask, format->code, &instance.carry);
}

bool WholeFrame(const FrameRectangle& source, const FrameRectangle& output) {
  return source.x == 0 && source.y == 0 && output.x == 0 && output.y == 0 &&
         source.width == output.width && source.height == output.height;
}

}  // namespace

LRESULT DecompressGetFormat(const BITMAPINFOHEADER* source, BITMAPINFOHEADER* output) {
  if (!AcceptsSource(source)) return ICERR_BADFORMAT;
  if (output == nullptr) return sizeof(BITMAPINFOHEADER);
  BITMAPINFOHEADER format = *source;
  const uint64_t row = 3 * ((Magnitude(format.biWidth) + 3) & ~uint64_t{3});
  format.biSize = sizeof(BITMAPINFOHEADER);
  format.biClrUsed = 0;
  format.biBitCount = 24;
  format.biCompression = BI_RGB;
  format.biSizeImage = static_cast<uint32_t>(Magnitude(format.biHeight) * row);
  *output = format;
  return ICERR_OK;
}

LRESULT DecompressQuery(const CodecInstance& instance, const DecompressRequest& request) {
  if (!AcceptsSource(request.source)) return ICERR_BADFORMAT;
  const BITMAPINFOHEADER& source = *request.source;
  const FrameRectangle& from = request.source_rectangle;
  const int64_t width = Resolve(from.width, source.biWidth);
  const int64_t height = Resolve(from.height, source.biHeight);
  if (from.x != 0 || from.y != 0 || width != source.biWidth || height != source.biHeight) {
    return ICERR_BADPARAM;
  }
  if (request.output == nullptr) return ICERR_OK;
  const BITMAPINFOHEADER& output = *request.output;
  const FrameRectangle& to = request.output_rectangle;
  const auto output_height = static_cast<int64_t>(Magnitude(output.biHeight));
  if (output.biSize != sizeof(BITMAPINFOHEADER) || Resolve(to.width, output.biWidth) != width ||
      Resolve(to.height, output_height) != height) {
    return ICERR_BADFORMAT;
  }
  return AcceptsOutput(instance, output) ? ICERR_OK : ICERR_BADFORMAT;
}

LRESULT DecompressBegin(CodecInstance& instance, const DecompressRequest& request) {
  const LRESULT answer = DecompressQuery(instance, request);
  if (answer != ICERR_OK) return answer;
  if (request.output == nullptr) return ICERR_BADFORMAT;
  BITMAPINFOHEADER& output = *request.output;
  if (output.biSizeImage == 0) {
    const int64_t row = ((int64_t{output.biBitCount} * output.biWidth + 31) & ~int64_t{31}) / 8;
    output.biSizeImage = static_cast<uint32_t>(Magnitude(output.biHeight) * row);
  }
  instance.decompress_active = true;
  return ICERR_OK;
}

LRESULT DecompressOneFrame(CodecInstance& instance, const DecompressRequest& request) {
  const bool series = instance.decompress_active;
  if (!series) {
    const LRESULT answer = DecompressBegin(instance, request);
    if (answer != ICERR_OK) return answer;
  }
  // A frame that is passed over leaves open the series that it began.
  if (!WholeFrame(request.source_rectangle, request.output_rectangle)) return ICERR_OK;
  if ((request.flags & ICDECOMPRESS_HURRYUP) != 0) return ICERR_OK;
  if (request.source == nullptr || request.output == nullptr) return ICERR_BADFORMAT;
  const uint16_t bits = request.source->biBitCount;
  if (bits == 8 || bits == 16 || bits == 24 || bits == 32) DecompressToOutput(instance, request);
  if (!series) instance.decompress_active = false;
  return ICERR_OK;
}

LRESULT DecompressEnd(CodecInstance& instance) {
  if (!instance.decompress_active) return ICERR_ERROR;
  instance.decompress_active = false;
  return ICERR_OK;
}

}  // namespace tkmjpg
