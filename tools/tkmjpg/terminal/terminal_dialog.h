// The driver's dialog in a terminal.
#pragma once

namespace tkmjpg::tool {

// Shows the dialog for the profile until its user ends it. True if that was with OK. Throws
// UsageError when there is no terminal, or the build has no newt.
bool ConfigureInTerminal();

}  // namespace tkmjpg::tool
