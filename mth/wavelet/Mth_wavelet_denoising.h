#pragma once

#include "mth/matrix/Mth_matrix.h"
#include "std/Std_export.h"

/// Removes the noise of a magnitude MR image by shrinking its undecimated wavelet coefficients.
///
/// The transform is separable, along rows and then along columns, and does not subsample: every subband has
/// the size of the image, and a shifted image has shifted subbands. At level j the taps of a filter lie
/// 2^j samples apart; a line goes on beyond its ends as its mirror image, edge sample repeated, as often as
/// the filter needs. The filters are the quadratic spline wavelet's:
///
/// | filter | role | taps |
/// |---|---|---|
/// | H | smoothing | 0.125, 0.375, 0.375, 0.125, 0 |
/// | G | differences | 0, 0.5, -0.5, 0, 0 |
/// | L | rebuilding from H | 0, 0, 0.125, 0.375, 0.375, 0.125, 0 |
/// | K | rebuilding from G | 0, -0.03125, -0.21875, -0.6875, 0.6875, 0.21875, 0.03125 |
///
/// Forward and inverse transform of one level give the image back, but for rounding, except within 3 2^j
/// samples of the start and 2 2^j of the end of a line: the mirror image of a line's coefficients is not that
/// of the line. It is so by intention.
///
/// Subbands are the caller's row-major arrays of rows x columns doubles. Sums run over the taps in ascending
/// order, so that a result is the same to the last bit on every machine. A level counts from 0; below 0 the
/// last tap of a filter is all that is left of it, and a level above 30 counts as 30. With a null argument,
/// without memory or for an image without rows or columns nothing is written.
///
/// @see  Mallat and Zhong, IEEE Trans. Pattern Analysis and Machine Intelligence 14 (1992) 710-732.
class MTH_EXPORT MTH_WAVELET_DENOISING {
 public:
  /// Copies the image, with its element type; threshold factor 2, window size 5. The caller keeps the image.
  explicit MTH_WAVELET_DENOISING(MTH_MATRIX* image);
  MTH_WAVELET_DENOISING(const MTH_WAVELET_DENOISING&) = delete;
  MTH_WAVELET_DENOISING& operator=(const MTH_WAVELET_DENOISING&) = delete;
  /// Frees the working image too.
  ~MTH_WAVELET_DENOISING();

  /// How many noise levels a coefficient's energy has to stand above to count as signal.
  double GetThrFactor() const { return thresholdFactor_; }
  void SetThrFactor(double factor) { thresholdFactor_ = factor; }
  /// Side, in pixels, of the neighbourhood that supports or contradicts a coefficient.
  int GetWindowSize() const { return windowSize_; }
  void SetWindowSize(const int size) { windowSize_ = size; }

  /// The working image: a copy of the input, after ApplyDenoisingMRImage the result. It belongs to this
  /// object.
  /// @return  null when the object was given no image, or had no memory for its copy.
  MTH_MATRIX* GetImage() const { return image_; }

  /// Filters one line of n samples: out[i] = sum over k of filter[k] signal[i + (c - k) 2^level], with
  /// c = (filterLength - 1) / 2, the signal going on as its mirror image.
  /// @param out  n samples; must not overlap the signal.
  void WaveletTransform1D(double* signal, double* filter, double* out, int level, int n,
                          int filterLength) const;
  /// One level of the transform of `image` (of its first rows x cols elements; those that it does not have
  /// count 0).
  /// @param approx      H along rows and columns.
  /// @param detailRows  H along rows, G along columns: differences between rows.
  /// @param detailCols  G along rows, H along columns: differences between columns.
  /// @param detailDiag  G along both.
  void RedundantWaveletTransform(MTH_MATRIX* image, double* approx, double* detailRows, double* detailCols,
                                 double* detailDiag, int level, int rows, int cols) const;
  /// Smooths an array in place with H along rows and columns: the `approx` subband alone.
  void ComputeApproximation(double* data, int level, int rows, int cols) const;
  /// Rebuilds all elements of `image` from the four subbands of one level, which are overwritten.
  void RedundantInverseWaveletTransform(MTH_MATRIX* image, double* approx, double* detailRows,
                                        double* detailCols, double* detailDiag, int level) const;

 private:
  MTH_MATRIX* image_;
  double thresholdFactor_ = 2.0;
  int windowSize_ = 5;
};
