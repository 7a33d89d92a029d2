#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <vector>

#include "clustering/literal_clustering.h"

namespace mth_test {

using Subset = std::vector<int>;

/// All subsets of 1 to `clusters`, sorted by size, then lexicographically.
inline std::vector<Subset> SortedSubsets(int clusters) {
  std::vector<Subset> subsets(std::size_t{1} << clusters);
  for (std::size_t bits = 0; bits < subsets.size(); ++bits) {
    for (int k = 0; k < clusters; ++k) {
      if ((bits >> k & 1) != 0) subsets[bits].push_back(k + 1);
    }
  }
  std::sort(subsets.begin(), subsets.end(), [](const Subset& a, const Subset& b) {
    return a.size() != b.size() ? a.size() < b.size() : a < b;
  });
  return subsets;
}

inline bool Contains(const Subset& subset, int number) {
  return std::find(subset.begin(), subset.end(), number) != subset.end();
}

/// X of H X = B, by elimination with pivoting.
inline Rows SolveByElimination(Rows h, Rows b) {
  const std::size_t n = h.size();
  for (std::size_t column = 0; column < n; ++column) {
    std::size_t pivot = column;
    for (std::size_t row = column; row < n; ++row) {
      if (std::abs(h[row][column]) > std::abs(h[pivot][column])) pivot = row;
    }
    std::swap(h[column], h[pivot]);
    std::swap(b[column], b[pivot]);
    for (std::size_t row = 0; row < n; ++row) {
      if (row == column) continue;
      const double factor = h[row][column] / h[column][column];
      for (std::size_t k = 0; k < n; ++k) h[row][k] -= factor * h[column][k];
      for (std::size_t k = 0; k < b[row].size(); ++k) b[row][k] -= factor * b[column][k];
    }
  }
  for (std::size_t row = 0; row < n; ++row) {
    for (double& value : b[row]) value /= h[row][row];
  }
  return b;
}

/// x^e as the evidential algorithm takes it, by the C library.
inline double LibraryPower(double x, double e) {
  if (e == 0.0) return 1.0;
  if (x == 0.0) return 0.0;
  return std::copysign(std::exp(e * std::log(std::abs(x))), x);
}

/// Evidential c-means as plain loops, with the powers and the solver left open.
struct LiteralEvidential {
  Rows samples;
  Rows centroids;
  double alpha = 2.0;
  double beta = 2.0;
  double rho = 2.0;
  double tolerance = 0.001;
  std::function<double(double, double)> power = LibraryPower;
  std::function<double(double, double)> powerOfRoot = [](double square, double e) {
    return LibraryPower(std::sqrt(square), e);
  };
  std::function<Rows(Rows, Rows)> solve = SolveByElimination;
  // Results.
  Rows masses;
  double delta = 0.0;
  double movement = kNoDistance;  // of the last iteration that moved the centroids
  int convergedAt = -1;

  void Run(int iterationsCount) {
    const std::vector<Subset> subsets = SortedSubsets(static_cast<int>(centroids.size()));
    movement = kNoDistance;
    for (int iteration = 0; iteration < iterationsCount; ++iteration) {
      delta = OutlierDistance();
      UpdateMasses(subsets);
      if (movement <= tolerance) {
        convergedAt = iteration;
        return;
      }
      const Rows solution = SolveForCentroids(subsets);
      movement = 0.0;
      for (std::size_t k = 0; k < centroids.size(); ++k) movement += Distance(centroids[k], solution[k]);
      movement = 1.0 / static_cast<double>(centroids.size()) * movement;
      centroids = solution;
    }
  }

 private:
  static double Square(const std::vector<double>& a, const std::vector<double>& b) {
    double sum = 0.0;
    for (std::size_t d = 0; d < a.size(); ++d) sum += (a[d] - b[d]) * (a[d] - b[d]);
    return sum;
  }

  static double Distance(const std::vector<double>& a, const std::vector<double>& b) {
    return std::sqrt(Square(a, b));
  }

  double OutlierDistance() const {
    double sum = 0.0;
    for (const auto& sample : samples) {
      for (const auto& centroid : centroids) sum += Distance(sample, centroid);
    }
    return rho * sum / (static_cast<double>(samples.size()) * static_cast<double>(centroids.size()));
  }

  std::vector<double> CentreOf(const Subset& subset) const {
    std::vector<double> centre(samples[0].size());
    for (std::size_t d = 0; d < centre.size(); ++d) {
      for (int number : subset) centre[d] += centroids[static_cast<std::size_t>(number - 1)][d];
      centre[d] /= static_cast<double>(subset.size());
    }
    return centre;
  }

  void UpdateMasses(const std::vector<Subset>& subsets) {
    Rows centres;
    for (const Subset& subset : subsets) centres.push_back(CentreOf(subset));
    masses.assign(samples.size(), std::vector<double>(subsets.size()));
    for (std::size_t i = 0; i < samples.size(); ++i) {
      double sum = 0.0;
      for (std::size_t j = 1; j < subsets.size(); ++j) {
        const double size = static_cast<double>(subsets[j].size());
        masses[i][j] = power(size, alpha / (1.0 - beta)) *
                       powerOfRoot(Square(samples[i], centres[j]), 2.0 / (1.0 - beta));
        sum += masses[i][j];
      }
      double total = 0.0;
      for (std::size_t j = 1; j < subsets.size(); ++j) {
        masses[i][j] /= power(delta, 2.0 / (1.0 - beta)) + sum;
        total += masses[i][j];
      }
      masses[i][0] = 1.0 - total;
    }
  }

  Rows SolveForCentroids(const std::vector<Subset>& subsets) const {
    const std::size_t clusters = centroids.size();
    const std::size_t dimensions = samples[0].size();
    Rows h(clusters, std::vector<double>(clusters));
    Rows b(clusters, std::vector<double>(dimensions));
    const auto weigh = [&](std::size_t i, double exponent, std::size_t k, std::size_t l) {
      double sum = 0.0;
      for (std::size_t j = 1; j < subsets.size(); ++j) {
        const bool hasBoth =
            Contains(subsets[j], static_cast<int>(k + 1)) && Contains(subsets[j], static_cast<int>(l + 1));
        if (hasBoth) {
          sum += power(static_cast<double>(subsets[j].size()), exponent) * power(masses[i][j], beta);
        }
      }
      return sum;
    };
    for (std::size_t i = 0; i < samples.size(); ++i) {
      for (std::size_t k = 0; k < clusters; ++k) {
        for (std::size_t l = 0; l < clusters; ++l) h[k][l] += weigh(i, alpha - 2.0, k, l);
        const double weight = weigh(i, alpha - 1.0, k, k);
        for (std::size_t q = 0; q < dimensions; ++q) b[k][q] += samples[i][q] * weight;
      }
    }
    return solve(h, b);
  }
};

}  // namespace mth_test
