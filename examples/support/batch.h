#pragma once

#include <functional>
#include <string>
#include <vector>

#include "support/results.h"

namespace example {

/// "scan" of "data/scan.nii.gz": what an image's results are called among those of other images.
std::string StemOf(const std::string& path);

/// The text as one field of a table, in quotes.
std::string CsvField(const std::string& text);

/// What is told of one image among several.
struct ImageSummary {
  std::string rows;  ///< of the common table
  std::string json;  ///< its report
};

/// Runs `run` once for each image, with the options of an output folder of its name, then writes summary.csv
/// and, where it is asked for, a JSON report with those of all images.
/// @param inputs  all files that the runs read.
/// @param header  of the table, with its line feed.
/// @throws Failure  when two images have the same name, before anything is read; and what a run throws: the
/// images before it keep their results.
void RunEach(const std::string& host, const std::vector<std::string>& paths,
             const std::vector<std::string>& inputs, const OutputOptions& output, const std::string& header,
             const std::function<ImageSummary(const std::string& path, const OutputOptions& output)>& run);

}  // namespace example
