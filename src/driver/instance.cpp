#include "driver/instance.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "driver/host_format.h"
#include "driver/options.h"
#include "driver/stored_settings.h"
#include "platform/host_services.h"

namespace tkmjpg {
namespace {

constexpr CodecState kDefaultCodecState = {.fcc_handler = kMjpg,
                                           .quality = kDefaultQuality * kHostQualityScale,
                                           .options = kDefaultOptions,
                                           .state_reserved = 0};
constexpr uint32_t kVidcfFlags = VIDCF_QUALITY | VIDCF_FASTTEMPORALC | VIDCF_FASTTEMPORALD;
constexpr uint32_t kDriverVersion = 3 << 16 | 0x4218;  // 0x34218
constexpr uint32_t kIcmVersion = 0x104;

// Each byte becomes one wide character. Answers where the text ends.
WCHAR* Widen(std::string_view text, WCHAR* wide) {
  return std::copy(text.begin(), text.end(), wide);
}

}  // namespace

CodecInstance* OpenCodecInstance(ICOPEN& open) {
  if (open.fccType != ICTYPE_VIDEO) return nullptr;
  auto* instance = static_cast<CodecInstance*>(AllocateZeroed(sizeof(CodecInstance)));
  if (instance == nullptr) {
    open.dwError = ICERR_MEMORY;
    return nullptr;
  }
  const StoredSettings stored = ReadStoredSettings();
  instance->fcc_type = ICTYPE_VIDEO;
  instance->vidcf_flags = kVidcfFlags;
  if ((stored.options & option::kBitrateEnable) != 0) instance->vidcf_flags |= VIDCF_CRUNCH;
  instance->default_quality = stored.quality * kHostQualityScale;
  instance->carry = kNewCarryState;
  instance->state = {.fcc_handler = kMjpg,
                     .quality = instance->default_quality,
                     .options = stored.options,
                     .state_reserved = 0};
  open.dwFlags = instance->vidcf_flags;
  open.dwError = ICERR_OK;
  return instance;
}

void CloseCodecInstance(CodecInstance& instance) { FreeMemory(&instance); }

uint32_t GetCodecState(const CodecInstance& instance, void* block, uint32_t size) {
  if (block == nullptr || size == 0) return sizeof(CodecState);
  if (size < sizeof(CodecState)) return 0;
  std::memcpy(block, &instance.state, sizeof(CodecState));
  return sizeof(CodecState);
}

uint32_t SetCodecState(CodecInstance& instance, const void* block, uint32_t size) {
  if (block == nullptr) {
    instance.state = kDefaultCodecState;
    return sizeof(CodecState);
  }
  if (size < sizeof(CodecState)) return 0;
  CodecState state;
  std::memcpy(&state, block, sizeof state);
  if (state.fcc_handler != instance.state.fcc_handler) return 0;
  instance.state = state;
  return sizeof(CodecState);
}

uint32_t GetCodecInfo(const CodecInstance& instance, ICINFO* info, uint32_t size) {
  if (info == nullptr) return sizeof(ICINFO);
  if (size < sizeof(ICINFO)) return 0;
  *info = {};
  info->dwSize = sizeof(ICINFO);
  info->fccType = ICTYPE_VIDEO;
  info->fccHandler = instance.state.fcc_handler;
  info->dwFlags = instance.vidcf_flags;
  info->dwVersion = kDriverVersion;
  info->dwVersionICM = kIcmVersion;
  Widen(kCodecName, info->szName);
  WCHAR* description = info->szDescription;
  for (int shift = 0; shift < 32; shift += 8) {
    *description++ = static_cast<uint8_t>(instance.state.fcc_handler >> shift);
  }
  *description++ = '_';
  Widen(kCodecDescription, description);
  Widen(kDriverFile, info->szDriver);
  return sizeof(ICINFO);
}

}  // namespace tkmjpg
