#pragma once

#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_elementary_internal.h"
#include "mth/value/Mth_3d_double.h"

namespace mth_internal {

/// Three coordinates, for the arithmetic inside the geometry. Sums run in the order x, y, z.
struct Vector3 {
  double x = 0.0;
  double y = 0.0;
  double z = 0.0;
};

inline Vector3 ToVector(const MTH_3D_DOUBLE& point) {
  return {point.GetX(), point.GetY(), point.GetZ()};
}
inline Vector3 ToVector(const double (&point)[3]) {
  return {point[0], point[1], point[2]};
}
inline MTH_3D_DOUBLE ToPoint(const Vector3& v) {
  return {v.x, v.y, v.z};
}

inline Vector3 operator+(const Vector3& a, const Vector3& b) {
  return {a.x + b.x, a.y + b.y, a.z + b.z};
}
inline Vector3 operator-(const Vector3& a, const Vector3& b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}
inline Vector3 operator*(double factor, const Vector3& v) {
  return {factor * v.x, factor * v.y, factor * v.z};
}
inline double Dot(const Vector3& a, const Vector3& b) {
  return a.x * b.x + a.y * b.y + a.z * b.z;
}
inline Vector3 Cross(const Vector3& a, const Vector3& b) {
  return {a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
}
/// The square of MTH_3D_DOUBLE::Distance before its root, which keeps the order: the smallest and the largest
/// distance can be found among the squares.
inline double SquaredDistance(const Vector3& from, const Vector3& to) {
  const Vector3 d = to - from;
  return d.x * d.x + d.y * d.y + d.z * d.z;
}
/// Length without overflow or underflow on the way.
inline double Length(const Vector3& v) {
  return mth_internal::Hypotenuse(v.x, v.y, v.z);
}
/// The largest magnitude among the coordinates; NaN counts as 0.
inline double LargestCoordinate(const Vector3& v) {
  return std::fmax(std::abs(v.x), std::fmax(std::abs(v.y), std::abs(v.z)));
}
inline bool IsFinite(const Vector3& v) {
  return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

/// Unit normal of the plane through three points; the zero vector when they are collinear: when the sine of
/// the angle between two sides is within what the rounding of the coordinates makes of 0.
inline Vector3 UnitNormal(const Vector3& a, const Vector3& b, const Vector3& c) {
  constexpr double kRoundings = 8.0 * std::numeric_limits<double>::epsilon();
  const Vector3 first = b - a;
  const Vector3 second = c - a;
  const double firstLength = Length(first);
  const double secondLength = Length(second);
  if (!(firstLength > 0.0) || !(secondLength > 0.0)) return {};
  const Vector3 normal = Cross((1.0 / firstLength) * first, (1.0 / secondLength) * second);
  const double sine = Length(normal);
  const double reach = std::max({LargestCoordinate(a), LargestCoordinate(b), LargestCoordinate(c)});
  if (!(sine > kRoundings * (1.0 + reach / firstLength + reach / secondLength))) return {};
  return (1.0 / sine) * normal;
}

}  // namespace mth_internal
