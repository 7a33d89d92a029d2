#pragma once

#ifndef MTH_WITHOUT_ZLIB  // as a compiler for another machine may be
#include <zlib.h>
#endif

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <numbers>
#include <random>
#include <string>
#include <vector>

#include "mth/matrix/Mth_matrix.h"
#include "mth/wavelet/Mth_wavelet_denoising.h"

namespace mth_test {

/// An image that is known without noise, and what "percent of noise" refers to.
struct TrueImage {
  MTH_MATRIX image;
  double brightestTissue;
};

/// Piecewise constant, 256 x 256: two discs, a ring, a square, bars of 1 to 8 pixels, in three grey levels.
inline TrueImage Phantom() {
  constexpr int kSide = 256;
  MTH_MATRIX image(kSide, kSide, 0);
  for (int r = 0; r < kSide; ++r) {
    for (int c = 0; c < kSide; ++c) {
      const double fromLeft = std::hypot(r - 80, c - 80);
      const double fromRight = std::hypot(r - 80, c - 190);
      double value = 100.0;
      if (fromLeft < 50.0) value = 150.0;
      if (fromLeft < 25.0) value = 200.0;
      if (fromRight < 40.0 && fromRight > 25.0) value = 200.0;
      if (r >= 160 && r < 224 && c >= 30 && c < 94) value = 200.0;
      for (int width = 1, start = 130; width <= 8; start += width + 12, width *= 2) {
        if (r >= 150 && r < 230 && c >= start && c < start + width) value = 200.0;
      }
      image.Set(r, c, value);
    }
  }
  return {image, 200.0};
}

#ifdef MTH_WITHOUT_ZLIB
inline constexpr bool kReadsHead = false;
inline TrueImage HeadSlice(const std::string&) {
  return {MTH_MATRIX(), 0.0};
}
#else
inline constexpr bool kReadsHead = true;
/// The MR slice of data/ with the skull; an unallocated image when it cannot be read.
inline TrueImage HeadSlice(const std::string& path) {
  constexpr int kRows = 217;
  constexpr int kColumns = 181;
  constexpr int kHeaderBytes = 352;
  constexpr double kWhiteMatter = 117.0;
  std::vector<std::uint8_t> bytes(std::size_t{kHeaderBytes} + std::size_t{kRows} * kColumns);
  const gzFile file = gzopen(path.c_str(), "rb");
  if (file == nullptr) return {MTH_MATRIX(), 0.0};
  const int wanted = static_cast<int>(bytes.size());
  const bool isRead = gzread(file, bytes.data(), static_cast<unsigned>(wanted)) == wanted;
  gzclose(file);
  if (!isRead) return {MTH_MATRIX(), 0.0};
  MTH_MATRIX image(kRows, kColumns, 0);
  auto byte = bytes.begin() + kHeaderBytes;
  for (int r = 0; r < kRows; ++r) {
    for (int c = 0; c < kColumns; ++c) image.Set(r, c, static_cast<double>(*byte++));
  }
  return {image, kWhiteMatter};
}
#endif

/// Normal deviates that are the same with every compiler.
class NormalDeviates {
 public:
  explicit NormalDeviates(unsigned seed) : engine_(seed) {}
  double operator()() {
    const double radius = std::sqrt(-2.0 * std::log(Uniform()));
    return radius * std::cos(2.0 * std::numbers::pi * Uniform());
  }

 private:
  double Uniform() { return (static_cast<double>(engine_()) + 0.5) / 4294967296.0; }
  std::mt19937 engine_;
};

/// Magnitude of the image with normal noise of that deviation in both channels, in whole grey levels.
inline MTH_MATRIX WithRicianNoise(const MTH_MATRIX& image, double deviation, unsigned seed) {
  NormalDeviates normal(seed);
  MTH_MATRIX noisy(image.GetNbRows(), image.GetNbCols(), 0);
  for (int r = 0; r < image.GetNbRows(); ++r) {
    for (int c = 0; c < image.GetNbCols(); ++c) {
      const double real = image.Get(r, c) + deviation * normal();
      noisy.Set(r, c, std::round(std::hypot(real, deviation * normal())));
    }
  }
  return noisy;
}

/// Peak signal-to-noise ratio in decibels, the peak being the truth's brightest tissue.
inline double Psnr(const MTH_MATRIX& image, const TrueImage& truth) {
  double sum = 0.0;
  for (int r = 0; r < image.GetNbRows(); ++r) {
    for (int c = 0; c < image.GetNbCols(); ++c) {
      const double error = image.Get(r, c) - truth.image.Get(r, c);
      sum += error * error;
    }
  }
  const double mean = sum / (static_cast<double>(image.GetNbRows()) * image.GetNbCols());
  return 10.0 * std::log10(truth.brightestTissue * truth.brightestTissue / mean);
}

/// Median filter of 3 x 3 pixels, edge pixels repeated.
inline MTH_MATRIX MedianFiltered(const MTH_MATRIX& image) {
  const int rows = image.GetNbRows();
  const int columns = image.GetNbCols();
  MTH_MATRIX filtered(rows, columns, 0);
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < columns; ++c) {
      std::array<double, 9> values;
      for (int k = 0; k < 9; ++k) {
        values[static_cast<std::size_t>(k)] =
            image.Get(std::clamp(r + k / 3 - 1, 0, rows - 1), std::clamp(c + k % 3 - 1, 0, columns - 1));
      }
      std::nth_element(values.begin(), values.begin() + 4, values.end());
      filtered.Set(r, c, values[4]);
    }
  }
  return filtered;
}

/// The image without the details that a soft threshold of sqrt(2 ln N) noise levels takes, on the transform,
/// with the mirror margin and with the noise levels of the denoising.
/// @param deviation  of the noise in the image.
inline MTH_MATRIX SoftThresholded(const MTH_MATRIX& image, double deviation) {
  constexpr int kLevels = 4;
  constexpr int kMargin = 45;
  constexpr double kDiagonal[] = {1.0, 0.22, 0.09, 0.04};
  constexpr double kOthers[] = {0.79, 0.25, 0.11, 0.05};
  const std::unique_ptr<MTH_MATRIX> wide(image.AddColBySymetry(kMargin));
  const std::unique_ptr<MTH_MATRIX> work(wide->AddRowBySymetry(kMargin));
  const int rows = work->GetNbRows();
  const int columns = work->GetNbCols();
  const auto count = static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
  const double pixels = static_cast<double>(image.GetNbRows()) * image.GetNbCols();
  const double factor = std::sqrt(2.0 * std::log(pixels)) * deviation / 2.0;
  const MTH_WAVELET_DENOISING wavelet(nullptr);
  double* const approx = work->GetEDataAddress();
  std::vector<std::array<std::vector<double>, 3>> details(kLevels);
  for (int level = 0; level < kLevels; ++level) {
    auto& bands = details[static_cast<std::size_t>(level)];
    for (auto& band : bands) band.resize(count);
    wavelet.RedundantWaveletTransform(work.get(), approx, bands[0].data(), bands[1].data(), bands[2].data(),
                                      level, rows, columns);
    for (std::size_t band = 0; band < bands.size(); ++band) {
      const double threshold = factor * (band == 2 ? kDiagonal : kOthers)[level];
      for (double& value : bands[band])
        value = std::copysign(std::max(0.0, std::abs(value) - threshold), value);
    }
  }
  for (int level = kLevels - 1; level >= 0; --level) {
    auto& bands = details[static_cast<std::size_t>(level)];
    wavelet.RedundantInverseWaveletTransform(work.get(), approx, bands[0].data(), bands[1].data(),
                                             bands[2].data(), level);
  }
  MTH_MATRIX result(image.GetNbRows(), image.GetNbCols(), 0);
  for (int r = 0; r < image.GetNbRows(); ++r) {
    for (int c = 0; c < image.GetNbCols(); ++c)
      result.Set(r, c, std::max(0.0, std::round(work->Get(r + kMargin, c + kMargin))));
  }
  return result;
}

/// Standard deviation of the grey levels of a rectangle.
inline double Deviation(const MTH_MATRIX& image, int firstRow, int firstColumn, int rows, int columns) {
  double sum = 0.0;
  double squares = 0.0;
  for (int r = firstRow; r < firstRow + rows; ++r) {
    for (int c = firstColumn; c < firstColumn + columns; ++c) {
      sum += image.Get(r, c);
      squares += image.Get(r, c) * image.Get(r, c);
    }
  }
  const double count = static_cast<double>(rows) * columns;
  return std::sqrt(squares / count - sum / count * (sum / count));
}

/// How much is left of the steps of that height, or with height 0 of all steps, between neighbouring pixels
/// of the truth, along rows and columns: the mean difference across them of the `width` pixels on either
/// side, where the truth is constant on both, over the height.
inline double ContrastKept(const MTH_MATRIX& image, const MTH_MATRIX& truth, double height, int width) {
  double kept = 0.0;
  double whole = 0.0;
  const auto addSteps = [&](int lines, int length, auto at) {
    for (int line = 0; line < lines; ++line) {
      for (int i = width - 1; i + width < length; ++i) {
        const double low = at(truth, line, i);
        const double high = at(truth, line, i + 1);
        const double step = std::abs(high - low);
        if (step == 0.0 || (height != 0.0 && step != height)) continue;
        bool isStep = true;
        double difference = 0.0;
        for (int k = 0; k < width; ++k) {
          isStep = isStep && at(truth, line, i - k) == low && at(truth, line, i + 1 + k) == high;
          difference += at(image, line, i + 1 + k) - at(image, line, i - k);
        }
        if (!isStep) continue;
        kept += (high > low ? difference : -difference) / width;
        whole += step;
      }
    }
  };
  addSteps(truth.GetNbRows(), truth.GetNbCols(),
           [](const MTH_MATRIX& m, int line, int i) { return m.Get(line, i); });
  addSteps(truth.GetNbCols(), truth.GetNbRows(),
           [](const MTH_MATRIX& m, int line, int i) { return m.Get(i, line); });
  return kept / whole;
}

}  // namespace mth_test
