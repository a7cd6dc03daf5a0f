// Which file the system gives to programs that ask for the codec of MJPG. Programs of 64 and of 32
// bits have a part of the registry and a system folder each: `bits` says whose are meant.
#pragma once

#include <string>

namespace tkmjpg {

inline constexpr int kOwnBits = sizeof(void*) * 8;
inline constexpr char kDriversKey[] = "SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion\\Drivers32";
inline constexpr char kDriverValue[] = "vidc.mjpg";

bool IsSystem64();

// A text value of the machine's registry; empty if there is none.
std::string MachineText(int bits, const char* key, const char* name);

// An empty text removes the value. False if the registry refuses.
bool SetMachineText(int bits, const char* key, const char* name, const std::string& text);

void DeleteMachineKey(int bits, const char* key);

// The full name, as this program can open it, of a file that is registered as `name`.
std::string SystemFile(const std::string& name, int bits);

// Whether a registered file has this codec's name, in whatever folder.
bool IsThisCodec(const std::string& name);

}  // namespace tkmjpg
