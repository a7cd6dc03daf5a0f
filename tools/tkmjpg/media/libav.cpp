#include "tools/tkmjpg/media/libav.h"

#include <dlfcn.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "tools/tkmjpg/error.h"

namespace tkmjpg::tool {
namespace {

constexpr size_t kBuffer = 1 << 16;

LibAv Load() {
  const std::string library = "libavformat.so." + std::to_string(LIBAVFORMAT_VERSION_MAJOR);
  void* const handle = dlopen(library.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    throw InputError("opening it needs " + library + ", which is not installed here");
  }
  LibAv av;
  // What libavformat depends on is searched too.
#define TKMJPG_RESOLVE(name)                                           \
  av.name = reinterpret_cast<decltype(av.name)>(dlsym(handle, #name)); \
  if (av.name == nullptr) throw InputError(library + " is without " #name);
  TKMJPG_LIBAV_FUNCTIONS(TKMJPG_RESOLVE)
#undef TKMJPG_RESOLVE
  av.av_log_set_level(AV_LOG_QUIET);
  return av;
}

// A film is one file: what it names beside itself is not opened.
int RefuseOtherFiles(AVFormatContext* /*context*/, AVIOContext** /*io*/, const char* /*url*/,
                     int /*flags*/, AVDictionary** /*options*/) {
  return AVERROR(EACCES);
}

}  // namespace

const LibAv& LoadLibAv() {
  static const LibAv av = Load();
  return av;
}

int Demuxer::ReadBytes(void* opaque, uint8_t* out, int size) try {
  auto* const demuxer = static_cast<Demuxer*>(opaque);
  const size_t n = demuxer->source_->Read(demuxer->position_, {out, static_cast<size_t>(size)});
  demuxer->position_ += n;
  return n == 0 ? AVERROR_EOF : static_cast<int>(n);
} catch (const InputError&) {
  return AVERROR(EIO);
}

int64_t Demuxer::Seek(void* opaque, int64_t offset, int whence) {
  auto* const demuxer = static_cast<Demuxer*>(opaque);
  const auto size = static_cast<int64_t>(demuxer->source_->Size());
  if ((whence & AVSEEK_SIZE) != 0) return size;
  const int from = whence & ~AVSEEK_FORCE;
  const int64_t base = from == SEEK_CUR   ? static_cast<int64_t>(demuxer->position_)
                       : from == SEEK_END ? size
                                          : 0;
  if (offset < -base || offset > INT64_MAX - base) return AVERROR(EINVAL);
  demuxer->position_ = static_cast<uint64_t>(base + offset);
  return base + offset;
}

Demuxer::Demuxer(std::shared_ptr<const ByteSource> source, std::string name,
                 const ContainerName& container)
    : av_(LoadLibAv()), source_(std::move(source)), name_(std::move(name)) {
  try {
    Open(container);
  } catch (...) {
    Close();
    throw;
  }
}

Demuxer::~Demuxer() { Close(); }

void Demuxer::Open(const ContainerName& container) {
  auto* const buffer = static_cast<uint8_t*>(av_.av_malloc(kBuffer));
  if (buffer == nullptr) throw std::bad_alloc();
  io_ = av_.avio_alloc_context(buffer, kBuffer, 0, this, ReadBytes, nullptr, Seek);
  if (io_ == nullptr) av_.av_free(buffer);
  context_ = av_.avformat_alloc_context();
  packet_ = av_.av_packet_alloc();
  if (io_ == nullptr || context_ == nullptr || packet_ == nullptr) throw std::bad_alloc();
  context_->pb = io_;
  context_->flags |= AVFMT_FLAG_CUSTOM_IO;
  context_->io_open = RefuseOtherFiles;
  const AVInputFormat* const format = av_.av_find_input_format(container.demuxer);
  if (format == nullptr) throw InputError(name_ + ": libavformat does not know " + container.name);
  const int error = av_.avformat_open_input(&context_, "", format, nullptr);
  if (error < 0) Fail(error);
}

void Demuxer::Close() {
  av_.av_packet_free(&packet_);
  av_.avformat_close_input(&context_);
  if (io_ != nullptr) av_.av_free(io_->buffer);  // another one than at first, perhaps
  av_.avio_context_free(&io_);
}

void Demuxer::Fail(int error) const {
  std::array<char, 128> text{};
  av_.av_strerror(error, text.data(), text.size());
  throw InputError(name_ + ": " + text.data());
}

void Demuxer::SelectOnly(int stream) {
  selected_ = stream;
  for (unsigned i = 0; i < context_->nb_streams; ++i) {
    if (static_cast<int>(i) != stream) context_->streams[i]->discard = AVDISCARD_ALL;
  }
}

const AVPacket* Demuxer::Read() {
  for (;;) {
    av_.av_packet_unref(packet_);
    const int error = av_.av_read_frame(context_, packet_);
    if (error == AVERROR_EOF) return nullptr;
    if (error < 0) Fail(error);
    // An edit of the film leaves some out.
    const bool shown = (packet_->flags & AV_PKT_FLAG_DISCARD) == 0;
    if (shown && (selected_ < 0 || packet_->stream_index == selected_)) return packet_;
  }
}

}  // namespace tkmjpg::tool
