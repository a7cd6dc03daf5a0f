// What a run beside TurboJPEG found: printed row by row, and written as JSON.
#pragma once

#include <span>
#include <string>
#include <vector>

namespace tkmjpg {

struct StreamFacts {
  double bytes = 0;       // of the streams of all frames
  double psnr = 0;        // of their luma, in dB
  double size_error = 0;  // against this library's streams
};

// One candidate of an operation.
struct PeerRow {
  std::string operation;
  int quality;
  std::string candidate;
  double pixels_per_second;             // median of the rounds
  double ratio, ratio_low, ratio_high;  // its time to this library's: median and quartiles
  StreamFacts streams;                  // that it wrote, or read
};

struct PeerRun {
  std::string rung;        // of this library
  std::string peer_limit;  // what holds TurboJPEG to the same level; empty if nothing does
  int rounds;
  size_t frames;
  double pixels;  // of all frames
  std::vector<PeerRow> rows = {};
};

void PrintHead(const PeerRun& run);
// The rows of one operation, this library's first.
void PrintRows(std::span<const PeerRow> rows);

// Throws std::runtime_error if the file cannot be written.
void WriteJson(const std::string& path, const PeerRun& run);

}  // namespace tkmjpg
