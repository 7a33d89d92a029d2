#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/wavelet/Mth_wavelet_kernel_internal.h"
#include "mth/wavelet/Mth_wavelet_rows_internal.h"
#include "mth/wavelet/Mth_wavelet_transform_internal.h"

namespace mth_internal {
namespace {

constexpr int kHighestLevel = 30;

// The image as rows of doubles. Elements that it does not have are 0.
class RowReader {
 public:
  RowReader(const MTH_MATRIX& image, ImageSize size)
      : image_(image),
        columns_(size.columns),
        isInside_(image.IsAllocated() && size.rows <= image.GetNbRows() &&
                  size.columns <= image.GetNbCols()) {}

  /// @return  whether the zero taps may be left out of this row.
  bool Read(std::int64_t row, double* line) const {
    const std::int64_t start = row * image_.GetNbCols();
    if (isInside_ && image_.GetEDataAddress() != nullptr)
      return CopyFilterable(image_.GetEDataAddress() + start, columns_, line);
    if (isInside_) return CopyFilterable(image_.GetFDataAddress() + start, columns_, line);
    for (int column = 0; column < columns_; ++column)
      line[column] = image_.Get(static_cast<int>(row), column);
    return AreFilterable(line, columns_);
  }

 private:
  const MTH_MATRIX& image_;
  std::int64_t columns_;
  bool isInside_;
};

// Filters an array in place, along its rows and its columns, in one sweep over the rows.
class SweepFilter {
 public:
  SweepFilter(int level, ImageSize size, int reach)
      : size_(size),
        reach_(reach * StepOfLevel(level, size.rows)),
        line_(size.columns, StepOfLevel(level, size.columns), reach),
        window_(size, StepOfLevel(level, size.rows), reach) {}
  explicit operator bool() const { return line_ && window_; }

  void Run(double* data, const CompactFilter& alongRows, const CompactFilter& alongColumns) {
    window_.Restart();
    SweepRows(
        size_.rows, reach_,
        [&](std::int64_t row) {
          const bool isFilterable = CopyFilterable(data + row * size_.columns, size_.columns, line_.Row());
          line_.Extend(isFilterable);
          line_.Filter(alongRows, window_.Row(row));
          if (!isFilterable) window_.Mark(row);
        },
        [&](std::int64_t row) { window_.FilterAcross(alongColumns, row, data + row * size_.columns); });
  }

 private:
  ImageSize size_;
  std::int64_t reach_;
  ExtendedRow line_;
  RowWindow window_;
};

// Below level 0 a filter has no step, and its last tap is all that is left of it.
class LastTapFilter {
 public:
  explicit LastTapFilter(ImageSize size) : count_(size.rows * size.columns) {}

  void Run(double* data, const CompactFilter& alongRows, const CompactFilter& alongColumns) const {
    const double rowTap = alongRows.whole.taps[alongRows.whole.length - 1];
    const double columnTap = alongColumns.whole.taps[alongColumns.whole.length - 1];
    for (std::int64_t i = 0; i < count_; ++i) data[i] = 0.0 + columnTap * (0.0 + rowTap * data[i]);
  }

 private:
  std::int64_t count_;
};

// Filters each subband with the low and the high filter that made it, or that rebuild from it.
template <class Filter>
void RunOnAll(Filter&& filter, const Subbands& subbands, const CompactFilter& low,
              const CompactFilter& high) {
  filter.Run(subbands.approx, low, low);
  filter.Run(subbands.detailRows, low, high);
  filter.Run(subbands.detailCols, high, low);
  filter.Run(subbands.detailDiag, high, high);
}

void AnalyseWithoutStep(const RowReader& image, ImageSize size, const Subbands& subbands) {
  for (std::int64_t row = 0; row < size.rows; ++row) {
    const std::int64_t start = row * size.columns;
    image.Read(row, subbands.approx + start);
    for (double* other : {subbands.detailRows, subbands.detailCols, subbands.detailDiag})
      std::copy_n(subbands.approx + start, size.columns, other + start);
  }
  RunOnAll(LastTapFilter(size), subbands, kSmoothing, kDifference);
}

// The outputs [begin, end) of a line that samples which are not finite may reach. They are looked for block
// by block; the mirror images of the samples reach no farther.
struct Reached {
  std::int64_t begin;
  std::int64_t end;
};

Reached OutputsOfNonFinite(const double* line, std::int64_t n, std::int64_t reach) {
  constexpr std::int64_t kBlock = 1024;
  Reached reached{n, 0};
  for (std::int64_t first = 0; first < n; first += kBlock) {
    const std::int64_t last = std::min(first + kBlock, n);
    if (AreFilterable(line + first, last - first)) continue;
    reached = {std::min(reached.begin, std::max<std::int64_t>(first - reach, 0)), std::min(last + reach, n)};
  }
  return reached;
}

// What the zero taps of a filter add to its results on a line: NaN where one of them meets what is not
// finite, and nothing else. The samples under the filter are counted as it slides on, since at high levels
// there are many.
void AddZeroTaps(const double* line, WaveletFilter filter, std::int64_t step, std::int64_t n, double* out) {
  const std::int64_t reach = filter.length - 1;
  const std::int64_t centre = reach / 2 * step;
  const auto countAt = [=](std::int64_t index) { return std::isfinite(line[MirrorIndex(index, n)]) ? 0 : 1; };
  const auto [begin, end] = OutputsOfNonFinite(line, n, reach * step);
  if (begin >= end) return;
  std::int64_t count = 0;
  for (std::int64_t t = 1; t <= reach * step; ++t) count += countAt(begin + centre - t);
  for (std::int64_t i = begin; i < end; ++i) {
    count += countAt(i + centre);
    std::int64_t countAtTaps = 0;
    for (std::int64_t k = 0; k <= reach; ++k) {
      if (filter.taps[k] != 0.0) countAtTaps += countAt(i + centre - k * step);
    }
    if (count > countAtTaps) out[i] = std::numeric_limits<double>::quiet_NaN();
    count -= countAt(i + centre - reach * step);
  }
}

}  // namespace

std::int64_t StepOfLevel(int level, std::int64_t n) {
  if (level < 0) return 0;
  const std::int64_t step = std::int64_t{1} << std::min(level, kHighestLevel);
  // Steps that differ by whole periods 2 n of the mirror image meet the same samples; one of at least 2 n
  // leaves room for every sample between two taps.
  return step < 4 * n ? step : 2 * n + step % (2 * n);
}

void FilterLine(const double* line, WaveletFilter filter, std::int64_t step, std::int64_t n, double* out) {
  std::fill_n(out, n, 0.0);
  if (filter.length <= 0) return;
  const std::int64_t reach = filter.length - 1;
  const std::int64_t centre = reach / 2 * step;
  // Tap t of the dilated filter; without a step only the last tap is left.
  const auto addTap = [&](std::int64_t t, double tap) {
    const std::int64_t shift = centre - t;
    const std::int64_t begin = std::clamp<std::int64_t>(-shift, 0, n);
    const std::int64_t end = std::clamp<std::int64_t>(n - shift, begin, n);
    for (std::int64_t i = 0; i < begin; ++i) out[i] += tap * line[MirrorIndex(i + shift, n)];
    for (std::int64_t i = begin; i < end; ++i) out[i] += tap * line[i + shift];
    for (std::int64_t i = end; i < n; ++i) out[i] += tap * line[MirrorIndex(i + shift, n)];
  };
  if (step == 0) return addTap(0, filter.taps[reach]);
  for (std::int64_t k = 0; k <= reach; ++k) {
    if (filter.taps[k] != 0.0) addTap(k * step, filter.taps[k]);
  }
  AddZeroTaps(line, filter, step, n, out);
}

bool Analyse(const MTH_MATRIX& image, int level, ImageSize size, const Subbands& subbands) {
  const RowReader reader(image, size);
  if (level < 0) {
    AnalyseWithoutStep(reader, size, subbands);
    return true;
  }
  const int reach = kSmoothing.Reach();
  const std::int64_t across = StepOfLevel(level, size.rows);
  ExtendedRow line(size.columns, StepOfLevel(level, size.columns), reach);
  RowWindow smooth(size, across, reach);
  RowWindow differences(size, across, reach);
  if (!line || !smooth || !differences) return false;
  SweepRows(
      size.rows, reach * across,
      [&](std::int64_t row) {
        const bool isFilterable = reader.Read(row, line.Row());
        line.Extend(isFilterable);
        line.Split(smooth.Row(row), differences.Row(row));
        if (isFilterable) return;
        smooth.Mark(row);
        differences.Mark(row);
      },
      [&](std::int64_t row) {
        const std::int64_t start = row * size.columns;
        smooth.SplitAcross(row, subbands.approx + start, subbands.detailRows + start);
        differences.SplitAcross(row, subbands.detailCols + start, subbands.detailDiag + start);
      });
  return true;
}

bool Smooth(double* data, int level, ImageSize size) {
  if (level < 0) {
    LastTapFilter(size).Run(data, kSmoothing, kSmoothing);
    return true;
  }
  SweepFilter filter(level, size, kSmoothing.Reach());
  if (!filter) return false;
  filter.Run(data, kSmoothing, kSmoothing);
  return true;
}

bool Rebuild(const Subbands& subbands, int level, MTH_MATRIX& image) {
  const ImageSize size{image.GetNbRows(), image.GetNbCols()};
  if (level < 0) {
    RunOnAll(LastTapFilter(size), subbands, kLowRebuilding, kHighRebuilding);
  } else {
    SweepFilter filter(level, size, kLowRebuilding.Reach());
    if (!filter) return false;
    RunOnAll(filter, subbands, kLowRebuilding, kHighRebuilding);
  }
  const auto [approx, rows, columns, diagonal] = subbands;
  const std::int64_t count = size.rows * size.columns;
  if (image.GetEDataAddress() != nullptr) {
    AddFourLines(approx, rows, columns, diagonal, count, image.GetEDataAddress());
  } else {
    AddFourLines(approx, rows, columns, diagonal, count, image.GetFDataAddress());
  }
  return true;
}

bool MeanSquares(const double* values, ImageSize size, std::int64_t reach, double scale, double* means) {
  const std::int64_t rows = size.rows;
  const std::int64_t columns = size.columns;
  const WorkArray<double> line(columns + 2 * reach);
  if (!line) return false;
  double* const sums = line.Get() + reach;
  const auto side = static_cast<double>(reach + 1);
  const auto weightAt = [&](std::int64_t distance) {  // the weights along one axis add up to 1
    return (side - static_cast<double>(std::abs(distance))) / (side * side);
  };
  LongIteration run;
  const double workOfRow = 4.0 * side * static_cast<double>(columns);
  for (std::int64_t row = 0; row < rows; ++row) {
    if (run.IsGivenUp(workOfRow)) return false;
    std::fill_n(sums, columns, 0.0);
    for (std::int64_t k = -reach; k <= reach; ++k) {
      AddScaledSquares(values + MirrorIndex(row + k, rows) * columns, scale, weightAt(k), columns, sums);
    }
    for (std::int64_t i = 1; i <= reach; ++i) {
      sums[-i] = sums[MirrorIndex(-i, columns)];
      sums[columns - 1 + i] = sums[MirrorIndex(columns - 1 + i, columns)];
    }
    double* const out = means + row * columns;
    std::fill_n(out, columns, 0.0);
    for (std::int64_t k = -reach; k <= reach; ++k) AddScaled(sums + k, weightAt(k), columns, out);
  }
  return true;
}

}  // namespace mth_internal
