#pragma once

#include "mth/Mth_stop_reason.h"
#include "mth/core/Mth_give_up_internal.h"
#include "mth/denoising/Mth_rician_internal.h"
#include "mth/denoising/Mth_volume_size_internal.h"

namespace mth_internal {

/// Deviation of the Rician noise of a magnitude volume, from blocks of 4 voxels a side that hold no zero.
///
/// Where there is air, from it: the blocks whose variance is to their squared mean as in pure noise, and
/// which agree with each other on its strength. Otherwise from all blocks, as 1.4826 times the median
/// magnitude of the highest cosine coefficient, each over the deviation that a magnitude of the block's mean
/// has.
/// @param deviation  receives it, 0 when there are no such blocks.
/// @param run        is asked whether to give up.
/// @return           Converged, NoMemory or Cancelled.
MTH_STOP_REASON EstimateRicianNoise(const VolumeSize& size, const float* values, const RicianLaw& law,
                                    LongIteration& run, double& deviation);

}  // namespace mth_internal
