// Dispatch, instance, state, information block, profile, and long use.
#include "driver/driver_entry.h"

#include <gtest/gtest.h>
#include <malloc.h>
#include <sys/stat.h>

#include <random>
#include <vector>

#include "driver/stored_settings.h"
#include "tests/driver_host.h"

namespace {

int live_blocks = 0;
bool memory_refused = false;

}  // namespace

// In place of the library's own: counted, and refused on demand.
namespace tkmjpg {

void* AllocateZeroed(size_t size) {
  if (memory_refused) return nullptr;
  ++live_blocks;
  return std::calloc(1, size);
}

void FreeMemory(void* memory) {
  --live_blocks;
  std::free(memory);
}

}  // namespace tkmjpg

namespace {

class DriverEntry : public DriverTest {};

TEST(PublishedStructures, HaveTheirPublishedSizes) {
  const bool wide = sizeof(void*) == 8;
  EXPECT_EQ(sizeof(BITMAPINFOHEADER), 40u);
  EXPECT_EQ(sizeof(ICINFO), 568u);
  EXPECT_EQ(sizeof(ICOPEN), wide ? 56u : 36u);
  EXPECT_EQ(sizeof(ICCOMPRESS), wide ? 88u : 48u);
  EXPECT_EQ(sizeof(ICDECOMPRESS), wide ? 48u : 24u);
  EXPECT_EQ(sizeof(ICDECOMPRESSEX), wide ? 72u : 52u);
  EXPECT_EQ(sizeof(ICSETSTATUSPROC), wide ? 24u : 12u);
}

struct FixedAnswer {
  intptr_t answer;
  std::vector<uint32_t> messages;
};

TEST_F(DriverEntry, AnswersWithoutARecord) {
  const FixedAnswer cases[] = {
      {1,
       {DRV_LOAD, DRV_ENABLE, DRV_OPEN, DRV_DISABLE, DRV_FREE, DRV_CONFIGURE, DRV_REMOVE,
        DRV_INSTALL, DRV_QUERYCONFIGURE}},
      {0, {DRV_CLOSE, 0, 11, ICM_GETINFO, ICM_COMPRESS_END, ICM_ABOUT, 0xFFFFFFFF}}};
  for (const FixedAnswer& c : cases) {
    for (const uint32_t message : c.messages) {
      EXPECT_EQ(DriverProc(0, nullptr, message, 0, 0), c.answer) << message;
      EXPECT_EQ(DriverProc(1, nullptr, message, 0, 0), c.answer) << message;
    }
  }
  EXPECT_EQ(live_blocks, 0);
}

TEST_F(DriverEntry, AnswersOfARecordThatAreFixed) {
  const OpenDriver driver;
  const FixedAnswer cases[] = {
      {-1,
       {ICM_DRAW_BEGIN, ICM_DRAW_END, ICM_DRAW_QUERY, ICM_GETDEFAULTKEYFRAMERATE, 0x4000, 0x4046,
        0x500C, 0x401D, 0xFFFFFFFF}},
      {-2, {ICM_DECOMPRESS_GET_PALETTE}},
      {-100, {ICM_DRAW}},
      {0, {11, 0x3FFF, 0}},
      {ICERR_BADPARAM,
       {ICM_GETDEFAULTQUALITY, ICM_GETQUALITY, ICM_SETQUALITY, ICM_SET_STATUS_PROC}}};
  for (const FixedAnswer& c : cases) {
    for (const uint32_t message : c.messages) {
      EXPECT_EQ(driver.Send(message), c.answer) << message;
    }
  }
  EXPECT_EQ(driver.Send(ICM_CONFIGURE, intptr_t{-1}, intptr_t{1}), ICERR_OK);
  EXPECT_EQ(driver.Send(ICM_ABOUT, intptr_t{-1}, intptr_t{1}), ICERR_OK);
  EXPECT_EQ(driver.Send(ICM_CONFIGURE), 0) << "no front end: as Cancel";
  EXPECT_EQ(driver.Send(ICM_ABOUT), ICERR_OK);
}

TEST_F(DriverEntry, OpensForVideoAlone) {
  ICOPEN open = {};
  open.fccType = Code("audc");
  open.dwFlags = 77;
  open.dwError = 78;
  EXPECT_EQ(DriverProc(0, nullptr, DRV_OPEN, 0, Param(&open)), 0);
  EXPECT_EQ(open.dwFlags, 77u);
  EXPECT_EQ(open.dwError, 78);
  open.fccType = ICTYPE_VIDEO;
  memory_refused = true;
  EXPECT_EQ(DriverProc(0, nullptr, DRV_OPEN, 0, Param(&open)), 0);
  memory_refused = false;
  EXPECT_EQ(open.dwFlags, 77u);
  EXPECT_EQ(open.dwError, ICERR_MEMORY);
  EXPECT_EQ(live_blocks, 0);
}

TEST_F(DriverEntry, StartsFromTheProfile) {
  const struct {
    const char* profile;
    uint32_t options, quality, vidcf;
  } cases[] = {
      {"", 0x84100, 6000, 0xA1},
      {"[TKMJPG]\nMJPG_CF_Flags=0x01000001\nMJPG_Default_Quality=75\n", 0x1000001, 7500, 0xA3},
      {"[OTHER]\nMJPG_CF_Flags=1\n[tkmjpg]\r\n mjpg_cf_flags = 0x84100 ; c\r\n", 0x84100, 6000,
       0xA1},
      {"MJPG_Default_Quality=75\n[TKMJPG]\n;MJPG_Default_Quality=76\n", 0x84100, 6000, 0xA1},
      {"[TKMJPG]\nMJPG_CF_Flags=540928", 540928, 6000, 0xA1},
      {"[TKMJPG]\nMJPG_CF_Flags=0xffFFffFF\nMJPG_Default_Quality=12abc", 0xFFFFFFFF, 1200, 0xA3},
      {"[TKMJPG]\nMJPG_CF_Flags=abc\nMJPG_Default_Quality=0X10", 0, 0, 0xA1},
      {"[TKMJPG]\nMJPG_CF_Flags=4294967297\nMJPG_Default_Quality=010", 1, 1000, 0xA1},
      {"[TKMJPG]\nMJPG_CF_Flags=-5\nMJPG_Default_Quality=", 0xFFFFFFFB, 6000, 0xA3},
      {"[TKMJPG]\nMJPG_CF_Flags=0xZZ\n[X]\nMJPG_Default_Quality=9", 0, 6000, 0xA1},
  };
  for (const auto& c : cases) {
    WriteProfile(c.profile);
    const OpenDriver driver(Code("mjpg"));
    EXPECT_EQ(driver.open().dwFlags, c.vidcf) << c.profile;
    EXPECT_EQ(driver.open().dwError, 0);
    EXPECT_EQ(driver.DefaultQuality(), c.quality) << c.profile;
    const auto state = driver.GetState();
    EXPECT_EQ(state.handler, Code("MJPG"));
    EXPECT_EQ(state.quality, c.quality) << c.profile;
    EXPECT_EQ(state.options, c.options) << c.profile;
    EXPECT_EQ(state.reserved, 0u);
  }
}

TEST_F(DriverEntry, StoredSettingsLeaveTheRestOfTheProfileAsItWas) {
  const struct {
    const char *before, *after;
  } cases[] = {
      {"", "[TKMJPG]\nMJPG_CF_Flags=0x00084100\nMJPG_Default_Quality=5\n"},
      {"; mine\n[A]\nx=1",
       "; mine\n[A]\nx=1\n[TKMJPG]\nMJPG_CF_Flags=0x00084100\nMJPG_Default_Quality=5\n"},
      {"[TKMJPG]\r\nother=1\r\nmjpg_cf_flags=7\r\n\r\n# note\r\n\n[B]\nMJPG_CF_Flags=9\n",
       "[TKMJPG]\r\nother=1\r\nMJPG_CF_Flags=0x00084100\n\r\n# note\r\n"
       "MJPG_Default_Quality=5\n\n[B]\nMJPG_CF_Flags=9\n"},
  };
  for (const auto& c : cases) {
    WriteProfile(c.before);
    tkmjpg::WriteStoredSettings({.options = 0x84100, .quality = 5});
    EXPECT_EQ(ProfileText(), c.after);
  }
  namespace fs = std::filesystem;
  const auto folder = ProfileFile().parent_path();
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), fs::directory_iterator()), 1)
      << "no temporary file stays behind";
  fs::permissions(ProfileFile(), fs::perms(0640));
  tkmjpg::WriteStoredSettings({.options = 1, .quality = 200});
  EXPECT_EQ(fs::status(ProfileFile()).permissions(), fs::perms(0640));
  EXPECT_EQ(tkmjpg::StoredDefaultQuality(), 100);

  fs::remove_all(folder);
  std::ofstream(folder) << "in the way";
  tkmjpg::WriteStoredSettings({.options = 1, .quality = 1});
  EXPECT_EQ(tkmjpg::StoredDefaultQuality(), 60) << "a failed write is no failure";
}

TEST_F(DriverEntry, StateGoesOutAndComesBack) {
  const OpenDriver driver;
  const GuardedBuffer block(16);
  const auto get = [&](void* to, intptr_t size) { return driver.Send(ICM_GETSTATE, to, size); };
  const auto set = [&](const void* to, intptr_t size) {
    return driver.Send(ICM_SETSTATE, to, size);
  };
  EXPECT_EQ(get(nullptr, 0), 16);
  EXPECT_EQ(get(nullptr, 99), 16);
  for (const int size : {0, 1, 15}) {
    const GuardedBuffer shorter(static_cast<size_t>(size));
    EXPECT_EQ(get(shorter.data(), size), size == 0 ? 16 : 0);
    EXPECT_EQ(set(shorter.data(), size), 0);
  }
  const uint32_t words[4] = {Code("MJPG"), 123, 0xFFFFFFFF, 0xDEADBEEF};
  std::memcpy(block.data(), words, 16);
  EXPECT_EQ(set(block.data(), 16), 16);
  std::memset(block.data(), 0, 16);
  EXPECT_EQ(get(block.data(), 16), 16);
  EXPECT_EQ(std::memcmp(block.data(), words, 16), 0);
  EXPECT_EQ(driver.DefaultQuality(), 6000u);

  block.data()[3] = 'g';
  EXPECT_EQ(set(block.data(), 16), 0) << "another FOURCC";
  EXPECT_EQ(driver.GetState().quality, 123u);
  for (const intptr_t size : {0, 16, -1}) {
    EXPECT_EQ(set(nullptr, size), 16);
    const auto state = driver.GetState();
    EXPECT_EQ(state.handler, Code("MJPG"));
    EXPECT_EQ(state.quality, 6000u);
    EXPECT_EQ(state.options, 0x84100u);
    EXPECT_EQ(state.reserved, 0u);
  }
  for (DWORD quality : {0u, 5u, 10001u, 0xFFFFFFFFu}) {
    DWORD read = 1;
    EXPECT_EQ(driver.Send(ICM_SETQUALITY, &quality), ICERR_OK);
    EXPECT_EQ(driver.Send(ICM_GETQUALITY, &read), ICERR_OK);
    EXPECT_EQ(read, quality);
  }
}

TEST_F(DriverEntry, InformationBlock) {
  const auto put = [](uint8_t* at, const char* text) {
    for (; *text != '\0'; at += 2) at[0] = static_cast<uint8_t>(*text++);
  };
  for (const uint32_t options : {0u, 0x1000000u}) {
    WriteProfile("[TKMJPG]\nMJPG_CF_Flags=" + std::to_string(options) + "\n");
    const OpenDriver driver(Code("mjpg"));
    const uint32_t words[6] = {568,     ICTYPE_VIDEO, Code("MJPG"), options != 0 ? 0xA3u : 0xA1u,
                               0x34218, 0x104};
    std::vector<uint8_t> expected(568);
    std::memcpy(expected.data(), words, sizeof words);
    put(&expected[24], "Motion-JPEG ");
    put(&expected[56], "MJPG_Tarnwick Video V3.2.16408");
    put(&expected[312], "tkmjpg32.dll");
    const GuardedBuffer info(std::vector<uint8_t>(568, 0xCC));
    EXPECT_EQ(driver.Send(ICM_GETINFO, info.data(), intptr_t{567}), 0);
    EXPECT_EQ(info.Bytes(), std::vector<uint8_t>(568, 0xCC));
    EXPECT_EQ(driver.Send(ICM_GETINFO, info.data(), intptr_t{568}), 568);
    EXPECT_EQ(info.Bytes(), expected);
    EXPECT_EQ(driver.Send(ICM_GETINFO, intptr_t{0}, intptr_t{0}), 568);
  }
}

TEST_F(DriverEntry, ProcessAttachKeepsTheFirstHandle) {
  int first = 0, second = 0;
  EXPECT_EQ(tkmjpg::AttachProcess(&first, 2, nullptr), 1);
  EXPECT_EQ(tkmjpg::ModuleHandle(), nullptr);
  EXPECT_EQ(tkmjpg::AttachProcess(&first, 1, nullptr), 1);
  EXPECT_EQ(tkmjpg::AttachProcess(&second, 1, nullptr), 1);
  EXPECT_EQ(tkmjpg::ModuleHandle(), &first);
}

// Everything that a message may bring, right or wrong, but never an address that is none.
struct Luggage {
  BITMAPINFOHEADER formats[6] = {
      Header(24, BI_RGB, 64, 48),       Header(24, BI_RGB, 64, -48, 1),
      Header(16, Code("YUY2"), 64, 48), Header(24, Code("MJPG"), 64, 48, 9216),
      Header(24, Code("mjpg"), 64, 48), Header(32, BI_RGB, INT32_MIN, INT32_MIN)};
  std::vector<uint8_t> pixels = std::vector<uint8_t>(64 * 48 * 4, 90);
  std::vector<uint8_t> stream = std::vector<uint8_t>(64 * 48 * 3);
  uint8_t block[568] = {};
};

void SendAny(const OpenDriver& driver, std::minstd_rand& random, Luggage& luggage) {
  const auto any = [&]() -> BITMAPINFOHEADER* {
    const auto pick = random() % 7;
    return pick < 6 ? &luggage.formats[pick] : nullptr;
  };
  uint8_t *const pixels = luggage.pixels.data(), *const stream = luggage.stream.data();
  ICCOMPRESS compress = {};
  compress.lpbiInput = any(), compress.lpInput = pixels;
  compress.lpbiOutput = &luggage.formats[3], compress.lpOutput = stream;
  compress.dwQuality = static_cast<DWORD>(random());
  compress.dwFrameSize = static_cast<DWORD>(random());
  ICDECOMPRESS plain = {0, any(), stream, any(), pixels, 0};
  ICDECOMPRESSEX extended = {0, any(), stream, any(), pixels, 0, 0, -1, -1, 0, 0, -1, -1};
  if (random() % 16 == 0) extended.dwFlags = ICDECOMPRESS_HURRYUP;
  ICSETSTATUSPROC status = {};
  const auto size = static_cast<intptr_t>(random() % 2 * 568);
  const auto message = static_cast<uint32_t>(0x4000 + random() % 0x50);
  const bool is_extended = message == ICM_DECOMPRESSEX || message == ICM_DECOMPRESSEX_BEGIN ||
                           message == ICM_DECOMPRESSEX_QUERY;
  const bool gets = message == ICM_COMPRESS_GET_FORMAT || message == ICM_DECOMPRESS_GET_FORMAT;
  if (message == 0x4000) {
    driver.Send(ICM_GETSTATE + static_cast<uint32_t>(random() % 3), luggage.block, size);
  } else if (message == 0x4001) {
    driver.SetOptions(static_cast<uint32_t>(random()) & 0x7FFFFFF);
  } else if (gets) {
    driver.Send(message, any(), luggage.block);
  } else {
    driver.Send(message,
                message == ICM_COMPRESS          ? Param(&compress)
                : message == ICM_DECOMPRESS      ? Param(&plain)
                : is_extended                    ? Param(&extended)
                : message == ICM_SET_STATUS_PROC ? Param(&status)
                                                 : Param(any()),
                Param(any()));
  }
}

// Other code of the process may keep a block now and then; one record an open would be 100 kB.
constexpr size_t kHeapNoise = 4096;

size_t MemoryInUse() { return mallinfo2().uordblks; }

TEST_F(DriverEntry, AHundredThousandMixedMessagesOnTwoInstancesLeaveNoMemoryBehind) {
  std::minstd_rand random(1);
  Luggage luggage;
  const OpenDriver one, two;
  size_t in_use = 0;
  for (int i = 0; i < 100000; ++i) {
    if (i == 1000) in_use = MemoryInUse();
    SendAny(i % 3 == 0 ? two : one, random, luggage);
  }
  EXPECT_LE(MemoryInUse(), in_use + kHeapNoise);
  EXPECT_EQ(live_blocks, 2);
}

TEST_F(DriverEntry, AThousandOpensAndClosesLeaveNoMemoryBehind) {
  WriteProfile("[TKMJPG]\nMJPG_Default_Quality=75\n");
  size_t in_use = 0;
  for (int i = 0; i < 1000; ++i) {
    if (i == 10) in_use = MemoryInUse();
    const OpenDriver driver;
    BITMAPINFOHEADER input = Header(24, BI_RGB, 64, 48);
    ASSERT_EQ(driver.Send(ICM_COMPRESS_BEGIN, &input), ICERR_OK);  // END never comes
  }
  EXPECT_LE(MemoryInUse(), in_use + kHeapNoise);
  EXPECT_EQ(live_blocks, 0);
}

}  // namespace
