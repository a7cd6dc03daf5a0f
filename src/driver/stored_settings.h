// The settings that outlive a run: the option word and the default quality in the host's profile.
#pragma once

#include <cstdint>

namespace tkmjpg {

struct StoredSettings {
  uint32_t options;
  uint32_t quality;  // meant to be 0 to 100; as found
};

StoredSettings ReadStoredSettings();

// Failures are ignored: a host goes on with the settings that its user chose.
void WriteStoredSettings(const StoredSettings& settings);

}  // namespace tkmjpg
