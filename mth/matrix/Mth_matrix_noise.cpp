#include <algorithm>
#include <cmath>
#include <cstdint>

#include "mth/core/Mth_elementary_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

// White noise: a stream of Gaussian numbers for each call.

namespace {

// The generator xoshiro256++ of Blackman and Vigna (2021), its state spread from the seed by the finaliser of
// splitmix64, which leaves nothing alike between the states of neighbouring seeds.
class BitStream {
 public:
  explicit BitStream(int seed) {
    std::uint64_t counter = static_cast<std::uint32_t>(seed) * 0xD1342543DE82EF95ULL + 0x2545F4914F6CDD1DULL;
    for (std::uint64_t& word : state_) {
      counter += 0x9E3779B97F4A7C15ULL;
      std::uint64_t mixed = counter;
      mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9ULL;
      mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EBULL;
      word = mixed ^ (mixed >> 31);
    }
  }

  std::uint64_t Next() {
    const std::uint64_t result = Rotated(state_[0] + state_[3], 23) + state_[0];
    const std::uint64_t shifted = state_[1] << 17;
    state_[2] ^= state_[0];
    state_[3] ^= state_[1];
    state_[1] ^= state_[2];
    state_[0] ^= state_[3];
    state_[2] ^= shifted;
    state_[3] = Rotated(state_[3], 45);
    return result;
  }

 private:
  static std::uint64_t Rotated(std::uint64_t word, int count) {
    return (word << count) | (word >> (64 - count));
  }
  std::uint64_t state_[4];
};

// Marsaglia's polar method: two independent numbers from each point of the unit disc. Points are drawn in
// blocks, whose logarithms run in lanes.
class GaussianStream {
 public:
  explicit GaussianStream(int seed) : bits_(seed) {}

  template <class T>
  void Fill(T* numbers, std::int64_t count, double deviation) {
    for (std::int64_t first = 0; first < count; first += 2 * kPoints) {
      const std::int64_t wanted = std::min(2 * kPoints, count - first);
      DrawPoints((wanted + 1) / 2);
      for (std::int64_t k = 0; k < wanted; ++k)
        numbers[first + k] = static_cast<T>(deviation * (coordinates_[k] * factors_[k / 2]));
    }
  }

 private:
  static constexpr std::int64_t kPoints = 256;

  void DrawPoints(std::int64_t count) {
    double squares[kPoints] = {};
    for (std::int64_t found = 0; found < count;) {  // a point outside is overwritten by the next one
      const double x = Symmetric();
      const double y = Symmetric();
      coordinates_[2 * found] = x;
      coordinates_[2 * found + 1] = y;
      squares[found] = x * x + y * y;
      found += static_cast<int>(squares[found] < 1.0) & static_cast<int>(squares[found] != 0.0);
    }
    mth_internal::Logarithms(squares, count, factors_);
    for (std::int64_t i = 0; i < count; ++i) factors_[i] = std::sqrt(-2.0 * factors_[i] / squares[i]);
  }

  // Multiples of 2^-52 in (-1, 1), centred, so that both signs are alike.
  double Symmetric() { return (static_cast<double>(bits_.Next() >> 11) + 0.5) * 0x1p-52 - 1.0; }

  BitStream bits_;
  double coordinates_[2 * kPoints];
  double factors_[kPoints];
};

}  // namespace

void MTH_MATRIX::SetWhiteNoise(double deviation, int seed) {
  if (!allocated_) return;
  if (!(deviation > 0.0)) return SetZero();
  GaussianStream numbers(seed);
  mth_internal::OnStorage(
      *this, [&](auto* elements) { numbers.Fill(elements, mth_internal::ElementsCount(*this), deviation); });
}
