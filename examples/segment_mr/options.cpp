#include "options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cmath>
#include <iostream>

#include "support/failure.h"

namespace segment_mr {

namespace {

constexpr const char* kDescription =
    "Segments an MR image into tissue classes by clustering the intensities of its voxels above 0, and\n"
    "measures each class. Classes are numbered by increasing intensity.";

constexpr const char* kFooter =
    "Files written into the folder (all or none; those of an earlier run are replaced):\n"
    "  report.txt, report.json   centroids, areas (mm2) or volumes (ml), iterations, last change\n"
    "  panel.png                 image, labels and memberships side by side\n"
    "  labels.png                one colour per class, black outside\n"
    "  membership_K.png          membership of class K, black 0, white 1\n"
    "  histogram.svg             intensities with the centroids and the memberships\n"
    "  convergence.svg           change in each iteration\n"
    "  labels.nii.gz             for a whole volume: class number per voxel, 0 outside\n"
    "The pictures of a whole volume show its middle plane along z.\n"
    "\n"
    "Exit status: 0 done, 2 failure (one line on standard error, nothing written).\n"
    "\n"
    "Examples:\n"
    "  segment_mr data/t1_brain_axial.nii.gz -c 4 -o result\n"
    "  segment_mr brain.nii.gz --axis z --index 90 --method kmeans --centroids 40,80,120\n";

void AddOptions(CLI::App& app, Options& options) {
  app.add_option("IMAGE", options.imagePath,
                 "Image or volume to segment: .nii, .nii.gz, or .png\n(colours become their luminance)")
      ->required();
  app.add_option("-o,--output", options.outputPath, "Folder for the results, created if it is missing")
      ->type_name("FOLDER")
      ->capture_default_str();
  app.add_option_function<std::string>(
         "-m,--method",
         [&options](const std::string& name) {
           options.method = name == "kmeans" ? Method::KMeans : Method::FuzzyCMeans;
         },
         "fcm (fuzzy c-means, the default) or kmeans")
      ->check(CLI::IsMember({"fcm", "kmeans"}).description(""))
      ->type_name("METHOD");
  app.add_option("-c,--clusters", options.clusters, "Number of classes, 2 to 64")
      ->check(CLI::Range(2, kMostClusters).description(""))
      ->capture_default_str();
  app.add_option("--fuzzifier", options.fuzzifier,
                 "Exponent of fuzzy c-means, above 1: larger values\nblur the classes more")
      ->capture_default_str();
  app.add_option("-n,--iterations", options.iterations, "Most iterations, 1 to 1000000")
      ->check(CLI::Range(1, 1000000).description(""))
      ->capture_default_str();
  app.add_option(
         "-t,--tolerance", options.tolerance,
         "Fuzzy c-means ends when no membership changes by more;\nk-means always when no voxel changes class")
      ->capture_default_str();
  app.add_option("--centroids", options.centroids,
                 "Intensities to start from, one per class, separated by commas;\n"
                 "without them the classes start spread over the quantiles of the intensities")
      ->delimiter(',')
      ->allow_extra_args(false)
      ->type_name("A,B");
  app.add_flag("--denoise", options.denoises,
               "Take the noise off first, plane by plane along z; voxels at 0\nstay outside");
  app.add_option_function<std::string>(
         "--axis", [&options](const std::string& name) { options.axis = name.front() - 'x'; },
         "Segment one plane of a volume, across this axis of its grid:\nx, y or z (z with --index alone)")
      ->check(CLI::IsMember({"x", "y", "z"}).description(""))
      ->type_name("AXIS");
  app.add_option("--index", options.index,
                 "Which plane, from 0 (the middle one with --axis alone);\n"
                 "without --axis and --index the whole volume is segmented");
}

void Require(bool isTrue, const char* text) {
  if (!isTrue) throw example::Failure(text);
}

void CheckOptions(const Options& options) {
  Require(!options.outputPath.empty(), "--output needs a folder");
  Require(std::isfinite(options.fuzzifier) && options.fuzzifier > 1.0, "--fuzzifier must be above 1");
  Require(std::isfinite(options.tolerance) && options.tolerance >= 0.0, "--tolerance must not be negative");
  if (options.centroids.empty()) return;
  Require(options.centroids.size() == static_cast<std::size_t>(options.clusters),
          "--centroids needs one intensity per class");
  std::vector<double> sorted = options.centroids;
  std::sort(sorted.begin(), sorted.end());
  Require(std::all_of(sorted.begin(), sorted.end(), [](double value) { return std::isfinite(value); }),
          "--centroids must be finite");
  Require(std::adjacent_find(sorted.begin(), sorted.end()) == sorted.end(), "--centroids must differ");
}

}  // namespace

std::optional<Options> ParseOptions(int argc, char** argv) {
  Options options;
  CLI::App app(kDescription, "segment_mr");
  app.footer(kFooter);
  AddOptions(app, options);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForHelp&) {
    std::cout << app.help();
    return std::nullopt;
  } catch (const CLI::ParseError& error) {
    throw example::Failure(std::string(error.what()) + " (--help lists the options)");
  }
  const bool countsCentroids = app.count("--clusters") == 0 && !options.centroids.empty();
  if (countsCentroids) options.clusters = static_cast<int>(options.centroids.size());
  Require(options.clusters >= 2 && options.clusters <= kMostClusters,
          "--centroids needs 2 to 64 intensities");
  CheckOptions(options);
  return options;
}

const char* NameOf(Method method) {
  return method == Method::KMeans ? "k-means" : "fuzzy c-means";
}

}  // namespace segment_mr
