#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "mth/Mth_stop_reason.h"
#include "std/Std_export.h"

namespace mth_internal {
struct TissueResult;
}

/// Divides an MR volume, or a plane, into tissues that shine differently: the fraction of each tissue in each
/// voxel, mixtures of neighbours included, and the field by which the scanner made places brighter or darker.
///
/// Construct it with the number of tissues, tell the size of the voxels, call Segment on an image whose noise
/// has been taken off (MTH_VOLUME_DENOISING, whose confidence it takes too), and read the results. Volumes
/// are contiguous, the voxel (x, y, z) at values[x + nx (y + ny z)].
///
/// With one channel, tissues are in ascending order of brightness: CSF, grey and white matter of a T1 image.
/// x is the image, b the field and v = x / b; the mask is divided into 5 strata of equal size by confidence:
///  - Densities of v: of tissue k a normal law around c_k, of the mixture of k and k + 1 a uniform one
///    between c_k and c_(k+1) with the noise of a normal law. Shares of the 2 K - 1 classes and the deviation
///    belong to a stratum, the means c_k to all. They are fitted by expectation and maximisation to
///    histograms of 384 bins: 40 steps at first, 4 in each round, 20 at the end. No mean passes the middle
///    between two of the fuzzy clusters that the fit starts from.
///  - Field: the logarithm of b grows by G*(w log(v / y)) / G*(w), y being the signal expected at v and
///    w = P(pure tissue) y^2 / deviation^2; sums over cubes of 4 voxels, G a Gaussian of 25 mm. The mean of
///    log b is 0. 10 rounds on every second voxel along each axis of large masks, after 10 steps of fuzzy
///    c-means on the histogram, 8 of them with a field.
///  - Local means, once: around each cube of 2 voxels the mean of tissue k is c_k plus the weighted mean of
///    v - c_k within a Gaussian of 5 mm, drawn to 0 as 35 voxels would that knew c_k to 2 per cent; v is
///    mapped by straight lines from the local means to the common ones.
///  - The fraction of a tissue is the sum of its share over the classes by their probability; a mixture at v
///    has the share (v - c_k) / (c_(k+1) - c_k) of the brighter tissue.
/// With several channels the clusters are those of fuzzy c-means of the vectors of all channels, each divided
/// by the deviation of its values in the mask, with a field for each channel; in ascending order of the first
/// one. Fractions are the memberships.
///
/// The same results to the last bit on every machine. Results are those of the last whole run: one that fails
/// or is cancelled leaves them as they were.
/// @see  Shattuck et al., NeuroImage 13 (2001) 856-876; Tohka, Zijdenbos and Evans, NeuroImage 23 (2004)
///       84-97; Wells, Grimson, Kikinis and Jolesz, IEEE Trans. Medical Imaging 15 (1996) 429-442; Pham and
///       Prince, IEEE Trans. Medical Imaging 18 (1999) 737-752.
class MTH_EXPORT MTH_TISSUE_CLUSTERING {
 public:
  /// @param tissues  2 to 16, or 1, which has nothing to divide but a field to find; with others every run
  ///                 fails.
  explicit MTH_TISSUE_CLUSTERING(int tissues = 3);

  /// Tells how large a voxel is, in mm; 1 along each axis at first. A length that is not a positive number
  /// counts as 1.
  void SetVoxelSize(double x, double y, double z);
  /// Whether a field is looked for; it is at first. Without one b is exactly 1.
  void SetFieldEstimation(bool isEstimated) { estimatesField_ = isEstimated; }
  /// Whether the means of tissues may differ from place to place; they may at first. One channel only.
  void SetLocalMeans(bool areLocal) { hasLocalMeans_ = areLocal; }
  /// Deviation of the Gaussian that keeps the field smooth, in mm; 25 at first, and for what is not a
  /// positive number.
  void SetFieldWidth(double deviation);
  /// Gives the means of the tissues, such as those of many scans (MTH_TISSUE_MEANS), in the units of the
  /// image: runs do not move them, and look only for the field, the noise and the shares. One channel only: a
  /// run on several is then BadInput.
  /// @param means  as many as tissues, finite, ascending, none below 0; null: they are looked for, as at
  ///               first.
  /// @return       false, with nothing changed, for other values.
  bool SetMeans(const double* means);

  /// Divides an image. Shows progress.
  /// @param image       nx ny nz values.
  /// @param mask        as many; voxels that are not 0 are divided. Null: all that are above 0.
  /// @param confidence  the share of the noise that is left in each voxel, smaller values being better;
  ///                    null: the same for all.
  /// @return  false: null, a size or a number of tissues that is not legal, no finite voxel in the mask, or
  ///          fewer different values there than tissues (BadInput), without memory (NoMemory), or when the
  ///          person cancels (Cancelled). Voxels of the mask that are not finite stay outside; values below 0
  ///          count as 0.
  bool Segment(const double* image, int nx, int ny, int nz, const std::uint8_t* mask,
               const double* confidence = nullptr);
  /// @copydoc Segment
  bool Segment(const float* image, int nx, int ny, int nz, const std::uint8_t* mask,
               const float* confidence = nullptr);
  /// Divides several images of the same place, one image after the other; as Segment does for a single one. A
  /// voxel belongs to the mask only where it is finite in all of them, and without a mask where it is above 0
  /// in all. The first one is divided alone to begin with: it needs as many different values as tissues.
  /// @param channels    count pointers to images of nx ny nz values.
  bool SegmentChannels(const double* const* channels, int count, int nx, int ny, int nz,
                       const std::uint8_t* mask);
  /// @copydoc SegmentChannels
  bool SegmentChannels(const float* const* channels, int count, int nx, int ny, int nz,
                       const std::uint8_t* mask);

  /// Number of tissues.
  int GetTissuesCount() const { return tissues_; }
  /// @return  channels of the last whole run, 0 before.
  int GetChannelsCount() const;
  /// @return  the mean of a tissue in a channel, field taken off; 0 before a run and for what does not exist.
  double GetCentroid(int tissue, int channel = 0) const;
  /// The fraction of a tissue in each voxel, from 0 to 1; 0 outside the mask. Those of a voxel sum to 1, but
  /// for rounding.
  /// @return  false, nothing written, before a run, for null or for a tissue that does not exist; so for
  ///          the others.
  bool GetFractions(int tissue, double* fractions) const;
  /// @copydoc GetFractions
  bool GetFractions(int tissue, float* fractions) const;
  /// The tissue of the largest fraction, counted from 1, the first one of equal ones; 0 outside the mask.
  bool GetLabels(std::uint8_t* labels) const;
  /// The field of a channel: the image divided by it has the same tissue equally bright everywhere. Beyond
  /// the box that holds the mask it goes on as at its border.
  bool GetField(double* field, int channel = 0) const;
  /// @copydoc GetField
  bool GetField(float* field, int channel = 0) const;
  /// @return  how the last run ended: NotRun before the first, Converged for a whole one, BadInput, NoMemory
  ///          or Cancelled.
  MTH_STOP_REASON GetStopReason() const { return stopReason_; }

 private:
  friend class MTH_TISSUE_PART;
  template <class T>
  bool Run(const T* const* channels, int count, const std::array<int, 3>& size, const std::uint8_t* mask,
           const T* confidence);

  int tissues_;
  std::array<double, 3> voxelSize_{1.0, 1.0, 1.0};
  bool estimatesField_ = true;
  bool hasLocalMeans_ = true;
  double fieldWidth_ = 25.0;
  bool hasMeans_ = false;  // otherwise they are looked for
  std::array<double, 16> means_{};
  MTH_STOP_REASON stopReason_ = MTH_STOP_REASON::NotRun;
  std::shared_ptr<const mth_internal::TissueResult> result_;  // never changed, so that copies can share it
};
