// What info tells of a film, as text or as JSON.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tools/tkmjpg/commands/film_input.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

struct FilmFacts {
  std::string name, container, fourcc, index;  // fourcc and index are empty outside AVI
  VideoFormat format;
  std::vector<std::string> problems;
  std::vector<std::string> sound = {};  // a line a stream
  std::string fields = {}, range = {};  // which and why; empty if nothing tells
  FilmProperties properties = {};
};

// Each word once, in the order in which they came.
class Words {
 public:
  void Add(const std::string& word);
  std::string Joined() const;  // "standard, none"

 private:
  std::vector<std::string> words_;
};

struct FilmSummary {
  int64_t frames = 0, repeats = 0, pairs = 0, alphas = 0, with_problems = 0, recodable = 0;
  std::string other_shape;  // of the first frame that has one
  uint64_t bytes = 0;
  size_t smallest = SIZE_MAX, largest = 0;  // frames, repeats aside
  int lowest_quality = 0, highest_quality = 0;
  bool quality_exact = true;
  Words samplings, huffman;
  double bits_per_pixel = 0, seconds = 0;
  double BitsPerSecond() const;
};

enum class InfoFrames { kNone, kAll, kOne };

class InfoReport {
 public:
  virtual ~InfoReport() = default;
  virtual void Begin(const FilmFacts& facts) = 0;
  // `number` counts from 0. An empty frame stands for the last one again.
  virtual void Frame(int64_t number, const FrameAnalysis& frame) = 0;
  virtual void End(const FilmSummary& summary) = 0;
};

std::unique_ptr<InfoReport> MakeTextReport(InfoFrames frames);
std::unique_ptr<InfoReport> MakeJsonReport(InfoFrames frames);

// Words that both use.
std::string FieldOrderName(FieldOrder order);
std::string HuffmanName(HuffmanTables tables);
double BitsPerPixel(size_t bytes, const VideoFormat& format);

}  // namespace tkmjpg::tool
