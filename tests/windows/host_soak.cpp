// Many messages and many opens: neither memory nor handles may grow.
#include "host.h"

namespace {

struct Usage {
  size_t heap_blocks;
  size_t heap_bytes;
  size_t committed_bytes;
  uintptr_t next_handle;
};

void MeasureHeap(Usage& usage) {
  PROCESS_HEAP_ENTRY entry = {};
  const HANDLE heap = GetProcessHeap();
  HeapLock(heap);
  while (HeapWalk(heap, &entry)) {
    if ((entry.wFlags & PROCESS_HEAP_ENTRY_BUSY) == 0) continue;
    ++usage.heap_blocks;
    usage.heap_bytes += entry.cbData;
  }
  HeapUnlock(heap);
}

// The counters of the system's process information are 0 under wine. So all regions are added up,
// and the next free handle shows how many are taken: the lowest is given out first.
Usage Measure() {
  Usage usage = {};
  MeasureHeap(usage);
  const uint8_t* address = nullptr;
  for (MEMORY_BASIC_INFORMATION region = {};
       VirtualQuery(address, &region, sizeof region) == sizeof region;
       address = static_cast<const uint8_t*>(region.BaseAddress) + region.RegionSize) {
    if (region.State == MEM_COMMIT && region.Type == MEM_PRIVATE) {
      usage.committed_bytes += region.RegionSize;
    }
  }
  const HANDLE probe = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  usage.next_handle = reinterpret_cast<uintptr_t>(probe);
  CloseHandle(probe);
  return usage;
}

// The heap may keep a few blocks of its own more; a leak of one block an open would be a thousand.
void ExpectNoGrowth(const Usage& before, const Usage& after, const char* what) {
  std::printf("%s: heap %zu -> %zu bytes in %zu -> %zu blocks, committed %zu -> %zu kB\n", what,
              before.heap_bytes, after.heap_bytes, before.heap_blocks, after.heap_blocks,
              before.committed_bytes >> 10, after.committed_bytes >> 10);
  Check(before.heap_blocks > 0 && after.heap_blocks <= before.heap_blocks + 4, "heap blocks", what);
  Check(after.heap_bytes <= before.heap_bytes + 4096, "heap bytes", what);
  Check(after.committed_bytes <= before.committed_bytes + (128 << 10), "committed memory", what);
  Check(before.next_handle != 0 && after.next_handle <= before.next_handle, "handles", what);
}

class Mixed {
 public:
  explicit Mixed(HIC codec) : codec_(codec) {
    ICCompressGetFormat(codec_, &raw_, &coded_);
    stream_.resize(ICCompressGetSize(codec_, &raw_, &coded_));
  }

  // One of ten kinds, in an order that makes no sense to a careful host.
  void Send(unsigned number) {
    BITMAPINFOHEADER output = Header(number % 3 == 0 ? 24 : 32, BI_RGB, kWidth, kHeight);
    uint32_t state[4] = {};
    ICINFO info = {};
    switch (number * 7 % 10) {
      case 0:
        ICCompressBegin(codec_, &raw_, &coded_);
        break;
      case 1:
        Compress(number);
        break;
      case 2:
        Decompress(output);
        break;
      case 3:
        ICDecompressBegin(codec_, &coded_, &output);
        break;
      case 4:
        ICDecompressEnd(codec_);
        break;
      case 5:
        ICCompressEnd(codec_);
        break;
      case 6:
        ICGetState(codec_, state, 16);
        break;
      case 7:
        ICSetState(codec_, nullptr, 0);
        break;
      case 8:
        ICGetInfo(codec_, &info, sizeof info);
        break;
      default:
        ICSendMessage(codec_, ICM_USER + number % 256, 0, 0);
        break;
    }
  }

 private:
  static constexpr int kWidth = 64;
  static constexpr int kHeight = 48;

  void Compress(unsigned number) {
    DWORD chunk = 0;
    DWORD flags = 0;
    pixels_[number % pixels_.size()] = static_cast<uint8_t>(number);
    const DWORD answer =
        ICCompress(codec_, 0, &coded_.header, stream_.data(), &raw_, pixels_.data(), &chunk, &flags,
                   static_cast<LONG>(number), 0, number % 10001, nullptr, nullptr);
    if (answer != ICERR_OK || coded_.header.biSizeImage == 0) Check(false, "a frame of the soak");
  }
  void Decompress(BITMAPINFOHEADER& output) {
    decoded_.resize(static_cast<size_t>(kWidth * kHeight * 4));
    ICDecompress(codec_, 0, &coded_.header, stream_.data(), &output, decoded_.data());
  }

  HIC codec_;
  BITMAPINFOHEADER raw_ = Header(24, BI_RGB, kWidth, kHeight);
  CompressedFormat coded_ = {};
  std::vector<uint8_t> stream_;
  std::vector<uint8_t> pixels_ = Picture(raw_, 0);
  std::vector<uint8_t> decoded_ = std::vector<uint8_t>(static_cast<size_t>(kWidth * kHeight * 4));
};

}  // namespace

void TestSoak(const char* driver) {
  const HIC codec = ICOpen(ICTYPE_VIDEO, kMjpg, ICMODE_COMPRESS);
  if (!Check(codec != nullptr, "ICOpen")) return;
  Mixed mixed(codec);
  unsigned number = 0;
  for (; number < 2000; ++number) mixed.Send(number);
  Usage before = Measure();
  for (; number < 102000; ++number) mixed.Send(number);
  ExpectNoGrowth(before, Measure(), "100,000 messages");
  ICClose(codec);

  const HMODULE library = LoadLibraryA(driver);
  const auto procedure = reinterpret_cast<FARPROC>(GetProcAddress(library, "DriverProc"));
  for (int i = 0; i < 1100; ++i) {
    if (i == 100) before = Measure();
    const HIC open = i % 2 == 0 ? ICOpen(ICTYPE_VIDEO, kMjpg, ICMODE_DECOMPRESS)
                                : ICOpenFunction(ICTYPE_VIDEO, kMjpg, ICMODE_COMPRESS, procedure);
    if (open == nullptr || ICClose(open) != ICERR_OK) Check(false, "open and close");
  }
  ExpectNoGrowth(before, Measure(), "1,000 opens and closes");
}
