#include "tools/tkmjpg/terminal/terminal_dialog.h"

#include <newt.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <initializer_list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "driver/configure_dialog.h"
#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

constexpr int kColumns = 74;
constexpr int kFirstColumn = 1;
constexpr int kGap = 20;  // dialog units that are worth an empty row
constexpr char kHelp[] = "Tab, arrows: move   Space: tick   + -  PgUp PgDn: quality   Esc: cancel";

// A text line for each height at which the template has controls.
std::map<int, int> RowsOf(const Dialog& dialog) {
  std::set<int> heights;
  for (const Control& control : dialog.controls()) {
    if (control.kind != ControlKind::kFrame) heights.insert(control.y);
  }
  std::map<int, int> rows;
  int row = 0, last = 0;
  for (const int y : heights) {
    if (y - last > kGap) ++row;
    rows[y] = row++;
    last = y;
  }
  return rows;
}

std::string WithoutMnemonic(std::string text) {
  text.erase(std::remove(text.begin(), text.end(), '&'), text.end());
  return text;
}

// The head of a group starts with a blank; its line stands for the group's frame.
std::string LabelText(const Control& control) {
  std::string text = WithoutMnemonic(control.text);
  if (control.kind == ControlKind::kLabel && text.starts_with(' ')) {
    text = "--" + text + " ";
    text.resize(static_cast<size_t>(kColumns - kFirstColumn), '-');
  }
  return text;
}

class Screen {
 public:
  Screen() {
    newtInit();
    newtCls();
    newtPushHelpLine(kHelp);
  }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;
  ~Screen() { newtFinished(); }
};

class TerminalFrontEnd : public DialogFrontEnd {
 public:
  void Run(Dialog& dialog) override {
    const Screen screen;
    dialog_ = &dialog;
    Build();
    while (!dialog.ended()) {
      Refresh();
      newtExitStruct exit = {};
      newtFormRun(form_, &exit);
      Act(exit);
    }
    newtFormDestroy(form_);
    ended_with_ok = dialog.result() == IDOK;
  }

  bool ended_with_ok = false;

 private:
  struct Box {
    int id;
    newtComponent component;
    TerminalFrontEnd* owner;
  };

  void Build() {
    const std::map<int, int> rows = RowsOf(*dialog_);
    const auto height = static_cast<unsigned>(rows.rbegin()->second + 1);
    newtCenteredWindow(kColumns + 2, height, dialog_->caption().c_str());
    form_ = newtForm(nullptr, nullptr, 0);
    boxes_.reserve(dialog_->controls().size());  // callbacks keep addresses
    for (const Control& control : dialog_->controls()) {
      if (control.kind != ControlKind::kFrame) Add(control, rows.at(control.y));
    }
    for (const int key :
         std::initializer_list<int>{'+', '-', NEWT_KEY_PGUP, NEWT_KEY_PGDN, NEWT_KEY_ESCAPE}) {
      newtFormAddHotKey(form_, key);
    }
  }

  void Add(const Control& control, int row) {
    newtComponent made = nullptr;
    switch (control.kind) {
      case ControlKind::kCheckBox:
        made = newtCheckbox(Column(control.x), row, control.text.c_str(), ' ', " *", nullptr);
        boxes_.push_back({control.id, made, this});
        newtComponentAddCallback(made, BoxChanged, &boxes_.back());
        break;
      case ControlKind::kScrollBar:
        made = bar_ = newtScale(Column(control.x), row, Columns(control.width), control.highest);
        break;
      case ControlKind::kButton:
        made = newtCompactButton(Column(control.x), row, control.text.c_str());
        buttons_[made] = control.id;
        break;
      default:
        made = AddLabel(control, row);
    }
    newtFormAddComponent(form_, made);
  }

  newtComponent AddLabel(const Control& control, int row) {
    const std::string text = LabelText(control);
    if (control.id == kQualityTextId) {
      quality_column_end_ = Column(control.x + control.width);
      return quality_ = newtLabel(quality_column_end_ - 3, row, "   ");
    }
    return newtLabel(LabelColumn(control, text), row, text.c_str());
  }

  int Columns(int width) const { return width * kColumns / dialog_->width(); }
  int Column(int x) const { return kFirstColumn + Columns(x); }

  int LabelColumn(const Control& control, const std::string& text) const {
    const int length = static_cast<int>(text.size());
    const int end = Column(control.x + control.width);
    if (text.starts_with("--")) return kFirstColumn;
    if (control.kind == ControlKind::kRight) return end - length;
    if (control.kind == ControlKind::kCentred) return (Column(control.x) + end - length) / 2;
    return Column(control.x);
  }

  static void BoxChanged(newtComponent component, void* data) {
    const auto& box = *static_cast<const Box*>(data);
    Dialog& dialog = *box.owner->dialog_;
    const bool ticked = newtCheckboxGetValue(component) == '*';
    if (dialog.Find(box.id)->checked != ticked) dialog.Click(box.id);
  }

  void Refresh() {
    for (const Box& box : boxes_) {
      newtCheckboxSetValue(box.component, dialog_->Find(box.id)->checked ? '*' : ' ');
    }
    newtScaleSet(bar_, static_cast<unsigned long long>(dialog_->Find(kScrollBarId)->position));
    std::string text = dialog_->Find(kQualityTextId)->text;
    text.insert(0, 3 - std::min<size_t>(text.size(), 3), ' ');
    newtLabelSetText(quality_, text.c_str());
  }

  void Act(const newtExitStruct& exit) {
    if (exit.reason == newtExitStruct::NEWT_EXIT_COMPONENT) {
      const auto button = buttons_.find(exit.u.co);
      if (button != buttons_.end()) dialog_->Click(button->second);
    } else if (exit.reason == newtExitStruct::NEWT_EXIT_HOTKEY) {
      PressKey(exit.u.key);
    } else {
      dialog_->Click(IDCANCEL);
    }
  }

  // Page up raises the quality, as it would lift a level; the bar's own page up goes to the left.
  void PressKey(int key) {
    switch (key) {
      case '-':
        return dialog_->Scroll(kScrollBarId, SB_LINEUP);
      case '+':
        return dialog_->Scroll(kScrollBarId, SB_LINEDOWN);
      case NEWT_KEY_PGDN:
        return dialog_->Scroll(kScrollBarId, SB_PAGEUP);
      case NEWT_KEY_PGUP:
        return dialog_->Scroll(kScrollBarId, SB_PAGEDOWN);
      default:
        return dialog_->Click(IDCANCEL);
    }
  }

  Dialog* dialog_ = nullptr;
  newtComponent form_ = nullptr, bar_ = nullptr, quality_ = nullptr;
  int quality_column_end_ = 0;
  std::vector<Box> boxes_;
  std::map<newtComponent, int> buttons_;
};

void RequireTerminal() {
  if (!isatty(STDIN_FILENO) || !isatty(STDOUT_FILENO)) {
    throw UsageError("configure: no terminal here, so use --show, --set and --reset");
  }
  winsize size = {};
  const bool known = ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row != 0;
  if (known && (size.ws_row < 24 || size.ws_col < 80)) {
    throw UsageError("configure: the terminal is smaller than 80 x 24; use --show and --set");
  }
}

}  // namespace

bool ConfigureInTerminal() {
  RequireTerminal();
  TerminalFrontEnd terminal;
  DialogFrontEnd* before = SetDialogFrontEnd(&terminal);
  DriverProc(0, nullptr, DRV_CONFIGURE, 0, 0);
  SetDialogFrontEnd(before);
  return terminal.ended_with_ok;
}

}  // namespace tkmjpg::tool
