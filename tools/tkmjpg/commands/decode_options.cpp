#include "tools/tkmjpg/commands/decode_options.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "tkmjpg.h"
#include "tools/tkmjpg/commands/film_input.h"
#include "tools/tkmjpg/commands/threads_option.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/terminal/printable.h"
#include "tools/tkmjpg/terminal/progress.h"

namespace tkmjpg::tool {
namespace {

// "A:B", "A:", ":B" or "A", frames from 0, both ends included.
void ParseFrames(const std::string& text, FilmSettings& settings) {
  if (text.empty()) return;
  const size_t colon = text.find(':');
  const auto number = [&](const std::string& part, int64_t missing) {
    if (part.empty() && colon != std::string::npos && text != ":") return missing;
    int64_t value = -1;
    const auto [end, error] = std::from_chars(part.data(), part.data() + part.size(), value);
    if (error != std::errc() || end != part.data() + part.size() || value < 0) {
      throw UsageError("--frames: '" + text + "' is no range of frames such as 0:99 or 100:");
    }
    return value;
  };
  settings.first = number(text.substr(0, colon), 0);
  settings.last =
      colon == std::string::npos ? settings.first : number(text.substr(colon + 1), INT64_MAX);
  if (settings.first > settings.last) throw UsageError("--frames: '" + text + "' is empty");
}

void Warn(const DecodeOptions& options, const std::string& what) {
  if (options.quiet) return;
  const std::string text = options.input + ": warning: " + what;
  std::fprintf(stderr, "tkmjpg: %s\n", Printable(text).c_str());
}

std::string Counted(int64_t count, const std::string& what) {
  return std::to_string(count) + (count == 1 ? " frame " : " frames ") + what;
}

int64_t FramesToCome(int64_t count, const FilmSettings& settings) {
  if (count < 0) return -1;
  return std::clamp<int64_t>(std::min(count - 1, settings.last) - settings.first + 1, 0, count);
}

}  // namespace

uint32_t DecodeOptions::Flags() const {
  uint32_t flags = 0;
  if (one_field) flags |= TKMJPG_D_ONE_FIELD;
  if (smart) flags |= TKMJPG_D_ONE_FIELD_SMART;
  if (invert_fields) flags |= TKMJPG_D_INVERT_FIELDS;
  if (use_avi1_markers) flags |= TKMJPG_D_USE_AVI1_MARKERS;
  if (full_range) flags |= TKMJPG_D_FULL_RANGE;
  return flags;
}

FilmSettings DecodeOptions::Settings() const {
  FilmSettings settings;
  settings.name = input;
  settings.flags = Flags();
  settings.threads = threads;
  settings.keep_going = keep_going;
  ParseFrames(frames, settings);
  return settings;
}

void AddDecodeOptions(const Command& command, DecodeOptions& o) {
  command.Add("INPUT", o.input, "NAME.avi, NAME.mjpg, NAME.jpg, NAME_%04d.jpg, or -").Required();
  command.Add("--frames", o.frames, "A:B, frame A to frame B, counted from 0; B included");
  command.AddFlag("--one-field", o.one_field, "of a field pair take the first image only");
  command.AddFlag("--smart", o.smart, "a picture made from one field: interpolate, do not double");
  command.AddFlag("--invert-fields", o.invert_fields,
                  "the first image has the even lines, not the odd ones");
  command.AddFlag("--use-avi1-markers", o.use_avi1_markers,
                  "a first image with field code 2 inverts the lines once more");
  command.AddFlag("--full-range", o.full_range,
                  "luma in the stream is 0 to 255: RGB is not expanded, Y4M is marked so");
  AddStreamOptions(command, o.stream);
}

void AddRunOptions(const Command& command, DecodeOptions& o) {
  AddThreadsOption(command, o.threads, "frames decoded at once; the pixels are the same");
  command.AddFlag("--keep-going", o.keep_going,
                  "where a frame cannot be decoded, repeat the one before it; of a damaged input "
                  "keep the frames before");
  command.AddFlag("-q,--quiet", o.quiet, "print nothing but errors");
}

void RunDecode(const DecodeOptions& options, const std::string& output, const OpenWriter& open) {
  FilmSettings settings = options.Settings();
  FilmInput input(options.input, options.stream, settings.flags);
  input.RequireSize();
  FrameWriter& writer = open(input.Format());
  Progress progress(options.quiet ? Verbosity::kQuiet : Verbosity::kNormal, input.Format(),
                    FramesToCome(input.FrameCount(), settings));
  settings.progress = [&](size_t bytes) { progress.Add(bytes); };
  FilmResult result;
  try {
    result = DecodeFilm(input, input.Format(), writer, settings);
    if (result.frames == 0) throw InputError(options.input + ": holds no frame to decode");
  } catch (const InputError&) {
    if (options.keep_going && progress.Frames() > 0) writer.Finish();
    throw;
  }
  writer.Finish();
  progress.Summarise(output);
  for (const std::string& problem : input.Problems()) Warn(options, problem);
  if (result.repeated > 0) {
    throw InputError(options.input + ": " + result.first_damage + " (" +
                     Counted(result.repeated, "could not be decoded)"));
  }
  if (result.damaged > 0) {
    Warn(options, result.first_damage + " (" + Counted(result.damaged, "damaged)"));
  }
}

}  // namespace tkmjpg::tool
