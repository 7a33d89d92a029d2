#pragma once

#include "mth/value/Mth_3d_float.h"
#include "mth/value/Mth_3d_vect.h"

/// 3D vector of floats, with its norm.
using MTH_3D_VECT_FLOAT = MTH_3D_VECTOR<float>;
