// Each compressed frame in a file of its own, numbered from 0.
#pragma once

#include <string>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/output_file.h"
#include "tools/tkmjpg/media/sequence_name.h"

namespace tkmjpg::tool {

class JpegSequenceWriter : public StreamWriter {
 public:
  // A name without a number holds one frame.
  JpegSequenceWriter(const std::string& pattern, Overwrite overwrite);

  void Write(const Bytes& stream) override;
  void Finish() override {}  // each file was whole when it got its name

 private:
  SequenceName names_;
  Overwrite overwrite_;
  int64_t next_ = 0;
};

}  // namespace tkmjpg::tool
