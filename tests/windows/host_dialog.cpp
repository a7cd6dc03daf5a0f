// The real dialog, used as a person uses it: clicks, keys on the scroll bar, the thumb.
#include <cstring>

#include "host.h"

namespace {

struct User {
  const char* caption;
  void (*acts)(const User&);
  HWND dialog = nullptr;

  static DWORD WINAPI Thread(void* self) {
    auto& user = *static_cast<User*>(self);
    // A dialog is shown once its controls are set.
    for (int tries = 0; tries < 1000 && !IsWindowVisible(user.dialog); ++tries) {
      Sleep(10);
      user.dialog = FindWindowA(nullptr, user.caption);
    }
    if (Check(user.dialog != nullptr, "a window opens")) user.acts(user);
    return 0;
  }

  void Click(std::initializer_list<int> ids) const {
    for (const int id : ids) SendMessageA(GetDlgItem(dialog, id), BM_CLICK, 0, 0);
  }
  bool Ticked(int id) const { return IsDlgButtonChecked(dialog, id) == BST_CHECKED; }
  void DragThumb(int code, int thumb) const {
    const HWND bar = GetDlgItem(dialog, 101);
    SendMessageA(dialog, WM_HSCROLL, MAKEWPARAM(code, thumb), reinterpret_cast<LPARAM>(bar));
  }
  // The bar itself turns keys into scroll codes.
  void PressKey(WPARAM key) const { SendMessageA(GetDlgItem(dialog, 101), WM_KEYDOWN, key, 0); }
  void ExpectQuality(const char* wanted) const {
    char text[16] = {};
    SendMessageA(GetDlgItem(dialog, 102), WM_GETTEXT, sizeof text, reinterpret_cast<LPARAM>(text));
    Check(std::strcmp(text, wanted) == 0, "quality shown", wanted);
  }
};

// The dialog opens with 0x84100, quality 60.
void SetEverything(const User& user) {
  for (const int id : {201, 210, 306, 309}) Check(user.Ticked(id), "box of the default word");
  for (const int id : {202, 207, 208, 301}) Check(!user.Ticked(id), "box not of the default word");
  user.ExpectQuality("60");
  user.PressKey(VK_LEFT);
  user.ExpectQuality("59");
  user.PressKey(VK_NEXT);
  user.ExpectQuality("64");
  user.DragThumb(SB_THUMBTRACK, 98);
  user.PressKey(VK_NEXT);
  user.ExpectQuality("100");
  user.DragThumb(SB_THUMBPOSITION, 5);
  user.ExpectQuality("05");
  user.Click({207, 210, 306, IDOK});
}

// What `open` answers while the user acts in another thread.
template <typename Open>
LRESULT With(User user, Open open) {
  const HANDLE thread = CreateThread(nullptr, 0, User::Thread, &user, 0, nullptr);
  const LRESULT answer = open();
  WaitForSingleObject(thread, INFINITE);
  CloseHandle(thread);
  return answer;
}

void ExpectStored(HIC codec, const Settings& wanted, const char* word, UINT quality) {
  ExpectSettings(codec, wanted, "after the dialog");
  char text[32] = {};
  GetProfileStringA("TKMJPG", "MJPG_CF_Flags", "", text, sizeof text);
  Check(std::strcmp(text, word) == 0, "word in the profile", text);
  Check(GetProfileIntA("TKMJPG", "MJPG_Default_Quality", -1) == quality, "quality in the profile");
}

}  // namespace

void TestDialog(FARPROC driver) {
  SetProfile(nullptr, nullptr);
  const HIC codec = ICOpen(ICTYPE_VIDEO, kMjpg, ICMODE_COMPRESS);
  if (!Check(codec != nullptr, "ICOpen")) return;
  const auto configure = [&] { return ICSendMessage(codec, ICM_CONFIGURE, 0, 0); };
  const auto about = [&] { return ICSendMessage(codec, ICM_ABOUT, 0, 0); };
  const Settings chosen = {0x5084000, 6000, 500};
  Check(With({"Configure", SetEverything}, configure) == 1, "OK answers 1");
  ExpectStored(codec, chosen, "0x05084000", 5);
  const auto cancel = [](const User& user) { user.Click({105, IDCANCEL}); };
  Check(With({"Configure", cancel}, configure) == 0, "Cancel answers 0");
  ExpectStored(codec, chosen, "0x05084000", 5);
  const auto close = [](const User& user) { SendMessageA(user.dialog, WM_COMMAND, IDOK, 0); };
  Check(With({"Motion-JPEG ", close}, about) == ICERR_OK, "About box");

  // Without an instance, as the system's own settings open it: the profile alone changes.
  const auto press_default = [](const User& user) {
    Check(!user.Ticked(210) && user.Ticked(207), "boxes of what was chosen");
    user.Click({105});
    Check(user.Ticked(210) && !user.Ticked(207), "Default shows the default word");
    user.ExpectQuality("60");
    user.Click({IDOK});
  };
  using DriverProcedure = LRESULT(CALLBACK*)(DWORD_PTR, HDRVR, UINT, LPARAM, LPARAM);
  const auto procedure = reinterpret_cast<DriverProcedure>(reinterpret_cast<void*>(driver));
  const auto configure_all = [&] { return procedure(0, nullptr, DRV_CONFIGURE, 0, 0); };
  Check(With({"Configure", press_default}, configure_all) == 1, "DRV_CONFIGURE");
  ExpectStored(codec, chosen, "0x00084100", 60);
  SetProfile(nullptr, nullptr);
  ICClose(codec);
}
