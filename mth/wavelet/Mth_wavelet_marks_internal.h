#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <limits>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/wavelet/Mth_wavelet_kernel_internal.h"
#include "mth/wavelet/Mth_wavelet_transform_internal.h"

// Where lines are not finite: a bit for each value, so that those under the zero taps of a dilated filter are
// found many at a time.

namespace mth_internal {

constexpr std::int64_t MarkWords(std::int64_t count) {
  return (count + 63) / 64;
}

/// Calls visit(first, last) for the runs of zeros among the taps [0, (length - 1) step] of a dilated filter.
template <class Visit>
void ForEachZeroRun(WaveletFilter filter, std::int64_t step, Visit visit) {
  std::int64_t first = 0;
  for (int k = 0; k < filter.length; ++k) {
    if (filter.taps[k] == 0.0) continue;
    if (k * step > first) visit(first, k * step - 1);
    first = k * step + 1;
  }
  const std::int64_t last = (filter.length - 1) * step;
  if (last >= first) visit(first, last);
}

/// Bit i of the target also gets bit i + distance of the source, which may be the target; 0 beyond its end.
inline void OrShifted(const std::uint64_t* source, std::int64_t words, std::int64_t distance,
                      std::uint64_t* target) {
  const std::int64_t whole = distance / 64;
  const std::int64_t rest = distance % 64;
  for (std::int64_t w = 0; w + whole < words; ++w) {
    std::uint64_t bits = source[w + whole] >> rest;
    if (rest != 0 && w + whole + 1 < words) bits |= source[w + whole + 1] << (64 - rest);
    target[w] |= bits;
  }
}

/// Makes the marked ones of n values NaN.
inline void SetMarked(const std::uint64_t* marks, std::int64_t n, double* values) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  for (std::int64_t w = 0; w < MarkWords(n); ++w) {
    const std::int64_t first = 64 * w;
    const std::int64_t count = std::min<std::int64_t>(64, n - first);
    std::uint64_t left = marks[w] & (~std::uint64_t{0} >> (64 - count));
    if (std::popcount(left) == count) {
      std::fill_n(values + first, count, kNaN);
      continue;
    }
    for (; left != 0; left &= left - 1) values[first + std::countr_zero(left)] = kNaN;
  }
}

/// The marks of one extended row: `margin` samples on either side of it.
class RowMarks {
 public:
  RowMarks(std::int64_t length, std::int64_t margin)
      : length_(length),
        margin_(margin),
        words_(MarkWords(length + 2 * margin)),
        marks_(words_),
        runs_(words_),
        results_(words_) {}
  explicit operator bool() const { return marks_ && runs_ && results_; }

  /// @return whether there is a mark.
  bool Take(const double* extended) const {
    return MarkNotFinite(extended, length_ + 2 * margin_, marks_.Get());
  }

  /// Puts in what the zero taps of a filter that reaches as far as the margin make of the marked samples.
  void AddZeroTaps(WaveletFilter filter, std::int64_t step, double* out) const {
    std::fill_n(results_.Get(), words_, std::uint64_t{0});
    ForEachZeroRun(filter, step, [&](std::int64_t first, std::int64_t last) {
      std::copy_n(marks_.Get(), words_, runs_.Get());
      const std::int64_t run = last - first + 1;
      for (std::int64_t covered = 1; covered < run; covered = std::min(2 * covered, run))
        OrShifted(runs_.Get(), words_, std::min(covered, run - covered), runs_.Get());
      OrShifted(runs_.Get(), words_, 2 * margin_ - last, results_.Get());
    });
    SetMarked(results_.Get(), length_, out);
  }

 private:
  std::int64_t length_;
  std::int64_t margin_;
  std::int64_t words_;
  WorkArray<std::uint64_t> marks_;
  WorkArray<std::uint64_t> runs_;  // whether one of as many samples as a run has, from here on, is marked
  WorkArray<std::uint64_t> results_;
};

/// The marks of all rows of an image, which goes on as its mirror image; those of whole blocks of rows too,
/// so that long runs do not cost more.
class ImageMarks {
 public:
  explicit ImageMarks(ImageSize size)
      : rows_(size.rows),
        words_(MarkWords(size.columns)),
        columns_(size.columns),
        marks_(rows_ * words_),
        blocks_((rows_ / kBlockRows + 1) * words_),
        results_(words_),
        isMarked_(rows_) {}
  explicit operator bool() const { return marks_ && blocks_ && results_ && isMarked_; }

  void Clear() const {
    std::fill_n(isMarked_.Get(), rows_, false);
    std::fill_n(blocks_.Get(), (rows_ / kBlockRows + 1) * words_, std::uint64_t{0});
  }

  void TakeRow(std::int64_t row, const double* values) const {
    isMarked_[row] = MarkNotFinite(values, columns_, marks_.Get() + row * words_);
    if (isMarked_[row]) Or(marks_.Get() + row * words_, blocks_.Get() + row / kBlockRows * words_);
  }

  /// What the zero taps of a filter make of the marked samples of the rows around one, at that row.
  void AddZeroTaps(WaveletFilter filter, std::int64_t step, std::int64_t row, double* out) const {
    const std::int64_t ahead = (filter.length - 1) / 2 * step;
    bool hasAny = false;
    ForEachZeroRun(filter, step, [&](std::int64_t first, std::int64_t last) {
      hasAny = OrPlaces(row + ahead - last, row + ahead - first, hasAny);
    });
    if (hasAny) SetMarked(results_.Get(), columns_, out);
  }

 private:
  static constexpr std::int64_t kBlockRows = 32;

  void Or(const std::uint64_t* source, std::uint64_t* target) const {
    for (std::int64_t w = 0; w < words_; ++w) target[w] |= source[w];
  }

  // Adds the marks of the rows at the places [first, last] of the endless mirror image to the results, which
  // begin with the first mark. @return whether there are any results by now.
  bool OrPlaces(std::int64_t first, std::int64_t last, bool hasAny) const {
    last = std::min(last, first + 2 * rows_ - 1);  // all rows, twice
    for (std::int64_t place = first; place <= last;) {
      const std::int64_t row = MirrorIndex(place, rows_);
      const bool isAscending = row == ((place % (2 * rows_)) + 2 * rows_) % (2 * rows_);
      const std::int64_t count = std::min(last - place + 1, isAscending ? rows_ - row : row + 1);
      hasAny = OrRows(isAscending ? row : row - count + 1, count, hasAny);
      place += count;
    }
    return hasAny;
  }

  bool OrRows(std::int64_t first, std::int64_t count, bool hasAny) const {
    for (std::int64_t row = first; row < first + count;) {
      const bool isBlock = row % kBlockRows == 0 && row + kBlockRows <= first + count;
      if (isBlock || isMarked_[row]) {
        if (!hasAny) std::fill_n(results_.Get(), words_, std::uint64_t{0});
        hasAny = true;
        Or(isBlock ? blocks_.Get() + row / kBlockRows * words_ : marks_.Get() + row * words_, results_.Get());
      }
      row += isBlock ? kBlockRows : 1;
    }
    return hasAny;
  }

  std::int64_t rows_;
  std::int64_t words_;
  std::int64_t columns_;
  WorkArray<std::uint64_t> marks_;
  WorkArray<std::uint64_t> blocks_;
  WorkArray<std::uint64_t> results_;
  WorkArray<bool> isMarked_;
};

}  // namespace mth_internal
