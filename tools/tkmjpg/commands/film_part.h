// A part of a film on its way out, as encode and repair write it: which frames, the mark in its
// file, and its manifest.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "tools/tkmjpg/commands/command_line.h"
#include "tools/tkmjpg/commands/frame_range.h"
#include "tools/tkmjpg/commands/md5.h"
#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/output_file.h"
#include "tools/tkmjpg/media/part_mark.h"

namespace tkmjpg::tool {

struct PartOptions {
  std::string frames, manifest;
  bool resume = false;
  std::vector<std::string> words;  // of the command line
};

// --frames, --manifest and --resume.
void AddPartOptions(const Command& command, PartOptions& options);

// That a part is there and right, on stderr.
void TellDone(const std::string& output, bool quiet);

class FilmPart {
 public:
  // `coding` tells the options that the bytes of the part depend on.
  FilmPart(const PartOptions& options, const std::string& output, const std::string& coding);

  const FrameRange& Range() const { return range_; }
  // Whether what ends early is of no use: someone will ask for the part again.
  bool WholeOnly() const { return !options_.manifest.empty(); }
  Overwrite Replaces(bool force) const {
    return force || options_.resume ? Overwrite::kReplace : Overwrite::kRefuse;
  }

  // Whether the part and its manifest are there and right, where --resume asks for that.
  bool IsDone() const;
  // Opens the manifest, so that what is in its way is told before the work.
  void Begin(bool force);
  // Of a film of `film` frames, -1 if unknown. Empty if it is no part.
  std::string Comment(int64_t film) const;
  // A frame of the part; an empty one repeats the one before it.
  void Add(const Bytes& stream);
  // `taken` frames of the film went into it.
  std::string Comment(int64_t film, int64_t taken) const;
  // When the part has its final name.
  void WriteManifest(int64_t film, int64_t taken);

 private:
  PartMark Mark(int64_t film, int64_t taken) const;

  PartOptions options_;
  std::string output_, coding_;
  FrameRange range_;
  std::optional<OutputFile> manifest_;
  int64_t frames_ = 0;
  Md5 md5_;
};

}  // namespace tkmjpg::tool
