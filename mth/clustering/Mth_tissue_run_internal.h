#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "mth/Mth_stop_reason.h"
#include "mth/clustering/Mth_tissue_cubes_internal.h"
#include "mth/core/Mth_run_watch_internal.h"

namespace mth_internal {

struct TissueSettings {
  int tissues;
  std::array<double, 3> voxelSize;  // mm
  bool estimatesField;
  bool hasLocalMeans;
  double fieldWidth;    // mm
  const double* means;  // given ones, in the units of the values; null when they are looked for
};

/// A field on the cubes of a mask.
struct TissueField {
  CubeGrid grid;
  std::vector<double> values;
};

/// What a whole run leaves.
struct TissueResult {
  MaskVoxels voxels;
  std::vector<std::vector<float>> fractions;   // of each tissue, voxel by voxel
  std::vector<std::vector<double>> centroids;  // of each channel, tissue by tissue
  std::vector<TissueField> fields;             // of each channel
};

/// Values of the voxels of a mask in one channel.
using ChannelValues = std::vector<double>;

/// A field that follows the ratio of values to what was expected of them.
class FieldEstimate {
 public:
  FieldEstimate(const MaskVoxels& voxels, const MaskVoxels& sample, const TissueSettings& settings);

  /// Forgets the sums of weights and logarithms.
  void Clear();
  /// Adds, for each voxel of the sample, what terms(voxel) gives: a weight, and the weight times the
  /// logarithm of the ratio.
  template <class Terms>
  void Add(Terms terms) {
    field_.grid.ForEachVoxel(sample_, [&](std::int64_t i, std::int64_t cube) {
      const auto [weight, logarithm] = terms(static_cast<std::size_t>(i));
      weights_[static_cast<std::size_t>(cube)] += weight;
      logarithms_[static_cast<std::size_t>(cube)] += logarithm;
    });
  }
  /// Moves the field by the smooth mean of the logarithms.
  /// @param run  as CubeGrid::Blur takes it.
  /// @return     false, with the field as it was, when the run is given up.
  bool Update(LongIteration* run);
  /// The values of voxels over the field.
  void Correct(const MaskVoxels& voxels, const ChannelValues& values, ChannelValues& corrected);

  TissueField Field() const { return field_; }

 private:
  const MaskVoxels& sample_;
  std::array<double, 3> deviation_;
  TissueField field_;  // its values are the field itself
  std::vector<double> logField_;
  std::vector<double> voxelCounts_;
  std::vector<double> weights_;
  std::vector<double> logarithms_;
  std::vector<double> work_;
};

/// The voxels that rounds look at: of large masks every second one along each axis, or all where a mask has
/// hardly any of these.
struct VoxelSample {
  MaskVoxels voxels;
  std::vector<std::int64_t> indices;  // in the whole list

  explicit VoxelSample(const MaskVoxels& all);
  ChannelValues Of(const ChannelValues& values) const;

 private:
  void Take(const MaskVoxels& all, int step);
};

constexpr int kTissueSteps = 20;   // of progress of a run on one channel
constexpr int kChannelSteps = 20;  // of a run on several, after it

/// What a run is given.
struct TissueInput {
  int strata = 1;
  std::vector<ChannelValues> channels;  // multiplied by `factors`
  std::vector<double> factors;

  /// Brings the first channel to another factor.
  void TakeFactor(double factor);
  /// Makes its factor small enough for a value in the units of the image.
  void MakeRoomFor(double value);
};

/// Looks at the images of one place and a mask: the voxels go into the result.
/// @return  Converged, or BadInput when there is nothing to divide. Throws std::bad_alloc.
template <class T>
MTH_STOP_REASON TakeImages(const T* const* images, int count, const std::array<int, 3>& size,
                           const std::uint8_t* mask, const T* confidence, int tissues, TissueInput& input,
                           TissueResult& result);

/// Whether there are as many different values as tissues.
bool HasEnoughValues(const ChannelValues& values, int tissues);

/// Divides the values of one channel; strata are those of the voxels.
/// @return  Converged, Cancelled, or BadInput for fewer different values than tissues. Throws std::bad_alloc.
MTH_STOP_REASON DivideOneChannel(const TissueSettings& settings, int strata, const ChannelValues& values,
                                 RunWatch& watch, TissueResult& result);

/// Divides several channels, beginning with what dividing the first one gave.
MTH_STOP_REASON DivideChannels(const TissueSettings& settings, int strata,
                               const std::vector<ChannelValues>& channels, RunWatch& watch,
                               TissueResult& result);

}  // namespace mth_internal
