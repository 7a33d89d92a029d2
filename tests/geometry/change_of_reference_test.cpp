#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <type_traits>
#include <utility>

#include "mth/geometry/Mth_funct_chgref_param.h"
#include "mth/geometry/Mth_matrix_chgref.h"
#include "support/matrices.h"

namespace {

using ChangePtr = std::unique_ptr<MTH_MATRIX_CHGREF>;
using mth_test::MatrixPtr;
constexpr double kPi = std::numbers::pi;

MTH_3D_DOUBLE Mapped(const MTH_MATRIX_CHGREF& change, const MTH_3D_DOUBLE& point) {
  MTH_3D_DOUBLE out(-99, -99, -99);
  EXPECT_TRUE(change.ChangeRef(point, &out));
  return out;
}

// A random unit quaternion (scalar part not negative) and translation, computed.
MTH_MATRIX_CHGREF RandomChange(unsigned seed) {
  std::mt19937 engine(seed);
  std::normal_distribution<double> normal;
  double values[7];
  for (double& value : values) value = normal(engine);
  const double norm = std::hypot(std::hypot(values[0], values[1]), std::hypot(values[2], values[3]));
  for (int i = 0; i < 4; ++i) values[i] *= (i == 0 && values[0] < 0.0 ? -1.0 : 1.0) / norm;
  if (seed % 5 == 0) {  // a half turn
    const double rest = std::hypot(values[1], values[2], values[3]);
    values[0] = 0.0;
    for (int i = 1; i < 4; ++i) values[i] /= rest;
  }
  MTH_MATRIX_CHGREF change(values);
  change.ComputeFromQuaternion();
  return change;
}

TEST(ChangeOfReference, RandomTransformsAreRigidAndCompose) {
  for (unsigned seed = 0; seed < 50; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const MTH_MATRIX_CHGREF a = RandomChange(seed);
    const MTH_MATRIX_CHGREF b = RandomChange(1000 + 7 * seed);
    const MatrixPtr rotation(a.GetExtract(0, 0, 3, 3));
    const MatrixPtr transposed(rotation->Transpose());
    const MatrixPtr product(*rotation * *transposed);
    MTH_MATRIX identity(3, 3, mth_test::kDouble);
    identity.SetIdentity();
    EXPECT_TRUE(mth_test::Near(*product, identity, 1e-14));

    const ChangePtr composed(a * b);
    const MTH_3D_DOUBLE point(0.3, -2.0, 1.5);
    EXPECT_LE(Mapped(*composed, point).Distance(Mapped(a, Mapped(b, point))), 1e-13);
    double qa[4];
    double qb[4];
    double filled[4];
    double expected[4];
    a.GetQuaternion(qa);
    b.GetQuaternion(qb);
    composed->GetQuaternion(filled);
    MTH_MATRIX_CHGREF multiplied;
    multiplied.MultQuaternion(qa, qb);
    multiplied.GetQuaternion(expected);
    double dot = 0.0;
    for (int i = 0; i < 4; ++i) dot += filled[i] * expected[i];
    EXPECT_NEAR(std::abs(dot), 1.0, 1e-14);
    EXPECT_GE(filled[0], 0.0);

    double translation[3];
    double angles[3];
    double angleOracle[3];
    composed->GetTranslation(translation);
    composed->GetRotation(angles);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(translation[i], composed->Get(i, 3));
    MTH_MATRIX_CHGREF copy = *composed;
    copy.ExtractAngles();
    copy.GetRotation(angleOracle);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(angles[i], angleOracle[i]);

    float axis[3];
    float degrees = 0.0F;
    a.ToAxisAngle(axis, degrees);
    EXPECT_NEAR(std::cos(static_cast<double>(degrees) * kPi / 360.0), qa[0], 1e-6);
    const double vectorNorm2 = qa[1] * qa[1] + qa[2] * qa[2] + qa[3] * qa[3];
    for (int i = 0; i < 3; ++i) {
      EXPECT_NEAR(static_cast<double>(axis[i]) * vectorNorm2 * vectorNorm2, qa[i + 1], 1e-6)
          << "divided by the square";
    }
    const double length =
        std::hypot(static_cast<double>(axis[0]), static_cast<double>(axis[1]), static_cast<double>(axis[2]));
    for (float& component : axis) component = static_cast<float>(static_cast<double>(component) / length);
    double back[4];
    copy.FromAxisAngle(axis, degrees, back);
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(back[i], qa[i], 1e-6);
  }
}

TEST(ChangeOfReference, KeepsBothAngleConventions) {
  // Degrees in: the first angle about z, the second about y, the third about x.
  const MTH_3D_DOUBLE x(1, 0, 0);
  const MTH_3D_DOUBLE y(0, 1, 0);
  const MTH_3D_DOUBLE z(0, 0, 1);
  MTH_MATRIX_CHGREF m;
  m.SetComputed(true);
  struct Case {
    double a, b, c;
    MTH_3D_DOUBLE from, to;
  };
  for (const auto& [a, b, c, from, to] :
       {Case{90, 0, 0, x, y}, Case{90, 0, 0, y, {-1, 0, 0}}, Case{0, 90, 0, z, x},
        Case{0, 90, 0, x, {0, 0, -1}}, Case{0, 0, 90, y, z}, Case{0, 0, 90, z, {0, -1, 0}},
        Case{90, 0, 90, y, z}, Case{90, 90, 0, z, y}}) {
    FormRotationMatrix(a, b, c, &m);
    EXPECT_LE(Mapped(m, from).Distance(to), 1e-15) << a << " " << b << " " << c;
  }
  FormRotationMatrix(1, 2, 3, nullptr);
  for (int i = 0; i < 3; ++i) m.Set(i, 3, 7.0);
  m.Set(3, 1, 7.0);
  FormRotationMatrix(1, 2, 3, &m);
  for (int i = 0; i < 4; ++i) {
    EXPECT_EQ(m.Get(i, 3), i == 3 ? 1.0 : 0.0) << "the translation is cleared";
    EXPECT_EQ(m.Get(3, i), i == 3 ? 1.0 : 0.0);
  }

  // Radians out: the first about x, the third about z.
  double angles[3];
  FormRotationMatrix(0, 0, 30, &m);
  m.ExtractAngles();
  m.GetRotation(angles);
  EXPECT_NEAR(angles[0], kPi / 6, 1e-15);
  EXPECT_EQ(angles[2], 0.0);
  FormRotationMatrix(10, 20, 30, &m);
  m.ExtractAngles();
  m.GetRotation(angles);
  const double expected[3] = {30 * kPi / 180, 20 * kPi / 180, 10 * kPi / 180};
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(angles[i], expected[i], 1e-15);
  FormRotationMatrix(25, 90, 0, &m);
  m.ExtractAngles();
  m.GetRotation(angles);
  for (const double angle : angles) EXPECT_TRUE(std::isfinite(angle)) << "in gimbal lock";
}

// Radians about x, y and z, in and out.
TEST(ChangeOfReference, AnglesInRadiansRoundTrip) {
  double translation[3] = {1, 2, 3};
  for (const double x : {-3.1, -2.0, -0.4, 0.0, 1.0, 3.0}) {
    for (const double y : {-1.5, -0.7, 0.0, 0.3, 1.5}) {
      for (const double z : {-3.0, -1.0, 0.0, 0.2, 2.5}) {
        SCOPED_TRACE(std::to_string(x) + " " + std::to_string(y) + " " + std::to_string(z));
        MTH_MATRIX_CHGREF change;
        change.SetTranslation(translation);
        const double angles[3] = {x, y, z};
        change.SetAnglesRadians(angles);
        double back[3];
        change.GetAnglesRadians(back);
        for (int i = 0; i < 3; ++i) EXPECT_NEAR(back[i], angles[i], 1e-14);
        EXPECT_EQ(Mapped(change, {0, 0, 0}), MTH_3D_DOUBLE(1, 2, 3)) << "the translation stays";
        MTH_MATRIX_CHGREF inDegrees;
        FormRotationMatrix(z * 180 / kPi, y * 180 / kPi, x * 180 / kPi, &inDegrees);
        const MatrixPtr rotation(change.GetExtract(0, 0, 3, 3));
        const MatrixPtr expected(inDegrees.GetExtract(0, 0, 3, 3));
        EXPECT_TRUE(mth_test::Near(*rotation, *expected, 1e-14));
        change.ComputeFromRotTrans();
        const MatrixPtr recomputed(change.GetExtract(0, 0, 3, 3));
        EXPECT_TRUE(mth_test::Near(*recomputed, *expected, 1e-14));
        change.ComputeFromQuaternion();
        const MatrixPtr ofQuaternion(change.GetExtract(0, 0, 3, 3));
        EXPECT_TRUE(mth_test::Near(*ofQuaternion, *expected, 1e-14));
      }
    }
  }
  for (const double side : {-1.0, 1.0}) {  // only one turn about the common axis is left
    MTH_MATRIX_CHGREF locked;
    MTH_MATRIX_CHGREF again;
    const double angles[3] = {0.3, side * kPi / 2, 0.5};
    double back[3];
    locked.SetAnglesRadians(angles);
    locked.GetAnglesRadians(back);
    EXPECT_EQ(back[2], 0.0);
    again.SetAnglesRadians(back);
    EXPECT_TRUE(mth_test::Near(locked, again, 1e-15));
  }
  MTH_MATRIX_CHGREF untouched;
  untouched.SetAnglesRadians(nullptr);
  untouched.GetAnglesRadians(nullptr);
  MTH_3D_DOUBLE out;
  EXPECT_FALSE(untouched.ChangeRef(out, &out));
}

TEST(ChangeOfReference, QuaternionFunctionsFollowTheirFormulas) {
  // Sine, cosine and their products with the axis are rounded to float.
  MTH_MATRIX_CHGREF change;
  float axis[3] = {0.3F, -0.2F, 0.7F};
  double q[4];
  for (const float degrees : {1.0F, 33.3F, 100.0F, -271.5F}) {
    change.FromAxisAngle(axis, degrees, q);
    const double half = static_cast<double>(degrees) * kPi / 360.0;
    EXPECT_EQ(q[0], static_cast<double>(static_cast<float>(std::cos(half))));
    const auto sine = static_cast<float>(std::sin(half));
    for (int i = 0; i < 3; ++i) EXPECT_EQ(q[i + 1], static_cast<double>(axis[i] * sine));
  }
  // The turn is multiplied from the left: (cos + k sin)(i) = j for a half turn of 45 degrees twice.
  const double i[4] = {0, 1, 0, 0};
  const double k[4] = {0, 0, 0, 1};
  change.MultQuaternion(k, i);
  change.GetQuaternion(q);
  EXPECT_EQ(q[2], 1.0);
  change.MultQuaternion(i, k);
  change.GetQuaternion(q);
  EXPECT_EQ(q[2], -1.0);
  const double values[7] = {0, 1, 0, 0, 0, 0, 0};
  MTH_MATRIX_CHGREF turned(values);
  const float z[3] = {0.0F, 0.0F, 1.0F};
  turned.MultQuaternion(z, 180.0F);
  turned.GetQuaternion(q);
  EXPECT_NEAR(q[2], 1.0, 1e-7);
  // The matrix from a quaternion brings the angles with it, and has no other last row.
  double angles[3];
  double tilted[7] = {std::cos(0.2), std::sin(0.2), 0, 0, 0, 0, 0};
  MTH_MATRIX_CHGREF aboutX(tilted);
  for (int j = 0; j < 4; ++j) aboutX.Set(3, j, 7.0);
  aboutX.ComputeFromQuaternion();
  for (int j = 0; j < 4; ++j) EXPECT_EQ(aboutX.Get(3, j), j == 3 ? 1.0 : 0.0);
  aboutX.GetRotation(angles);
  EXPECT_NEAR(angles[0], 0.4, 1e-15);
}

static_assert(std::is_nothrow_move_constructible_v<MTH_MATRIX_CHGREF>);
static_assert(std::is_nothrow_move_assignable_v<MTH_MATRIX_CHGREF>);

// A moved transform keeps what it had; what it was moved from is as after Desallocate.
TEST(ChangeOfReference, Moves) {
  MTH_MATRIX_CHGREF source = RandomChange(3);
  const MTH_MATRIX_CHGREF copy = source;
  MTH_MATRIX_CHGREF target(std::move(source));
  EXPECT_TRUE(mth_test::SameBits(target, copy));
  EXPECT_EQ(Mapped(target, {1, 2, 3}), Mapped(copy, {1, 2, 3}));
  MTH_3D_DOUBLE out;
  EXPECT_FALSE(source.IsAllocated());
  EXPECT_FALSE(source.ChangeRef({1, 2, 3}, &out));
  source = std::move(target);
  EXPECT_EQ(Mapped(source, {1, 2, 3}), Mapped(copy, {1, 2, 3}));
  MTH_MATRIX_CHGREF& itself = source;
  source = std::move(itself);
  EXPECT_EQ(Mapped(source, {1, 2, 3}), Mapped(copy, {1, 2, 3}));
}

TEST(ChangeOfReference, ProductsAreComputedWhenBothOperandsAre) {
  MTH_3D_DOUBLE out;
  for (const bool isFirstComputed : {false, true}) {
    for (const bool isSecondComputed : {false, true}) {
      MTH_MATRIX_CHGREF first;
      MTH_MATRIX_CHGREF second;
      first.SetComputed(isFirstComputed);
      second.SetComputed(isSecondComputed);
      const ChangePtr product(first * second);
      EXPECT_EQ(product->ChangeRef({1, 2, 3}, &out), isFirstComputed && isSecondComputed);
    }
  }
}

TEST(ChangeOfReference, IsComputedOnlyUntilItsDataChange) {
  const double rotation[3] = {90, 0, 0};
  const double translation[3] = {1, 2, 3};
  MTH_MATRIX_CHGREF change(rotation, translation);
  MTH_3D_DOUBLE out(7, 7, 7);
  EXPECT_FALSE(change.ChangeRef({1, 0, 0}, &out));
  EXPECT_EQ(out, MTH_3D_DOUBLE(7, 7, 7));
  change.ComputeFromRotTrans();
  EXPECT_EQ(Mapped(change, {0, 0, 0}), MTH_3D_DOUBLE(0, 0, 0)) << "the translation is cleared";
  double stored[3];
  change.GetTranslation(stored);
  EXPECT_EQ(stored[2], 3.0) << "but kept beside the matrix";

  MTH_3D_DOUBLE points[2] = {{1, 0, 0}, {0, 2, 0}};
  MTH_3D_DOUBLE targets[2] = {{0, 1, 0}, {-2, 0, 3}};
  const auto expectReset = [&](const char* setter) {
    EXPECT_FALSE(change.ChangeRef({1, 0, 0}, &out)) << setter;
    change.ComputeFromRotTrans();
    EXPECT_TRUE(change.ChangeRef({1, 0, 0}, &out)) << setter;
  };
  change.SetRotation(rotation);
  expectReset("SetRotation");
  change.SetTranslation(translation);
  expectReset("SetTranslation");
  change.SetRef1(points);
  expectReset("SetRef1");
  change.SetRef2(targets);
  expectReset("SetRef2");
  EXPECT_EQ(change.GetRef1(), points);
  EXPECT_EQ(change.GetRef2(), targets);

  change.SetDimension(2);
  MTH_3D_DOUBLE mapped[2];
  change.ChangeRefCost(true, mapped);
  EXPECT_NEAR(change.GetCost(), 1.5, 1e-15);
  EXPECT_LE(mapped[1].Distance({-2, 0, 0}), 1e-15);
  change.ChangeRefCost(false, mapped + 1);
  EXPECT_LE(mapped[1].Distance({-2, 0, 0}), 1e-15) << "not kept";
  change.SetComputed(false);
  targets[0] = {100, 0, 0};
  change.ChangeRefCost(false, nullptr);
  EXPECT_NEAR(change.GetCost(), 1.5, 1e-15) << "kept while not computed";
}

TEST(ChangeOfReference, ConstructorsFillWhatTheySay) {
  MTH_MATRIX_CHGREF frame({0, 1, 0}, {0, 0, 1}, {1, 0, 0}, {4, 5, 6});
  const MTH_MATRIX expected = mth_test::Matrix({{0, 0, 1, 4}, {1, 0, 0, 5}, {0, 1, 0, 6}, {0, 0, 0, 1}});
  EXPECT_TRUE(mth_test::SameBits(frame, expected));
  MTH_3D_DOUBLE out;
  EXPECT_FALSE(frame.ChangeRef({1, 1, 1}, &out));

  float axis[3] = {0.0F, 0.0F, 1.0F};
  MTH_MATRIX_CHGREF turn(std::as_const(axis), 90.0F);
  EXPECT_EQ(turn.GetType(), 1);
  float m[16];
  turn.glMatrixComputeFromQuaternion(m);
  EXPECT_NEAR(m[1], 1.0F, 1e-6F) << "column by column";
  EXPECT_NEAR(m[4], -1.0F, 1e-6F);

  double values[7] = {1, 0, 0, 0, 7, 8, 9};
  MTH_MATRIX_CHGREF shift(values);
  shift.glMatrixComputeFromQuaternion(m);
  for (int i = 0; i < 3; ++i) EXPECT_EQ(m[12 + i], static_cast<float>(7 + i));
  EXPECT_EQ(Mapped(shift, {1, 1, 1}), MTH_3D_DOUBLE(8, 9, 10));
  float angle = -1.0F;
  shift.ToAxisAngle(axis, angle);
  EXPECT_EQ(angle, 0.0F);
  EXPECT_EQ(axis[1], 1.0F);

  double halved[7] = {0.5, 0, 0, 0, 0, 0, 0};
  MTH_MATRIX_CHGREF(halved).ToAxisAngle(axis, angle);
  EXPECT_EQ(angle, 0.0F) << "no vector part, whatever the scalar one";

  double doubled[7] = {2, 0, 0, 0, 0, 0, 0};
  MTH_MATRIX_CHGREF scaled(doubled);
  scaled.Normalize();
  double q[4];
  scaled.GetQuaternion(q);
  EXPECT_EQ(q[0], 2.0 / 16.0) << "divided by the square of the squared norm";
  scaled.MultQuaternion(axis, 180.0F);
  scaled.GetQuaternion(q);
  EXPECT_NEAR(q[2], 0.125, 1e-8);

  const ChangePtr single(turn * turn);
  EXPECT_EQ(single->GetType(), 1);
  const ChangePtr mixed(turn * shift);
  EXPECT_EQ(mixed->GetType(), 0);
  const MatrixPtr scaledMatrix(shift * 2.0);
  EXPECT_EQ(scaledMatrix->Get(0, 3), 14.0);
}

TEST(ChangeOfReferenceCost, DependsOnTheAnglesAlone) {
  MTH_3D_DOUBLE points[2] = {{1, 0, 0}, {0, 2, 0}};
  MTH_3D_DOUBLE targets[2] = {{0, 1, 0}, {-2, 0, 0}};
  double start[6] = {90, 0, 0, 5, 6, 7};
  MTH_FUNCT_CHGREF_PARAM cost(start, 2, points, targets);
  EXPECT_EQ(cost.GetParametersCount(), 6);
  for (int i = 0; i < 6; ++i) EXPECT_EQ(cost.GetParameters()[i], start[i]);
  double other[6] = {0, 0, 0, 0, 0, 0};
  cost.SetParameters(other);
  EXPECT_EQ(cost.GetParameters()[0], 90.0) << "not defined before the first evaluation";
  cost.Evaluate();
  EXPECT_NEAR(cost.GetValue(), 0.0, 1e-15);
  cost.SetParameters(other);
  EXPECT_EQ(cost.GetParameters()[0], 0.0);
  cost.Evaluate();
  EXPECT_NEAR(cost.GetValue(), (std::sqrt(2.0) + 2.0 * std::sqrt(2.0)) / 2.0, 1e-15);
  double shifted[6] = {90, 0, 0, -50, 60, 1e9};
  EXPECT_EQ(cost.EvaluateAtPoint(start), cost.EvaluateAtPoint(shifted));
  short iterations = 0;
  double near[6] = {80, 3, -4, 0, 0, 0};
  EXPECT_TRUE(cost.ComputeOptimumPowell(near, 100, 1e-5, &iterations, false));
  EXPECT_LE(cost.GetValue(), 1e-2);
}

// A perfect fit is no answer where there is nothing to fit.
TEST(ChangeOfReferenceCost, OfNothingIsNotANumber) {
  MTH_3D_DOUBLE point[1] = {{1, 0, 0}};
  struct Case {
    int count;
    MTH_3D_DOUBLE* first;
    MTH_3D_DOUBLE* second;
  };
  for (const auto& [count, first, second] :
       {Case{0, point, point}, Case{1, nullptr, point}, Case{1, point, nullptr}, Case{0, nullptr, nullptr}}) {
    MTH_FUNCT_CHGREF_PARAM cost(nullptr, count, first, second);
    cost.Evaluate();
    EXPECT_TRUE(std::isnan(cost.GetValue())) << count;
    MTH_MATRIX_CHGREF change(count, first, second);
    change.ChangeRefCost(false, nullptr);
    EXPECT_EQ(change.GetCost(), 0.0) << "not computed";
    change.SetComputed(true);
    change.ChangeRefCost(false, nullptr);
    EXPECT_TRUE(std::isnan(change.GetCost())) << count;
  }
}

}  // namespace
