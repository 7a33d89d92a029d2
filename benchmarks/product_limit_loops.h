// What a product of matrices needs for its multiplications and additions alone, compiled per instruction set:
// a tile of sums that stays in registers, and operands that come from nowhere.

#include "mth/core/Mth_lanes_internal.h"

// As many sums as the registers hold: two vectors of columns, so many rows.
inline constexpr int kLimitRows = MTH_VECTOR_BYTES == 64 ? 12 : 6;
inline constexpr std::int64_t kLimitTerms = 2 * kLimitRows * kLanes;

// left * right + sum, rounded twice or, where there is an instruction for it, once.
template <bool kIsFused>
MTH_INLINE Lanes AddProduct(Lanes left, Lanes right, Lanes sum) {
#if MTH_HAS_FUSED
  if constexpr (kIsFused) return FusedSum(left, right, sum);
#endif
  return left * right + sum;
}

template <bool kIsFused>
double MultiplyAndAdd(std::int64_t terms) {
  Lanes sums[2 * kLimitRows];
  for (int i = 0; i < 2 * kLimitRows; ++i) sums[i] = Spread<Lanes>(i);
  Lanes first = Spread<Lanes>(0.5);
  Lanes second = Spread<Lanes>(0.25);
  Lanes element = Spread<Lanes>(0.125);
  for (std::int64_t done = 0; done < terms; done += kLimitTerms) {
    first = Opaque(first);  // or the products would be taken once, before the loop
    second = Opaque(second);
#pragma GCC unroll 12
    for (int row = 0; row < kLimitRows; ++row) {
      element = Opaque(element);
      sums[2 * row] = AddProduct<kIsFused>(element, first, sums[2 * row]);
      sums[2 * row + 1] = AddProduct<kIsFused>(element, second, sums[2 * row + 1]);
    }
  }
  for (int i = 1; i < 2 * kLimitRows; ++i) sums[0] += sums[i];
  double values[kLanes];
  Store(values, sums[0]);
  return values[0];
}
