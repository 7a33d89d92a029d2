#pragma once

#include <pybind11/pybind11.h>

namespace mth_python {

/// The quick denoising of a plane: soft thresholds of the details of its redundant wavelets, each from its
/// own subband.
///
/// What is negative or not finite counts as 0. The median of the finest details tells the noise where it is
/// not given.
/// @param noise  its deviation; 0 estimates it.
/// @return       the image, float32 as it was or float64, and the deviation that was used.
/// @see          Chang, Yu & Vetterli, IEEE Trans. Image Processing 9 (2000) 1532; Coifman & Donoho, Wavelets
///               and Statistics (1995) 125.
pybind11::tuple DenoiseQuickly(const pybind11::handle& value, double noise);

}  // namespace mth_python
