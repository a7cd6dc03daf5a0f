#include "tools/tkmjpg/commands/repair_command.h"

#include <cstdio>
#include <memory>

#include "tools/tkmjpg/commands/code_again.h"
#include "tools/tkmjpg/commands/film_end.h"
#include "tools/tkmjpg/commands/film_input.h"
#include "tools/tkmjpg/commands/film_part.h"
#include "tools/tkmjpg/commands/film_sound.h"
#include "tools/tkmjpg/commands/ordered_pipeline.h"
#include "tools/tkmjpg/commands/stream_options.h"
#include "tools/tkmjpg/commands/threads_option.h"
#include "tools/tkmjpg/commands/warnings.h"
#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/media/same_file.h"
#include "tools/tkmjpg/streams/frame_damage.h"
#include "tools/tkmjpg/streams/repair_check.h"
#include "tools/tkmjpg/streams/stream_repair.h"
#include "tools/tkmjpg/terminal/printable.h"

namespace tkmjpg::tool {
namespace {

constexpr char kFooter[] =
    "Puts the standard Huffman tables into images that have none (or takes them out), writes\n"
    "right AVI1 size fields, completes an image that breaks off, drops what is no frame, and\n"
    "writes a new index. 4:2:2 images of other writers (MCUs of another size, Huffman tables of\n"
    "their own, other numbers of quantisation tables, progressive or arithmetic codes, tables\n"
    "that the second image of a field pair takes from the first) are coded again from the same\n"
    "coefficients, without loss. For other chroma (4:2:0, 4:4:4, grey) and RGB there is no way\n"
    "without loss: a frame of it is an error, or --recode decodes and encodes it. A frame that\n"
    "changes is decoded before and after; if its pixels are not the same, it stays as it was and\n"
    "the exit code is 1. Damage to the entropy-coded data stays, and is told. Sound goes along\n"
    "into AVI as it is; there a dropped frame leaves a repeat of the one before it, so that sound\n"
    "and picture stay together. A signal or a full disk ends the film with the frames before, in\n"
    "a whole file. OUTPUT is NAME.avi, NAME.mjpg, NAME.jpg, NAME_%04d.jpg, or - (frames back to\n"
    "back).";

struct RepairOptions {
  std::string input, output, sound;
  bool huffman_tables = true;
  bool verify = true;
  bool recode = false;
  int threads = 1;
  StreamOptions stream;
  PartOptions part;
  bool quiet = false;
  bool force = false;
};

struct RepairCounts {
  int64_t frames = 0, tables = 0, sizes = 0, recoded = 0, completed = 0, dropped = 0;
  int64_t damaged = 0, kept = 0, coded_again = 0;

  void Add(const RepairedFrame& frame) {
    tables += frame.tables_changed ? 1 : 0;
    sizes += frame.sizes_fixed ? 1 : 0;
    recoded += frame.recoded && frame.damage.empty() ? 1 : 0;
    completed += frame.completed ? 1 : 0;
  }
};

struct RepairJob {
  Bytes stream;  // empty: the last frame again
  RepairedFrame repaired;
  bool coded_again = false;
  FrameDamage damage;      // as it came
  std::string difference;  // of the pictures; empty if there is none
};

// Frames are repaired on several threads and written in order.
class FilmRepair {
 public:
  FilmRepair(const RepairOptions& options, FilmPart& part, FilmInput& film, StreamWriter& writer,
             bool has_sound)
      : options_(options),
        part_(part),
        film_(film),
        writer_(writer),
        can_repeat_(Extension(options.output) == "avi"),
        keeps_time_(can_repeat_ && has_sound) {}

  void Run() {
    const FrameRange& range = part_.Range();
    next_ = number_ = film_.Skip(range.first, last_);
    if (!last_.empty() && !can_repeat_) RepairLast();
    if (next_ == range.first) RunRange();
    if (number_ == next_ && counts_.frames == 0) CheckReached(options_.input, range, next_);
  }

  // Frames of the film that were worked on.
  int64_t Taken() const { return number_ - part_.Range().first; }
  // -1 if unknown.
  int64_t FilmFrames() const {
    return film_.FrameCount() >= 0 || !ended_ ? film_.FrameCount() : number_;
  }

  const RepairCounts& Counts() const { return counts_; }
  const std::string& FirstDamage() const { return first_damage_; }
  const std::string& FirstKept() const { return first_kept_; }

 private:
  void RunRange() {
    RunOrdered<RepairJob>(
        options_.threads, [this](RepairJob& job) { return Read(job); },
        [this](RepairJob& job, int) { Work(job); }, [this](RepairJob& job) { Write(job); });
  }

  // The frame before the range, which the first one of it may repeat.
  void RepairLast() {
    RepairJob job;
    job.stream = last_;
    Work(job);
    const bool good = job.difference.empty() && !job.repaired.stream.empty();
    if (good) last_ = job.repaired.stream;
  }

  bool Read(RepairJob& job) {
    if (next_ > part_.Range().last) return false;
    ended_ = !film_.Read(job.stream);
    if (!ended_) ++next_;
    return !ended_;
  }

  void Work(RepairJob& job) const {
    if (job.stream.empty()) return;
    job.repaired = Repaired(job.stream);
    job.damage = FindDamage(job.stream, AnalyseFrame(job.stream));
    job.difference.clear();
    job.coded_again = options_.recode && !job.repaired.loss.empty();
    if (job.coded_again) return WorkAgain(job);
    if (options_.verify && !job.repaired.stream.empty() && job.repaired.stream != job.stream) {
      job.difference = ComparePictures(job.stream, job.repaired.stream);
    }
  }

  RepairedFrame Repaired(const Bytes& stream) const {
    return RepairFrame(stream,
                       options_.huffman_tables ? HuffmanRepair::kAdd : HuffmanRepair::kRemove);
  }

  // What has to be coded again, which loses a little.
  void WorkAgain(RepairJob& job) const {
    const CodedAgain coded = CodeAgain(job.stream);
    job.repaired.loss = coded.refusal;
    if (!coded.refusal.empty()) return;
    job.repaired = Repaired(coded.stream);
    job.repaired.damage = coded.damage;
    if (options_.verify && coded.damage.empty()) {
      job.difference = CompareCodedAgain(job.stream, job.repaired.stream);
    }
  }

  void Write(RepairJob& job) {
    const int64_t number = number_++;
    if (job.stream.empty()) return Repeat();
    if (job.repaired.stream.empty()) {
      ++counts_.dropped;
      if (keeps_time_) WriteFrame(Bytes());
      return;
    }
    if (!job.repaired.loss.empty()) RefuseLoss(job, number);
    NoteDamage(job, number);
    last_ = Chosen(job, number);
    WriteFrame(last_);
    ++counts_.frames;
  }

  void NoteDamage(const RepairJob& job, int64_t number) {
    if (job.damage.empty()) return;
    if (counts_.damaged++ == 0) {
      first_damage_ = Describe(job.damage.front(), "frame " + std::to_string(number));
    }
  }

  [[noreturn]] void RefuseLoss(const RepairJob& job, int64_t number) const {
    const std::string hint =
        job.coded_again ? "" : " cannot be kept without loss; --recode codes it again";
    throw InputError(options_.input + ": " + Located(number, job.repaired.loss + hint));
  }

  const Bytes& Chosen(const RepairJob& job, int64_t number) {
    if (!job.difference.empty()) {
      if (counts_.kept++ == 0) first_kept_ = Located(number, job.difference);
      return job.stream;
    }
    counts_.Add(job.repaired);
    counts_.coded_again += job.coded_again ? 1 : 0;
    return job.repaired.stream;
  }

  void Repeat() {
    if (can_repeat_ || !last_.empty()) WriteFrame(can_repeat_ ? Bytes() : last_);
    ++counts_.frames;
  }

  void WriteFrame(const Bytes& stream) {
    writer_.Write(stream);
    part_.Add(stream);
  }

  static std::string Located(int64_t number, const std::string& what) {
    return "frame " + std::to_string(number) + ": " + what;
  }

  const RepairOptions& options_;
  FilmPart& part_;
  FilmInput& film_;
  StreamWriter& writer_;
  bool can_repeat_;
  bool keeps_time_;  // what is dropped leaves a repeat of the frame before it, for the sound's sake
  Bytes last_;       // as it was written
  int64_t next_ = 0;    // frame to read
  int64_t number_ = 0;  // frame to write
  bool ended_ = false;
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
  if (counts.coded_again > 0) {
    std::fprintf(stderr, "%s: %lld coded again at the quality that was found\n",
                 Printable(options.output).c_str(), static_cast<long long>(counts.coded_again));
  }
  if (counts.damaged == 0) return;
  WarnOf(options.input, repair.FirstDamage() + " (" + std::to_string(counts.damaged) + " of " +
                            std::to_string(counts.frames) + " frames damaged, and still are)");
}

// Players put the first image on line 0 where there is an extended header. A film without one whose
// first image has line 1 is shown right as it is.
VideoFormat FormatFor(const FilmInput& film) {
  VideoFormat format = film.Format();
  const FilmProperties& properties = film.Properties();
  const bool odd_first = properties.fields && properties.first_image == FieldLines::kOdd;
  format.extended_header = format.extended_header || !odd_first;
  return format;
}

void TellSound(const RepairOptions& options, FilmInput& film, const SoundTracks& kept) {
  for (const std::string& problem : film.Problems()) WarnOf(options.input, problem);
  for (const std::string& line : DescribeSound(kept)) {
    std::fprintf(stderr, "%s: sound: %s\n", Printable(options.output).c_str(), line.c_str());
  }
  const std::string lost = LostSound(options.output, film.OpenSound());
  if (!lost.empty()) WarnOf(options.input, lost);
}

// The options that the bytes depend on, for whoever puts parts together.
std::string Coding(const RepairOptions& options) {
  std::string text = "repair";
  if (!options.huffman_tables) text += " --no-huffman-tables";
  if (!options.verify) text += " --no-verify";
  if (options.recode) text += " --recode";
  return text;
}

void Repair(const RepairOptions& options) {
  RefuseSameFile(options.input, options.output);
  if (!options.sound.empty()) RefuseSameFile(options.sound, options.output);
  FilmPart part(options.part, options.output, Coding(options));
  if (part.IsDone()) return TellDone(options.output, options.quiet);
  FilmInput film(options.input, options.stream, 0);
  film.RequireSize();
  const SoundTracks sound = SoundOfPart(SoundFor(options.output, options.sound, film.OpenSound()),
                                        FormatFor(film), part.Range(), film.FrameCount());
  part.Begin(options.force);
  const auto writer =
      OpenStreamWriter(options.output, FormatFor(film), part.Replaces(options.force), sound,
                       part.Comment(film.FrameCount()));
  FilmRepair repair(options, part, film, *writer, !sound.empty());
  const FilmEnd end = {options.output, [&] { return repair.Counts().frames; },
                       [&](bool early) {
                         if (early) writer->EndSoundHere();
                         writer->SetComment(part.Comment(repair.FilmFrames(), repair.Taken()));
                         writer->Finish();
                       },
                       part.WholeOnly()};
  RunToEnd(end, [&] {
    repair.Run();
    if (repair.Counts().frames == 0) throw InputError(options.input + ": holds no frame");
  });
  part.WriteManifest(repair.FilmFrames(), repair.Taken());
  Summarise(options, repair);
  if (!options.quiet) TellSound(options, film, sound);
  if (repair.Counts().kept == 0) return;
  throw InputError(options.input + ": " + repair.FirstKept() + " when repaired (" +
                   std::to_string(repair.Counts().kept) + " left as they were)");
}

}  // namespace

void AddRepairCommand(const CommandLine& line) {
  const Command command = line.AddCommand("repair", "Fix a Motion-JPEG file without loss");
  auto options = std::make_shared<RepairOptions>();
  command
      .Add("INPUT", options->input,
           "NAME.avi, .mov, .mp4, .mkv, .nut, .mjpg, .jpg, NAME_%04d.jpg, or -")
      .Required();
  command.Add("OUTPUT", options->output, "what to write, see below").Required();
  command.AddFlag("--huffman-tables,!--no-huffman-tables", options->huffman_tables,
                  "put missing standard tables in (default), or take standard ones out");
  command.Add("--sound", options->sound, "put this FILE.wav in, in place of the film's own sound");
  AddStreamOptions(command, options->stream);
  command.AddFlag("--verify,!--no-verify", options->verify,
                  "decode what changes before and after, and compare (default)");
  command.AddFlag("--recode", options->recode,
                  "what cannot be kept without loss: decode and encode it, at the quality found");
  AddPartOptions(command, options->part);
  AddThreadsOption(command, options->threads, "frames repaired at once; the bytes are the same");
  command.AddFlag("-f,--force", options->force, "replace an output that exists");
  command.AddFlag("-q,--quiet", options->quiet, "print nothing but errors");
  command.Footer(kFooter);
  command.Run([options, &line] {
    options->part.words = line.Words();
    Repair(*options);
  });
}

}  // namespace tkmjpg::tool
