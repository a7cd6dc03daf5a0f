#include "tools/tkmjpg/media/y4m_header.h"

#include <algorithm>
#include <charconv>
#include <sstream>
#include <stdexcept>

namespace tkmjpg::tool {
namespace {

constexpr char kMagic[] = "YUV4MPEG2";

struct ChromaName {
  const char* name;
  Chroma chroma;
  ChromaLines lines;
};

constexpr ChromaName kChromaNames[] = {
    {"411", Chroma::k411, ChromaLines::kBetween},
    {"420", Chroma::k420, ChromaLines::kBetween},
    {"420jpeg", Chroma::k420, ChromaLines::kBetween},
    {"420mpeg2", Chroma::k420, ChromaLines::kBetween},
    {"420paldv", Chroma::k420, ChromaLines::kAlternate},
    {"422", Chroma::k422, ChromaLines::kBetween},
    {"444", Chroma::k444, ChromaLines::kBetween},
    {"mono", Chroma::kMono, ChromaLines::kBetween},
};

[[noreturn]] void Refuse(const std::string& what) { throw std::invalid_argument(what); }

int64_t ParseNumber(const std::string& tag, const std::string& text) {
  int64_t number = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || number < 0) {
    Refuse("'" + tag + "' is no number in the Y4M header");
  }
  return number;
}

Rational ParseRatio(const std::string& tag) {
  const size_t colon = tag.find(':');
  if (colon == std::string::npos) Refuse("'" + tag + "' is no ratio in the Y4M header");
  return {ParseNumber(tag, tag.substr(1, colon - 1)), ParseNumber(tag, tag.substr(colon + 1))};
}

void ParseChroma(const std::string& name, PlanarFormat& planes) {
  for (const ChromaName& known : kChromaNames) {
    if (name != known.name) continue;
    planes.chroma = known.chroma;
    planes.chroma_lines = known.lines;
    return;
  }
  const size_t depth = name.find_first_of("0123456789", name.find_first_of("po"));  // 420p10, mono9
  const bool deep = depth != std::string::npos;
  Refuse("C" + name + (deep ? " has more than 8 bits a sample" : " is no known chroma format") +
         "; 411, 420, 420jpeg, 420mpeg2, 420paldv, 422, 444 and mono are taken");
}

void ParseInterlacing(const std::string& tag, Y4mHeader& header) {
  switch (tag.size() == 2 ? tag[1] : ' ') {
    case 't':
      header.video.field_order = FieldOrder::kTopFirst;
      break;
    case 'b':
      header.video.field_order = FieldOrder::kBottomFirst;
      break;
    case 'm':
      header.mixed = true;
      break;
    case 'p':
    case '?':
      break;
    default:
      Refuse("'" + tag + "' is no known interlacing in the Y4M header");
  }
}

void ParseTag(const std::string& tag, Y4mHeader& header) {
  const std::string value = tag.substr(1);
  switch (tag[0]) {
    case 'W':
      header.video.width = static_cast<int>(std::min<int64_t>(ParseNumber(tag, value), 1 << 20));
      break;
    case 'H':
      header.video.height = static_cast<int>(std::min<int64_t>(ParseNumber(tag, value), 1 << 20));
      break;
    case 'F':
      header.video.rate = ParseRatio(tag);
      break;
    case 'A':
      header.video.pixel_aspect = ParseRatio(tag);
      break;
    case 'I':
      ParseInterlacing(tag, header);
      break;
    case 'C':
      ParseChroma(value, header.planes);
      break;
    case 'X':
      if (value == "COLORRANGE=FULL") header.planes.full_range = true;
      break;
    default:  // tags of later writers
      break;
  }
}

}  // namespace

Y4mHeader ParseY4mHeader(const std::string& line) {
  std::istringstream words(line);
  std::string word;
  if (!(words >> word) || word != kMagic)
    Refuse("is no Y4M file: it does not begin with YUV4MPEG2");
  Y4mHeader header;
  while (words >> word) ParseTag(word, header);

  VideoFormat& video = header.video;
  if (video.width < 1 || video.height < 1) Refuse("no picture size in the Y4M header");
  if (video.rate.num == 0 || video.rate.den == 0) video.rate = {25, 1};  // 0:0 is "unknown"
  header.planes.width = video.width;
  header.planes.height = video.height;
  return header;
}

}  // namespace tkmjpg::tool
