#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/geometry/Mth_3d_geometry.h"
#include "mth/geometry/Mth_matched_sums_kernel_internal.h"
#include "mth/geometry/Mth_matrix_chgref.h"
#include "mth/geometry/Mth_vector3_internal.h"
#include "mth/value/Mth_complex.h"

// The rigid transform between two sets of matched points.

using namespace mth_internal;

namespace {

bool AreFinite(const MatchedMoments& moments) {
  for (int i = 0; i < 3; ++i) {
    if (!std::isfinite(moments.firstMean[i]) || !std::isfinite(moments.secondMean[i])) return false;
    for (const double entry : moments.covariance[i]) {
      if (!std::isfinite(entry)) return false;
    }
  }
  return true;
}

// The symmetric matrix whose eigenvector of the largest eigenvalue is the quaternion of the best rotation.
void FillQuaternionMatrix(const double (&s)[3][3], MTH_MATRIX& n) {
  const double trace = s[0][0] + s[1][1] + s[2][2];
  const double asymmetric[3] = {s[1][2] - s[2][1], s[2][0] - s[0][2], s[0][1] - s[1][0]};
  n.Set(0, 0, trace);
  for (int i = 0; i < 3; ++i) {
    n.Set(0, i + 1, asymmetric[i]);
    n.Set(i + 1, 0, asymmetric[i]);
    for (int j = 0; j < 3; ++j) n.Set(i + 1, j + 1, s[i][j] + s[j][i] - (i == j ? trace : 0.0));
  }
}

// The unit quaternion, scalar part not negative, of the best rotation.
bool FindQuaternion(const double (&covariance)[3][3], double (&q)[4]) {
  MTH_MATRIX n(4, 4, 0);
  if (!n.IsAllocated()) return false;
  FillQuaternionMatrix(covariance, n);
  MTH_COMPLEX* values = nullptr;
  MTH_COMPLEX* vectors = nullptr;
  const bool isSolved = n.RealEigenvalueProblem(&values, &vectors);
  const std::unique_ptr<MTH_COMPLEX[]> ownedValues(values);
  const std::unique_ptr<MTH_COMPLEX[]> ownedVectors(vectors);
  if (!isSolved) return false;
  int largest = 0;
  for (int i = 1; i < 4; ++i) {
    if (values[i].getReal() > values[largest].getReal()) largest = i;
  }
  double squares = 0.0;
  for (int i = 0; i < 4; ++i) {
    q[i] = vectors[4 * i + largest].getReal();
    squares += q[i] * q[i];
  }
  const double norm = std::sqrt(squares);
  if (!(norm > 0.0) || !std::isfinite(norm)) return false;
  const bool isNegative = q[0] < 0.0;
  for (double& component : q) component = (isNegative ? -component : component) / norm;
  return true;
}

// Three points of each set, by their common indices.
struct Triple {
  int a;
  int b;
  int c;
};

// The index of the point for which `measure` is largest.
template <class Measure>
int FindFarthest(int count, Measure measure) {
  int farthest = 0;
  double largest = -1.0;
  for (int i = 0; i < count; ++i) {
    const double value = measure(i);
    if (value > largest) {
      largest = value;
      farthest = i;
    }
  }
  return farthest;
}

// Three points far apart: the farthest from the mean, the farthest from that one, and the farthest from the
// line of both.
Triple ChooseTriple(const MTH_3D_DOUBLE* points, int count, const Vector3& mean) {
  const auto distanceFrom = [points](const Vector3& from) {
    return [points, from](int i) { return Length(ToVector(points[i]) - from); };
  };
  Triple triple{};
  triple.a = FindFarthest(count, distanceFrom(mean));
  triple.b = FindFarthest(count, distanceFrom(ToVector(points[triple.a])));
  const Vector3 origin = ToVector(points[triple.a]);
  const Vector3 along = ToVector(points[triple.b]) - origin;
  triple.c = FindFarthest(count, [&](int i) { return Length(Cross(along, ToVector(points[i]) - origin)); });
  return triple;
}

// The axes of a right-handed orthonormal frame.
struct Frame {
  double axes[3][3];
};

// One set as the frames see it.
class FramedSet {
 public:
  FramedSet(const MTH_3D_DOUBLE* points, int count, const double (&mean)[3], const Triple& triple)
      : points_(points), count_(count), mean_(ToVector(mean)) {
    const MTH_3D_DOUBLE corners[3] = {points[triple.a], points[triple.b], points[triple.c]};
    along_ = ToVector(corners[1]) - ToVector(corners[0]);
    across_ = UnitNormal(ToVector(corners[0]), ToVector(corners[1]), ToVector(corners[2]));
  }

  bool IsCollinear() const { return !(Length(across_) > 0.0); }

  // Normal of the least-squares plane, on the side of the triangle's normal; false when it cannot be had or
  // is too near to the first direction to make a frame with it. The plane is fitted to points shifted along
  // the triangle's normal, as its form has none through the origin.
  bool FitNormal() {
    constexpr int kMost = std::numeric_limits<short>::max();
    constexpr double kSmallestSine = 1e-3;
    const int step = (count_ - 1) / kMost + 1;
    const int used = (count_ - 1) / step + 1;
    const WorkArray<MTH_3D_DOUBLE> shifted(used);
    const double scale = Length(along_);
    if (!shifted) return false;
    for (int i = 0; i < used; ++i) {
      const Vector3 centred = (1.0 / scale) * (ToVector(points_[std::ptrdiff_t{i} * step]) - mean_);
      shifted[i] = ToPoint(centred + across_);
    }
    double coefficients[4];
    if (!Mth_3D_CalculCoeffPlan(shifted.Get(), static_cast<short>(used), coefficients)) return false;
    const Vector3 fitted{coefficients[0], coefficients[1], coefficients[2]};
    const double length = Length(fitted);
    if (!(length > 0.0) || !std::isfinite(length)) return false;
    normal_ = (Dot(fitted, across_) < 0.0 ? -1.0 / length : 1.0 / length) * fitted;
    return Length(Cross(normal_, along_)) > kSmallestSine * scale;
  }
  void TakeNormalOfTriangle() { normal_ = across_; }

  Frame GetFrame() const {
    const Vector3 side = Cross(normal_, along_);
    const Vector3 second = (1.0 / Length(side)) * side;
    const Vector3 first = Cross(second, normal_);
    return {{{first.x, first.y, first.z}, {second.x, second.y, second.z}, {normal_.x, normal_.y, normal_.z}}};
  }

 private:
  const MTH_3D_DOUBLE* points_;
  int count_;
  Vector3 mean_;
  Vector3 along_;   // from the first to the second point of the triple
  Vector3 across_;  // unit normal of the triple
  Vector3 normal_;
};

}  // namespace

bool MTH_MATRIX_CHGREF::ComputeFromSetsByQuaternion() {
  if (!IsAllocated() || first_ == nullptr || second_ == nullptr || dimension_ < 1) return false;
  const MatchedMoments moments = ComputeMatchedMoments(first_, second_, dimension_);
  double q[4];
  if (!AreFinite(moments) || !FindQuaternion(moments.covariance, q)) return false;
  std::copy_n(q, 4, quaternion_);
  ComputeFromQuaternion();
  for (int i = 0; i < 3; ++i) {
    translation_[i] =
        moments.secondMean[i] - (Get(i, 0) * moments.firstMean[0] + Get(i, 1) * moments.firstMean[1] +
                                 Get(i, 2) * moments.firstMean[2]);
  }
  ExtractAngles();
  for (int i = 0; i < 3; ++i) Set(i, 3, translation_[i]);
  isComputed_ = true;
  return true;
}

bool MTH_MATRIX_CHGREF::Initialise(MTH_3D_DOUBLE* a, MTH_3D_DOUBLE* b) {
  constexpr int kFewest = 3;
  if (!IsAllocated() || a == nullptr || b == nullptr || dimension_ < kFewest) return false;
  const MatchedMoments moments = ComputeMatchedMoments(a, b, dimension_);
  if (!AreFinite(moments)) return false;
  const Triple triple = ChooseTriple(a, dimension_, ToVector(moments.firstMean));
  FramedSet source(a, dimension_, moments.firstMean, triple);
  FramedSet target(b, dimension_, moments.secondMean, triple);
  if (source.IsCollinear() || target.IsCollinear()) return false;
  if (!source.FitNormal() || !target.FitNormal()) {
    source.TakeNormalOfTriangle();
    target.TakeNormalOfTriangle();
  }
  const Frame from = source.GetFrame();
  const Frame to = target.GetFrame();
  SetIdentity();
  for (int i = 0; i < 3; ++i) {
    double mapped = 0.0;
    for (int j = 0; j < 3; ++j) {
      double entry = 0.0;
      for (int axis = 0; axis < 3; ++axis) entry += to.axes[axis][i] * from.axes[axis][j];
      Set(i, j, entry);
      mapped += entry * moments.firstMean[j];
    }
    Set(i, 3, moments.secondMean[i] - mapped);
  }
  first_ = a;
  second_ = b;
  FillFromMatrix();
  isComputed_ = true;
  return true;
}

bool MTH_MATRIX_CHGREF::ComputeByGeometricMethod() {
  return Initialise(first_, second_);
}
