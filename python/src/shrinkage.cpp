#include "shrinkage.h"

#include <algorithm>
#include <cmath>

#include "arrays.h"
#include "call.h"
#include "mth/wavelet/Mth_wavelet_denoising.h"

namespace mth_python {
namespace {

constexpr int kLevels = 2;
constexpr int kMargin = 8;  // mirrored voxels around the plane: near borders the inverse is not exact

// Variances that noise of variance 1 has in a detail between rows or columns, and in the diagonal one:
// products of the squared norms of the filters that lead there, (1 3 3 1) / 8 and (1 -1) / 2, at the second
// level after (1 3 3 1) / 8.
struct BandVariances {
  double edge;
  double diagonal;
};
constexpr double kLow[] = {20.0 / 64.0, 580.0 / 4096.0};
constexpr double kHigh[] = {2.0 / 4.0, 28.0 / 256.0};
constexpr BandVariances kVariances[] = {{kLow[0] * kHigh[0], kHigh[0] * kHigh[0]},
                                        {kLow[1] * kHigh[1], kHigh[1] * kHigh[1]}};

// Place i of a line of `count` that goes on beyond its ends as its mirror image.
int Mirrored(int i, int count) {
  const int period = 2 * count;
  const int place = ((i % period) + period) % period;
  return place < count ? place : period - 1 - place;
}

double MagnitudeOf(double value) {
  return value > 0.0 && std::isfinite(value) ? value : 0.0;
}

// Deviation of the noise from the median magnitude of the finest details, every second one along both axes.
double NoiseOf(const double* diagonal, int rows, int columns) {
  constexpr double kMedianToDeviation = 1.4826022185056018;  // of normal deviates
  std::vector<double> magnitudes;
  magnitudes.reserve(static_cast<std::size_t>(rows / 2 + 1) * static_cast<std::size_t>(columns / 2 + 1));
  for (int y = 0; y < rows; y += 2) {
    for (int x = 0; x < columns; x += 2)
      magnitudes.push_back(std::abs(diagonal[std::int64_t{y} * columns + x]));
  }
  const auto middle = magnitudes.begin() + static_cast<std::ptrdiff_t>(magnitudes.size() / 2);
  std::nth_element(magnitudes.begin(), middle, magnitudes.end());
  return kMedianToDeviation * *middle / std::sqrt(kVariances[0].diagonal);
}

// Brings all details nearer to 0 by the variance of the noise over the deviation of the signal.
void Shrink(double* band, std::int64_t count, double noiseVariance) {
  double squares[4] = {};
  for (std::int64_t i = 0; i < count; ++i) squares[i % 4] += band[i] * band[i];
  const double mean = ((squares[0] + squares[1]) + (squares[2] + squares[3])) / static_cast<double>(count);
  const double signal = mean - noiseVariance;
  if (signal <= 0.0) {
    std::fill_n(band, count, 0.0);
    return;
  }
  const double threshold = noiseVariance / std::sqrt(signal);
  for (std::int64_t i = 0; i < count; ++i) band[i] -= std::min(std::max(band[i], -threshold), threshold);
}

// A plane with its margin, and its subbands.
class Shrinkage {
 public:
  Shrinkage(const double* image, int rows, int columns)
      : rows_(rows + 2 * kMargin),
        columns_(columns + 2 * kMargin),
        count_(std::int64_t{rows_} * columns_),
        values_(new double[static_cast<std::size_t>(count_ * (1 + 4 * kLevels))]) {
    std::vector<int> places;
    for (int x = 0; x < columns_; ++x) places.push_back(Mirrored(x - kMargin, columns));
    double* out = Plane(0);
    for (int y = 0; y < rows_; ++y) {
      const double* const row = image + std::int64_t{Mirrored(y - kMargin, rows)} * columns;
      for (const int place : places) *out++ = MagnitudeOf(row[place]);
    }
  }

  // Replaces the plane; a deviation of 0 is estimated. Returns the one that was used; false without memory.
  bool Run(double& noise) {
    for (int level = 0; level < kLevels; ++level) {
      mth_internal::BorrowedMatrix image(level == 0 ? Plane(0) : Band(level - 1, 0), rows_, columns_);
      if (!transform_.RedundantWaveletTransform(image.Get(), Band(level, 0), Band(level, 1), Band(level, 2),
                                                Band(level, 3), level, rows_, columns_))
        return false;
      if (level == 0 && !(noise > 0.0)) noise = NoiseOf(Band(0, 3), rows_, columns_);
      for (int band = 1; band < 4; ++band) {
        const BandVariances& variances = kVariances[level];
        Shrink(Band(level, band), count_, noise * noise * (band == 3 ? variances.diagonal : variances.edge));
      }
    }
    for (int level = kLevels - 1; level >= 0; --level) {
      mth_internal::BorrowedMatrix image(level == 0 ? Plane(0) : Band(level - 1, 0), rows_, columns_);
      if (!transform_.RedundantInverseWaveletTransform(image.Get(), Band(level, 0), Band(level, 1),
                                                       Band(level, 2), Band(level, 3), level))
        return false;
    }
    return true;
  }

  template <class T>
  void Copy(T* out) const {
    for (int y = kMargin; y < rows_ - kMargin; ++y) {
      const double* const row = values_.get() + std::int64_t{y} * columns_;
      for (int x = kMargin; x < columns_ - kMargin; ++x) *out++ = static_cast<T>(MagnitudeOf(row[x]));
    }
  }

 private:
  double* Plane(int i) { return values_.get() + i * count_; }
  // 0 is the approximation, 3 the diagonal detail.
  double* Band(int level, int band) { return Plane(1 + 4 * level + band); }

  int rows_;
  int columns_;
  std::int64_t count_;
  std::unique_ptr<double[]> values_;
  MTH_WAVELET_DENOISING transform_{nullptr};
};

template <class T>
py::tuple DenoiseAs(const py::array& given, double noise) {
  const Array<double> image = Contiguous<double>(given);
  const int rows = ToInt(image.shape(0), "image");
  const int columns = ToInt(image.shape(1), "image");
  ToInt((image.shape(0) + 2 * kMargin) * (image.shape(1) + 2 * kMargin), "image");
  Array<T> result({image.shape(0), image.shape(1)});
  if (image.size() == 0) return py::make_tuple(result, noise);
  T* const out = result.mutable_data();
  bool isDone = false;
  Call call;
  call.Run([&] {
    Shrinkage plane(image.data(), rows, columns);
    isDone = plane.Run(noise);
    if (isDone) plane.Copy(out);
  });
  if (!isDone) ThrowMemoryError();
  return py::make_tuple(result, noise);
}

}  // namespace

py::tuple DenoiseQuickly(const py::handle& value, double noise) {
  const py::array array = RealArray(value, "image");
  if (array.ndim() != 2)
    ThrowValueError("image has " + std::to_string(array.ndim()) + " dimensions, where a plane is needed");
  return IsFloat(array) ? DenoiseAs<float>(array, noise) : DenoiseAs<double>(array, noise);
}

}  // namespace mth_python
