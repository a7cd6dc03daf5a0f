// Motion-JPEG without a container: images back to back.
//
// A frame is one image, or two that follow each other and carry two different AVI1 field codes.
// Images without field codes look the same whether they are frames or fields; they count as frames,
// as cameras write them, unless the caller says that they come in pairs. What stands after a frame
// up to the next image, as fill or an alpha segment, belongs to it.
#pragma once

#include <memory>
#include <span>
#include <string>

#include "tools/tkmjpg/media/input_file.h"
#include "tools/tkmjpg/media/media.h"

namespace tkmjpg::tool {

class MjpgReader : public StreamReader {
 public:
  // `first_bytes` are those of the file, which the caller has read already. `format` tells what
  // the images do not.
  MjpgReader(std::unique_ptr<InputFile> file, Bytes first_bytes, bool pairs,
             const VideoFormat& format);

  const VideoFormat& Format() const override { return format_; }
  bool Read(Bytes& stream) override;

 private:
  std::span<const uint8_t> Rest() const { return std::span(buffer_).subspan(begin_); }
  bool Fetch();
  size_t FindFrameEnd() const;
  size_t FindImageEnd(size_t begin, int& field_code) const;
  void SkipToImage();

  std::unique_ptr<InputFile> file_;
  Bytes buffer_;
  size_t begin_ = 0;     // of what has not been delivered
  bool at_end_ = false;  // of the file
  bool pairs_;
  int64_t frames_ = 0;
  VideoFormat format_;
};

}  // namespace tkmjpg::tool
