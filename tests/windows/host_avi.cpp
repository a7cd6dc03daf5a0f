// The system's AVI functions, which find the codec by the registry.
#include <cstdio>
#include <string>

#include "host.h"

namespace {

constexpr int kFrames = 12;

PAVISTREAM NewStream(PAVIFILE file, DWORD handler, const BITMAPINFOHEADER& format, DWORD rate) {
  AVISTREAMINFOA info = {};
  info.fccType = streamtypeVIDEO;
  info.fccHandler = handler;
  info.dwScale = 1;
  info.dwRate = rate;
  info.dwSuggestedBufferSize = format.biSizeImage;
  PAVISTREAM stream = nullptr;
  AVIFileCreateStreamA(file, &stream, &info);
  return stream;
}

// A stream that takes raw frames and writes coded ones behind it.
PAVISTREAM CodingStream(PAVISTREAM file_stream, DWORD quality) {
  AVICOMPRESSOPTIONS options = {};
  options.fccType = streamtypeVIDEO;
  options.fccHandler = kMjpg;
  options.dwQuality = quality;
  options.dwFlags = AVICOMPRESSF_VALID;
  PAVISTREAM coding = nullptr;
  if (AVIMakeCompressedStream(&coding, file_stream, &options, nullptr) != 0) return nullptr;
  return coding;
}

void WriteFilm(const char* path, BITMAPINFOHEADER format) {
  PAVIFILE file = nullptr;
  if (!Check(AVIFileOpenA(&file, path, OF_CREATE | OF_WRITE, nullptr) == 0, "new AVI")) return;
  const PAVISTREAM stream = NewStream(file, kMjpg, format, 25);
  const PAVISTREAM coding = CodingStream(stream, 9000);
  if (Check(coding != nullptr, "AVIMakeCompressedStream")) {
    Check(AVIStreamSetFormat(coding, 0, &format, sizeof format) == 0, "AVIStreamSetFormat");
    for (int i = 0; i < kFrames; ++i) {
      std::vector<uint8_t> pixels = Picture(format, i);
      Check(AVIStreamWrite(coding, i, 1, pixels.data(), static_cast<LONG>(pixels.size()), 0,
                           nullptr, nullptr) == 0,
            "AVIStreamWrite");
    }
    AVIStreamRelease(coding);
  }
  AVIStreamRelease(stream);
  AVIFileRelease(file);
}

void ReadFilm(const char* path, BITMAPINFOHEADER format) {
  PAVISTREAM stream = nullptr;
  if (!Check(AVIStreamOpenFromFileA(&stream, path, streamtypeVIDEO, 0, OF_READ, nullptr) == 0,
             "AVI opens")) {
    return;
  }
  Check(AVIStreamLength(stream) == kFrames, "all frames");
  const PGETFRAME frames = AVIStreamGetFrameOpen(stream, &format);
  if (Check(frames != nullptr, "AVIStreamGetFrameOpen")) {
    for (int i = 0; i < kFrames; ++i) {
      const auto* dib = static_cast<const uint8_t*>(AVIStreamGetFrame(frames, i));
      if (!Check(dib != nullptr, "AVIStreamGetFrame")) break;
      const uint8_t* pixels = dib + sizeof(BITMAPINFOHEADER);
      const double psnr = Psnr(Picture(format, i), {pixels, pixels + format.biSizeImage});
      Check(psnr > 30, "frame of the AVI", std::to_string(psnr).c_str());
    }
    AVIStreamGetFrameClose(frames);
  }
  AVIStreamRelease(stream);
}

}  // namespace

void TestAvi() {
  // Coded from RGB, which has luma 16 to 235: full range output off.
  WriteProfileStringA("TKMJPG", "MJPG_CF_Flags", "0x80100");
  AVIFileInit();
  WriteFilm("host_film.avi", Header(24, BI_RGB, 320, 240));
  ReadFilm("host_film.avi", Header(24, BI_RGB, 320, 240));
  AVIFileExit();
  DeleteFileA("host_film.avi");
  WriteProfileStringA("TKMJPG", "MJPG_CF_Flags", nullptr);
}

int CompressClip(const char* input, const char* output) {
  AVIFileInit();
  PAVISTREAM source = nullptr;
  if (AVIStreamOpenFromFileA(&source, input, streamtypeVIDEO, 0, OF_READ, nullptr) != 0) return 1;
  BITMAPINFOHEADER format = {};
  LONG size = sizeof format;
  AVIStreamReadFormat(source, 0, &format, &size);
  AVISTREAMINFOA info = {};
  AVIStreamInfoA(source, &info, sizeof info);
  format.biSizeImage = static_cast<DWORD>(format.biWidth * format.biHeight * 3);
  PAVIFILE file = nullptr;
  if (AVIFileOpenA(&file, output, OF_CREATE | OF_WRITE, nullptr) != 0) return 1;
  const PAVISTREAM stream = NewStream(file, kMjpg, format, info.dwRate / info.dwScale);
  const PAVISTREAM coding = CodingStream(stream, 9000);
  if (coding == nullptr || AVIStreamSetFormat(coding, 0, &format, sizeof format) != 0) return 1;
  std::vector<uint8_t> pixels(format.biSizeImage);
  LONG written = 0;
  for (const LONG frames = AVIStreamLength(source); written < frames; ++written) {
    LONG bytes = 0;
    if (AVIStreamRead(source, written, 1, pixels.data(), static_cast<LONG>(pixels.size()), &bytes,
                      nullptr) != 0 ||
        AVIStreamWrite(coding, written, 1, pixels.data(), bytes, 0, nullptr, nullptr) != 0) {
      return 1;
    }
  }
  AVIStreamRelease(coding);
  AVIStreamRelease(stream);
  AVIFileRelease(file);
  AVIStreamRelease(source);
  AVIFileExit();
  std::printf("%ld frames\n", written);
  return 0;
}

int PlayClip(const char* input, const char* output) {
  AVIFileInit();
  PAVISTREAM stream = nullptr;
  if (AVIStreamOpenFromFileA(&stream, input, streamtypeVIDEO, 0, OF_READ, nullptr) != 0) return 1;
  const PGETFRAME frames = AVIStreamGetFrameOpen(stream, nullptr);
  std::FILE* raw = std::fopen(output, "wb");
  if (frames == nullptr || raw == nullptr) return 1;
  LONG i = 0;
  for (const LONG count = AVIStreamLength(stream); i < count; ++i) {
    const auto* dib = static_cast<const BITMAPINFOHEADER*>(AVIStreamGetFrame(frames, i));
    if (dib == nullptr) return 1;
    std::fwrite(dib + 1, 1, dib->biSizeImage, raw);
  }
  std::fclose(raw);
  AVIStreamGetFrameClose(frames);
  AVIStreamRelease(stream);
  AVIFileExit();
  std::printf("%ld frames\n", i);
  return 0;
}
