// A host for the driver's tests: it opens the driver, sends messages, and keeps a profile of its
// own in a temporary folder.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "tests/guarded_buffer.h"
#include "tkmjpg.h"
#include "tkmjpg_messages.h"

constexpr uint32_t Code(const char (&name)[5]) {
  return static_cast<uint32_t>(name[0] | name[1] << 8 | name[2] << 16 | name[3] << 24);
}

template <typename T>
intptr_t Param(T* pointer) {
  return reinterpret_cast<intptr_t>(pointer);
}

// A header of exactly 40 bytes, or 52 with masks, in front of a page that faults.
class GuardedHeader {
 public:
  explicit GuardedHeader(const BITMAPINFOHEADER& header, const uint32_t* masks = nullptr)
      : memory_(sizeof header + (masks != nullptr ? 12 : 0)) {
    std::memcpy(memory_.data(), &header, sizeof header);
    if (masks != nullptr) std::memcpy(memory_.data() + sizeof header, masks, 12);
  }
  BITMAPINFOHEADER* operator->() const { return get(); }
  BITMAPINFOHEADER& operator*() const { return *get(); }
  BITMAPINFOHEADER* get() const { return reinterpret_cast<BITMAPINFOHEADER*>(memory_.data()); }

 private:
  GuardedBuffer memory_;
};

inline BITMAPINFOHEADER Header(int bits, uint32_t compression, LONG width, LONG height,
                               DWORD size_image = 0) {
  BITMAPINFOHEADER header = {};
  header.biSize = sizeof header;
  header.biWidth = width;
  header.biHeight = height;
  header.biPlanes = 1;
  header.biBitCount = static_cast<WORD>(bits);
  header.biCompression = compression;
  header.biSizeImage = size_image;
  return header;
}

class OpenDriver {
 public:
  explicit OpenDriver(uint32_t handler = Code("MJPG")) {
    open_.dwSize = sizeof open_;
    open_.fccType = ICTYPE_VIDEO;
    open_.fccHandler = handler;
    id_ = static_cast<uintptr_t>(DriverProc(0, nullptr, DRV_OPEN, 0, Param(&open_)));
  }
  OpenDriver(const OpenDriver&) = delete;
  OpenDriver& operator=(const OpenDriver&) = delete;
  ~OpenDriver() {
    if (id_ != 0) DriverProc(id_, nullptr, DRV_CLOSE, 0, 0);
  }

  uintptr_t id() const { return id_; }
  const ICOPEN& open() const { return open_; }

  intptr_t Send(uint32_t message, intptr_t param1 = 0, intptr_t param2 = 0) const {
    return DriverProc(id_, nullptr, message, param1, param2);
  }
  template <typename T>
  intptr_t Send(uint32_t message, T* param1, intptr_t param2 = 0) const {
    return Send(message, Param(param1), param2);
  }
  template <typename T, typename U>
  intptr_t Send(uint32_t message, T* param1, U* param2) const {
    return Send(message, Param(param1), Param(param2));
  }

  // The four words of the state.
  struct State {
    uint32_t handler, quality, options, reserved;
  };
  State GetState() const {
    State state = {};
    Send(ICM_GETSTATE, &state, intptr_t{16});
    return state;
  }
  void SetOptions(uint32_t options) const {
    State state = {Code("MJPG"), 6000, options, 0};
    ASSERT_EQ(Send(ICM_SETSTATE, &state, intptr_t{16}), 16);
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
  DriverTest() {
    char folder[] = "/tmp/tkmjpg-profile-XXXXXX";
    folder_ = mkdtemp(folder);
    setenv("XDG_CONFIG_HOME", folder, 1);
  }
  ~DriverTest() override { std::filesystem::remove_all(folder_); }

  std::filesystem::path ProfileFile() const { return folder_ / "tkmjpg" / "profile.ini"; }
  void WriteProfile(const std::string& text) const {
    std::filesystem::create_directories(ProfileFile().parent_path());
    std::ofstream(ProfileFile(), std::ios::binary) << text;
  }
  std::string ProfileText() const {
    std::ifstream file(ProfileFile(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::filesystem::path folder_;
};
