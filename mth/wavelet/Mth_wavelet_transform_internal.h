#pragma once

#include <cstdint>

#include "mth/matrix/Mth_matrix.h"

namespace mth_internal {

/// Taps of a filter, padding zeros included; the one at (length - 1) / 2 belongs to the sample itself.
struct WaveletFilter {
  const double* taps;
  int length;
};

struct ImageSize {
  std::int64_t rows;
  std::int64_t columns;
};

/// In grey levels: whole ones do not show less noise.
constexpr double kLeastNoise = 1e-9;

/// The four row-major arrays of one level.
struct Subbands {
  double* approx;
  double* detailRows;
  double* detailCols;
  double* detailDiag;

  bool AreComplete() const {
    return approx != nullptr && detailRows != nullptr && detailCols != nullptr && detailDiag != nullptr;
  }
};

/// The sample of a line of n that stands at `index` of the line's endless mirror image.
inline std::int64_t MirrorIndex(std::int64_t index, std::int64_t n) {
  if (index >= 0 && index < n) return index;
  const std::int64_t period = 2 * n;
  const std::int64_t place = ((index % period) + period) % period;
  return place < n ? place : period - 1 - place;
}

/// Samples between two taps of a filter at a level, for lines of n >= 1 samples; not 2^level but a smaller
/// number for the same samples when the mirror image makes it so.
std::int64_t StepOfLevel(int level, std::int64_t n);

/// Filters one line of n >= 1 samples. `out` does not overlap the line.
void FilterLine(const double* line, WaveletFilter filter, std::int64_t step, std::int64_t n, double* out);

/// @return  false, with nothing written, when there is no memory.
bool Analyse(const MTH_MATRIX& image, int level, ImageSize size, const Subbands& subbands);
/// @copydoc Analyse
bool Smooth(double* data, int level, ImageSize size);
/// @copydoc Analyse
bool Rebuild(const Subbands& subbands, int level, MTH_MATRIX& image);

/// Mean of the squares of the values times `scale` around each value, at most `reach` rows and columns away,
/// with weights that fall off linearly along both. The array goes on as its mirror image.
/// @return  false without memory, and when the host gives up a long run.
bool MeanSquares(const double* values, ImageSize size, std::int64_t reach, double scale, double* means);

}  // namespace mth_internal
