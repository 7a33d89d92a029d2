#include "mth/value/Mth_complex.h"

#include <cmath>
#include <new>
#include <numbers>

#include "mth/core/Mth_elementary_internal.h"

namespace {

MTH_COMPLEX* New(double real, double imaginary) {
  return new (std::nothrow) MTH_COMPLEX(real, imaginary);
}

}  // namespace

MTH_COMPLEX* MTH_COMPLEX::operator+(const MTH_COMPLEX& other) const {
  return New(real_ + other.real_, imaginary_ + other.imaginary_);
}

MTH_COMPLEX* MTH_COMPLEX::operator-(const MTH_COMPLEX& other) const {
  return New(real_ - other.real_, imaginary_ - other.imaginary_);
}

MTH_COMPLEX* MTH_COMPLEX::operator*(const MTH_COMPLEX& other) const {
  return New(real_ * other.real_ - imaginary_ * other.imaginary_,
             real_ * other.imaginary_ + imaginary_ * other.real_);
}

MTH_COMPLEX* MTH_COMPLEX::operator/(const MTH_COMPLEX& other) const {
  const double squaredModulus = other.real_ * other.real_ + other.imaginary_ * other.imaginary_;
  return New((real_ * other.real_ + imaginary_ * other.imaginary_) / squaredModulus,
             (imaginary_ * other.real_ - real_ * other.imaginary_) / squaredModulus);
}

MTH_COMPLEX* MTH_COMPLEX::operator*(const double factor) const {
  return New(factor * real_, factor * imaginary_);
}

double MTH_COMPLEX::module() const {
  return std::sqrt(real_ * real_ + imaginary_ * imaginary_);
}

double MTH_COMPLEX::phase() const {
  using std::numbers::pi;
  if (real_ == 0.0) {
    if (imaginary_ < 0.0) return -pi / 2.0;
    return imaginary_ > 0.0 ? pi / 2.0 : 0.0;
  }
  if (real_ == 1.0 && imaginary_ == 0.0) return 0.0;
  if (real_ == 1.0 && imaginary_ == 1.0) return pi / 4.0;
  if (real_ == -1.0 && imaginary_ == 0.0) return pi;
  return mth_internal::Arctangent(imaginary_ / real_);
}

MTH_COMPLEX* MTH_COMPLEX::sqrt_complex() const {
  if (real_ <= 0.0 && imaginary_ == 0.0) return New(0.0, std::sqrt(std::abs(real_)));
  const double real = std::sqrt((module() + real_) * 0.5);
  return New(real, imaginary_ / (2.0 * real));
}

MTH_COMPLEX* MTH_COMPLEX::sqr_complex() const {
  return New(real_ * real_ - imaginary_ * imaginary_, 2.0 * real_ * imaginary_);
}
