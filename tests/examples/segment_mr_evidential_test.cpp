#include <png.h>

#include <nlohmann/json.hpp>

#include "clustering/credal_cases.h"
#include "examples/host_run.h"

namespace {

using namespace mth_test;
using Json = nlohmann::json;

constexpr int kWidth = 6;
constexpr int kHeight = 4;

// Three tissues, pixels between them, two outside, and an intensity far from all.
const std::vector<int> kFirst{0,  20, 21, 22,  23,  40,  45,  60,  61, 62, 63, 64,
                              80, 84, 99, 100, 101, 102, 103, 104, 58, 0,  19, 250};
// The same pixels in another contrast: bright is dark. One more is outside.
const std::vector<int> kSecond{0,  201, 199, 198, 202, 160, 158, 121, 119, 118, 122, 120,
                               95, 90,  41,  40,  42,  39,  44,  38,  117, 5,   203, 0};

std::string Image(const ScratchFolder& folder, const std::string& name, const std::vector<int>& values) {
  NiftiFile file;
  file.dimensions = {2, kWidth, kHeight, 1, 1, 1, 1, 1};
  file.SetVoxels<std::uint8_t>(values);
  WriteFile(folder / name, file.Bytes(8));
  return folder / name;
}

Json SegmentByEvidence(const ScratchFolder& folder, const std::string& image, const std::string& options) {
  const std::string output = folder / "result";
  const ProgramRun run =
      RunProgram(MTH_SEGMENT_MR, Quoted(image) + " -o " + Quoted(output) + " --method ecm " + options);
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_EQ(run.errors, "");
  return Json::parse(ReadFile(output + "/report.json"), nullptr, false);
}

LiteralEvidential Start(const std::vector<int>& values, const std::vector<int>& others,
                        const Rows& centroids) {
  LiteralEvidential start;
  for (std::size_t pixel = 0; pixel < values.size(); ++pixel) {
    if (values[pixel] > 0 && others[pixel] > 0) start.samples.push_back({static_cast<double>(values[pixel])});
  }
  start.centroids = centroids;
  return start;
}

int ClassesOf(std::size_t hypotheses) {
  int classes = 0;
  while (std::size_t{1} << classes < hypotheses) ++classes;
  return classes;
}

// What the report tells of a row of masses, worked out from the subsets themselves.
struct Told {
  double undecided = 0.0;
  int undecidedVoxels = 0;
  int outlierVoxels = 0;
  std::vector<int> voxels;
  std::vector<double> lower;  // belief
  std::vector<double> upper;  // plausibility
};

Told Tell(const Rows& masses) {
  const std::vector<Subset> subsets = SortedSubsets(ClassesOf(masses[0].size()));
  Told told;
  told.voxels.assign(subsets.back().size(), 0);
  told.lower.assign(subsets.back().size(), 0.0);
  told.upper.assign(subsets.back().size(), 0.0);
  for (const auto& row : masses) {
    std::vector<double> probabilities(subsets.back().size(), 0.0);
    for (std::size_t j = 1; j < subsets.size(); ++j) {
      if (subsets[j].size() > 1) told.undecided += row[j] / static_cast<double>(masses.size());
      for (const int number : subsets[j]) {
        told.upper[static_cast<std::size_t>(number - 1)] += row[j];
        if (subsets[j].size() == 1) told.lower[static_cast<std::size_t>(number - 1)] += row[j];
      }
      for (const int number : subsets[j])
        probabilities[static_cast<std::size_t>(number - 1)] +=
            row[j] / static_cast<double>(subsets[j].size());
    }
    const auto largest = static_cast<std::size_t>(std::max_element(row.begin(), row.end()) - row.begin());
    told.undecidedVoxels += subsets[largest].size() > 1 ? 1 : 0;
    told.outlierVoxels += largest == 0 ? 1 : 0;
    if (subsets[largest].size() > 1) continue;  // labelled undecided
    ++told.voxels[static_cast<std::size_t>(std::max_element(probabilities.begin(), probabilities.end()) -
                                           probabilities.begin())];
  }
  return told;
}

void ExpectClasses(const Json& report, const Rows& centroids, const Told& told) {
  ASSERT_EQ(report["classes"].size(), centroids.size());
  for (std::size_t k = 0; k < centroids.size(); ++k) {
    EXPECT_NEAR(report["classes"][k]["centroid"].get<double>(), centroids[k][0], 1e-6);
    EXPECT_EQ(report["classes"][k]["voxels"], told.voxels[k]) << k;
    EXPECT_NEAR(report["classes"][k]["voxels_lower"].get<double>(), told.lower[k], 1e-6);
    EXPECT_NEAR(report["classes"][k]["area_mm2_upper"].get<double>(), told.upper[k], 1e-6);
  }
  EXPECT_NEAR(report["mean_undecided_mass"].get<double>(), told.undecided, 1e-6);
  EXPECT_EQ(report["undecided_voxels"], told.undecidedVoxels);
}

// Grey levels of a PNG, row by row; the image's first row is its lowest.
std::vector<int> ReadGrey(const std::string& path) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return {};
  image.format = PNG_FORMAT_GRAY;
  std::vector<png_byte> pixels(PNG_IMAGE_SIZE(image));
  png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr);
  std::vector<int> upwards;
  for (int row = kHeight - 1; row >= 0; --row) {
    const auto first = pixels.begin() + row * kWidth;
    upwards.insert(upwards.end(), first, first + kWidth);
  }
  return upwards;
}

TEST(SegmentMrEvidential, TellsWhatAnIndependentImplementationFinds) {
  const ScratchFolder folder;
  const std::string image = Image(folder, "image.nii", kFirst);
  for (const int iterations : {3, 1000}) {
    SCOPED_TRACE(iterations);
    LiteralEvidential expected = Start(kFirst, kFirst, {{20.0}, {60.0}, {100.0}});
    expected.alpha = 1.5;
    expected.beta = 1.8;
    expected.rho = 0.4;
    expected.Run(iterations);
    const Json report = SegmentByEvidence(
        folder, image,
        "--centroids 20,60,100 --alpha 1.5 --fuzzifier 1.8 --rho 0.4 -n " + std::to_string(iterations));
    const Told told = Tell(expected.masses);
    ExpectClasses(report, expected.centroids, told);
    EXPECT_EQ(report["converged"], expected.convergedAt >= 0);
    EXPECT_EQ(report["iterations"], expected.convergedAt >= 0 ? expected.convergedAt : iterations);
    EXPECT_EQ(report["changes"].size(), report["iterations"].get<std::size_t>());
    EXPECT_NEAR(report["last_change"].get<double>(), expected.movement, 1e-6);
    EXPECT_EQ(report["outlier_voxels"], told.outlierVoxels);
    EXPECT_GE(told.outlierVoxels, 1);
    EXPECT_GE(told.undecidedVoxels, 1);

    double outliers = 0.0;
    std::size_t sample = 0;
    const std::vector<int> outlierPicture = ReadGrey(folder / "result/outliers.png");
    const std::vector<int> undecidedPicture = ReadGrey(folder / "result/undecided.png");
    ASSERT_EQ(outlierPicture.size(), kFirst.size());
    for (std::size_t pixel = 0; pixel < kFirst.size(); ++pixel) {
      const bool isInside = kFirst[pixel] > 0;
      const auto& masses = expected.masses[std::min(sample, expected.masses.size() - 1)];
      const double undecided = masses[4] + masses[5] + masses[6] + masses[7];
      EXPECT_NEAR(outlierPicture[pixel], isInside ? 255.0 * masses[0] : 0.0, 0.51) << pixel;
      EXPECT_NEAR(undecidedPicture[pixel], isInside ? 255.0 * undecided : 0.0, 0.51) << pixel;
      if (isInside) outliers += expected.masses[sample++][0];
    }
    EXPECT_NEAR(report["mean_outlier_mass"].get<double>(), outliers / static_cast<double>(sample), 1e-6);
  }
}

// The second image's classes in the first one's order, from dark to bright there, whether they are found by
// intensity or named by their start.
TEST(SegmentMrEvidential, FusesTwoImagesByDempstersRule) {
  const ScratchFolder folder;
  const std::string first = Image(folder, "first.nii", kFirst);
  std::vector<int> inverted = kSecond;
  for (int& value : inverted) value = value == 0 ? 0 : 255 - value;
  const struct {
    const std::vector<int>& values;
    Rows start;
    std::string option;
  } cases[] = {{kSecond, {{200.0}, {120.0}, {40.0}}, "--fuse-centroids 200,120,40"},
               {inverted, {{55.0}, {127.0}, {210.0}}, "--fuse-centroids 55,127,210"}};
  for (const auto& [values, start, option] : cases) {
    SCOPED_TRACE(option);
    const std::string second = Image(folder, "second.nii", values);
    LiteralEvidential one = Start(kFirst, values, {{20.0}, {60.0}, {100.0}});
    LiteralEvidential other = Start(values, kFirst, start);
    one.Run(1000);
    other.Run(1000);
    const MTH_MATRIX oneMasses = ToMatrix(one.masses);
    const MTH_MATRIX otherMasses = ToMatrix(other.masses);
    const std::vector<Subset> subsets = SortedSubsets(3);
    Rows fused;
    double conflict = 0.0;
    for (int i = 0; i < oneMasses.GetNbRows(); ++i) {
      std::map<Subset, double> masses = Fused(oneMasses, otherMasses, i, Loss::None);
      const double lost = masses[Subset()];
      conflict += lost / static_cast<double>(one.masses.size());
      fused.emplace_back();
      for (const Subset& subset : subsets)
        fused.back().push_back(subset.empty() ? 0.0 : masses[subset] / (1.0 - lost));
    }
    const Json report =
        SegmentByEvidence(folder, first, "--centroids 20,60,100 --fuse " + Quoted(second) + " " + option);
    ExpectClasses(report, one.centroids, Tell(fused));
    const Json& told = report["fused"];
    EXPECT_EQ(told["path"], second);
    EXPECT_EQ(told["converged"], true);
    EXPECT_EQ(told["iterations"], other.convergedAt);
    EXPECT_NEAR(told["mean_conflict"].get<double>(), conflict, 1e-6);
    for (std::size_t k = 0; k < 3; ++k) {
      EXPECT_NEAR(told["centroids"][k].get<double>(), other.centroids[k][0], 1e-6);
    }
    EXPECT_TRUE(std::filesystem::exists(folder / "result/conflict.png"));
    EXPECT_FALSE(std::filesystem::exists(folder / "result/outliers.png"));
    EXPECT_EQ(report["image"]["voxels_above_zero"], 21);  // those of both
  }
}

// Voxels whose largest mass is on several classes bear a label of their own. Without sets of classes that are
// not neighbours the decided ones follow the grey levels.
TEST(SegmentMrEvidential, LabelsTellWhatIsUndecidedAndFollowGreyLevels) {
  const ScratchFolder folder;
  std::vector<int> ramp;
  for (int pixel = 0; pixel < kWidth * kHeight; ++pixel) ramp.push_back(20 + 4 * pixel);
  const std::string image = Image(folder, "ramp.nii", ramp);
  for (const bool adjacent : {false, true}) {
    const Json report = SegmentByEvidence(
        folder, image, std::string("-c 3 --alpha 0.5 ") + (adjacent ? "--adjacent-sets" : ""));
    const std::string labels = ReadGzip(folder / "result/labels.nii.gz").substr(352);
    EXPECT_EQ(std::count(labels.begin(), labels.end(), '\4'), report["undecided_voxels"].get<int>());
    EXPECT_GT(report["undecided_voxels"], 0);
    std::string decided = labels;
    std::erase(decided, '\4');
    EXPECT_TRUE(!adjacent || std::is_sorted(decided.begin(), decided.end()));
    for (int k = 1; k <= 3; ++k) {
      EXPECT_EQ(report["classes"][static_cast<std::size_t>(k - 1)]["voxels"].get<long>(),
                std::count(labels.begin(), labels.end(), static_cast<char>(k)));
    }
  }
}

// What is undecided can be shown over the labels of another method.
TEST(SegmentMrEvidential, ShowsWhatIsUndecidedOverOtherLabels) {
  const ScratchFolder folder;
  const std::string image = Image(folder, "image.nii", kFirst);
  const std::string over = Image(folder, "over.nii", std::vector<int>(kFirst.size(), 65));
  const ProgramRun run = RunProgram(
      MTH_SEGMENT_MR, Quoted(image) + " -m ecm -c 3 --over " + Quoted(over) + " -o " + Quoted(folder / "no"));
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.errors.find("--over needs labels from 0 to 64"), std::string::npos) << run.errors;
  SegmentByEvidence(folder, image,
                    "-c 3 --over " + Quoted(Image(folder, "over.nii", std::vector<int>(kFirst.size(), 2))));
  EXPECT_TRUE(std::filesystem::exists(folder / "result/undecided_over_labels.png"));
}

// Classes are numbered by intensity, whatever the order of the start, and so are those of the second image.
TEST(SegmentMrEvidential, TheOrderOfTheStartDoesNotMatter) {
  const ScratchFolder folder;
  const std::string image = Image(folder, "image.nii", kFirst);
  Json reports[2];
  const char* const starts[] = {"20,60,100", "100,20,60"};
  for (int n = 0; n < 2; ++n) {
    reports[n] = SegmentByEvidence(folder, image,
                                   std::string("--fuse ") + Quoted(image) + " --centroids " + starts[n]);
  }
  for (std::size_t k = 0; k < 3; ++k) {
    EXPECT_NEAR(reports[0]["classes"][k]["centroid"].get<double>(),
                reports[1]["classes"][k]["centroid"].get<double>(), 1e-3);
    EXPECT_EQ(reports[0]["classes"][k]["voxels"], reports[1]["classes"][k]["voxels"]);
  }
  EXPECT_NEAR(reports[0]["fused"]["mean_conflict"].get<double>(),
              reports[1]["fused"]["mean_conflict"].get<double>(), 1e-3);
}

}  // namespace
