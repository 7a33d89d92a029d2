#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "mth/core/Mth_instruction_set_internal.h"
#include "mth/geometry/Mth_funct_chgref_param.h"
#include "mth/geometry/Mth_matched_sums_kernel_internal.h"
#include "mth/geometry/Mth_matrix_chgref.h"
#include "mth/statistics/Mth_descriptive.h"
#include "support/cancelling_display.h"
#include "support/matrices.h"
#include "support/recording_display.h"

namespace {

using mth_test::MatrixPtr;
using Points = std::vector<MTH_3D_DOUBLE>;

Points RandomPoints(int count, unsigned seed, double size) {
  std::mt19937 engine(seed);
  std::normal_distribution<double> normal;
  Points points;
  for (int i = 0; i < count; ++i) {
    const double x = size * normal(engine);
    const double y = size * normal(engine);
    points.emplace_back(x, y, size * normal(engine));
  }
  return points;
}

MTH_MATRIX_CHGREF Truth(double q0, double q1, double q2, double q3) {
  const double norm = std::hypot(std::hypot(q0, q1), std::hypot(q2, q3));
  double values[7] = {q0 / norm, q1 / norm, q2 / norm, q3 / norm, 12.0, -7.5, 30.0};
  MTH_MATRIX_CHGREF truth(values);
  truth.ComputeFromQuaternion();
  return truth;
}

Points MappedBy(const MTH_MATRIX_CHGREF& change, const Points& points, double noise) {
  const Points errors = RandomPoints(static_cast<int>(points.size()), 99, noise);
  Points mapped(points.size());
  for (std::size_t i = 0; i < points.size(); ++i) {
    change.ChangeRef(points[i], &mapped[i]);
    mapped[i].Set3DCoord(mapped[i].GetX() + errors[i].GetX(), mapped[i].GetY() + errors[i].GetY(),
                         mapped[i].GetZ() + errors[i].GetZ());
  }
  return mapped;
}

// The coordinates of a set in arrays of their own.
struct Split {
  explicit Split(const Points& points) {
    for (const auto& p : points) {
      coordinates[0].push_back(p.GetX());
      coordinates[1].push_back(p.GetY());
      coordinates[2].push_back(p.GetZ());
    }
    for (int k = 0; k < 3; ++k) arrays[k] = coordinates[k].data();
  }
  std::vector<double> coordinates[3];
  double* arrays[3];
};

double Determinant(const MTH_MATRIX& m) {
  const auto minor = [&](int j, int k) { return m.Get(1, j) * m.Get(2, k) - m.Get(1, k) * m.Get(2, j); };
  return m.Get(0, 0) * minor(1, 2) - m.Get(0, 1) * minor(0, 2) + m.Get(0, 2) * minor(0, 1);
}

// Kabsch's rotation V diag(1, 1, det) U' of the singular value decomposition of the cross-covariance.
MTH_MATRIX KabschRotation(const Points& first, const Points& second) {
  Split a(first);
  Split b(second);
  const MatrixPtr covariance(
      Mth_CovarianceMatrix(a.arrays, b.arrays, static_cast<int>(first.size()), short{3}));
  MTH_MATRIX* factors[3];
  EXPECT_TRUE(covariance->SVD(&factors[0], &factors[1], &factors[2]));
  const MatrixPtr u(factors[0]);
  const MatrixPtr w(factors[1]);
  const MatrixPtr v(factors[2]);
  int smallest = 0;
  for (int k = 1; k < 3; ++k) {
    if (std::abs(w->Get(k, k)) < std::abs(w->Get(smallest, smallest))) smallest = k;
  }
  const double sign = Determinant(*u) * Determinant(*v) < 0.0 ? -1.0 : 1.0;
  return mth_test::FromRule(3, 3, mth_test::kDouble, [&](int i, int j) {
    double sum = 0.0;
    for (int k = 0; k < 3; ++k) sum += (k == smallest ? sign : 1.0) * v->Get(i, k) * u->Get(j, k);
    return sum;
  });
}

TEST(Registration, MomentsHaveTheBitsOfTheStatistics) {
  using mth_internal::InstructionSet;
  for (const int count : {1, 2, 3, 17, 1000}) {
    const Points first = RandomPoints(count, 1, 50.0);
    const Points second = RandomPoints(count, 2, 3.0);
    Split a(first);
    Split b(second);
    double mean[3];
    Mth_MeanVector(a.arrays, count, short{3}, mean);
    const MatrixPtr covariance(Mth_CovarianceMatrix(a.arrays, b.arrays, count, short{3}));
    for (const auto set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
      const mth_internal::InstructionSetScope scope(set);
      const auto moments = mth_internal::ComputeMatchedMoments(first.data(), second.data(), count);
      for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(moments.firstMean[i], mean[i]) << count;
        for (int j = 0; j < 3; ++j) EXPECT_EQ(moments.covariance[i][j], covariance->Get(i, j)) << count;
      }
    }
  }
}

TEST(Registration, FindsTheTransformOfMatchedSets) {
  mth_test::RecordingDisplay display;
  const double quaternions[][4] = {
      {1, 0, 0, 0}, {0, 1, 0, 0}, {0, 0.6, -0.8, 0}, {0.9, 0.1, -0.3, 0.2}, {0.1, -5, 3, 1}};
  for (const auto& q : quaternions) {
    const MTH_MATRIX_CHGREF truth = Truth(q[0], q[1], q[2], q[3]);
    for (const double noise : {0.0, 0.5}) {
      for (const int count : {3, 4, 50}) {
        SCOPED_TRACE("q1 " + std::to_string(q[1]) + " noise " + std::to_string(noise) + " points " +
                     std::to_string(count));
        Points first = RandomPoints(count, 4, 40.0);
        Points second = MappedBy(truth, first, noise);
        MTH_MATRIX_CHGREF found(count, first.data(), second.data());
        ASSERT_TRUE(found.ComputeFromSetsByQuaternion());
        const MatrixPtr rotation(found.GetExtract(0, 0, 3, 3));
        EXPECT_TRUE(mth_test::Near(*rotation, KabschRotation(first, second), 1e-12));
        double scalarFirst[4];
        found.GetQuaternion(scalarFirst);
        EXPECT_GE(scalarFirst[0], 0.0);
        if (noise == 0.0) {
          EXPECT_TRUE(mth_test::Near(found, truth, 1e-11));
          MTH_MATRIX_CHGREF geometric(count, first.data(), second.data());
          ASSERT_TRUE(geometric.ComputeByGeometricMethod());
          EXPECT_TRUE(mth_test::Near(geometric, found, 1e-9));
          double qFound[4];
          double qGeometric[4];
          found.GetQuaternion(qFound);
          geometric.GetQuaternion(qGeometric);
          double dot = 0.0;
          for (int i = 0; i < 4; ++i) dot += qFound[i] * qGeometric[i];
          EXPECT_NEAR(std::abs(dot), 1.0, 1e-12);
        }
      }
    }
  }
  EXPECT_TRUE(display.messages.empty());
}

TEST(Registration, GivesAProperRotationForDegenerateSets) {
  Points line;
  Points mirrored = RandomPoints(30, 8, 10.0);
  for (int i = 0; i < 10; ++i) line.emplace_back(i, 2 * i, -i);
  const Points coincident(5, MTH_3D_DOUBLE(1.5, -2.25, 3.125));
  const MTH_MATRIX_CHGREF truth = Truth(0.9, 0.1, -0.3, 0.2);
  Points mirror = mirrored;
  for (auto& p : mirror) p.SetX(-p.GetX());
  const std::pair<Points, Points> cases[] = {{line, MappedBy(truth, line, 0.0)},
                                             {coincident, MappedBy(truth, coincident, 0.0)},
                                             {mirrored, mirror},
                                             {{{1, 2, 3}}, {{4, 5, 6}}}};
  for (auto [first, second] : cases) {
    MTH_MATRIX_CHGREF found(static_cast<int>(first.size()), first.data(), second.data());
    ASSERT_TRUE(found.ComputeFromSetsByQuaternion()) << first.size();
    EXPECT_NEAR(Determinant(found), 1.0, 1e-12) << first.size();
    found.ChangeRefCost(false, nullptr);
    if (first.size() == 1) {
      // Every rotation fits, every eigenvalue is the largest: the first one is that of no turn.
      for (int i = 0; i < 3; ++i) EXPECT_EQ(found.Get(i, i), 1.0);
    }
    if (first[0] == mirrored[0]) continue;
    EXPECT_LE(found.GetCost(), 1e-12) << first.size();
  }
}

TEST(Registration, RefusesWhatItCannotEstimate) {
  Points points = RandomPoints(5, 4, 40.0);
  Points broken = points;
  broken[3].SetY(std::numeric_limits<double>::quiet_NaN());
  Points line;
  for (int i = 0; i < 5; ++i) line.emplace_back(0.1 * i, 0.2 * i, 0.3 * i);
  struct Case {
    int dimension;
    MTH_3D_DOUBLE* first;
    MTH_3D_DOUBLE* second;
    bool hasQuaternion;
  };
  for (const auto& [dimension, first, second, hasQuaternion] :
       {Case{0, points.data(), points.data(), false}, Case{-2, points.data(), points.data(), false},
        Case{5, nullptr, points.data(), false}, Case{5, points.data(), nullptr, false},
        Case{5, broken.data(), points.data(), false}, Case{5, points.data(), broken.data(), false},
        Case{2, points.data(), points.data(), true}, Case{5, line.data(), line.data(), true},
        Case{5, points.data(), line.data(), true}}) {
    double rotation[3] = {10, 20, 30};
    MTH_MATRIX_CHGREF change(rotation, rotation);
    change.ComputeFromRotTrans();
    const MTH_MATRIX before(change);
    change.SetRef1(first);
    change.SetRef2(second);
    change.SetDimension(dimension);
    change.SetComputed(true);
    EXPECT_FALSE(change.ComputeByGeometricMethod()) << dimension;
    EXPECT_FALSE(change.Initialise(first, second));
    EXPECT_TRUE(mth_test::SameBits(change, before));
    EXPECT_EQ(change.ComputeFromSetsByQuaternion(), hasQuaternion) << dimension;
    EXPECT_EQ(static_cast<bool>(mth_test::SameBits(change, before)), !hasQuaternion);
    EXPECT_EQ(change.GetRef1(), first);
  }
}

// The mean distance of a transform that maps the first points to the second ones.
double MeanDistance(const MTH_MATRIX_CHGREF& change, const Points& first, const Points& second) {
  double sum = 0.0;
  for (std::size_t i = 0; i < first.size(); ++i) {
    MTH_3D_DOUBLE mapped;
    EXPECT_TRUE(change.ChangeRef(first[i], &mapped));
    sum += mapped.Distance(second[i]);
  }
  return sum / static_cast<double>(first.size());
}

TEST(Registration, OfTheLeastMeanDistancePassesOverWrongLandmarks) {
  mth_test::RecordingDisplay display;
  for (unsigned seed = 1; seed <= 12; ++seed) {
    SCOPED_TRACE("seed " + std::to_string(seed));
    const MTH_MATRIX_CHGREF truth = Truth(0.9, 0.1 * seed, -0.3, 0.2);
    Points first = RandomPoints(12, seed, 60.0);
    Points second = MappedBy(truth, first, 0.5);
    const Points wrong = RandomPoints(2, 100 + seed, 20.0);
    for (std::size_t i = 0; i < 2; ++i) {
      auto& p = second[5 * i + 1];
      p = {p.GetX() + 15.0 + wrong[i].GetX(), p.GetY() + wrong[i].GetY(), p.GetZ() - wrong[i].GetZ()};
    }
    MTH_MATRIX_CHGREF squares(12, first.data(), second.data());
    ASSERT_TRUE(squares.ComputeFromSetsByQuaternion());
    MTH_MATRIX_CHGREF found(12, first.data(), second.data());
    ASSERT_TRUE(found.OptimiseMeanDistance());
    EXPECT_NEAR(Determinant(found), 1.0, 1e-12);
    EXPECT_NEAR(found.GetCost(), MeanDistance(found, first, second), 1e-12);
    EXPECT_LT(found.GetCost(), MeanDistance(squares, first, second));
    // Where the first points belong: the noise of a dozen landmarks, not the error of two of them.
    const Points target = MappedBy(truth, first, 0.0);
    EXPECT_LE(MeanDistance(found, first, target), 1.2);
    EXPECT_GE(MeanDistance(squares, first, target), 1.5);
    // No small move is better.
    for (int k = 0; k < 6; ++k) {
      for (const double step : {-1e-3, 1e-3}) {
        double angles[3] = {};
        double shift[3] = {};
        (k < 3 ? angles[k] : shift[k - 3]) = k < 3 ? step / 60.0 : step;
        MTH_MATRIX_CHGREF move;
        move.SetTranslation(shift);
        move.SetAnglesRadians(angles);
        const std::unique_ptr<MTH_MATRIX_CHGREF> moved(move * found);
        EXPECT_GE(MeanDistance(*moved, first, second), found.GetCost() - 1e-6);
      }
    }
    double translation[3];
    found.GetTranslation(translation);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(translation[i], found.Get(i, 3));
    // The two are named, and the answer is the least-squares one of the others.
    bool isOutlier[12];
    ASSERT_TRUE(found.ComputeWithoutOutliers(isOutlier));
    EXPECT_NEAR(found.GetCost(), MeanDistance(found, first, second), 1e-12);
    for (int i = 0; i < 12; ++i) EXPECT_EQ(isOutlier[i], i == 1 || i == 6) << i;
    for (const int i : {6, 1}) {
      first.erase(first.begin() + i);
      second.erase(second.begin() + i);
    }
    MTH_MATRIX_CHGREF others(10, first.data(), second.data());
    ASSERT_TRUE(others.ComputeFromSetsByQuaternion());
    EXPECT_TRUE(mth_test::SameBits(found, others));
  }
  EXPECT_TRUE(display.windows.empty() && display.messages.empty());
}

// Half of the landmarks and one more say what is right, and only when they fix the rotation.
TEST(Registration, CallsNobodyAnOutlierWithoutAMajority) {
  const Points line = {{0, 0, 0}, {10, 0, 0}, {20, 0, 0}, {30, 0, 0}, {40, 0, 0}, {5, 9, 0}, {12, 0, 7}};
  for (const auto& [count, isLine] : {std::pair{3, false}, {7, true}}) {
    Points first = isLine ? line : RandomPoints(count, 8, 50.0);
    Points second = MappedBy(Truth(0.9, 0.1, -0.3, 0.2), first, 0.0);
    for (int i = isLine ? 5 : 2; i < count; ++i) second[static_cast<std::size_t>(i)].SetX(900.0 + i);
    MTH_MATRIX_CHGREF found(count, first.data(), second.data());
    MTH_MATRIX_CHGREF expected(found);
    std::array<bool, 7> isOutlier{};
    ASSERT_TRUE(found.ComputeWithoutOutliers(isOutlier.data()));
    EXPECT_EQ(std::count(isOutlier.begin(), isOutlier.end(), true), 0);
    ASSERT_TRUE(expected.OptimiseMeanDistance());
    EXPECT_TRUE(mth_test::SameBits(found, expected));
  }
}

TEST(Registration, OfTheLeastMeanDistanceCanBeCancelled) {
  Points first = RandomPoints(12, 3, 60.0);
  Points second = MappedBy(Truth(0.9, 0.1, -0.3, 0.2), first, 3.0);
  for (const int yes : {1, 2, 9}) {
    const mth_test::CancellingDisplay display(yes);
    MTH_MATRIX_CHGREF found(12, first.data(), second.data());
    const MTH_MATRIX before(found);
    EXPECT_FALSE(yes == 2 ? found.ComputeWithoutOutliers(nullptr) : found.OptimiseMeanDistance()) << yes;
    EXPECT_TRUE(mth_test::SameBits(found, before));
    EXPECT_EQ(display.messages, 0);
  }
}

TEST(Registration, OfTheLeastMeanDistanceTakesAndRefusesWhatLeastSquaresDo) {
  const MTH_MATRIX_CHGREF truth = Truth(0.9, 0.1, -0.3, 0.2);
  for (const int count : {1, 2, 3, 5}) {
    Points first = RandomPoints(count, 4, 40.0);
    Points second = MappedBy(truth, first, 0.0);
    MTH_MATRIX_CHGREF found(count, first.data(), second.data());
    ASSERT_TRUE(found.OptimiseMeanDistance()) << count;
    EXPECT_LE(found.GetCost(), 1e-12) << count;
    bool isOutlier[5] = {true, true, true, true, true};
    ASSERT_TRUE(found.ComputeWithoutOutliers(isOutlier)) << count;
    EXPECT_LE(found.GetCost(), 1e-12) << count;
    for (int i = 0; i < count; ++i) EXPECT_FALSE(isOutlier[i]) << i;
    const MTH_MATRIX before(found);
    first[0].SetX(std::numeric_limits<double>::quiet_NaN());
    const auto isRefused = [&] {
      return !found.OptimiseMeanDistance() && !found.ComputeWithoutOutliers(isOutlier);
    };
    EXPECT_TRUE(isRefused());
    found.SetRef1(nullptr);
    EXPECT_TRUE(isRefused());
    found.SetRef1(second.data());
    found.SetDimension(0);
    EXPECT_TRUE(isRefused());
    EXPECT_TRUE(mth_test::SameBits(found, before));
  }
}

TEST(Registration, OptimiseShowsItsProgressAndLeavesTheMatrix) {
  mth_test::RecordingDisplay display;
  Points first = RandomPoints(30, 4, 40.0);
  double angles[3] = {20, 10, -15};
  MTH_MATRIX_CHGREF rotation;
  FormRotationMatrix(angles[0], angles[1], angles[2], &rotation);
  rotation.SetComputed(true);
  Points second = MappedBy(rotation, first, 0.1);
  MTH_MATRIX_CHGREF change(30, first.data(), second.data());
  ASSERT_TRUE(change.ComputeFromSetsByQuaternion());
  const MTH_MATRIX before(change);
  EXPECT_TRUE(change.Optimise());
  EXPECT_TRUE(mth_test::SameBits(change, before));
  ASSERT_EQ(display.windows.size(), 1U);
  EXPECT_EQ(display.windows[0]->title, "Optimization in progress");
  EXPECT_TRUE(display.windows[0]->isClosed);
  // As its own cost function does in 100 iterations at most, to a tolerance of 1e-5.
  EXPECT_EQ(display.windows[0]->maximum, 5 * 100 * 6);
  double start[6] = {};
  for (int k = 0; k < 6; ++k) start[k] = before.Get(k / 4, k % 4);
  MTH_FUNCT_CHGREF_PARAM cost(start, 30, first.data(), second.data());
  EXPECT_TRUE(cost.ComputeOptimumPowell(nullptr, 100, 1e-5, nullptr, true));
  EXPECT_EQ(display.windows.at(1)->actions, display.windows[0]->actions);
  // With a point that is not finite there is nothing to gain: the window closes at once.
  for (const double odd : {std::nan(""), HUGE_VAL}) {
    second[29].SetY(odd);
    EXPECT_FALSE(change.Optimise());
    EXPECT_TRUE(display.windows.back()->isClosed);
    EXPECT_LE(display.windows.back()->actions.size(), 1U);
  }
  change.SetRef2(nullptr);
  EXPECT_FALSE(change.Optimise());
  MTH_MATRIX_CHGREF none(0, first.data(), second.data());
  EXPECT_FALSE(none.Optimise());
}

}  // namespace
