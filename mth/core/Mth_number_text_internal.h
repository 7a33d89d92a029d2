#pragma once

#include <cstddef>
#include <string_view>

/// @file
/// Numbers as text, correctly rounded, the same under every locale and rounding mode, with every standard
/// library: not all have std::to_chars and std::from_chars of floating-point numbers.

namespace mth_internal {

/// The most characters that a number in fixed notation takes: the largest double has 309 digits before the
/// point.
inline constexpr int kMostDecimals = 20;
inline constexpr int kLongestFixed = 1 + 309 + 1 + kMostDecimals;

/// Writes a number in fixed notation as printf("%.*f") does in the "C" locale, rounded to the nearest, halves
/// of the exact value to even; "inf", "-inf", and "nan" whatever the sign of the NaN.
/// @param decimals  0 to kMostDecimals.
/// @param text      receives at most kLongestFixed characters, without a terminating null.
/// @return          their number.
std::size_t WriteFixed(double value, int decimals, char* text);

/// Takes a number off the front of a text, as strtod does in the "C" locale: a sign, then decimal digits with
/// a point and an exponent, hexadecimal digits after "0x" with a binary exponent, "inf", "infinity" or "nan".
/// Blanks are not skipped. Rounded to the nearest double; infinite or 0 beyond the range.
/// @return  false, with both unchanged, when the text does not start with a number.
bool TakeNumber(std::string_view& text, double& number);

}  // namespace mth_internal
