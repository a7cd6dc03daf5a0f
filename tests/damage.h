// Damage to a stream, by drawn numbers: at any place, or beside one of its markers.
#pragma once

#include "tests/bytes.h"

enum class Edit { kOverwrite, kFlipBit, kInsert, kRemove, kRepeat, kCut, kPutMarker, kMaxValue };

// Arguments draws as libFuzzer's FuzzedDataProvider does.
template <typename Arguments>
class Damage {
 public:
  Damage(Arguments& arguments, Bytes& stream) : arguments_(arguments), stream_(stream) {}

  void Apply(int edits) {
    for (int i = 0; i < edits && !stream_.empty(); ++i) ApplyOne();
  }

 private:
  size_t DrawPlace() {
    const size_t anywhere = arguments_.template ConsumeIntegralInRange<size_t>(0, 0xFFFF);
    if (arguments_.ConsumeBool()) return anywhere * stream_.size() / 0x10000;
    return std::min(NextMarker(anywhere * stream_.size() / 0x10000) +
                        arguments_.template ConsumeIntegralInRange<size_t>(0, 5),
                    stream_.size() - 1);
  }
  // Two bytes before the 0xFF of a marker that is no stuffing.
  size_t NextMarker(size_t from) const {
    for (size_t at = from; at + 1 < stream_.size(); ++at) {
      if (stream_[at] == 0xFF && stream_[at + 1] != 0) return std::max<size_t>(at, 2) - 2;
    }
    return stream_.size() - 1;
  }
  void ApplyOne() {
    const auto edit = arguments_.template ConsumeEnum<Edit>();
    const size_t place = DrawPlace();
    const auto at = stream_.begin() + static_cast<ptrdiff_t>(place);
    const auto value = arguments_.template ConsumeIntegral<uint8_t>();
    const size_t count = std::min<size_t>(1 + value, stream_.size() - place);
    const auto after = at + static_cast<ptrdiff_t>(count);
    switch (edit) {
      case Edit::kOverwrite:
        *at = value;
        return;
      case Edit::kFlipBit:
        *at = static_cast<uint8_t>(*at ^ 1 << value % 8);
        return;
      case Edit::kInsert:
        stream_.insert(at, arguments_.template ConsumeIntegralInRange<size_t>(1, 300), value);
        return;
      case Edit::kRemove:
        stream_.erase(at, after);
        return;
      case Edit::kRepeat: {
        const Bytes piece(at, after);
        stream_.insert(at, piece.begin(), piece.end());
        return;
      }
      case Edit::kCut:
        stream_.erase(at, stream_.end());
        return;
      default: {  // restart markers for the most part
        const uint8_t marker[] = {0xFF,
                                  value < 128 ? static_cast<uint8_t>(0xD0 + value % 16) : value};
        stream_.insert(at, std::begin(marker), std::end(marker));
      }
    }
  }

  Arguments& arguments_;
  Bytes& stream_;
};
