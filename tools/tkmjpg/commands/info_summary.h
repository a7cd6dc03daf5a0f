// The lines that sum up a film.
#pragma once

#include <string>
#include <vector>

#include "tools/tkmjpg/commands/info_report.h"

namespace tkmjpg::tool {

struct SummaryLine {
  const char* name;
  std::string text;
};

std::vector<SummaryLine> SummaryLines(const FilmFacts& facts, const FilmSummary& summary);

}  // namespace tkmjpg::tool
