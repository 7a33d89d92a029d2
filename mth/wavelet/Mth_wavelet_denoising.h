#pragma once

#include <concepts>
#include <cstdint>

#include "mth/matrix/Mth_matrix.h"
#include "std/Std_export.h"

/// Removes the noise of a magnitude MR image by shrinking its undecimated wavelet coefficients.
///
/// Construct it with an image, set the threshold factor and the window if the defaults do not fit, call
/// ApplyDenoisingMRImage and read the result with GetImage.
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
/// last tap of a filter is all that is left of it, and a level above 30 counts as 30. Values that are not
/// finite spread as far as a filter with all its zeros reaches, and cost little time.
///
/// The operations on planes return false, with nothing written, for a null argument, a negative size, an
/// unallocated image to rebuild and without memory; for an image without rows or columns there is nothing to
/// do, and they return true.
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

  /// How many noise levels a coefficient has to stand out to count as signal; its sign does not matter. A
  /// larger factor smooths more.
  double GetThrFactor() const { return thresholdFactor_; }
  /// @copydoc GetThrFactor
  void SetThrFactor(double factor) { thresholdFactor_ = factor; }
  /// Side, in pixels, of the neighbourhood that supports or contradicts a coefficient. An even side counts as
  /// the next odd one, one below 1 as 1.
  int GetWindowSize() const { return windowSize_; }
  /// @copydoc GetWindowSize
  void SetWindowSize(const int size) { windowSize_ = size; }

  /// The working image: a copy of the input, after ApplyDenoisingMRImage the result. It belongs to this
  /// object.
  /// @return  null when the object was given no image, or had no memory for its copy.
  MTH_MATRIX* GetImage() const { return image_; }

  /// Removes the noise of the working image: transforms it over four levels, multiplies every detail
  /// coefficient by a factor in [0, 1] and rebuilds it, rounded to whole, non-negative grey levels.
  ///
  /// The noise of each subband follows from that of the finest diagonal one, of deviation s: s, 0.22 s, 0.09
  /// s and 0.04 s in the diagonal subbands, 0.79 s, 0.25 s, 0.11 s and 0.05 s in the others, from the finest
  /// level on. Those are the noise gains of the filters. An image without noise, s below 2.5e-8, is only
  /// rounded; so is one of a single row or column: it has no diagonal details.
  ///
  /// The local mean of the grey levels stays: what Rician noise adds to it in the dark is not taken off. The
  /// image is transformed with a margin of 45 pixels of its mirror image, so that its borders are rebuilt as
  /// well as the rest; for each pixel of both it takes about 180 bytes of memory. Pixels that are not finite
  /// count as 0.
  /// @return  false, with the image as it was: without memory, when the display asks to cancel, or without an
  ///          allocated image, which shows "La matrice d'entrée est nulle!".
  /// @see     RemoveNoiseAdaptative; Pizurica, Philips, Lemahieu and Acheroy, IEEE Trans. Medical Imaging 22
  ///          (2003) 323-331.
  bool ApplyDenoisingMRImage();
  /// Standard deviation of the noise in the working image as it stands: 2 s, with s being 1.4825796886582654
  /// times the median of the magnitudes in the finest diagonal subband (Mth_Median), of those coefficients
  /// that see a pixel that is not exactly 0: black surroundings tell nothing of the noise. It holds where the
  /// signal is at least three times as strong as the noise, whose deviation falls by a third in the dark.
  /// @return  0 without an image or memory.
  double EstimateNoiseDeviation() const;
  /// What stands one level above the coefficients of a subband: for each the coefficient of the same place
  /// and orientation there, which by the filters' centring is 2^level rows and columns nearer to the first
  /// one. Arrays as large as the subband; the coefficients of the last level are their own parents.
  struct PARENTS {
    const double* values;    ///< in noise levels of theirs
    const double* energy;    ///< of their neighbourhoods, in noise variances
    const double* siblings;  ///< the mean of such energies over the three orientations
  };
  /// Multiplies every coefficient of a subband by a factor in [0, 1], the probability that it is signal, from
  /// its neighbourhood, its parent and the share of coefficients above the threshold, those of energy 0 left
  /// out; docs/denoising.md tells how. Without a noise level of at least 1e-9, or with a threshold factor
  /// that is not a number, every coefficient stays as it is.
  /// @param detail    rows x cols coefficients.
  /// @param energy    of each coefficient's neighbourhood in the subband, in noise variances (AdaptEnergy).
  /// @param parents   its arrays may not be null.
  /// @return          false, with nothing changed, for a null array, a count below 1 or without memory.
  bool RemoveNoiseAdaptative(double* detail, const double* energy, const PARENTS& parents, double noiseLevel,
                             int rows, int cols) const;
  /// Energy of each coefficient's neighbourhood in noise variances: the mean square over the window, with
  /// weights that fall off linearly from its centre, divided by the square of the noise level.
  /// @param energy  receives rows x cols values.
  /// @return        as RemoveNoiseAdaptative; false too for a noise level below 1e-9, and when the display
  ///                asks to cancel.
  bool AdaptEnergy(const double* detail, double noiseLevel, double* energy, int rows, int cols) const;

  /// Filters one line of n samples: out[i] = sum over k of filter[k] signal[i + (c - k) 2^level], with
  /// c = (filterLength - 1) / 2, the signal going on as its mirror image. A null argument or n < 1: nothing
  /// is written.
  /// @param out  n samples; must not overlap the signal.
  void WaveletTransform1D(double* signal, double* filter, double* out, int level, int n,
                          int filterLength) const;
  /// @copydoc WaveletTransform1D(double*,double*,double*,int,int,int)const
  template <std::same_as<double> T>
  void WaveletTransform1D(const T* signal, const T* filter, double* out, int level, int n,
                          int filterLength) const {
    WaveletTransform1D(const_cast<T*>(signal), const_cast<T*>(filter), out, level, n, filterLength);
  }
  /// One level of the transform of `image` (of its first rows x cols elements; those that it does not have
  /// count 0). Of an image of rows x cols doubles, one of the four arrays may be the elements themselves.
  /// @param approx      H along rows and columns.
  /// @param detailRows  H along rows, G along columns: differences between rows.
  /// @param detailCols  G along rows, H along columns: differences between columns.
  /// @param detailDiag  G along both.
  bool RedundantWaveletTransform(MTH_MATRIX* image, double* approx, double* detailRows, double* detailCols,
                                 double* detailDiag, int level, int rows, int cols) const;
  /// Smooths an array in place with H along rows and columns: the `approx` subband alone.
  bool ComputeApproximation(double* data, int level, int rows, int cols) const;
  /// Rebuilds all elements of `image` from the four subbands of one level, which are overwritten.
  bool RedundantInverseWaveletTransform(MTH_MATRIX* image, double* approx, double* detailRows,
                                        double* detailCols, double* detailDiag, int level) const;

 private:
  bool ShrinkDetails(MTH_MATRIX& image, double noise) const;

  std::int64_t Reach(std::int64_t rows, std::int64_t columns) const;

  // Steps of RemoveNoiseAdaptative; RATIO_LINE is the logarithm of a ratio over that of a squared magnitude,
  // which is 1 at the threshold.
  struct RATIO_LINE {
    double intercept = 0.0;
    double slope = 0.0;
  };

  double InitMask(const double* energy, std::int64_t count, unsigned char* mask) const;
  static int NeighbEn_sector(double logMagnitude);
  static void MagSectorRow(const double* logMagnitudes, std::int64_t count, unsigned char* sectors);
  static RATIO_LINE Histogramme(const double* logMagnitudes, const unsigned char* sectors,
                                const unsigned char* mask, std::int64_t count);
  static RATIO_LINE PolynomeFitting(const double* x, const double* y, const double* weights, int count);
  // These two add to logarithms of odds.
  static void ApproxLikelihoodRatio(const RATIO_LINE& line, const double* logMagnitudes, std::int64_t count,
                                    double* logOdds);
  static void ApproxPriorRatio(const double* energy, const PARENTS& parents, std::int64_t count,
                               double* logOdds);

  MTH_MATRIX* image_;
  double thresholdFactor_ = 2.0;
  int windowSize_ = 5;
};
