#pragma once

#include <concepts>
#include <vector>

#include "mth/matrix/Mth_matrix.h"
#include "std/Std_export.h"

/// @file
/// Summary statistics of arrays, vectors and matrices. The test of Mann and Whitney is in
/// Mth_special_functions.h.
///
/// Sums run in index order in double, so that results are the same on every machine. Where nothing else is
/// said nothing is checked: counts that leave nothing to divide by, and constant data, give the infinity or
/// NaN of floating-point arithmetic. Arrays belong to the caller and are only read; arrays of arrays hold one
/// array per dimension, of n samples each. A null array counts as one without values; where results are
/// written to arguments, nothing is when an argument is null. New matrices belong to the caller; they are
/// null when an argument is null or unallocated or when memory runs out.
///
/// What takes arrays takes constant ones too: by templates at the end, so that a literal null pointer finds
/// the one function.

/// Mean of n values; 0 without values.
MTH_EXPORT double Mth_Mean(double* x, long n);
/// @copydoc Mth_Mean(double*,long)
MTH_EXPORT double Mth_Mean(std::vector<double> v);

/// Population standard deviation (divisor n) in one pass, sqrt((n sum x^2 - (sum x)^2) / n^2); 0 without
/// values. Rounding may make the radicand of nearly constant data negative: the result is then NaN.
MTH_EXPORT double Mth_StdDeviation(double* x, long n);
/// @copydoc Mth_StdDeviation(double*,long)
MTH_EXPORT double Mth_StdDeviation(std::vector<double> v);

/// Smallest value; the largest finite double without values.
MTH_EXPORT double Mth_Min(double* x, int n);
/// @copydoc Mth_Min(double*,int)
MTH_EXPORT double Mth_Min(std::vector<double> v);

/// Index of the first smallest value among those below 1000; 0 without any. The start value is intended.
MTH_EXPORT int Mth_Ind_Min(double* x, int n);
/// Index of the first largest value among those above 0; 0 without any. The start value is intended.
MTH_EXPORT int Mth_Ind_Max(double* x, int n);

/// Means of the d dimensions of n samples; nothing is written when n = 0 or d <= 0.
/// @param out  receives d means.
MTH_EXPORT void Mth_MeanVector(double** x, short n, short d, double* out);
/// @copydoc Mth_MeanVector(double**,short,short,double*)
MTH_EXPORT void Mth_MeanVector(double** x, int n, short d, double* out);
/// New 1 x columns matrix of the column means, of the argument's element type.
[[nodiscard]] MTH_EXPORT MTH_MATRIX* Mth_MeanVector(MTH_MATRIX* m);

/// New 1 x columns matrix of the sample standard deviations of the columns (divisor rows - 1: intended to
/// differ from Mth_StdDeviation), in two passes, of the argument's element type.
[[nodiscard]] MTH_EXPORT MTH_MATRIX* Mth_StdDeviationVector(MTH_MATRIX* m);

/// New d x d matrix of the population cross-covariances (divisor n) of two sets of n samples: entry (i, j) is
/// the mean of x[i] y[j] minus the product of their means. With y = x it is the covariance matrix. Without
/// samples, n = 0, every entry is NaN, whatever the arrays. Null also when the display, which a long
/// computation asks, cancels.
[[nodiscard]] MTH_EXPORT MTH_MATRIX* Mth_CovarianceMatrix(double** x, double** y, short n, short d);
/// @copydoc Mth_CovarianceMatrix(double**,double**,short,short)
[[nodiscard]] MTH_EXPORT MTH_MATRIX* Mth_CovarianceMatrix(double** x, double** y, int n, short d);

/// Spearman's rank correlation of n pairs; equal values share their mean rank. Ranks tell nothing of data
/// with a NaN, which Mth_Sort of a pair does not order. For n below 0, and when a sort fails or memory runs
/// out, nothing is written.
/// @param d       sum of the squared rank differences.
/// @param zd      its number of standard deviations from the value expected of independent data; 0 when that
///                deviation is 0.
/// @param probd   two-sided significance of zd, small for correlated data.
/// @param rs      the correlation; 0 when one side is constant.
/// @param probrs  two-sided significance of rs by Student's law with n - 2 degrees of freedom; 0 when rs is
///                1, -1 or NaN. Fewer than two pairs give NaN for zd, probd and rs, two pairs of which one
///                side is constant give it for probrs, after the message of the beta function's fraction.
/// @see   Lehmann, Nonparametrics: Statistical Methods Based on Ranks (1975).
MTH_EXPORT void Mth_CorrelationRatioOfSpearman(double* x, double* y, int n, double* d, double* zd,
                                               double* probd, double* rs, double* probrs);

/// Pearson's correlation of n pairs, the regression slope of y on x and the significance of the correlation.
/// Variances and covariance have the divisor n - 1. r is 0 when a variance is not above 1e-20, slope when
/// that of x is not.
/// @param prob  with t = r sqrt((n - 2) / (1 - r^2)): one-sided for n = 3 (Student) and from n - 2 = 1e7 on
///              (normal), two-sided between (Student), 0.5 for t = 0 beyond n = 3, 0 for n <= 2. The mixture
///              is intended. The r of exactly linear data may round beyond 1 or -1 and is left so: t is then
///              no number, and prob NaN, where it is two-sided after the message of the beta function's
///              fraction.
MTH_EXPORT void Mth_StatisticalCriterionCalculations(double* x, double* y, int n, double* meanX, double* varX,
                                                     double* meanY, double* varY, double* covXY, double* r,
                                                     double* slope, double* prob);

/// Median of the column medians of the absolute values: a robust estimate of scale, as of noise. An even
/// count has the mean of its two middle values as median. Intended: each column of the matrix is left holding
/// its absolute values sorted ascending.
/// @return  0 for a null, unallocated or empty matrix, and, with the matrix unchanged, when memory runs out.
MTH_EXPORT double Mth_Median(MTH_MATRIX* m);

/// Median of the values; intended to be the lower middle one for an even count. A median below 0, above 1000
/// or between 0 and 1 but 0.5 shows "dex" (caption "Error") before it is returned.
/// @param index  receives the first index that holds the median, -1 when none does.
/// @return       0 for an empty vector, with the index untouched, and when memory runs out.
MTH_EXPORT double Mth_Median(std::vector<double> v, int& index);

/// New rows x 9 double matrix: row, column and value of the smallest, the second and the third smallest entry
/// of each row.
///
/// Each search starts from the value at column 0, whose index is not recorded, and only a strictly smaller
/// entry at a column not yet taken replaces it. Intended: when none does, the column of the smallest entry is
/// the one told for the row before (-1 in the first row), which the other two searches then skip, and that of
/// the others is -1. A matrix without columns gives zeros.
[[nodiscard]] MTH_EXPORT MTH_MATRIX* Mth_Opt_Matrix(MTH_MATRIX* m);

/// Slope of the least-squares line of y on x, (n sum xy - sum x sum y) / (n sum x^2 - (sum x)^2), in double.
MTH_EXPORT double Mth_Pente(double* x, double* y, int n);
/// @copydoc Mth_Pente(double*,double*,int)
MTH_EXPORT double Mth_Pente(int* x, int* y, int n);
/// @copydoc Mth_Pente(double*,double*,int)
MTH_EXPORT double Mth_Pente(float* x, float* y, int n);
/// Slope over the elements of two vectors; of vectors of different lengths the common part counts.
MTH_EXPORT double Mth_Pente(std::vector<double> x, std::vector<double> y);

/// @copydoc Mth_Mean(double*,long)
template <std::same_as<double> T>
double Mth_Mean(const T* x, long n) {
  return Mth_Mean(const_cast<T*>(x), n);
}
/// @copydoc Mth_StdDeviation(double*,long)
template <std::same_as<double> T>
double Mth_StdDeviation(const T* x, long n) {
  return Mth_StdDeviation(const_cast<T*>(x), n);
}
/// @copydoc Mth_Min(double*,int)
template <std::same_as<double> T>
double Mth_Min(const T* x, int n) {
  return Mth_Min(const_cast<T*>(x), n);
}
/// @copydoc Mth_Ind_Min(double*,int)
template <std::same_as<double> T>
int Mth_Ind_Min(const T* x, int n) {
  return Mth_Ind_Min(const_cast<T*>(x), n);
}
/// @copydoc Mth_Ind_Max(double*,int)
template <std::same_as<double> T>
int Mth_Ind_Max(const T* x, int n) {
  return Mth_Ind_Max(const_cast<T*>(x), n);
}
/// @copydoc Mth_MeanVector(double**,int,short,double*)
template <std::same_as<double> T>
void Mth_MeanVector(const T* const* x, int n, short d, double* out) {
  Mth_MeanVector(const_cast<T**>(x), n, d, out);
}
/// @copydoc Mth_CovarianceMatrix(double**,double**,int,short)
template <std::same_as<double> T>
[[nodiscard]] MTH_MATRIX* Mth_CovarianceMatrix(const T* const* x, const T* const* y, int n, short d) {
  return Mth_CovarianceMatrix(const_cast<T**>(x), const_cast<T**>(y), n, d);
}
/// @copydoc Mth_CorrelationRatioOfSpearman(double*,double*,int,double*,double*,double*,double*,double*)
template <std::same_as<double> T>
void Mth_CorrelationRatioOfSpearman(const T* x, const T* y, int n, double* d, double* zd, double* probd,
                                    double* rs, double* probrs) {
  Mth_CorrelationRatioOfSpearman(const_cast<T*>(x), const_cast<T*>(y), n, d, zd, probd, rs, probrs);
}
/// As with arrays that are not const.
template <std::same_as<double> T>
void Mth_StatisticalCriterionCalculations(const T* x, const T* y, int n, double* meanX, double* varX,
                                          double* meanY, double* varY, double* covXY, double* r,
                                          double* slope, double* prob) {
  Mth_StatisticalCriterionCalculations(const_cast<T*>(x), const_cast<T*>(y), n, meanX, varX, meanY, varY,
                                       covXY, r, slope, prob);
}
/// @copydoc Mth_Pente(double*,double*,int)
template <class T>
requires std::same_as<T, double> || std::same_as<T, float> || std::same_as<T, int>
double Mth_Pente(const T* x, const T* y, int n) {
  return Mth_Pente(const_cast<T*>(x), const_cast<T*>(y), n);
}
