// The system's AVI functions, which find the codec by the registry.
#include "host.h"

namespace {

constexpr int kFrames = 12;

// Raw frames into a stream that codes them for the stream of a file.
void WriteFilm(const char* path, BITMAPINFOHEADER format) {
  PAVIFILE file = nullptr;
  if (!Check(AVIFileOpenA(&file, path, OF_CREATE | OF_WRITE, nullptr) == 0, "new AVI")) return;
  AVISTREAMINFOA info = {};
  info.fccType = streamtypeVIDEO;
  info.fccHandler = kMjpg;
  info.dwScale = 1;
  info.dwRate = 25;
  info.dwSuggestedBufferSize = format.biSizeImage;
  PAVISTREAM stream = nullptr, coding = nullptr;
  AVIFileCreateStreamA(file, &stream, &info);
  AVICOMPRESSOPTIONS options = {streamtypeVIDEO, kMjpg, 0,       9000, 0, AVICOMPRESSF_VALID,
                                nullptr,         0,     nullptr, 0,    0};
  if (Check(AVIMakeCompressedStream(&coding, stream, &options, nullptr) == 0, "coding stream")) {
    Check(AVIStreamSetFormat(coding, 0, &format, sizeof format) == 0, "AVIStreamSetFormat");
    for (int i = 0; i < kFrames; ++i) {
      std::vector<uint8_t> pixels = Picture(format, i);
      const auto size = static_cast<LONG>(pixels.size());
      const auto answer = AVIStreamWrite(coding, i, 1, pixels.data(), size, 0, nullptr, nullptr);
      Check(answer == 0, "AVIStreamWrite");
    }
    AVIStreamRelease(coding);
  }
  AVIStreamRelease(stream);
  AVIFileRelease(file);
}

void ReadFilm(const char* path, BITMAPINFOHEADER format) {
  PAVISTREAM stream = nullptr;
  AVIStreamOpenFromFileA(&stream, path, streamtypeVIDEO, 0, OF_READ, nullptr);
  if (!Check(stream != nullptr, "AVI opens")) return;
  Check(AVIStreamLength(stream) == kFrames, "all frames");
  const PGETFRAME frames = AVIStreamGetFrameOpen(stream, &format);
  if (Check(frames != nullptr, "AVIStreamGetFrameOpen")) {
    for (int i = 0; i < kFrames; ++i) {
      const auto* dib = static_cast<const uint8_t*>(AVIStreamGetFrame(frames, i));
      if (!Check(dib != nullptr, "AVIStreamGetFrame")) break;
      ExpectPicture(format, i, dib + sizeof(BITMAPINFOHEADER));
    }
    AVIStreamGetFrameClose(frames);
  }
  AVIStreamRelease(stream);
}

}  // namespace

void TestAvi() {
  SetProfile("0x80100", nullptr);  // full range output off: RGB comes back as it was
  AVIFileInit();
  WriteFilm("host_film.avi", Header(24, BI_RGB, 320, 240));
  ReadFilm("host_film.avi", Header(24, BI_RGB, 320, 240));
  AVIFileExit();
  DeleteFileA("host_film.avi");
  SetProfile(nullptr, nullptr);
}
