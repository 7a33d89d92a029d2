#pragma once

#include <vector>

#include "std/Std_export.h"

/// @file
/// Sorting, ranking and comparison callbacks. Counts below 1 and null arrays change nothing. A NaN compares
/// as neither below nor above anything, and never makes a sort hang or leave its array:
///
/// | Operation | What a NaN does |
/// |---|---|
/// | Mth_Sort of one array | keeps its place; the other values are sorted around it |
/// | Mth_Sort of a pair | stops each scan and each insertion that meets it; both sides may stay unordered |
/// | Mth_ReplaceByRank | is a group of its own, whatever stands beside it |
/// | Mth_SortVector | comes first, each one, as it differs from every value |
/// | the comparisons | compares equal |

/// Sorts n values in place, ascending or descending.
///
/// The order is that of the exchange sort, which swaps a[i] and a[j], i < j, over all pairs in turn when they
/// stand the wrong way round; it shows only in zeros of both signs. The time is n log n; without memory for
/// two copies, quadratic.
MTH_EXPORT void Mth_Sort(int n, int* a, bool ascending);
/// @copydoc Mth_Sort(int,int*,bool)
MTH_EXPORT void Mth_Sort(int n, double* a, bool ascending);

/// Sorts n keys ascending and rearranges their n companions alike.
///
/// Quicksort with the median of three as pivot, which stops at equal keys, and straight insertion below 8
/// entries: where keys are equal, the order of their companions is the one that this procedure gives, the
/// same on every machine.
/// @param b  the companions, apart from the keys; or the array of keys itself, which is then sorted alone.
/// @return   false when more than 24 parts would wait to be sorted, after "Augmenter nstack dans Mth_Sort"
///           (caption "Quorvan"); the arrays are then partly sorted, each key with its companion. False, too,
///           for a null array of at least one value and, when both are one array, without memory.
/// @see      Hoare, Quicksort, The Computer Journal 5 (1962); Sedgewick, Communications of the ACM 21 (1978).
MTH_EXPORT bool Mth_Sort(int n, double* a, double* b);
/// @copydoc Mth_Sort(int,double*,double*)
MTH_EXPORT bool Mth_Sort(int n, float* a, float* b);
/// No other pair of arrays: the second one would be taken for the direction of a sort of the first alone.
template <class T, class U>
bool Mth_Sort(int n, T* a, U* b) = delete;

/// Replaces n values, sorted ascending, by their ranks. Ranks run from 0 to n - 1; equal values share the
/// mean of theirs.
/// @param s  receives the sum of t^3 - t over the groups of t equal values.
MTH_EXPORT void Mth_ReplaceByRank(int n, double* w, double* s);

/// @return  each distinct value once, largest first. Of zeros of both signs it is the last one that Mth_Sort
///          leaves, ascending, of one array.
MTH_EXPORT std::vector<double> Mth_SortVector(std::vector<double> v);

/// Comparisons of two `MTH_3D_DOUBLE`, for MTH_POINTER_LIST::Sort: the difference of one coordinate in
/// thousandths, truncated toward zero, so that points closer than 0.001 compare equal. Differences beyond the
/// range of int give its end; a NaN coordinate or a null point compares equal.
MTH_EXPORT int Mth_SortXCroissant(void* a, void* b);
/// @copydoc Mth_SortXCroissant
MTH_EXPORT int Mth_SortYCroissant(void* a, void* b);
/// @copydoc Mth_SortXCroissant
MTH_EXPORT int Mth_SortZCroissant(void* a, void* b);
/// Distance of two `MTH_3D_DOUBLE` in thousandths, truncated, never negative: as a comparison it only tells
/// coincident points (0) from others, which is intended. Otherwise as Mth_SortXCroissant.
MTH_EXPORT int Mth_SortDist(void* a, void* b);
