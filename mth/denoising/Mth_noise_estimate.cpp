#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/denoising/Mth_noise_estimate_internal.h"

namespace mth_internal {
namespace {

constexpr std::int64_t kSide = 4;
constexpr double kMedianToDeviation = 1.4826022185056018;  // of normal deviates
constexpr double kMostOverDetails = 1.2;                   // those of air itself are weaker by a tenth
constexpr double kVarianceOfAir = 2.0 - std::numbers::pi / 2.0;

// What a block tells of the noise.
struct BlockNoise {
  float mean;
  float meanSquare;
  float highest;    // magnitude of its highest coefficient
  float structure;  // energy of all others but the constant one
};

// The highest row of the orthonormal transform.
constexpr std::array<double, kSide> kHighest{0.270598050073098492, -0.653281482438188264,
                                             0.653281482438188264, -0.270598050073098492};

// Blocks along each axis: 4 voxels where it has as many, and 1 where it takes no part.
struct Grid {
  std::array<std::int64_t, 3> side;
  std::array<std::int64_t, 3> positions;
  std::int64_t step;

  std::int64_t Count() const { return positions[0] * positions[1] * positions[2]; }
};

Grid GridOf(const VolumeSize& size) {
  constexpr std::int64_t kMany = 1 << 18;  // voxels: from there on every second position tells enough
  Grid grid{{}, {}, size.Count() > kMany ? 2 : 1};
  const std::array<std::int64_t, 3> counts{size.x, size.y, size.z};
  for (std::size_t axis = 0; axis < counts.size(); ++axis) {
    grid.side[axis] = counts[axis] == 1 ? 1 : kSide;
    const std::int64_t room = counts[axis] - grid.side[axis];
    grid.positions[axis] = room < 0 ? 0 : room / grid.step + 1;
  }
  return grid;
}

/// @return  false for a block with a zero.
bool Measure(const VolumeSize& size, const Grid& grid, const float* first, BlockNoise& block) {
  double sum = 0.0;
  double squares = 0.0;
  double highest = 0.0;
  const auto weight = [&](std::size_t axis, std::int64_t i) {
    return grid.side[axis] == 1 ? 1.0 : kHighest[static_cast<std::size_t>(i)];
  };
  for (std::int64_t z = 0; z < grid.side[2]; ++z) {
    for (std::int64_t y = 0; y < grid.side[1]; ++y) {
      const float* const row = first + size.Row(y, z);
      double ofRow = 0.0;
      for (std::int64_t x = 0; x < grid.side[0]; ++x) {
        const auto value = static_cast<double>(row[x]);
        if (value == 0.0) return false;
        sum += value;
        squares += value * value;
        ofRow += value * weight(0, x);
      }
      highest += ofRow * weight(1, y) * weight(2, z);
    }
  }
  const auto count = static_cast<double>(grid.side[0] * grid.side[1] * grid.side[2]);
  block = {static_cast<float>(sum / count), static_cast<float>(squares / count),
           static_cast<float>(std::abs(highest)),
           static_cast<float>(squares - sum * sum / count - highest * highest)};
  return true;
}

// False when the host gives up.
bool MeasureBlocks(const VolumeSize& size, const Grid& grid, const float* values, LongIteration& run,
                   BlockNoise* blocks, std::int64_t& count) {
  const double workOfPlane = static_cast<double>(grid.side[0] * grid.side[1] * grid.side[2]) *
                             static_cast<double>(grid.positions[0] * grid.positions[1]);
  count = 0;
  for (std::int64_t z = 0; z < grid.positions[2]; ++z) {
    if (run.IsGivenUp(workOfPlane)) return false;
    for (std::int64_t y = 0; y < grid.positions[1]; ++y) {
      for (std::int64_t x = 0; x < grid.positions[0]; ++x) {
        const float* const first = values + size.Row(y * grid.step, z * grid.step) + x * grid.step;
        if (Measure(size, grid, first, blocks[count])) ++count;
      }
    }
  }
  return true;
}

double Median(float* values, std::int64_t count) {
  std::nth_element(values, values + count / 2, values + count);
  return static_cast<double>(values[count / 2]);
}

// Deviation of the noise that a block shows if it is all air, its variance being as in air; else 0.
double DeviationIfAir(const BlockNoise& block) {
  constexpr double kRatio =
      4.0 / std::numbers::pi - 1.0;  // of the variance of pure noise to its squared mean
  constexpr double kTolerance = 0.4;
  const auto mean = static_cast<double>(block.mean);
  const auto meanSquare = static_cast<double>(block.meanSquare);
  const double ratio = meanSquare / (mean * mean) - 1.0;
  return std::abs(ratio - kRatio) < kTolerance * kRatio ? std::sqrt(0.5 * meanSquare) : 0.0;
}

// The deviation that most of the blocks that may be air show, to 3 per cent; 0 without such blocks.
double MostFrequentDeviation(const BlockNoise* blocks, std::int64_t count) {
  constexpr int kBinsPerOctave = 16;
  constexpr int kLeastExponent = -30;
  constexpr int kExponents = 60;
  std::array<std::int64_t, static_cast<std::size_t>(kExponents) * kBinsPerOctave> counts{};
  for (std::int64_t i = 0; i < count; ++i) {
    int exponent = 0;
    const double fraction = std::frexp(DeviationIfAir(blocks[i]), &exponent);  // in [1/2, 1), or 0
    exponent -= kLeastExponent;
    if (fraction == 0.0 || exponent < 0 || exponent >= kExponents) continue;
    const int bin = exponent * kBinsPerOctave + static_cast<int>((fraction - 0.5) * (2 * kBinsPerOctave));
    ++counts[static_cast<std::size_t>(bin)];
  }
  const auto mode = std::max_element(counts.begin(), counts.end());
  if (*mode == 0) return 0.0;
  const auto bin = static_cast<int>(mode - counts.begin());
  const double fraction = 0.5 + (bin % kBinsPerOctave + 0.5) / (2 * kBinsPerOctave);
  return std::ldexp(fraction, bin / kBinsPerOctave + kLeastExponent);
}

// Deviation from the air; 0 where there is none.
double DeviationOfAir(const BlockNoise* blocks, std::int64_t count, float* work) {
  constexpr double kWindow = 0.4;       // of the squared deviation: three of its deviations in a block
  constexpr double kLeastShare = 0.02;  // of the blocks
  constexpr double kAgreement = 0.25;   // of the two measures of the noise
  double deviation = MostFrequentDeviation(blocks, count);
  std::int64_t inside = 0;
  for (int round = 0; round < 4; ++round) {
    double sum = 0.0;
    inside = 0;
    for (std::int64_t i = 0; i < count; ++i) {
      const double ofBlock = DeviationIfAir(blocks[i]);
      if (!(std::abs(ofBlock * ofBlock - deviation * deviation) < kWindow * deviation * deviation)) continue;
      sum += ofBlock * ofBlock;
      work[inside++] = blocks[i].highest;
    }
    if (inside == 0) return 0.0;
    deviation = std::sqrt(sum / static_cast<double>(inside));
  }
  if (static_cast<double>(inside) < kLeastShare * static_cast<double>(count)) return 0.0;
  // Edges may look like air by their mean and variance, but are smooth.
  const double fine = kMedianToDeviation * Median(work, inside) / std::sqrt(kVarianceOfAir);
  return std::abs(fine - deviation) < kAgreement * deviation ? deviation : 0.0;
}

// Brings the smoothest blocks to the front, an eighth of them, in planes, which have fewer, a quarter: their
// other coefficients tell how much structure is in the highest one, and white noise is as strong in it
// whatever the others are.
std::int64_t SelectSmoothBlocks(BlockNoise* blocks, std::int64_t count, bool isPlane, float* work) {
  const std::int64_t part = isPlane ? 4 : 8;
  constexpr std::int64_t kLeast = 200;  // from fewer a median is not precise
  const std::int64_t wanted = std::min(count, std::max(kLeast, count / part));
  std::transform(blocks, blocks + count, work, [](const BlockNoise& block) { return block.structure; });
  std::nth_element(work, work + (wanted - 1), work + count);
  const float most = work[wanted - 1];
  const auto end = std::copy_if(blocks, blocks + count, blocks,
                                [most](const BlockNoise& block) { return block.structure <= most; });
  return end - blocks;
}

// From the highest coefficients of blocks anywhere.
double DeviationOfDetails(const BlockNoise* blocks, std::int64_t count, const RicianLaw& law, float* work) {
  constexpr int kRounds = 6;  // the correction hangs on the deviation itself
  double deviation = 0.0;
  for (int round = 0; round < kRounds; ++round) {
    for (std::int64_t i = 0; i < count; ++i) {
      const double variance =
          deviation > 0.0 ? law.Variance(static_cast<double>(blocks[i].mean) / deviation) : 1.0;
      work[i] = static_cast<float>(static_cast<double>(blocks[i].highest) / std::sqrt(variance));
    }
    deviation = kMedianToDeviation * Median(work, count);
  }
  return deviation;
}

}  // namespace

MTH_STOP_REASON EstimateRicianNoise(const VolumeSize& size, const float* values, const RicianLaw& law,
                                    LongIteration& run, double& deviation) {
  deviation = 0.0;
  const Grid grid = GridOf(size);
  const WorkArray<BlockNoise> blocks(grid.Count());
  const WorkArray<float> work(grid.Count());
  if (!blocks || !work) return MTH_STOP_REASON::NoMemory;
  std::int64_t count = 0;
  if (!MeasureBlocks(size, grid, values, run, blocks.Get(), count)) return MTH_STOP_REASON::Cancelled;
  if (count == 0 || size.x == 1) return MTH_STOP_REASON::Converged;
  const double ofAir = DeviationOfAir(blocks.Get(), count, work.Get());
  const std::int64_t smooth = SelectSmoothBlocks(blocks.Get(), count, size.z == 1, work.Get());
  deviation = DeviationOfDetails(blocks.Get(), smooth, law, work.Get());
  // Structure adds to details, never takes from them: stronger noise than theirs is that of a dark tissue.
  if (ofAir > 0.0 && ofAir < kMostOverDetails * deviation) deviation = ofAir;
  return MTH_STOP_REASON::Converged;
}

}  // namespace mth_internal
