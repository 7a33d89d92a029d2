#pragma once

#include "mth/value/Mth_3d_double.h"
#include "mth/value/Mth_3d_vect.h"

/// 3D vector of doubles, with its norm.
using MTH_3D_VECT_DOUBLE = MTH_3D_VECTOR<double>;
