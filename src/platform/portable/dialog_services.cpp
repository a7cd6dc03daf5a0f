#include "platform/portable/dialog_services.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace tkmjpg {
namespace {

DialogFrontEnd* front_end_in_use = nullptr;

struct DialogTemplate {
  std::string name;
  std::string caption;
  int width, height;
  std::vector<Control> controls;
};

Control Make(ControlKind kind, int id, const char* text, int x, int y, int width, int height) {
  return {.kind = kind, .id = id, .text = text, .x = x, .y = y, .width = width, .height = height};
}

// The one template that the library has.
// clang-format off
DialogTemplate ConfigureTemplate() {
#define DIALOG_HEAD(caption, w, h) DialogTemplate made = {"Configure", caption, w, h, {
#define DIALOG_FRAME(...) Make(ControlKind::kFrame, 0, "", __VA_ARGS__),
#define DIALOG_LABEL(text, ...) Make(ControlKind::kLabel, 0, text, __VA_ARGS__),
#define DIALOG_CENTRED(text, ...) Make(ControlKind::kCentred, 0, text, __VA_ARGS__),
#define DIALOG_RIGHT(id, text, ...) Make(ControlKind::kRight, id, text, __VA_ARGS__),
#define DIALOG_CHECK_BOX(id, text, ...) Make(ControlKind::kCheckBox, id, text, __VA_ARGS__),
#define DIALOG_SCROLL_BAR(id, ...) Make(ControlKind::kScrollBar, id, "", __VA_ARGS__),
#define DIALOG_DEFAULT_BUTTON(id, text, ...) Make(ControlKind::kButton, id, text, __VA_ARGS__),
#define DIALOG_BUTTON(id, text, ...) Make(ControlKind::kButton, id, text, __VA_ARGS__),
#include "driver/configure_dialog.inc"
  }};
  return made;
}
// clang-format on

Control* ControlOf(HWND window) { return window != nullptr ? window->control : nullptr; }

Control* ControlOf(HWND window, int id) {
  return window != nullptr ? window->dialog->Find(id) : nullptr;
}

}  // namespace

Dialog::Dialog(std::string_view template_name, DLGPROC procedure)
    : window_{this, nullptr}, procedure_(procedure) {
  DialogTemplate made = ConfigureTemplate();
  if (made.name != template_name) throw std::invalid_argument("no such dialog template");
  caption_ = std::move(made.caption);
  width_ = made.width;
  height_ = made.height;
  controls_ = std::move(made.controls);
  for (Control& control : controls_) control.window = {this, &control};
}

Control* Dialog::Find(int id) {
  const auto found = std::find_if(controls_.begin(), controls_.end(),
                                  [&](const Control& control) { return control.id == id; });
  return id != 0 && found != controls_.end() ? &*found : nullptr;
}

void Dialog::Click(int id) {
  Control* control = Find(id);
  if (control == nullptr) return;
  if (control->kind == ControlKind::kCheckBox) control->checked = !control->checked;
  Send(WM_COMMAND, static_cast<WPARAM>(id), reinterpret_cast<LPARAM>(&control->window));
}

void Dialog::Scroll(int id, int code, int thumb) {
  Control* control = Find(id);
  if (control == nullptr) return;
  const auto high = static_cast<WPARAM>(static_cast<uint16_t>(thumb));
  Send(WM_HSCROLL, high << 16 | static_cast<uint16_t>(code),
       reinterpret_cast<LPARAM>(&control->window));
}

INT_PTR Dialog::Send(UINT message, WPARAM wparam, LPARAM lparam) {
  return procedure_(&window_, message, wparam, lparam);
}

void Dialog::End(INT_PTR result) {
  ended_ = true;
  result_ = result;
}

void Dialog::SetProperty(std::string_view name, HANDLE value) {
  for (auto& [known, held] : properties_) {
    if (known == name) {
      held = value;
      return;
    }
  }
  properties_.emplace_back(name, value);
}

HANDLE Dialog::Property(std::string_view name) const {
  for (const auto& [known, held] : properties_) {
    if (known == name) return held;
  }
  return nullptr;
}

DialogFrontEnd* SetDialogFrontEnd(DialogFrontEnd* front_end) {
  return std::exchange(front_end_in_use, front_end);
}

// A dialog that cannot be shown answers -1, and nothing leaves as an exception.
INT_PTR DialogBoxParamA(void* /*module*/, const char* template_name, HWND /*owner*/,
                        DLGPROC procedure, LPARAM parameter) try {
  if (front_end_in_use == nullptr) return 0;
  Dialog dialog(template_name, procedure);
  dialog.Send(WM_INITDIALOG, 0, parameter);
  if (!dialog.ended()) front_end_in_use->Run(dialog);
  return dialog.result();
} catch (...) {
  return -1;
}

int EndDialog(HWND dialog, INT_PTR result) {
  dialog->dialog->End(result);
  return 1;
}

int SetPropA(HWND window, const char* name, HANDLE value) {
  window->dialog->SetProperty(name, value);
  return 1;
}

HANDLE GetPropA(HWND window, const char* name) { return window->dialog->Property(name); }

HWND GetDlgItem(HWND dialog, int id) {
  Control* control = ControlOf(dialog, id);
  return control != nullptr ? &control->window : nullptr;
}

int GetDlgCtrlID(HWND window) {
  const Control* control = ControlOf(window);
  return control != nullptr ? control->id : 0;
}

int CheckDlgButton(HWND dialog, int id, UINT check) {
  Control* control = ControlOf(dialog, id);
  if (control == nullptr) return 0;
  control->checked = check != BST_UNCHECKED;
  return 1;
}

UINT IsDlgButtonChecked(HWND dialog, int id) {
  const Control* control = ControlOf(dialog, id);
  return control != nullptr && control->checked ? BST_CHECKED : BST_UNCHECKED;
}

int SetScrollRange(HWND bar, int /*kind*/, int lowest, int highest, int /*redraw*/) {
  Control* control = ControlOf(bar);
  if (control == nullptr) return 0;
  control->lowest = lowest;
  control->highest = highest;
  return 1;
}

int SetScrollPos(HWND bar, int /*kind*/, int position, int /*redraw*/) {
  Control* control = ControlOf(bar);
  if (control == nullptr) return 0;
  const int clamped = std::min(std::max(position, control->lowest), control->highest);
  return std::exchange(control->position, clamped);
}

int GetScrollPos(HWND bar, int /*kind*/) {
  const Control* control = ControlOf(bar);
  return control != nullptr ? control->position : 0;
}

int SetDlgItemTextA(HWND dialog, int id, const char* text) {
  Control* control = ControlOf(dialog, id);
  if (control == nullptr) return 0;
  control->text = text;
  return 1;
}

int MessageBoxA(HWND /*owner*/, const char* text, const char* caption, UINT /*kind*/) try {
  if (front_end_in_use != nullptr) front_end_in_use->ShowMessage(text, caption);
  return IDOK;
} catch (...) {
  return 0;
}

}  // namespace tkmjpg
