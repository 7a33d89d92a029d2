#pragma once

#include "mth/value/Mth_3d.h"

/// 3D point of 32-bit integers.
using MTH_3D_INTEGER = MTH_3D_POINT<int>;
