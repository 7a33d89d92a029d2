#pragma once

#include <cmath>
#include <fstream>
#include <functional>
#include <numbers>
#include <sstream>
#include <string>
#include <vector>

#include "mth/optimise/Mth_funct.h"

namespace mth_test {

using Point = std::vector<double>;
using CostFunction = std::function<double(const double*)>;

/// A cost function that remembers every point it was evaluated at.
class RecordingCost : public MTH_FUNCT {
 public:
  RecordingCost(const Point& start, CostFunction function)
      : MTH_FUNCT(static_cast<int>(start.size())), function_(std::move(function)) {
    SetDefined(true);
    SetParameters(const_cast<double*>(start.data()));
  }
  void Evaluate() override {
    visited.push_back(Parameters());
    SetValue(function_(GetParameters()));
  }
  Point Parameters() const { return {GetParameters(), GetParameters() + GetParametersCount()}; }
  int EvaluationsCount() const { return static_cast<int>(visited.size()); }

  std::vector<Point> visited;

 private:
  CostFunction function_;
};

/// A problem that knows its answer.
struct Problem {
  std::string name;
  Point start;
  double leastCost;
  CostFunction cost;
};

inline double Square(double x) {
  return x * x;
}

/// Test functions of More, Garbow and Hillstrom, ACM TOMS 7 (1981) 17, by their names there.
inline CostFunction CostOfProblem(const std::string& name) {
  if (name == "Rosenbrock")
    return [](const double* x) { return Square(10.0 * (x[1] - x[0] * x[0])) + Square(1.0 - x[0]); };
  if (name == "Freudenstein-Roth")
    return [](const double* x) {
      return Square(-13.0 + x[0] + ((5.0 - x[1]) * x[1] - 2.0) * x[1]) +
             Square(-29.0 + x[0] + ((x[1] + 1.0) * x[1] - 14.0) * x[1]);
    };
  if (name == "Beale")
    return [](const double* x) {
      return Square(1.5 - x[0] * (1.0 - x[1])) + Square(2.25 - x[0] * (1.0 - std::pow(x[1], 2))) +
             Square(2.625 - x[0] * (1.0 - std::pow(x[1], 3)));
    };
  if (name == "Helical valley")
    return [](const double* x) {
      const double turn = std::atan(x[1] / x[0]) / (2.0 * std::numbers::pi) + (x[0] < 0.0 ? 0.5 : 0.0);
      return Square(10.0 * (x[2] - 10.0 * turn)) + Square(10.0 * (std::hypot(x[0], x[1]) - 1.0)) +
             Square(x[2]);
    };
  if (name == "Bard")
    return [](const double* x) {
      constexpr double y[] = {0.14, 0.18, 0.22, 0.25, 0.29, 0.32, 0.35, 0.39,
                              0.37, 0.58, 0.73, 0.96, 1.34, 2.10, 4.39};
      double sum = 0.0;
      for (int i = 1; i <= 15; ++i) {
        const double v = 16.0 - i;
        sum += Square(y[i - 1] - (x[0] + i / (v * x[1] + std::min<double>(i, v) * x[2])));
      }
      return sum;
    };
  if (name == "Powell singular")
    return [](const double* x) {
      return Square(x[0] + 10.0 * x[1]) + 5.0 * Square(x[2] - x[3]) + std::pow(x[1] - 2.0 * x[2], 4) +
             10.0 * std::pow(x[0] - x[3], 4);
    };
  if (name == "Wood")
    return [](const double* x) {
      return 100.0 * Square(x[1] - x[0] * x[0]) + Square(1.0 - x[0]) + 90.0 * Square(x[3] - x[2] * x[2]) +
             Square(1.0 - x[2]) + 10.0 * Square(x[1] + x[3] - 2.0) + 0.1 * Square(x[1] - x[3]);
    };
  return nullptr;
}

/// The problems of data/reference/problems.csv that CostOfProblem knows.
inline std::vector<Problem> ReadProblems() {
  std::vector<Problem> problems;
  std::ifstream file(MTH_DATA_DIR "/reference/problems.csv");
  std::string line;
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    Problem problem;
    std::string n;
    std::string start;
    std::getline(fields, problem.name, ',');
    problem.cost = CostOfProblem(problem.name);
    if (!problem.cost) continue;
    std::getline(fields, n, '"');
    std::getline(fields, start, '"');
    std::istringstream coordinates(start);
    for (double x = 0.0; coordinates >> x;) problem.start.push_back(x);
    // Where the table names a local minimum, that is where descent methods end.
    const std::size_t local = line.find("local ");
    fields.ignore(1);
    fields >> problem.leastCost;
    if (local != std::string::npos) problem.leastCost = std::stod(line.substr(local + 6));
    problems.push_back(problem);
  }
  return problems;
}

/// sum of (k + 1) (x_k - k)^2 + the product of neighbours' distances: convex, least cost 0 at x_k = k.
inline Problem Quadratic(int n) {
  return {"Quadratic " + std::to_string(n), Point(static_cast<std::size_t>(n), 5.0), 0.0,
          [n](const double* x) {
            double sum = 0.0;
            for (int k = 0; k < n; ++k) {
              sum += (k + 1) * Square(x[k] - k);
              if (k > 0) sum += 0.5 * (x[k] - k) * (x[k - 1] - (k - 1));
            }
            return sum;
          }};
}

}  // namespace mth_test
