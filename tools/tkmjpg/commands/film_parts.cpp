#include "tools/tkmjpg/commands/film_parts.h"

#include "tools/tkmjpg/commands/film_input.h"
#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

[[noreturn]] void Refuse(const std::string& part, const std::string& what) {
  throw InputError(part + ": " + what);
}

// "frames 0 to 99"
std::string Frames(int64_t first, int64_t last) {
  if (first == last) return "frame " + std::to_string(first);
  return "frames " + std::to_string(first) + " to " + std::to_string(last);
}

std::string Are(int64_t first, int64_t last) {
  return Frames(first, last) + (first == last ? " is" : " are");
}

std::string Sizes(int width, int height) {
  return std::to_string(width) + "x" + std::to_string(height);
}

std::string Text(Rational value) {
  std::string text = std::to_string(value.num);
  if (value.den != 1) text.append(1, '/').append(std::to_string(value.den));
  return text;
}

std::string FieldsOf(const FilmPartFacts& part) {
  if (!part.properties.fields) return "whole frames";
  const std::string order = part.format.field_order == FieldOrder::kBottomFirst ? "bottom" : "top";
  const bool even = part.properties.first_image == FieldLines::kEven;
  return "fields, " + order + " first, image 1 on " + (even ? "even" : "odd") + " lines";
}

std::string RangeOf(const FilmPartFacts& part) {
  return part.properties.range == Range::kFull ? "luma 0 to 255" : "luma 16 to 235";
}

std::string SoundOf(const FilmPartFacts& part) {
  std::string text;
  for (const SoundFormat& sound : part.sound) {
    text += (text.empty() ? "" : " and ") + sound.Description();
  }
  return text.empty() ? "no sound" : text;
}

std::string HeaderOf(const FilmPartFacts& part) {
  return part.format.extended_header ? "a stream header for players" : "a plain stream header";
}

std::string CodingOf(const FilmPartFacts& part) {
  return part.mark ? std::string(1, '`').append(part.mark->coding).append(1, '`') : "";
}

std::string FilmOf(const FilmPartFacts& part) {
  if (!part.mark || part.mark->film < 0) return "a film of unknown length";
  return "a film of " + std::to_string(part.mark->film) + " frames";
}

// What is told of two parts where it differs.
struct SharedFact {
  const char* has;  // or is
  std::string (*text)(const FilmPartFacts& part);
};

const SharedFact kShared[] = {
    {"is", [](const FilmPartFacts& part) { return part.container; }},
    {"is", [](const FilmPartFacts& part) { return Sizes(part.format.width, part.format.height); }},
    {"has images of",
     [](const FilmPartFacts& part) { return Sizes(part.coded_width, part.coded_height); }},
    {"has", [](const FilmPartFacts& part) { return Text(part.format.rate) + " frames a second"; }},
    {"has", FieldsOf},
    {"has", RangeOf},
    {"has pixels of", [](const FilmPartFacts& part) { return Text(part.format.pixel_aspect); }},
    {"has", HeaderOf},
    {"has", SoundOf},
    {"is",
     [](const FilmPartFacts& part) {
       return std::string(part.mark ? "a numbered part" : "no numbered part");
     }},
    {"was made by", CodingOf},
    {"is a part of", FilmOf},
};

bool SameSound(const FilmPartFacts& a, const FilmPartFacts& b) {
  if (a.sound.size() != b.sound.size()) return false;
  for (size_t i = 0; i < a.sound.size(); ++i) {
    const SoundFormat &x = a.sound[i], &y = b.sound[i];
    if (x.wave != y.wave || x.handler != y.handler || x.scale != y.scale || x.rate != y.rate ||
        x.sample_size != y.sample_size) {
      return false;
    }
  }
  return true;
}

// A walk finds frames in files that are cut, too: here they are of no use.
void RefuseDamage(const std::string& name, const StreamInput& input, const PartMark* mark) {
  const std::vector<std::string> problems = input.Problems();
  if (!problems.empty()) Refuse(name, "is damaged: " + problems.front());
  if (input.avi == nullptr) return;
  const auto frames = static_cast<int64_t>(input.avi->frames.size());
  if (mark != nullptr && mark->frames != frames) {
    Refuse(name, "has " + std::to_string(frames) + " frames, should have " +
                     std::to_string(mark->frames));
  }
  if (input.avi->index != AviIndex::kRight) Refuse(name, "is damaged: its index is not right");
}

void TakeManifest(FilmPartFacts& part) {
  const PartManifest manifest = ReadManifest(part.name + ".json");
  const std::string wrong = CheckFile(part.name, manifest);
  if (!wrong.empty()) Refuse(part.name, wrong);
  const PartMark& told = manifest.mark;
  if (!part.mark) part.mark = told;
  const PartMark& mark = *part.mark;
  if (mark.first != told.first || mark.last != told.last || mark.frames != told.frames) {
    Refuse(part.name, "has " + Frames(mark.first, mark.last) + ", its manifest says " +
                          Frames(told.first, told.last));
  }
  part.md5 = manifest.md5;
}

void TakeImages(FilmPartFacts& part) {
  FilmInput film(part.name, {}, 0);
  film.RequireSize();
  part.coded_width = film.Format().width;
  part.coded_height = film.Format().height;
  part.properties = film.Properties();
  for (const auto& track : film.OpenSound()) part.sound.push_back(track->Format());
}

FilmPartFacts LookAt(const std::string& name, bool manifest) {
  FilmPartFacts part;
  part.name = name;
  {
    const StreamInput input = OpenStream(name, {});
    if (input.avi == nullptr && input.container != "MJPG") {
      Refuse(name, "is " + input.container + "; parts are AVI or .mjpg");
    }
    part.container = input.avi != nullptr ? "AVI" : input.container;
    part.format = input.reader->Format();
    part.frames = input.reader->FrameCount();
    if (input.avi != nullptr) part.mark = ReadMark(input.avi->comment);
    if (manifest) TakeManifest(part);
    RefuseDamage(name, input, part.mark ? &*part.mark : nullptr);
  }
  if (part.frames == 0) Refuse(name, "holds no frame");
  TakeImages(part);
  return part;
}

}  // namespace

FilmParts::FilmParts(const std::vector<std::string>& names, bool manifests) {
  for (const std::string& name : names) {
    FilmPartFacts part = LookAt(name, manifests);
    if (parts_.empty()) first_ = part;
    CheckFit(part);
    if (part.mark) CheckPlace(part);
    before_ = part.mark;
    parts_.push_back({name, part.md5, part.mark ? part.mark->first : -1});
    frames_ = frames_ < 0 || part.frames < 0 ? -1 : frames_ + part.frames;
  }
  CheckEnd();
}

void FilmParts::CheckFit(const FilmPartFacts& part) const {
  for (const SharedFact& fact : kShared) {
    const std::string here = fact.text(part), there = fact.text(first_);
    if (here == there) continue;
    std::string what = fact.has;
    what.append(" ").append(here).append(", ").append(first_.name).append(" ").append(there);
    Refuse(part.name, what);
  }
  if (!SameSound(part, first_)) Refuse(part.name, "has another form of sound than " + first_.name);
}

void FilmParts::CheckPlace(const FilmPartFacts& part) const {
  const int64_t expected = before_ ? before_->last + 1 : 0;
  const PartMark& mark = *part.mark;
  if (mark.first == expected) return;
  const std::string begins = "begins with frame " + std::to_string(mark.first);
  if (mark.first > expected) {
    Refuse(part.name, begins + "; " + Are(expected, mark.first - 1) + " missing before it");
  }
  Refuse(part.name, begins + ", but " + parts_.back().name + " before it ends with frame " +
                        std::to_string(before_->last));
}

void FilmParts::CheckEnd() const {
  if (!before_ || before_->film < 0 || before_->last + 1 >= before_->film) return;
  Refuse(parts_.back().name, "ends with frame " + std::to_string(before_->last) + "; " +
                                 Are(before_->last + 1, before_->film - 1) + " missing after it");
}

}  // namespace tkmjpg::tool
