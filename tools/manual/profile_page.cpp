#include <cstdio>

#include "driver/options.h"
#include "tkmjpg_version.h"
#include "tools/manual/manual_files.h"

namespace tkmjpg::manual {
namespace {

struct Bit {
  uint32_t bit;
  const char* setting;  // as tkmjpg configure calls it
};

constexpr Bit kBits[] = {
    {option::kEncoderOneField, "encoder-one-field-only"},
    {option::kEncoderInvertedFields, "encoder-inverted-fields-order"},
    {option::kInvertAvi1Order, "invert-avi1-order"},
    {option::kStrongBitrate, "strong-bitrate-control"},
    {option::kOneFieldSmart, "one-field-smart"},
    {option::kDecoderOneField, "decoder-one-field-only"},
    {option::kDecoderInvertFields, "decoder-invert-fields-order"},
    {option::kUseAvi1Markers, "use-avi1-markers"},
    {option::kFullColor, "full-color"},
    {option::kInterlaceEnable, "interlace-enable"},
    {option::kYuy2Disable, "yuy2-disable"},
    {option::kUyvyDisable, "uyvy-disable"},
    {option::kBitrateEnable, "bitrate-control-enable"},
    {option::kQualityAsFrameSize, "quality-as-framesize"},
    {option::kAnyHeight, "opendml-size-only off"},
};

std::string Word(uint32_t bits) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%08X", static_cast<unsigned>(bits));
  return text;
}

std::string BitTable() {
  std::string text;
  for (const Bit& bit : kBits) text += Word(bit.bit) + "  " + bit.setting + "\n";
  return text;
}

}  // namespace

ManualFile ProfilePage() {
  return {"man/man5/tkmjpg.5",
          ".TH TKMJPG 5 \"\" \"tkmjpg " TKMJPG_VERSION
          "\" \"File formats\"\n"
          ".SH NAME\ntkmjpg \\- stored settings of the driver\n"
          ".SH SYNOPSIS\n.I $XDG_CONFIG_HOME/tkmjpg/profile.ini\n.br\n"
          ".I ~/.config/tkmjpg/profile.ini\n"
          ".SH DESCRIPTION\n"
          "A text file in sections. The driver reads it when a program opens it; the subcommands\n"
          "encode and decode do not. The first of the two places is used if XDG_CONFIG_HOME is\n"
          "set. The file needs no editing by hand:\n.BR tkmjpg\\-configure (1)\nwrites it. Other\n"
          "sections, keys and comments in it are kept.\n"
          ".PP\nSection\n.B [" +
              std::string(kProfileSection) + "]\nhas two keys:\n.TP\n.B " + kQualityKey +
              "\n0 to 100, the quality of hosts that name none; default " +
              std::to_string(kDefaultQuality) + "\n.TP\n.B " + kOptionsKey +
              "\nthe sum of the settings that are on, decimal or hexadecimal after 0x; default " +
              Word(kDefaultOptions) +
              "\n.PP\nText that is no number counts as 0. The settings, by the names of\n.BR "
              "tkmjpg\\-configure (1):\n.PP\n.nf\n" +
              BitTable() + ".fi\n.SH EXAMPLE\n.nf\n[" + kProfileSection + "]\n" + kOptionsKey +
              "=" + Word(kDefaultOptions) + "\n" + kQualityKey +
              "=75\n.fi\n"
              ".SH SEE ALSO\n.BR tkmjpg\\-configure (1),\n.BR tkmjpg\\-doctor (1)\n"};
}

}  // namespace tkmjpg::manual
