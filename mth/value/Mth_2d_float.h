#pragma once

#include "mth/value/Mth_2d.h"

/// 2D point of floats.
using MTH_2D_FLOAT = MTH_2D_POINT<float>;
