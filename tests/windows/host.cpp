// usage: host codec DLL | profile | avi | dialog DLL | soak DLL | registered yes|no
//        host compress IN.avi OUT.avi | play IN.avi OUT.raw
#include "host.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace {

// What every open of the codec has to do, however it was found.
class CodecTest {
 public:
  explicit CodecTest(HIC codec) : codec_(codec) {}

  void Run() {
    TellsWhoItIs();
    RefusesWhatItCannotDo();
    KeepsState();
    for (const BITMAPINFOHEADER& input :
         {Header(24, BI_RGB, 320, 240), Header(32, BI_RGB, 320, 240), Header(24, BI_RGB, 320, -240),
          Header(16, kYuy2, 320, 240), Header(16, kUyvy, 320, 240)}) {
      ThereAndBack(input);
    }
    Sequence();
  }

 private:
  void TellsWhoItIs() {
    ICINFO info = {};
    Check(ICGetInfo(codec_, &info, sizeof info) == sizeof info, "ICGetInfo");
    Check(std::wcscmp(info.szName, L"Motion-JPEG ") == 0, "name");
    Check(std::wcscmp(info.szDescription, L"MJPG_Tarnwick Video V3.2.16408") == 0, "description");
    Check(info.fccHandler == kMjpg && info.dwFlags == 0xA1, "handler and flags");
    Check(ICQueryConfigure(codec_) && ICQueryAbout(codec_), "dialog and About box");
  }

  void RefusesWhatItCannotDo() {
    for (BITMAPINFOHEADER input : {Header(8, BI_RGB, 320, 240), Header(24, BI_RGB, 328, 240),
                                   Header(24, BI_RGB, 320, 244), Header(24, kYuy2, 320, 240)}) {
      Check(ICCompressQuery(codec_, &input, nullptr) == ICERR_BADFORMAT, "refused input");
    }
    BITMAPINFOHEADER source = Header(24, kMjpg, 320, 240);
    BITMAPINFOHEADER twice = Header(24, BI_RGB, 640, 480);
    Check(ICDecompressQuery(codec_, &source, &twice) == ICERR_BADFORMAT, "no scaling");
    source.biCompression = mmioFOURCC('I', 'V', '5', '0');
    Check(ICDecompressQuery(codec_, &source, nullptr) == ICERR_BADFORMAT, "other stream");
    Check(ICCompressEnd(codec_) == ICERR_ERROR, "end without begin");
  }

  void KeepsState() {
    uint32_t state[4] = {};
    Check(ICGetStateSize(codec_) == 16, "size of the state");
    Check(ICGetState(codec_, state, 16) == 16 && state[0] == kMjpg, "ICGetState");
    uint32_t other[4] = {kMjpg, 7700, 0x84180, 9};
    Check(ICSetState(codec_, other, 16) == 16, "ICSetState");
    uint32_t read[4] = {};
    ICGetState(codec_, read, 16);
    Check(std::memcmp(read, other, 16) == 0, "the state comes back");
    DWORD quality = 0;
    ICSendMessage(codec_, ICM_GETQUALITY, reinterpret_cast<DWORD_PTR>(&quality), 0);
    Check(quality == 7700, "quality of the state");
    ICSetState(codec_, state, 16);
  }

  // Frames of the default options: what full range output makes of a picture that was YUV or RGB
  // is the decoder's affair, so RGB goes back with that option off.
  void ThereAndBack(BITMAPINFOHEADER input) {
    uint32_t state[4] = {kMjpg, 9000, 0x80100, 0};
    ICSetState(codec_, state, 16);
    CompressedFormat format = {};
    Check(ICCompressQuery(codec_, &input, nullptr) == ICERR_OK, "query");
    Check(ICCompressGetFormatSize(codec_, &input) == 68, "size of the format");
    Check(ICCompressGetFormat(codec_, &input, &format) == ICERR_OK, "format");
    std::vector<uint8_t> stream(ICCompressGetSize(codec_, &input, &format));
    std::vector<uint8_t> pixels = Picture(input, 0);
    std::vector<uint8_t> decoded(pixels.size());
    BITMAPINFOHEADER output = input;
    Check(ICCompressBegin(codec_, &input, &format) == ICERR_OK, "compress begin");
    DWORD chunk = 0;
    DWORD flags = 0;
    Check(ICCompress(codec_, ICCOMPRESS_KEYFRAME, &format.header, stream.data(), &input,
                     pixels.data(), &chunk, &flags, 0, 0, 9000, nullptr, nullptr) == ICERR_OK,
          "compress");
    Check(flags == AVIIF_KEYFRAME && chunk == mmioFOURCC('d', 'b', 0, 0), "a key frame");
    Check(ICCompressEnd(codec_) == ICERR_OK, "compress end");
    Check(format.header.biSizeImage > 0 && format.header.biSizeImage < pixels.size() / 4, "small");
    // A decompressed frame of negative height has a source of that height too.
    output.biHeight = format.header.biHeight = std::abs(input.biHeight);
    Check(ICDecompressBegin(codec_, &format, &output) == ICERR_OK, "decompress begin");
    Check(
        ICDecompress(codec_, 0, &format.header, stream.data(), &output, decoded.data()) == ICERR_OK,
        "decompress");
    Check(ICDecompressEnd(codec_) == ICERR_OK, "decompress end");
    if (input.biHeight < 0) TurnOver(decoded);
    ForgetSpareBytes(input, pixels, decoded);
    Check(Psnr(pixels, decoded) > 30, "the picture comes back",
          std::to_string(Psnr(pixels, decoded)).c_str());
  }

  static void TurnOver(std::vector<uint8_t>& rgb24) {
    constexpr size_t kRow = 320 * 3;
    for (size_t top = 0, end = rgb24.size(); top + kRow < end - top; top += kRow) {
      std::swap_ranges(rgb24.begin() + static_cast<ptrdiff_t>(top),
                       rgb24.begin() + static_cast<ptrdiff_t>(top + kRow),
                       rgb24.end() - static_cast<ptrdiff_t>(top + kRow));
    }
  }

  static void ForgetSpareBytes(const BITMAPINFOHEADER& input, std::vector<uint8_t>& a,
                               std::vector<uint8_t>& b) {
    if (input.biBitCount != 32) return;
    for (size_t i = 3; i < a.size(); i += 4) a[i] = b[i] = 0;
  }

  // The system's helper for whole series.
  void Sequence() {
    BITMAPINFO input = {Header(24, BI_RGB, 320, 240), {}};
    CompressedFormat format = {};
    ICCompressGetFormat(codec_, &input.bmiHeader, &format);
    COMPVARS vars = {};
    vars.cbSize = sizeof vars;
    vars.dwFlags = ICMF_COMPVARS_VALID;
    vars.hic = codec_;
    vars.fccType = ICTYPE_VIDEO;
    vars.fccHandler = kMjpg;
    vars.lpbiOut = reinterpret_cast<BITMAPINFO*>(&format);
    vars.lKey = 1;
    vars.lQ = 7500;
    if (!Check(ICSeqCompressFrameStart(&vars, &input), "ICSeqCompressFrameStart")) return;
    for (int i = 0; i < 20; ++i) {
      std::vector<uint8_t> pixels = Picture(input.bmiHeader, i);
      BOOL key = FALSE;
      LONG size = 0;
      const auto* stream =
          static_cast<const uint8_t*>(ICSeqCompressFrame(&vars, 0, pixels.data(), &key, &size));
      Check(stream != nullptr && size > 500 && stream[0] == 0xFF && stream[1] == 0xD8,
            "ICSeqCompressFrame");
    }
    ICSeqCompressFrameEnd(&vars);
  }

  HIC codec_;
};

void TestRegistered(bool expected) {
  const HIC codec = ICOpen(ICTYPE_VIDEO, kMjpg, ICMODE_QUERY);
  Check((codec != nullptr) == expected, "the system finds the codec, or not");
  if (codec != nullptr) ICClose(codec);
}

}  // namespace

double Psnr(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  double sum = 0;
  for (size_t i = 0; i < a.size(); ++i) sum += (a[i] - b[i]) * (a[i] - b[i]);
  return sum == 0 ? 99 : 10 * std::log10(255.0 * 255.0 * static_cast<double>(a.size()) / sum);
}

void TestCodec(const char* driver) {
  const HIC registered = ICOpen(ICTYPE_VIDEO, kMjpg, ICMODE_COMPRESS);
  if (Check(registered != nullptr, "ICOpen")) CodecTest(registered).Run();
  const HMODULE library = LoadLibraryA(driver);
  const HIC direct =
      ICOpenFunction(ICTYPE_VIDEO, kMjpg, ICMODE_COMPRESS,
                     reinterpret_cast<FARPROC>(GetProcAddress(library, "DriverProc")));
  if (Check(direct != nullptr, "ICOpenFunction")) CodecTest(direct).Run();
  Check(ICClose(direct) == ICERR_OK && ICClose(registered) == ICERR_OK, "ICClose");
}

void TestProfile() {
  struct {
    const char *word, *quality;
    DWORD options, default_quality, flags;
  } const cases[] = {
      {"0x01000180", "75", 0x01000180, 7500, 0xA3},
      {"540928", "5", 0x84100, 500, 0xA1},
      {nullptr, nullptr, 0x84100, 6000, 0xA1},
  };
  for (const auto& c : cases) {
    WriteProfileStringA("TKMJPG", "MJPG_CF_Flags", c.word);
    WriteProfileStringA("TKMJPG", "MJPG_Default_Quality", c.quality);
    const HIC codec = ICOpen(ICTYPE_VIDEO, kMjpg, ICMODE_COMPRESS);
    uint32_t state[4] = {};
    ICGetState(codec, state, 16);
    DWORD quality = 0;
    ICSendMessage(codec, ICM_GETDEFAULTQUALITY, reinterpret_cast<DWORD_PTR>(&quality), 0);
    ICINFO info = {};
    ICGetInfo(codec, &info, sizeof info);
    ICClose(codec);
    Check(state[1] == c.default_quality && state[2] == c.options, "state of the profile", c.word);
    Check(quality == c.default_quality && info.dwFlags == c.flags, "default quality", c.quality);
  }
}

int main(int count, char** arguments) {
  const std::string what = count > 1 ? arguments[1] : "";
  if (what == "compress" && count == 4) return CompressClip(arguments[2], arguments[3]);
  if (what == "play" && count == 4) return PlayClip(arguments[2], arguments[3]);
  if (what == "codec" && count == 3) TestCodec(arguments[2]);
  if (what == "profile") TestProfile();
  if (what == "avi") TestAvi();
  if (what == "dialog" && count == 3) TestDialog(arguments[2]);
  if (what == "soak" && count == 3) TestSoak(arguments[2]);
  if (what == "registered" && count == 3) TestRegistered(arguments[2][0] == 'y');
  return Summary(what.c_str());
}
