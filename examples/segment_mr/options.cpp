#include "options.h"

#include <algorithm>
#include <cmath>

#include "model.h"
#include "support/command_line.h"

namespace segment_mr {

using example::kMostClusters;
using example::kMostEvidentialClusters;
using example::Method;
using example::Require;

namespace {

constexpr const char* kDescription =
    "Segments an MR image into tissue classes by clustering the intensities of its voxels above 0, and\n"
    "measures each class. Classes are numbered by increasing intensity.";

constexpr const char* kFooter =
    "Files written into the folder (all or none):\n"
    "  report.txt, report.json   centroids, areas (mm2) or volumes (ml), iterations, last change\n"
    "  panel.png                 image, labels and memberships side by side\n"
    "  labels.png                one colour per class, black outside; these and the next have the letters\n"
    "                            of the patient's directions around them, where the image tells them\n"
    "  membership_K.png          membership of class K, black 0, white 1\n"
    "  histogram.svg             intensities with the centroids and the memberships\n"
    "  convergence.svg           change in each iteration, but of tissue\n"
    "  undecided.png             ecm: mass on sets of several classes, black 0, white 1\n"
    "  undecided_over_labels.png ecm with --over: undecided in white over the labels of another run\n"
    "  outliers.png              ecm: mass on no class; with --fuse conflict.png: how much the images "
    "disagree\n"
    "and for a NIfTI or DICOM image, each in its place in the scanner, also of a single plane:\n"
    "  labels.nii.gz             class number per voxel, 0 outside; ecm: one above the classes is "
    "undecided;\n"
    "                            with --lesions: the next one is a lesion\n"
    "  labels.ctbl, labels.lut, labels.label.txt   names and colours for Slicer, FSLeyes and ITK-SNAP\n"
    "  membership_K.nii.gz       membership of class K; tissue: its fraction; ecm: its probability\n"
    "  bias_field.nii.gz         tissue: by which places are brighter; of channel K bias_field_K.nii.gz\n"
    "  plausibility_K.nii.gz     ecm: how far class K cannot be ruled out\n"
    "  undecided.nii.gz, outliers.nii.gz, conflict.nii.gz   ecm: as the pictures\n"
    "Of an image named as BIDS does (sub-01_T1w.nii.gz) these are sub-01_dseg.nii.gz,\n"
    "sub-01_label-GM_probseg.nii.gz and so on, each with its sidecar.\n"
    "The pictures of a whole volume show its middle plane along z.\n"
    "\n"
    "Examples:\n"
    "  segment_mr data/t1_brain_axial.nii.gz -c 4 -o result\n"
    "  segment_mr t1.nii.gz t2.nii.gz --method tissue --mask brain.nii.gz\n"
    "  segment_mr brain.nii.gz --axis z --index 90 --method kmeans --centroids 40,80,120\n"
    "  segment_mr t1.nii.gz --method ecm --fuse t2.nii.gz --centroids 30,60,90 --fuse-centroids 120,80,50\n";

void AddOptions(CLI::App& app, Options& options) {
  app.add_option(
         "IMAGE", options.channelPaths,
         "Image or volume to segment: .nii, .nii.gz, or .png\n(colours become their luminance), or DICOM: a "
         "file, a folder\nor a DICOMDIR; several are "
         "the channels of one\nscan, in one grid")
      ->required();
  app.add_flag(
      "--each", options.takesEach,
      "Several images are no channels: segment each into a folder of\nits name, with one row in summary.csv");
  example::AddOutputOptions(app, options.output);
  example::AddSeriesOptions(app, options.series);
  example::AddChoice<Method>(
      app, "-m,--method", options.settings.method,
      {{"tissue", Method::Tissue},
       {"fcm", Method::FuzzyCMeans},
       {"kmeans", Method::KMeans},
       {"ecm", Method::EvidentialCMeans}},
      "METHOD",
      "tissue (tissues, their mixtures and a bias field: the default), fcm\n(fuzzy c-means: the default of "
      "what has values below 0), kmeans, or\necm (evidential c-means: for undecided voxels and outliers; its "
      "labels\nalone are no tissue map)");
  example::AddNumber(app, "-c,--clusters", options.settings.clusters, 2, kMostClusters,
                     "Number of classes, 2 to 64 (ecm: to 10, tissue: to 16, and 3 without\nit)");
  app.add_option("--fuzzifier", options.settings.fuzzifier,
                 "Exponent of fuzzy and evidential c-means, above 1:\nlarger values blur the classes more")
      ->capture_default_str();
  app.add_option("--alpha", options.settings.alpha,
                 "Of ecm, 0 or more: larger values leave fewer voxels\nundecided between classes")
      ->capture_default_str();
  app.add_option("--rho", options.settings.rho,
                 "Of ecm, above 0: outliers are about so many mean\ndistances away from the classes")
      ->capture_default_str();
  app.add_option(
         "--fuse", options.fusedPath,
         "Of ecm: a second image of the same grid; the evidence of both\nis combined by Dempster's rule. "
         "Voxels above 0 in both count")
      ->type_name("SECOND_IMAGE");
  example::AddList(
      app, "--fuse-centroids", options.settings.fusedCentroids, "A,B",
      "Intensities of the second image to start from, in the order of\nthe first one's classes; without "
      "them its classes are numbered by\nincreasing intensity, too");
  app.add_option("--over", options.overPath,
                 "Of ecm: draw what is undecided over these labels of the same grid,\nof a run of another "
                 "method, instead of its own")
      ->type_name("LABELS");
  example::AddNumber(app, "-n,--iterations", options.settings.iterations, 1, 1000000,
                     "Most iterations, 1 to 1000000; without it ecm takes 1000");
  app.add_option("-t,--tolerance", options.settings.tolerance,
                 "Fuzzy c-means ends when no membership changes by more, ecm when\nthe centroids move by no "
                 "more on average; "
                 "k-means always when\nno voxel changes class")
      ->capture_default_str();
  example::AddList(app, "--centroids", options.settings.centroids, "A,B",
                   "Intensities to start from, one per class, separated by commas;\n"
                   "without them the classes start spread over the quantiles of the intensities");
  app.add_flag("--adjacent-sets", options.settings.keepsAdjacentSets,
               "Of ecm: no belief in sets of classes that are not neighbours in\nintensity");
  app.add_option(
         "--model", options.modelPath,
         "Divide by these clusters of many scans, a file of mth.cohort in\nPython, instead of looking for "
         "clusters: method, classes and\ntheir centroids are the model's")
      ->type_name("FILE");
  app.add_option("--mask", options.maskPath, "Image of the same grid: only voxels above 0 in it count")
      ->type_name("MASK");
  app.add_option("--lesions", options.lesionsPath,
                 "Image of the same grid: voxels above 0 in it are lesions, which are\nno class; they are "
                 "measured, and get a label after the others")
      ->type_name("MASK");
  app.add_option("--threshold", options.threshold,
                 "Voxels at or below this intensity are outside; below 0 for CT\nor z-scores")
      ->capture_default_str();
  // Two flags: a flag that can be negated sets its value also when it is not there.
  CLI::Option* denoise = app.add_flag_callback(
      "--denoise", [&options] { options.denoises = true; },
      "Take the noise off first (the default of tissue, but where values\nare below 0); voxels at 0 before "
      "or after it are outside");
  app.add_flag_callback(
         "--no-denoise", [&options] { options.denoises = false; }, "Take the image as it is")
      ->excludes(denoise);
  app.add_flag("--bias-field,!--no-bias-field", options.settings.estimatesField,
               "Of tissue: whether to look for a bias field (the default)");
  app.add_option("--sigma", options.sigma,
                 "Deviation of the noise for --denoise; without it it is estimated");
  example::AddSide(app, options.side);
  example::AddDicomOutputOptions(
      app, options.dicom,
      "Of a DICOM image: write its classes into this folder as a\nSegmentation object, "
      "too, which viewers lay over the image",
      "Write the membership of every class there instead of the labels");
  example::AddAxis(
      app, options.axis,
      "Segment one plane of a volume, across this axis of its grid:\nx, y or z (z with --index alone)");
  app.add_option("--index", options.index,
                 "Which plane, from 0 (the middle one with --axis alone);\n"
                 "without --axis and --index the whole volume is segmented");
}

void CheckCentroids(const std::string& option, std::vector<double> centroids, int clusters) {
  if (centroids.empty()) return;
  Require(centroids.size() == static_cast<std::size_t>(clusters), option + " needs one intensity per class");
  std::sort(centroids.begin(), centroids.end());
  Require(std::all_of(centroids.begin(), centroids.end(), [](double value) { return std::isfinite(value); }),
          option + " must be finite");
  Require(std::adjacent_find(centroids.begin(), centroids.end()) == centroids.end(), option + " must differ");
}

void CheckOptions(const Options& options) {
  Require(std::isfinite(options.settings.fuzzifier) && options.settings.fuzzifier > 1.0,
          "--fuzzifier must be above 1");
  Require(std::isfinite(options.settings.tolerance) && options.settings.tolerance >= 0.0,
          "--tolerance must not be negative");
  Require(std::isfinite(options.settings.alpha) && options.settings.alpha >= 0.0,
          "--alpha must not be negative");
  Require(std::isfinite(options.settings.rho) && options.settings.rho > 0.0, "--rho must be above 0");
  const bool isEvidential = options.settings.method == Method::EvidentialCMeans;
  Require(!isEvidential || options.settings.clusters <= kMostEvidentialClusters,
          "--method ecm takes 2 to 10 classes");
  Require(isEvidential || options.fusedPath.empty(), "--fuse needs --method ecm");
  Require(isEvidential || options.overPath.empty(), "--over needs --method ecm");
  Require(!options.fusedPath.empty() || options.settings.fusedCentroids.empty(),
          "--fuse-centroids needs --fuse");
  if (!options.settings.isGiven)
    CheckCentroids("--centroids", options.settings.centroids, options.settings.clusters);
  CheckCentroids("--fuse-centroids", options.settings.fusedCentroids, options.settings.clusters);
}

}  // namespace

namespace {

// What belongs to methods that iterate, and chooses fuzzy c-means where no method is named.
constexpr const char* kIterating[] = {"--fuzzifier", "--tolerance", "--iterations", "--centroids"};

// An option that the run would not look at is a misunderstanding.
void RefuseWhatDoesNotApply(const CLI::App& app, const Options& options) {
  const Method method = options.settings.method;
  const bool isTissue = method == Method::Tissue;
  for (const char* name : kIterating)
    Require(app.count(name) == 0 || !isTissue, std::string(name) + " does not belong to --method tissue");
  Require(app.count("--bias-field") == 0 || isTissue || options.isMethodOpen,
          "--bias-field needs --method tissue");
  Require(!isTissue || options.settings.clusters <= example::kMostTissues,
          "--method tissue takes 2 to 16 classes");
  Require(options.channelPaths.size() == 1 || options.takesEach || isTissue,
          "several images need --method tissue, or --each to be taken one by one");
  Require(options.fusedPath.empty() || options.channelPaths.size() == 1,
          "--fuse takes one image and its second");
  Require(options.dicom.folder.empty() || !options.takesEach, "--dicom-output does not belong to --each");
  for (const char* name : {"--alpha", "--rho", "--adjacent-sets"})
    Require(app.count(name) == 0 || method == Method::EvidentialCMeans,
            std::string(name) + " needs --method ecm");
  for (const char* name : {"--fuzzifier", "--tolerance"})
    Require(app.count(name) == 0 || method != Method::KMeans,
            std::string(name) + " does not belong to k-means");
  Require(app.count("--sigma") == 0 || options.denoises.value_or(isTissue || options.isMethodOpen),
          "--sigma needs --denoise");
  Require(std::isfinite(options.sigma) && options.sigma >= 0.0, "--sigma must not be negative");
  Require(std::isfinite(options.threshold), "--threshold must be a number");
}

// The clusters of a model, and nothing that would contradict it.
void UseModel(const CLI::App& app, Options& options) {
  for (const char* name : {"--method", "--clusters", "--fuzzifier", "--tolerance", "--iterations",
                           "--centroids", "--bias-field", "--fuse"})
    Require(app.count(name) == 0, std::string(name) + " does not belong to --model, which tells all of it");
  Require(options.channelPaths.size() == 1 || options.takesEach,
          "--model takes one image, or several with --each");
  TakeModel(options.modelPath, options.settings);
  options.isMethodOpen = false;
  options.isCountOpen = false;
}

void UseTissues(Options& options) {
  options.settings.method = Method::Tissue;
  options.isMethodOpen = false;
  if (options.isCountOpen) options.settings.clusters = example::kUsualTissues;
}

}  // namespace

void ChooseMethod(const std::vector<example::GreyImage>& channels, Options& options) {
  const bool areMagnitudes = std::all_of(channels.begin(), channels.end(), [](const auto& channel) {
    return std::all_of(channel.values.begin(), channel.values.end(),
                       [](double value) { return value >= 0.0; });
  });
  const bool isFew = options.settings.clusters <= example::kMostTissues;
  if (options.isMethodOpen && isFew && areMagnitudes) {
    UseTissues(options);
  } else if (options.isMethodOpen) {
    options.whyNoTissues = isFew ? "the image has values below 0" : "they are at most 16 classes";
    Require(!options.needsTissues, "--bias-field and --sigma are for tissues: " + options.whyNoTissues);
  }
  options.isMethodOpen = false;
  Require(options.sigma == 0.0 || areMagnitudes || options.denoises,
          "--sigma is for denoising, and the image has values below 0");
  if (!options.denoises) options.denoises = options.settings.method == Method::Tissue && areMagnitudes;
}

std::optional<Options> ParseOptions(int argc, char** argv) {
  Options options;
  CLI::App app(kDescription, "segment_mr");
  app.footer(std::string(kFooter) + "\n" + example::kReplacementText + example::kStatusText);
  AddOptions(app, options);
  if (!example::ParseCommandLine(app, argc, argv)) return std::nullopt;
  options.imagePath = options.channelPaths.front();
  const bool iterates = std::any_of(std::begin(kIterating), std::end(kIterating),
                                    [&](const char* name) { return app.count(name) > 0; });
  options.isCountOpen = app.count("--clusters") == 0;
  options.isMethodOpen = app.count("--method") == 0 && !iterates;
  options.needsTissues = (app.count("--bias-field") > 0 && options.settings.estimatesField) ||
                         (options.sigma > 0.0 && !options.denoises);
  if (app.count("--model") > 0) UseModel(app, options);
  const bool hasChannels = options.channelPaths.size() > 1 && !options.takesEach;
  if (options.isMethodOpen && hasChannels) UseTissues(options);
  if (options.settings.method == Method::Tissue && options.isCountOpen)
    options.settings.clusters = example::kUsualTissues;
  if (app.count("--iterations") == 0)
    options.settings.iterations = example::DefaultIterations(options.settings.method);
  RefuseWhatDoesNotApply(app, options);
  const bool countsCentroids = app.count("--clusters") == 0 && !options.settings.centroids.empty();
  if (countsCentroids) options.settings.clusters = static_cast<int>(options.settings.centroids.size());
  Require(options.settings.clusters >= 2 && options.settings.clusters <= kMostClusters,
          "--centroids needs 2 to 64 intensities");
  CheckOptions(options);
  return options;
}

}  // namespace segment_mr
