#pragma once

#include <vector>

#include "mth/Mth_pointer_list.h"
#include "mth/matrix/Mth_matrix.h"
#include "std/Std_export.h"

/// Fills the caller's containers with all subsets of a set of integers: sizes ascending, from the empty set
/// on, and within a size in the lexicographic order of the elements' positions.
/// @param elements  1 x N matrix of the elements, each truncated to an integer; what an int cannot hold
///                  becomes the nearest one that it can, NaN becomes 0.
/// @param subsets   exactly 2^N containers, each emptied and then filled.
/// @return          false after a message, with nothing changed, when an argument is null or the matrix
///                  unallocated, when the number of containers is not 2^N, or when one of them is null; false
///                  without a message when memory runs out.
MTH_EXPORT bool Mth_GenerateSubsets(MTH_MATRIX* elements, MTH_POINTER_LIST<std::vector<int>>* subsets);
