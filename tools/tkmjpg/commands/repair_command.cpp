#include "tools/tkmjpg/commands/repair_command.h"

#include <cstdio>
#include <memory>

#include "tools/tkmjpg/commands/film_input.h"
#include "tools/tkmjpg/commands/ordered_pipeline.h"
#include "tools/tkmjpg/commands/stream_options.h"
#include "tools/tkmjpg/commands/threads_option.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/media/same_file.h"
#include "tools/tkmjpg/streams/repair_check.h"
#include "tools/tkmjpg/streams/stream_repair.h"
#include "tools/tkmjpg/terminal/printable.h"

namespace tkmjpg::tool {
namespace {

constexpr char kFooter[] =
    "Puts the standard Huffman tables into images that have none (or takes them out), writes\n"
    "right AVI1 size fields, completes an image that breaks off, drops what is no frame, and\n"
    "writes a new index. 4:2:2 images of other writers (MCUs of another size, Huffman tables of\n"
    "their own, other numbers of quantisation tables, tables that the second image of a field\n"
    "pair takes from the first) are coded again from the same coefficients, without loss. A frame\n"
    "that changes is decoded before and after; if its pixels are not the same, it stays as it was\n"
    "and the exit code is 1. Only video is kept. OUTPUT is NAME.avi, NAME.mjpg, NAME.jpg,\n"
    "NAME_%04d.jpg, or - (frames back to back).";

struct RepairOptions {
  std::string input, output;
  bool huffman_tables = true;
  bool verify = true;
  int threads = 1;
  StreamOptions stream;
  bool quiet = false;
  bool force = false;
};

struct RepairCounts {
  int64_t frames = 0, tables = 0, sizes = 0, recoded = 0, completed = 0, dropped = 0;
  int64_t damaged = 0, kept = 0;

  void Add(const RepairedFrame& frame) {
    tables += frame.tables_changed ? 1 : 0;
    sizes += frame.sizes_fixed ? 1 : 0;
    recoded += frame.recoded && frame.damage.empty() ? 1 : 0;
    damaged += frame.damage.empty() ? 0 : 1;
    completed += frame.completed ? 1 : 0;
  }
};

struct RepairJob {
  Bytes stream;  // empty: the last frame again
  RepairedFrame repaired;
  std::string difference;  // of the pictures; empty if there is none
};

// Frames are repaired on several threads and written in order.
class FilmRepair {
 public:
  FilmRepair(const RepairOptions& options, FilmInput& film, StreamWriter& writer)
      : options_(options),
        film_(film),
        writer_(writer),
        can_repeat_(Extension(options.output) == "avi") {}

  void Run() {
    RunOrdered<RepairJob>(
        options_.threads, [this](RepairJob& job) { return film_.Read(job.stream); },
        [this](RepairJob& job, int) { Work(job); }, [this](RepairJob& job) { Write(job); });
  }

  const RepairCounts& Counts() const { return counts_; }
  const std::string& FirstDamage() const { return first_damage_; }
  const std::string& FirstKept() const { return first_kept_; }

 private:
  void Work(RepairJob& job) const {
    if (job.stream.empty()) return;
    job.repaired = RepairFrame(
        job.stream, options_.huffman_tables ? HuffmanRepair::kAdd : HuffmanRepair::kRemove);
    job.difference.clear();
    if (options_.verify && !job.repaired.stream.empty() && job.repaired.stream != job.stream) {
      job.difference = ComparePictures(job.stream, job.repaired.stream);
    }
  }

  void Write(RepairJob& job) {
    const int64_t number = number_++;
    if (job.stream.empty()) return Repeat();
    if (job.repaired.stream.empty()) {
      ++counts_.dropped;
      return;
    }
    ++counts_.frames;
    last_ = Chosen(job, number);
    writer_.Write(last_);
  }

  const Bytes& Chosen(const RepairJob& job, int64_t number) {
    if (!job.difference.empty()) {
      if (counts_.kept++ == 0) first_kept_ = Located(number, job.difference);
      return job.stream;
    }
    counts_.Add(job.repaired);
    if (first_damage_.empty() && !job.repaired.damage.empty()) {
      first_damage_ = Located(number, job.repaired.damage);
    }
    return job.repaired.stream;
  }

  void Repeat() {
    ++counts_.frames;
    if (can_repeat_ || !last_.empty()) writer_.Write(can_repeat_ ? Bytes() : last_);
  }

  static std::string Located(int64_t number, const std::string& what) {
    return "frame " + std::to_string(number) + ": " + what;
  }

  const RepairOptions& options_;
  FilmInput& film_;
  StreamWriter& writer_;
  bool can_repeat_;
  Bytes last_;  // as it was written
  int64_t number_ = 0;
  RepairCounts counts_;
  std::string first_damage_, first_kept_;
};

void Summarise(const RepairOptions& options, const FilmRepair& repair) {
  if (options.quiet) return;
  const RepairCounts& counts = repair.Counts();
  std::fprintf(stderr,
               "%s: %lld frames; %lld with tables %s, %lld size fields fixed, %lld recoded "
               "without loss, %lld completed, %lld dropped\n",
               Printable(options.output).c_str(), static_cast<long long>(counts.frames),
               static_cast<long long>(counts.tables),
               options.huffman_tables ? "put in" : "taken out",
               static_cast<long long>(counts.sizes), static_cast<long long>(counts.recoded),
               static_cast<long long>(counts.completed), static_cast<long long>(counts.dropped));
  if (counts.damaged == 0) return;
  std::fprintf(stderr, "tkmjpg: %s: warning: %s (%lld recoded as far as they are undamaged)\n",
               Printable(options.input).c_str(), repair.FirstDamage().c_str(),
               static_cast<long long>(counts.damaged));
}

void Repair(const RepairOptions& options) {
  RefuseSameFile(options.input, options.output);
  FilmInput film(options.input, options.stream, 0);
  film.RequireSize();
  const auto writer = OpenStreamWriter(options.output, film.Format(),
                                       options.force ? Overwrite::kReplace : Overwrite::kRefuse);
  FilmRepair repair(options, film, *writer);
  repair.Run();
  if (repair.Counts().frames == 0) throw InputError(options.input + ": holds no frame");
  writer->Finish();
  Summarise(options, repair);
  if (repair.Counts().kept == 0) return;
  throw InputError(options.input + ": " + repair.FirstKept() + " when repaired (" +
                   std::to_string(repair.Counts().kept) + " left as they were)");
}

}  // namespace

void AddRepairCommand(const CommandLine& line) {
  const Command command = line.AddCommand("repair", "Fix a Motion-JPEG file without loss");
  auto options = std::make_shared<RepairOptions>();
  command.Add("INPUT", options->input, "NAME.avi, NAME.mjpg, NAME.jpg, NAME_%04d.jpg, or -")
      .Required();
  command.Add("OUTPUT", options->output, "what to write, see below").Required();
  command.AddFlag("--huffman-tables,!--no-huffman-tables", options->huffman_tables,
                  "put missing standard tables in (default), or take standard ones out");
  AddStreamOptions(command, options->stream);
  command.AddFlag("--verify,!--no-verify", options->verify,
                  "decode what changes before and after, and compare (default)");
  AddThreadsOption(command, options->threads, "frames repaired at once; the bytes are the same");
  command.AddFlag("-f,--force", options->force, "replace an output that exists");
  command.AddFlag("-q,--quiet", options->quiet, "print nothing but errors");
  command.Footer(kFooter);
  command.Run([options] { Repair(*options); });
}

}  // namespace tkmjpg::tool
