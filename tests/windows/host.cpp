// usage: host codec DLL | profile | avi | dialog DLL | soak DLL | registered yes|no | pause PROGRAM
// |
//             removal COMMAND
#include "host.h"

#include <cstring>
#include <string>

#include "tkmjpg_version.h"

std::vector<uint8_t> Picture(const BITMAPINFOHEADER& format, int number) {
  std::vector<uint8_t> pixels(format.biSizeImage);
  const size_t row = pixels.size() / static_cast<size_t>(std::abs(format.biHeight));
  for (size_t i = 0; i < pixels.size(); ++i) {
    const double x = static_cast<double>(i % row) + number * 3;
    const double y = static_cast<double>(i) / static_cast<double>(row);
    pixels[i] = static_cast<uint8_t>(125 + 50 * std::sin(x / 90) + 50 * std::cos(y / 23));
  }
  return pixels;
}

void ExpectPicture(const BITMAPINFOHEADER& format, int number, const uint8_t* pixels) {
  const std::vector<uint8_t> wanted = Picture(format, number);
  double sum = 0;
  for (size_t i = 0; i < wanted.size(); ++i) {
    const bool spare = format.biBitCount == 32 && i % 4 == 3;
    if (!spare) sum += (wanted[i] - pixels[i]) * (wanted[i] - pixels[i]);
  }
  const double mean = sum / static_cast<double>(wanted.size());
  Check(mean < 65, "the picture comes back", std::to_string(mean).c_str());
}

void ExpectSettings(HIC codec, const Settings& wanted, const char* what) {
  uint32_t state[4] = {};
  Check(ICGetState(codec, state, sizeof state) == 16 && state[0] == kMjpg, "ICGetState");
  DWORD quality = 0;
  ICSendMessage(codec, ICM_GETDEFAULTQUALITY, reinterpret_cast<DWORD_PTR>(&quality), 0);
  Check(state[2] == wanted.options && state[1] == wanted.quality, "state", what);
  Check(quality == wanted.default_quality, "default quality", what);
}

void SetProfile(const char* options, const char* quality) {
  WriteProfileStringA("TKMJPG", "MJPG_CF_Flags", options);
  WriteProfileStringA("TKMJPG", "MJPG_Default_Quality", quality);
}

namespace {

void TestAnswers(HIC codec) {
  ICINFO info = {};
  Check(ICGetInfo(codec, &info, sizeof info) == sizeof info, "ICGetInfo");
  Check(std::wcscmp(info.szName, L"Motion-JPEG ") == 0, "name");
  Check(std::wcscmp(info.szDescription, L"MJPG_Tarnwick Video V" TKMJPG_VERSION) == 0,
        "description");
  Check(info.fccHandler == kMjpg && info.dwFlags == 0xA1, "handler and flags");
  Check(ICQueryConfigure(codec) && ICQueryAbout(codec), "dialog and About box");

  BITMAPINFOHEADER narrow = Header(24, BI_RGB, 328, 240);
  Check(ICCompressQuery(codec, &narrow, nullptr) == ICERR_BADFORMAT, "refused input");
  BITMAPINFOHEADER source = Header(24, kMjpg, 320, 240), twice = Header(24, BI_RGB, 640, 480);
  Check(ICDecompressQuery(codec, &source, &twice) == ICERR_BADFORMAT, "no scaling");
  Check(ICCompressEnd(codec) == ICERR_ERROR, "end without begin");

  // Full range output off: RGB goes back as it came.
  uint32_t state[4] = {kMjpg, 7700, 0x80100, 9};
  Check(ICGetStateSize(codec) == 16 && ICSetState(codec, state, 16) == 16, "ICSetState");
  ExpectSettings(codec, {0x80100, 7700, 6000}, "as set");
}

void TestThereAndBack(HIC codec, BITMAPINFOHEADER input) {
  CompressedFormat format = {};
  Check(ICCompressQuery(codec, &input, nullptr) == ICERR_OK, "query");
  Check(ICCompressGetFormatSize(codec, &input) == 68, "size of the format");
  Check(ICCompressGetFormat(codec, &input, &format) == ICERR_OK, "format");
  std::vector<uint8_t> stream(ICCompressGetSize(codec, &input, &format));
  std::vector<uint8_t> pixels = Picture(input, 0), decoded(pixels.size());
  DWORD chunk = 0, flags = 0;
  Check(ICCompressBegin(codec, &input, &format) == ICERR_OK, "compress begin");
  Check(ICCompress(codec, ICCOMPRESS_KEYFRAME, &format.header, stream.data(), &input, pixels.data(),
                   &chunk, &flags, 0, 0, 9000, nullptr, nullptr) == ICERR_OK,
        "compress");
  Check(ICCompressEnd(codec) == ICERR_OK, "compress end");
  Check(flags == AVIIF_KEYFRAME && chunk == mmioFOURCC('d', 'b', 0, 0), "a key frame");
  Check(format.header.biSizeImage > 0 && format.header.biSizeImage < pixels.size() / 4, "small");

  format.header.biHeight = std::abs(input.biHeight);  // that of a source has no sign
  Check(ICDecompressBegin(codec, &format, &input) == ICERR_OK, "decompress begin");
  Check(ICDecompress(codec, 0, &format.header, stream.data(), &input, decoded.data()) == ICERR_OK,
        "decompress");
  Check(ICDecompressEnd(codec) == ICERR_OK, "decompress end");
  ExpectPicture(input, 0, decoded.data());
}

// The system's helper for whole series: quality 75, each frame a key frame.
void TestSequence(HIC codec) {
  BITMAPINFO input = {Header(24, BI_RGB, 320, 240), {}};
  CompressedFormat format = {};
  ICCompressGetFormat(codec, &input.bmiHeader, &format);
  COMPVARS vars = {};
  vars.cbSize = sizeof vars;
  vars.dwFlags = ICMF_COMPVARS_VALID;
  vars.hic = codec;
  vars.lpbiOut = reinterpret_cast<BITMAPINFO*>(&format);
  vars.lKey = 1;
  vars.lQ = 7500;
  if (!Check(ICSeqCompressFrameStart(&vars, &input), "ICSeqCompressFrameStart")) return;
  for (int i = 0; i < 20; ++i) {
    BOOL key = FALSE;
    LONG size = 0;
    const void* stream =
        ICSeqCompressFrame(&vars, 0, Picture(input.bmiHeader, i).data(), &key, &size);
    Check(stream != nullptr && size > 500 && std::memcmp(stream, "\xFF\xD8", 2) == 0,
          "ICSeqCompressFrame");
  }
  ICSeqCompressFrameEnd(&vars);
}

void TestCodec(FARPROC driver) {
  for (const HIC codec : {ICOpen(ICTYPE_VIDEO, kMjpg, ICMODE_COMPRESS),
                          ICOpenFunction(ICTYPE_VIDEO, kMjpg, ICMODE_COMPRESS, driver)}) {
    if (!Check(codec != nullptr, "ICOpen, ICOpenFunction")) continue;
    TestAnswers(codec);
    for (const BITMAPINFOHEADER& input :
         {Header(24, BI_RGB, 320, 240), Header(32, BI_RGB, 320, 240), Header(24, BI_RGB, 320, -240),
          Header(16, kYuy2, 320, 240), Header(16, kUyvy, 320, 240)}) {
      TestThereAndBack(codec, input);
    }
    TestSequence(codec);
    Check(ICClose(codec) == ICERR_OK, "ICClose");
  }
}

void TestProfile() {
  SetProfile("0x01000180", "75");
  const HIC codec = ICOpen(ICTYPE_VIDEO, kMjpg, ICMODE_COMPRESS);
  ICINFO info = {};
  Check(ICGetInfo(codec, &info, sizeof info) != 0 && info.dwFlags == 0xA3, "flags");
  ExpectSettings(codec, {0x01000180, 7500, 7500}, "of the profile");
  ICClose(codec);
  SetProfile(nullptr, nullptr);
}

void TestRegistered(bool expected) {
  const HIC codec = ICOpen(ICTYPE_VIDEO, kMjpg, ICMODE_QUERY);
  Check((codec != nullptr) == expected, "the system finds the codec, or not");
  if (codec != nullptr) ICClose(codec);
}

}  // namespace

int main(int count, char** arguments) {
  const std::string what = count > 1 ? arguments[1] : "", argument = count > 2 ? arguments[2] : "";
  const auto driver = [&] { return GetProcAddress(LoadLibraryA(argument.c_str()), "DriverProc"); };
  if (what == "codec") TestCodec(driver());
  if (what == "profile") TestProfile();
  if (what == "avi") TestAvi();
  if (what == "dialog") TestDialog(driver());
  if (what == "soak") TestSoak(argument.c_str());
  if (what == "pause") TestPause(argument.c_str());
  if (what == "removal") TestRemoval(argument.c_str());
  if (what == "registered") TestRegistered(argument == "yes");
  return Summary(what.c_str());
}
