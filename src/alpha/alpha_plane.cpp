#include "alpha/alpha_plane.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace tkmjpg {
namespace {

constexpr std::array<uint8_t, 10> kHead = {0xFF, 0xE1, 0x00, 0x08, 'A', 'L', 'P', 'H', 0x01, 0x00};
constexpr uint32_t kLongestRun = 4096, kLongestShortRun = 8;

// Counts every byte and stores those that fit.
struct BitWriter {
  uint8_t* output;
  uint32_t capacity;
  uint64_t position = 0;
  uint32_t accumulator = 0;  // the pending bits are its low `count` bits
  uint32_t count = 0;        // [0, 7] between codes

  void PutByte(uint8_t byte) {
    if (position < capacity) output[position] = byte;
    ++position;
  }
  void Put(uint32_t bits, uint32_t length) {
    accumulator = accumulator << length | bits;
    for (count += length; count >= 8;) {
      count -= 8;
      PutByte(static_cast<uint8_t>(accumulator >> count));
    }
  }
  void PutRun(uint32_t run) {
    if (run == 0) return;
    if (run <= kLongestShortRun) {
      Put(0b110000 | (run - 1), 6);
    } else {
      Put(0b111 << 12 | (run - 1), 15);
    }
  }
  void PutDelta(uint8_t delta) {
    if (delta == 1) return Put(0b00, 2);
    if (delta == 255) return Put(0b01, 2);
    Put(0b10 << 8 | delta, 10);
  }
};

struct BitReader {
  const uint8_t* position;
  const uint8_t* end;
  uint32_t accumulator = 0;
  uint32_t count = 0;

  // False when the data has ended; `length` within [1, 12].
  bool Take(uint32_t length, uint32_t& bits) {
    while (count < length) {
      if (position == end) return false;
      accumulator = accumulator << 8 | *position++;
      count += 8;
    }
    count -= length;
    bits = (accumulator >> count) & ((1U << length) - 1);
    return true;
  }

  // Reads one code: moves the running value and sets the pixels that follow with the same value.
  bool TakeCode(uint8_t& value, uint32_t& run) {
    uint32_t code, bits;
    if (!Take(2, code)) return false;
    switch (code) {
      case 0b00:
        ++value;
        return true;
      case 0b01:
        --value;
        return true;
      case 0b10:
        if (!Take(8, bits)) return false;
        value = static_cast<uint8_t>(value + bits);
        return true;
      default:
        return Take(1, bits) && Take(bits == 0 ? 3 : 12, run);
    }
  }
};

// Rows without pixels are not pointed at: `pixels` may be null then.
int32_t RowsWithPixels(int32_t width, int32_t height) { return width > 0 ? height : 0; }

// The position behind the head of the first APP1 segment, null if that is no alpha segment.
const uint8_t* FindPayload(const uint8_t* position, const uint8_t* end) {
  for (;;) {
    position = std::find(position, end, uint8_t{0xFF});
    position = std::find_if(position, end, [](uint8_t byte) { return byte != 0xFF; });
    if (position == end) return nullptr;
    if (*position++ == kHead[1]) break;
  }
  const size_t rest = kHead.size() - 2;
  if (static_cast<size_t>(end - position) < rest) return nullptr;
  return std::memcmp(position, kHead.data() + 2, rest) == 0 ? position + rest : nullptr;
}

}  // namespace

uint32_t EncodeAlphaPlane(uint8_t* output, uint32_t output_capacity, const uint8_t* pixels,
                          int32_t stride, int32_t width, int32_t height) {
  BitWriter writer{output, output_capacity};
  for (const uint8_t byte : kHead) writer.PutByte(byte);
  uint8_t previous = 0;
  uint32_t run = 0;
  for (int32_t y = 0; y < RowsWithPixels(width, height); ++y) {
    const uint8_t* row = pixels + int64_t{stride} * y;
    for (int32_t x = 0; x < width; ++x) {
      const uint8_t value = row[4 * int64_t{x} + 3];
      const auto delta = static_cast<uint8_t>(value - previous);
      previous = value;
      if (run == kLongestRun) {
        writer.PutRun(run);
        run = 0;
      }
      if (delta == 0) {
        ++run;
        continue;
      }
      writer.PutRun(run);
      run = 0;
      writer.PutDelta(delta);
    }
  }
  writer.PutRun(run);
  if (writer.count != 0) writer.Put(0, 8 - writer.count);
  return writer.position <= output_capacity ? static_cast<uint32_t>(writer.position) : 0;
}

const uint8_t* DecodeAlphaPlane(const uint8_t* data, uint32_t data_size, uint8_t* pixels,
                                int32_t stride, int32_t width, int32_t height) {
  const uint8_t* payload = FindPayload(data, data + data_size);
  if (payload == nullptr) return data;
  BitReader reader{payload, data + data_size};
  uint8_t value = 0;
  uint32_t run = 0;
  for (int32_t y = 0; y < RowsWithPixels(width, height); ++y) {
    uint8_t* row = pixels + int64_t{stride} * y;
    for (int32_t x = 0; x < width; ++x) {
      if (run != 0) {
        --run;
      } else if (!reader.TakeCode(value, run)) {
        return reader.position;
      }
      row[4 * int64_t{x} + 3] = value;
    }
  }
  return reader.position;
}

}  // namespace tkmjpg
