#include "report.h"

#include <nlohmann/json.hpp>
#include <numeric>
#include <optional>

#include "support/raster.h"
#include "support/text.h"

namespace segment_mr {

namespace {

using example::Fixed;
using example::GreyImage;
using example::RightAligned;
using example::Rounded;
using Json = nlohmann::ordered_json;

constexpr double kCubicMillimetresPerMillilitre = 1000.0;

// Area of a pixel in mm2, or volume of a voxel in ml.
std::optional<double> MeasurePerVoxel(const GreyImage& image) {
  if (!image.voxelSize) return std::nullopt;
  const auto [x, y, z] = *image.voxelSize;
  return example::IsVolume(image) ? x * y * z / kCubicMillimetresPerMillilitre : x * y;
}

std::size_t InsideCount(const Segmentation& segmentation) {
  return std::accumulate(segmentation.voxelCounts.begin(), segmentation.voxelCounts.end(), std::size_t{0});
}

std::string SizeText(const GreyImage& image) {
  const std::size_t count = example::IsVolume(image) ? 3 : 2;
  std::string text;
  std::string lengths;
  for (std::size_t axis = 0; axis < count; ++axis) {
    const std::string separator = axis == 0 ? "" : " x ";
    text += separator + std::to_string(image.size[axis]);
    if (image.voxelSize) lengths += separator + Rounded((*image.voxelSize)[axis], 5);
  }
  text += example::IsVolume(image) ? " voxels" : " pixels";
  return text + (image.voxelSize ? " of " + lengths + " mm" : ", of unknown size");
}

std::string PlaneText(const Options& options) {
  return std::string(1, "xyz"[*options.axis]) + " = " + std::to_string(*options.index);
}

std::string MethodText(const Options& options) {
  std::string text =
      std::string(NameOf(options.method)) + ", " + std::to_string(options.clusters) + " classes";
  if (options.method == Method::KMeans) return text;
  text += ", fuzzifier " + Rounded(options.fuzzifier, 6);
  if (options.method == Method::EvidentialCMeans) {
    text += ", alpha " + Rounded(options.alpha, 6) + ", rho " + Rounded(options.rho, 6);
  }
  return text + ", tolerance " + Rounded(options.tolerance, 6);
}

std::string IterationsText(const Segmentation& segmentation, const Options& options) {
  return std::to_string(segmentation.changes.size()) + " of at most " + std::to_string(options.iterations) +
         (segmentation.hasConverged ? " (converged)" : " (not converged)");
}

std::string Row(const std::string& name, const std::string& value) {
  std::string row = "  " + name;
  row.resize(16, ' ');
  return row + value + "\n";
}

std::string ClassTable(const GreyImage& image, const Segmentation& segmentation) {
  const bool isVolume = example::IsVolume(image);
  const std::optional<double> measure = MeasurePerVoxel(image);
  const auto colours = example::DistinctColours(static_cast<int>(segmentation.centroids.size()));
  const double inside = static_cast<double>(InsideCount(segmentation));
  std::string table = std::string("  class  colour    centroid  ") + (isVolume ? "  voxels" : "  pixels") +
                      (isVolume ? "  volume (ml)" : "  area (mm\u00b2)") + "    share\n";
  for (std::size_t k = 0; k < segmentation.centroids.size(); ++k) {
    const double count = static_cast<double>(segmentation.voxelCounts[k]);
    table += RightAligned(std::to_string(k + 1), 7) + "  " + HexText(colours[k]) +
             RightAligned(Fixed(segmentation.centroids[k], 2), 11) + RightAligned(Fixed(count, 0), 10) +
             RightAligned(measure ? Fixed(count * *measure, 2) : "unknown", isVolume ? 13 : 12) +
             RightAligned(Fixed(100.0 * count / inside, 1) + " %", 9) + "\n";
  }
  return table;
}

Json ImageJson(const GreyImage& image, const Segmentation& segmentation, const Options& options) {
  const std::size_t count = example::IsVolume(image) ? 3 : 2;
  Json json;
  json["path"] = options.imagePath;
  json["size"] =
      std::vector<int>(image.size.begin(), image.size.begin() + static_cast<std::ptrdiff_t>(count));
  json["voxel_size_mm"] = nullptr;
  if (image.voxelSize) json["voxel_size_mm"] = *image.voxelSize;
  json["plane"] = nullptr;
  if (options.axis)
    json["plane"] = {{"axis", std::string(1, "xyz"[*options.axis])}, {"index", *options.index}};
  json["voxels_above_zero"] = InsideCount(segmentation);
  return json;
}

Json ClassesJson(const GreyImage& image, const Segmentation& segmentation) {
  const std::optional<double> measure = MeasurePerVoxel(image);
  const char* measureName = example::IsVolume(image) ? "volume_ml" : "area_mm2";
  const auto colours = example::DistinctColours(static_cast<int>(segmentation.centroids.size()));
  Json classes = Json::array();
  for (std::size_t k = 0; k < segmentation.centroids.size(); ++k) {
    Json entry;
    entry["label"] = k + 1;
    entry["colour"] = HexText(colours[k]);
    entry["centroid"] = segmentation.centroids[k];
    entry["voxels"] = segmentation.voxelCounts[k];
    entry[measureName] = nullptr;
    if (measure) entry[measureName] = static_cast<double>(segmentation.voxelCounts[k]) * *measure;
    classes.push_back(entry);
  }
  return classes;
}

double MeanInside(const std::vector<float>& values, const Segmentation& segmentation) {
  return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(InsideCount(segmentation));
}

std::string FusedText(const FusedImage& fused, const Options& options) {
  std::string text = options.fusedPath + ", centroids";
  for (const double centroid : fused.centroids) text.append(" ").append(Fixed(centroid, 2));
  return text + ", " + std::to_string(fused.iterations) + " iterations" +
         (fused.hasConverged ? " (converged)" : " (not converged)");
}

std::string EvidenceRows(const GreyImage& image, const Segmentation& segmentation) {
  const Evidence& evidence = *segmentation.evidence;
  const auto text = [&](const std::vector<float>& masses) {
    return Fixed(100.0 * MeanInside(masses, segmentation), 1) + " % of the evidence";
  };
  const auto textWithVoxels = [&](const std::vector<float>& masses, std::size_t voxels) {
    std::string row = text(masses) + ", the largest share in ";
    return (row += std::to_string(voxels)) += example::IsVolume(image) ? " voxels" : " pixels";
  };
  const std::string undecided =
      Row("undecided", textWithVoxels(evidence.undecided, evidence.undecidedVoxels));
  if (segmentation.fused) return undecided + Row("conflict", text(evidence.unassigned));
  return undecided + Row("outliers", textWithVoxels(evidence.unassigned, evidence.outlierVoxels));
}

void AddEvidence(Json& json, const Segmentation& segmentation, const Options& options) {
  if (!segmentation.evidence) return;
  const Evidence& evidence = *segmentation.evidence;
  json["alpha"] = options.alpha;
  json["rho"] = options.rho;
  json["mean_undecided_mass"] = MeanInside(evidence.undecided, segmentation);
  json["undecided_voxels"] = evidence.undecidedVoxels;
  if (!segmentation.fused) {
    json["mean_outlier_mass"] = MeanInside(evidence.unassigned, segmentation);
    json["outlier_voxels"] = evidence.outlierVoxels;
    return;
  }
  json["fused"] = {{"path", options.fusedPath},
                   {"centroids", segmentation.fused->centroids},
                   {"iterations", segmentation.fused->iterations},
                   {"converged", segmentation.fused->hasConverged},
                   {"mean_conflict", MeanInside(evidence.unassigned, segmentation)}};
}

}  // namespace

std::string TextReport(const GreyImage& image, const Segmentation& segmentation, const Options& options) {
  std::string text = "Segmentation of " + options.imagePath + "\n\n";
  text += Row("image", SizeText(image) + ", " + std::to_string(InsideCount(segmentation)) + " above 0");
  if (options.axis) text += Row("plane", PlaneText(options));
  text += Row("method", MethodText(options));
  text += Row("iterations", IterationsText(segmentation, options));
  text += Row("last change", Rounded(segmentation.changes.back(), 6));
  if (segmentation.fused) text += Row("fused with", FusedText(*segmentation.fused, options));
  if (segmentation.evidence) text += EvidenceRows(image, segmentation);
  return text + "\n" + ClassTable(image, segmentation);
}

std::string JsonReport(const GreyImage& image, const Segmentation& segmentation, const Options& options,
                       const std::vector<std::string>& files) {
  const bool isFuzzy = options.method != Method::KMeans;
  Json json;
  json["image"] = ImageJson(image, segmentation, options);
  json["method"] = NameOf(options.method);
  json["clusters"] = options.clusters;
  if (isFuzzy) json["fuzzifier"] = options.fuzzifier;
  if (isFuzzy) json["tolerance"] = options.tolerance;
  json["iterations_limit"] = options.iterations;
  json["starting_centroids"] = segmentation.start;
  json["iterations"] = segmentation.changes.size();
  json["last_change"] = segmentation.changes.back();
  json["converged"] = segmentation.hasConverged;
  AddEvidence(json, segmentation, options);
  json["classes"] = ClassesJson(image, segmentation);
  json["changes"] = segmentation.changes;
  json["files"] = files;
  // A path that is not UTF-8 is written with replacement characters rather than refused.
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace segment_mr
