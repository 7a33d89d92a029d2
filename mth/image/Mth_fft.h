#pragma once

#include "mth/value/Mth_complex.h"
#include "std/Std_export.h"

/// @file
/// Fast Fourier transform of lengths that are powers of two.

/// Transforms 2^m complex values in place by the radix-2 decimation in time.
///
/// The factors of each stage come from the recurrence of its half-angle formulas, so that a result is the
/// same to the last bit on every machine.
/// @param dir  1: the kernel exp(-2 pi i j k / n), not scaled; -1: the kernel exp(+2 pi i j k / n) and a
///             division by n; any other: the positive kernel, not scaled.
/// @param m    logarithm of the length; below 1 the length is 1.
/// @param re   real parts.
/// @param im   imaginary parts. A null array: nothing is done.
/// @return     true.
/// @see        Cooley & Tukey, Math. Comp. 19 (1965) 297.
MTH_EXPORT bool Mth_FFT(int dir, int m, double* re, double* im);

/// Whether n is a power of two. Intended: 2 is not counted as one, as the search starts at 4.
/// @param m, twopm  receive the logarithm and the value of the largest power of two that is at most n, but at
///                  least 2 and 4; 0 and 1 for n < 2. Either may be null.
MTH_EXPORT bool Mth_Powerof2(int n, int* m, int* twopm);

/// Transforms the nx x ny grid c[i][j] in place, along the first index and then along the second. Work memory
/// is two arrays of a line's length, or 256 KiB at most where these are less.
/// @param dir  as for Mth_FFT, along each index.
/// @return     false, without a message, when memory runs out, when a pointer is null or when a dimension is
///             not a power of two by Mth_Powerof2, so that 1 and 2 are refused. When ny alone is wrong, the
///             transform along the first index has been made.
MTH_EXPORT bool Mth_FFT2D(MTH_COMPLEX** c, int nx, int ny, int dir);
