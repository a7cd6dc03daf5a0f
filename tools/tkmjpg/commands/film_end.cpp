#include "tools/tkmjpg/commands/film_end.h"

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/terminal/interrupt.h"

namespace tkmjpg::tool {
namespace {

// The text of an error, once the output is finished.
std::string Kept(const FilmEnd& film, const std::string& what) {
  const int64_t frames = film.frames();
  if (frames == 0) return what;
  if (film.whole_only) return what + "; nothing is kept of " + film.output;
  film.finish(true);
  const std::string count = frames == 1 ? "the frame" : "the " + std::to_string(frames) + " frames";
  return what + "; " + film.output + " has " + count + " before";
}

}  // namespace

void RunToEnd(const FilmEnd& film, const std::function<void()>& run) {
  try {
    run();
    StopIfInterrupted();
  } catch (const OutputError& error) {
    throw OutputError(Kept(film, error.what()));
  } catch (const InputError& error) {
    if (film.output.empty()) throw;
    throw InputError(Kept(film, error.what()));
  } catch (const Interruption&) {
    if (film.output.empty()) throw;
    if (film.frames() == 0) {
      throw Interruption(film.output + ": " + InterruptName() +
                         " before the first frame; nothing was written");
    }
    throw Interruption(Kept(film, film.output + ": stopped by " + InterruptName()));
  }
  film.finish(false);
}

}  // namespace tkmjpg::tool
