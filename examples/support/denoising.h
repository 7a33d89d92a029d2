#pragma once

#include <vector>

#include "support/image.h"

namespace example {

struct DenoisingOptions {
  double factor = 2.0;  ///< noise levels above which a wavelet coefficient counts as signal
  int window = 5;       ///< side in voxels of the neighbourhood that supports a coefficient
  int axis = 2;         ///< a volume is denoised plane by plane across this axis of its grid
};

/// Denoises a magnitude MR image or volume by its wavelet coefficients. Whole grey levels stay whole; an
/// image with fractions keeps steps of at most 1/8192 of its largest value.
/// @return          the standard deviation of the noise found in each plane.
/// @throws Failure  when the image has values below 0: it is no magnitude image.
std::vector<double> Denoise(GreyImage& image, const DenoisingOptions& options);

/// Adds noise as a scanner's magnitude images have it: normal noise of that deviation in both channels of the
/// signal (Rician noise). Whole grey levels stay whole. The noise is the same in every run.
/// @throws Failure  as Denoise: noise would make values below 0 look like those of a magnitude image.
void AddNoise(GreyImage& image, double deviation);

}  // namespace example
