#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "mth/geometry/Mth_matrix_chgref.h"
#include "mth/geometry/Mth_point_sets.h"

#ifdef MTH_HAS_EIGEN
#include <Eigen/Dense>
#include <Eigen/Geometry>
#endif
#ifdef MTH_HAS_NANOFLANN
#include <nanoflann.hpp>
#endif

// Registration of matched points, Hausdorff distance, rotation of many points.

namespace {

using benchmark::State;
using Points = std::vector<MTH_3D_DOUBLE>;

Points RandomPoints(std::size_t count, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> uniform(-100.0, 100.0);
  Points points;
  for (std::size_t i = 0; i < count; ++i) {
    const double x = uniform(engine);
    const double y = uniform(engine);
    points.emplace_back(x, y, uniform(engine));
  }
  return points;
}

// Points on a wavy sphere: surfaces of one organ, segmented twice.
Points Surface(std::size_t count, double shift, unsigned seed) {
  std::mt19937 engine(seed);
  std::normal_distribution<double> normal;
  Points points;
  for (std::size_t i = 0; i < count; ++i) {
    const double x = normal(engine);
    const double y = normal(engine);
    const double z = normal(engine);
    const double radius = (60.0 + 5.0 * std::sin(6.0 * x / std::hypot(x, y, z))) / std::hypot(x, y, z);
    points.emplace_back(radius * x + shift, radius * y, radius * z);
  }
  return points;
}

// Points at random places of a line through the origin.
Points Line(std::size_t count, const MTH_3D_DOUBLE& direction, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> uniform(-1.0, 1.0);
  Points points;
  for (std::size_t i = 0; i < count; ++i) {
    const double t = uniform(engine);
    points.emplace_back(t * direction.GetX(), t * direction.GetY(), t * direction.GetZ());
  }
  return points;
}

// Points of a sphere about the origin: no point of another one is much nearer than the next.
Points Sphere(std::size_t count, double radius, unsigned seed) {
  std::mt19937 engine(seed);
  std::normal_distribution<double> normal;
  Points points;
  for (std::size_t i = 0; i < count; ++i) {
    const double x = normal(engine);
    const double y = normal(engine);
    const double z = normal(engine);
    const double scale = radius / std::hypot(x, y, z);
    points.emplace_back(scale * x, scale * y, scale * z);
  }
  return points;
}

// The second set is the first one, turned, with errors.
Points Turned(const Points& points) {
  double quaternion[7] = {0.8, 0.36, 0.48, 0.0, 10.0, -20.0, 5.0};
  MTH_MATRIX_CHGREF change(quaternion);
  change.ComputeFromQuaternion();
  const Points errors = RandomPoints(points.size(), 5);
  Points turned(points.size());
  for (std::size_t i = 0; i < points.size(); ++i) {
    change.ChangeRef(points[i], &turned[i]);
    turned[i].SetX(turned[i].GetX() + 0.01 * errors[i].GetX());
  }
  return turned;
}

void RegisterPoints(State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  Points first = RandomPoints(count, 1);
  Points second = Turned(first);
  MTH_MATRIX_CHGREF change(static_cast<int>(count), first.data(), second.data());
  for (auto _ : state) benchmark::DoNotOptimize(change.ComputeFromSetsByQuaternion());
}
BENCHMARK(RegisterPoints)->Name("Registration/mth")->Arg(10000)->Unit(benchmark::kMicrosecond);

template <class MakeFirst, class MakeSecond>
void Hausdorff(State& state, MakeFirst makeFirst, MakeSecond makeSecond) {
  Points first = makeFirst(static_cast<std::size_t>(state.range(0)));
  Points second = makeSecond(static_cast<std::size_t>(state.range(0)));
  const auto count = static_cast<int>(first.size());
  for (auto _ : state) {
    benchmark::DoNotOptimize(Mth_Hausdorff_Distance(first.data(), second.data(), count, count));
  }
}

using Make = Points (*)(std::size_t);
struct Pair {
  const char* name;
  Make first;
  Make second;
};
const Pair kPairs[] = {{"volumes", [](std::size_t n) { return RandomPoints(n, 1); },
                        [](std::size_t n) { return RandomPoints(n, 2); }},
                       {"surfaces", [](std::size_t n) { return Surface(n, 0.0, 1); },
                        [](std::size_t n) { return Surface(n, 3.0, 2); }},
                       {"crossing lines",
                        [](std::size_t n) {
                          return Line(n, {1, 1, 0}, 1);
                        },
                        [](std::size_t n) {
                          return Line(n, {1, -1, 0}, 2);
                        }},
                       {"concentric spheres", [](std::size_t n) { return Sphere(n, 1.0, 1); },
                        [](std::size_t n) { return Sphere(n, 2.0, 2); }}};

constexpr std::int64_t kMostPoints = 50000;

template <class Run>
benchmark::internal::Benchmark* Register(const Pair& pair, const char* library, Run run) {
  const std::string name = std::string("Hausdorff, ") + pair.name + "/" + library;
  return benchmark::RegisterBenchmark(name.c_str(),
                                      [&pair, run](State& state) { run(state, pair.first, pair.second); })
      ->Unit(benchmark::kMillisecond);
}

// Three sizes of each pair of sets, which show the way in which the time grows.
bool RegisterOwn() {
  for (const Pair& pair : kPairs)
    Register(pair, "mth", Hausdorff<Make, Make>)
        ->Arg(kMostPoints / 4)
        ->Arg(kMostPoints / 2)
        ->Arg(kMostPoints);
  return true;
}
const bool kHaveOwn = RegisterOwn();

void Transform(State& state) {
  Points points = RandomPoints(static_cast<std::size_t>(state.range(0)), 1);
  double rotation[3] = {10.0, 20.0, 30.0};
  double translation[3] = {1.0, 2.0, 3.0};
  for (auto _ : state) {
    const std::unique_ptr<MTH_3D_DOUBLE[]> mapped(
        Mth_ApplyTransformationToSet(points.data(), static_cast<int>(points.size()), rotation, translation));
    benchmark::DoNotOptimize(mapped.get());
  }
}
BENCHMARK(Transform)->Name("Rotation of points/mth")->Arg(1000000)->Unit(benchmark::kMillisecond);

// The least that a function with a new array as its result can do.
void CopyIntoNewArray(State& state) {
  const Points points = RandomPoints(static_cast<std::size_t>(state.range(0)), 1);
  for (auto _ : state) {
    const std::unique_ptr<MTH_3D_DOUBLE[]> copy(new MTH_3D_DOUBLE[points.size()]);
    std::copy(points.begin(), points.end(), copy.get());
    benchmark::DoNotOptimize(copy.get());
    benchmark::ClobberMemory();
  }
}
BENCHMARK(CopyIntoNewArray)
    ->Name("Rotation of points/limit, copy into a new array")
    ->Arg(1000000)
    ->Unit(benchmark::kMillisecond);

#ifdef MTH_HAS_EIGEN
void Umeyama(State& state) {
  const auto count = static_cast<std::size_t>(state.range(0));
  const Points first = RandomPoints(count, 1);
  const Points second = Turned(first);
  const auto columns = [](const Points& points) {
    Eigen::Matrix3Xd matrix(3, static_cast<Eigen::Index>(points.size()));
    for (std::size_t i = 0; i < points.size(); ++i) {
      matrix.col(static_cast<Eigen::Index>(i)) << points[i].GetX(), points[i].GetY(), points[i].GetZ();
    }
    return matrix;
  };
  const Eigen::Matrix3Xd source = columns(first);
  const Eigen::Matrix3Xd target = columns(second);
  for (auto _ : state) {
    Eigen::Matrix4d change = Eigen::umeyama(source, target, false);
    benchmark::DoNotOptimize(change);
  }
}
BENCHMARK(Umeyama)->Name("Registration/Eigen umeyama")->Arg(10000)->Unit(benchmark::kMicrosecond);
#endif

#ifdef MTH_HAS_NANOFLANN
struct Cloud {
  const Points& points;
  std::size_t kdtree_get_point_count() const { return points.size(); }
  double kdtree_get_pt(std::size_t i, std::size_t axis) const {
    const MTH_3D_DOUBLE& p = points[i];
    return axis == 0 ? p.GetX() : axis == 1 ? p.GetY() : p.GetZ();
  }
  template <class Box>
  bool kdtree_get_bbox(Box&) const {
    return false;
  }
};

double DirectedSquare(const Points& from, const Points& to) {
  using Tree = nanoflann::KDTreeSingleIndexAdaptor<nanoflann::L2_Simple_Adaptor<double, Cloud>, Cloud, 3>;
  const Cloud cloud{to};
  Tree tree(3, cloud, nanoflann::KDTreeSingleIndexAdaptorParams(10));
  tree.buildIndex();
  double largest = 0.0;
  for (const auto& point : from) {
    const double query[3] = {point.GetX(), point.GetY(), point.GetZ()};
    std::size_t index = 0;
    double square = 0.0;
    nanoflann::KNNResultSet<double> result(1);
    result.init(&index, &square);
    tree.findNeighbors(result, query, nanoflann::SearchParams());
    largest = std::max(largest, square);
  }
  return largest;
}

template <class MakeFirst, class MakeSecond>
void HausdorffByTree(State& state, MakeFirst makeFirst, MakeSecond makeSecond) {
  const Points first = makeFirst(static_cast<std::size_t>(state.range(0)));
  const Points second = makeSecond(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        std::sqrt(std::max(DirectedSquare(first, second), DirectedSquare(second, first))));
  }
}
// Of the largest sets only, and not so often: it takes ten times as long and more.
bool RegisterTrees() {
  for (const Pair& pair : kPairs)
    Register(pair, "nanoflann", HausdorffByTree<Make, Make>)->Arg(kMostPoints)->Repetitions(3);
  return true;
}
const bool kHaveTrees = RegisterTrees();
#endif

}  // namespace
