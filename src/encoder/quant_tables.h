// Quantisation tables from a quality or a scale.
#pragma once

#include <cstdint>

#include "encoder/encoder_context.h"

namespace tkmjpg {

// The scale of a quality: 1 to 100, 100 best; below acts as 1, above as 100. [0, 5000]
int32_t ScaleFromQuality(int32_t quality);

// Fills both quant_tables. Scale 0 or more: about the percentage of the tables of ITU T.81 Annex K,
// but above 75 the steps grow faster with frequency than the scale does.
void BuildQuantTablesFromScale(EncoderContext& context, int32_t scale);
void BuildQuantTablesFromQuality(EncoderContext& context, int32_t quality);

}  // namespace tkmjpg
