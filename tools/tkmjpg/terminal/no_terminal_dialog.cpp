// In place of terminal_dialog.cpp where newt is missing.
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/terminal/terminal_dialog.h"

namespace tkmjpg::tool {

bool ConfigureInTerminal() {
  throw UsageError("configure: built without newt, so use --show, --set and --reset");
}

}  // namespace tkmjpg::tool
