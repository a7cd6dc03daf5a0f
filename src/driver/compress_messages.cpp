#include "driver/compress_messages.h"

#include <algorithm>
#include <cstring>

#include "driver/host_format.h"
#include "driver/options.h"
#include "encoder/frame_compressor.h"

namespace tkmjpg {
namespace {

struct InputFormat {
  uint16_t bit_count;
  uint32_t compression;
  PixelFormatCode code;
  bool bottom_up;  // with a positive height
};

constexpr InputFormat kInputFormats[] = {
    {16, BI_RGB, PixelFormatCode::kRgb555, true},
    {16, Fourcc("YUY2"), PixelFormatCode::kYuyv, false},
    {16, Fourcc("VYUY"), PixelFormatCode::kYuyv, false},
    {16, Fourcc("UYVY"), PixelFormatCode::kUyvy, false},
    {16, Fourcc("YUV2"), PixelFormatCode::kUyvy, false},
    {24, BI_RGB, PixelFormatCode::kBgr24, true},
    {24, Fourcc("TK24"), PixelFormatCode::kBgr24, true},
    {32, BI_RGB, PixelFormatCode::kBgrx32, true},
};

// What a file stores as the format of its frames: the extended header of the OpenDML extensions
// after the bitmap's.
struct MjpgFormat {
  BITMAPINFOHEADER bitmap;
  uint32_t ext_data_offset = 44;  // from the end of the bitmap's header less one word
  uint32_t jpeg_size = 24;
  uint32_t jpeg_process = 0;         // baseline
  uint32_t jpeg_color_space_id = 2;  // YCbCr
  uint32_t jpeg_bits_per_sample = 8;
  uint32_t jpeg_h_subsampling = 2;
  uint32_t jpeg_v_subsampling = 1;
};
static_assert(sizeof(MjpgFormat) == 68);

constexpr uint16_t kCompressedBitCount = 24;
constexpr uint32_t kLargestSize = 65535;         // of a JPEG image
constexpr uint32_t kChunkCode = 'd' | 'b' << 8;  // read from memory: "db"

const InputFormat* FindInputFormat(const BITMAPINFOHEADER& input) {
  for (const InputFormat& format : kInputFormats) {
    if (format.bit_count == input.biBitCount && format.compression == input.biCompression) {
      return &format;
    }
  }
  return nullptr;
}

bool CheckCompressInput(const CodecInstance& instance, const BITMAPINFOHEADER* input) {
  if (input == nullptr || FindInputFormat(*input) == nullptr) return false;
  const bool any_height = (instance.state.options & option::kAnyHeight) != 0;
  return (input->biWidth & 15) == 0 && (any_height || (input->biHeight & 7) == 0);
}

bool CheckCompressOutput(const CodecInstance& instance, const BITMAPINFOHEADER& input,
                         const BITMAPINFOHEADER& output) {
  return output.biCompression == instance.state.fcc_handler && output.biWidth == input.biWidth &&
         output.biHeight == input.biHeight;
}

uint64_t PixelCount(const BITMAPINFOHEADER& format) {
  return Magnitude(format.biWidth) * Magnitude(format.biHeight);
}

uint32_t PlannedSize(const BITMAPINFOHEADER& input, uint16_t output_bit_count) {
  return static_cast<uint32_t>(PixelCount(input) * ((output_bit_count + 7u) / 8));
}

// No field says how many bytes the host's buffer has. It is taken to have what CompressGetSize
// answers for an output of 24 bits, or the input's biSizeImage if that is smaller and not 0.
uint32_t OutputCapacity(const BITMAPINFOHEADER& input) {
  const uint32_t planned = PlannedSize(input, kCompressedBitCount);
  const uint32_t given = SizeImage(input);
  return given != 0 ? std::min(given, planned) : planned;
}

// What the wishes of a host decide: a flag of CompressFrame and its last argument.
struct Mode {
  bool rate_control;
  int32_t value;  // quality 1 to 100, or the target in bytes
};

Mode ChooseMode(uint32_t options, const ICCOMPRESS& frame) {
  if ((options & option::kBitrateEnable) != 0 && frame.dwFrameSize != 0) {
    return {true, static_cast<int32_t>(std::min<uint32_t>(frame.dwFrameSize, INT32_MAX))};
  }
  if ((options & option::kQualityAsFrameSize) != 0) {
    return {true, static_cast<int32_t>(std::min<uint32_t>(frame.dwQuality, ICQUALITY_HIGH) * 10)};
  }
  const uint32_t quality = frame.dwQuality / kHostQualityScale;
  return {false, static_cast<int32_t>(std::clamp<uint32_t>(quality, 1, 100))};
}

uint32_t CodeFrame(CodecInstance& instance, const ICCOMPRESS& frame,
                   const BITMAPINFOHEADER& input) {
  const uint64_t width = Magnitude(input.biWidth);
  const uint64_t height = Magnitude(input.biHeight);
  if (width > kLargestSize || height > kLargestSize) return 0;

  const InputFormat& format = *FindInputFormat(input);
  const RowLayout rows =
      LocateRows(static_cast<uint32_t>(RowBytes(input)), static_cast<uint32_t>(height),
                 format.bottom_up && input.biHeight > 0);
  const uint32_t options = instance.state.options;
  const Mode mode = ChooseMode(options, frame);
  const uint32_t flags = (options & option::kEncoderMask) | (mode.rate_control ? kRateControl : 0u);
  return CompressFrame(static_cast<uint8_t*>(frame.lpOutput), OutputCapacity(input),
                       static_cast<const uint8_t*>(frame.lpInput) + rows.first, rows.stride,
                       static_cast<int32_t>(width), static_cast<int32_t>(height), flags,
                       format.code, &instance.carry, mode.value);
}

void ReportStatus(const CodecInstance& instance, UINT status) {
  if (instance.status_proc != nullptr) instance.status_proc(instance.status_lparam, status, 0);
}

}  // namespace

LRESULT CompressQuery(const CodecInstance& instance, const BITMAPINFOHEADER* input,
                      const BITMAPINFOHEADER* output) {
  if (!CheckCompressInput(instance, input)) return ICERR_BADFORMAT;
  if (output != nullptr && !CheckCompressOutput(instance, *input, *output)) return ICERR_BADFORMAT;
  return ICERR_OK;
}

LRESULT CompressGetFormat(const CodecInstance& instance, const BITMAPINFOHEADER* input,
                          BITMAPINFOHEADER* output) {
  if (!CheckCompressInput(instance, input)) return ICERR_BADFORMAT;
  if (output == nullptr) return sizeof(MjpgFormat);
  MjpgFormat format = {.bitmap = *input};
  format.bitmap.biSize = sizeof(MjpgFormat);
  format.bitmap.biBitCount = kCompressedBitCount;
  format.bitmap.biCompression = instance.state.fcc_handler;
  format.bitmap.biClrUsed = 0;
  format.bitmap.biSizeImage = static_cast<uint32_t>(PixelCount(*input) * 3 / 2);
  std::memcpy(static_cast<void*>(output), &format, sizeof format);
  return ICERR_OK;
}

LRESULT CompressGetSize(const BITMAPINFOHEADER* input, const BITMAPINFOHEADER* output) {
  if (input == nullptr || output == nullptr) return 0;
  return static_cast<LRESULT>(PlannedSize(*input, output->biBitCount));
}

LRESULT CompressBegin(CodecInstance& instance, const BITMAPINFOHEADER* input,
                      const BITMAPINFOHEADER* output) {
  const LRESULT answer = CompressQuery(instance, input, output);
  if (answer == ICERR_OK) instance.compress_active = true;
  return answer;
}

// The status callback is the host's and may do as it likes with the message and the input's header:
// both are copied before its first call.
LRESULT CompressOneFrame(CodecInstance& instance, const ICCOMPRESS* message) {
  if (message == nullptr) return ICERR_BADFORMAT;
  const ICCOMPRESS frame = *message;
  if (frame.lpbiOutput == nullptr) return ICERR_BADFORMAT;
  if (frame.lpInput == nullptr || frame.lpOutput == nullptr) return ICERR_BADFORMAT;
  BITMAPINFOHEADER& output = *frame.lpbiOutput;
  if (CompressQuery(instance, frame.lpbiInput, &output) != ICERR_OK) return ICERR_BADFORMAT;
  const BITMAPINFOHEADER input = *frame.lpbiInput;

  const bool series = instance.compress_active;
  instance.compress_active = true;
  ReportStatus(instance, ICSTATUS_START);
  output.biSize = sizeof(MjpgFormat);
  output.biBitCount = kCompressedBitCount;
  output.biCompression = instance.state.fcc_handler;
  output.biSizeImage = CodeFrame(instance, frame, input);
  ReportStatus(instance, ICSTATUS_END);
  if (frame.lpckid != nullptr) *frame.lpckid = kChunkCode;
  if (frame.lpdwFlags != nullptr) *frame.lpdwFlags = AVIIF_KEYFRAME;
  if (!series) instance.compress_active = false;
  return ICERR_OK;
}

LRESULT CompressEnd(CodecInstance& instance) {
  if (!instance.compress_active) return ICERR_ERROR;
  instance.compress_active = false;
  return ICERR_OK;
}

}  // namespace tkmjpg
