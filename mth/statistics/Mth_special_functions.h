#pragma once

#include "std/Std_export.h"

/// @file
/// Gamma, beta and error functions, and the significance level of Mann and Whitney. Their messages carry the
/// caption "Quorvan".

/// ln Gamma(x) for x > 0, by Lanczos' formula with gamma = 5 and six terms: relative error of Gamma below
/// 2e-10. Other x give what floating-point arithmetic gives.
/// @see  Lanczos, SIAM Journal on Numerical Analysis B1 (1964).
MTH_EXPORT double Mth_LogarithmGamma(double x);

/// Gamma(x) for x > 0, through Mth_LogarithmGamma.
MTH_EXPORT double Mth_Gamma(double x);

/// Regularised incomplete beta function I_x(a, b), for a, b > 0.
/// @return  0 for x outside [0, 1], after "x non adapté dans Mth_IncompleteBeta". Where the continued
///          fraction fails it counts as 0, after its message: the result is then 0 below (a + 1) / (a + b +
///          2), 1 from there on, and NaN for x NaN.
/// @see     Abramowitz & Stegun, Handbook of Mathematical Functions, 26.5.8.
MTH_EXPORT double Mth_IncompleteBeta(double a, double b, double x);

/// Continued fraction of I_x(a, b), by the modified Lentz method to 3e-7.
/// @return  0, after "Problème dans Mth_UsedByIncompleteBeta", when it has not converged before its 100th
///          term; a NaN argument does not converge.
MTH_EXPORT double Mth_UsedByIncompleteBeta(double a, double b, double x);

/// erfc(x) by a Chebyshev fit. Intended: the last coefficient is 0.170872277, with which the relative error
/// reaches 5.2e-7.
MTH_EXPORT double Mth_ComplementaryErrorFunction(double x);

/// erf(x) in single precision, through the incomplete gamma function P(1/2, x^2): absolute error below 1e-6.
/// Beyond 4e9 in magnitude, where its continued fraction overflows, it is +-1, and 1 for NaN, after "a est
/// très grand!!!, ITMAX doit être très petit dans la routine GCF".
MTH_EXPORT float Mth_ErrorFunction(const float x);

/// Two-sided significance of the rank test of Mann and Whitney for two samples of n values each.
///
/// Equal values share their mean rank; the statistic is compared with the normal law, with the variance
/// corrected for ties and a continuity correction of 1/2, and the tail is Mth_ComplementaryErrorFunction's.
/// Both samples are left sorted ascending.
/// @return  1 also for n below 1, for a null sample, when all values are equal and when memory runs out; NaN,
///          with the samples as they were, when one of them holds a NaN.
/// @see     Mann & Whitney, Annals of Mathematical Statistics 18 (1947).
MTH_EXPORT double Mth_TestMannWhitney(double* x, double* y, int n);
