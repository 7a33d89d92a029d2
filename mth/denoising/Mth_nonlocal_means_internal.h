#pragma once

#include <cstdint>

#include "mth/Mth_stop_reason.h"
#include "mth/core/Mth_run_watch_internal.h"
#include "mth/denoising/Mth_volume_size_internal.h"

namespace mth_internal {

/// A row of pairs of voxels, `other` being the one that lies one shift further.
struct PairRow {
  const float* guide;
  const float* otherGuide;
  const float* means;
  const float* otherMeans;
  const float* sums[3];  // squared differences added up over 3 x 3, in the three planes around the row
  float decay;           // of the weight with distance
};

/// What every voxel has gathered from those around it.
struct WeightedSums {
  float* weights;
  float* squaredWeights;
  float* shares;  // weights times magnitudes
};

/// Adds up the magnitudes of a noisy volume over the 5 x 5 x 5 voxels around each one, each pair of voxels
/// with one weight, exp(-decay d): d is the squared difference of the guide, 3.9 times that of its means over
/// 3 x 3 x 3, and 0.7 of the mean of the first over 3 x 3 x 3, edges repeated. A voxel has weight 0.7 for
/// itself; pairs end at the borders.
/// @param magnitudes  the noisy volume.
/// @param means       work, as many floats as voxels.
/// @return            how the sums ended: Converged, Cancelled or NoMemory.
/// @see  Buades, Coll and Morel, Multiscale Modeling and Simulation 4 (2005) 490-530.
MTH_STOP_REASON GatherSimilarVoxels(const VolumeSize& size, const float* guide, const float* magnitudes,
                                    float decay, float* means, const WeightedSums& sums, RunWatch& watch);

/// Shifts that are gone through, of which the watch is asked after each.
std::int64_t CountShifts(const VolumeSize& size);

}  // namespace mth_internal
