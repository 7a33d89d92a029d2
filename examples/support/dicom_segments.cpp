#include "support/dicom_results.h"
#include "support/segmentation.h"

namespace example {

std::vector<DicomSegment> SegmentsOf(const GreyImage& image, const Segmentation& segmentation) {
  constexpr Colour kUndecidedColour{255, 255, 255};
  const std::size_t classes = segmentation.centroids.size();
  const std::vector<Colour> colours = DistinctColours(static_cast<int>(classes));
  const bool areTissues = !segmentation.fields.empty() && classes == kUsualTissues;
  if (areTissues && IsT1Weighted(image))
    return {{"Cerebrospinal fluid", DicomTissue::Fluid, colours[0]},
            {"Grey matter", DicomTissue::GreyMatter, colours[1]},
            {"White matter", DicomTissue::WhiteMatter, colours[2]}};
  std::vector<DicomSegment> segments;
  for (std::size_t k = 0; k < classes; ++k)
    segments.push_back({"Class " + std::to_string(k + 1), DicomTissue::Other, colours[k]});
  if (segmentation.evidence) segments.push_back({"Undecided", DicomTissue::Other, kUndecidedColour});
  return segments;
}

}  // namespace example
