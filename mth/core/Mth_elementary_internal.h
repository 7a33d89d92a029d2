#pragma once

#include <cstdint>

/// @file
/// Elementary functions whose bits are the same on every machine, which the C library's are not: every step
/// is one rounded operation, in vector lanes as for single numbers. docs/accuracy.md states the largest
/// errors. Special values are those that IEEE 754 recommends; in rounding modes other than to nearest the
/// errors grow to a few units. Kernel files have the same functions as templates over lanes, from
/// Mth_elementary_loops_internal.h.

namespace mth_internal {

double Exponential(double x);
double Logarithm(double x);
/// x to the power y.
double Power(double x, double y);
double Sine(double x);
double Cosine(double x);
double Arctangent(double x);
/// The angle of the point (x, y), from -pi to pi.
double Arctangent(double y, double x);
double Arcsine(double x);
double Arccosine(double x);
/// The square root of x^2 + y^2, without overflow on the way.
double Hypotenuse(double x, double y);
/// The square root of x^2 + y^2 + z^2.
double Hypotenuse(double x, double y, double z);

/// results[i] = f(x[i]) for `count` numbers, in lanes; `results` may be `x`. The bits are those of the
/// functions above.
void Exponentials(const double* x, std::int64_t count, double* results);
void Logarithms(const double* x, std::int64_t count, double* results);
void Powers(const double* x, double y, std::int64_t count, double* results);
void Sines(const double* x, std::int64_t count, double* results);
void Cosines(const double* x, std::int64_t count, double* results);
void Arctangents(const double* x, std::int64_t count, double* results);
void Arcsines(const double* x, std::int64_t count, double* results);
void Arccosines(const double* x, std::int64_t count, double* results);
void Hypotenuses(const double* x, const double* y, std::int64_t count, double* results);

/// What the lanes leave to single numbers: arguments for which the common steps do not hold.
double SpecialPower(double x, double y);
double SineOfFar(double x);
double CosineOfFar(double x);
double SpecialHypotenuse(double x, double y);

}  // namespace mth_internal
