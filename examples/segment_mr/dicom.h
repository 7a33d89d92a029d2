#pragma once

#include "options.h"
#include "support/image.h"
#include "support/results.h"
#include "support/segmentation.h"

namespace segment_mr {

/// The names of the Segmentation object, and of the report of its volumes, in their folder.
inline constexpr const char* kDicomName = "segmentation.dcm";
inline constexpr const char* kDicomReportName = "measurements.dcm";

/// Writes the classes as a Segmentation object, with a report of their volumes, where the user asks for it.
/// Three tissues of a T1-weighted image are cerebrospinal fluid, grey and white matter; other classes are
/// tissue, numbered.
void WriteDicom(example::Results& results, const example::GreyImage& image,
                const example::Segmentation& segmentation, const Options& options);

}  // namespace segment_mr
