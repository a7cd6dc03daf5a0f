// What encode is asked for, and its work: a film or a part of one, on several threads, with the
// same bytes for any number of them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/tkmjpg/commands/film_part.h"
#include "tools/tkmjpg/commands/frame_encoder.h"
#include "tools/tkmjpg/media/open_input.h"

namespace tkmjpg::tool {

// Frames after which the rate state starts again, if nothing else is said.
inline constexpr int64_t kRateWindow = 250;

struct EncodeOptions {
  std::string input, output, sound;
  InputOptions source;
  PartOptions part;
  int quality = 75;
  std::string target_size, bitrate, fields;
  std::optional<int64_t> rate_window;
  int mode = -1;  // as the range wants it
  std::string profile = "players", range = "limited";
  bool strong = false;
  bool huffman_tables = true;
  bool progressive = false;
  bool quiet = false;
  bool force = false;
  int threads = 1;

  bool HasRateControl() const { return !target_size.empty() || !bitrate.empty(); }
  // 0: the rate state never starts again. Who plays from a pipe sees one film.
  int64_t RateWindow() const;
  Profile For() const { return profile == "driver" ? Profile::kDriver : Profile::kPlayers; }
  Range StreamRange() const { return range == "full" ? Range::kFull : Range::kLimited; }
  // Readers take JFIF for full range.
  int Mode() const { return mode >= 0 ? mode : StreamRange() == Range::kFull ? 7 : 0; }
};

void EncodeFilm(const EncodeOptions& options);

}  // namespace tkmjpg::tool
