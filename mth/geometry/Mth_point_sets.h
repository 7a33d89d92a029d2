#pragma once

#include <concepts>

#include "mth/Mth_pointer_list.h"
#include "mth/value/Mth_3d_double.h"
#include "std/Std_export.h"

/// Hausdorff distance of two sets of points: the largest distance from a point of one set to the nearest
/// point of the other. Exact, to the last bit: points that cannot decide it are skipped, nothing is
/// approximated.
///
/// A distance that is not a number never counts as larger or smaller than another, and the scans start from a
/// set's first point: a NaN there stays.
/// @return  0.0 for two empty sets; -1.0 when one set alone is empty, when the array of a count above 0 or a
///          list is null, when a list has a null entry, without memory, and when the display asks to cancel,
///          which it is asked now and then.
MTH_EXPORT double Mth_Hausdorff_Distance(MTH_3D_DOUBLE* a, MTH_3D_DOUBLE* b, int na, int nb);
/// @copydoc Mth_Hausdorff_Distance(MTH_3D_DOUBLE*,MTH_3D_DOUBLE*,int,int)
MTH_EXPORT double Mth_Hausdorff_Distance(MTH_POINTER_LIST<MTH_3D_DOUBLE>* a,
                                         MTH_POINTER_LIST<MTH_3D_DOUBLE>* b);

/// Rotates n points. Intended: the translation has no effect, as MTH_MATRIX_CHGREF::ComputeFromRotTrans
/// clears it.
/// @param rotation     three angles in degrees, about z, y and x.
/// @param translation  three components.
/// @return  a new array of n points that the caller frees with delete[]; null when an argument is null,
///          when n is negative and when memory runs out.
[[nodiscard]] MTH_EXPORT MTH_3D_DOUBLE* Mth_ApplyTransformationToSet(MTH_3D_DOUBLE* points, int n,
                                                                     double* rotation, double* translation);

/// @copydoc Mth_Hausdorff_Distance(MTH_3D_DOUBLE*,MTH_3D_DOUBLE*,int,int)
template <std::same_as<MTH_3D_DOUBLE> T>
double Mth_Hausdorff_Distance(const T* a, const T* b, int na, int nb) {
  return Mth_Hausdorff_Distance(const_cast<T*>(a), const_cast<T*>(b), na, nb);
}
/// @copydoc Mth_ApplyTransformationToSet(MTH_3D_DOUBLE*,int,double*,double*)
template <std::same_as<MTH_3D_DOUBLE> T>
[[nodiscard]] MTH_3D_DOUBLE* Mth_ApplyTransformationToSet(const T* points, int n, const double* rotation,
                                                          const double* translation) {
  return Mth_ApplyTransformationToSet(const_cast<T*>(points), n, const_cast<double*>(rotation),
                                      const_cast<double*>(translation));
}
