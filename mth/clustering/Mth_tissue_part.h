#pragma once

#include <cstdint>
#include <memory>

#include "mth/clustering/Mth_tissue_clustering.h"
#include "mth/clustering/Mth_tissue_means.h"
#include "std/Std_export.h"

namespace mth_internal {
struct TissuePartState;
}

/// One scan of a study that is divided into tissues whose means all scans share; see MTH_TISSUE_MEANS. The
/// field, the deviations of the noise and the shares of the tissues are the scan's own.
///
/// Steps cannot be taken back, and none be left out. A part that was lost is made again by the same steps.
class MTH_EXPORT MTH_TISSUE_PART {
 public:
  /// @param settings  tissues, size of the voxels and what is looked for; its results are not used.
  explicit MTH_TISSUE_PART(const MTH_TISSUE_CLUSTERING& settings);
  MTH_TISSUE_PART(const MTH_TISSUE_PART&) = delete;
  MTH_TISSUE_PART& operator=(const MTH_TISSUE_PART&) = delete;
  ~MTH_TISSUE_PART();

  /// Takes an image, which is copied. Arguments and failures are those of MTH_TISSUE_CLUSTERING::Segment.
  bool SetImage(const double* image, int nx, int ny, int nz, const std::uint8_t* mask,
                const double* confidence = nullptr);
  /// @copydoc SetImage
  bool SetImage(const float* image, int nx, int ny, int nz, const std::uint8_t* mask,
                const float* confidence = nullptr);
  /// Copies 3 values: what half a per cent of the voxels are below, what half a per cent are above, and the
  /// largest.
  /// @return  false, with nothing written, without an image, after the first step, without memory or for
  ///          null.
  bool GetRange(double* range) const;
  /// Takes the next step.
  /// @param means  those of all scans, with the range of all.
  /// @param sums   the caller's 2 x tissues values.
  /// @return       false, with nothing changed, without an image, for null, for means of other tissues,
  ///               without a range or that are not as many steps on as this part; without memory, when the
  ///               part is lost.
  bool Step(const MTH_TISSUE_MEANS& means, double* sums);
  /// Divides the scan by the means that were found, after the last step. The part is then without an image.
  /// @param results  an engine, whose results and number of tissues become those of this scan; means that it
  ///                 was given for another number are forgotten.
  /// @return         otherwise as Step; the engine's reason tells, as that of MTH_TISSUE_CLUSTERING::Segment.
  bool Finish(const MTH_TISSUE_MEANS& means, MTH_TISSUE_CLUSTERING* results);

  /// Number of steps that were taken with the present image.
  int GetStep() const;
  /// How SetImage ended: Converged, BadInput or NoMemory; NotRun before it.
  MTH_STOP_REASON GetStopReason() const { return stopReason_; }

 private:
  template <class T>
  bool Take(const T* image, int nx, int ny, int nz, const std::uint8_t* mask, const T* confidence);

  MTH_TISSUE_CLUSTERING settings_;
  MTH_STOP_REASON stopReason_ = MTH_STOP_REASON::NotRun;
  std::unique_ptr<mth_internal::TissuePartState> state_;  // null without an image
};
