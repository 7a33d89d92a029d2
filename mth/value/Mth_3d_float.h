#pragma once

#include "mth/value/Mth_3d.h"

/// 3D point of floats.
using MTH_3D_FLOAT = MTH_3D_POINT<float>;
