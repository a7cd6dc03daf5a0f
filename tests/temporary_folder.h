// A folder that is gone with the test.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>

class TemporaryFolder {
 public:
  TemporaryFolder() {
    std::string name = (std::filesystem::temp_directory_path() / "tkmjpg_XXXXXX").string();
    if (mkdtemp(name.data()) != nullptr) path_ = name;
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder() {
    std::error_code ignored;
    if (!path_.empty()) std::filesystem::remove_all(path_, ignored);
  }

  std::string Path(const std::string& name) const { return path_ + "/" + name; }

 private:
  std::string path_;
};
