// A host for the driver's tests: it opens the driver, sends messages, carries frames, and keeps a
// profile of its own in a temporary folder.
#pragma once

#include <gtest/gtest.h>

#include <climits>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "platform/portable/host_types.h"
#include "tests/bytes.h"
#include "tests/guarded_buffer.h"
#include "tests/temporary_folder.h"
#include "tkmjpg.h"

using tkmjpg::DWORD, tkmjpg::LONG, tkmjpg::LPARAM, tkmjpg::LRESULT, tkmjpg::UINT, tkmjpg::WORD;
using Words = std::vector<uint32_t>;

constexpr uint32_t Code(const char (&name)[5]) {
  return static_cast<uint32_t>(name[0] | name[1] << 8 | name[2] << 16 | name[3] << 24);
}

constexpr uint32_t kMjpg = Code("MJPG");
constexpr uint32_t kAnyHeight = 0x4000000;

inline BITMAPINFOHEADER Header(int bits, uint32_t compression, LONG width, LONG height,
                               DWORD size_image = 0) {
  const auto depth = static_cast<WORD>(bits);
  return {40, width, height, 1, depth, compression, size_image, 0, 0, 0, 0};
}

// A format of the driver.
struct Format {
  int bits;
  uint32_t compression;
  uint32_t layout = 0;      // of the direct calls
  bool rgb = false;         // bottom-up with a positive height
  uint32_t refused_by = 0;  // options
  uint32_t masks[3] = {};   // of BI_BITFIELDS
};

// A header of exactly 40 bytes, or 52 if the format has masks, before a page that faults.
class GuardedHeader {
 public:
  explicit GuardedHeader(const BITMAPINFOHEADER& header) : memory_(sizeof header) {
    std::memcpy(memory_.data(), &header, sizeof header);
  }
  GuardedHeader(const Format& format, LONG width, LONG height, DWORD size_image = 0)
      : memory_(format.masks[0] != 0 ? 52 : 40) {
    *get() = Header(format.bits, format.compression, width, height, size_image);
    if (memory_.size() == 52) std::memcpy(get() + 1, format.masks, sizeof format.masks);
  }
  BITMAPINFOHEADER* operator->() const { return get(); }
  BITMAPINFOHEADER* get() const { return reinterpret_cast<BITMAPINFOHEADER*>(memory_.data()); }

 private:
  GuardedBuffer memory_;
};

// A frame on its way, each of its blocks as large as the formats say and no byte larger, and the
// messages that carry it.
struct Frame {
  GuardedHeader in, out;
  GuardedBuffer from, to;
  DWORD chunk = 0, flags = 0;
  ICCOMPRESS compress = {0,      out.get(), to.data(), in.get(), from.data(), &chunk,
                         &flags, 0,         0,         7500,     nullptr,     nullptr};
  ICDECOMPRESS plain = {0, in.get(), from.data(), out.get(), to.data(), 0};
  ICDECOMPRESSEX extended = {0,  in.get(), from.data(), out.get(), to.data(), 0, 0,
                             -1, -1,       0,           0,         -1,        -1};
};

// From a packed buffer's start to its top line, and from each line to the next.
inline std::pair<int, int> PackedLines(const Format& format, LONG width, LONG height) {
  const int row = std::abs(width) * format.bits / 8;
  return format.rgb && height > 0 ? std::pair((height - 1) * row, -row) : std::pair(0, row);
}

inline std::vector<uint8_t> Picture(int size) {
  std::vector<uint8_t> bytes(static_cast<size_t>(size));
  std::minstd_rand random(7);
  for (int i = 0; i < size; ++i) bytes[i] = static_cast<uint8_t>(i / 3 + random() % 16);
  return bytes;
}

// A parameter of a message: a number or an address.
struct Param {
  // NOLINTBEGIN(google-explicit-constructor): a message is sent with whatever it takes.
  Param(intptr_t number) : value(number) {}
  Param(const void* address) : value(reinterpret_cast<intptr_t>(address)) {}
  Param(const GuardedHeader& header) : Param(header.get()) {}
  // NOLINTEND(google-explicit-constructor)
  intptr_t value;
};

class OpenDriver {
 public:
  explicit OpenDriver(uint32_t handler = kMjpg) {
    open_.dwSize = sizeof open_;
    open_.fccType = ICTYPE_VIDEO;
    open_.fccHandler = handler;
    id_ = static_cast<uintptr_t>(DriverProc(0, nullptr, DRV_OPEN, 0, Param(&open_).value));
  }
  OpenDriver(const OpenDriver&) = delete;
  OpenDriver& operator=(const OpenDriver&) = delete;
  ~OpenDriver() {
    if (id_ != 0) DriverProc(id_, nullptr, DRV_CLOSE, 0, 0);
  }

  const ICOPEN& open() const { return open_; }

  intptr_t Send(uint32_t message, Param param1 = nullptr, Param param2 = nullptr) const {
    return DriverProc(id_, nullptr, message, param1.value, param2.value);
  }

  // The four words: FOURCC, quality, options, and one that is kept for nothing.
  Words GetState() const {
    Words state(4);
    Send(ICM_GETSTATE, state.data(), 16);
    return state;
  }
  void SetOptions(uint32_t options) const {
    const Words state = {kMjpg, 6000, options, 0};
    ASSERT_EQ(Send(ICM_SETSTATE, state.data(), 16), 16);
  }
  DWORD DefaultQuality() const {
    DWORD quality = 0;
    EXPECT_EQ(Send(ICM_GETDEFAULTQUALITY, &quality), ICERR_OK);
    return quality;
  }

 private:
  ICOPEN open_ = {};
  uintptr_t id_ = 0;
};

class DriverTest : public testing::Test {
 protected:
  DriverTest() { setenv("XDG_CONFIG_HOME", folder_.Path("").c_str(), 1); }

  std::filesystem::path ProfileFile() const { return folder_.Path("tkmjpg/profile.ini"); }
  void WriteProfile(const std::string& text) const {
    std::filesystem::create_directories(ProfileFile().parent_path());
    std::ofstream(ProfileFile(), std::ios::binary) << text;
  }
  std::string ProfileText() const {
    const Bytes bytes = ReadBytes(ProfileFile());
    return {bytes.begin(), bytes.end()};
  }

 private:
  TemporaryFolder folder_;
};
