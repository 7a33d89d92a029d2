#pragma once

#include <algorithm>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "mth/Mth.h"

// The operations whose costs costs.cpp measures, and their input.

namespace mth_benchmark {

enum class Kind { Ordinary, OneNaN, OneInfinity, AllEqual };
inline constexpr Kind kKinds[] = {Kind::Ordinary, Kind::OneNaN, Kind::OneInfinity, Kind::AllEqual};

using Values = std::vector<double>;
using Run = std::function<void()>;
/// Prepares input of that kind and size; what it returns is measured, and may be run again.
using Prepare = std::function<Run(Kind, int)>;

// Between 50 and 150.
template <class T = double>
std::vector<T> Make(Kind kind, int count, unsigned seed = 1) {
  std::mt19937 engine(seed);
  std::vector<T> values(static_cast<std::size_t>(count));
  for (T& value : values) value = static_cast<T>(50.0 + 1e-6 * static_cast<double>(engine() % 100000000));
  if (kind == Kind::AllEqual) std::fill(values.begin(), values.end(), T{75});
  if (kind == Kind::OneNaN) values[values.size() / 2] = std::numeric_limits<T>::quiet_NaN();
  if (kind == Kind::OneInfinity) values[values.size() / 2] = std::numeric_limits<T>::infinity();
  return values;
}

inline std::shared_ptr<MTH_MATRIX> MakeMatrix(Kind kind, int rows, int columns, int type = 0,
                                              unsigned seed = 1) {
  auto matrix = std::make_shared<MTH_MATRIX>(rows, columns, type);
  const Values values = Make(kind, rows * columns, seed);
  for (int i = 0; i < rows * columns; ++i)
    matrix->Set(i / columns, i % columns, values[static_cast<std::size_t>(i)]);
  return matrix;
}

/// Gives an engine of four clusters these samples and centroids to start from; it then takes all its steps.
inline void StartClustering(MTH_CLUSTERING& engine, const Values& samples) {
  engine.AddSamples(samples.data(), static_cast<int>(samples.size()));
  for (int k = 0; k < 4; ++k) {
    const double start = 60.0 + 20.0 * k;
    engine.InitialiseCentroid(k, &start, 1);
  }
  engine.SetTolerance(0.0);
}

/// How often a minimiser evaluates its cost, which its published steps fix.
using Evaluations = std::function<long(Kind, int)>;

struct Case {
  std::string name;
  int size;
  Prepare prepare;
  Evaluations evaluations = nullptr;
};
using Cases = std::vector<Case>;

/// Least times of the runs, in turns, in milliseconds.
Values LeastTimes(const std::vector<Run>& runs);
/// The exponent of growth over three sizes, each twice the one before; the smallest comes last.
double Growth(double largest, double smallest);

template <class Result>
void Free(Result* result) {
  delete result;
}

void AddMatrices(Cases& cases);
void AddValues(Cases& cases);
void AddImages(Cases& cases);
void AddClusterings(Cases& cases);
void AddPointsAndCosts(Cases& cases);
void AddScalars(Cases& cases);

/// Prints how the works that once grew too fast grow now, beside a peer of each in the same run.
void MeasureBesidePeers(const std::string& part);

}  // namespace mth_benchmark
