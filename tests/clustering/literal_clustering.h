#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include "mth/core/Mth_elementary_internal.h"

namespace mth_test {

using Rows = std::vector<std::vector<double>>;

inline constexpr double kNoDistance = static_cast<double>(std::numeric_limits<float>::max());

/// The two algorithms as plain loops over the samples, in the order that fixes their roundings.
struct LiteralClustering {
  Rows samples;
  Rows memberships;
  Rows centroids;
  bool keepsFirstCentroids = false;

  double RunKMeans(int iterationsCount) {
    double changes = 2147483647.0;
    for (int iteration = 0; iteration < iterationsCount && changes != 0.0; ++iteration) {
      UpdateCentroids(iteration, [](double u) { return u; });
      changes = 0.0;
      for (std::size_t i = 0; i < samples.size(); ++i) {
        std::size_t best = 0;
        for (std::size_t k = 1; k < centroids.size(); ++k) {
          if (Distance(i, k) < Distance(i, best)) best = k;
        }
        if (memberships[i][best] != 1.0) changes += 1.0;
        for (std::size_t k = 0; k < centroids.size(); ++k) memberships[i][k] = k == best ? 1.0 : 0.0;
      }
    }
    return changes;
  }

  double RunFuzzyCMeans(int iterationsCount, double tolerance, double m) {
    const double exponent = 2.0 / (m - 1.0);
    double delta = kNoDistance;
    for (int iteration = 0; iteration < iterationsCount && delta > tolerance; ++iteration) {
      UpdateCentroids(iteration, [&](double u) { return Power(u, m); });
      delta = 0.0;
      for (std::size_t i = 0; i < samples.size(); ++i) {
        const bool takesPowers = !IsProduct(exponent) && HasModerateDistances(i, exponent);
        for (std::size_t k = 0; k < centroids.size(); ++k) {
          double sum = 0.0;
          for (std::size_t j = 0; j < centroids.size(); ++j) {
            if (!(Distance(i, j) > 0.000001)) continue;
            sum += takesPowers ? Power(Distance(i, k), exponent) / Power(Distance(i, j), exponent)
                               : Power(Distance(i, k) / Distance(i, j), exponent);
          }
          const double updated = sum > 0.001 ? 1.0 / sum : 0.0;
          if (std::abs(updated - memberships[i][k]) > delta) delta = std::abs(updated - memberships[i][k]);
          memberships[i][k] = updated;
        }
      }
    }
    return delta;
  }

 private:
  static bool IsProduct(double exponent) { return exponent == std::floor(exponent) && exponent <= 16.0; }

  static double Power(double base, double exponent) {
    if (!IsProduct(exponent)) return mth_internal::Power(base, exponent);
    double product = base;
    for (int factor = 1; factor < static_cast<int>(exponent); ++factor) product *= base;
    return product;
  }

  // Whether the powers of a sample's distances may be divided instead of the distances.
  bool HasModerateDistances(std::size_t i, double exponent) const {
    const double longest = mth_internal::Exponential(200.0 / std::max(exponent, 2.0));
    for (std::size_t k = 0; k < centroids.size(); ++k) {
      const double distance = Distance(i, k);
      if (distance != 0.0 && !(distance <= longest && distance >= 1.0 / longest)) return false;
    }
    return true;
  }

  double Distance(std::size_t i, std::size_t k) const {
    double sum = 0.0;
    for (std::size_t d = 0; d < samples[i].size(); ++d) {
      sum += (samples[i][d] - centroids[k][d]) * (samples[i][d] - centroids[k][d]);
    }
    return std::sqrt(sum);
  }

  template <class Weight>
  void UpdateCentroids(int iteration, Weight weight) {
    if (iteration == 0 && keepsFirstCentroids) return;
    for (std::size_t k = 0; k < centroids.size(); ++k) {
      for (std::size_t d = 0; d < centroids[k].size(); ++d) {
        double weights = 0.0;
        double sum = 0.0;
        for (std::size_t i = 0; i < samples.size(); ++i) {
          weights += weight(memberships[i][k]);
          sum += weight(memberships[i][k]) * samples[i][d];
        }
        centroids[k][d] = std::abs(weights) > 0.000001 ? sum / weights : 0.0;
      }
    }
  }
};

}  // namespace mth_test
