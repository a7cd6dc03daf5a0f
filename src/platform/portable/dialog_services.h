// Dialogs without a screen: the services that a dialog procedure calls, with their published names,
// and what a front end does in place of a user. Without a front end a dialog ends at once with 0.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "platform/portable/host_types.h"

namespace tkmjpg {

class Dialog;
struct Control;

// A window is a dialog or one of its controls.
struct Window {
  Dialog* dialog;
  Control* control;  // null for the dialog itself
};

using HWND = Window*;
using HANDLE = void*;
using WPARAM = uintptr_t;
using INT_PTR = intptr_t;
using DLGPROC = INT_PTR (*)(HWND, UINT, WPARAM, LPARAM);

enum : UINT { WM_INITDIALOG = 0x110, WM_COMMAND = 0x111, WM_HSCROLL = 0x114 };
enum { IDOK = 1, IDCANCEL = 2 };
enum { SB_CTL = 2 };
enum { BST_UNCHECKED = 0, BST_CHECKED = 1 };
enum : UINT { MB_OK = 0, MB_ICONINFORMATION = 0x40 };
enum {
  SB_LINEUP = 0,
  SB_LINEDOWN = 1,
  SB_PAGEUP = 2,
  SB_PAGEDOWN = 3,
  SB_THUMBPOSITION = 4,
  SB_THUMBTRACK = 5,
  SB_ENDSCROLL = 8
};

enum class ControlKind { kFrame, kLabel, kCentred, kRight, kCheckBox, kScrollBar, kButton };

// Dialog units: a quarter of a character across, an eighth down.
struct Control {
  ControlKind kind;
  int id;  // 0 for controls that nothing asks for
  std::string text;
  int x, y, width, height;

  bool checked = false;
  int position = 0, lowest = 0, highest = 0;
  Window window = {};
};

// An open dialog, as a front end sees it: the controls, and what a user can do with them.
class Dialog {
 public:
  Dialog(std::string_view template_name, DLGPROC procedure);
  Dialog(const Dialog&) = delete;
  Dialog& operator=(const Dialog&) = delete;

  const std::string& caption() const { return caption_; }
  int width() const { return width_; }
  int height() const { return height_; }
  const std::vector<Control>& controls() const { return controls_; }
  Control* Find(int id);  // null if there is none

  // A click on a check box, which turns it, or on a button.
  void Click(int id);
  // The scroll bar sends a published scroll code, with the thumb's position where the code has one.
  void Scroll(int id, int code, int thumb = 0);
  INT_PTR Send(UINT message, WPARAM wparam, LPARAM lparam);

  void End(INT_PTR result);
  bool ended() const { return ended_; }
  INT_PTR result() const { return result_; }

  void SetProperty(std::string_view name, HANDLE value);
  HANDLE Property(std::string_view name) const;

 private:
  Window window_;
  DLGPROC procedure_;
  std::string caption_;
  int width_, height_;
  std::vector<Control> controls_;
  std::vector<std::pair<std::string, HANDLE>> properties_;
  bool ended_ = false;
  INT_PTR result_ = 0;
};

// What stands in for screen and user.
class DialogFrontEnd {
 public:
  virtual ~DialogFrontEnd() = default;
  // Acts on the dialog until it has ended; one that returns before that ends it with 0.
  virtual void Run(Dialog& dialog) = 0;
  virtual void ShowMessage(std::string_view /*text*/, std::string_view /*caption*/) {}
};

// One front end serves the whole process; null takes it away. Answers the one before.
DialogFrontEnd* SetDialogFrontEnd(DialogFrontEnd* front_end);

INT_PTR DialogBoxParamA(void* module, const char* template_name, HWND owner, DLGPROC procedure,
                        LPARAM parameter);
int EndDialog(HWND dialog, INT_PTR result);
int SetPropA(HWND window, const char* name, HANDLE value);
HANDLE GetPropA(HWND window, const char* name);
HWND GetDlgItem(HWND dialog, int id);
int GetDlgCtrlID(HWND window);
int CheckDlgButton(HWND dialog, int id, UINT check);
UINT IsDlgButtonChecked(HWND dialog, int id);
int SetScrollRange(HWND bar, int kind, int lowest, int highest, int redraw);
int SetScrollPos(HWND bar, int kind, int position, int redraw);
int GetScrollPos(HWND bar, int kind);
int SetDlgItemTextA(HWND dialog, int id, const char* text);
int MessageBoxA(HWND owner, const char* text, const char* caption, UINT kind);

}  // namespace tkmjpg
