#include "tools/tkmjpg/commands/decode_options.h"

#include "tkmjpg.h"
#include "tools/tkmjpg/commands/film_end.h"
#include "tools/tkmjpg/commands/film_input.h"
#include "tools/tkmjpg/commands/frame_range.h"
#include "tools/tkmjpg/commands/threads_option.h"
#include "tools/tkmjpg/commands/warnings.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/terminal/progress.h"

namespace tkmjpg::tool {
namespace {

std::string Counted(int64_t count, const std::string& what) {
  return std::to_string(count) + (count == 1 ? " frame " : " frames ") + what;
}

// "frame 7: invalid code at byte 4711 (3 of 100 frames damaged, 2 concealed)"
std::string Summary(const FilmResult& result) {
  std::string text = result.first_damage + " (" + std::to_string(result.damaged) + " of " +
                     Counted(result.frames, "damaged");
  if (result.concealed > 0) text += ", " + std::to_string(result.concealed) + " concealed";
  if (result.repeated > 0) text += ", " + std::to_string(result.repeated) + " replaced";
  return text + ")";
}

}  // namespace

uint32_t DecodeOptions::Flags() const {
  uint32_t flags = 0;
  if (one_field) flags |= TKMJPG_D_ONE_FIELD;
  if (smart) flags |= TKMJPG_D_ONE_FIELD_SMART;
  return flags;
}

FilmSettings DecodeOptions::Settings() const {
  FilmSettings settings;
  settings.name = input;
  settings.flags = Flags();
  settings.threads = threads;
  settings.keep_going = keep_going;
  settings.conceal = conceal;
  settings.range = ParseFrameRange(frames);
  return settings;
}

void AddDecodeOptions(const Command& command, DecodeOptions& o) {
  command
      .Add("INPUT", o.input, "NAME.avi, .mov, .mp4, .mkv, .nut, .mjpg, .jpg, NAME_%04d.jpg, or -")
      .Required();
  AddFramesOption(command, o.frames);
  command.AddFlag("--one-field", o.one_field, "decode only the first image of each field pair");
  command.AddFlag("--smart", o.smart,
                  "make the lines of a missing field by interpolation, not by doubling");
  AddStreamOptions(command, o.stream);
}

void AddRunOptions(const Command& command, DecodeOptions& o) {
  AddThreadsOption(command, o.threads, "frames decoded at once; the pixels are the same");
  command.AddFlag("--keep-going", o.keep_going,
                  "go on where a frame cannot be decoded: with the one before it");
  command.AddFlag("--conceal", o.conceal,
                  "take rows that a damaged frame has lost, or all of one that cannot be decoded, "
                  "from the frame before");
  command.AddFlag("-q,--quiet", o.quiet, "print nothing but errors");
}

void RunDecode(const DecodeOptions& options, const std::string& output, const OpenWriter& open) {
  FilmSettings settings = options.Settings();
  FilmInput input(options.input, options.stream, settings.flags);
  input.RequireSize();
  settings.flags = input.DecodeFlags();
  FrameWriter& writer = open(input.Format(), input);
  Progress progress(options.quiet ? Verbosity::kQuiet : Verbosity::kNormal, input.Format(),
                    settings.range.CountOf(input.FrameCount()));
  settings.progress = [&](size_t bytes) { progress.Add(bytes); };
  FilmResult result;
  const FilmEnd film = {output, [&] { return progress.Frames(); },
                        [&](bool early) {
                          if (early || settings.range.last != INT64_MAX) writer.EndSoundHere();
                          writer.Finish();
                        }};
  RunToEnd(film, [&] {
    result = DecodeFilm(input, input.Format(), writer, settings);
    if (result.frames == 0) throw InputError(options.input + ": holds no frame to decode");
  });
  progress.Summarise(output);
  for (const std::string& problem : input.Problems()) {
    if (!options.quiet) WarnOf(options.input, problem);
  }
  const std::string extension = Extension(output);
  const bool tells_rate = extension == "y4m" || extension == "avi" || output == "-";
  if (input.Format().rate_assumed && tells_rate && result.frames > 1 && !options.quiet) {
    WarnOf(options.input, AssumedRate(input.Format().rate));
  }
  if (result.damaged + result.repeated > 0)
    throw DamageError(options.input + ": " + Summary(result));
}

}  // namespace tkmjpg::tool
