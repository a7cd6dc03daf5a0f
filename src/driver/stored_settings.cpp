#include "driver/stored_settings.h"

#include <cstdio>

#include "driver/options.h"
#include "platform/host_services.h"

namespace tkmjpg {

StoredSettings ReadStoredSettings() {
  return {.options = GetProfileIntA(kProfileSection, kOptionsKey, kDefaultOptions),
          .quality = GetProfileIntA(kProfileSection, kQualityKey, kDefaultQuality)};
}

void WriteStoredSettings(const StoredSettings& settings) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(settings.options));
  WriteProfileStringA(kProfileSection, kOptionsKey, text);
  std::snprintf(text, sizeof text, "%i", static_cast<int>(settings.quality));
  WriteProfileStringA(kProfileSection, kQualityKey, text);
}

}  // namespace tkmjpg
