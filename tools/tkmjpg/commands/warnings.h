// What the user should know, though the work was done.
#pragma once

#include <string>

#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

// One line on stderr: "tkmjpg: FILE: warning: what".
void WarnOf(const std::string& file, const std::string& what);

// That nothing tells the rate of a film.
std::string AssumedRate(Rational rate);

// That frames of `mean` bytes miss the wanted size by more than a fifth; empty if they do not.
std::string SizeWarning(double mean, double wanted, Rational rate);

}  // namespace tkmjpg::tool
