#pragma once

#include <concepts>

#include "mth/matrix/Mth_matrix.h"
#include "std/Std_export.h"

/// @file
/// Laplacians of images and volumes. Nothing is allocated but the result that one of them returns, and inputs
/// are never changed. An output must not overlap its input; one that is its input itself comes out as zeros.
/// When the display asks to cancel, an output is left as it was: it is asked before anything is written.
/// @see  Gonzalez & Woods, Digital Image Processing, section 3.6, for the operator in the interior.

/// Second derivatives along rows and columns of an image, each halved, and their mean:
/// (x[i+1][j] + x[i-1][j] + x[i][j+1] + x[i][j-1] - 4 x[i][j]) / 4 in the interior.
///
/// The derivative along an axis of 4 or more elements continues linearly into the first and the last one;
/// along 3 both take the value of the middle one; along 1 or 2 it is 0. All is computed in the element type.
/// @param in    the image.
/// @param out   receives the result: allocated, of the shape and element type of `in`.
/// @param type  0 for double, 1 for float matrices.
/// @return      false for any other type and when cancelled. Null `in`: false, shows "Matrice d'entrée est
///              nulle!". Null or unallocated matrices, shapes that differ or element types that are not
///              `type`: false. `out` is then untouched.
MTH_EXPORT bool Mth_ComputeLaplacien(MTH_MATRIX* in, MTH_MATRIX* out, int type);

/// Second derivatives along the three axes of a volume, each halved, and their mean. The derivative along an
/// axis of 4 or more voxels continues linearly into the border planes; along 3 both take the values of the
/// middle plane; along 1 or 2 it is 0.
/// @param volume  n1 x n2 x n3 values, n1 fastest: the index is x + n1 * (y + n2 * z).
/// @return        a new array (delete[]) of n1 * n2 * n3 values; null for a null volume, a negative size,
///                without memory and when cancelled.
[[nodiscard]] MTH_EXPORT double* Mth_ComputeLaplacien3D(double* volume, int n1, int n2, int n3);
/// @copydoc Mth_ComputeLaplacien3D(double*,int,int,int)
template <std::same_as<double> T>
[[nodiscard]] double* Mth_ComputeLaplacien3D(const T* volume, int n1, int n2, int n3) {
  return Mth_ComputeLaplacien3D(const_cast<T*>(volume), n1, n2, n3);
}

/// The same in single precision throughout.
/// @param out  receives the n1 * n2 * n3 values.
/// @return     `out`; null, with nothing done, for a null array or a negative size and when cancelled.
MTH_EXPORT float* Mth_ComputeLaplacien3D(float* volume, float* out, int n1, int n2, int n3);
/// @copydoc Mth_ComputeLaplacien3D(float*,float*,int,int,int)
template <std::same_as<float> T>
float* Mth_ComputeLaplacien3D(const T* volume, float* out, int n1, int n2, int n3) {
  return Mth_ComputeLaplacien3D(const_cast<T*>(volume), out, n1, n2, n3);
}

/// Seven-point Laplacian of a volume, not scaled, in single precision: the sum over the axes of
/// in[-1] + in[+1] - 2 in[0].
///
/// Border planes continue linearly what `out` holds so far. Intended: the axes follow each other, x, y, z,
/// and the continuation along a later axis takes the sums with the terms of the earlier ones in them, and
/// adds to what is there. An axis of 1 or 2 voxels adds nothing.
/// @param in   nx x ny x nz values, x fastest. Null: shows "Matrice d'entrée est nulle!", nothing is done.
/// @param out  receives as many values; null, or a size below 1: nothing is done.
MTH_EXPORT void Mth_ComputeLaplacien3DFloat(float* in, float* out, int nx, int ny, int nz);
/// @copydoc Mth_ComputeLaplacien3DFloat(float*,float*,int,int,int)
template <std::same_as<float> T>
void Mth_ComputeLaplacien3DFloat(const T* in, float* out, int nx, int ny, int nz) {
  Mth_ComputeLaplacien3DFloat(const_cast<T*>(in), out, nx, ny, nz);
}
