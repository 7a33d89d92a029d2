#pragma once

#include "std/Std_export.h"

/// A complex number of two doubles.
///
/// Nothing is checked: overflow, underflow and division by zero give what floating-point arithmetic gives.
/// Operations that return a pointer give a new number that the caller owns and deletes; null when there is no
/// memory.
class MTH_EXPORT MTH_COMPLEX {
 public:
  /// 0 + 0i.
  MTH_COMPLEX() = default;
  /// real + imaginary i.
  MTH_COMPLEX(double real, double imaginary) : real_(real), imaginary_(imaginary) {}

  /// @return  the real part.
  double getReal() const { return real_; }
  /// @return  the imaginary part.
  double getImag() const { return imaginary_; }
  /// Replaces the real part.
  void setReal(const double real) { real_ = real; }
  /// Replaces the imaginary part.
  void setImag(const double imaginary) { imaginary_ = imaginary; }

  /// Sum.
  [[nodiscard]] MTH_COMPLEX* operator+(const MTH_COMPLEX& other) const;
  /// Difference, this minus other.
  [[nodiscard]] MTH_COMPLEX* operator-(const MTH_COMPLEX& other) const;
  /// Product.
  [[nodiscard]] MTH_COMPLEX* operator*(const MTH_COMPLEX& other) const;
  /// Quotient, this divided by other, by the textbook formula without scaling.
  [[nodiscard]] MTH_COMPLEX* operator/(const MTH_COMPLEX& other) const;
  /// Both parts times the factor.
  [[nodiscard]] MTH_COMPLEX* operator*(const double factor) const;

  /// Modulus: the root of the sum of the squares, without scaling against overflow.
  double module() const;
  /// Argument in radians by the one-argument arctangent of imaginary / real, in [-pi/2, pi/2]. Intended: in
  /// the left half-plane it is not corrected by pi, except for exactly -1 + 0i, whose argument is pi.
  /// @return  0 for 0 + 0i.
  double phase() const;
  /// Principal square root, by the formula of half the sum of modulus and real part. With a negative real
  /// part a that sum cancels: digits go as |b / a| falls, b being the imaginary part, and from about 1e-8 on,
  /// unless b is 0, the sum is 0 and the imaginary part of the result infinite. Nothing guards it, by
  /// intention.
  [[nodiscard]] MTH_COMPLEX* sqrt_complex() const;
  /// Square.
  [[nodiscard]] MTH_COMPLEX* sqr_complex() const;

 private:
  double real_ = 0.0;
  double imaginary_ = 0.0;
};
