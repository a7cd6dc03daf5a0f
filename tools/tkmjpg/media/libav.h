// libavformat, loaded when the first file asks for it: it and what it depends on take longer to
// load than most of this command's work, and may be missing.
#pragma once

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <functional>
#include <memory>
#include <string>

#include "tools/tkmjpg/media/byte_source.h"
#include "tools/tkmjpg/media/container_name.h"

namespace tkmjpg::tool {

// The functions that are used, under their own names.
struct LibAv {
#define TKMJPG_LIBAV_FUNCTIONS(F) \
  F(av_find_input_format)         \
  F(av_free)                      \
  F(av_log_set_level)             \
  F(av_malloc)                    \
  F(av_packet_alloc)              \
  F(av_packet_free)               \
  F(av_packet_unref)              \
  F(av_read_frame)                \
  F(av_strerror)                  \
  F(avcodec_get_name)             \
  F(avformat_alloc_context)       \
  F(avformat_close_input)         \
  F(avformat_find_stream_info)    \
  F(avformat_open_input)          \
  F(avformat_version)             \
  F(avio_alloc_context)           \
  F(avio_context_free)
// NOLINTNEXTLINE(bugprone-macro-parentheses): a name that is declared takes none
#define TKMJPG_DECLARE(name) decltype(&::name) name = nullptr;
  TKMJPG_LIBAV_FUNCTIONS(TKMJPG_DECLARE)
#undef TKMJPG_DECLARE
};

// Throws InputError, without a file's name, if there is none on this system.
const LibAv& LoadLibAv();

// One pass through the packets of a file.
class Demuxer {
 public:
  // Throws InputError that names the file.
  Demuxer(std::shared_ptr<const ByteSource> source, std::string name,
          const ContainerName& container);
  Demuxer(const Demuxer&) = delete;
  Demuxer& operator=(const Demuxer&) = delete;
  ~Demuxer();

  const AVFormatContext& Context() const { return *context_; }
  // Packets of other streams are passed over.
  void SelectOnly(int stream);
  // The next packet, valid until the next call; null at the end. Throws InputError on damage.
  const AVPacket* Read();

 private:
  void Open(const ContainerName& container);
  void Close();
  [[noreturn]] void Fail(int error) const;
  static int ReadBytes(void* opaque, uint8_t* out, int size);
  static int64_t Seek(void* opaque, int64_t offset, int whence);

  const LibAv& av_;
  std::shared_ptr<const ByteSource> source_;
  std::string name_;
  uint64_t position_ = 0;
  AVIOContext* io_ = nullptr;
  AVFormatContext* context_ = nullptr;
  AVPacket* packet_ = nullptr;
  int selected_ = -1;
};

}  // namespace tkmjpg::tool
