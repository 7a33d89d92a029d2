#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>
#include <vector>

namespace mth_test {

/// The published steps of the volume denoising, voxel by voxel and block by block in double precision: slow,
/// with Bessel functions of the standard library and transforms as matrices.
class LiteralDenoising {
 public:
  LiteralDenoising(std::array<int, 3> size, double deviation) : size_(size), s_(deviation) {}

  struct Result {
    std::vector<double> values;
    std::vector<double> confidence;
  };

  Result Run(std::vector<double> noisy) const {
    std::replace(noisy.begin(), noisy.end(), 0.0, MeanOf(0.0));
    std::vector<double> first = FilterBlocks(noisy, nullptr, 4, 1);
    const std::vector<double> large = FilterBlocks(noisy, nullptr, 6, 2);
    for (std::size_t i = 0; i < first.size(); ++i) first[i] = 0.5 * (SignalOf(first[i]) + SignalOf(large[i]));
    const double brightest = Brightest(first);
    for (double& value : first) value = MeanOf(value);
    std::vector<double> guide = FilterBlocks(noisy, &first, 4, 1);
    for (double& value : guide) value = SignalOf(value);
    return Average(noisy, guide, 0.25 * std::pow(1.0 / (1.6 * s_) + 1.0 / (0.066 * brightest), 2));
  }

  /// Mean magnitude of a signal.
  double MeanOf(double signal) const {
    const double x = signal * signal / (4.0 * s_ * s_);
    if (x > 300.0) return std::sqrt(signal * signal + s_ * s_ + 0.5 * std::pow(s_, 4) / (signal * signal));
    return s_ * std::sqrt(std::numbers::pi / 2.0) * std::exp(-x) *
           ((1.0 + 2.0 * x) * BesselI(0, x) + 2.0 * x * BesselI(1, x));
  }
  double SignalOf(double mean) const {
    double low = 0.0;
    double high = std::max(mean, 0.0);
    for (int step = 0; step < 60; ++step) {
      const double middle = 0.5 * (low + high);
      (MeanOf(middle) < mean ? low : high) = middle;
    }
    return low;
  }

 private:
  // The ascending series of the modified Bessel function (Abramowitz & Stegun 9.6.10), for order 0 or 1;
  // libc++ has none.
  static double BesselI(int order, double x) {
    double term = order == 0 ? 1.0 : 0.5 * x;
    double sum = 0.0;
    for (int k = 1; term > 1e-18 * sum; ++k) {
      sum += term;
      term *= 0.25 * x * x / (k * (k + order));
    }
    return sum;
  }
  std::size_t At(int x, int y, int z) const {
    return static_cast<std::size_t>(x) +
           static_cast<std::size_t>(size_[0]) *
               (static_cast<std::size_t>(y) +
                static_cast<std::size_t>(size_[1]) * static_cast<std::size_t>(z));
  }
  static int Mirrored(int i, int count) {
    while (i < 0 || i >= count) i = i < 0 ? -1 - i : 2 * count - 1 - i;
    return i;
  }
  static double Cosine(int side, int k, int i) {
    return std::sqrt((k == 0 ? 1.0 : 2.0) / side) *
           std::cos(std::numbers::pi * (2 * i + 1) * k / (2.0 * side));
  }

  // One block's transform along all axes that take part; `back` is its inverse.
  std::vector<double> Transformed(std::vector<double> block, const std::array<int, 3>& sides,
                                  bool back) const {
    int stride = 1;
    for (const int side : sides) {
      std::vector<double> next(block.size());
      for (std::size_t i = 0; i < block.size(); ++i) {
        const int k = static_cast<int>(i) / stride % side;
        for (int j = 0; j < side; ++j) {
          const double weight = side == 1 ? 1.0 : (back ? Cosine(side, j, k) : Cosine(side, k, j));
          next[i] += weight * block[static_cast<std::size_t>(static_cast<int>(i) + (j - k) * stride)];
        }
      }
      block = next;
      stride *= side;
    }
    return block;
  }

  double Shrink(std::vector<double>& block, const std::vector<double>* guide) const {
    double sum = 1.0;
    for (std::size_t c = 1; c < block.size(); ++c) {
      const double power = guide == nullptr ? 0.0 : (*guide)[c] * (*guide)[c];
      const double hard = std::abs(block[c]) > 2.5 * s_ ? 1.0 : 0.0;
      const double factor = guide == nullptr ? hard : power / (power + s_ * s_);
      block[c] *= factor;
      sum += factor * factor;
    }
    return 1.0 / sum;
  }

  template <class Body>
  static void ForEachIn(const std::array<int, 3>& sides, Body body) {
    std::size_t i = 0;
    for (int z = 0; z < sides[2]; ++z) {
      for (int y = 0; y < sides[1]; ++y) {
        for (int x = 0; x < sides[0]; ++x) body(i++, x, y, z);
      }
    }
  }

  std::vector<double> FilterBlocks(const std::vector<double>& values, const std::vector<double>* guide,
                                   int side, int step) const {
    std::array<int, 3> sides;
    std::array<int, 3> steps;
    for (std::size_t a = 0; a < 3; ++a) {
      sides[a] = size_[a] == 1 ? 1 : side;
      steps[a] = size_[a] == 1 ? 1 : step;
    }
    const auto volume = static_cast<std::size_t>(sides[0] * sides[1] * sides[2]);
    std::vector<double> sums(values.size());
    std::vector<double> weights(values.size());
    for (int z = steps[2] - sides[2]; z < size_[2]; z += steps[2]) {
      for (int y = steps[1] - sides[1]; y < size_[1]; y += steps[1]) {
        for (int x = steps[0] - sides[0]; x < size_[0]; x += steps[0]) {
          const auto blockOf = [&](const std::vector<double>& from) {
            std::vector<double> block(volume);
            ForEachIn(sides, [&](std::size_t i, int a, int b, int c) {
              block[i] =
                  from[At(Mirrored(x + a, size_[0]), Mirrored(y + b, size_[1]), Mirrored(z + c, size_[2]))];
            });
            return Transformed(block, sides, false);
          };
          std::vector<double> block = blockOf(values);
          std::vector<double> guideBlock;
          if (guide != nullptr) guideBlock = blockOf(*guide);
          const double weight = Shrink(block, guide == nullptr ? nullptr : &guideBlock);
          block = Transformed(block, sides, true);
          ForEachIn(sides, [&](std::size_t i, int a, int b, int c) {
            if (x + a < 0 || y + b < 0 || z + c < 0 || x + a >= size_[0] || y + b >= size_[1] ||
                z + c >= size_[2])
              return;
            sums[At(x + a, y + b, z + c)] += weight * block[i];
            weights[At(x + a, y + b, z + c)] += weight;
          });
        }
      }
    }
    for (std::size_t i = 0; i < sums.size(); ++i) sums[i] /= weights[i];
    return sums;
  }

  double Brightest(const std::vector<double>& values) const {
    std::vector<double> signal;
    for (const double value : values) {
      if (value > 3.0 * s_) signal.push_back(value);
    }
    if (signal.empty()) return s_;
    std::sort(signal.begin(), signal.end());
    return signal[static_cast<std::size_t>(0.95 * static_cast<double>(signal.size() - 1))];
  }

  Result Average(const std::vector<double>& noisy, const std::vector<double>& guide, double decay) const {
    const auto mean3 = [](int low, int high, int i) { return std::clamp(i, low, high); };
    Result result;
    ForEachIn(size_, [&](std::size_t i, int x, int y, int z) {
      double weights = 0.0;
      double squaredWeights = 0.0;
      double shares = 0.0;
      for (int c = std::max(z - 2, 0); c <= std::min(z + 2, size_[2] - 1); ++c) {
        for (int b = std::max(y - 2, 0); b <= std::min(y + 2, size_[1] - 1); ++b) {
          for (int a = std::max(x - 2, 0); a <= std::min(x + 2, size_[0] - 1); ++a) {
            const std::array<int, 3> shift{a - x, b - y, c - z};
            double box = 0.0;
            double meanHere = 0.0;
            double meanThere = 0.0;
            for (int n = 0; n < 27; ++n) {
              const std::array<int, 3> near{x + n % 3 - 1, y + n / 3 % 3 - 1, z + n / 9 - 1};
              // Pairs end at the borders: beyond them the last pair is repeated.
              std::array<int, 3> pair;
              std::array<int, 3> here;
              std::array<int, 3> there;
              for (std::size_t k = 0; k < 3; ++k) {
                pair[k] = mean3(std::max(0, -shift[k]), size_[k] - 1 - std::max(0, shift[k]), near[k]);
                here[k] = mean3(0, size_[k] - 1, near[k]);
                there[k] = mean3(0, size_[k] - 1, near[k] + shift[k]);
              }
              box += std::pow(guide[At(pair[0], pair[1], pair[2])] -
                                  guide[At(pair[0] + shift[0], pair[1] + shift[1], pair[2] + shift[2])],
                              2) /
                     27.0;
              meanHere += guide[At(here[0], here[1], here[2])] / 27.0;
              meanThere += guide[At(there[0], there[1], there[2])] / 27.0;
            }
            const double distance = std::pow(guide[i] - guide[At(a, b, c)], 2) +
                                    3.9 * std::pow(meanHere - meanThere, 2) + 0.7 * box;
            const double weight = At(a, b, c) == i ? 0.7 : std::exp(-distance * decay);
            weights += weight;
            squaredWeights += weight * weight;
            shares += weight * noisy[At(a, b, c)];
          }
        }
      }
      result.values.push_back(SignalOf(shares / weights));
      result.confidence.push_back(std::sqrt(squaredWeights) / weights);
    });
    return result;
  }

  std::array<int, 3> size_;
  double s_;
};

}  // namespace mth_test
