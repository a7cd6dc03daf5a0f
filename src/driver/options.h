// The option word that the driver stores, and its defaults.
#pragma once

#include <cstdint>

namespace tkmjpg {

// Bits of the option word. 0 to 7 go to the encoder and 8 to 15 to the decoder as they stand; the
// others are the driver's own. Bits that are not listed mean nothing. The names in quotes are the
// check boxes of the dialog.
namespace option {

// Each image carries a DHT segment. No check box.
inline constexpr uint32_t kHuffmanTables = 0x1;
// "One Field only", "Inverted Fields Order" and "Invert AVI1 Order" of the encoder act on field
// coding alone, which the driver does not ask for.
inline constexpr uint32_t kEncoderOneField = 0x2;
inline constexpr uint32_t kEncoderInvertedFields = 0x4;
inline constexpr uint32_t kInvertAvi1Order = 0x20;
// "Strong Bitrate control": under rate control an image far off its target is coded again.
inline constexpr uint32_t kStrongBitrate = 0x80;
// "One Field Smart": where a field stands for a frame, lines between are interpolated, not doubled.
inline constexpr uint32_t kOneFieldSmart = 0x100;
// "One Field only" of the decoder: the first field fills the frame.
inline constexpr uint32_t kDecoderOneField = 0x200;
// "Invert Fields Order": the first field fills lines 0, 2, 4..., not 1, 3, 5...
inline constexpr uint32_t kDecoderInvertFields = 0x400;
// "Use AVI1 Markers": an "AVI1" segment with field byte 2 inverts the order.
inline constexpr uint32_t kUseAvi1Markers = 0x2000;
// "Full Color (ignore ITU601)": luma of the stream is 0 to 255.
inline constexpr uint32_t kFullColor = 0x4000;
// "Interlace Enable": stored and shown only.
inline constexpr uint32_t kInterlaceEnable = 0x80000;
// "YUY2 disable", "UYVY disable": refused as output in a decompression query.
inline constexpr uint32_t kYuy2Disable = 0x100000;
inline constexpr uint32_t kUyvyDisable = 0x200000;
// "Bitrate control Enable": a frame size that the host asks for is the target of rate control.
inline constexpr uint32_t kBitrateEnable = 0x1000000;
// "Use QUALITY as Framesize (kB)": quality x 10 is the target in bytes.
inline constexpr uint32_t kQualityAsFrameSize = 0x2000000;
// The inverse of "OpenDML Size only": heights need not be multiples of 8.
inline constexpr uint32_t kAnyHeight = 0x4000000;

inline constexpr uint32_t kEncoderMask = 0xFF;
inline constexpr uint32_t kDecoderMask = 0xFF00;

}  // namespace option

inline constexpr uint32_t kDefaultOptions =
    option::kOneFieldSmart | option::kFullColor | option::kInterlaceEnable;
static_assert(kDefaultOptions == 0x84100);
inline constexpr uint32_t kDefaultQuality = 60;  // of 100

// Hosts give qualities in hundredths: 0 to 10000.
inline constexpr uint32_t kHostQualityScale = 100;

// Where word and quality lie in the profile.
inline constexpr char kProfileSection[] = "TKMJPG";
inline constexpr char kOptionsKey[] = "MJPG_CF_Flags";         // stored as 0x%08X
inline constexpr char kQualityKey[] = "MJPG_Default_Quality";  // stored as %i, 0 to 100

}  // namespace tkmjpg
