// The decoder's record for one frame. DecompressFrame makes it; both images of a field pair share
// it, and what the first one's headers set stays until the second one's replace it.
#pragma once

#include <array>
#include <cstdint>

#include "cpu/cpu_rung.h"
#include "frame/layout.h"

namespace tkmjpg {

// Coefficients and quantisation values are held in transposed natural order, 8 x column + row,
// from the parser to the inverse transform.
using QuantValues = std::array<uint16_t, 64>;

struct ComponentInfo {
  uint32_t h_samp, v_samp;
};

// The entropy-coded data of an image and how far it is read.
struct EntropyInput {
  const uint8_t* data_end = nullptr;
  const uint8_t* read_pos = nullptr;  // next input byte
  uint32_t pending_marker = 0;        // the marker code that ended the data; 0 for none yet
};

// What SOF0 and SOS say. A second image without them keeps those of the first.
struct ImageHeader {
  uint32_t precision = 0;
  uint32_t components = 0;       // of SOF0
  uint32_t scan_components = 0;  // of SOS
  std::array<ComponentInfo, 3> sampling{};
  int32_t width = 0, height = 0;
};

struct DecoderContext {
  CpuRung rung = CpuRung::kPlain;
  bool by_definition = false;  // no fast row, whatever the image; for tests
  EntropyInput input;
  ImageHeader header;
  std::array<QuantValues, 4> quant_slots{};          // by Tq; zeros until a DQT fills them
  alignas(64) std::array<QuantValues, 2> dequant{};  // luma, chroma: 16 x the quantisation values
  std::array<int32_t, 3> last_dc{};                  // DC predictors of Y, Cb, Cr
  PixelFormatCode pixel_format{};
  int32_t width = 0;      // pixels per line to write, at most the header's
  int32_t height = 0;     // lines of the image to decode, at most the header's
  int32_t rows_done = 0;  // lines of it that are done
  uint32_t mcus_per_row = 0;
  uint32_t restart_interval = 0;  // 0 for none
  uint32_t restart_number = 0;    // of the RSTn that comes next
  uint32_t restarts_to_go = 0;    // MCUs until it
  uint32_t sound_images = 0;      // that the fast rows have read to their ends
  bool doubtful = false;          // an image of the frame was not
};

// Goes over to the next restart interval, if exactly the expected marker ended the last one.
bool PassRestartMarker(DecoderContext& context);

}  // namespace tkmjpg
