#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "mth/clustering/Mth_tissue_cubes_internal.h"
#include "mth/clustering/Mth_tissue_mixture_internal.h"

// What dividing into tissues is made of: the mixture of their brightness, and the cubes of what is smooth.

namespace {

using mth_internal::CubeGrid;
using mth_internal::MaskVoxels;
using mth_internal::TissueMeans;
using mth_internal::TissueMixture;

TEST(TissueMixture, FitsAMixtureThatIsKnown) {
  const std::array<double, 3> means{200.0, 600.0, 1000.0};
  const std::array<double, 5> shares{0.15, 0.1, 0.35, 0.15, 0.25};
  const std::array<double, 2> deviations{30.0, 60.0};
  TissueMeans tissues(3);
  tissues.SetRange(0.0, 1300.0);
  TissueMixture mixture(tissues, 2);
  mixture.ClearCounts();
  std::mt19937 engine(5);
  const auto uniform = [&] { return (static_cast<double>(engine()) + 0.5) / 4294967296.0; };
  for (int i = 0; i < 300000; ++i) {
    const int stratum = i % 2;
    double rest = uniform();
    std::size_t c = 0;
    while (c < 4 && rest > shares[c]) rest -= shares[c++];
    const double signal = c % 2 == 0 ? means[c / 2] : means[c / 2] + uniform() * 400.0;
    const double normal = std::sqrt(-2.0 * std::log(uniform())) * std::cos(6.283185307179586 * uniform());
    mixture.Count(stratum, signal + deviations[static_cast<std::size_t>(stratum)] * normal);
  }
  std::array<double, 6> sums{};
  for (int step = 0; step < 10; ++step) {
    mixture.SumFuzzy(sums.data());
    tissues.MoveFuzzy(sums.data());
  }
  mixture.StartMixture();
  tissues.StartFit();
  for (int step = 0; step < 400; ++step) {
    mixture.SumFit(sums.data());
    tissues.MoveFit(sums.data());
  }
  for (int k = 0; k < 3; ++k) EXPECT_NEAR(mixture.Mean(k), means[static_cast<std::size_t>(k)], 4.0);
  EXPECT_NEAR(mixture.Deviation(0), 30.0, 1.5);
  EXPECT_NEAR(mixture.Deviation(1), 60.0, 3.0);

  std::vector<double> fractions(3 * TissueMixture::kBins);
  std::vector<double> pure(fractions.size());
  mixture.Tabulate(0, fractions.data(), pure.data());
  for (int bin = 0; bin < TissueMixture::kBins; ++bin) {
    const double v = mixture.BinValue(bin);
    if (v < 100.0 || v > 1100.0) continue;
    std::array<double, 5> densities{};
    double sum = 0.0;
    for (std::size_t c = 0; c < 5; ++c) {
      const double z = (v - means[c / 2]) / 30.0;
      const double next = (v - means[std::min<std::size_t>(c / 2 + 1, 2)]) / 30.0;
      densities[c] =
          shares[c] *
          (c % 2 == 0 ? std::exp(-0.5 * z * z) / (30.0 * std::sqrt(6.283185307179586))
                      : 0.5 * (std::erfc(next / std::sqrt(2.0)) - std::erfc(z / std::sqrt(2.0))) / 400.0);
      sum += densities[c];
    }
    for (std::size_t k = 0; k < 3; ++k) {
      double fraction = densities[2 * k];
      if (k < 2) fraction += densities[2 * k + 1] * (1.0 - std::clamp((v - means[k]) / 400.0, 0.0, 1.0));
      if (k > 0) fraction += densities[2 * k - 1] * std::clamp((v - means[k - 1]) / 400.0, 0.0, 1.0);
      const auto at = k * TissueMixture::kBins + static_cast<std::size_t>(bin);
      ASSERT_NEAR(fractions[at], fraction / sum, 0.05) << v;  // the fit is that far from the truth
      ASSERT_NEAR(pure[at], densities[2 * k] / sum, 0.08) << v;
    }
  }
}

MaskVoxels WholeBox(const std::array<int, 3>& size) {
  MaskVoxels voxels;
  voxels.size = size;
  voxels.rows.push_back(0);
  for (int row = 0; row < size[1] * size[2]; ++row) {
    for (int x = 0; x < size[0]; ++x) voxels.x.push_back(x);
    voxels.rows.push_back(voxels.Count());
  }
  voxels.stratum.assign(voxels.x.size(), 0);
  return voxels;
}

TEST(TissueCubes, BlursAndInterpolatesItsCubes) {
  const MaskVoxels voxels = WholeBox({22, 14, 9});
  const CubeGrid grid(voxels, 2);
  const std::array<int, 3> cubes{11, 7, 5};
  ASSERT_EQ(grid.Count(), 11 * 7 * 5);
  std::vector<double> values(static_cast<std::size_t>(grid.Count()));
  for (std::size_t i = 0; i < values.size(); ++i) values[i] = std::sin(1.0 + 0.7 * static_cast<double>(i));
  std::vector<double> blurred = values;
  std::vector<double> work(values.size());
  const std::array<double, 3> deviation{3.0, 2.0, 20.0};
  ASSERT_TRUE(grid.Blur(deviation, blurred.data(), work.data(), nullptr));
  const auto at = [&](int x, int y, int z) {
    return static_cast<std::size_t>(x + cubes[0] * (y + cubes[1] * z));
  };
  const auto weight = [&](int distance, std::size_t axis) {
    const double d = distance * 2.0 / deviation[axis];
    return d > 2.5 ? 0.0 : std::exp(-0.5 * d * d);
  };
  for (int z = 0; z < cubes[2]; ++z) {
    for (int y = 0; y < cubes[1]; ++y) {
      for (int x = 0; x < cubes[0]; ++x) {
        double sum = 0.0;
        for (int c = 0; c < cubes[2]; ++c) {
          for (int b = 0; b < cubes[1]; ++b) {
            for (int a = 0; a < cubes[0]; ++a)
              sum += values[at(a, b, c)] * weight(std::abs(a - x), 0) * weight(std::abs(b - y), 1) *
                     weight(std::abs(c - z), 2);
          }
        }
        ASSERT_NEAR(blurred[at(x, y, z)], sum, 1e-12);
      }
    }
  }
  // What is linear stays so between the centres of the outermost cubes.
  for (int z = 0; z < cubes[2]; ++z) {
    for (int y = 0; y < cubes[1]; ++y) {
      for (int x = 0; x < cubes[0]; ++x) values[at(x, y, z)] = 2.0 * x - 3.0 * y + 5.0 * z;
    }
  }
  std::vector<double> row(static_cast<std::size_t>(grid.RowWork()));
  grid.Interpolate(voxels, values.data(), 1, row.data(), [&](std::int64_t i, const double* found) {
    const auto place = [&](int voxel, int count) {
      return std::clamp((voxel - 0.5) / 2.0, 0.0, count - 1.0);
    };
    const int x = static_cast<int>(i) % 22;
    const int y = static_cast<int>(i) / 22 % 14;
    const int z = static_cast<int>(i) / (22 * 14);
    EXPECT_NEAR(found[0], 2.0 * place(x, 11) - 3.0 * place(y, 7) + 5.0 * place(z, 5), 1e-12);
  });
}

}  // namespace
