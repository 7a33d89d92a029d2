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

// Marsaglia's polar method: two independent numbers from each point of the unit disc.
class GaussianStream {
 public:
  explicit GaussianStream(int seed) : bits_(seed) {}

  double Next() {
    if (hasKept_) {
      hasKept_ = false;
      return kept_;
    }
    double x = 0.0;
    double y = 0.0;
    double squares = 0.0;
    do {
      x = Symmetric();
      y = Symmetric();
      squares = x * x + y * y;
    } while (squares >= 1.0 || squares == 0.0);
    const double factor = std::sqrt(-2.0 * mth_internal::Logarithm(squares) / squares);
    kept_ = y * factor;
    hasKept_ = true;
    return x * factor;
  }

 private:
  // Multiples of 2^-52 in (-1, 1), centred, so that both signs are alike.
  double Symmetric() { return (static_cast<double>(bits_.Next() >> 11) + 0.5) * 0x1p-52 - 1.0; }

  BitStream bits_;
  double kept_ = 0.0;
  bool hasKept_ = false;
};

}  // namespace

void MTH_MATRIX::SetWhiteNoise(double deviation, int seed) {
  if (!allocated_) return;
  if (!(deviation > 0.0)) return SetZero();
  GaussianStream numbers(seed);
  mth_internal::OnStorage(*this, [&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    const std::int64_t count = mth_internal::ElementsCount(*this);
    for (std::int64_t i = 0; i < count; ++i) elements[i] = static_cast<T>(deviation * numbers.Next());
  });
}
