#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/decomposition/Mth_riccati_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"

// The units in which a Riccati equation is solved: powers of two, so that choosing them rounds nothing.

namespace mth_internal {
namespace {

constexpr int kBalancingPasses = 30;

bool BalanceState(const RiccatiTerms& terms, std::int64_t i, double* scales) {
  const auto& [a, g, q] = terms;
  double row = 0.0;
  double column = 0.0;
  for (std::int64_t j = 0; j < a.size; ++j) {
    if (j == i) continue;
    row += std::abs(a[i][j]) + std::abs(g[i][j]);
    column += std::abs(a[j][i]) + std::abs(q[i][j]);
  }
  const double largest = std::max({row, column, std::abs(g[i][i]), std::abs(q[i][i])});
  const double rowSize = row + std::sqrt(std::abs(g[i][i])) * std::sqrt(largest);
  const double columnSize = column + std::sqrt(std::abs(q[i][i])) * std::sqrt(largest);
  if (rowSize == 0.0 || columnSize == 0.0) return false;
  const int exponent = std::clamp((std::ilogb(rowSize) - std::ilogb(columnSize)) / 2, -200, 200);
  if (std::abs(exponent) < 2) return false;
  const double factor = std::ldexp(1.0, exponent);
  scales[i] *= factor;
  for (std::int64_t j = 0; j < a.size; ++j) {
    a[i][j] /= factor;
    a[j][i] *= factor;
    g[i][j] /= factor;
    g[j][i] /= factor;
    q[i][j] *= factor;
    q[j][i] *= factor;
  }
  return true;
}

}  // namespace

bool RiccatiFeedback::IsZero() const {
  return LargestMagnitude(elements.elements, elements.size * elements.size) == 0.0;
}

int ExponentToBalance(const RiccatiSystem& system, const RiccatiFeedback& feedback) {
  const bool hasG = !feedback.IsZero();
  if (hasG && !system.q.isZero) return (feedback.exponent - system.q.exponent) / 2;
  if (hasG && !system.a.isZero) return feedback.exponent - system.a.exponent;
  if (!system.q.isZero && !system.a.isZero) return system.a.exponent - system.q.exponent;
  return 0;
}

void BalanceStates(const RiccatiTerms& terms, double* scales) {
  bool hasChanged = true;
  for (int pass = 0; hasChanged && pass < kBalancingPasses; ++pass) {
    hasChanged = false;
    for (std::int64_t i = 0; i < terms.a.size; ++i) hasChanged = BalanceState(terms, i, scales) || hasChanged;
  }
}

int WriteTerms(const RiccatiSystem& system, const RiccatiFeedback& feedback, const RiccatiUnits& units,
               const RiccatiTerms& terms) {
  const std::int64_t n = terms.a.size;
  const auto exponentOfA = [&](std::int64_t i, std::int64_t j) {
    return units.states[i] - units.states[j] - system.a.exponent;
  };
  const auto exponentOfG = [&](std::int64_t i, std::int64_t j) { return units.Of(i, j) - feedback.exponent; };
  const auto exponentOfQ = [&](std::int64_t i, std::int64_t j) {
    return -units.Of(i, j) - system.q.exponent;
  };
  constexpr int kNone = std::numeric_limits<int>::min();
  int largest = kNone;
  const auto measure = [&](double element, int exponent) {
    if (element != 0.0) largest = std::max(largest, std::ilogb(element) + exponent);
  };
  const auto forEach = [&](auto visit) {
    for (std::int64_t i = 0; i < n; ++i) {
      for (std::int64_t j = 0; j < n; ++j) visit(i, j);
    }
  };
  forEach([&](std::int64_t i, std::int64_t j) {
    measure(system.a.At(i, j), exponentOfA(i, j));
    measure(feedback.elements[i][j], exponentOfG(i, j));
    measure(system.q.At(i, j), exponentOfQ(i, j));
  });
  if (largest == kNone) largest = 0;
  forEach([&](std::int64_t i, std::int64_t j) {
    terms.a[i][j] = std::ldexp(system.a.At(i, j), exponentOfA(i, j) - largest);
    terms.g[i][j] = std::ldexp(feedback.elements[i][j], exponentOfG(i, j) - largest);
    terms.q[i][j] = std::ldexp(system.q.At(i, j), exponentOfQ(i, j) - largest);
  });
  return largest;
}

int InputExponent(const RiccatiSystem& system, std::int64_t j, const RiccatiUnits& units, int timeExponent) {
  int largest = kNoInput;
  for (std::int64_t i = 0; i < system.b.rows; ++i) {
    const double element = system.b.At(i, j);
    if (element != 0.0)
      largest = std::max(largest, std::ilogb(element) + units.states[i] - system.b.exponent);
  }
  const int ofCosts = timeExponent - system.r.exponent - units.exponent;
  for (std::int64_t i = 0; i < system.r.rows; ++i) {
    const double element = system.r.At(i, j);
    if (element != 0.0) largest = std::max(largest, (std::ilogb(element) + ofCosts) / 2);
  }
  return largest == kNoInput ? kNoInput : -largest;
}

double RoughLogarithm(double x) {
  if (x == 0.0) return -std::numeric_limits<double>::infinity();
  int exponent = 0;
  const double half = std::frexp(std::abs(x), &exponent);
  return exponent + 2.0 * half - 2.0;
}

ScalarRiccati::ScalarRiccati(const RiccatiSystem& system, const RiccatiFeedback& feedback, std::int64_t state)
    : elementOfA(std::ldexp(system.a.At(state, state), -system.a.exponent)),
      a(RoughLogarithm(system.a.At(state, state)) - system.a.exponent),
      g(RoughLogarithm(feedback.elements[state][state]) - feedback.exponent),
      q(RoughLogarithm(system.q.At(state, state)) - system.q.exponent) {}

void ChooseBalancedStates(const RiccatiSystem& system, const RiccatiFeedback& feedback,
                          const RiccatiTerms& terms, double* scales, RiccatiUnits* units) {
  constexpr int kRewritings = 4;
  const std::int64_t n = terms.a.size;
  std::fill_n(units->states, n, 0);
  bool hasChanged = true;
  // Again, as what was too small beside the others may be so no longer.
  for (int pass = 0; hasChanged && pass < kRewritings; ++pass) {
    WriteTerms(system, feedback, *units, terms);
    std::fill_n(scales, n, 1.0);
    BalanceStates(terms, scales);
    for (std::int64_t i = 0; i < n; ++i) units->states[i] -= std::ilogb(scales[i]);
    hasChanged = std::any_of(scales, scales + n, [](double scale) { return scale != 1.0; });
  }
}

void RiccatiUnits::ApplyTo(SquareView x) const {
  for (std::int64_t i = 0; i < x.size; ++i) {
    for (std::int64_t j = 0; j < x.size; ++j) x[i][j] = std::ldexp(x[i][j], Of(i, j));
  }
}

void ChooseUnits(const double* logarithms, int exponent, std::int64_t n, RiccatiUnits* units) {
  const auto unitOf = [&](std::int64_t i) {
    return std::isfinite(logarithms[i]) ? static_cast<int>(std::lround(logarithms[i])) : exponent;
  };
  units->exponent = n == 0 ? exponent : unitOf(0);
  for (std::int64_t i = 1; i < n; ++i) units->exponent = std::max(units->exponent, unitOf(i));
  for (std::int64_t i = 0; i < n; ++i) units->states[i] = (unitOf(i) - units->exponent) / 2;
}

int ExponentToUnit(SquareView x) {
  const double largest = LargestMagnitude(x.elements, x.size * x.size);
  if (largest == 0.0 || !std::isfinite(largest)) return 0;
  const int exponent = std::ilogb(largest);
  return std::abs(exponent) > 8 ? exponent : 0;
}

}  // namespace mth_internal
