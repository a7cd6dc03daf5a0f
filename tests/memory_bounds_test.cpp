// Neither call touches a byte that is not its own: guard pages around every buffer, and every byte
// between the caller's lines compared.
#include <gtest/gtest.h>

#include <functional>
#include <iterator>

#include "tests/frame_calls.h"

namespace {

TEST(MemoryBounds, CompressReadsNoByteBesideTheLines) {
  for (const Layout& layout : kInputLayouts) {
    for (int width = 1; width <= 65; ++width) {
      const int line = width * layout.pixel_bytes;
      const Bytes pixels = Noise(static_cast<size_t>(line) * 9, static_cast<uint32_t>(width));
      for (const int stride : {line, -line}) {
        const Call call{layout, width, 9, TKMJPG_C_ALPHA, 90, nullptr, 1 << 16, stride};
        const Bytes stream = Compress(pixels, call);
        ASSERT_FALSE(stream.empty());
        ASSERT_EQ(Compress(pixels, call, GuardAt::kStart), stream)
            << layout.name << " width " << width << " stride " << stride;
      }
    }
  }
}

TEST(MemoryBounds, CompressKeepsToItsRoom) {
  struct Case {
    const char* name;
    Layout layout;
    int height;
    uint32_t flags;
    int quality;
  };
  const Layout bgra = kInputLayouts[7], yuy2 = kInputLayouts[0];
  const Case cases[] = {
      {"image", yuy2, 24, 0, 75},
      {"no fill", yuy2, 24, 7 << TKMJPG_C_MODE_SHIFT, 75},
      {"tables", yuy2, 8, TKMJPG_C_HUFFMAN_TABLES, 1},
      {"fields", yuy2, 21, TKMJPG_C_FIELDS, 90},
      {"alpha", bgra, 16, TKMJPG_C_ALPHA, 50},
      {"alpha behind fields", bgra, 32, TKMJPG_C_ALPHA | TKMJPG_C_FIELDS, 50},
      {"rate", yuy2, 32, TKMJPG_C_RATE_CONTROL, 900},
      {"second attempt smaller", yuy2, 32, TKMJPG_C_RATE_CONTROL | TKMJPG_C_STRONG_RATE, 700},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const Bytes pixels = Noise(static_cast<size_t>(40 * c.layout.pixel_bytes * c.height), 7);
    Call call{c.layout, 40, c.height, c.flags, c.quality};
    const CodecCarryState before = {3, 9};
    CodecCarryState carry = before;
    call.carry = &carry;
    const Bytes whole = Compress(pixels, call);
    ASSERT_FALSE(whole.empty());
    const CodecCarryState after = carry;
    std::mt19937 random(1);
    for (int i = 0; i < 60; ++i) {
      const auto size = static_cast<uint32_t>(whole.size());
      call.room = i == 0 ? size : i == 1 ? size - 1 : static_cast<uint32_t>(random() % (size + 30));
      carry = before;
      const Bytes stream = Compress(pixels, call);  // the guard page ends the room
      ASSERT_EQ(stream, call.room >= size ? whole : Bytes()) << call.room;
      ASSERT_EQ(carry.rate_scale, (call.room >= size ? after : before).rate_scale) << call.room;
    }
  }
}

// A decode into lines with padding between them: true if only the first `width` pixels of the
// lines differ from what stood there. Two runs must give the same.
void ExpectWritesInLinesOnly(const Bytes& stream, Call call) {
  const int line = call.width * call.layout.pixel_bytes, pitch = line + 5;
  for (const int stride : {pitch, -pitch}) {
    call.stride = stride;
    // The last line in memory has no padding: the guard page follows its pixels.
    const Bytes before = Noise(static_cast<size_t>(pitch * call.height - 5), 99);
    CodecCarryState carry = {1, 0}, again = {1, 0};
    call.carry = &carry;
    const Bytes after = Decompress(stream, call, before);
    for (size_t i = 0; i < after.size(); ++i) {
      if (i % static_cast<size_t>(pitch) < static_cast<size_t>(line)) continue;
      ASSERT_EQ(after[i], before[i]) << call.layout.name << " byte " << i << " stride " << stride;
    }
    call.carry = &again;
    ASSERT_EQ(Decompress(stream, call, before), after) << "second run";
    ASSERT_EQ(carry.decode_flags, again.decode_flags);
  }
}

TEST(MemoryBounds, DecompressWritesTheLinesOnly) {
  for (const Layout& layout : kOutputLayouts) {
    for (int width = 1; width <= 65; ++width) {
      const Call source{kInputLayouts[0], 50, 22,
                        static_cast<uint32_t>(width % 2) * TKMJPG_C_FIELDS};
      const Bytes stream = Compress(Noise(50 * 22 * 2, 5), source);
      ExpectWritesInLinesOnly(stream, {layout, width, 22, TKMJPG_D_ONE_FIELD_SMART});
      if (HasFatalFailure()) return;
    }
  }
}

struct Damage {
  const char* name;
  int rounds;
  std::function<void(Bytes& stream, size_t entropy, int round, std::mt19937& random)> apply;
};

const Damage kDamages[] = {
    {"header byte", 180,
     [](Bytes& s, size_t entropy, int round, std::mt19937& random) {
       s[static_cast<size_t>(round) % entropy] = static_cast<uint8_t>(random());
     }},
    {"entropy byte", 100,
     [](Bytes& s, size_t entropy, int, std::mt19937& random) {
       s[entropy + random() % (s.size() - entropy)] ^= static_cast<uint8_t>(1U << random() % 8);
     }},
    {"inserted byte", 100,
     [](Bytes& s, size_t, int round, std::mt19937& random) {
       s.insert(s.begin() + static_cast<int>(random() % s.size()),
                static_cast<uint8_t>(round % 3 == 0 ? 0xFF : random()));
     }},
    {"removed byte", 100,
     [](Bytes& s, size_t, int, std::mt19937& random) {
       s.erase(s.begin() + static_cast<int>(random() % s.size()));
     }},
    {"restart interval without markers", 20,
     [](Bytes& s, size_t, int round, std::mt19937&) {
       s = WithRestartInterval(s, static_cast<uint8_t>(round));
     }},
    {"wrong restart marker", 60,
     [](Bytes& s, size_t entropy, int round, std::mt19937& random) {
       s[entropy + random() % (s.size() - entropy - 1)] = 0xFF;
       s = WithRestartInterval(s, static_cast<uint8_t>(1 + round % 4));
       const size_t at = FindMarker(s, s.back(), entropy);
       if (at + 1 < s.size()) s[at + 1] = static_cast<uint8_t>(0xD0 + round % 8);
     }},
    {"garbage behind the headers", 60,
     [](Bytes& s, size_t entropy, int round, std::mt19937&) {
       const Bytes garbage = Noise(static_cast<size_t>(round * 30), static_cast<uint32_t>(round));
       s.resize(entropy);
       s.insert(s.end(), garbage.begin(), garbage.end());
     }},
    {"garbage alone", 60,
     [](Bytes& s, size_t, int round, std::mt19937&) {
       s = Noise(static_cast<size_t>(round * 7), static_cast<uint32_t>(round));
       if (s.size() > 2) s[0] = 0xFF, s[1] = 0xD8;
     }},
};

TEST(MemoryBounds, DecompressSurvivesDamage) {
  const Call sources[] = {
      {kInputLayouts[0], 40, 20, 0, 90},
      {kInputLayouts[7], 33, 24, TKMJPG_C_FIELDS | TKMJPG_C_ALPHA, 90},
      {kInputLayouts[7], 33, 24, TKMJPG_C_FIELDS | TKMJPG_C_ONE_FIELD | TKMJPG_C_ALPHA, 60},
  };
  std::mt19937 random(17);
  for (const Call& source : sources) {
    const Bytes pixels =
        Noise(static_cast<size_t>(source.width * source.height * source.layout.pixel_bytes), 3);
    const Bytes sound = Compress(pixels, source);
    for (const Damage& damage : kDamages) {
      for (int round = 0; round < damage.rounds; ++round) {
        SCOPED_TRACE(testing::Message() << damage.name << ", round " << round);
        Bytes stream = sound;
        damage.apply(stream, EntropyStart(sound), round, random);
        const Layout& layout = kOutputLayouts[random() % std::size(kOutputLayouts)];
        const auto flags = static_cast<uint32_t>(random() & 0x6700);
        ExpectWritesInLinesOnly(stream, {layout, 37, source.height, flags});
        if (HasFatalFailure()) return;
      }
    }
  }
}

TEST(MemoryBounds, DecompressSurvivesACutAnywhere) {
  const Call source{kInputLayouts[7], 18, 16, TKMJPG_C_FIELDS | TKMJPG_C_ALPHA, 60};
  const Bytes sound = Compress(Noise(18 * 16 * 4, 3), source);
  for (size_t size = 0; size <= sound.size(); ++size) {
    SCOPED_TRACE(testing::Message() << size << " bytes");
    const Bytes stream(sound.begin(), sound.begin() + static_cast<int>(size));
    ExpectWritesInLinesOnly(stream, {kOutputLayouts[7], 18, 16, TKMJPG_D_ONE_FIELD_SMART});
    if (HasFatalFailure()) return;
  }
}

}  // namespace
