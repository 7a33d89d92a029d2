#pragma once

#include "options.h"

namespace segment_mr {

/// Takes method, classes, centroids and parameters from a model file of many scans (mth.cohort in Python):
/// they are then not looked for.
/// @throws example::Failure  when there is no such file, or it is no model of one image a scan.
void TakeModel(const std::string& path, example::SegmentationSettings& settings);

}  // namespace segment_mr
