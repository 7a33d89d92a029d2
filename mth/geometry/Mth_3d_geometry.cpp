#include "mth/geometry/Mth_3d_geometry.h"

#include <algorithm>
#include <cmath>

#include "mth/decomposition/Mth_pseudo_inverse_internal.h"
#include "mth/geometry/Mth_vector3_internal.h"
#include "mth/matrix/Mth_matrix_internal.h"

using mth_internal::Dot;
using mth_internal::IsFinite;
using mth_internal::LargestCoordinate;
using mth_internal::Length;
using mth_internal::MatrixPtr;
using mth_internal::ToPoint;
using mth_internal::ToVector;
using mth_internal::UnitNormal;
using mth_internal::Vector3;

namespace {

void Copy(const Vector3& v, double* out) {
  out[0] = v.x;
  out[1] = v.y;
  out[2] = v.z;
}

// Exact: by a power of two.
Vector3 Scaled(const Vector3& v, int exponent) {
  return {std::ldexp(v.x, exponent), std::ldexp(v.y, exponent), std::ldexp(v.z, exponent)};
}

// The exponent of the power of two that brings the largest coordinate to about 1; 0 where none does.
int ExponentToUnit(const Vector3& v) {
  const double largest = LargestCoordinate(v);
  return largest > 0.0 && std::isfinite(largest) ? -std::ilogb(largest) : 0;
}

// The points as rows of an n x 3 matrix; null without memory.
MatrixPtr RowsOf(const MTH_3D_DOUBLE* points, int n) {
  MatrixPtr rows = mth_internal::NewMatrix(n, 3, 0);
  if (rows == nullptr) return nullptr;
  double* row = rows->GetEDataAddress();
  for (int i = 0; i < n; ++i, row += 3) Copy(ToVector(points[i]), row);
  return rows;
}

}  // namespace

int Mth_3D_ShortSegmentBetweenLines(double L1[2][3], double L2[2][3], double seg[2][3], double* mu) {
  if (L1 == nullptr || L2 == nullptr || seg == nullptr || mu == nullptr) return -1;
  const Vector3 p1 = ToVector(L1[0]);
  const Vector3 p3 = ToVector(L2[0]);
  const Vector3 p21 = ToVector(L1[1]) - p1;
  const Vector3 p43 = ToVector(L2[1]) - p3;
  const Vector3 p31 = p3 - p1;

  const double d3143 = Dot(p31, p43);
  const double d4321 = Dot(p43, p21);
  const double d3121 = Dot(p31, p21);
  const double d4343 = Dot(p43, p43);
  const double d2121 = Dot(p21, p21);
  if (d2121 == 0.0) return -1;
  const double denominator = d4343 - d4321 * d4321 / d2121;
  if (denominator == 0.0) return -1;

  const double mub = (d4321 * d3121 / d2121 - d3143) / denominator;
  const double mua = (d4321 * mub + d3121) / d2121;
  Copy(p1 + mua * p21, seg[0]);
  Copy(p3 + mub * p43, seg[1]);
  mu[0] = mua;
  mu[1] = mub;
  return 0;
}

double Mth_3D_LinesIntersection(double L1[2][3], double L2[2][3], double* p) {
  double segment[2][3];
  double mu[2];
  if (p == nullptr || Mth_3D_ShortSegmentBetweenLines(L1, L2, segment, mu) != 0) return -1.0;
  const Vector3 first = ToVector(segment[0]);
  const Vector3 second = ToVector(segment[1]);
  Copy(0.5 * (first + second), p);
  return ToPoint(first).Distance(ToPoint(second));
}

bool Mth_3D_CalculCoeffPlan(MTH_3D_DOUBLE* points, short n, double* coeff) {
  if (points == nullptr || coeff == nullptr || n < 3) return false;
  const auto rows = RowsOf(points, n);
  MTH_MATRIX right(n, 1, 0);
  if (rows == nullptr || !right.IsAllocated()) return false;
  std::fill_n(right.GetEDataAddress(), n, -1.0);
  const MatrixPtr solution(mth_internal::SolveBySVDSilently(*rows, right));
  if (!mth_internal::IsUsable(solution.get())) return false;
  for (int i = 0; i < 3; ++i) coeff[i] = solution->Get(i, 0);
  coeff[3] = 1.0;
  return true;
}

bool Mth_3D_PointProjectionOnPlan(MTH_3D_DOUBLE* plane, MTH_3D_DOUBLE point, MTH_3D_DOUBLE* projection) {
  if (plane == nullptr || projection == nullptr) return false;
  const Vector3 origin = ToVector(plane[0]);
  const Vector3 normal = UnitNormal(origin, ToVector(plane[1]), ToVector(plane[2]));
  const Vector3 p = ToVector(point);
  if (!IsFinite(normal) || Length(normal) == 0.0) return false;
  *projection = ToPoint(p - Dot(p - origin, normal) * normal);
  return true;
}

double Mth_3D_PointDiffToNormal(MTH_3D_DOUBLE* origin, MTH_3D_DOUBLE point, MTH_3D_DOUBLE normal) {
  if (origin == nullptr) return 0.0;
  const Vector3 n = ToVector(normal);
  const double length = Length(n);
  if (length == 0.0) return 0.0;
  return Dot(ToVector(point) - ToVector(*origin), n) / length;
}

int Mth_3D_PointProjectionOnSegment(MTH_3D_DOUBLE* point, MTH_3D_DOUBLE* segment, MTH_3D_DOUBLE* projection,
                                    double* t) {
  if (point == nullptr || segment == nullptr || projection == nullptr || t == nullptr) return -1;
  const Vector3 start = ToVector(segment[0]);
  const Vector3 along = ToVector(segment[1]) - start;
  if (Length(along) == 0.0) return -1;
  // In units of about the segment's length, a power of two, its squares are in range whatever the length. A
  // point may be too far away for these units: it keeps as large ones as it needs.
  constexpr int kMostExponent = 1000;
  const int exponent = ExponentToUnit(along);
  const Vector3 unit = Scaled(along, exponent);
  const Vector3 toPoint = ToVector(*point) - start;
  const int possible = std::min(exponent, kMostExponent + ExponentToUnit(toPoint));
  *t = std::ldexp(Dot(Scaled(toPoint, possible), unit) / Dot(unit, unit), exponent - possible);
  *projection = ToPoint(start + *t * along);
  return 0;
}
