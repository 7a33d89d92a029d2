#pragma once

#include <vector>

#include "support/image.h"

namespace example {

struct DenoisingOptions {
  bool isPlaneByPlane = false;  ///< wavelet shrinkage of planes instead of blocks of the whole volume
  double deviation = 0.0;       ///< of the noise in blocks, where it is known; 0: estimated
  double factor = 2.0;          ///< noise levels above which a wavelet coefficient counts as signal
  int window = 5;               ///< side in voxels of the neighbourhood that supports a coefficient
  int axis = 2;                 ///< a volume is denoised plane by plane across this axis of its grid
};

/// What a denoising found.
struct DenoisingResult {
  std::vector<double> deviations;  ///< of the noise in each plane, or in the whole volume
  std::vector<double> confidence;  ///< of each voxel: the share of its noise that is left; only of blocks
};

/// Denoises a magnitude MR image or volume by overlapping blocks and means of similar places, or plane by
/// plane by its wavelet coefficients. By blocks, too, a volume of two or three planes is taken plane by
/// plane. Of planes whole grey levels stay whole; an image with fractions keeps steps of at most 1/8192 of
/// its largest value.
/// @throws Failure    when the image has values below 0: it is no magnitude image.
/// @throws Cancelled  when the user has pressed Ctrl-C, or the display's Cancel.
DenoisingResult Denoise(GreyImage& image, const DenoisingOptions& options);

/// Denoises as Denoise; what was 0 is outside the head and stays so.
DenoisingResult DenoiseInside(GreyImage& image, const DenoisingOptions& options);

/// Adds noise as a scanner's magnitude images have it: normal noise of that deviation in both channels of the
/// signal (Rician noise). Whole grey levels stay whole. The noise is the same in every run.
/// @throws Failure  as Denoise: noise would make values below 0 look like those of a magnitude image.
void AddNoise(GreyImage& image, double deviation);

}  // namespace example
