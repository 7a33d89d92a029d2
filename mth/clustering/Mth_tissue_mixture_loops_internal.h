// The mixture of tissues over the bins of a histogram, compiled per instruction set. Lanes run across bins.

#include "mth/core/Mth_elementary_loops_internal.h"

// Densities of one tissue, and the shares of its law below each bin, from one exponential.
template <class V>
MTH_INLINE void NormalLaw(V distance, V* density, V* below) {
  // Abramowitz and Stegun 7.1.26: error below 1.5e-7.
  constexpr double kScale = 0.3275911 * 0.70710678118654752440;
  constexpr double kSeries[] = {1.061405429, -1.453152027, 1.421413741, -0.284496736, 0.254829592};
  const V bell = Exponential<V>(-0.5 * (distance * distance));
  const V magnitude = distance < 0.0 ? -distance : distance;
  const V t = 1.0 / (1.0 + kScale * magnitude);
  const V tail = 0.5 * (t * Polynomial<V>(t, kSeries)) * bell;
  *density = bell * 0.39894228040143267794;
  *below = distance < 0.0 ? tail : 1.0 - tail;
}

// Probability of each class in each bin: tissue k is class 2 k, its mixture with the next one class 2 k + 1.
// Bins that are too far from every class have none.
inline void FindClassProbabilities(const MixtureView& mixture, std::int64_t bins, double* probabilities) {
  constexpr double kTiny = 1e-200;
  const int classes = 2 * mixture.tissues - 1;
  const double inverse = 1.0 / mixture.deviation;
  ForEachLanes(0, bins, [&]<class V>(std::int64_t i, V) {
    V sum{};
    V belowFormer{};
    for (int k = 0; k < mixture.tissues; ++k) {
      V density;
      V below;
      NormalLaw<V>((Load<V>(mixture.values + i) - mixture.means[k]) * inverse, &density, &below);
      if (k > 0) {
        const V share =
            (belowFormer - below) * (mixture.shares[2 * k - 1] / (mixture.means[k] - mixture.means[k - 1]));
        const V positive = share > 0.0 ? share : V{};
        Store(probabilities + (2 * k - 1) * bins + i, positive);
        sum += positive;
      }
      const V pure = density * (mixture.shares[2 * k] * inverse);
      Store(probabilities + 2 * k * bins + i, pure);
      sum += pure;
      belowFormer = below;
    }
    const auto isNear = sum > kTiny;
    const V divisor = Opaque(isNear ? sum : Spread<V>(1.0));  // 0 / 0 is an exception that hosts may trap
    for (int c = 0; c < classes; ++c) {
      double* const at = probabilities + c * bins + i;
      Store(at, isNear ? Load<V>(at) / divisor : V{});
    }
  });
}
