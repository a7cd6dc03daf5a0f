// Many messages and many loads: neither memory nor handles may grow.
#include "host.h"

namespace {

struct Usage {
  size_t blocks, bytes;  // of the heap
  size_t committed;
  uintptr_t next_handle;
};

// The counters of the system's process information are 0 under wine. So all regions are added up,
// and the next free handle shows how many are taken: the lowest is given out first.
Usage Measure() {
  Usage usage = {};
  const HANDLE heap = GetProcessHeap();
  HeapLock(heap);
  for (PROCESS_HEAP_ENTRY entry = {}; HeapWalk(heap, &entry);) {
    if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) == 0) continue;
    ++usage.blocks;
    usage.bytes += entry.cbData;
  }
  HeapUnlock(heap);
  const uint8_t* address = nullptr;
  for (MEMORY_BASIC_INFORMATION region = {};
       VirtualQuery(address, &region, sizeof region) == sizeof region;
       address = static_cast<const uint8_t*>(region.BaseAddress) + region.RegionSize) {
    const bool counts = region.State == MEM_COMMIT && region.Type == MEM_PRIVATE;
    if (counts) usage.committed += region.RegionSize;
  }
  const HANDLE probe = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  usage.next_handle = reinterpret_cast<uintptr_t>(probe);
  CloseHandle(probe);
  return usage;
}

// The heap may keep a few blocks of its own more; a leak of one block a load would be 500.
void ExpectNoGrowth(const Usage& before, const char* what) {
  const Usage after = Measure();
  std::printf("%s: heap %zu -> %zu bytes in %zu -> %zu blocks, committed %zu -> %zu kB\n", what,
              before.bytes, after.bytes, before.blocks, after.blocks, before.committed >> 10,
              after.committed >> 10);
  Check(before.blocks > 0 && after.blocks <= before.blocks + 4, "heap blocks", what);
  Check(after.bytes <= before.bytes + 4096, "heap bytes", what);
  Check(after.committed <= before.committed + (128 << 10), "committed memory", what);
  Check(before.next_handle != 0 && after.next_handle <= before.next_handle, "handles", what);
}

// Ten kinds of messages, in an order that makes no sense to a careful host.
void SendMixed(HIC codec, unsigned begin, unsigned end) {
  static BITMAPINFOHEADER raw = Header(24, BI_RGB, 64, 48);
  static std::vector<uint8_t> pixels = Picture(raw, 0), stream(64 * 48 * 3), decoded(64 * 48 * 4);
  static CompressedFormat coded = {};
  if (begin == 0) ICCompressGetFormat(codec, &raw, &coded);
  for (unsigned number = begin; number < end; ++number) {
    BITMAPINFOHEADER output = Header(number % 3 == 0 ? 24 : 32, BI_RGB, 64, 48);
    uint32_t state[4] = {};
    ICINFO info = {};
    DWORD chunk = 0, flags = 0;
    const unsigned kind = number * 7 % 10;
    if (kind == 0) ICCompressBegin(codec, &raw, &coded);
    if (kind == 1) {
      pixels[number % pixels.size()] = static_cast<uint8_t>(number);
      const DWORD answer =
          ICCompress(codec, 0, &coded.header, stream.data(), &raw, pixels.data(), &chunk, &flags,
                     static_cast<LONG>(number), 0, number % 10001, nullptr, nullptr);
      if (answer != ICERR_OK || coded.header.biSizeImage == 0) Check(false, "a frame of the soak");
    }
    if (kind == 2) ICDecompress(codec, 0, &coded.header, stream.data(), &output, decoded.data());
    if (kind == 3) ICDecompressBegin(codec, &coded, &output);
    if (kind == 4) ICDecompressEnd(codec);
    if (kind == 5) ICCompressEnd(codec);
    if (kind == 6) ICGetState(codec, state, sizeof state);
    if (kind == 7) ICSetState(codec, nullptr, 0);
    if (kind == 8) ICGetInfo(codec, &info, sizeof info);
    if (kind == 9) ICSendMessage(codec, ICM_USER + number % 256, 0, 0);
  }
}

// As a host does that lists codecs: the library is loaded for each open, and leaves after it.
void OpenAndClose(int round, const char* path) {
  const HMODULE library = round % 2 == 0 ? nullptr : LoadLibraryA(path);
  const HIC codec = library == nullptr ? ICOpen(ICTYPE_VIDEO, kMjpg, ICMODE_DECOMPRESS)
                                       : ICOpenFunction(ICTYPE_VIDEO, kMjpg, ICMODE_COMPRESS,
                                                        GetProcAddress(library, "DriverProc"));
  if (codec == nullptr || ICClose(codec) != ICERR_OK) Check(false, "open and close");
  if (library != nullptr) FreeLibrary(library);
  if (GetModuleHandleA("tkmjpg32.dll") != nullptr) Check(false, "the library is unloaded");
}

}  // namespace

void TestSoak(const char* path) {
  const HIC codec = ICOpen(ICTYPE_VIDEO, kMjpg, ICMODE_COMPRESS);
  if (!Check(codec != nullptr, "ICOpen")) return;
  SendMixed(codec, 0, 2000);
  Usage before = Measure();
  SendMixed(codec, 2000, 102000);
  ExpectNoGrowth(before, "100,000 messages");
  ICClose(codec);

  for (int round = 0; round < 550; ++round) {
    if (round == 50) before = Measure();
    OpenAndClose(round, path);
  }
  ExpectNoGrowth(before, "500 loads and unloads");
}
