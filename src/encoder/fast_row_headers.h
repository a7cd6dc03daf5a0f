// What the text of the fast rows needs, to be included before any namespace is open.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <type_traits>

#include "cpu/prefetch.h"
#include "encoder/coded_blocks.h"
#include "encoder/fast_codes.h"
#include "encoder/forward_dct.h"
#include "encoder/input_conversion.h"
#include "encoder/mcu_row.h"
#include "encoder/rgb_parts.h"
#include "frame/layout.h"
#include "frame/stream_format.h"
