// The parts of a film, looked at before they are put together: whether each is undamaged, and fits
// the ones before it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/tkmjpg/commands/film_properties.h"
#include "tools/tkmjpg/commands/part_manifest.h"
#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/part_mark.h"
#include "tools/tkmjpg/media/sound.h"

namespace tkmjpg::tool {

struct FilmPartFacts {
  std::string name;
  std::string container;
  VideoFormat format;  // as its container has it
  int coded_width = 0, coded_height = 0;
  FilmProperties properties;
  std::vector<SoundFormat> sound;
  std::optional<PartMark> mark;
  std::string md5;      // as its manifest says; empty without one
  int64_t frames = -1;  // -1: unknown
};

// What all parts share, and what is known of each. Of a thousand parts one is open at a time.
class FilmParts {
 public:
  // Throws InputError that names the part that cannot be read, or does not fit. With `manifests`
  // each part has one, PART.json.
  FilmParts(const std::vector<std::string>& names, bool manifests);

  struct Part {
    std::string name, md5;
    int64_t first = -1;  // -1: it does not say
  };

  const FilmPartFacts& First() const { return first_; }
  const std::vector<Part>& Parts() const { return parts_; }
  int64_t Frames() const { return frames_; }  // of all parts; -1 if unknown
  bool Numbered() const { return first_.mark.has_value(); }

 private:
  void CheckFit(const FilmPartFacts& part) const;
  void CheckPlace(const FilmPartFacts& part) const;
  void CheckEnd() const;

  FilmPartFacts first_;
  std::optional<PartMark> before_;  // of the last part so far
  std::vector<Part> parts_;
  int64_t frames_ = 0;
};

}  // namespace tkmjpg::tool
