#include "tools/tkmjpg/media/same_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <utility>

#include "tools/tkmjpg/error.h"
#include "tools/tkmjpg/media/open_output.h"
#include "tools/tkmjpg/media/sequence_name.h"

namespace tkmjpg::tool {
namespace {

using Files = std::map<std::pair<dev_t, ino_t>, std::string>;  // with their names

void Add(const struct stat& status, const std::string& name, Files& files) {
  if (S_ISREG(status.st_mode)) files.insert({{status.st_dev, status.st_ino}, name});
}

bool MayBeNumbered(const std::string& name) {
  const std::string extension = Extension(name);
  return extension == "png" || extension == "jpg" || extension == "jpeg";
}

// The regular files that exist. `standard` is what "-" stands for.
Files FilesOf(const std::string& name, int standard) {
  Files files;
  struct stat status {};
  if (name == "-") {
    if (fstat(standard, &status) == 0) Add(status, name, files);
    return files;
  }
  if (stat(name.c_str(), &status) == 0) Add(status, name, files);
  if (!MayBeNumbered(name)) return files;
  const SequenceName names(name);
  for (const int64_t number : names.Existing()) {
    const std::string path = names.Name(number);
    if (stat(path.c_str(), &status) == 0) Add(status, path, files);
  }
  return files;
}

}  // namespace

void RefuseSameFile(const std::string& input, const std::string& output) {
  const Files read = FilesOf(input, STDIN_FILENO);
  for (const auto& [file, name] : FilesOf(output, STDOUT_FILENO)) {
    if (read.contains(file)) {
      throw UsageError((name == "-" ? "standard output" : name) +
                       ": is the input too; give the output another name");
    }
  }
}

}  // namespace tkmjpg::tool
