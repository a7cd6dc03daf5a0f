// A film as decode, info and repair open it: the stream, and the size and field order of its
// pictures.
#pragma once

#include <deque>
#include <string>
#include <vector>

#include "tools/tkmjpg/media/media.h"
#include "tools/tkmjpg/media/open_stream.h"
#include "tools/tkmjpg/streams/stream_analysis.h"

namespace tkmjpg::tool {

class FilmInput : public StreamReader {
 public:
  // `flags` are TkmjpgDecompressFlags.
  FilmInput(const std::string& path, const StreamOptions& options, uint32_t flags);

  // Of whole pictures; width and height are 0 if nothing tells them.
  const VideoFormat& Format() const override { return format_; }
  int64_t FrameCount() const override { return stream_.reader->FrameCount(); }
  bool Read(Bytes& stream) override;

  const StreamInput& Stream() const { return stream_; }
  const std::vector<std::string>& Problems() const { return problems_; }

  void RequireSize() const;  // throws InputError if there is none

 private:
  void SettleFormat(const FrameAnalysis& frame, uint32_t flags);

  std::string path_;
  StreamInput stream_;
  VideoFormat format_;
  bool size_from_stream_ = false;
  std::vector<std::string> problems_;
  std::deque<Bytes> ahead_;  // frames that were looked at for the sake of the format
};

}  // namespace tkmjpg::tool
