#include "mth/geometry/Mth_matrix_chgref.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>
#include <numbers>

#include "mth/core/Mth_elementary_internal.h"
#include "mth/geometry/Mth_funct_chgref_param.h"
#include "mth/geometry/Mth_rigid_map_internal.h"
#include "mth/geometry/Mth_vector3_internal.h"

// Construction, access, conversions between matrix, angles and quaternion, mapping and refinement.

namespace {

constexpr double kDegrees = 1.0 / 180.0;

// Below it, what is left of the cosine of the second angle is rounding, and the other two angles turn about
// the same axis.
constexpr double kGimbalLock = 1e-12;

double ToRadians(double degrees) {
  return degrees * std::numbers::pi * kDegrees;
}

double ToDegrees(double radians) {
  return radians * 180.0 * std::numbers::inv_pi;
}

// Rounding may carry a sine slightly beyond 1.
double ArcSine(double sine) {
  return mth_internal::Arcsine(std::clamp(sine, -1.0, 1.0));
}

void CopyIfBoth(const double* source, int count, double* target) {
  if (source != nullptr && target != nullptr) std::copy_n(source, count, target);
}

// Sum of squares, in double, rounded to single precision, and squared there.
float SquaredNormSquared(const double* values, int count) {
  double sum = 0.0;
  for (int i = 0; i < count; ++i) sum += values[i] * values[i];
  const auto single = static_cast<float>(sum);
  return single * single;
}

// The unit quaternion, scalar part not negative, of a rotation; from the largest of its components.
void QuaternionOf(const MTH_MATRIX& m, double (&q)[4]) {
  const double squares[4] = {
      1.0 + m.Get(0, 0) + m.Get(1, 1) + m.Get(2, 2), 1.0 + m.Get(0, 0) - m.Get(1, 1) - m.Get(2, 2),
      1.0 - m.Get(0, 0) + m.Get(1, 1) - m.Get(2, 2), 1.0 - m.Get(0, 0) - m.Get(1, 1) + m.Get(2, 2)};
  const auto largest = static_cast<int>(std::max_element(squares, squares + 4) - squares);
  const auto sum = [&](int i, int j) { return m.Get(i, j) + m.Get(j, i); };
  const auto difference = [&](int i, int j) { return m.Get(i, j) - m.Get(j, i); };
  // Row k holds 4 q[k] q[0 ... 3].
  const double products[4][4] = {
      {squares[0], difference(2, 1), difference(0, 2), difference(1, 0)},
      {difference(2, 1), squares[1], sum(1, 0), sum(2, 0)},
      {difference(0, 2), sum(1, 0), squares[2], sum(2, 1)},
      {difference(1, 0), sum(2, 0), sum(2, 1), squares[3]},
  };
  const double* const row = products[largest];
  const double norm = std::sqrt(row[0] * row[0] + row[1] * row[1] + row[2] * row[2] + row[3] * row[3]);
  const double scale = std::signbit(row[0]) ? -norm : norm;
  for (int i = 0; i < 4; ++i) q[i] = row[i] / scale;
}

// The rotation Rz(a) Ry(b) Rx(c), with a zero translation.
void SetRotationOfRadians(double a, double b, double c, MTH_MATRIX& m) {
  const double sinA = mth_internal::Sine(a);
  const double cosA = mth_internal::Cosine(a);
  const double sinB = mth_internal::Sine(b);
  const double cosB = mth_internal::Cosine(b);
  const double sinC = mth_internal::Sine(c);
  const double cosC = mth_internal::Cosine(c);
  m.SetIdentity();
  m.Set(0, 0, cosB * cosA);
  m.Set(1, 0, cosB * sinA);
  m.Set(2, 0, -sinB);
  m.Set(0, 1, -cosC * sinA + sinC * sinB * cosA);
  m.Set(1, 1, cosC * cosA + sinC * sinB * sinA);
  m.Set(2, 1, sinC * cosB);
  m.Set(0, 2, sinC * sinA + cosC * sinB * cosA);
  m.Set(1, 2, -sinC * cosA + cosC * sinB * sinA);
  m.Set(2, 2, cosC * cosB);
}

bool AreFinite(const MTH_3D_DOUBLE* points, int count) {
  return std::all_of(points, points + count, [](const MTH_3D_DOUBLE& point) {
    return mth_internal::IsFinite(mth_internal::ToVector(point));
  });
}

}  // namespace

MTH_MATRIX_CHGREF::MTH_MATRIX_CHGREF(short type) : MTH_MATRIX(4, 4, type) {
  SetIdentity();
}

MTH_MATRIX_CHGREF::MTH_MATRIX_CHGREF() : MTH_MATRIX_CHGREF(short{0}) {}

MTH_MATRIX_CHGREF::MTH_MATRIX_CHGREF(double* rotation, double* translation) : MTH_MATRIX_CHGREF() {
  SetRotation(rotation);
  SetTranslation(translation);
}

MTH_MATRIX_CHGREF::MTH_MATRIX_CHGREF(int dimension, MTH_3D_DOUBLE* set1, MTH_3D_DOUBLE* set2)
    : MTH_MATRIX_CHGREF() {
  dimension_ = dimension;
  first_ = set1;
  second_ = set2;
}

MTH_MATRIX_CHGREF::MTH_MATRIX_CHGREF(double* quaternion) : MTH_MATRIX_CHGREF() {
  CopyIfBoth(quaternion, 4, quaternion_);
  if (quaternion != nullptr) CopyIfBoth(quaternion + 4, 3, translation_);
}

MTH_MATRIX_CHGREF::MTH_MATRIX_CHGREF(float* axis, float angle) : MTH_MATRIX_CHGREF(short{1}) {
  FromAxisAngle(axis, angle, quaternion_);
  Normalize();
}

MTH_MATRIX_CHGREF::MTH_MATRIX_CHGREF(MTH_3D_VECT_DOUBLE u, MTH_3D_VECT_DOUBLE v, MTH_3D_VECT_DOUBLE w,
                                     MTH_3D_DOUBLE origin)
    : MTH_MATRIX_CHGREF() {
  const double columns[4][3] = {{u.GetX(), u.GetY(), u.GetZ()},
                                {v.GetX(), v.GetY(), v.GetZ()},
                                {w.GetX(), w.GetY(), w.GetZ()},
                                {origin.GetX(), origin.GetY(), origin.GetZ()}};
  for (int j = 0; j < 4; ++j) {
    for (int i = 0; i < 3; ++i) Set(i, j, columns[j][i]);
  }
}

void MTH_MATRIX_CHGREF::GetQuaternion(double* q) const {
  CopyIfBoth(quaternion_, 4, q);
}

void MTH_MATRIX_CHGREF::GetRotation(double* r) const {
  CopyIfBoth(rotation_, 3, r);
}

void MTH_MATRIX_CHGREF::GetTranslation(double* t) const {
  CopyIfBoth(translation_, 3, t);
}

void MTH_MATRIX_CHGREF::SetRotation(double* r) {
  CopyIfBoth(r, 3, rotation_);
  isComputed_ = false;
}

void MTH_MATRIX_CHGREF::SetTranslation(const double* t) {
  CopyIfBoth(t, 3, translation_);
  isComputed_ = false;
}

void MTH_MATRIX_CHGREF::SetRef1(MTH_3D_DOUBLE* set) {
  first_ = set;
  isComputed_ = false;
}

void MTH_MATRIX_CHGREF::SetRef2(MTH_3D_DOUBLE* set) {
  second_ = set;
  isComputed_ = false;
}

void FormRotationMatrix(double a, double b, double c, MTH_MATRIX_CHGREF* m) {
  if (m != nullptr) SetRotationOfRadians(ToRadians(a), ToRadians(b), ToRadians(c), *m);
}

void MTH_MATRIX_CHGREF::SetAnglesRadians(const double* angles) {
  if (angles == nullptr) return;
  for (int i = 0; i < 3; ++i) rotation_[i] = ToDegrees(angles[2 - i]);
  SetRotationOfRadians(angles[2], angles[1], angles[0], *this);
  for (int i = 0; i < 3; ++i) Set(i, 3, translation_[i]);
  QuaternionOf(*this, quaternion_);
  isComputed_ = IsAllocated();
}

void MTH_MATRIX_CHGREF::GetAnglesRadians(double* angles) const {
  if (angles == nullptr || !IsAllocated()) return;
  const double cosine = mth_internal::Hypotenuse(Get(0, 0), Get(1, 0));
  angles[1] = mth_internal::Arctangent(-Get(2, 0), cosine);
  if (cosine > kGimbalLock) {
    angles[0] = mth_internal::Arctangent(Get(2, 1), Get(2, 2));
    angles[2] = mth_internal::Arctangent(Get(1, 0), Get(0, 0));
  } else {
    angles[0] = mth_internal::Arctangent(-Get(1, 2), Get(1, 1));
    angles[2] = 0.0;
  }
}

void MTH_MATRIX_CHGREF::ComputeFromRotTrans() {
  FormRotationMatrix(rotation_[0], rotation_[1], rotation_[2], this);
  isComputed_ = IsAllocated();
}

void MTH_MATRIX_CHGREF::ComputeFromQuaternion() {
  const auto [q0, q1, q2, q3] = quaternion_;
  SetIdentity();
  Set(0, 0, q0 * q0 + q1 * q1 - q2 * q2 - q3 * q3);
  Set(0, 1, 2.0 * (q1 * q2 - q0 * q3));
  Set(0, 2, 2.0 * (q1 * q3 + q0 * q2));
  Set(1, 0, 2.0 * (q1 * q2 + q0 * q3));
  Set(1, 1, q0 * q0 + q2 * q2 - q1 * q1 - q3 * q3);
  Set(1, 2, 2.0 * (q2 * q3 - q0 * q1));
  Set(2, 0, 2.0 * (q1 * q3 - q0 * q2));
  Set(2, 1, 2.0 * (q2 * q3 + q0 * q1));
  Set(2, 2, q0 * q0 + q3 * q3 - q1 * q1 - q2 * q2);
  for (int i = 0; i < 3; ++i) Set(i, 3, translation_[i]);
  ExtractAngles();
  isComputed_ = IsAllocated();
}

void MTH_MATRIX_CHGREF::ExtractAngles() {
  rotation_[1] = -ArcSine(Get(2, 0));
  const double cosine = mth_internal::Cosine(rotation_[1]);
  rotation_[0] = cosine == 0.0 ? 0.0 : ArcSine(Get(2, 1) / cosine);
  rotation_[2] = cosine == 0.0 ? 0.0 : ArcSine(Get(1, 0) / cosine);
}

bool MTH_MATRIX_CHGREF::ChangeRef(MTH_3D_DOUBLE p, MTH_3D_DOUBLE* out) const {
  if (!isComputed_ || !IsAllocated() || out == nullptr) return false;
  *out = mth_internal::ReadRigidMap(*this)(p);
  return true;
}

void MTH_MATRIX_CHGREF::ChangeRefCost(bool keep, MTH_3D_DOUBLE* out) {
  if (!isComputed_ || !IsAllocated()) return;
  const mth_internal::RigidMap map = mth_internal::ReadRigidMap(*this);
  const bool hasSets = first_ != nullptr && second_ != nullptr;
  double sum = 0.0;
  for (int i = 0; hasSets && i < dimension_; ++i) {
    const MTH_3D_DOUBLE mapped = map(first_[i]);
    sum += mapped.Distance(second_[i]);
    if (keep && out != nullptr) out[i] = mapped;
  }
  cost_ = hasSets && dimension_ > 0 ? sum / dimension_ : std::numeric_limits<double>::quiet_NaN();
}

bool MTH_MATRIX_CHGREF::Optimise() {
  constexpr short kIterations = 100;
  constexpr double kTolerance = 1e-5;
  if (!IsAllocated() || first_ == nullptr || second_ == nullptr || dimension_ < 1) return false;
  double rows[12];
  for (int k = 0; k < 12; ++k) rows[k] = Get(k / 4, k % 4);
  MTH_FUNCT_CHGREF_PARAM cost(rows, dimension_, first_, second_);
  // A point that is not finite has no finite distance under any angles: nothing can be gained.
  const short allowed = AreFinite(first_, dimension_) && AreFinite(second_, dimension_) ? kIterations : 0;
  short iterations = 0;
  if (!cost.ComputeOptimumPowell(nullptr, allowed, kTolerance, &iterations, true)) return false;
  // Intended: the minimiser has moved parameters of its own, so that these are the former elements.
  for (int k = 0; k < 12; ++k) Set(k / 4, k % 4, rows[k]);
  return true;
}

void MTH_MATRIX_CHGREF::FromAxisAngle(float* axis, float angle, double* q) const {
  if (axis == nullptr || q == nullptr) return;
  const double half = ToRadians(static_cast<double>(angle)) * 0.5;
  const auto sine = static_cast<float>(mth_internal::Sine(half));
  q[0] = static_cast<double>(static_cast<float>(mth_internal::Cosine(half)));
  for (int i = 0; i < 3; ++i) q[i + 1] = static_cast<double>(axis[i] * sine);
}

void MTH_MATRIX_CHGREF::Normalize() {
  const float norm = SquaredNormSquared(quaternion_, 4);
  if (norm == 0.0F) return;
  for (double& component : quaternion_) component /= static_cast<double>(norm);
}

void MTH_MATRIX_CHGREF::MultQuaternion(double* a, double* b) {
  if (a == nullptr || b == nullptr) return;
  const double product[4] = {a[0] * b[0] - a[1] * b[1] - a[2] * b[2] - a[3] * b[3],
                             a[0] * b[1] + a[1] * b[0] + a[2] * b[3] - a[3] * b[2],
                             a[0] * b[2] - a[1] * b[3] + a[2] * b[0] + a[3] * b[1],
                             a[0] * b[3] + a[1] * b[2] - a[2] * b[1] + a[3] * b[0]};
  std::copy_n(product, 4, quaternion_);
}

void MTH_MATRIX_CHGREF::MultQuaternion(float* axis, float angle) {
  if (axis == nullptr) return;
  double turn[4];
  FromAxisAngle(axis, angle, turn);
  MultQuaternion(turn, quaternion_);
}

void MTH_MATRIX_CHGREF::ToAxisAngle(float* axis, float& angle) const {
  const double cosine = std::clamp(quaternion_[0], -1.0, 1.0);
  angle = static_cast<float>(2.0 * mth_internal::Arccosine(cosine) * 180.0 * std::numbers::inv_pi);
  const float norm = SquaredNormSquared(quaternion_ + 1, 3);
  if (norm == 0.0F) angle = 0.0F;
  if (axis == nullptr) return;
  for (int i = 0; i < 3; ++i) {
    const auto none = static_cast<float>(i == 1);  // any axis does for no turn: the second one
    axis[i] = norm == 0.0F ? none : static_cast<float>(quaternion_[i + 1] / static_cast<double>(norm));
  }
}

void MTH_MATRIX_CHGREF::glMatrixComputeFromQuaternion(float* m) {
  ComputeFromQuaternion();
  if (m == nullptr) return;
  for (int k = 0; k < 16; ++k) m[k] = static_cast<float>(Get(k % 4, k / 4));
}

MTH_MATRIX_CHGREF* MTH_MATRIX_CHGREF::operator*(const MTH_MATRIX_CHGREF& other) const {
  const bool isSingle = GetType() == 1 && other.GetType() == 1;
  std::unique_ptr<MTH_MATRIX_CHGREF> product(new (std::nothrow)
                                                 MTH_MATRIX_CHGREF(static_cast<short>(isSingle ? 1 : 0)));
  if (product == nullptr || !product->IsAllocated()) return product.release();
  if (!IsAllocated() || !other.IsAllocated()) {
    product->Desallocate();
    return product.release();
  }
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      double sum = 0.0;
      for (int k = 0; k < 4; ++k) sum += Get(i, k) * other.Get(k, j);
      product->Set(i, j, sum);
    }
  }
  product->FillFromMatrix();
  product->isComputed_ = isComputed_ && other.isComputed_;
  return product.release();
}

// Translation, quaternion and angles of the matrix as it is.
void MTH_MATRIX_CHGREF::FillFromMatrix() {
  for (int i = 0; i < 3; ++i) translation_[i] = Get(i, 3);
  QuaternionOf(*this, quaternion_);
  ExtractAngles();
}
