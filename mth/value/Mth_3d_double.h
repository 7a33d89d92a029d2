#pragma once

#include "mth/value/Mth_3d.h"

/// 3D point of doubles.
using MTH_3D_DOUBLE = MTH_3D_POINT<double>;
