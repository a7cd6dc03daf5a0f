// The manifest of a part of a film, a JSON file: which frames it has, what it must look like, and
// how it was made.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/tkmjpg/media/part_mark.h"

namespace tkmjpg::tool {

struct PartManifest {
  std::string file;  // of the part, without folders
  PartMark mark;     // without its text
  uint64_t bytes = 0;
  std::string md5;  // of its frames back to back
  std::vector<std::string> command;
  std::string version;  // of what made it
};

std::string ManifestText(const PartManifest& manifest);
// Throws InputError if `path` cannot be read or is no manifest.
PartManifest ReadManifest(const std::string& path);

// What is wrong with the name and size of a part; empty if they are right.
std::string CheckFile(const std::string& part, const PartManifest& manifest);
// The same, and its frames are read.
std::string CheckPart(const std::string& part, const PartManifest& manifest);

}  // namespace tkmjpg::tool
