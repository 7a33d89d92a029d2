#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <limits>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/wavelet/Mth_wavelet_transform_internal.h"

#define MTH_KERNEL_FILE "mth/wavelet/Mth_wavelet_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {
namespace {

constexpr int kHighestLevel = 30;
// Samples that the filters reach to either side of a sample, in steps.
constexpr int kAnalysisReach = 2;
constexpr int kReach = 3;

// Quadratic spline wavelet: taps with the zeros that centre them.
constexpr std::array<double, 5> kSmoothingTaps{0.125, 0.375, 0.375, 0.125, 0.0};
constexpr std::array<double, 5> kDifferenceTaps{0.0, 0.5, -0.5, 0.0, 0.0};
constexpr std::array<double, 7> kLowRebuildingTaps{0.0, 0.0, 0.125, 0.375, 0.375, 0.125, 0.0};
constexpr std::array<double, 7> kHighRebuildingTaps{0.0,    -0.03125, -0.21875, -0.6875,
                                                    0.6875, 0.21875,  0.03125};

// A filter without its zeros: tap k belongs to the sample (lead - k) steps on.
struct CompactFilter {
  WaveletFilter whole;
  const double* taps;
  int count;
  int lead;
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

constexpr CompactFilter kSmoothing = Compact(kSmoothingTaps);
constexpr CompactFilter kDifference = Compact(kDifferenceTaps);
constexpr CompactFilter kLowRebuilding = Compact(kLowRebuildingTaps);
constexpr CompactFilter kHighRebuilding = Compact(kHighRebuildingTaps);

static_assert(kSmoothing.count == 4 && kDifference.count == 2 && kSmoothing.lead == kDifference.lead + 1);

constexpr int kMostTaps = 6;
using TapLines = std::array<const double*, kMostTaps>;

void Combine(const CompactFilter& filter, const TapLines& lines, std::int64_t length, double* out) {
  const auto combine = filter.count == 4 ? MTH_SELECT(CombineFourLines) : MTH_SELECT(CombineSixLines);
  combine(lines.data(), filter.taps, length, out);
}

// Both filters of the analysis, from the lines of the smoothing one.
void SplitLines(const TapLines& lines, std::int64_t length, double* low, double* high) {
  MTH_SELECT(SplitLines)(lines.data(), kSmoothing.taps, kDifference.taps, length, low, high);
}

// Whether the zero taps between a filter's own may be left out: they add 0, but NaN to what is not finite.
template <class T>
bool MaySkipZeroTaps(const T* values, std::int64_t count) {
  return MTH_SELECT(AreModest<T>)(values, count);
}

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
      return MTH_SELECT(CopyModest<double>)(image_.GetEDataAddress() + start, columns_, line);
    if (isInside_) return MTH_SELECT(CopyModest<float>)(image_.GetFDataAddress() + start, columns_, line);
    for (int column = 0; column < columns_; ++column)
      line[column] = image_.Get(static_cast<int>(row), column);
    return MaySkipZeroTaps(line, columns_);
  }

 private:
  const MTH_MATRIX& image_;
  std::int64_t columns_;
  bool isInside_;
};

// A row with its mirror image at both ends, as far as the filters reach.
class ExtendedRow {
 public:
  ExtendedRow(std::int64_t length, std::int64_t step, int reach)
      : length_(length), step_(step), margin_(reach * step), samples_(length + 2 * margin_) {}
  explicit operator bool() const { return static_cast<bool>(samples_); }

  /// Where to put the row; Extend then adds the margins.
  double* Row() const { return samples_.Get() + margin_; }
  void Extend() const {
    double* const row = Row();
    for (std::int64_t i = 1; i <= margin_; ++i) {
      row[-i] = row[MirrorIndex(-i, length_)];
      row[length_ - 1 + i] = row[MirrorIndex(length_ - 1 + i, length_)];
    }
  }
  void Filter(const CompactFilter& filter, double* out) const {
    Combine(filter, LinesOf(filter), length_, out);
  }
  void Split(double* low, double* high) const { SplitLines(LinesOf(kSmoothing), length_, low, high); }

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
};

// The rows of an array around the present one, already filtered along themselves, for filtering across them.
class RowWindow {
 public:
  RowWindow(ImageSize size, std::int64_t step, int reach)
      : size_(size),
        step_(step),
        kept_(std::min(size.rows, 2 * reach * step + 1)),
        stride_(size.columns + kRowGap),
        samples_(kept_ * stride_) {}
  explicit operator bool() const { return static_cast<bool>(samples_); }

  double* Row(std::int64_t row) const { return samples_.Get() + (row % kept_) * stride_; }
  void FilterAcross(const CompactFilter& filter, std::int64_t row, double* out) const {
    Combine(filter, LinesOf(filter, row), size_.columns, out);
  }
  void SplitAcross(std::int64_t row, double* low, double* high) const {
    SplitLines(LinesOf(kSmoothing, row), size_.columns, low, high);
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
  std::int64_t kept_;
  std::int64_t stride_;
  WorkArray<double> samples_;
};

// Calls fill(row) for every row in turn, each before finish(row) of any row whose filters reach it.
template <class Fill, class Finish>
void SweepRows(std::int64_t rows, std::int64_t reach, Fill fill, Finish finish) {
  std::int64_t filled = 0;
  for (std::int64_t row = 0; row < rows; ++row) {
    for (; filled < rows && filled <= row + reach; ++filled) fill(filled);
    finish(row);
  }
}

// Filters an array in place, line by line and with every tap: for values that are not finite, whose products
// with the zeros between the taps count.
class LineFilter {
 public:
  LineFilter(int level, ImageSize size)
      : level_(level),
        size_(size),
        line_(std::max(size.rows, size.columns)),
        out_(std::max(size.rows, size.columns)) {}
  explicit operator bool() const { return line_ && out_; }

  void Run(double* data, const CompactFilter& alongRows, const CompactFilter& alongColumns) const {
    for (std::int64_t row = 0; row < size_.rows; ++row)
      FilterInPlace(data + row * size_.columns, size_.columns, 1, alongRows);
    for (std::int64_t column = 0; column < size_.columns; ++column)
      FilterInPlace(data + column, size_.rows, size_.columns, alongColumns);
  }

 private:
  void FilterInPlace(double* first, std::int64_t length, std::int64_t stride,
                     const CompactFilter& filter) const {
    for (std::int64_t i = 0; i < length; ++i) line_[i] = first[i * stride];
    FilterLine(line_.Get(), filter.whole, StepOfLevel(level_, length), length, out_.Get());
    for (std::int64_t i = 0; i < length; ++i) first[i * stride] = out_[i];
  }

  int level_;
  ImageSize size_;
  WorkArray<double> line_;
  WorkArray<double> out_;
};

// The same in one sweep over the rows.
class SweepFilter {
 public:
  SweepFilter(int level, ImageSize size)
      : size_(size),
        step_(StepOfLevel(level, size.rows)),
        line_(size.columns, StepOfLevel(level, size.columns), kReach),
        window_(size, step_, kReach) {}
  explicit operator bool() const { return line_ && window_; }

  void Run(double* data, const CompactFilter& alongRows, const CompactFilter& alongColumns) const {
    SweepRows(
        size_.rows, kReach * step_,
        [&](std::int64_t row) {
          std::copy_n(data + row * size_.columns, size_.columns, line_.Row());
          line_.Extend();
          line_.Filter(alongRows, window_.Row(row));
        },
        [&](std::int64_t row) { window_.FilterAcross(alongColumns, row, data + row * size_.columns); });
  }

 private:
  ImageSize size_;
  std::int64_t step_;
  ExtendedRow line_;
  RowWindow window_;
};

// What the zeros of a dilated filter add: NaN where one of them meets what is not finite, and nothing else.
// The samples under the filter are counted as it slides on, since at high levels there are many of them.
void AddZeroTaps(const double* line, WaveletFilter filter, std::int64_t step, std::int64_t n, double* out) {
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

// Filters each subband with the low and the high filter that made it, or that rebuild from it.
template <class Filter>
void RunOnAll(const Filter& filter, const Subbands& subbands, const CompactFilter& low,
              const CompactFilter& high) {
  filter.Run(subbands.approx, low, low);
  filter.Run(subbands.detailRows, low, high);
  filter.Run(subbands.detailCols, high, low);
  filter.Run(subbands.detailDiag, high, high);
}

bool AnalyseEveryTap(const RowReader& image, int level, ImageSize size, const Subbands& subbands) {
  const LineFilter lines(level, size);
  if (!lines) return false;
  for (std::int64_t row = 0; row < size.rows; ++row) {
    const std::int64_t start = row * size.columns;
    image.Read(row, subbands.approx + start);
    for (double* other : {subbands.detailRows, subbands.detailCols, subbands.detailDiag})
      std::copy_n(subbands.approx + start, size.columns, other + start);
  }
  RunOnAll(lines, subbands, kSmoothing, kDifference);
  return true;
}

template <class Filter>
bool SmoothWith(const Filter& filter, double* data) {
  if (filter) filter.Run(data, kSmoothing, kSmoothing);
  return static_cast<bool>(filter);
}

template <class Filter>
bool RebuildWith(const Filter& filter, const Subbands& subbands) {
  if (!filter) return false;
  RunOnAll(filter, subbands, kLowRebuilding, kHighRebuilding);
  return true;
}

template <class T>
void AddSubbands(const Subbands& subbands, std::int64_t count, T* image) {
  MTH_SELECT(AddFourLines<T>)
  (subbands.approx, subbands.detailRows, subbands.detailCols, subbands.detailDiag, count, image);
}

bool MaySweep(const double* data, int level, ImageSize size) {
  return level >= 0 && MaySkipZeroTaps(data, size.rows * size.columns);
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
  if (!MaySkipZeroTaps(line, n)) AddZeroTaps(line, filter, step, n, out);
}

bool Analyse(const MTH_MATRIX& image, int level, ImageSize size, const Subbands& subbands) {
  const RowReader reader(image, size);
  const double* const own = image.GetEDataAddress();
  const bool isInPlace = own != nullptr && (own == subbands.approx || own == subbands.detailRows ||
                                            own == subbands.detailCols || own == subbands.detailDiag);
  // In place, rows that have been read are gone when a later one needs every tap.
  if (level < 0 || (isInPlace && !MaySkipZeroTaps(own, std::int64_t{image.GetNbRows()} * image.GetNbCols())))
    return AnalyseEveryTap(reader, level, size, subbands);
  const std::int64_t across = StepOfLevel(level, size.rows);
  const ExtendedRow line(size.columns, StepOfLevel(level, size.columns), kAnalysisReach);
  const RowWindow smooth(size, across, kAnalysisReach);
  const RowWindow differences(size, across, kAnalysisReach);
  if (!line || !smooth || !differences) return false;
  bool maySkipZeroTaps = true;
  SweepRows(
      size.rows, kAnalysisReach * across,
      [&](std::int64_t row) {
        maySkipZeroTaps = reader.Read(row, line.Row()) && maySkipZeroTaps;
        line.Extend();
        line.Split(smooth.Row(row), differences.Row(row));
      },
      [&](std::int64_t row) {
        const std::int64_t start = row * size.columns;
        smooth.SplitAcross(row, subbands.approx + start, subbands.detailRows + start);
        differences.SplitAcross(row, subbands.detailCols + start, subbands.detailDiag + start);
      });
  return maySkipZeroTaps || AnalyseEveryTap(reader, level, size, subbands);
}

bool Smooth(double* data, int level, ImageSize size) {
  return MaySweep(data, level, size) ? SmoothWith(SweepFilter(level, size), data)
                                     : SmoothWith(LineFilter(level, size), data);
}

bool Rebuild(const Subbands& subbands, int level, MTH_MATRIX& image) {
  const ImageSize size{image.GetNbRows(), image.GetNbCols()};
  const bool maySweep =
      MaySweep(subbands.approx, level, size) && MaySweep(subbands.detailRows, level, size) &&
      MaySweep(subbands.detailCols, level, size) && MaySweep(subbands.detailDiag, level, size);
  const bool isDone = maySweep ? RebuildWith(SweepFilter(level, size), subbands)
                               : RebuildWith(LineFilter(level, size), subbands);
  if (!isDone) return false;
  const std::int64_t count = size.rows * size.columns;
  if (image.GetEDataAddress() != nullptr) {
    AddSubbands(subbands, count, image.GetEDataAddress());
  } else {
    AddSubbands(subbands, count, image.GetFDataAddress());
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
  for (std::int64_t row = 0; row < rows; ++row) {
    std::fill_n(sums, columns, 0.0);
    for (std::int64_t k = -reach; k <= reach; ++k) {
      MTH_SELECT(AddScaledSquares)
      (values + MirrorIndex(row + k, rows) * columns, scale, weightAt(k), columns, sums);
    }
    for (std::int64_t i = 1; i <= reach; ++i) {
      sums[-i] = sums[MirrorIndex(-i, columns)];
      sums[columns - 1 + i] = sums[MirrorIndex(columns - 1 + i, columns)];
    }
    double* const out = means + row * columns;
    std::fill_n(out, columns, 0.0);
    for (std::int64_t k = -reach; k <= reach; ++k) MTH_SELECT(AddScaled)(sums + k, weightAt(k), columns, out);
  }
  return true;
}

}  // namespace mth_internal
