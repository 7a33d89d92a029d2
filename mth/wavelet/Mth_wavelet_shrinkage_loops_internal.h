// Hot loops of the wavelet shrinkage, compiled per instruction set. Lanes are neighbouring coefficients.

#include "mth/core/Mth_elementary_loops_internal.h"

// The smaller, or the greater, of a value and a limit; the limit for NaN.
template <class V>
MTH_INLINE V AtMost(V value, double limit) {
  return value < limit ? value : Spread<V>(limit);
}
template <class V>
MTH_INLINE V AtLeast(V value, double limit) {
  return value > limit ? value : Spread<V>(limit);
}

// logs[i] = ln(a[i] / scale b[i] + least), or of least alone where the signs differ, minus offset
inline void LogProducts(const double* a, double scale, const double* b, double least, double offset,
                        std::int64_t length, double* logs) {
  ForEachLanes(0, length, [=]<class V>(std::int64_t i, V) {
    const V product = (Load<V>(a + i) / scale) * Load<V>(b + i);
    Store(logs + i, Logarithm<V>(AtLeast(product, 0.0) + least) - offset);
  });
}

// logOdds[i] += intercept + slope x, x being logs[i], but at most `limit` away from 0
inline void AddLine(double intercept, double slope, double limit, const double* logs, std::int64_t length,
                    double* logOdds) {
  ForEachLanes(0, length, [=]<class V>(std::int64_t i, V) {
    const V x = AtMost(AtLeast(Load<V>(logs + i), -limit), limit);
    Store(logOdds + i, Load<V>(logOdds + i) + (intercept + slope * x));
  });
}

// logOdds[i] += ln(sqrt(own) parents siblings), each with `least` added. Never infinity, which would make NaN
// of odds of 0.
inline void AddLogEnergies(const double* own, const double* parents, const double* siblings, double least,
                           std::int64_t length, double* logOdds) {
  constexpr double kLargest = std::numeric_limits<double>::max();
  ForEachLanes(0, length, [=]<class V>(std::int64_t i, V) {
    const V above = (Load<V>(parents + i) + least) * (Load<V>(siblings + i) + least);
    const V square = (Load<V>(own + i) + least) * (above * above);
    Store(logOdds + i, Load<V>(logOdds + i) + 0.5 * Logarithm<V>(AtMost(square, kLargest)));
  });
}

// values[i] times odds / (1 + odds); 0 times them where 1 / odds is more than a double holds. That is told
// beforehand: an overflow is an exception that hosts may trap.
inline void MultiplyByProbability(const double* logOdds, std::int64_t length, double* values) {
  constexpr double kLargestLogarithm = 0x1.62e42fefa39efp9;
  ForEachLanes(0, length, [=]<class V>(std::int64_t i, V) {
    const V value = Load<V>(values + i);
    const V against = -Load<V>(logOdds + i);
    const V share = value / (1.0 + Exponential<V>(against > kLargestLogarithm ? V{} : against));
    Store(values + i, against > kLargestLogarithm ? value * 0.0 : share);
  });
}
