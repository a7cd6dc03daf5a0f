// Walks the marker segments of one image into the DecoderContext: its header, quantisation tables
// and restart interval.
#pragma once

#include "decoder/decoder_context.h"

namespace tkmjpg {

// Reads from input.read_pos to the first entropy-coded byte. False when there is nothing to decode:
// the first marker is no SOI (read_pos stays), or the headers are refused or cut (read_pos is at
// data_end then). An EOI before SOS ends the headers too. Knows SOF0, DRI, DQT, SOS and EOI and
// steps over everything else, DHT included. Whether the image has a shape that can be decoded is
// not judged here. Clears nothing.
bool StartImage(DecoderContext& context);

}  // namespace tkmjpg
