#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <random>
#include <vector>

#include "mth/geometry/Mth_point_sets.h"
#include "support/allocation_faults.h"
#include "support/cancelling_display.h"
#include "support/values.h"

namespace {

using mth_test::kInfinity;
using mth_test::kNaN;

using Points = std::vector<MTH_3D_DOUBLE>;

double Directed(const Points& from, const Points& to) {
  double largest = 0.0;
  for (std::size_t i = 0; i < from.size(); ++i) {
    double nearest = from[i].Distance(to[0]);
    for (const auto& point : to) {
      if (from[i].Distance(point) < nearest) nearest = from[i].Distance(point);
    }
    if (i == 0 || nearest > largest) largest = nearest;
  }
  return largest;
}

double BruteForce(const Points& a, const Points& b) {
  const double forth = Directed(a, b);
  const double back = Directed(b, a);
  return forth > back ? forth : back;
}

double Distance(Points& a, Points& b) {
  return Mth_Hausdorff_Distance(a.data(), b.data(), static_cast<int>(a.size()), static_cast<int>(b.size()));
}

double ListDistance(Points& a, Points& b) {
  MTH_POINTER_LIST<MTH_3D_DOUBLE> first;
  MTH_POINTER_LIST<MTH_3D_DOUBLE> second;
  for (auto& point : a) first.Add(&point);
  for (auto& point : b) second.Add(&point);
  return Mth_Hausdorff_Distance(&first, &second);
}

// A cloud in a box of those half sizes around a centre.
Points Cloud(int count, const MTH_3D_DOUBLE& centre, const MTH_3D_DOUBLE& size, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  Points points;
  for (int i = 0; i < count; ++i) {
    const double x = centre.GetX() + size.GetX() * uniform(engine);
    const double y = centre.GetY() + size.GetY() * uniform(engine);
    points.emplace_back(x, y, centre.GetZ() + size.GetZ() * uniform(engine));
  }
  return points;
}

// Points about the origin.
Points Sphere(int count, double radius, unsigned seed) {
  Points points = Cloud(count, {0, 0, 0}, {1, 1, 1}, seed);
  for (auto& p : points) {
    const double scale = radius / p.Distance({0, 0, 0});
    p = {scale * p.GetX(), scale * p.GetY(), scale * p.GetZ()};
  }
  return points;
}

Points Joined(Points first, const Points& second) {
  first.insert(first.end(), second.begin(), second.end());
  return first;
}

TEST(HausdorffDistance, EqualsBruteForceToTheLastBit) {
  const Points cube = Cloud(700, {0, 0, 0}, {1, 1, 1}, 1);
  const Points lattice = [] {
    Points points;
    for (int i = 0; i < 343; ++i) points.emplace_back(i % 7, i / 7 % 7, i / 49);
    return points;
  }();
  const std::vector<Points> sets = {cube,
                                    Cloud(400, {0.1, 0, 0}, {1, 1, 1}, 2),
                                    Cloud(300, {50, -20, 3}, {2, 9, 0.1}, 3),
                                    Cloud(300, {0, 0, 0}, {1, 1, 0}, 4),
                                    Cloud(300, {0, 0, 1e-9}, {0, 5, 0}, 5),
                                    Cloud(200, {1e8, 1e8, 1e8}, {1e-3, 1e-3, 1e-3}, 6),
                                    Cloud(200, {0, 0, 0}, {1e-200, 1e-190, 0}, 7),
                                    Cloud(100, {0, 0, 0}, {1e160, 1, 1}, 8),
                                    Joined(cube, {{1e6, 0, 0}}),
                                    Joined(Cloud(300, {0, 0, 0}, {1e-5, 1e-5, 1e-5}, 9), {{7, 7, 7}}),
                                    Cloud(60, {0, 0, 0}, {1e-320, 1e-321, 0}, 10),
                                    Cloud(60, {1e300, 0, 0}, {1e307, 1e308, 1}, 11),
                                    lattice,
                                    Points(50, MTH_3D_DOUBLE(1, 2, 3)),
                                    {{3, 4, 0}}};
  for (std::size_t i = 0; i < sets.size(); ++i) {
    for (std::size_t j = 0; j < sets.size(); ++j) {
      Points a = sets[i];
      Points b = sets[j];
      const double expected = BruteForce(a, b);
      ASSERT_EQ(Distance(a, b), expected) << "sets " << i << ", " << j;
      ASSERT_EQ(ListDistance(a, b), expected) << "sets " << i << ", " << j;
    }
  }
}

// The edge of a cell would underflow to 0.
TEST(HausdorffDistance, OfSubnormalCoordinates) {
  Points points;
  for (int i = 0; i < 8; ++i) points.emplace_back((i % 3) * std::numeric_limits<double>::denorm_min(), 0, 0);
  EXPECT_EQ(Distance(points, points), 0.0);
}

// Sets that one regular grid cannot divide: lines that cross, spheres about one centre, clusters with
// outliers in both sets, far from each other, nested, and points that are all the same. The searches take
// long enough for the grid to give up.
TEST(HausdorffDistance, OfCrowdedSetsEqualsBruteForce) {
  const Points outliers = {{1e4, 0, 0}, {-7, 3e3, 2e3}};
  const auto nested = [](unsigned seed) {
    Points points;
    for (int level = 0; level < 6; ++level) {
      const double size = std::pow(0.02, level);
      points =
          Joined(points, Cloud(300, {0.5, 0.25, 0}, {size, size, size}, seed + static_cast<unsigned>(level)));
    }
    return points;
  };
  const auto pair = [](unsigned seed) {
    return Joined(Cloud(900, {0, 0, 0}, {1, 1, 1}, seed), Cloud(900, {500, 20, 0}, {1, 1, 1}, seed + 1));
  };
  const auto line = [](const MTH_3D_DOUBLE& direction, unsigned seed) {
    Points points = Cloud(1500, {0, 0, 0}, {1, 0, 0}, seed);
    for (auto& p : points) {
      const double t = p.GetX();
      p = {t * direction.GetX(), t * direction.GetY(), t * direction.GetZ()};
    }
    return points;
  };
  const Points same(1500, MTH_3D_DOUBLE(1, 2, 3));
  std::pair<Points, Points> cases[] = {{Joined(Cloud(1500, {0, 0, 0}, {1, 1, 1}, 1), outliers),
                                        Joined(Cloud(1500, {0, 0, 0}, {1, 1, 1}, 2), outliers)},
                                       {Joined(Cloud(1500, {0, 0, 0}, {1, 1, 0}, 3), outliers),
                                        Joined(Cloud(1400, {0, 0, 1e-7}, {1, 1, 0}, 4), outliers)},
                                       {pair(5), pair(7)},
                                       {nested(20), nested(30)},
                                       {Joined(same, outliers), Joined(same, outliers)},
                                       {Joined(same, pair(9)), pair(11)},
                                       {line({1, 1, 0}, 40), line({1, -1, 0}, 41)},
                                       {line({1, 1, 1}, 42), line({1, -1, 1}, 43)},
                                       {Sphere(1500, 1, 44), Sphere(1500, 2, 45)},
                                       {{{0, 0, 0}}, Sphere(1500, 1, 46)}};
  for (auto& sets : cases) {
    Points& a = sets.first;
    Points& b = sets.second;
    const double expected = BruteForce(a, b);
    EXPECT_EQ(Distance(a, b), expected);
    const int faults = mth_test::ForEachAllocationFault(
        [&] { return Distance(a, b); },
        [&](double result) { EXPECT_TRUE(result == -1.0 || result == expected) << result; });
    EXPECT_GE(faults, 4);
  }
}

TEST(HausdorffDistance, HandlesNotFinitePointsAsTheScansDo) {
  const Points plain = Cloud(20, {0, 0, 0}, {1, 1, 1}, 1);
  const Points nanFirst = Joined({{kNaN, 0, 0}}, plain);
  const Points nanLast = Joined(plain, {{0, kNaN, 0}});
  const Points infinite = Joined(plain, {{0, 0, kInfinity}});
  const Points infiniteFirst = Joined({{0, -kInfinity, 0}}, plain);
  const std::vector<Points> sets = {plain,
                                    nanFirst,
                                    nanLast,
                                    infinite,
                                    infiniteFirst,
                                    Joined(infiniteFirst, infinite),
                                    Joined(infinite, nanFirst),
                                    {{kInfinity, 0, 0}},
                                    {{kInfinity, 0, 0}, {kInfinity, kNaN, 0}},
                                    {{kInfinity, 0, 0}, {0, 0, kInfinity}},
                                    {{0, 0, kInfinity}, {kInfinity, 0, 0}, {1, 2, 3}},
                                    {{kNaN, 0, 0}}};
  for (const Points& first : sets) {
    for (const Points& second : sets) {
      Points a = first;
      Points b = second;
      const double expected = BruteForce(a, b);
      const double distance = Distance(a, b);
      EXPECT_TRUE(distance == expected || (std::isnan(distance) && std::isnan(expected)))
          << distance << ", expected " << expected;
    }
  }
}

// All points of the circle are as far from each one of its axis: a search looks at every one of them, and the
// host cannot wait for a thousand such searches.
TEST(HausdorffDistance, AsksSoonerWherePointsCostManyLooks) {
  Points axis(40000, MTH_3D_DOUBLE(0, 0, 0));
  Points circle(1 << 17, MTH_3D_DOUBLE(0, 0, 0));
  for (std::size_t i = 0; i < axis.size(); ++i) axis[i].SetZ(1e-5 * static_cast<double>(i));
  for (std::size_t i = 0; i < circle.size(); ++i) {
    const double angle = 1e-4 * static_cast<double>(i);
    circle[i] = MTH_3D_DOUBLE(std::cos(angle), std::sin(angle), 0);
  }
  const mth_test::CancellingDisplay patient;
  EXPECT_NEAR(Distance(axis, circle), std::hypot(1.0, 0.39999), 1e-12);
  EXPECT_GE(patient.questions, 8);
}

// Asked at the first point and then at every thousandth, in the grid as in the trees.
TEST(HausdorffDistance, CanBeCancelled) {
  std::pair<Points, Points> cases[] = {
      {Cloud(4000, {0, 0, 0}, {1, 1, 1}, 1), Cloud(3000, {0, 0, 0}, {1, 1, 1}, 2)},
      {Sphere(9000, 1, 3), Sphere(9000, 2, 4)}};
  for (auto& [a, b] : cases) {
    int questions = 0;
    {
      const mth_test::CancellingDisplay patient;
      EXPECT_GE(Distance(a, b), 0.0);
      questions = patient.questions;
    }
    EXPECT_GE(questions, 4);
    for (const int yes : {1, 2, questions}) {
      const mth_test::CancellingDisplay display(yes);
      EXPECT_EQ(Distance(a, b), -1.0) << yes;
      EXPECT_EQ(ListDistance(a, b), -1.0) << yes;
    }
  }
}

TEST(HausdorffDistance, OfEmptyAndMissingSets) {
  Points none;
  Points some = {{0, 0, 0}, {3, 4, 0}};
  Points origin = {{0, 0, 0}};
  EXPECT_EQ(Distance(origin, some), 5.0);
  EXPECT_EQ(Distance(some, some), 0.0);
  EXPECT_EQ(Distance(none, none), 0.0);
  EXPECT_EQ(ListDistance(none, none), 0.0);
  EXPECT_EQ(Distance(none, some), -1.0);
  EXPECT_EQ(ListDistance(some, none), -1.0);
  EXPECT_EQ(Mth_Hausdorff_Distance(nullptr, some.data(), 2, 2), -1.0);
  EXPECT_EQ(Mth_Hausdorff_Distance(some.data(), some.data(), -3, 0), 0.0);
  MTH_POINTER_LIST<MTH_3D_DOUBLE> list;
  list.Add(some.data());
  EXPECT_EQ(Mth_Hausdorff_Distance(&list, nullptr), -1.0);
  EXPECT_EQ(Mth_Hausdorff_Distance(nullptr, &list), -1.0);
  list.Add(nullptr);
  EXPECT_EQ(Mth_Hausdorff_Distance(&list, &list), -1.0);
}

TEST(ApplyTransformationToSet, RotatesAndIgnoresTheTranslation) {
  Points points = Cloud(1001, {5, 6, 7}, {1, 2, 3}, 3);
  double rotation[3] = {90.0, 0.0, 0.0};
  double translation[3] = {1.0, 2.0, 3.0};
  const auto count = static_cast<int>(points.size());
  const std::unique_ptr<MTH_3D_DOUBLE[]> mapped(
      Mth_ApplyTransformationToSet(points.data(), count, rotation, translation));
  ASSERT_NE(mapped, nullptr);
  for (std::size_t i = 0; i < points.size(); ++i) {
    EXPECT_LE(mapped[i].Distance({-points[i].GetY(), points[i].GetX(), points[i].GetZ()}), 1e-14) << i;
  }
  const std::unique_ptr<MTH_3D_DOUBLE[]> none(
      Mth_ApplyTransformationToSet(points.data(), 0, rotation, translation));
  EXPECT_NE(none, nullptr);
  EXPECT_EQ(Mth_ApplyTransformationToSet(nullptr, 1, rotation, translation), nullptr);
  EXPECT_EQ(Mth_ApplyTransformationToSet(points.data(), -1, rotation, translation), nullptr);
  EXPECT_EQ(Mth_ApplyTransformationToSet(points.data(), 1, nullptr, translation), nullptr);
  EXPECT_EQ(Mth_ApplyTransformationToSet(points.data(), 1, rotation, nullptr), nullptr);
}

}  // namespace
