#include "tools/tkmjpg/commands/repair_command.h"

#include <cstdio>
#include <memory>

#include "tools/tkmjpg/commands/film_input.h"
#include "tools/tkmjpg/commands/stream_options.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/media/same_file.h"
#include "tools/tkmjpg/streams/stream_repair.h"
#include "tools/tkmjpg/terminal/printable.h"

namespace tkmjpg::tool {
namespace {

constexpr char kFooter[] =
    "Puts the standard Huffman tables into images that have none (or takes them out), writes\n"
    "right AVI1 size fields, completes an image that breaks off, drops what is no frame, and\n"
    "writes a new index. 4:2:2 images of other writers (MCUs of another size, Huffman tables of\n"
    "their own, other numbers of quantisation tables) are coded anew from the same coefficients,\n"
    "without loss. Pictures are not decoded. Only video is kept. OUTPUT is NAME.avi,\n"
    "NAME.mjpg, NAME.jpg, NAME_%04d.jpg, or - (frames back to back).";

struct RepairOptions {
  std::string input, output;
  bool huffman_tables = true;
  StreamOptions stream;
  bool quiet = false;
  bool force = false;
};

struct RepairCounts {
  int64_t frames = 0, tables = 0, sizes = 0, recoded = 0, completed = 0, dropped = 0;

  void Add(const RepairedFrame& frame) {
    ++frames;
    tables += frame.tables_changed ? 1 : 0;
    sizes += frame.sizes_mended ? 1 : 0;
    recoded += frame.recoded ? 1 : 0;
    completed += frame.completed ? 1 : 0;
  }
};

void Summarise(const RepairOptions& options, const RepairCounts& counts) {
  if (options.quiet) return;
  std::fprintf(stderr,
               "%s: %lld frames; %lld with tables %s, %lld size fields mended, %lld recoded "
               "without loss, %lld completed, %lld dropped\n",
               Printable(options.output).c_str(), static_cast<long long>(counts.frames),
               static_cast<long long>(counts.tables),
               options.huffman_tables ? "put in" : "taken out",
               static_cast<long long>(counts.sizes), static_cast<long long>(counts.recoded),
               static_cast<long long>(counts.completed), static_cast<long long>(counts.dropped));
}

void Repair(const RepairOptions& options) {
  RefuseSameFile(options.input, options.output);
  FilmInput film(options.input, options.stream, 0);
  film.RequireSize();
  const auto writer = OpenStreamWriter(options.output, film.Format(),
                                       options.force ? Overwrite::kReplace : Overwrite::kRefuse);
  const bool can_repeat = Extension(options.output) == "avi";
  const HuffmanRepair huffman =
      options.huffman_tables ? HuffmanRepair::kAdd : HuffmanRepair::kRemove;
  RepairCounts counts;
  RepairedFrame last;
  for (Bytes stream; film.Read(stream);) {
    if (stream.empty()) {  // the last frame again
      if (can_repeat || !last.stream.empty()) writer->Write(can_repeat ? Bytes() : last.stream);
      ++counts.frames;
      continue;
    }
    RepairedFrame frame = RepairFrame(stream, huffman);
    if (frame.stream.empty()) {
      ++counts.dropped;
      continue;
    }
    last = std::move(frame);
    counts.Add(last);
    writer->Write(last.stream);
  }
  if (counts.frames == 0) throw InputError(options.input + ": holds no frame");
  writer->Finish();
  Summarise(options, counts);
}

}  // namespace

void AddRepairCommand(const CommandLine& line) {
  const Command command = line.AddCommand("repair", "Mend a Motion-JPEG file without recoding");
  auto options = std::make_shared<RepairOptions>();
  command.Add("INPUT", options->input, "NAME.avi, NAME.mjpg, NAME.jpg, NAME_%04d.jpg, or -")
      .Required();
  command.Add("OUTPUT", options->output, "what to write, see below").Required();
  command.AddFlag("--huffman-tables,!--no-huffman-tables", options->huffman_tables,
                  "put missing standard tables in (if not said), or take standard ones out");
  AddStreamOptions(command, options->stream);
  command.AddFlag("-f,--force", options->force, "replace an output that exists");
  command.AddFlag("-q,--quiet", options->quiet, "print nothing but errors");
  command.Footer(kFooter);
  command.Run([options] { Repair(*options); });
}

}  // namespace tkmjpg::tool
