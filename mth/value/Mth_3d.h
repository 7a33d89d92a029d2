#pragma once

#include <concepts>
#include <type_traits>

#include "std/Std_export.h"

/// A point of space; MTH_3D_DOUBLE, MTH_3D_FLOAT and MTH_3D_INTEGER are its three members.
///
/// The arithmetic is compiled in the library, so that its roundings do not depend on the host's compiler
/// flags.
/// @tparam T  double, float or int (32 bits).
template <class T>
class MTH_EXPORT MTH_3D_POINT {
 public:
  /// The type of a distance: int for integer points, double for the others.
  using DistanceType = std::conditional_t<std::integral<T>, int, double>;

  /// The origin.
  MTH_3D_POINT() = default;
  /// The point of those coordinates.
  MTH_3D_POINT(const T x, const T y, const T z) : x_(x), y_(y), z_(z) {}

  /// Replaces the three coordinates.
  void Set3DCoord(const T x, const T y, const T z) {
    x_ = x;
    y_ = y;
    z_ = z;
  }
  /// Replaces one coordinate.
  void SetX(const T x) { x_ = x; }
  /// @copydoc SetX
  void SetY(const T y) { y_ = y; }
  /// @copydoc SetX
  void SetZ(const T z) { z_ = z; }
  /// @return  one coordinate.
  T GetX() const { return x_; }
  /// @copydoc GetX
  T GetY() const { return y_; }
  /// @copydoc GetX
  T GetZ() const { return z_; }

  /// Whether all coordinates are exactly equal, without tolerance: a NaN makes points unequal.
  bool operator==(const MTH_3D_POINT& other) const = default;

  /// Euclidean distance. The coordinate differences and their squares are rounded to T, the squares of
  /// floating points are summed in double, and the square root is taken in double.
  /// @return  for integer points, whose arithmetic wraps in 32 bits, the root truncated toward zero; 0 where
  ///          the wrapped sum is negative.
  DistanceType Distance(MTH_3D_POINT other) const;

  /// Distance(other) - (a - b), and 0 where that is negative. Only points of doubles have it.
  double Distance_hyp(MTH_3D_POINT other, double a, double b) const requires std::same_as<T, double>;

 private:
  T x_ = 0;
  T y_ = 0;
  T z_ = 0;
};

extern template class MTH_3D_POINT<double>;
extern template class MTH_3D_POINT<float>;
extern template class MTH_3D_POINT<int>;
