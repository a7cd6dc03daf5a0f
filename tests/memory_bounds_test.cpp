// Neither call touches a byte that is not its own: guard pages around every buffer, and every byte
// between the caller's lines compared. And every rung makes the same frames.
#include "tests/damage.h"
#include "tests/kernel_cases.h"

namespace {

constexpr uint32_t kFields = TKMJPG_C_FIELDS, kAlpha = TKMJPG_C_ALPHA;

TEST(MemoryBounds, CompressReadsNoByteBesideTheLines) {
  for (const Layout& layout : kInputLayouts) {
    for (int width = 1; width <= 65; ++width) {
      Call call{layout, width, 9, kAlpha, 90};
      const Bytes pixels = Noise(call.Size(), static_cast<uint32_t>(width));
      for (const int sign : {1, -1}) {
        call.stride = sign * width * layout.pixel_bytes;
        const Bytes stream = Compress(pixels, call);
        ASSERT_FALSE(stream.empty());
        for (const tkmjpg::CpuRung rung : tkmjpg::RunnableCpuRungs()) {
          const ForcedRung forced(rung);
          ASSERT_EQ(Compress(pixels, call, GuardAt::kStart), stream)
              << layout.name << " width " << width << " stride " << call.stride;
        }
      }
    }
  }
}

TEST(MemoryBounds, CompressKeepsToItsCapacity) {
  const std::pair<const char*, Call> cases[] = {
      {"image", {kYuy2, 40, 24}},
      {"no fill", {kYuy2, 40, 24, Mode(7)}},
      {"tables", {kYuy2, 40, 8, TKMJPG_C_HUFFMAN_TABLES, 1}},
      {"fields", {kYuy2, 40, 21, kFields, 90}},
      {"alpha", {kBgra, 40, 16, kAlpha, 50}},
      {"alpha after fields", {kBgra, 40, 32, kAlpha | kFields, 50}},
      {"alpha under rate control", {kBgra, 40, 16, kAlpha | TKMJPG_C_RATE_CONTROL, 900}},
      {"rate", {kYuy2, 40, 32, TKMJPG_C_RATE_CONTROL, 900}},
      {"second attempt smaller",
       {kYuy2, 40, 32, TKMJPG_C_RATE_CONTROL | TKMJPG_C_STRONG_RATE, 700}},
  };
  for (const auto& [name, ample] : cases) {
    SCOPED_TRACE(name);
    Call call = ample;
    const CodecCarryState before = {3, 9};
    CodecCarryState carry = before;
    call.carry = &carry;
    const Bytes whole = CompressNoise(call, 7);
    ASSERT_FALSE(whole.empty());
    const CodecCarryState after = carry;
    const auto size = static_cast<uint32_t>(whole.size());
    for (uint32_t i = 0; i < 60; ++i) {
      call.capacity = i < 2 ? size - i : i * 7919 % (size + 30);
      carry = before;
      const bool fits = call.capacity >= size;
      ASSERT_EQ(CompressNoise(call, 7), fits ? whole : Bytes()) << call.capacity;
      ASSERT_EQ(carry.rate_scale, (fits ? after : before).rate_scale) << call.capacity;
    }
  }
}

TEST(MemoryBounds, PicturesWithoutPixelsNeedNoMemory) {
  const Bytes stream = CompressNoise({kBgra, 16, 8, kFields | kAlpha}, 4);
  for (const auto& [width, height] : {std::pair{0, 16}, {16, 0}, {-16, 16}}) {
    for (const uint32_t flags : {0U, kFields | kAlpha, uint32_t{TKMJPG_C_RATE_CONTROL}}) {
      Bytes output(2000);
      EXPECT_NE(CompressBuffer_MJPG(nullptr, -100, output.data(), 2000, width, height, 50, flags,
                                    TKMJPG_BGRA, 0, nullptr),
                0U);
      EXPECT_EQ(CompressBuffer_MJPG(nullptr, -100, nullptr, 0, width, height, 50, flags,
                                    TKMJPG_BGRA, 0, nullptr),
                0U);
    }
    if (width < 0) continue;  // a picture of its absolute size
    for (const uint32_t flags :
         {0U, uint32_t{TKMJPG_D_ONE_FIELD}, uint32_t{TKMJPG_D_INVERT_FIELDS}}) {
      CodecCarryState carry = {1, 0};
      for (const size_t size : {stream.size(), size_t{0}}) {
        EXPECT_EQ(
            DecompressBuffer_MJPG(size != 0 ? stream.data() : nullptr, static_cast<uint32_t>(size),
                                  nullptr, -100, width, height, flags, TKMJPG_BGRA, 0, &carry),
            1U);
      }
    }
  }
}

// A decode into lines with padding between them: only the first `width` pixels of the lines differ
// from what stood there. Any rung must give the same.
void ExpectWritesInLinesOnly(const Bytes& stream, Call call) {
  const int line = call.width * call.layout.pixel_bytes, pitch = line + 5;
  for (const int stride : {pitch, -pitch}) {
    call.stride = stride;
    // The last line in memory has no padding: the guard page follows its pixels.
    const Bytes before = Noise(call.Size() - 5, 99);
    CodecCarryState carry = {1, 0};
    call.carry = &carry;
    const Bytes after = Decompress(stream, call, before);
    for (size_t i = 0; i < after.size(); ++i) {
      if (static_cast<int>(i) % pitch < line) continue;
      ASSERT_EQ(after[i], before[i]) << call.layout.name << " byte " << i << " stride " << stride;
    }
    for (const tkmjpg::CpuRung rung : tkmjpg::RunnableCpuRungs()) {
      const ForcedRung forced(rung);
      CodecCarryState again = {1, 0};
      call.carry = &again;
      ASSERT_EQ(Decompress(stream, call, before), after) << tkmjpg::CpuRungName(rung);
      ASSERT_EQ(carry.decode_flags, again.decode_flags);
    }
  }
}

TEST(MemoryBounds, DecompressWritesTheLinesOnly) {
  const Bytes streams[] = {CompressNoise({kYuy2, 50, 22}, 5),
                           CompressNoise({kYuy2, 50, 22, kFields}, 5)};
  for (const Layout& layout : kOutputLayouts) {
    for (int width = 1; width <= 65; ++width) {
      ExpectWritesInLinesOnly(streams[width % 2], {layout, width, 22, TKMJPG_D_ONE_FIELD_SMART});
      if (HasFatalFailure()) return;
    }
  }
}

// What Damage draws from.
struct RandomArguments {
  std::mt19937 random{17};

  template <typename T>
  T ConsumeIntegralInRange(T least, T most) {
    return static_cast<T>(least + random() % (most - least + size_t{1}));
  }
  template <typename T>
  T ConsumeIntegral() {
    return static_cast<T>(random());
  }
  template <typename T>
  T ConsumeEnum() {
    return static_cast<T>(random() % (static_cast<uint32_t>(T::kMaxValue) + 1));
  }
  bool ConsumeBool() { return random() % 2 != 0; }
};

TEST(MemoryBounds, DecompressSurvivesDamage) {
  RandomArguments arguments;
  for (const Call& source : {Call{kYuy2, 40, 20, 0, 90}, Call{kBgra, 33, 24, kFields | kAlpha, 90},
                             Call{kBgra, 33, 24, kFields | TKMJPG_C_ONE_FIELD | kAlpha, 60}}) {
    const Bytes undamaged = CompressNoise(source, 3),
                headers = Head(undamaged, EntropyStart(undamaged));
    for (uint8_t round = 0; round < 200; ++round) {
      SCOPED_TRACE(static_cast<int>(round));
      const Bytes noise = Noise(round * 9, round);
      for (Bytes stream :
           {undamaged, WithRestartInterval(undamaged, round % 8), headers + noise, noise}) {
        Damage(arguments, stream).Apply(1 + round % 3);
        const auto flags = static_cast<uint32_t>(arguments.random() & 0x6700);
        const Layout& layout = kOutputLayouts[arguments.random() % std::size(kOutputLayouts)];
        ExpectWritesInLinesOnly(stream, {layout, 37, source.height, flags});
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST(MemoryBounds, DecompressSurvivesACutAnywhere) {
  const Bytes undamaged = CompressNoise({kBgra, 18, 16, kFields | kAlpha, 60}, 3);
  for (size_t size = 0; size <= undamaged.size(); ++size) {
    SCOPED_TRACE(testing::Message() << size << " bytes");
    ExpectWritesInLinesOnly(Head(undamaged, size), {kBgra, 18, 16, TKMJPG_D_ONE_FIELD_SMART});
    if (HasFatalFailure()) return;
  }
}

}  // namespace
