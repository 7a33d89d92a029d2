#pragma once

#include <cstdint>

namespace mth_internal {

/// One step of a congruential generator in Schrage's form: with k = seed / quotient,
///
///     next = multiplier (seed mod quotient) - k remainder,   plus the modulus if that is below 0.
///
/// Step() computes it as it stands, with a division. Guess() needs none. Multiplied out,
///
///     next = multiplier seed - k (multiplier quotient + remainder)
///          = multiplier seed - k excess - k modulus,   excess = multiplier quotient + remainder - modulus,
///
/// where the excess is 0 for the published remainders and 10 for a remainder that is 10 above its own. As
/// next lies in [0, modulus), it is M = multiplier seed - k excess less the modulus as many times as it fits
/// in, and that number is the whole part of
///
///     M / modulus = seed (multiplier / modulus - excess / (quotient modulus)) + (a fraction of k) excess /
///     modulus.
///
/// The factor of the seed is kept in units of 2^-46 and rounded down, by 2 units at most. Below 2^31 seeds
/// the product with it is then too small by less than 2^31 2^-45 = 2^-14, so that the modulus is never taken
/// off once too often, and once too few only where M / modulus is less than that above a whole number. Two
/// products, a shift and a subtraction are all that wait for one another.
///
/// @see  Schrage, ACM Transactions on Mathematical Software 5 (1979) 132.
template <std::int64_t multiplier, std::int64_t quotient, std::int64_t remainder, std::int64_t modulus>
struct Congruence {
  static constexpr std::int64_t kModulus = modulus;

  /// The next seed, of any seed below 2^32.
  static constexpr std::uint32_t Step(std::uint32_t seed) {
    const std::int64_t next = multiplier * (seed % quotient) - seed / quotient * remainder;
    return static_cast<std::uint32_t>(next < 0 ? next + modulus : next);
  }

  /// Step(seed) of a seed below 2^31 or, for fewer than one seed in 16,000 and where it should be 0, that
  /// number plus the modulus: a result below the modulus is right.
  static std::int64_t Guess(std::uint32_t seed) {
    constexpr int kBits = 46;
    constexpr std::uint64_t kOne = std::uint64_t{1} << kBits;
    constexpr std::uint64_t kExcess = multiplier * quotient + remainder - modulus;
    constexpr std::uint64_t kInverse = kOne / quotient + 1;
    static_assert((kInverse * quotient - kOne) << 31 < kOne);  // k is exact
    constexpr std::uint64_t kTimes = kOne * multiplier / modulus - kOne * kExcess / (quotient * modulus) - 1;
    const std::uint64_t multiple = multiplier * std::uint64_t{seed} - (kInverse * seed >> kBits) * kExcess;
    // Signed, or the compiler may add up what is subtracted: the last product would wait for more.
    return static_cast<std::int64_t>(multiple) - static_cast<std::int64_t>(kTimes * seed >> kBits) * modulus;
  }
};

/// The two generators that the combined draws step side by side. The remainder of the first is 12221 where
/// the published constants have 12211, on purpose: sequences are fixed with it.
using FirstCongruence = Congruence<40014, 53668, 12221, 2147483563>;
using SecondCongruence = Congruence<40692, 52774, 3791, 2147483399>;

}  // namespace mth_internal
