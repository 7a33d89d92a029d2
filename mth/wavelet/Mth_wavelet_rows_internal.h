#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/wavelet/Mth_wavelet_kernel_internal.h"
#include "mth/wavelet/Mth_wavelet_marks_internal.h"
#include "mth/wavelet/Mth_wavelet_transform_internal.h"

// The filters of the quadratic spline wavelet, along a row and across rows.
//
// Filters are applied without their zero taps, those that centre them and those of their dilation. These add
// 0 to every sum, but NaN where they meet a value that is not finite: these values are marked, and what the
// zero taps make of them is put in afterwards.

namespace mth_internal {

/// A filter without its zeros: tap k belongs to the sample (lead - k) steps on.
struct CompactFilter {
  WaveletFilter whole;
  const double* taps;
  int count;
  int lead;

  /// Samples that the whole filter reaches to either side, in steps.
  int Reach() const { return (whole.length - 1) / 2; }
};

template <std::size_t kLength>
constexpr CompactFilter Compact(const std::array<double, kLength>& taps) {
  constexpr int kTaps = static_cast<int>(kLength);
  int first = 0;
  int last = kTaps - 1;
  while (taps[static_cast<std::size_t>(first)] == 0.0) ++first;
  while (taps[static_cast<std::size_t>(last)] == 0.0) --last;
  return {{taps.data(), kTaps}, taps.data() + first, last - first + 1, (kTaps - 1) / 2 - first};
}

// Taps with the zeros that centre them.
inline constexpr std::array<double, 5> kSmoothingTaps{0.125, 0.375, 0.375, 0.125, 0.0};
inline constexpr std::array<double, 5> kDifferenceTaps{0.0, 0.5, -0.5, 0.0, 0.0};
inline constexpr std::array<double, 7> kLowRebuildingTaps{0.0, 0.0, 0.125, 0.375, 0.375, 0.125, 0.0};
inline constexpr std::array<double, 7> kHighRebuildingTaps{0.0,    -0.03125, -0.21875, -0.6875,
                                                           0.6875, 0.21875,  0.03125};

inline constexpr CompactFilter kSmoothing = Compact(kSmoothingTaps);
inline constexpr CompactFilter kDifference = Compact(kDifferenceTaps);
inline constexpr CompactFilter kLowRebuilding = Compact(kLowRebuildingTaps);
inline constexpr CompactFilter kHighRebuilding = Compact(kHighRebuildingTaps);

static_assert(kSmoothing.count == 4 && kDifference.count == 2 && kSmoothing.lead == kDifference.lead + 1);

/// A row with its mirror image at both ends, as far as the filters reach.
class ExtendedRow {
 public:
  ExtendedRow(std::int64_t length, std::int64_t step, int reach)
      : length_(length),
        step_(step),
        margin_(reach * step),
        samples_(length + 2 * margin_),
        marks_(length, margin_) {}
  explicit operator bool() const { return samples_ && marks_; }

  /// Where to put the row; Extend then adds the margins.
  double* Row() const { return samples_.Get() + margin_; }
  /// @param isFilterable  whether the zero taps may be left out of this row.
  void Extend(bool isFilterable) {
    double* const row = Row();
    for (std::int64_t i = 1; i <= margin_; ++i) {
      row[-i] = row[MirrorIndex(-i, length_)];
      row[length_ - 1 + i] = row[MirrorIndex(length_ - 1 + i, length_)];
    }
    hasMarks_ = !isFilterable && marks_.Take(samples_.Get());
  }
  void Filter(const CompactFilter& filter, double* out) const {
    CombineLines(LinesOf(filter), filter.taps, filter.count, length_, out);
    if (hasMarks_) marks_.AddZeroTaps(filter.whole, step_, out);
  }
  /// Both filters of the analysis.
  void Split(double* low, double* high) const {
    SplitLines(LinesOf(kSmoothing), kSmoothing.taps, kDifference.taps, length_, low, high);
    if (!hasMarks_) return;
    marks_.AddZeroTaps(kSmoothing.whole, step_, low);
    marks_.AddZeroTaps(kDifference.whole, step_, high);
  }

 private:
  TapLines LinesOf(const CompactFilter& filter) const {
    TapLines lines{};
    for (int k = 0; k < filter.count; ++k)
      lines[static_cast<std::size_t>(k)] = Row() + (filter.lead - k) * step_;
    return lines;
  }

  std::int64_t length_;
  std::int64_t step_;
  std::int64_t margin_;
  WorkArray<double> samples_;
  RowMarks marks_;
  bool hasMarks_ = false;
};

/// The rows of an array around the present one, already filtered along themselves, for filtering across them.
/// Rows become the present one in ascending order.
class RowWindow {
 public:
  RowWindow(ImageSize size, std::int64_t step, int reach)
      : size_(size),
        step_(step),
        margin_(reach * step),
        kept_(std::min(size.rows, 2 * margin_ + 2)),
        stride_(size.columns + kRowGap),
        samples_(kept_ * stride_),
        marks_(size) {}
  explicit operator bool() const { return samples_ && marks_; }

  /// Forgets all rows.
  void Restart() { hasMarks_ = false; }

  double* Row(std::int64_t row) const { return samples_.Get() + (row % kept_) * stride_; }
  /// Says that a row may hold values that are not finite.
  void Mark(std::int64_t row) {
    if (!hasMarks_) marks_.Clear();
    hasMarks_ = true;
    marks_.TakeRow(row, Row(row));
  }

  void FilterAcross(const CompactFilter& filter, std::int64_t row, double* out) const {
    CombineLines(LinesOf(filter, row), filter.taps, filter.count, size_.columns, out);
    if (hasMarks_) marks_.AddZeroTaps(filter.whole, step_, row, out);
  }
  /// Both filters of the analysis.
  void SplitAcross(std::int64_t row, double* low, double* high) const {
    SplitLines(LinesOf(kSmoothing, row), kSmoothing.taps, kDifference.taps, size_.columns, low, high);
    if (!hasMarks_) return;
    marks_.AddZeroTaps(kSmoothing.whole, step_, row, low);
    marks_.AddZeroTaps(kDifference.whole, step_, row, high);
  }

 private:
  // Between rows, so that those of a width that is a power of two do not share the sets of the cache.
  static constexpr std::int64_t kRowGap = 24;

  TapLines LinesOf(const CompactFilter& filter, std::int64_t row) const {
    TapLines lines{};
    for (int k = 0; k < filter.count; ++k)
      lines[static_cast<std::size_t>(k)] = Row(MirrorIndex(row + (filter.lead - k) * step_, size_.rows));
    return lines;
  }

  ImageSize size_;
  std::int64_t step_;
  std::int64_t margin_;
  std::int64_t kept_;
  std::int64_t stride_;
  WorkArray<double> samples_;
  ImageMarks marks_;
  bool hasMarks_ = false;
};

/// Calls fill(row) for every row in turn, each before finish(row) of any row whose filters reach it.
template <class Fill, class Finish>
void SweepRows(std::int64_t rows, std::int64_t reach, Fill fill, Finish finish) {
  std::int64_t filled = 0;
  for (std::int64_t row = 0; row < rows; ++row) {
    for (; filled < rows && filled <= row + reach; ++filled) fill(filled);
    finish(row);
  }
}

}  // namespace mth_internal
