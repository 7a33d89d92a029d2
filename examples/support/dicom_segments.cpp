#include "support/dicom_results.h"
#include "support/segmentation.h"

namespace example {

std::vector<DicomSegment> SegmentsOf(const GreyImage& image, const Segmentation& segmentation) {
  const std::size_t classes = segmentation.centroids.size();
  const std::vector<Colour> colours = DistinctColours(static_cast<int>(classes));
  const bool areTissues = !segmentation.fields.empty() && classes == kUsualTissues;
  std::vector<DicomSegment> segments;
  if (areTissues && IsT1Weighted(image)) {
    segments = {{"Cerebrospinal fluid", DicomTissue::Fluid, colours[0]},
                {"Grey matter", DicomTissue::GreyMatter, colours[1]},
                {"White matter", DicomTissue::WhiteMatter, colours[2]}};
  } else {
    for (std::size_t k = 0; k < classes; ++k)
      segments.push_back({"Class " + std::to_string(k + 1), DicomTissue::Other, colours[k]});
  }
  if (segmentation.evidence) segments.push_back({"Undecided", DicomTissue::Other, kUndecidedColour});
  if (!segmentation.isLesion.empty()) segments.push_back({"Lesions", DicomTissue::Lesion, kLesionColour});
  return segments;
}

}  // namespace example
