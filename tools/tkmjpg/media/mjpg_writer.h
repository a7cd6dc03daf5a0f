// Compressed frames back to back.
#pragma once

#include <string>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/output_file.h"

namespace tkmjpg::tool {

class MjpgWriter : public StreamWriter {
 public:
  MjpgWriter(const std::string& path, Overwrite overwrite) : file_(path, overwrite) {}

  void Write(const Bytes& stream) override { file_.WriteWhole(stream); }
  void Finish() override { file_.Finish(); }

 private:
  OutputFile file_;
};

}  // namespace tkmjpg::tool
