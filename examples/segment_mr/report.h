#pragma once

#include <string>
#include <vector>

#include "options.h"
#include "support/image.h"
#include "support/segmentation.h"

namespace segment_mr {

/// The results for people.
std::string TextReport(const example::GreyImage& image, const example::Inside& inside,
                       const example::Segmentation& segmentation, const Options& options);

/// One line for each class of a scan, for a table of many scans.
std::string SummaryHeader();
std::string SummaryRow(const example::GreyImage& image, const example::Segmentation& segmentation,
                       const Options& options);

/// The results for programs. Lengths are in mm, areas in mm2, volumes in ml; null where the file does not
/// tell the size of a voxel.
std::string JsonReport(const example::GreyImage& image, const example::Inside& inside,
                       const example::Segmentation& segmentation, const Options& options,
                       const std::vector<std::string>& files);

}  // namespace segment_mr
