// One open of the driver, the state that a host can store, and what the driver says of itself.
#pragma once

#include <cstdint>

#include "frame/layout.h"
#include "platform/host_messages.h"
#include "tkmjpg_version.h"

namespace tkmjpg {

inline constexpr char kCodecName[] = "Motion-JPEG ";  // the blank is part of it
inline constexpr char kCodecDescription[] = "Tarnwick Video V" TKMJPG_VERSION;
inline constexpr char kDriverFile[] = "tkmjpg32.dll";

using DriverProcedure = decltype(&DriverProc);

// All that the first level of dispatch knows of an instance.
struct DriverRecord {
  uint32_t fcc_type;
  DriverProcedure codec_proc;
};

// A host stores this block: four little-endian words.
struct CodecState {
  uint32_t fcc_handler;
  uint32_t quality;  // 0 to 10000. Frames use the quality that comes with them
  uint32_t options;
  uint32_t state_reserved;
};
static_assert(sizeof(CodecState) == 16);

struct CodecInstance : DriverRecord {
  uint32_t vidcf_flags;
  CodecState state;
  bool compress_active;    // a series is open
  bool decompress_active;  // a series is open, of either family
  decltype(ICSETSTATUSPROC::Status) status_proc;
  LPARAM status_lparam;
  uint32_t default_quality;  // 0 to 10000
  CodecCarryState carry;
};

// Null, with dwError saying why, when there is no memory; null with `open` untouched when it asks
// for another type than video.
CodecInstance* OpenCodecInstance(ICOPEN& open);
void CloseCodecInstance(CodecInstance& instance);

// Each returns the size of its block if `block` is null, 0 if `size` is too small, else the bytes
// copied. SetCodecState takes null as the default state and refuses blocks of another FOURCC.
uint32_t GetCodecState(const CodecInstance& instance, void* block, uint32_t size);
uint32_t SetCodecState(CodecInstance& instance, const void* block, uint32_t size);
uint32_t GetCodecInfo(const CodecInstance& instance, ICINFO* info, uint32_t size);

}  // namespace tkmjpg
