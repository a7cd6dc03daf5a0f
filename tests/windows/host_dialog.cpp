// The real dialog, used as a person uses it: clicks, keys on the scroll bar, the thumb.
#include <cstring>
#include <string>

#include "host.h"

namespace {

struct User {
  HIC codec;
  HWND dialog = nullptr;
  void (User::*acts)() = nullptr;

  static DWORD WINAPI Thread(void* self) {
    auto& user = *static_cast<User*>(self);
    const char* caption = user.acts == &User::CloseAbout ? "Motion-JPEG " : "Configure";
    // A dialog is shown once its controls are set.
    for (int tries = 0; tries < 1000 && !IsWindowVisible(user.dialog); ++tries) {
      Sleep(10);
      user.dialog = FindWindowA(nullptr, caption);
    }
    if (Check(user.dialog != nullptr, "a window opens")) (user.*user.acts)();
    return 0;
  }

  void Click(int id) const { SendMessageA(GetDlgItem(dialog, id), BM_CLICK, 0, 0); }
  bool Ticked(int id) const { return IsDlgButtonChecked(dialog, id) == BST_CHECKED; }
  std::string Quality() const {
    char text[16] = {};
    SendMessageA(GetDlgItem(dialog, 102), WM_GETTEXT, sizeof text, reinterpret_cast<LPARAM>(text));
    return text;
  }
  void DragThumb(int code, int thumb) const {
    const HWND bar = GetDlgItem(dialog, 101);
    SendMessageA(dialog, WM_HSCROLL, MAKEWPARAM(code, thumb), reinterpret_cast<LPARAM>(bar));
  }
  // The bar itself turns keys into scroll codes.
  void PressKey(WPARAM key) const { SendMessageA(GetDlgItem(dialog, 101), WM_KEYDOWN, key, 0); }
  void ExpectQuality(const char* text) const { Check(Quality() == text, "quality shown", text); }

  // The state that the dialog opens with is 0x84100, quality 60.
  void SetEverything() {
    Check(Ticked(210) && Ticked(201) && Ticked(306) && Ticked(309), "boxes of the default word");
    Check(!Ticked(207) && !Ticked(301), "boxes not in the default word");
    ExpectQuality("60");
    PressKey(VK_LEFT);
    ExpectQuality("59");
    PressKey(VK_NEXT);
    ExpectQuality("64");
    DragThumb(SB_THUMBTRACK, 98);
    PressKey(VK_NEXT);
    ExpectQuality("100");
    DragThumb(SB_THUMBPOSITION, 5);
    ExpectQuality("05");
    Click(210);  // any height
    Click(207);
    Click(306);
    Click(IDOK);
  }
  void PressDefaultThenCancel() {
    Check(!Ticked(210) && Ticked(207), "boxes of what was chosen");
    Click(105);
    Check(Ticked(210) && !Ticked(207), "Default shows the default word");
    ExpectQuality("60");
    Click(IDCANCEL);
  }
  void PressDefaultThenOk() {
    Click(105);
    Click(IDOK);
  }
  void CloseAbout() { SendMessageA(dialog, WM_COMMAND, IDOK, 0); }
};

// Opens the dialog in this thread while the user acts in another; the dialog's answer.
LRESULT Open(HIC codec, UINT message, void (User::*acts)()) {
  User user = {.codec = codec, .acts = acts};
  const HANDLE thread = CreateThread(nullptr, 0, User::Thread, &user, 0, nullptr);
  const LRESULT answer = ICSendMessage(codec, message, 0, 0);
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
  return answer;
}

void ExpectState(HIC codec, DWORD options, DWORD default_quality) {
  uint32_t state[4] = {};
  ICGetState(codec, state, 16);
  DWORD quality = 0;
  ICSendMessage(codec, ICM_GETDEFAULTQUALITY, reinterpret_cast<DWORD_PTR>(&quality), 0);
  Check(state[2] == options && quality == default_quality, "the instance after the dialog");
}

void ExpectProfile(const char* word, const char* quality) {
  char text[32] = {};
  GetProfileStringA("TKMJPG", "MJPG_CF_Flags", "", text, sizeof text);
  Check(std::strcmp(text, word) == 0, "word in the profile", text);
  GetProfileStringA("TKMJPG", "MJPG_Default_Quality", "", text, sizeof text);
  Check(std::strcmp(text, quality) == 0, "quality in the profile", text);
}

}  // namespace

void TestDialog(const char* driver) {
  WriteProfileStringA("TKMJPG", nullptr, nullptr);
  const HIC codec = ICOpen(ICTYPE_VIDEO, kMjpg, ICMODE_COMPRESS);
  if (!Check(codec != nullptr, "ICOpen")) return;
  Check(Open(codec, ICM_CONFIGURE, &User::SetEverything) == 1, "OK answers 1");
  ExpectState(codec, 0x5084000, 500);
  ExpectProfile("0x05084000", "5");
  Check(Open(codec, ICM_CONFIGURE, &User::PressDefaultThenCancel) == 0, "Cancel answers 0");
  ExpectState(codec, 0x5084000, 500);
  ExpectProfile("0x05084000", "5");
  Check(Open(codec, ICM_ABOUT, &User::CloseAbout) == ICERR_OK, "About box");

  // Without an instance, as the system's own settings open it: the profile alone changes.
  User user = {.codec = codec, .acts = &User::PressDefaultThenOk};
  const HANDLE thread = CreateThread(nullptr, 0, User::Thread, &user, 0, nullptr);
  using DriverProcedure = LRESULT(CALLBACK*)(DWORD_PTR, HDRVR, UINT, LPARAM, LPARAM);
  const auto procedure = reinterpret_cast<DriverProcedure>(
      reinterpret_cast<void*>(GetProcAddress(LoadLibraryA(driver), "DriverProc")));
  Check(procedure(0, nullptr, DRV_CONFIGURE, 0, 0) == 1, "DRV_CONFIGURE");
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
  ExpectState(codec, 0x5084000, 500);
  ExpectProfile("0x00084100", "60");
  WriteProfileStringA("TKMJPG", nullptr, nullptr);
  ICClose(codec);
}
