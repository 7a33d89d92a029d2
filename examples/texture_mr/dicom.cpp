#include "dicom.h"

#include <string_view>

namespace texture_mr {

namespace {

// The standard's own code where the feature is the same, otherwise that of the library's function.
example::DicomCode CodeOf(const FeatureKind& kind) {
  const std::string_view relation = kind.relation;
  if (relation.starts_with("equal")) return {std::string(kind.standard).substr(0, 4), "IBSI", kind.name};
  return {kind.function, "99MTH", kind.name};
}

example::DicomRegion RegionOf(const RegionTexture& texture, double voxelMillilitres) {
  example::DicomRegion region{
      texture.label == kWholeImage ? "image" : "region " + std::to_string(texture.label),
      example::DicomTissue::Other,
      0,
      {example::VolumeMeasurement(static_cast<double>(texture.voxels) * voxelMillilitres)}};
  for (std::size_t feature = 0; feature < kFeatureCount && texture.HasPairs(); ++feature)
    region.measurements.push_back(
        {CodeOf(kFeatureKinds[feature]), texture.Mean(feature), {"1", "UCUM", "no units"}});
  return region;
}

}  // namespace

void WriteDicom(example::Results& results, const example::GreyImage& image,
                const std::vector<RegionTexture>& textures, const Options& options) {
  if (options.dicom.folder.empty()) return;
  constexpr double kPerMillilitre = 1000.0;
  const auto [x, y, z] = *image.voxelSize;
  std::vector<example::DicomRegion> regions;
  for (const RegionTexture& texture : textures)
    regions.push_back(RegionOf(texture, x * y * z / kPerMillilitre));
  const example::DicomMaker maker{"texture_mr", "grey-level co-occurrence matrices",
                                  std::to_string(options.levels) + " levels, distance " +
                                      std::to_string(options.distance) + ", means over the directions"};
  results.WriteInFolder(options.dicom.folder, kDicomName, [&](const std::string& path) {
    example::WriteDicomReport(path, image, regions, {}, maker, options.dicom);
  });
}

}  // namespace texture_mr
