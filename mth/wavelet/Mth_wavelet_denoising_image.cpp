#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <limits>

#include "mth/core/Mth_message_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/statistics/Mth_descriptive_internal.h"
#include "mth/wavelet/Mth_wavelet_denoising.h"
#include "mth/wavelet/Mth_wavelet_transform_internal.h"
#include "std/Std_display.h"

// The denoising of an image: its transform, the noise, the shrinkage of every subband, and back.

using namespace mth_internal;

namespace {

constexpr int kLevels = 4;
constexpr int kOrientations = 3;
constexpr int kDiagonal = 2;

// Deviation of the noise in each subband over that in the finest diagonal one, which is half that in the
// image: the norms of the filters' responses to one pixel.
constexpr std::array<double, kLevels> kDiagonalGains{1.0, 0.22, 0.09, 0.04};
constexpr std::array<double, kLevels> kOtherGains{0.79, 0.25, 0.11, 0.05};
constexpr double kImageGain = 2.0;

constexpr double kMedianToDeviation = 1.4825796886582654;  // of normal deviates

// The detail subbands of all levels.
class Details {
 public:
  explicit Details(std::int64_t count) : count_(count), values_(kLevels * kOrientations * count) {}
  explicit operator bool() const { return static_cast<bool>(values_); }

  double* Get(int level, int orientation) const {
    return values_.Get() + (level * kOrientations + orientation) * count_;
  }
  /// With the approximation in the image itself, which each level takes from the one before.
  Subbands Level(int level, const MTH_MATRIX& image) const {
    return {image.GetEDataAddress(), Get(level, 0), Get(level, 1), Get(level, kDiagonal)};
  }

 private:
  std::int64_t count_;
  WorkArray<double> values_;
};

double NoiseLevel(double noise, int level, int orientation) {
  const auto& gains = orientation == kDiagonal ? kDiagonalGains : kOtherGains;
  return noise * gains[static_cast<std::size_t>(level)];
}

ImageSize SizeOf(const MTH_MATRIX& image) {
  return {image.GetNbRows(), image.GetNbCols()};
}

// The image in doubles, with a margin of its mirror image; pixels that are not finite are 0.
MTH_MATRIX WithMargin(const MTH_MATRIX& image, int margin) {
  constexpr int kDoubleElements = 0;
  const int rows = image.GetNbRows();
  const int columns = image.GetNbCols();
  MTH_MATRIX extended;
  if (std::max(rows, columns) > std::numeric_limits<int>::max() - 2 * margin) return extended;
  extended.Allocate(rows + 2 * margin, columns + 2 * margin, kDoubleElements);
  for (int r = 0; r < extended.GetNbRows(); ++r) {
    double* const target = extended.GetEDataAddress() + std::int64_t{r} * extended.GetNbCols();
    const auto source = static_cast<int>(MirrorIndex(r - margin, rows));
    for (int c = 0; c < extended.GetNbCols(); ++c) {
      const double value = image.Get(source, static_cast<int>(MirrorIndex(c - margin, columns)));
      target[c] = std::isfinite(value) ? value : 0.0;
    }
  }
  return extended;
}

// Whole, non-negative grey levels from those of an image with a margin.
void StoreRounded(const MTH_MATRIX& extended, int margin, MTH_MATRIX& image) {
  for (int r = 0; r < image.GetNbRows(); ++r) {
    for (int c = 0; c < image.GetNbCols(); ++c)
      image.Set(r, c, std::max(0.0, std::round(extended.Get(r + margin, c + margin))));
  }
}

// The parents of a level's coefficients: their values, energies and, for all three orientations alike, the
// mean of those. One level up a feature of the image stands 2^level samples nearer to the start of each line,
// by the filters' centring: that is where parents are taken from.
class Parents {
 public:
  explicit Parents(ImageSize size)
      : size_(size), count_(size.rows * size.columns), values_((2 * kOrientations + 1) * count_) {}
  explicit operator bool() const { return static_cast<bool>(values_); }

  MTH_WAVELET_DENOISING::PARENTS Get(int orientation) const {
    return {Values(orientation), Energy(orientation), Siblings()};
  }

  /// Takes for each place what stands `shift` rows and columns before it, or as far as there are any.
  void SetValues(int orientation, const double* source, std::int64_t shift, double noiseLevel) {
    for (std::int64_t r = 0; r < size_.rows; ++r) {
      const double* const from = source + std::max<std::int64_t>(0, r - shift) * size_.columns;
      double* const to = Values(orientation) + r * size_.columns;
      for (std::int64_t c = 0; c < size_.columns; ++c)
        to[c] = from[std::max<std::int64_t>(0, c - shift)] / noiseLevel;
    }
  }

  /// @return  false without memory.
  bool MeasureEnergies(std::int64_t reach) {
    for (int o = 0; o < kOrientations; ++o) {
      if (!MeanSquares(Values(o), size_, reach, 1.0, Energy(o))) return false;
    }
    const double* const rows = Energy(0);
    const double* const columns = Energy(1);
    const double* const diagonal = Energy(kDiagonal);
    double* const mean = Siblings();
    for (std::int64_t i = 0; i < count_; ++i) mean[i] = (rows[i] + columns[i] + diagonal[i]) / 3.0;
    return true;
  }

 private:
  double* Values(int orientation) const { return values_.Get() + orientation * count_; }
  double* Energy(int orientation) const { return values_.Get() + (kOrientations + orientation) * count_; }
  double* Siblings() const { return values_.Get() + 2 * kOrientations * count_; }

  ImageSize size_;
  std::int64_t count_;
  WorkArray<double> values_;
};

// For each coefficient of the finest diagonal subband, whether it sees more than zeros: it is made of the
// pixel at its place and of the next ones along both axes, the last one counting again at the ends.
void FindSeen(const MTH_MATRIX& image, bool* isSeen) {
  const ImageSize size = SizeOf(image);
  for (std::int64_t r = 0; r < size.rows; ++r) {
    const double* const row = image.GetEDataAddress() + r * size.columns;
    const double* const next = r + 1 < size.rows ? row + size.columns : row;
    for (std::int64_t c = 0; c < size.columns; ++c) {
      const std::int64_t beside = std::min(c + 1, size.columns - 1);
      isSeen[r * size.columns + c] =
          row[c] != 0.0 || row[beside] != 0.0 || next[c] != 0.0 || next[beside] != 0.0;
    }
  }
}

// Deviation of the noise in the finest diagonal subband, of what sees more than zeros there; negative without
// memory.
double FinestNoise(const MTH_MATRIX& image) {
  constexpr double kNoMemory = -1.0;
  MTH_MATRIX work = WithMargin(image, 0);
  if (!work.IsAllocated()) return kNoMemory;
  const ImageSize size = SizeOf(work);
  const std::int64_t count = size.rows * size.columns;
  const WorkArray<bool> isSeen(count);
  const WorkArray<double> others(2 * count);
  MTH_MATRIX diagonal(work);
  if (!isSeen || !others || !diagonal.IsAllocated()) return kNoMemory;
  const Subbands subbands{work.GetEDataAddress(), others.Get(), others.Get() + count,
                          diagonal.GetEDataAddress()};
  FindSeen(work, isSeen.Get());
  if (!Analyse(work, 0, size, subbands)) return kNoMemory;
  double median = 0.0;
  return MedianOfMagnitudes(diagonal, median, isSeen.Get()) ? kMedianToDeviation * median : kNoMemory;
}

}  // namespace

bool MTH_WAVELET_DENOISING::ApplyDenoisingMRImage() {
  // How far from the borders four levels are not rebuilt exactly.
  constexpr int kMargin = 3 * (1 + 2 + 4 + 8);
  if (image_ == nullptr || !image_->IsAllocated()) {
    ShowInformation("La matrice d'entrée est nulle!");
    return false;
  }
  if (image_->GetNbRows() == 0 || image_->GetNbCols() == 0) return true;
  const double noise = FinestNoise(*image_);
  const bool isNoisy = noise >= kLeastNoise / kDiagonalGains.back();
  const int margin = isNoisy ? kMargin : 0;
  MTH_MATRIX work = WithMargin(*image_, margin);
  if (noise < 0.0 || !work.IsAllocated()) return false;
  if (isNoisy && !ShrinkDetails(work, noise)) return false;
  StoreRounded(work, margin, *image_);
  return true;
}

double MTH_WAVELET_DENOISING::EstimateNoiseDeviation() const {
  if (image_ == nullptr || image_->GetNbRows() <= 0 || image_->GetNbCols() <= 0) return 0.0;
  return std::max(0.0, kImageGain * FinestNoise(*image_));
}

bool MTH_WAVELET_DENOISING::ShrinkDetails(MTH_MATRIX& image, double noise) const {
  const ImageSize size = SizeOf(image);
  const int rows = image.GetNbRows();
  const int columns = image.GetNbCols();
  const std::int64_t count = size.rows * size.columns;
  const Details details(count);
  const WorkArray<double> energy(count);
  Parents parents(size);
  if (!details || !energy || !parents) return false;
  const auto setParents = [&](int level) {
    const int above = std::min(level + 1, kLevels - 1);
    const std::int64_t shift = above == level ? 0 : std::int64_t{1} << level;
    for (int o = 0; o < kOrientations; ++o)
      parents.SetValues(o, details.Get(above, o), shift, NoiseLevel(noise, above, o));
    // Samples of the level above lie twice as far apart.
    return parents.MeasureEnergies(Reach(rows, columns) / 2);
  };
  const auto shrink = [&](int level, int o) {
    double* const detail = details.Get(level, o);
    const double noiseLevel = NoiseLevel(noise, level, o);
    return AdaptEnergy(detail, noiseLevel, energy.Get(), rows, columns) &&
           RemoveNoiseAdaptative(detail, energy.Get(), parents.Get(o), noiseLevel, rows, columns);
  };

  bool goesOn = true;
  for (int level = 0; level < kLevels; ++level)
    goesOn = goesOn && !Std_IsCancelRequested() && Analyse(image, level, size, details.Level(level, image));
  for (int level = 0; level < kLevels; ++level) {
    goesOn = goesOn && setParents(level);
    for (int o = 0; o < kOrientations; ++o) goesOn = goesOn && !Std_IsCancelRequested() && shrink(level, o);
  }
  for (int level = kLevels - 1; level >= 0; --level)
    goesOn = goesOn && !Std_IsCancelRequested() && Rebuild(details.Level(level, image), level, image);
  return goesOn;
}
