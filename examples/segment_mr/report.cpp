#include "report.h"

#include <cmath>
#include <numeric>
#include <optional>

#include "lesions.h"
#include "maps.h"
#include "support/batch.h"
#include "support/json_text.h"
#include "support/raster.h"
#include "support/resources.h"
#include "support/text.h"

namespace segment_mr {

using example::Segmentation;

namespace {

using example::Colour;
using example::Evidence;
using example::Fixed;
using example::FusedImage;
using example::GreyImage;
using example::Inside;
using example::Json;
using example::Method;
using example::NameOf;
using example::RightAligned;
using example::Rounded;

constexpr double kCubicMillimetresPerMillilitre = 1000.0;

// Area of a pixel in mm2, or volume of a voxel in ml.
std::optional<double> MeasurePerVoxel(const GreyImage& image) {
  if (!image.voxelSize) return std::nullopt;
  const auto [x, y, z] = *image.voxelSize;
  return example::IsVolume(image) ? x * y * z / kCubicMillimetresPerMillilitre : x * y;
}

std::size_t InsideCount(const Segmentation& segmentation) {
  const std::size_t undecided = segmentation.evidence ? segmentation.evidence->undecidedVoxels : 0;
  return std::accumulate(segmentation.voxelCounts.begin(), segmentation.voxelCounts.end(), undecided);
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
  std::string text = std::string(NameOf(options.settings.method)) + ", " +
                     std::to_string(options.settings.clusters) + " classes";
  if (options.settings.method == Method::Tissue)
    return text + (options.settings.estimatesField ? ", with a bias field" : ", without a bias field");
  if (options.settings.method == Method::KMeans) return text;
  text += ", fuzzifier " + Rounded(options.settings.fuzzifier, 6);
  if (options.settings.method == Method::EvidentialCMeans) {
    text += ", alpha " + Rounded(options.settings.alpha, 6) + ", rho " + Rounded(options.settings.rho, 6);
  }
  return text + ", tolerance " + Rounded(options.settings.tolerance, 6);
}

std::string IterationsText(const Segmentation& segmentation, const Options& options) {
  return std::to_string(segmentation.changes.size()) + " of at most " +
         std::to_string(options.settings.iterations) +
         (segmentation.hasConverged ? " (converged)" : " (not converged)");
}

// Of each image, or of each plane of one that is too thin for blocks.
std::string NoiseText(const Options& options) {
  std::string text = "before the segmentation, noise of standard deviation";
  for (const double deviation : options.deviations) text.append(" ").append(Rounded(deviation, 4));
  return text + (options.sigma > 0.0 ? " (given)" : "");
}

std::string Row(const std::string& name, const std::string& value) {
  std::string row = "  " + name;
  row.resize(16, ' ');
  return row + value + "\n";
}

// A row of the table of classes; the shares of all rows add up to 100 %.
std::string ClassRow(const std::string& name, Colour colour, const std::string& middle, double count,
                     const std::optional<double>& measure, double inside, std::optional<double> soft) {
  return RightAligned(name, 11) + "  " + HexText(colour) + RightAligned(middle, 33) +
         RightAligned(Fixed(count, 0), 10) +
         RightAligned(measure ? Fixed(count * *measure, 2) : "unknown", 13) +
         RightAligned(Fixed(100.0 * count / inside, 1) + " %", 9) +
         RightAligned(soft && measure ? Fixed(*soft * *measure, 2) : "", 14) + "\n";
}

std::string ClassTable(const GreyImage& image, const Segmentation& segmentation, const Options& options) {
  const bool isVolume = example::IsVolume(image);
  const std::optional<double> measure = MeasurePerVoxel(image);
  const auto colours = LabelColours(segmentation);
  const auto names = LabelNames(segmentation, options);
  const std::size_t lesions = CountLesions(segmentation);
  const double inside = static_cast<double>(InsideCount(segmentation) + lesions);
  std::string table = std::string("      class  colour    centroid       mean  deviation  ") +
                      (isVolume ? "  voxels" : "  pixels") +
                      (isVolume ? "  volume (ml)" : "   area (mm\u00b2)") + "    share   memberships\n";
  const auto column = [](double value) {
    return RightAligned(std::isfinite(value) ? Fixed(value, 2) : "-", 11);
  };
  for (std::size_t k = 0; k < segmentation.centroids.size(); ++k) {
    const std::string middle = column(segmentation.centroids[k]) + column(segmentation.means[k]) +
                               column(segmentation.deviations[k]);
    table += ClassRow(names[k], colours[k], middle, static_cast<double>(segmentation.voxelCounts[k]), measure,
                      inside, segmentation.softVoxels[k]);
  }
  const auto addRow = [&](const std::string& name, Colour colour, std::size_t voxels) {
    table += ClassRow(name, colour, "", static_cast<double>(voxels), measure, inside, std::nullopt);
  };
  if (segmentation.evidence)
    addRow("undecided", example::kUndecidedColour, segmentation.evidence->undecidedVoxels);
  if (!segmentation.isLesion.empty()) addRow(kLesionName, example::kLesionColour, lesions);
  return table;
}

// What belief and plausibility leave open of each class.
std::string BoundsTable(const GreyImage& image, const Evidence& evidence) {
  const std::optional<double> measure = MeasurePerVoxel(image);
  const std::string unit = !measure                   ? (example::IsVolume(image) ? "voxels" : "pixels")
                           : example::IsVolume(image) ? "ml"
                                                      : "mm\u00b2";
  std::string table = "\n  Bounds (";
  table.append(unit).append(")   at least    at most\n");
  for (std::size_t k = 0; k < evidence.lowerVoxels.size(); ++k) {
    const double factor = measure.value_or(1.0);
    table += RightAligned(std::to_string(k + 1), 7) +
             RightAligned(Fixed(factor * evidence.lowerVoxels[k], 2), 18) +
             RightAligned(Fixed(factor * evidence.upperVoxels[k], 2), 11) + "\n";
  }
  return table;
}

Json ImageJson(const GreyImage& image, const Inside& inside, const Options& options) {
  const std::size_t count = example::IsVolume(image) ? 3 : 2;
  Json json;
  json["path"] = options.imagePath;
  if (options.channelPaths.size() > 1) json["channels"] = options.channelPaths;
  json["size"] =
      std::vector<int>(image.size.begin(), image.size.begin() + static_cast<std::ptrdiff_t>(count));
  json["voxel_size_mm"] = nullptr;
  if (image.voxelSize) json["voxel_size_mm"] = *image.voxelSize;
  json["plane"] = nullptr;
  if (options.axis)
    json["plane"] = {{"axis", std::string(1, "xyz"[*options.axis])}, {"index", *options.index}};
  json["denoised"] = options.denoises.value_or(false);
  json["noise_deviations"] = options.deviations;
  json["mask"] = nullptr;
  if (!options.maskPath.empty()) json["mask"] = options.maskPath;
  json["threshold"] = options.threshold;
  json["voxels_above_zero"] = inside.voxels;
  json["dropped_voxels"] = inside.dropped;
  json["not_finite_voxels"] = image.replaced.size();
  return json;
}

std::string MeasureName(const GreyImage& image) {
  return example::IsVolume(image) ? "volume_ml" : "area_mm2";
}

Json ClassesJson(const GreyImage& image, const Segmentation& segmentation, const Options& options) {
  const std::optional<double> measure = MeasurePerVoxel(image);
  const std::string measureName = MeasureName(image);
  const auto colours = LabelColours(segmentation);
  const auto names = LabelNames(segmentation, options);
  const auto measured = [&](double voxels) { return measure ? Json(voxels * *measure) : Json(nullptr); };
  Json classes = Json::array();
  for (std::size_t k = 0; k < segmentation.centroids.size(); ++k) {
    Json entry;
    entry["label"] = k + 1;
    entry["name"] = names[k];
    entry["colour"] = HexText(colours[k]);
    entry["centroid"] = segmentation.centroids[k];
    entry["mean"] = segmentation.means[k];
    entry["deviation"] = segmentation.deviations[k];
    entry["voxels"] = segmentation.voxelCounts[k];
    entry[measureName] = measured(static_cast<double>(segmentation.voxelCounts[k]));
    entry["soft_voxels"] = segmentation.softVoxels[k];
    entry["soft_" + measureName] = measured(segmentation.softVoxels[k]);
    if (segmentation.evidence) {
      const Evidence& evidence = *segmentation.evidence;
      entry["voxels_lower"] = evidence.lowerVoxels[k];
      entry["voxels_upper"] = evidence.upperVoxels[k];
      entry[measureName + "_lower"] = measured(evidence.lowerVoxels[k]);
      entry[measureName + "_upper"] = measured(evidence.upperVoxels[k]);
    }
    classes.push_back(entry);
  }
  return classes;
}

// What a mask told of lesions; null without one.
Json LesionsJson(const GreyImage& image, const Segmentation& segmentation, const Options& options) {
  if (segmentation.isLesion.empty()) return nullptr;
  const std::optional<double> measure = MeasurePerVoxel(image);
  const std::size_t voxels = CountLesions(segmentation);
  Json json = {{"path", options.lesionsPath}, {"label", LesionLabel(segmentation)}, {"voxels", voxels}};
  json[MeasureName(image)] = measure ? Json(static_cast<double>(voxels) * *measure) : Json(nullptr);
  return json;
}

double MeanInside(const std::vector<float>& values, const Segmentation& segmentation) {
  return std::accumulate(values.begin(), values.end(), 0.0) / static_cast<double>(InsideCount(segmentation));
}

// Of the field inside, as a share of its mean: how unevenly bright the image is.
double FieldDeviation(const std::vector<double>& field, const Segmentation& segmentation) {
  const auto over = [&](const auto& term) {
    double sum = 0.0;
    for (std::size_t i = 0; i < field.size(); ++i) {
      if (segmentation.labels[i] != 0) sum += term(field[i]);
    }
    return sum / static_cast<double>(InsideCount(segmentation));
  };
  const double mean = over([](double value) { return value; });
  return std::sqrt(over([&](double value) { return (value - mean) * (value - mean); })) / mean;
}

Json FieldDeviations(const Segmentation& segmentation, const Options& options) {
  Json deviations = Json::array();
  if (!options.settings.estimatesField) return deviations;
  for (const auto& field : segmentation.fields) deviations.push_back(FieldDeviation(field, segmentation));
  return deviations;
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
  json["alpha"] = options.settings.alpha;
  json["rho"] = options.settings.rho;
  json["adjacent_sets"] = options.settings.keepsAdjacentSets;
  json["undecided_label"] = segmentation.centroids.size() + 1;
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

std::string TextReport(const GreyImage& image, const Inside& inside, const Segmentation& segmentation,
                       const Options& options) {
  std::string text = "Segmentation of " + options.imagePath + "\n\n";
  text += Row("image", SizeText(image) + ", " + std::to_string(inside.voxels) + " above " +
                           Rounded(options.threshold, 6));
  if (options.axis) text += Row("plane", PlaneText(options));
  if (!options.maskPath.empty()) text += Row("mask", options.maskPath);
  if (!options.lesionsPath.empty()) text += Row("lesions", options.lesionsPath);
  if (inside.dropped > 0) {
    const std::size_t odd = image.replaced.size();
    text += Row("left out", std::to_string(inside.dropped) + (IsVolume(image) ? " voxels" : " pixels") +
                                (options.maskPath.empty() ? "" : " of the mask") +
                                (odd > 0 ? ", " + std::to_string(odd) + " of them not finite" : ""));
  }
  if (options.denoises.value_or(false)) text += Row("denoised", NoiseText(options));
  text += Row("method", MethodText(options));
  if (!segmentation.changes.empty()) {
    text += Row("iterations", IterationsText(segmentation, options));
    text += Row("last change", Rounded(segmentation.changes.back(), 6));
  }
  text += Row("ended", segmentation.stopReason);
  text += Row("took", Fixed(options.clock.Seconds(), 1) + " s, at most " +
                          Fixed(example::PeakMebibytes(), 0) + " MiB");
  if (segmentation.fused) text += Row("fused with", FusedText(*segmentation.fused, options));
  if (segmentation.evidence) text += EvidenceRows(image, segmentation);
  for (const std::string& warning : segmentation.warnings) text += Row("warning", warning);
  text.append("\n").append(ClassTable(image, segmentation, options));
  return segmentation.evidence ? text + BoundsTable(image, *segmentation.evidence) : text;
}

std::string JsonReport(const GreyImage& image, const Inside& inside, const Segmentation& segmentation,
                       const Options& options, const std::vector<std::string>& files) {
  const bool isTissue = options.settings.method == Method::Tissue;
  const bool isFuzzy = options.settings.method != Method::KMeans && !isTissue;
  Json json;
  json["image"] = ImageJson(image, inside, options);
  json["method"] = NameOf(options.settings.method);
  if (!options.modelPath.empty()) json["model"] = options.modelPath;
  json["clusters"] = options.settings.clusters;
  if (isFuzzy) json["fuzzifier"] = options.settings.fuzzifier;
  if (isFuzzy) json["tolerance"] = options.settings.tolerance;
  if (isTissue) {
    json["bias_field"] = options.settings.estimatesField;
    json["bias_field_deviations"] = FieldDeviations(segmentation, options);
  } else {
    json["iterations_limit"] = options.settings.iterations;
    json["starting_centroids"] = segmentation.start;
    json["iterations"] = segmentation.changes.size();
    json["last_change"] = segmentation.changes.back();
  }
  json["converged"] = segmentation.hasConverged;
  json["stop_reason"] = segmentation.stopReason;
  json["warnings"] = segmentation.warnings;
  AddEvidence(json, segmentation, options);
  json["classes"] = ClassesJson(image, segmentation, options);
  json["lesions"] = LesionsJson(image, segmentation, options);
  json["changes"] = segmentation.changes;
  json["seconds"] = options.clock.Seconds();
  json["peak_memory_mib"] = example::PeakMebibytes();
  json["files"] = files;
  return example::JsonText(json);
}

// One row for each scan: what differs in number between scans stands in columns of its own.
std::string SummaryHeader() {
  return "image,method,classes,converged,unit,centroids,amounts,soft amounts\n";
}

std::string SummaryRow(const GreyImage& image, const Segmentation& segmentation, const Options& options) {
  const std::optional<double> measure = MeasurePerVoxel(image);
  const char* unit = !measure ? "voxels" : example::IsVolume(image) ? "ml" : "mm2";
  std::string centroids;
  std::string amounts;
  std::string softAmounts;
  for (std::size_t k = 0; k < segmentation.centroids.size(); ++k) {
    const std::string separator = k == 0 ? "" : " ";
    centroids.append(separator).append(Rounded(segmentation.centroids[k], 6));
    amounts.append(separator).append(
        Rounded(static_cast<double>(segmentation.voxelCounts[k]) * measure.value_or(1.0), 8));
    softAmounts.append(separator).append(Rounded(segmentation.softVoxels[k] * measure.value_or(1.0), 8));
  }
  std::string row = example::CsvField(options.imagePath);
  row.append(",").append(NameOf(options.settings.method)).append(",");
  row.append(std::to_string(segmentation.centroids.size()))
      .append(segmentation.hasConverged ? ",yes," : ",no,");
  return row.append(unit).append(",").append(centroids).append(",").append(amounts).append(",").append(
             softAmounts) +
         "\n";
}

}  // namespace segment_mr
