#include <algorithm>
#include <cmath>
#include <utility>

#include "mth/optimise/Mth_funct.h"
#include "mth/optimise/Mth_funct_internal.h"

// Minimisation along a line: bracket a minimum, then refine it.

namespace {

constexpr double kGoldenRatio = 1.618034;
constexpr double kGoldenSection = 0.381966;  // smaller part of an interval divided by the golden ratio
constexpr double kLargestMagnification = 100.0;
constexpr double kSmallestDenominator = 1e-8;  // intended: coarser than the usual guard against a zero
constexpr double kAbsoluteTolerance = 1e-5;
constexpr int kMaximumRefinements = 200;

struct LinePoint {
  double t;
  double cost;
};

// The magnitude with the sign of another number; intended: zero counts as negative.
double WithSignOf(double magnitude, double sign) {
  return sign > 0.0 ? magnitude : -magnitude;
}

// The point beyond `to` by the step from `from`, stretched by the golden ratio.
double GoldenStep(double from, double to) {
  return to + kGoldenRatio * (to - from);
}

// Three points in line order that walk downhill until the middle one is the lowest.
struct Bracket {
  LinePoint a;
  LinePoint b;
  LinePoint c;

  bool IsOpen() const {
    // Without the second test a cost that falls at every call would never let go of points that are NaN.
    return b.cost > c.cost && !std::isnan(c.t);
  }

  // Abscissa of the extremum of the parabola through the three points.
  double ParabolaVertex() const {
    const double r = (b.t - a.t) * (b.cost - c.cost);
    const double q = (b.t - c.t) * (b.cost - a.cost);
    // In this order of its arguments the maximum of a NaN is the guard.
    const double denominator = 2.0 * WithSignOf(std::max(kSmallestDenominator, std::abs(q - r)), q - r);
    return b.t - ((b.t - c.t) * q - (b.t - a.t) * r) / denominator;
  }

  void Append(LinePoint point) {
    a = b;
    b = c;
    c = point;
  }

  // One step of the walk; `at` gives the point of the line at an abscissa.
  // @return whether that step already enclosed a minimum.
  template <class At>
  bool Advance(At at) {
    const double vertex = ParabolaVertex();
    const double limit = b.t + kLargestMagnification * (c.t - b.t);
    if ((b.t - vertex) * (vertex - c.t) > 0.0) {
      if (EncloseWith(at(vertex))) return true;
      Append(at(GoldenStep(b.t, c.t)));
    } else if ((c.t - vertex) * (vertex - limit) > 0.0) {
      Append(at(vertex));
      if (c.cost < b.cost) Append(at(GoldenStep(b.t, c.t)));
    } else if ((vertex - limit) * (limit - c.t) >= 0.0) {
      Append(at(limit));
    } else {
      Append(at(GoldenStep(b.t, c.t)));
    }
    return false;
  }

  // Whether a point between b and c encloses a minimum: between b and c, or between a and itself.
  bool EncloseWith(LinePoint point) {
    if (point.cost < c.cost) {
      a = b;
      b = point;
      return true;
    }
    if (point.cost > b.cost) {
      c = point;
      return true;
    }
    return false;
  }
};

// Brent's search of a bracket: parabolic steps where they can be trusted, golden sections elsewhere.
struct Refinement {
  double low;
  double high;
  LinePoint lowest;
  LinePoint second = lowest;  // second lowest
  LinePoint third = lowest;   // the former second
  double step = 0.0;
  double formerStep = 0.0;

  double Middle() const { return 0.5 * (low + high); }

  bool IsWithin(double tolerance) const {
    return std::abs(lowest.t - Middle()) <= 2.0 * tolerance - 0.5 * (high - low);
  }

  double NextAbscissa(double tolerance) {
    if (!(std::abs(formerStep) > tolerance && TakeParabolicStep(tolerance))) TakeGoldenSection();
    // Never closer than the tolerance: the cost could not tell the points apart.
    return lowest.t + (std::abs(step) >= tolerance ? step : WithSignOf(tolerance, step));
  }

  void TakeGoldenSection() {
    formerStep = (lowest.t >= Middle() ? low : high) - lowest.t;
    step = kGoldenSection * formerStep;
  }

  // Trusted when it falls inside the bracket and is less than half the step before last.
  bool TakeParabolicStep(double tolerance) {
    const double r = (lowest.t - second.t) * (lowest.cost - third.cost);
    double q = (lowest.t - third.t) * (lowest.cost - second.cost);
    double p = (lowest.t - third.t) * q - (lowest.t - second.t) * r;
    q = 2.0 * (q - r);
    if (q > 0.0) p = -p;
    q = std::abs(q);
    // A NaN is never trusted.
    const bool isTrusted =
        std::abs(p) < std::abs(0.5 * q * formerStep) && p > q * (low - lowest.t) && p < q * (high - lowest.t);
    if (!isTrusted) return false;
    formerStep = step;
    step = p / q;
    const double next = lowest.t + step;
    const bool isAtEnd = next - low < 2.0 * tolerance || high - next < 2.0 * tolerance;
    if (isAtEnd) step = WithSignOf(tolerance, Middle() - lowest.t);
    return true;
  }

  void Add(LinePoint point) {
    if (point.cost <= lowest.cost) {
      double& passedEnd = point.t >= lowest.t ? low : high;
      passedEnd = lowest.t;
      third = second;
      second = lowest;
      lowest = point;
      return;
    }
    double& nearerEnd = point.t < lowest.t ? low : high;
    nearerEnd = point.t;
    if (point.cost <= second.cost || second.t == lowest.t) {
      third = second;
      second = point;
    } else if (point.cost <= third.cost || third.t == lowest.t || third.t == second.t) {
      third = point;
    }
  }
};

}  // namespace

double MTH_FUNCT::F1dim(double t) {
  const double* const start = linePoint_.get();
  const double* const direction = lineDirection_.get();
  double* const trial = trialPoint_.get();
  for (int j = 0; j < parametersCount_; ++j) trial[j] = start[j] + t * direction[j];
  return EvaluateAtPoint(trial);
}

void MTH_FUNCT::Mnbrak() {
  const auto at = [this](double t) { return LinePoint{t, F1dim(t)}; };
  Bracket bracket{at(bracketA_), at(bracketB_), {}};
  if (bracket.b.cost > bracket.a.cost) std::swap(bracket.a, bracket.b);
  bracket.c = at(GoldenStep(bracket.a.t, bracket.b.t));
  while (bracket.IsOpen() && !bracket.Advance(at)) {
  }
  bracketA_ = bracket.a.t;
  bracketB_ = bracket.b.t;
  bracketC_ = bracket.c.t;
  costA_ = bracket.a.cost;
  costB_ = bracket.b.cost;
  costC_ = bracket.c.cost;
}

void MTH_FUNCT::Brent() {
  const LinePoint start{bracketB_, F1dim(bracketB_)};  // intended: evaluated anew
  Refinement search{std::min(bracketA_, bracketC_), std::max(bracketA_, bracketC_), start};
  for (int i = 0; i < kMaximumRefinements; ++i) {
    const double tolerance = lineTolerance_ * std::abs(search.lowest.t) + kAbsoluteTolerance;
    if (search.IsWithin(tolerance)) break;
    const double t = search.NextAbscissa(tolerance);
    search.Add({t, F1dim(t)});
  }
  lineMinimum_ = search.lowest.t;
}

void MTH_FUNCT::LinMin(double* p, double* xi) {
  if (p == nullptr || xi == nullptr) return;
  mth_internal::CopyPoint(p, parametersCount_, linePoint_.get());
  mth_internal::CopyPoint(xi, parametersCount_, lineDirection_.get());
  bracketA_ = 0.0;
  bracketB_ = 1.0;
  bracketC_ = 2.0;
  Mnbrak();
  Brent();
  for (int j = 0; j < parametersCount_; ++j) {
    xi[j] = lineMinimum_ * xi[j];
    p[j] = p[j] + xi[j];
  }
  Evaluate();
}
