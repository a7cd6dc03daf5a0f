// libjpeg-turbo over one stream in memory, held so that no stream ends the process, sends it round
// without bound or leaves memory behind.
#pragma once

#include <csetjmp>
#include <cstdint>
#include <span>
#include <string>

// clang-format off
#include <cstdio>  // jpeglib.h wants FILE
#include <jpeglib.h>
// clang-format on

namespace tkmjpg::tool {

class JpegLibrary {
 public:
  // `stream` has to stay. `shift` is added to its offsets in what Damage says.
  explicit JpegLibrary(std::span<const uint8_t> stream, int64_t shift = 0);
  ~JpegLibrary();
  JpegLibrary(const JpegLibrary&) = delete;
  JpegLibrary& operator=(const JpegLibrary&) = delete;

  // Calls step(decoder) and returns true; false if the library gave up, now or in a step before.
  // It leaves the step by longjmp then, so nothing in a step may need its destructor.
  template <typename Step>
  bool Run(const Step& step) {
    return RunStep([](jpeg_decompress_struct& decoder,
                      const void* context) { (*static_cast<const Step*>(context))(decoder); },
                   &step);
  }

  // Why the library gave up; empty if it did not.
  std::string Refusal() const { return failed_ ? message_ : std::string(); }
  // The first thing that it found wrong and went on from; empty if there is none.
  const std::string& Damage() const { return damage_; }

 private:
  using StepCall = void (*)(jpeg_decompress_struct&, const void*);

  bool RunStep(StepCall call, const void* context);
  [[noreturn]] void GiveUp(const char* why);
  void Warn();

  static JpegLibrary& Of(j_common_ptr common);
  static void OnError(j_common_ptr common);
  static void OnMessage(j_common_ptr common, int level);
  static void OnProgress(j_common_ptr common);

  jpeg_decompress_struct decoder_{};
  jpeg_error_mgr errors_{};
  jpeg_progress_mgr progress_{};
  std::jmp_buf escape_{};
  std::span<const uint8_t> stream_;
  int64_t shift_;
  bool failed_ = false;
  char message_[JMSG_LENGTH_MAX] = {};
  std::string damage_;
};

}  // namespace tkmjpg::tool
