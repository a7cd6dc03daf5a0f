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
  BITMAPINFOHEADER header = {};
  header.biSize = sizeof header;
  header.biWidth = width;
  header.biHeight = height;
  header.biPlanes = 1;
  header.biBitCount = static_cast<WORD>(bits);
  header.biCompression = compression;
  header.biSizeImage = static_cast<DWORD>(width * std::abs(height) * bits / 8);
  return header;
}

// What ICM_COMPRESS_GET_FORMAT fills: 68 bytes.
union CompressedFormat {
  BITMAPINFOHEADER header;
  uint8_t bytes[68];
};

// A soft picture that moves with `number`: each byte within 16 to 235.
inline std::vector<uint8_t> Picture(const BITMAPINFOHEADER& format, int number) {
  std::vector<uint8_t> pixels(format.biSizeImage);
  const size_t row = pixels.size() / static_cast<size_t>(std::abs(format.biHeight));
  for (size_t i = 0; i < pixels.size(); ++i) {
    const double x = static_cast<double>(i % row) + number * 3;
    const double y = static_cast<double>(i) / static_cast<double>(row);
    pixels[i] = static_cast<uint8_t>(125 + 50 * std::sin(x / 90) + 50 * std::cos(y / 23));
  }
  return pixels;
}

double Psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b);

void TestCodec(const char* driver);
void TestProfile();
void TestAvi();
void TestDialog(const char* driver);
void TestSoak(const char* driver);

// Tools for clips: an uncompressed AVI to MJPG through the codec, and an AVI to raw BGR, lines
// bottom-up. Each answers an exit code.
int CompressClip(const char* input, const char* output);
int PlayClip(const char* input, const char* output);
