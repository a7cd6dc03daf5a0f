#include "tools/tkmjpg/streams/jpeg_library.h"

#include <jerror.h>

#include <algorithm>
#include <cctype>
#include <cstring>

namespace tkmjpg::tool {
namespace {

// A scan without data costs a walk over all blocks. Writers make about ten.
constexpr int64_t kAlwaysAllowedScans = 12, kMostScans = 256;
constexpr int64_t kMostScannedPixels = int64_t{1} << 30;

int64_t MostScans(const jpeg_decompress_struct& decoder) {
  const int64_t pixels = int64_t{decoder.image_width} * decoder.image_height;
  return std::clamp(kMostScannedPixels / std::max<int64_t>(pixels, 1), kAlwaysAllowedScans,
                    kMostScans);
}

// Empty for what is no damage.
std::string NameOf(int warning, const int* numbers) {
  constexpr int kPadding = 3;  // bytes of a writer that ends on whole words
  switch (warning) {
    case JWRN_JFIF_MAJOR:
    case JWRN_ADOBE_XFORM:
      return {};
    case JWRN_EXTRANEOUS_DATA:
      if (numbers[0] <= kPadding) return {};
      return std::to_string(numbers[0]) + " bytes of entropy-coded data left over";
    case JWRN_HIT_MARKER:
    case JWRN_JPEG_EOF:
      return "entropy-coded data breaks off";
    case JWRN_HUFF_BAD_CODE:
    case JWRN_ARITH_BAD_CODE:
      return "invalid code in the entropy-coded data";
    case JWRN_MUST_RESYNC:
      return "wrong restart marker";
    case JWRN_BOGUS_PROGRESSION:
      return "scans that do not follow from each other";
    default:
      return "damaged data";
  }
}

}  // namespace

JpegLibrary::JpegLibrary(std::span<const uint8_t> stream, int64_t shift)
    : stream_(stream), shift_(shift) {
  decoder_.err = jpeg_std_error(&errors_);
  errors_.error_exit = OnError;
  errors_.emit_message = OnMessage;
  progress_.progress_monitor = OnProgress;
  decoder_.client_data = this;
  Run([this](jpeg_decompress_struct& decoder) {
    jpeg_create_decompress(&decoder);
    decoder.progress = &progress_;
    jpeg_mem_src(&decoder, stream_.data(), static_cast<unsigned long>(stream_.size()));
  });
}

JpegLibrary::~JpegLibrary() { jpeg_destroy_decompress(&decoder_); }

bool JpegLibrary::RunStep(StepCall call, const void* context) {
  if (failed_) return false;
  if (setjmp(escape_) != 0) {  // NOLINT(cert-err52-cpp): the library's way out of its own frames
    failed_ = true;
    return false;
  }
  call(decoder_, context);
  return true;
}

JpegLibrary& JpegLibrary::Of(j_common_ptr common) {
  return *static_cast<JpegLibrary*>(common->client_data);
}

void JpegLibrary::GiveUp(const char* why) {
  std::strncpy(message_, why, sizeof message_ - 1);
  std::longjmp(escape_, 1);  // NOLINT(cert-err52-cpp)
}

void JpegLibrary::OnError(j_common_ptr common) {
  char text[JMSG_LENGTH_MAX];
  (*common->err->format_message)(common, text);
  text[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(text[0])));
  Of(common).GiveUp(text);
}

// Levels from 0 up are tracing.
void JpegLibrary::OnMessage(j_common_ptr common, int level) {
  if (level < 0) Of(common).Warn();
}

void JpegLibrary::OnProgress(j_common_ptr common) {
  JpegLibrary& self = Of(common);
  if (self.decoder_.input_scan_number > MostScans(self.decoder_)) self.GiveUp("too many scans");
}

void JpegLibrary::Warn() {
  if (!damage_.empty()) return;
  const std::string name = NameOf(errors_.msg_code, errors_.msg_parm.i);
  if (name.empty()) return;
  const auto left = static_cast<int64_t>(decoder_.src->bytes_in_buffer);
  const int64_t at = static_cast<int64_t>(stream_.size()) - left + shift_;
  damage_ = name + " at byte " + std::to_string(std::max<int64_t>(at, 0));
}

}  // namespace tkmjpg::tool
