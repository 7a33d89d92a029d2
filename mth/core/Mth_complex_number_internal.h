#pragma once

#include <cmath>

#include "mth/core/Mth_elementary_internal.h"

namespace mth_internal {

/// A complex number for work inside an algorithm. Every operation is a fixed sequence of rounded steps, which
/// that of the standard library is not: compilers send its product and quotient to support routines of their
/// own.
class Complex {
 public:
  constexpr Complex() = default;
  constexpr Complex(double re, double im = 0.0) : re_(re), im_(im) {}  // numbers are complex numbers
  constexpr double real() const { return re_; }
  constexpr double imag() const { return im_; }

  constexpr Complex operator-() const { return {-re_, -im_}; }
  constexpr Complex& operator+=(Complex z) { return *this = *this + z; }
  constexpr Complex& operator*=(double factor) { return *this = factor * *this; }
  friend constexpr Complex operator+(Complex a, Complex b) { return {a.re_ + b.re_, a.im_ + b.im_}; }
  friend constexpr Complex operator-(Complex a, Complex b) { return {a.re_ - b.re_, a.im_ - b.im_}; }
  friend constexpr Complex operator*(double factor, Complex z) { return {factor * z.re_, factor * z.im_}; }
  friend constexpr Complex operator/(Complex z, double divisor) { return {z.re_ / divisor, z.im_ / divisor}; }
  friend constexpr Complex operator*(Complex a, Complex b) {
    return {a.re_ * b.re_ - a.im_ * b.im_, a.re_ * b.im_ + a.im_ * b.re_};
  }
  /// By the ratio of the divisor's parts, which does not overflow early (Smith, Comm. ACM 5, 1962).
  friend Complex operator/(Complex a, Complex b) {
    if (std::abs(b.re_) >= std::abs(b.im_)) {
      const double ratio = b.im_ / b.re_;
      const double divisor = b.re_ + b.im_ * ratio;
      return {(a.re_ + a.im_ * ratio) / divisor, (a.im_ - a.re_ * ratio) / divisor};
    }
    const double ratio = b.re_ / b.im_;
    const double divisor = b.re_ * ratio + b.im_;
    return {(a.re_ * ratio + a.im_) / divisor, (a.im_ * ratio - a.re_) / divisor};
  }

 private:
  double re_ = 0.0;
  double im_ = 0.0;
};

inline Complex Conjugate(Complex z) {
  return {z.real(), -z.imag()};
}
inline double SquaredModulus(Complex z) {
  return z.real() * z.real() + z.imag() * z.imag();
}
inline double Modulus(Complex z) {
  return Hypotenuse(z.real(), z.imag());
}
inline double Modulus(double x) {
  return std::abs(x);
}

}  // namespace mth_internal
