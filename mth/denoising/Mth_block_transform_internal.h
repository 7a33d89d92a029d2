#pragma once

#include <cstdint>

#include "mth/Mth_stop_reason.h"
#include "mth/core/Mth_run_watch_internal.h"
#include "mth/denoising/Mth_volume_size_internal.h"

namespace mth_internal {

/// The blocks of one row, seen by the kernels: their lines along x, which are already transformed along the
/// other axes, and where the results go.
struct BlockRow {
  float* lines;            // receives, line by line, the weighted sums of the blocks
  const float* guide;      // the same of the guide; null without one
  float* samples;          // work: every sample of every block, `half` floats each
  float* weights;          // work: of each block
  float* weightSums;       // receives the sum of the weights at every sample
  std::int64_t stride;     // floats from line to line
  std::int64_t half;       // floats from phase to phase of a line's samples
  std::int64_t positions;  // blocks
  float level;             // the threshold, or with a guide the variance of the noise
};

/// Which blocks a pass works on.
enum class BlockKind {
  Small,   // side 4 at every position, coefficients below a threshold set to 0
  Large,   // side 6 at every second position, the same
  Guided,  // side 4 at every position, coefficients multiplied by the Wiener factors of the guide's
};

/// Shrinks the cosine coefficients of overlapping blocks and puts the blocks back: the values of a voxel from
/// all blocks that hold it are averaged by the blocks' weights. Blocks reach beyond the borders, where the
/// volume goes on as its mirror image. Axes of a single voxel take no part.
/// @param level    threshold, or with a guide the variance of the noise.
/// @param guide    for BlockKind::Guided, else null.
/// @param result   receives the averages; may be neither `values` nor `guide`.
/// @param weights  work, as many floats as voxels.
/// @return         how the pass ended: Converged, Cancelled or NoMemory.
/// @see  Guleryuz, IEEE Trans. Image Processing 16 (2007) 3020-3034; Dabov, Foi, Katkovnik and Egiazarian,
///       IEEE Trans. Image Processing 16 (2007) 2080-2095, without the search for similar blocks.
MTH_STOP_REASON FilterBlocksOfVolume(const VolumeSize& size, BlockKind kind, float level, const float* values,
                                     const float* guide, float* result, float* weights, RunWatch& watch);

/// Planes of progress that such a pass reports.
std::int64_t CountBlockPlanes(const VolumeSize& size, BlockKind kind);

}  // namespace mth_internal
