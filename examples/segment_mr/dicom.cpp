#include "dicom.h"

#include <algorithm>

#include "lesions.h"
#include "support/text.h"

namespace segment_mr {

namespace {

using example::DicomSegment;
using example::GreyImage;
using example::Segmentation;

std::string SettingsText(const Segmentation& segmentation, const Options& options) {
  std::string text = std::to_string(segmentation.centroids.size()) + " classes, threshold " +
                     example::Shortest(options.threshold);
  text += *options.denoises ? ", denoised" : ", not denoised";
  if (options.settings.method != example::Method::Tissue)
    return text + ", " + std::to_string(options.settings.iterations) + " iterations at most, tolerance " +
           example::Shortest(options.settings.tolerance);
  return text + (options.settings.estimatesField ? ", bias field estimated" : ", no bias field");
}

// What bears each label, in millilitres.
std::vector<example::DicomRegion> VolumesOf(const GreyImage& image, const std::vector<std::uint8_t>& labels,
                                            const std::vector<DicomSegment>& segments) {
  constexpr double kPerMillilitre = 1000.0;
  const auto [x, y, z] = *image.voxelSize;
  std::vector<example::DicomRegion> regions;
  for (std::size_t k = 0; k < segments.size(); ++k) {
    const auto voxels = std::count(labels.begin(), labels.end(), k + 1);
    regions.push_back(
        {segments[k].name,
         segments[k].tissue,
         static_cast<int>(k + 1),
         {example::VolumeMeasurement(static_cast<double>(voxels) * x * y * z / kPerMillilitre)}});
  }
  return regions;
}

}  // namespace

void WriteDicom(example::Results& results, const GreyImage& image, const Segmentation& segmentation,
                const Options& options) {
  if (options.dicom.folder.empty()) return;
  const std::vector<DicomSegment> segments = example::SegmentsOf(image, segmentation);
  const example::DicomMaker maker{"segment_mr", example::NameOf(options.settings.method),
                                  SettingsText(segmentation, options)};
  const std::vector<std::uint8_t> labels = AllLabels(segmentation);
  example::DicomReference written;
  results.WriteInFolder(options.dicom.folder, kDicomName, [&](const std::string& path) {
    if (!options.dicom.writesFractions) {
      written = example::WriteDicomLabels(path, image, segments, labels, maker, options.dicom);
      return;
    }
    std::vector<std::vector<float>> shares = segmentation.memberships;
    if (segmentation.evidence) shares.push_back(segmentation.evidence->undecided);
    if (!segmentation.isLesion.empty())
      shares.emplace_back(segmentation.isLesion.begin(), segmentation.isLesion.end());
    written = example::WriteDicomFractions(path, image, segments, shares, maker, options.dicom);
  });
  results.WriteInFolder(options.dicom.folder, kDicomReportName, [&](const std::string& path) {
    example::WriteDicomReport(path, image, VolumesOf(image, labels, segments), written, maker, options.dicom);
  });
}

}  // namespace segment_mr
