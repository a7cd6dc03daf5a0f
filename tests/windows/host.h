// A program that uses the codec as hosts do, through the system's own calls.
#pragma once

#include <cmath>
#include <cstdint>
#include <vector>

#include "checks.h"
#include "platform/host_messages.h"

inline constexpr DWORD kMjpg = mmioFOURCC('M', 'J', 'P', 'G');
inline constexpr DWORD kYuy2 = mmioFOURCC('Y', 'U', 'Y', '2');
inline constexpr DWORD kUyvy = mmioFOURCC('U', 'Y', 'V', 'Y');

inline BITMAPINFOHEADER Header(int bits, DWORD compression, int width, int height) {
  const auto depth = static_cast<WORD>(bits);
  const auto size = static_cast<DWORD>(width * std::abs(height) * bits / 8);
  return {40, width, height, 1, depth, compression, size, 0, 0, 0, 0};
}

// What ICM_COMPRESS_GET_FORMAT fills: 68 bytes.
union CompressedFormat {
  BITMAPINFOHEADER header;
  uint8_t bytes[68];
};

// A soft picture that moves with `number`: each byte within 16 to 235.
std::vector<uint8_t> Picture(const BITMAPINFOHEADER& format, int number);

// The frame that comes out is the picture that went in, but for what coding takes.
void ExpectPicture(const BITMAPINFOHEADER& format, int number, const uint8_t* pixels);

// What a host can see of an instance's settings.
struct Settings {
  DWORD options, quality, default_quality;
};
void ExpectSettings(HIC codec, const Settings& wanted, const char* what);

// The profile's option word and quality; null takes one out.
void SetProfile(const char* options, const char* quality);

void TestAvi();
void TestDialog(FARPROC driver);
void TestSoak(const char* path);  // loads and unloads it: nothing else may hold it
// What the doctor does in a console of its own, and uninstalling while a program has the codec
// open.
void TestPause(const char* doctor);
void TestRemoval(const char* command);
