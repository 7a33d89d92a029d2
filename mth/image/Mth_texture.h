#pragma once

#include "mth/matrix/Mth_matrix.h"
#include "std/Std_export.h"

/// @file
/// Texture features of a grey-level co-occurrence matrix P, which the caller counts and, as a rule, divides
/// by its sum. P has R rows and C columns, of either element type; row i and column j are grey levels from 0.
///
/// Intended: several features differ from the textbook's, in an offset, a sign or a mean that is not divided;
/// results stay comparable with those of earlier versions of the same formulas. docs/texture.md puts each
/// beside Haralick's definition and the imaging-biomarker standard's.
///
/// All use these distributions, of R + C, 2 R - 1 and R values:
///  - px[i], py[j]: the sums of row i and of column j;
///  - psum[k], k = 0 ... 2 R - 2: the sum of P(i, j) over i + j = k + 2. Intended: the pairs with
///    i + j < 2 are not counted, and of a square matrix the last two values are 0;
///  - pdiff[k], k = 0 ... R - 1: the sum of P(i, j) over |i - j| = k.
///
/// Sums run in row order, in double, the homogeneity aside. Logarithms are natural; terms whose probability
/// is exactly 0 are left out, and a negative one makes the result NaN. Nothing else is checked: a variance of
/// 0 gives an infinity or NaN. A null or unallocated P counts as one without elements, whose sums are 0. A
/// feature that finds no memory for its distributions is NaN.
/// @see  Haralick, Shanmugam & Dinstein, IEEE Transactions on Systems, Man, and Cybernetics 3 (1973) 610-621.

/// Sum of (i - j)^2 P(i, j).
MTH_EXPORT double Mth_Contrast(MTH_MATRIX* P);
/// Sum of P(i, j) / (1 + (i - j)^2), in single precision throughout.
MTH_EXPORT float Mth_Homogeneity(MTH_MATRIX* P);
/// Sum of P(i, j)^2.
MTH_EXPORT double Mth_Energy(MTH_MATRIX* P);
/// Sum of P(i, j). Intended: not divided by anything, so that it is 1 for a normalised matrix.
MTH_EXPORT double Mth_Mean(MTH_MATRIX* P);
/// Sum of (i - Mth_Mean(P))^2 P(i, j).
MTH_EXPORT double Mth_Variance(MTH_MATRIX* P);
/// Minus the sum of P(i, j) ln P(i, j).
MTH_EXPORT double Mth_Entropy(MTH_MATRIX* P);
/// (Sij - mx my) / (sqrt(vj) sqrt(vi)), where Sij is the sum of i j P(i, j). Intended: the means are those of
/// the elements, not of the levels: with r[i] = px[i] / C and c[j] = py[j] / R, mx is the sum of i r[i], my
/// the sum of j c[j], vi the sum of (i - r[i])^2 P(i, j) and vj the sum of (j - c[j])^2 P(i, j).
MTH_EXPORT double Mth_Correlation(MTH_MATRIX* P);
/// Sum of (k + 2) psum[k].
MTH_EXPORT double Mth_MeanSum(MTH_MATRIX* P);
/// Sum of (k - Mth_MeanSum(P))^2 psum[k]. Intended: k here, not k + 2.
MTH_EXPORT double Mth_VarSum(MTH_MATRIX* P);
/// Minus the sum of psum[k] ln psum[k].
MTH_EXPORT double Mth_EntSum(MTH_MATRIX* P);
/// Sum of (k - m)^2 pdiff[k], where m is the sum of pdiff divided by R.
MTH_EXPORT double Mth_VarDifferences(MTH_MATRIX* P);
/// Sum of pdiff[k] ln pdiff[k]. Intended: not negated, unlike the other entropies.
MTH_EXPORT double Mth_EntDifferences(MTH_MATRIX* P);
/// (HXY - HXY1) / max(HX, HY), where HX, HY and HXY are the entropies of px, py and P, and HXY1 is minus the
/// sum of P(i, j) ln(px[i] py[j]).
MTH_EXPORT double Mth_CorrelationInfo1(MTH_MATRIX* P);
/// sqrt(1 - exp(-2 (HXY2 - HXY))), where HXY2 is minus the sum of px[i] py[j] ln(px[i] py[j]); NaN when
/// rounding makes HXY2 the smaller one.
MTH_EXPORT double Mth_CorrelationInfo2(MTH_MATRIX* P);
