#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/decomposition/Mth_riccati_internal.h"

// The Riccati equations of one state, in closed form: numbers of any exponent.

namespace mth_internal {
namespace {

constexpr int kExponentOfZero = -(1 << 20);

// fraction x 2^exponent, the fraction 0 or of a magnitude of 1/2 to 1.
struct WideNumber {
  double fraction;
  int exponent;
  double In(int unit) const { return std::ldexp(fraction, exponent - unit); }
};

WideNumber Wide(double x, int exponent) {
  int ofX = 0;
  const double fraction = std::frexp(x, &ofX);
  return {fraction, x == 0.0 ? kExponentOfZero : ofX + exponent};
}

// Opposites but for their rounding cancel: an eigenvalue is on the boundary of stability then.
double SumOf(double square, double product) {
  constexpr double kRounding = 32.0 * std::numeric_limits<double>::epsilon();
  const double sum = square + product;
  return std::abs(sum) <= kRounding * square ? 0.0 : sum;
}

// g x x - m x - q = 0, whose larger root, m > 0, is the stabilising one when `sign` is +1.
struct Quadratic {
  double middle;  // m, and the root of the discriminant m m + 4 g q, both in 2^unit
  double root;
  double sign;
  int unit;
};

// g x x = 2 a x + q.
Quadratic ContinuousQuadratic(WideNumber a, WideNumber g, WideNumber q) {
  const int half = std::max(a.exponent, (g.exponent + q.exponent) / 2);
  const double ofA = a.In(half);
  const double product = std::ldexp(g.fraction * q.fraction, g.exponent + q.exponent - 2 * half);
  return {2.0 * ofA, 2.0 * std::sqrt(SumOf(ofA * ofA, product)), 1.0, half};
}

// g x x = (a a - 1 + g q) x + q. With w = 1 + g x the closed loop is a / w: of the two solutions, whose
// closed loops are reciprocal to each other, the stable one has the larger w.
Quadratic DiscreteQuadratic(WideNumber a, WideNumber g, WideNumber q) {
  const int half = std::max({0, a.exponent, (g.exponent + q.exponent) / 2});
  const double one = std::ldexp(1.0, -half);
  const double ofA = std::abs(a.In(half));
  const double product = std::ldexp(g.fraction * q.fraction, g.exponent + q.exponent - 2 * half);
  const double lower = SumOf((one - ofA) * (one - ofA), product);
  const double upper = SumOf((one + ofA) * (one + ofA), product);
  const bool isReal = (lower > 0.0 && upper > 0.0) || (lower < 0.0 && upper < 0.0);
  const double root = isReal ? std::sqrt(std::abs(lower)) * std::sqrt(std::abs(upper)) : 0.0;
  return {(ofA - one) * (ofA + one) + product, root, lower < 0.0 ? -1.0 : 1.0, 2 * half};
}

}  // namespace

int SolveOneState(const RiccatiSystem& system, const RiccatiFeedback& feedback, bool isDiscrete, double* x) {
  const WideNumber a = Wide(system.a.At(0, 0), -system.a.exponent);
  const WideNumber q = Wide(system.q.At(0, 0), -system.q.exponent);
  const WideNumber g = Wide(feedback.elements[0][0], -feedback.exponent);
  const auto [m, root, sign, unit] = isDiscrete ? DiscreteQuadratic(a, g, q) : ContinuousQuadratic(a, g, q);
  if (!(root > 0.0)) return 9;
  if (m * sign < 0.0) {
    // Without cancellation: the product of both roots is -q / g.
    *x = std::ldexp(-2.0 * q.fraction / (m - sign * root), q.exponent - unit + 2 * system.states[0]);
    return 0;
  }
  if (g.fraction == 0.0) return 9;  // unstable, and nothing moves it
  *x = std::ldexp(0.5 * (m + sign * root) / g.fraction, unit - g.exponent + 2 * system.states[0]);
  return 0;
}

}  // namespace mth_internal
