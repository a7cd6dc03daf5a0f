#include "bench/peer_report.h"

#include <cmath>
#include <cstdio>
#include <fstream>
#include <stdexcept>
#include <thread>

#include "tkmjpg_version.h"

namespace tkmjpg {
namespace {

constexpr double kSizeTolerance = 0.03;

// As Linux names it; ARM kernels give no name.
std::string ProcessorName() {
  std::ifstream file("/proc/cpuinfo");
  for (std::string line; std::getline(file, line);) {
    const size_t colon = line.find(": ");
    if (line.starts_with("model name") && colon != std::string::npos) return line.substr(colon + 2);
  }
  return "unknown processor";
}

std::string Quoted(const std::string& text) {
  std::string quoted = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') quoted += '\\';
    if (static_cast<unsigned char>(c) >= ' ') quoted += c;
  }
  return quoted + '"';
}

void WriteHead(std::ostream& out, const PeerRun& run) {
  out << "{\"processor\": " << Quoted(ProcessorName())
      << ", \"cores\": " << std::thread::hardware_concurrency()
      << ",\n \"tkmjpg\": " << Quoted(TKMJPG_VERSION)
      << ", \"turbojpeg\": " << Quoted(TURBOJPEG_VERSION)
      << ", \"compiler\": " << Quoted(__VERSION__) << ",\n \"rung\": " << Quoted(run.rung)
      << ", \"peer_limit\": " << Quoted(run.peer_limit) << ", \"rounds\": " << run.rounds
      << ", \"frames\": " << run.frames << ", \"pixels\": " << run.pixels << ",\n \"rows\": [";
}

void WriteRow(std::ostream& out, const PeerRow& row) {
  out << "  {\"operation\": " << Quoted(row.operation) << ", \"quality\": " << row.quality
      << ", \"candidate\": " << Quoted(row.candidate)
      << ", \"mp_per_second\": " << row.pixels_per_second / 1e6 << ", \"ratio\": " << row.ratio
      << ", \"ratio_low\": " << row.ratio_low << ", \"ratio_high\": " << row.ratio_high
      << ", \"bytes\": " << row.streams.bytes << ", \"psnr_y\": " << row.streams.psnr << "}";
}

void PrintPeer(const PeerRow& row) {
  std::printf("%-22s %-22s %6.0f   %5.2f  %5.2f..%.2f", "", row.candidate.c_str(),
              row.pixels_per_second / 1e6, row.ratio, row.ratio_low, row.ratio_high);
  const double error = row.streams.size_error;
  if (error != 0) std::printf("  size %+.1f %%", 100 * error);
  std::printf("%s\n", std::abs(error) <= kSizeTolerance ? "" : "  SIZE NOT MATCHED");
}

}  // namespace

void PrintHead(const PeerRun& run) {
  std::printf("%s%s%s: %zu frames, %d rounds; ratio: time of TurboJPEG to time of tkmjpg\n",
              run.rung.c_str(), run.peer_limit.empty() ? "" : " beside ", run.peer_limit.c_str(),
              run.frames, run.rounds);
  std::printf("%-22s %-22s %6s   %5s  quartiles\n", "", "", "MP/s", "ratio");
}

void PrintRows(std::span<const PeerRow> rows) {
  const PeerRow& own = rows[0];
  const std::string name = own.operation + ", q" + std::to_string(own.quality);
  std::printf("%-22s %-22s %6.0f\n", name.c_str(), own.candidate.c_str(),
              own.pixels_per_second / 1e6);
  for (const PeerRow& row : rows.subspan(1)) PrintPeer(row);
  std::fflush(stdout);
}

void WriteJson(const std::string& path, const PeerRun& run) {
  std::ofstream out(path);
  out.precision(10);
  WriteHead(out, run);
  for (size_t i = 0; i < run.rows.size(); ++i) {
    out << (i == 0 ? "\n" : ",\n");
    WriteRow(out, run.rows[i]);
  }
  out << "]}\n";
  out.close();
  if (!out) throw std::runtime_error(path + ": cannot be written");
}

}  // namespace tkmjpg
