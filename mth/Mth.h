#pragma once

/// @file
/// All numerical classes and functions of the library.

#include "mth/Mth_pointer_list.h"
#include "mth/matrix/Mth_matrix.h"
