#pragma once

#include <array>
#include <cstdint>

namespace mth_internal {

/// The most taps of a filter that are not 0.
constexpr int kMostTaps = 6;
/// A line for each tap.
using TapLines = std::array<const double*, kMostTaps>;

/// out[i] = 0 + taps[0] lines[0][i] + taps[1] lines[1][i] + ..., in this order, of 4 or of 6 taps.
void CombineLines(const TapLines& lines, const double* taps, int count, std::int64_t length, double* out);
/// Both filters of the analysis at once: low[i] from four lines, high[i] from the middle two.
void SplitLines(const TapLines& lines, const double* lowTaps, const double* highTaps, std::int64_t length,
                double* low, double* high);
/// Copies a line of doubles or floats.
/// @return  whether all values are finite and below 2^1020 in magnitude: no filter then makes an infinity of
///          them.
template <class T>
bool CopyFilterable(const T* values, std::int64_t length, double* target);
/// The same of a line that is in place.
bool AreFilterable(const double* values, std::int64_t length);
/// Sets bit i, from the lowest one of the first word on, when values[i] is not finite; the others are 0.
/// @return  whether there are any.
bool MarkNotFinite(const double* values, std::int64_t length, std::uint64_t* marks);
/// target[i] = ((a[i] + b[i]) + c[i]) + d[i], of doubles or floats.
template <class T>
void AddFourLines(const double* a, const double* b, const double* c, const double* d, std::int64_t length,
                  T* target);
/// sums[i] += scale values[i]
void AddScaled(const double* values, double scale, std::int64_t length, double* sums);
/// sums[i] += weight (scale values[i])^2
void AddScaledSquares(const double* values, double scale, double weight, std::int64_t length, double* sums);

}  // namespace mth_internal
