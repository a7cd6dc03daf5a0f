// A film as decode, info and repair open it: the stream, and the size, field order and range of its
// pictures.
#pragma once

#include <deque>
#include <exception>
#include <string>
#include <vector>

#include "tools/tkmjpg/commands/film_properties.h"
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
  SoundTracks OpenSound() override { return stream_.reader->OpenSound(); }
  bool Read(Bytes& stream) override;
  int64_t Skip(int64_t frames, Bytes& last) override;

  const StreamInput& Stream() const { return stream_; }
  const std::vector<std::string>& Problems() const { return problems_; }
  const FilmProperties& Properties() const { return properties_; }
  // TkmjpgDecompressFlags that decode the film as its properties are.
  uint32_t DecodeFlags() const { return flags_; }

  void RequireSize() const;  // throws InputError if there is none

 private:
  bool ReadAhead();
  void SettleFormat(const FrameAnalysis& frame);
  bool IsWholeFrame(const FrameAnalysis& frame) const;
  void SettleFields(const FrameAnalysis& frame);
  void SettleLines(const FrameAnalysis& frame);
  void JudgePictures();
  FieldOrder OrderOf(const FrameAnalysis& frame) const;

  std::string path_;
  StreamInput stream_;
  StreamOptions options_;
  uint32_t flags_;
  VideoFormat format_;
  FilmProperties properties_;
  bool size_from_stream_ = false;
  std::vector<std::string> problems_;
  std::deque<Bytes> ahead_;        // frames that were looked at for the sake of the format
  std::exception_ptr after_them_;  // what reading on has thrown
};

}  // namespace tkmjpg::tool
