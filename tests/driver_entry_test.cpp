// Dispatch, instance, state, information block, profile, and long use.
#include "driver/driver_entry.h"

#include <malloc.h>

#include "driver/stored_settings.h"
#include "tests/driver_host.h"
#include "tkmjpg_version.h"

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

constexpr bool kWide = sizeof(void*) == 8;
static_assert(sizeof(BITMAPINFOHEADER) == 40 && sizeof(ICINFO) == 568);
static_assert(sizeof(ICOPEN) == (kWide ? 56 : 36) && sizeof(ICCOMPRESS) == (kWide ? 88 : 48));
static_assert(sizeof(ICDECOMPRESS) == (kWide ? 48 : 24) &&
              sizeof(ICDECOMPRESSEX) == (kWide ? 72 : 52) &&
              sizeof(ICSETSTATUSPROC) == (kWide ? 24 : 12));

TEST_F(DriverEntry, FixedAnswers) {
  const struct {
    bool record;
    intptr_t answer;
    std::vector<uint32_t> messages;
  } cases[] = {
      {false, 1, {DRV_LOAD, DRV_ENABLE, DRV_OPEN, DRV_DISABLE, DRV_FREE, DRV_CONFIGURE}},
      {false, 1, {DRV_REMOVE, DRV_INSTALL, DRV_QUERYCONFIGURE}},
      {false, 0, {DRV_CLOSE, 0, 11, ICM_GETINFO, ICM_COMPRESS_END, ICM_ABOUT, 0xFFFFFFFF}},
      {true, ICERR_UNSUPPORTED, {ICM_DRAW_BEGIN, ICM_DRAW_END, ICM_DRAW_QUERY, 0xFFFFFFFF}},
      {true, ICERR_UNSUPPORTED, {ICM_GETDEFAULTKEYFRAMERATE, 0x4000, 0x4046, 0x500C, 0x401D}},
      {true, ICERR_BADFORMAT, {ICM_DECOMPRESS_GET_PALETTE}},
      {true, ICERR_ERROR, {ICM_DRAW}},
      {true, ICERR_BADPARAM, {ICM_GETDEFAULTQUALITY, ICM_GETQUALITY, ICM_SETQUALITY}},
      {true, ICERR_BADPARAM, {ICM_SET_STATUS_PROC}},
      // Without a front end the dialog answers as at Cancel.
      {true, 0, {11, 0x3FFF, 0, ICM_CONFIGURE, ICM_ABOUT}},
  };
  const OpenDriver driver;
  for (const auto& [record, answer, messages] : cases) {
    for (const uint32_t message : messages) {
      EXPECT_EQ(record ? driver.Send(message) : DriverProc(0, nullptr, message, 0, 0), answer);
      EXPECT_EQ(record ? answer : DriverProc(1, nullptr, message, 0, 0), answer) << message;
    }
  }
  EXPECT_EQ(live_blocks, 1);
}

TEST_F(DriverEntry, OpensForVideoAlone) {
  ICOPEN open = {};
  open.fccType = Code("audc");
  open.dwFlags = 77;
  open.dwError = 78;
  EXPECT_EQ(DriverProc(0, nullptr, DRV_OPEN, 0, Param(&open).value), 0);
  EXPECT_EQ(open.dwError, 78);
  open.fccType = ICTYPE_VIDEO;
  memory_refused = true;
  EXPECT_EQ(DriverProc(0, nullptr, DRV_OPEN, 0, Param(&open).value), 0);
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
      {"[OTHER]\nMJPG_CF_Flags=1\n[tkmjpg]\r\n mjpg_cf_flags = 0x2 ; c\r\n", 0x2, 6000, 0xA1},
      {"MJPG_Default_Quality=75\n[TKMJPG]\n;MJPG_Default_Quality=76\n", 0x84100, 6000, 0xA1},
      {"[TKMJPG]\nMJPG_CF_Flags=0xffFFffFF\nMJPG_Default_Quality=12abc", 0xFFFFFFFF, 1200, 0xA3},
      {"[TKMJPG]\nMJPG_CF_Flags=abc\nMJPG_Default_Quality=0X10", 0, 0, 0xA1},
      {"[TKMJPG]\nMJPG_CF_Flags=4294967297\nMJPG_Default_Quality=010", 1, 1000, 0xA1},
      {"[TKMJPG]\nMJPG_CF_Flags=-5\nMJPG_Default_Quality=\n[X]\nMJPG_Default_Quality=9", 0xFFFFFFFB,
       6000, 0xA3},
  };
  for (const auto& c : cases) {
    WriteProfile(c.profile);
    const OpenDriver driver(Code("mjpg"));
    EXPECT_EQ(driver.open().dwFlags, c.vidcf) << c.profile;
    EXPECT_EQ(driver.open().dwError, 0);
    EXPECT_EQ(driver.DefaultQuality(), c.quality) << c.profile;
    EXPECT_EQ(driver.GetState(), (Words{kMjpg, c.quality, c.options, 0})) << c.profile;
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
      << "no temporary file is left";
  fs::permissions(ProfileFile(), fs::perms(0640));
  tkmjpg::WriteStoredSettings({.options = 1, .quality = 200});
  EXPECT_EQ(fs::status(ProfileFile()).permissions(), fs::perms(0640));
  EXPECT_EQ(tkmjpg::ReadStoredSettings().quality, 200U);

  fs::remove_all(folder);
  std::ofstream(folder) << "in the way";
  tkmjpg::WriteStoredSettings({.options = 1, .quality = 1});
  EXPECT_EQ(tkmjpg::ReadStoredSettings().quality, 60U) << "a failed write is no failure";
}

TEST_F(DriverEntry, StateGoesOutAndComesBack) {
  const OpenDriver driver;
  EXPECT_EQ(driver.Send(ICM_GETSTATE, nullptr, 99), 16);
  for (const int size : {0, 1, 15}) {
    const GuardedBuffer shorter(static_cast<size_t>(size));
    EXPECT_EQ(driver.Send(ICM_GETSTATE, shorter.data(), size), size == 0 ? 16 : 0);
    EXPECT_EQ(driver.Send(ICM_SETSTATE, shorter.data(), size), 0);
  }
  const Words words = {kMjpg, 123, 0xFFFFFFFF, 0xDEADBEEF};
  const GuardedBuffer block(16);
  std::memcpy(block.data(), words.data(), 16);
  EXPECT_EQ(driver.Send(ICM_SETSTATE, block.data(), 16), 16);
  EXPECT_EQ(driver.Send(ICM_GETSTATE, block.data(), 16), 16);
  EXPECT_EQ(driver.GetState(), words);
  EXPECT_EQ(driver.DefaultQuality(), 6000u);

  block.data()[3] = 'g';
  EXPECT_EQ(driver.Send(ICM_SETSTATE, block.data(), 16), 0) << "another FOURCC";
  EXPECT_EQ(driver.GetState(), words);
  EXPECT_EQ(driver.Send(ICM_SETSTATE, nullptr, -1), 16);
  EXPECT_EQ(driver.GetState(), (Words{kMjpg, 6000, 0x84100, 0}));
  for (DWORD quality : {0u, 10001u, 0xFFFFFFFFu}) {
    DWORD read = 1;
    EXPECT_EQ(driver.Send(ICM_SETQUALITY, &quality), ICERR_OK);
    EXPECT_EQ(driver.Send(ICM_GETQUALITY, &read), ICERR_OK);
    EXPECT_EQ(read, quality);
    EXPECT_EQ(driver.GetState()[1], quality);
  }
}

TEST_F(DriverEntry, AStateChangesTheStateAlone) {
  for (const uint32_t stored : {0u, 0x1000000u}) {
    WriteProfile("[TKMJPG]\nMJPG_Default_Quality=75\nMJPG_CF_Flags=" + std::to_string(stored));
    const OpenDriver driver;
    const GuardedHeader raw(Header(24, BI_RGB, 64, 48)), coded(Header(24, kMjpg, 64, 48));
    ASSERT_EQ(driver.Send(ICM_COMPRESS_BEGIN, raw), ICERR_OK);
    ASSERT_EQ(driver.Send(ICM_DECOMPRESS_BEGIN, coded, raw), ICERR_OK);
    driver.SetOptions(stored ^ 0x1000000);
    driver.Send(ICM_SETSTATE);
    ICINFO info = {};
    driver.Send(ICM_GETINFO, &info, sizeof info);
    EXPECT_EQ(info.dwFlags, stored != 0 ? 0xA3u : 0xA1u);
    EXPECT_EQ(driver.DefaultQuality(), 7500u);
    EXPECT_EQ(driver.Send(ICM_COMPRESS_END), ICERR_OK);
    EXPECT_EQ(driver.Send(ICM_DECOMPRESS_END), ICERR_OK);
  }
}

TEST_F(DriverEntry, InformationBlock) {
  ICINFO expected = {568, ICTYPE_VIDEO, kMjpg, 0, 0x34218, 0x104, {}, {}, {}};
  const std::string name = "Motion-JPEG ", description = "MJPG_Tarnwick Video V" TKMJPG_VERSION,
                    file = "tkmjpg32.dll";
  std::copy(name.begin(), name.end(), expected.szName);
  std::copy(description.begin(), description.end(), expected.szDescription);
  std::copy(file.begin(), file.end(), expected.szDriver);
  for (const uint32_t flags : {0xA1u, 0xA3u}) {
    WriteProfile(flags == 0xA1 ? "" : "[TKMJPG]\nMJPG_CF_Flags=0x1000000\n");
    expected.dwFlags = flags;
    const OpenDriver driver(Code("mjpg"));
    const GuardedBuffer info(std::vector<uint8_t>(568, 0xCC));
    EXPECT_EQ(driver.Send(ICM_GETINFO, info.data(), 567), 0);
    EXPECT_EQ(info.Bytes(), std::vector<uint8_t>(568, 0xCC));
    EXPECT_EQ(driver.Send(ICM_GETINFO, info.data(), 568), 568);
    EXPECT_EQ(std::memcmp(info.data(), &expected, 568), 0);
    EXPECT_EQ(driver.Send(ICM_GETINFO), 568);
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

// A message with anything that it may bring, right or wrong, but never an address that is none.
void SendAny(const OpenDriver& driver, std::minstd_rand& random, Frame& frame) {
  static BITMAPINFOHEADER formats[] = {
      Header(24, BI_RGB, 64, 48),       Header(24, BI_RGB, 64, -48, 1),
      Header(16, Code("YUY2"), 64, 48), Header(24, kMjpg, 64, 48, 9216),
      Header(24, Code("mjpg"), 64, 48), Header(32, BI_RGB, INT_MIN, INT_MIN)};
  static uint8_t block[568] = {};
  const auto any = [&] { return random() % 7 != 0 ? &formats[random() % 6] : nullptr; };
  const auto word = [&] { return static_cast<uint32_t>(random()); };
  const ICSETSTATUSPROC status = {};
  frame.compress.lpbiInput = any(), frame.compress.lpbiOutput = &formats[3];
  frame.compress.dwQuality = word(), frame.compress.dwFrameSize = word();
  frame.plain = {0, any(), frame.to.data(), any(), frame.from.data(), 0};
  frame.extended.lpbiSrc = any(), frame.extended.lpbiDst = any();
  frame.extended.dwFlags = word() % 16 == 0 ? ICDECOMPRESS_HURRYUP : 0;
  uint32_t message = 0x4000 + word() % 0x50;
  if (message == 0x4000) driver.SetOptions(word() & 0x7FFFFFF);
  if (message < 0x4003) message += 0x1000;  // the state, and what the codec says of itself
  Param first = any(), second = any();
  if (message == ICM_COMPRESS) first = &frame.compress;
  if (message == ICM_DECOMPRESS) first = &frame.plain;
  if (message >= ICM_DECOMPRESSEX_BEGIN && message <= ICM_DECOMPRESSEX) first = &frame.extended;
  if (message == ICM_SET_STATUS_PROC) first = &status;
  if (message == ICM_COMPRESS_GET_FORMAT || message == ICM_DECOMPRESS_GET_FORMAT) second = block;
  if (message >= ICM_GETSTATE) first = block, second = word() % 2 * 568;
  driver.Send(message, first, second);
}

// Other code of the process may keep a block now and then; one record an open would be 100 kB.
constexpr size_t kHeapNoise = 4096;

size_t MemoryInUse() { return mallinfo2().uordblks; }

TEST_F(DriverEntry, LongUseKeepsNoMemory) {
  size_t in_use = 0;
  for (int i = 0; i < 1000; ++i) {
    if (i == 10) in_use = MemoryInUse();
    const OpenDriver driver;
    const GuardedHeader input(Header(24, BI_RGB, 64, 48));
    ASSERT_EQ(driver.Send(ICM_COMPRESS_BEGIN, input), ICERR_OK);  // END never comes
  }
  EXPECT_LE(MemoryInUse(), in_use + kHeapNoise);
  EXPECT_EQ(live_blocks, 0);

  std::minstd_rand random(5);
  Frame frame = {GuardedHeader({}), GuardedHeader({}), GuardedBuffer(Picture(64 * 48 * 4)),
                 GuardedBuffer(64 * 48 * 4)};
  const OpenDriver one, two;
  for (int i = 0; i < 100000; ++i) {
    if (i == 1000) in_use = MemoryInUse();
    SendAny(i % 3 == 0 ? two : one, random, frame);
  }
  EXPECT_LE(MemoryInUse(), in_use + kHeapNoise);
  EXPECT_EQ(live_blocks, 2);
}

}  // namespace
