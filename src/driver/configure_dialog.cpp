#include "driver/configure_dialog.h"

#include <algorithm>
#include <cstdio>

#include "driver/driver_entry.h"
#include "driver/options.h"
#include "driver/stored_settings.h"

namespace tkmjpg {
namespace {

constexpr char kTemplateName[] = "Configure";
constexpr char kInstanceProperty[] = "CodecInstance";
constexpr int kLeast = 0;
constexpr int kMost = 100;
constexpr int kPage = 5;

// The check boxes and the bits of the option word that they show. Bits without a check box end up
// clear at OK.
struct OptionBox {
  int id;
  uint32_t bit;
};

constexpr OptionBox kOptionBoxes[] = {
    {201, option::kInterlaceEnable},       {202, option::kEncoderOneField},
    {203, option::kEncoderInvertedFields}, {204, option::kInvertAvi1Order},
    {207, option::kBitrateEnable},         {208, option::kQualityAsFrameSize},
    {209, option::kStrongBitrate},         {301, option::kYuy2Disable},
    {302, option::kUyvyDisable},           {305, option::kDecoderOneField},
    {306, option::kOneFieldSmart},         {307, option::kDecoderInvertFields},
    {308, option::kUseAvi1Markers},        {309, option::kFullColor},
};

constexpr int kOpenDmlSizeId = 210;  // ticked when kAnyHeight is clear

constexpr int LowWord(WPARAM wparam) { return static_cast<int>(wparam & 0xFFFF); }

constexpr int SignedHighWord(WPARAM wparam) {
  return static_cast<int16_t>(static_cast<uint16_t>(wparam >> 16));
}

void ShowQuality(HWND window, int quality) {
  char text[16];
  std::snprintf(text, sizeof text, "%02d", quality);
  SetScrollPos(GetDlgItem(window, kScrollBarId), SB_CTL, quality, true);
  SetDlgItemTextA(window, kQualityTextId, text);
}

void ShowOptionsInDialog(HWND window, uint32_t options, int quality) {
  for (const OptionBox& box : kOptionBoxes) {
    CheckDlgButton(window, box.id, (options & box.bit) != 0 ? BST_CHECKED : BST_UNCHECKED);
  }
  const bool any_height = (options & option::kAnyHeight) != 0;
  CheckDlgButton(window, kOpenDmlSizeId, any_height ? BST_UNCHECKED : BST_CHECKED);
  ShowQuality(window, quality);
}

uint32_t OptionsFromDialog(HWND window) {
  uint32_t options = IsDlgButtonChecked(window, kOpenDmlSizeId) ? 0 : option::kAnyHeight;
  for (const OptionBox& box : kOptionBoxes) {
    if (IsDlgButtonChecked(window, box.id)) options |= box.bit;
  }
  return options;
}

INT_PTR InitDialog(HWND window, LPARAM lparam) {
  const auto* instance = reinterpret_cast<const CodecInstance*>(lparam);
  SetPropA(window, kInstanceProperty, reinterpret_cast<HANDLE>(lparam));
  StoredSettings shown;
  if (instance != nullptr) {
    shown = {.options = instance->state.options,
             .quality = instance->default_quality / kHostQualityScale};
  } else {
    shown = ReadStoredSettings();
  }
  const int quality = static_cast<int>(std::min<uint32_t>(shown.quality, kMost));
  SetScrollRange(GetDlgItem(window, kScrollBarId), SB_CTL, kLeast, kMost, true);
  ShowOptionsInDialog(window, shown.options, quality);
  return 1;
}

INT_PTR Scroll(HWND window, WPARAM wparam, HWND bar) {
  if (GetDlgCtrlID(bar) != kScrollBarId) return 1;
  int position = GetScrollPos(bar, SB_CTL);
  switch (LowWord(wparam)) {
    case SB_LINEUP:
      position -= 1;
      break;
    case SB_LINEDOWN:
      position += 1;
      break;
    case SB_PAGEUP:
      position -= kPage;
      break;
    case SB_PAGEDOWN:
      position += kPage;
      break;
    case SB_THUMBPOSITION:
    case SB_THUMBTRACK:
      position = SignedHighWord(wparam);
      break;
    default:
      return 1;
  }
  ShowQuality(window, std::clamp(position, kLeast, kMost));
  return 1;
}

void TakeSettings(HWND window) {
  const int position = GetScrollPos(GetDlgItem(window, kScrollBarId), SB_CTL);
  const StoredSettings chosen = {
      .options = OptionsFromDialog(window),
      .quality = static_cast<uint32_t>(std::clamp(position, kLeast, kMost))};
  WriteStoredSettings(chosen);
  auto* instance = static_cast<CodecInstance*>(GetPropA(window, kInstanceProperty));
  if (instance == nullptr) return;
  instance->state.options = chosen.options;
  instance->default_quality = chosen.quality * kHostQualityScale;
}

INT_PTR Command(HWND window, int id) {
  switch (id) {
    case IDOK:
      TakeSettings(window);
      EndDialog(window, 1);
      break;
    case IDCANCEL:
      EndDialog(window, 0);
      break;
    case kDefaultButtonId:
      ShowOptionsInDialog(window, kDefaultOptions, kDefaultQuality);
      break;
    default:
      break;
  }
  return 0;
}

}  // namespace

INT_PTR TKMJPG_DRIVER_CALL ConfigureDialogProc(HWND window, UINT message, WPARAM wparam,
                                               LPARAM lparam) {
  switch (message) {
    case WM_INITDIALOG:
      return InitDialog(window, lparam);
    case WM_HSCROLL:
      return Scroll(window, wparam, reinterpret_cast<HWND>(lparam));
    case WM_COMMAND:
      return Command(window, LowWord(wparam));
    default:
      return 0;
  }
}

INT_PTR ShowConfigureDialog(CodecInstance* instance, HWND owner) {
  return DialogBoxParamA(ModuleHandle(), kTemplateName, owner, ConfigureDialogProc,
                         reinterpret_cast<LPARAM>(instance));
}

LRESULT ShowAboutBox(HWND owner) {
  MessageBoxA(owner, kCodecDescription, kCodecName, MB_OK | MB_ICONINFORMATION);
  return ICERR_OK;
}

}  // namespace tkmjpg
