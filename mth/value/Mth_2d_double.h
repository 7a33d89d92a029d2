#pragma once

#include "mth/value/Mth_2d.h"

/// 2D point of doubles.
using MTH_2D_DOUBLE = MTH_2D_POINT<double>;
