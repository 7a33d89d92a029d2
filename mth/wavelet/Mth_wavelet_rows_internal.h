#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/wavelet/Mth_wavelet_kernel_internal.h"
#include "mth/wavelet/Mth_wavelet_transform_internal.h"

// The filters of the quadratic spline wavelet, along a row and across rows.
//
// Filters are applied without their zero taps, those that centre them and those of their dilation. These add
// 0 to every sum, but NaN where they meet a value that is not finite: rows with such values are marked, and
// what the zero taps make of them is put in afterwards.

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

/// What the zero taps of a filter add to its results on a line: NaN where one of them meets what is not
/// finite, and nothing else. The samples under the filter are counted as it slides on, since at high levels
/// there are many.
inline void AddZeroTaps(const double* line, WaveletFilter filter, std::int64_t step, std::int64_t n,
                        double* out) {
  const std::int64_t reach = filter.length - 1;
  const std::int64_t centre = reach / 2 * step;
  const auto countAt = [=](std::int64_t index) { return std::isfinite(line[MirrorIndex(index, n)]) ? 0 : 1; };
  std::int64_t count = 0;
  for (std::int64_t t = 1; t <= reach * step; ++t) count += countAt(centre - t);
  for (std::int64_t i = 0; i < n; ++i) {
    count += countAt(i + centre);
    std::int64_t countAtTaps = 0;
    for (std::int64_t k = 0; k <= reach; ++k) {
      if (filter.taps[k] != 0.0) countAtTaps += countAt(i + centre - k * step);
    }
    if (count > countAtTaps) out[i] = std::numeric_limits<double>::quiet_NaN();
    count -= countAt(i + centre - reach * step);
  }
}

/// A row with its mirror image at both ends, as far as the filters reach.
class ExtendedRow {
 public:
  ExtendedRow(std::int64_t length, std::int64_t step, int reach)
      : length_(length), step_(step), margin_(reach * step), samples_(length + 2 * margin_) {}
  explicit operator bool() const { return static_cast<bool>(samples_); }

  /// Where to put the row; Extend then adds the margins.
  double* Row() const { return samples_.Get() + margin_; }
  /// @param isFilterable  whether the zero taps may be left out of this row.
  void Extend(bool isFilterable) {
    isFilterable_ = isFilterable;
    double* const row = Row();
    for (std::int64_t i = 1; i <= margin_; ++i) {
      row[-i] = row[MirrorIndex(-i, length_)];
      row[length_ - 1 + i] = row[MirrorIndex(length_ - 1 + i, length_)];
    }
  }
  void Filter(const CompactFilter& filter, double* out) const {
    CombineLines(LinesOf(filter), filter.taps, filter.count, length_, out);
    if (!isFilterable_) AddZeroTaps(Row(), filter.whole, step_, length_, out);
  }
  /// Both filters of the analysis.
  void Split(double* low, double* high) const {
    SplitLines(LinesOf(kSmoothing), kSmoothing.taps, kDifference.taps, length_, low, high);
    if (isFilterable_) return;
    AddZeroTaps(Row(), kSmoothing.whole, step_, length_, low);
    AddZeroTaps(Row(), kDifference.whole, step_, length_, high);
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
  bool isFilterable_ = true;
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
        isMarked_(size.rows),
        counts_(size.columns) {
    hasMarks_ = static_cast<bool>(*this);
    Restart();
  }
  explicit operator bool() const { return samples_ && isMarked_ && counts_; }

  /// Forgets all rows.
  void Restart() {
    if (!hasMarks_) return;
    std::fill_n(isMarked_.Get(), size_.rows, false);
    std::fill_n(counts_.Get(), size_.columns, 0);
    countedRows_ = 0;
    present_ = kNoRow;
    hasMarks_ = false;
  }

  double* Row(std::int64_t row) const { return samples_.Get() + (row % kept_) * stride_; }
  /// Says that a row may hold values that are not finite.
  void Mark(std::int64_t row) {
    isMarked_[row] = true;
    hasMarks_ = true;
  }

  void FilterAcross(const CompactFilter& filter, std::int64_t row, double* out) {
    CombineLines(LinesOf(filter, row), filter.taps, filter.count, size_.columns, out);
    if (!hasMarks_) return;
    SlideTo(row);
    AddZeroTapsAcross(filter.whole, row, out);
  }
  /// Both filters of the analysis.
  void SplitAcross(std::int64_t row, double* low, double* high) {
    SplitLines(LinesOf(kSmoothing, row), kSmoothing.taps, kDifference.taps, size_.columns, low, high);
    if (!hasMarks_) return;
    SlideTo(row);
    AddZeroTapsAcross(kSmoothing.whole, row, low);
    AddZeroTapsAcross(kDifference.whole, row, high);
  }

 private:
  // Between rows, so that those of a width that is a power of two do not share the sets of the cache.
  static constexpr std::int64_t kRowGap = 24;
  static constexpr std::int64_t kNoRow = -2;  // nor the one before the first

  TapLines LinesOf(const CompactFilter& filter, std::int64_t row) const {
    TapLines lines{};
    for (int k = 0; k < filter.count; ++k)
      lines[static_cast<std::size_t>(k)] = Row(MirrorIndex(row + (filter.lead - k) * step_, size_.rows));
    return lines;
  }

  // Adds to the counts, per column, the values that are not finite of the row at a place of the endless
  // mirror image, or takes them off.
  void Count(std::int64_t place, int sign) {
    const std::int64_t row = MirrorIndex(place, size_.rows);
    if (!isMarked_[row]) return;
    const double* const values = Row(row);
    for (std::int64_t c = 0; c < size_.columns; ++c) counts_[c] += std::isfinite(values[c]) ? 0 : sign;
    countedRows_ += sign;
  }

  // Makes the counts those of all rows under a filter at that row.
  void SlideTo(std::int64_t row) {
    if (present_ == row - 1) {
      Count(row + margin_, 1);
      Count(row - 1 - margin_, -1);
    } else {
      for (std::int64_t place = row - margin_; place <= row + margin_; ++place) Count(place, 1);
    }
    present_ = row;
  }

  // As AddZeroTaps, along each column at one place.
  void AddZeroTapsAcross(WaveletFilter filter, std::int64_t row, double* out) {
    if (countedRows_ == 0) return;
    const auto countTaps = [&](int sign) {
      for (int k = 0; k < filter.length; ++k) {
        if (filter.taps[k] != 0.0) Count(row + margin_ - k * step_, sign);
      }
    };
    countTaps(-1);
    for (std::int64_t c = 0; c < size_.columns; ++c) {
      if (counts_[c] > 0) out[c] = std::numeric_limits<double>::quiet_NaN();
    }
    countTaps(1);
  }

  ImageSize size_;
  std::int64_t step_;
  std::int64_t margin_;
  std::int64_t kept_;
  std::int64_t stride_;
  WorkArray<double> samples_;
  WorkArray<bool> isMarked_;
  WorkArray<int> counts_;  // of values that are not finite, per column, under a filter at the present row
  std::int64_t countedRows_ = 0;
  std::int64_t present_ = kNoRow;
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
