#pragma once

#include "mth/value/Mth_3d_integer.h"
#include "mth/value/Mth_3d_vect.h"

/// 3D vector of 32-bit integers, with its norm.
using MTH_3D_VECT_INTEGER = MTH_3D_VECTOR<int>;
