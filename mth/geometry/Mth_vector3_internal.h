#pragma once

#include <cmath>

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
/// Length without overflow or underflow on the way.
inline double Length(const Vector3& v) {
  return std::hypot(v.x, v.y, v.z);
}
/// The largest magnitude among the coordinates; NaN counts as 0.
inline double LargestCoordinate(const Vector3& v) {
  return std::fmax(std::abs(v.x), std::fmax(std::abs(v.y), std::abs(v.z)));
}
inline bool IsFinite(const Vector3& v) {
  return std::isfinite(v.x) && std::isfinite(v.y) && std::isfinite(v.z);
}

}  // namespace mth_internal
