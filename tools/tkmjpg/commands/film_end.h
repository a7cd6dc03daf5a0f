// What becomes of a film that ends before its end: what was written until then is worth keeping.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace tkmjpg::tool {

struct FilmEnd {
  std::string output;                      // its name; empty if none is written
  std::function<int64_t()> frames;         // that were written so far
  std::function<void(bool early)> finish;  // makes the output whole with them
  bool whole_only = false;                 // nothing is kept that ends early
};

// Runs `run`, which writes the film, and finishes it. If an error or a signal ends it early, the
// frames before that are finished all the same, and the error tells so in its text. Without any
// frame there is no film.
void RunToEnd(const FilmEnd& film, const std::function<void()>& run);

}  // namespace tkmjpg::tool
