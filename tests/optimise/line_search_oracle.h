#pragma once

#include <algorithm>
#include <cmath>
#include <utility>
#include <vector>

namespace mth_test {

/// The abscissae that a line search from 0 looks at, told by its rules: vertices of parabolas come from
/// divided differences, steps from their history.
class LineSearchOracle {
 public:
  template <class Cost>
  static std::pair<std::vector<double>, bool> Visit(Cost cost) {
    LineSearchOracle search;
    search.Bracket(cost);
    const bool isWhole = search.Refine(cost);
    return {search.visited_, isWhole};
  }

 private:
  struct Sample {
    double t;
    double cost;
  };

  template <class Cost>
  Sample Look(Cost& cost, double t) {
    visited_.push_back(t);
    return {t, cost(t)};
  }

  // Where the parabola through three points has its extremum.
  static double Vertex(const Sample& p, const Sample& q, const Sample& r) {
    const double slope = (q.cost - p.cost) / (q.t - p.t);
    const double curvature = ((r.cost - q.cost) / (r.t - q.t) - slope) / (r.t - p.t);
    return 0.5 * (p.t + q.t) - 0.5 * slope / curvature;
  }

  static bool IsBetween(double t, double one, double other) {
    return std::min(one, other) < t && t < std::max(one, other);
  }

  template <class Cost>
  void Bracket(Cost& cost) {
    constexpr double kGolden = 1.618034;
    const auto beyond = [](const Sample& b, const Sample& c) { return c.t + kGolden * (c.t - b.t); };
    Sample p = Look(cost, 0.0);
    Sample q = Look(cost, 1.0);
    if (p.cost < q.cost) std::swap(p, q);
    Sample r = Look(cost, beyond(p, q));
    while (r.cost < q.cost) {
      const double vertex = Vertex(p, q, r);
      const double limit = q.t + 100.0 * (r.t - q.t);
      double next = 0.0;
      if (IsBetween(vertex, q.t, r.t)) {
        const Sample inside = Look(cost, vertex);
        if (inside.cost < r.cost) {
          p = q;
          q = inside;
          break;
        }
        if (inside.cost > q.cost) {
          r = inside;
          break;
        }
        next = beyond(q, r);
      } else if (IsBetween(vertex, r.t, limit)) {
        const Sample ahead = Look(cost, vertex);
        p = std::exchange(q, std::exchange(r, ahead));
        if (!(r.cost < q.cost)) break;
        next = beyond(q, r);
      } else {
        const bool isFarAhead = (vertex - r.t) * (limit - r.t) > 0.0;
        next = isFarAhead ? limit : beyond(q, r);
      }
      p = std::exchange(q, std::exchange(r, Look(cost, next)));
    }
    low_ = std::min(p.t, r.t);
    high_ = std::max(p.t, r.t);
    middle_ = q.t;
  }

  template <class Cost>
  bool Refine(Cost& cost) {
    std::vector<Sample> lowest(3, Look(cost, middle_));  // the lowest, the second, the one that was second
    double lastStep = 0.0;
    double stepBefore = 0.0;
    for (int i = 0; i < 200; ++i) {
      const double x = lowest[0].t;
      const double centre = 0.5 * (low_ + high_);
      const double tolerance = 0.01 * std::abs(x) + 1e-5;
      if (std::abs(x - centre) + 0.5 * (high_ - low_) <= 2.0 * tolerance) return true;
      double step = 0.0;
      const bool areThree = lowest[0].t != lowest[1].t && lowest[1].t != lowest[2].t;
      if (std::abs(stepBefore) > tolerance && areThree) step = Vertex(lowest[0], lowest[1], lowest[2]) - x;
      const double fromEnds = std::min(std::abs(x + step - low_), std::abs(high_ - x - step));
      if (areThree && fromEnds < 1e-9 * (1.0 + std::abs(x))) return false;
      const bool isParabolic = std::abs(stepBefore) > tolerance && areThree &&
                               std::abs(step) < 0.5 * std::abs(stepBefore) &&
                               IsBetween(x + step, low_, high_);
      if (isParabolic) {
        stepBefore = lastStep;
        const double room = std::min(x + step - low_, high_ - (x + step));
        if (room < 2.0 * tolerance) step = centre > x ? tolerance : -tolerance;
      } else {
        stepBefore = x < centre ? high_ - x : low_ - x;
        step = 0.381966 * stepBefore;
      }
      lastStep = step;
      if (std::abs(step) < tolerance) step = step > 0.0 ? tolerance : -tolerance;
      Keep(lowest, Look(cost, x + step));
    }
    return true;
  }

  void Keep(std::vector<Sample>& lowest, const Sample& sample) {
    const double x = lowest[0].t;
    if (sample.cost <= lowest[0].cost) {
      (sample.t < x ? high_ : low_) = x;
      lowest.insert(lowest.begin(), sample);
    } else {
      (sample.t < x ? low_ : high_) = sample.t;
      const bool isSecond = sample.cost <= lowest[1].cost || lowest[1].t == x;
      const bool isThird = sample.cost <= lowest[2].cost || lowest[2].t == x || lowest[2].t == lowest[1].t;
      if (isSecond) {
        lowest.insert(lowest.begin() + 1, sample);
      } else if (isThird) {
        lowest[2] = sample;
      }
    }
    lowest.resize(3, sample);
  }

  std::vector<double> visited_;
  double low_ = 0.0;
  double high_ = 0.0;
  double middle_ = 0.0;
};

}  // namespace mth_test
