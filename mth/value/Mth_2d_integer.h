#pragma once

#include "mth/value/Mth_2d.h"

/// 2D point of 32-bit integers.
using MTH_2D_INTEGER = MTH_2D_POINT<int>;
