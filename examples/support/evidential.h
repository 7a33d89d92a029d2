#pragma once

#include <vector>

#include "mth/clustering/Mth_clustering.h"
#include "support/segmentation.h"

namespace example {

/// Runs evidential c-means with progress, then sets the samples' memberships to the pignistic probabilities.
/// @param result  receives the centroids' mean movement in each iteration and whether the run converged.
/// @throws Failure  when there is no result.
void RunEvidential(MTH_CLUSTERING& engine, const SegmentationSettings& settings, Segmentation& result);

/// Replaces the engine's masses by their fusion with another engine's, by Dempster's rule, and the
/// memberships by the new probabilities. Both orders tell which cluster is class 1, class 2 ...
/// @return  per sample the conflict: the mass that both together give to no class.
/// @throws Failure  when the engine has not converged.
std::vector<float> FuseEvidence(MTH_CLUSTERING& engine, const std::vector<int>& order, MTH_CLUSTERING& other,
                                const std::vector<int>& otherOrder);

/// What the engine's masses tell about the voxels inside, which are its samples.
/// @param order     the engine's cluster of each class.
/// @param conflict  per sample, after fusion; otherwise empty: the mass on no class is taken.
Evidence ReadEvidence(MTH_CLUSTERING& engine, const std::vector<int>& order, const Inside& inside,
                      const std::vector<float>& conflict);

/// Whether the largest mass of a sample is on a set of several classes.
bool IsUndecided(MTH_CLUSTERING& engine, int sample);

}  // namespace example
