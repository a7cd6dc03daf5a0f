// The profile where the system has none: $XDG_CONFIG_HOME/tkmjpg/profile.ini, else
// ~/.config/tkmjpg/profile.ini. "[SECTION]" lines, "KEY=VALUE" lines, comments after ";" or "#".
// Sections and keys are compared without regard to case, as the system's are.
#pragma once

#include <string>

#include "platform/portable/host_types.h"

namespace tkmjpg {

// Where the profile is; empty if there is no such place.
std::string ProfilePath();

// Decimal, or hexadecimal after "0x", either with a "-"; counted modulo 2^32, up to the first
// character that is no digit. Text that is no number is 0. A missing or empty value is `otherwise`.
UINT GetProfileIntA(const char* section, const char* key, int otherwise);

// Non-zero when stored. Everything else in the file stays as it was, its permissions too, and a
// reader sees either the old file or the new one. Writers wait for one another, so that none loses
// what another has changed; a new file has the permissions that the umask leaves of 0666.
int WriteProfileStringA(const char* section, const char* key, const char* text);

}  // namespace tkmjpg
