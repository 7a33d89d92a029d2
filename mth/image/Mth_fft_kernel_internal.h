#pragma once

#include <cstdint>

#include "mth/value/Mth_complex.h"

namespace mth_internal {

/// Transforms 2^m values in place, as Mth_FFT, in direction `dir`; m is at least 1.
void TransformLine(int dir, int m, double* re, double* im);

/// So many neighbouring columns of a grid are transformed at a time: whole cache lines of each row.
constexpr int kPanelColumns = 8;
/// The longest columns of a panel: it stays in the cache.
constexpr int kLongestPanel = 11;  // logarithm

/// Transforms `count` <= kPanelColumns neighbouring columns of 2^m rows in place, from a column on; m is from
/// 1 to kLongestPanel.
/// @param work  room for 2 kPanelColumns 2^m values.
void TransformPanel(int dir, int m, MTH_COMPLEX** rows, std::int64_t firstColumn, int count, double* work);

/// Parts the real from the imaginary parts of a line, and puts them together again.
void SplitComplex(const MTH_COMPLEX* line, std::int64_t count, double* re, double* im);
void JoinComplex(const double* re, const double* im, std::int64_t count, MTH_COMPLEX* line);

}  // namespace mth_internal
