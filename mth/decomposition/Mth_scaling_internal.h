#pragma once

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace mth_internal {

/// The largest magnitude of `count` elements, 0 for none; those that are NaN do not count. Several maxima are
/// found side by side: none waits for the one before it.
template <class T>
double LargestMagnitude(const T* elements, std::int64_t count) {
  constexpr std::int64_t kMaxima = 8;
  double largest[kMaxima] = {};
  const auto take = [&](double& maximum, T element) {
    maximum = std::max(maximum, std::abs(static_cast<double>(element)));
  };
  std::int64_t i = 0;
  for (; i + kMaxima <= count; i += kMaxima) {
    for (std::int64_t k = 0; k < kMaxima; ++k) take(largest[k], elements[i + k]);
  }
  for (; i < count; ++i) take(largest[0], elements[i]);
  return *std::max_element(largest, largest + kMaxima);
}

/// The power of two, within 2^-1000 and 2^1000, that brings this magnitude to about 1; 1 for 0.
inline double PowerToUnit(double magnitude) {
  const int exponent = magnitude == 0.0 ? 0 : std::ilogb(magnitude);
  return std::ldexp(1.0, -std::clamp(exponent, -1000, 1000));
}

/// Magnitudes below it, and above its reciprocal, whose squares and sums of squares stay in range.
constexpr double kLargestOrdinary = 0x1p400;

/// The power of two by which elements must be multiplied before they are worked with: 1 unless the largest is
/// beyond `ordinary` or its reciprocal.
template <class T>
double ScaleToUnit(const T* elements, std::int64_t count, double ordinary = kLargestOrdinary) {
  const double largest = LargestMagnitude(elements, count);
  const bool isOrdinary =
      largest == 0.0 || !std::isfinite(largest) || (largest < ordinary && largest > 1.0 / ordinary);
  return isOrdinary ? 1.0 : PowerToUnit(largest);
}

/// Sums of squares in this range are as exact as they look: nothing that counts beside them has vanished, and
/// neither they nor 2 divided by them overflow.
constexpr double kSmallestSquares = 0x1p-1020;
constexpr double kLargestSquares = 0x1p1020;

inline bool AreSquaresSafe(double squares) {
  return squares >= kSmallestSquares && squares <= kLargestSquares;
}

}  // namespace mth_internal
