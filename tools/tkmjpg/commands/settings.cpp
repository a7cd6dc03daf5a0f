#include "tools/tkmjpg/commands/settings.h"

#include <charconv>
#include <functional>

#include "driver/configure_dialog.h"
#include "platform/host_services.h"
#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

struct NamedBox {
  const char* name;
  int id;
  const char* effect;
};

constexpr NamedBox kBoxes[] = {
    {"opendml-size-only", 210, "heights to compress are multiples of 8"},
    {"interlace-enable", 201, "stored only"},
    {"encoder-one-field-only", 202, "stored only: for field coding, which hosts cannot ask for"},
    {"encoder-inverted-fields-order", 203, "stored only, as the one above"},
    {"invert-avi1-order", 204, "stored only, as the one above"},
    {"bitrate-control-enable", 207, "a frame size that the host asks for is the target"},
    {"strong-bitrate-control", 209, "under rate control, frames far off are coded again"},
    {"quality-as-framesize", 208, "the host's quality (0 to 100) is a size in kB"},
    {"decoder-one-field-only", 305, "of two fields the first fills the picture"},
    {"one-field-smart", 306, "lines between those of one field are interpolated, not doubled"},
    {"decoder-invert-fields-order", 307, "the first field has the even lines, counted from 0"},
    {"yuy2-disable", 301, "no decompression to YUY2"},
    {"uyvy-disable", 302, "no decompression to UYVY"},
    {"use-avi1-markers", 308, "a stream that marks its second field as first is turned"},
    {"full-color", 309, "the stream's luma is taken as 0 to 255, not 16 to 235"},
};

// A front end that acts by itself.
class Script : public DialogFrontEnd {
 public:
  explicit Script(std::function<void(Dialog&)> acts) : acts_(std::move(acts)) {
    before_ = SetDialogFrontEnd(this);
    DriverProc(0, nullptr, DRV_CONFIGURE, 0, 0);
  }
  ~Script() override { SetDialogFrontEnd(before_); }
  void Run(Dialog& dialog) override { acts_(dialog); }

 private:
  std::function<void(Dialog&)> acts_;
  DialogFrontEnd* before_;
};

// An assignment that has been understood.
struct Step {
  int id;     // the scroll bar or a check box
  int value;  // the position, or 0 or 1
};

int ParseQuality(const std::string& assignment, std::string_view text) {
  int quality = -1;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), quality);
  const bool whole = error == std::errc() && end == text.data() + text.size();
  if (whole && quality >= 0 && quality <= 100) return quality;
  throw UsageError("--set " + assignment + ": quality is 0 to 100");
}

Step ParseAssignment(const std::string& assignment) {
  const size_t equals = assignment.find('=');
  if (equals == std::string::npos) throw UsageError("--set " + assignment + ": no '='");
  const std::string name = assignment.substr(0, equals);
  const std::string value = assignment.substr(equals + 1);
  if (name == "quality") return {kScrollBarId, ParseQuality(assignment, value)};
  for (const NamedBox& box : kBoxes) {
    if (box.name != name) continue;
    if (value == "on" || value == "off") return {box.id, value == "on"};
    throw UsageError("--set " + assignment + ": on or off");
  }
  throw UsageError("--set " + assignment + ": there is no such setting; --show lists them");
}

Settings Shown(Dialog& dialog) {
  Settings settings = {.quality = dialog.Find(kScrollBarId)->position, .boxes = {}};
  for (const NamedBox& box : kBoxes) {
    const Control& control = *dialog.Find(box.id);
    settings.boxes.push_back({box.name, control.text, box.effect, control.checked});
  }
  return settings;
}

void Do(Dialog& dialog, const Step& step) {
  if (step.id == kScrollBarId) {
    dialog.Scroll(kScrollBarId, SB_THUMBPOSITION, step.value);
  } else if (dialog.Find(step.id)->checked != (step.value != 0)) {
    dialog.Click(step.id);
  }
}

}  // namespace

Settings ReadSettings() {
  Settings settings;
  const Script read([&](Dialog& dialog) { settings = Shown(dialog); });
  return settings;
}

// The driver itself goes on when its profile cannot be written; who asked for it here should know.
void ChangeSettings(const SettingsChange& change) {
  std::vector<Step> steps;
  for (const std::string& text : change.assignments) steps.push_back(ParseAssignment(text));
  Settings wanted;
  const Script acts([&](Dialog& dialog) {
    if (change.reset) dialog.Click(kDefaultButtonId);
    for (const Step& step : steps) Do(dialog, step);
    wanted = Shown(dialog);
    dialog.Click(IDOK);
  });
  if (ReadSettings() == wanted) return;
  const std::string path = ProfilePath();
  throw InputError(path.empty() ? "configure: neither XDG_CONFIG_HOME nor HOME says where"
                                : path + ": the settings could not be written");
}

std::string SettingNames() {
  std::string names = "  quality=0 ... 100\n";
  for (const NamedBox& box : kBoxes) {
    std::string line = std::string("  ") + box.name + "=on|off";
    line.resize(40, ' ');
    names += line + box.effect + "\n";
  }
  return names;
}

}  // namespace tkmjpg::tool
