#pragma once

#include "mth/Mth_stop_reason.h"
#include "std/Std_export.h"

/// Removes the Rician noise of a magnitude MR volume, or of a plane.
///
/// Construct it with the size of the volume, set the deviation of the noise if it is known, and call Denoise.
///
/// Volumes are contiguous, the voxel (x, y, z) at values[x + nx (y + ny z)], float or double. The work is
/// done in single precision on values scaled by a power of two, and the result is the same to the last bit on
/// every machine. Axes of a single voxel take no part: a volume of one plane is a plane, whatever axis it
/// lies across. Along axes of fewer voxels than a block the blocks see the mirror image, whose noise is not
/// new: up to some per cent of it stays. Voxels that are negative, infinite or not a number count as 0 in all
/// that follows, also where they are merely copied. In the steps below, voxels of 0 stand for air whose noise
/// was cut away: as noisy values they are its mean, 1.25 s.
///
/// With s the deviation of the noise in each of the two channels that a magnitude is made of:
///  1. The coefficients of orthonormal cosine transforms of overlapping blocks that do not exceed 2.5 s are
///     set to 0, but for the constant one, and the blocks are averaged with weights of 1 / (coefficients
///     left). The mean of the result for blocks of 4 voxels a side at every position and for blocks of 6 at
///     every second one along each axis is f; from each the excess of magnitudes over the signal is taken
///     off.
///  2. The blocks of 4 of the noisy volume once more, each coefficient times P^2 / (P^2 + s^2), P being that
///     of the magnitudes that f would give on average, with weights of 1 / (sum of these factors squared);
///     the excess taken off again, this is the guide g.
///  3. Each voxel becomes the signal whose mean magnitude is (sum of w y) / (sum of w) over the noisy values
///     y of the 5 x 5 x 5 around it, with w = exp(-[D + 3.9 (difference of the means of g over 3 x 3 x 3)^2 +
///     0.7 (mean of D over 3 x 3 x 3)] / (4 h^2)), D the squared difference of g, and
///     1 / h = 1 / (1.6 s) + 1 / (0.066 B). B, the brightest tissue, is the quantile 0.95 of those values of
///     f that exceed 3 s. The weight of the voxel itself is 0.7. (A mean of squares, as is usual here, makes
///     what is dark and thin, CSF in narrow folds, too bright.)
/// In planes everything is the same in two dimensions.
///
/// Denoise takes 25 to 31 bytes of memory for each voxel of a head, the caller's arrays apart; up to 60 where
/// there are fewer than 2^20 voxels, or less than ten planes. Short rows and columns have margins longer than
/// themselves: planes 4 voxels wide take 300 bytes for each voxel, those of 2 up to 1,300.
/// @see  Guleryuz, IEEE Trans. Image Processing 16 (2007) 3020-3034; Dabov, Foi, Katkovnik and Egiazarian,
///       IEEE Trans. Image Processing 16 (2007) 2080-2095; Manjon, Coupe, Buades, Collins and Robles, Medical
///       Image Analysis 16 (2012) 18-27; Koay and Basser, Journal of Magnetic Resonance 179 (2006) 317-322.
class MTH_EXPORT MTH_VOLUME_DENOISING {
 public:
  /// @param nx, ny, nz  voxels along each axis, at least 1; with others every operation fails.
  explicit MTH_VOLUME_DENOISING(int nx, int ny, int nz = 1);

  /// Tells the deviation of the noise in each channel, in grey levels.
  /// @param deviation  0, negative or not finite: it is estimated by each run. It is so at first.
  void SetNoiseDeviation(double deviation);
  /// @return  what the next run will use, 0 for an estimate.
  double GetNoiseDeviation() const { return deviation_; }
  /// @return  the deviation that the last whole run used, estimated or told; 0 before.
  double GetUsedNoiseDeviation() const { return usedDeviation_; }

  /// Removes the noise. Shows progress.
  ///
  /// Without noise, or with less than a millionth of the greatest value, the volume is copied and the
  /// confidence is 1.
  /// @param noisy       nx ny nz values.
  /// @param denoised    receives as many; may be the noisy ones themselves.
  /// @param confidence  receives sqrt(sum of w^2) / sum of w of each voxel: the deviation of the noise that
  ///                    is left in it as a share of the former one, from about 0.09 where all of 125 voxels
  ///                    are alike to 1 where none is like it; null for none.
  /// @return  false, nothing written: for a null array or a size below 1 (BadInput), without memory
  ///          (NoMemory) and when the person cancels (Cancelled), see GetStopReason.
  bool Denoise(const double* noisy, double* denoised, double* confidence = nullptr);
  /// @copydoc Denoise
  bool Denoise(const float* noisy, float* denoised, float* confidence = nullptr);

  /// Deviation of the noise of a volume: from the air where there is air, otherwise from the finest details
  /// of what is not exactly 0, so that a volume without its surroundings will do.
  ///
  /// Air is found as blocks of 4 voxels a side whose variance is to their squared mean as in pure noise.
  /// Without any, the deviation is 1.4826 times the median magnitude of the highest cosine coefficient over
  /// the blocks without a zero, each over what a magnitude of the block's mean spreads; the eighth of the
  /// blocks with least structure in their other coefficients counts, of a plane the quarter. On a brain
  /// without its surroundings it is within 5 per cent, from 1 per cent of noise on.
  /// @return  0 when no block is free of zeros, when some axis has 2 or 3 voxels, for null, a size below 1,
  ///          without memory and when the display, which is asked about large volumes, cancels.
  double EstimateNoiseDeviation(const double* noisy) const;
  /// @copydoc EstimateNoiseDeviation
  double EstimateNoiseDeviation(const float* noisy) const;

  /// @return  how the last run ended: NotRun before the first, Converged for a whole one, BadInput, NoMemory
  ///          or Cancelled.
  MTH_STOP_REASON GetStopReason() const { return stopReason_; }

 private:
  template <class T>
  bool Run(const T* noisy, T* denoised, T* confidence);
  bool IsSizeLegal() const { return nx_ > 0 && ny_ > 0 && nz_ > 0; }

  int nx_;
  int ny_;
  int nz_;
  double deviation_ = 0.0;
  double usedDeviation_ = 0.0;
  MTH_STOP_REASON stopReason_ = MTH_STOP_REASON::NotRun;
};
