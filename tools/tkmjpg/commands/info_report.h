// What info tells of a film, as text or as JSON.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/tkmjpg/commands/film_input.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

struct FilmFacts {
  std::string name, container, fourcc, index;  // fourcc and index are empty outside AVI
  VideoFormat format;
  std::vector<std::string> problems;
};

struct FilmSummary {
  int64_t frames = 0, repeats = 0, pairs = 0, alphas = 0, with_problems = 0, recodable = 0;
  std::string other_shape;  // of the first frame that has one
  uint64_t bytes = 0;
  size_t smallest = SIZE_MAX, largest = 0;  // frames, repeats aside
  int lowest_quality = 0, highest_quality = 0;
  double bits_per_pixel = 0;
};

class InfoReport {
 public:
  virtual ~InfoReport() = default;
  virtual void Begin(const FilmFacts& facts) = 0;
  // `number` counts from 0. An empty frame stands for the last one again.
  virtual void Frame(int64_t number, const FrameAnalysis& frame, bool in_full) = 0;
  virtual void End(const FilmSummary& summary) = 0;
};

std::unique_ptr<InfoReport> MakeTextReport();
std::unique_ptr<InfoReport> MakeJsonReport();

// Words that both use.
std::string FieldOrderName(FieldOrder order);
std::string HuffmanName(HuffmanTables tables);
double BitsPerPixel(size_t bytes, const VideoFormat& format);

}  // namespace tkmjpg::tool
