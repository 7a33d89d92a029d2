#pragma once

#include <cmath>
#include <concepts>
#include <type_traits>

// The arithmetic of the points and vectors, each operation rounded to its operands' type. Integers wrap in 32
// bits, through unsigned arithmetic where signed overflow would be undefined.

namespace mth_internal {

/// The type that integers are computed in, or the floating type itself.
template <class T>
using Wrapping = std::conditional_t<std::integral<T>, unsigned, T>;

template <class T>
T Difference(T a, T b) {
  return static_cast<T>(static_cast<Wrapping<T>>(a) - static_cast<Wrapping<T>>(b));
}

template <class T>
T Product(T a, T b) {
  return static_cast<T>(static_cast<Wrapping<T>>(a) * static_cast<Wrapping<T>>(b));
}

/// A float as a double, in which products of floats are exact; other types as they are.
template <class T>
auto Widen(T value) {
  if constexpr (std::integral<T>) {
    return value;
  } else {
    return static_cast<double>(value);
  }
}

/// Square root, taken in double, of the sum of these squares: floating ones are summed in double, integer
/// ones wrap. An integer result is truncated; that of a sum that wrapped to a negative number is 0.
template <class Result, class Square, class... Squares>
Result RootOfSquares(Square first, Squares... others) {
  if constexpr (std::integral<Square>) {
    const int sum = static_cast<int>((static_cast<unsigned>(first) + ... + static_cast<unsigned>(others)));
    return sum < 0 ? 0 : static_cast<Result>(std::sqrt(static_cast<double>(sum)));
  } else {
    return static_cast<Result>(std::sqrt((static_cast<double>(first) + ... + static_cast<double>(others))));
  }
}

}  // namespace mth_internal
