#include <algorithm>
#include <cmath>
#include <filesystem>
#include <random>

#include "examples/segment_mr_run.h"

namespace {

using namespace mth_test;

// Means and deviations of classes by hand; memberships as a map in the image's grid; names for other
// programs.
TEST(SegmentMr, ResultsCanBeTakenFurther) {
  const ScratchFolder folder;
  NiftiFile file = TwoClasses();
  file.SetVoxels<std::uint8_t>({10, 60, 62, 0, 64, 12});
  WriteFile(folder / "sub-01_ses-2_T1w.nii", file.Bytes(8));
  WriteFile(folder / "plain.nii", file.Bytes(8));
  const Json report = Segment(folder, folder / "plain.nii", "-m KMEANS -c 2");
  ExpectNear(Column(report, "mean"), {11.0, 62.0}, 1e-12);
  ExpectNear(Column(report, "deviation"), {1.0, std::sqrt(8.0 / 3.0)}, 1e-12);
  ExpectNear(Column(report, "soft_area_mm2"), {2.0, 3.0}, 1e-9);
  const std::string membership = ReadGzip(folder / "result/membership_2.nii.gz");
  ASSERT_EQ(membership.size(), kHeaderBytes + 6 * sizeof(float));
  const std::vector<float> expected{0, 1, 1, 0, 1, 0};
  for (std::size_t i = 0; i < 6; ++i) EXPECT_EQ(FloatAt(membership, kHeaderBytes + 4 * i), expected[i]) << i;
  EXPECT_EQ(ReadFile(folder / "result/labels.ctbl").find("0 outside 0 0 0 0\n1 class1 0 114 178 255\n"), 0U);
  EXPECT_EQ(ReadFile(folder / "result/labels.lut").find("1 0.00000 0.44706 0.69804 class1\n"), 0U);
  EXPECT_NE(ReadFile(folder / "result/labels.label.txt").find("1 0 114 178 1 1 1 \"class1\"\n"),
            std::string::npos);

  for (const float length : {0.0F, NAN, INFINITY}) {  // an area that nobody knows
    file.voxelSize[0] = length;
    WriteFile(folder / "plain.nii", file.Bytes(8));
    const Json unknown = Segment(folder, folder / "plain.nii", "-m kmeans -c 2");
    EXPECT_TRUE(unknown["classes"][0]["area_mm2"].is_null() && unknown["image"]["voxel_size_mm"].is_null());
  }

  Segment(folder, folder / "sub-01_ses-2_T1w.nii", "-m kmeans -c 3 --centroids 10,12,62");
  for (const char* name : {"dseg", "label-CSF_probseg", "label-GM_probseg", "label-WM_probseg"}) {
    for (const char* ending : {".nii.gz", ".json"})
      EXPECT_TRUE(std::filesystem::exists(folder / ("result/sub-01_ses-2_" + std::string(name) + ending)))
          << name;
  }
  EXPECT_EQ(Json::parse(ReadFile(folder / "result/sub-01_ses-2_dseg.json"))["LabelMap"]["2"], "GM");
}

// Lesions change no class, wherever they are, and are a label, an area and a name of their own.
TEST(SegmentMr, KeepsLesionsOutOfTheClasses) {
  const ScratchFolder folder;
  NiftiFile file = TwoClasses();
  file.SetVoxels<std::uint8_t>({10, 60, 62, 0, 64, 12});
  WriteFile(folder / "image.nii", file.Bytes(8));
  file.SetVoxels<std::uint8_t>({0, 0, 1, 7, 0, 0});  // one where nothing is, too
  WriteFile(folder / "lesions.nii", file.Bytes(8));
  const std::string lesions = "--lesions " + Quoted(folder / "lesions.nii");
  for (const std::string method : {"kmeans", "ecm"}) {
    const Json report = Segment(folder, folder / "image.nii", "-c 2 -m " + method + " " + lesions);
    const char label = method == "ecm" ? '\4' : '\3';  // above what is undecided
    const std::string labels = ReadGzip(folder / "result/labels.nii.gz").substr(kHeaderBytes);
    EXPECT_EQ(labels, std::string({1, 2, label, label, 2, 1}));
    ExpectNear(Column(report, "mean"), {11.0, 62.0}, 1e-12);
    EXPECT_EQ(report["lesions"], (Json{{"path", folder / "lesions.nii"},
                                       {"label", static_cast<int>(label)},
                                       {"voxels", 2},
                                       {"area_mm2", 2.0}}));
    EXPECT_NE(
        ReadFile(folder / "result/labels.ctbl").find(std::to_string(label) + " lesions 255 0 255 255\n"),
        std::string::npos);
  }
  EXPECT_NE(ReadFile(folder / "result/report.txt").find("lesions  #ff00ff"), std::string::npos);
  EXPECT_TRUE(Segment(folder, folder / "image.nii", "-c 2 -m kmeans")["lesions"].is_null());
  file.datatype = 16;
  file.voxels.clear();
  for (const float share : {0.0F, 0.0F, 0.3F, 0.9F, 0.0F, 0.0F}) file.voxels += file.Stored(share);
  WriteFile(folder / "lesions.nii", file.Bytes(32));
  const ProgramRun run = RunProgram(
      MTH_SEGMENT_MR, Quoted(folder / "image.nii") + " -c 2 " + lesions + " -o " + Quoted(folder / "result"));
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.errors.find("--lesions needs a mask of whole numbers"), std::string::npos) << run.errors;
}

// A volume of two tissues with a mixture between them and a field along x that a brightness alone cannot
// tell.
NiftiFile TissueVolume(std::vector<int>& truth) {
  NiftiFile file;
  file.dimensions = {3, 32, 24, 16, 1, 1, 1, 1};
  file.voxelSize = {2.0F, 2.0F, 2.0F};
  file.datatype = 16;
  std::mt19937 engine(1);
  for (int z = 0; z < 16; ++z) {
    for (int y = 0; y < 24; ++y) {
      for (int x = 0; x < 32; ++x) {
        const int tissue = (x / 4 + y / 4 + z / 4) % 3;
        const double field = 1.0 + 0.4 * (x - 16) / 32.0;
        const double noise = (static_cast<double>(engine() % 1000) - 500.0) / 100.0;
        truth.push_back(tissue + 1);
        file.voxels += file.Stored(static_cast<float>(field * (100.0 + 100.0 * tissue) + noise));
      }
    }
  }
  return file;
}

double Agreement(const ScratchFolder& folder, const std::vector<int>& truth) {
  const std::string labels = ReadGzip(folder / "result/labels.nii.gz");
  double agreeing = 0.0;
  for (std::size_t i = 0; i < truth.size(); ++i) agreeing += labels[kHeaderBytes + i] == truth[i] ? 1.0 : 0.0;
  return agreeing / static_cast<double>(truth.size());
}

// The default of volumes: three tissues under a field; alone, and with a second channel that helps.
TEST(SegmentMr, DividesVolumesIntoTissuesUnderAField) {
  std::vector<int> truth;
  const ScratchFolder folder;
  const NiftiFile file = TissueVolume(truth);
  WriteFile(folder / "t1.nii", file.Bytes(32));
  const Json report = Segment(folder, folder / "t1.nii", "--no-denoise");
  EXPECT_EQ(report["method"], "tissues and mixtures");
  EXPECT_EQ(report["stop_reason"].get<std::string>().empty(), false);
  EXPECT_GT(Agreement(folder, truth), 0.98);
  const std::string field = ReadGzip(folder / "result/bias_field.nii.gz");
  ASSERT_EQ(field.size(), kHeaderBytes + 4 * truth.size());
  EXPECT_GT(FloatAt(field, kHeaderBytes + 4 * 31), 1.2 * FloatAt(field, kHeaderBytes));  // along x
  EXPECT_GT(report["bias_field_deviations"][0].get<double>(), 0.05);
  double soft = 0.0;
  for (const double volume : Column(report, "soft_volume_ml")) soft += volume;
  EXPECT_NEAR(soft, 0.008 * static_cast<double>(truth.size()), 1e-3);
  EXPECT_FALSE(std::filesystem::exists(folder / "result/convergence.svg"));

  Segment(folder, folder / "t1.nii", "--no-denoise --no-bias-field -c 3 -m tissue");
  EXPECT_LT(Agreement(folder, truth), 0.98);
  EXPECT_FALSE(std::filesystem::exists(folder / "result/bias_field.nii.gz"));

  WriteFile(folder / "t2.nii", file.Bytes(32));
  const Json both = Segment(folder, folder / "t1.nii", Quoted(folder / "t2.nii") + " --no-denoise");
  EXPECT_EQ(both["image"]["channels"].size(), 2U);
  EXPECT_GT(Agreement(folder, truth), 0.95);
  EXPECT_TRUE(std::filesystem::exists(folder / "result/bias_field_2.nii.gz"));
}

TEST(SegmentMr, TakesEachOfSeveralImages) {
  const ScratchFolder folder;
  std::filesystem::create_directory(folder / "other");
  NiftiFile file = TwoClasses();
  file.SetVoxels<std::uint8_t>({10, 60, 60, 0, 60, 10});
  for (const char* name : {"a.nii", "b.nii", "other/A.nii"}) WriteFile(folder / name, file.Bytes(8));
  const auto run = [&](const std::string& images) {
    return RunProgram(MTH_SEGMENT_MR, images + " --each -m kmeans -c 2 --json " +
                                          Quoted(folder / "all.json") + " -o " + Quoted(folder / "result"));
  };
  const ProgramRun same = run(Quoted(folder / "a.nii") + " " + Quoted(folder / "other/A.nii"));
  EXPECT_EQ(same.status, 2);
  EXPECT_NE(same.errors.find("two images are named A"), std::string::npos) << same.errors;
  EXPECT_FALSE(std::filesystem::exists(folder / "result"));
  ASSERT_EQ(run(Quoted(folder / "a.nii") + " " + Quoted(folder / "b.nii")).status, 0);
  EXPECT_TRUE(std::filesystem::exists(folder / "result/b/labels.nii.gz"));
  const std::string summary = ReadFile(folder / "result/summary.csv");
  EXPECT_EQ(std::count(summary.begin(), summary.end(), '\n'), 3);
  EXPECT_NE(summary.find("\",k-means,2,yes,mm2,10 60,2 3,2 3\n"), std::string::npos) << summary;
  const Json reports = Json::parse(ReadFile(folder / "all.json"), nullptr, false);
  ASSERT_EQ(reports.size(), 2U);
  EXPECT_EQ(reports[1]["image"]["path"], folder / "b.nii");
}

// Planes are denoised and divided into tissues, too, and grey matter is told also without the denoising,
// though the mixture of the two others could stand for it; z-scores are clustered.
TEST(SegmentMr, DividesPlanesIntoTissues) {
  const ScratchFolder folder;
  for (const bool denoises : {true, false}) {
    const Json report = Segment(folder, kSlice, denoises ? "" : "--no-denoise");
    EXPECT_EQ(report["method"], "tissues and mixtures");
    EXPECT_EQ(report["image"]["denoised"], denoises);
    EXPECT_EQ(report["image"]["noise_deviations"].size(), denoises ? 1U : 0U);
    ExpectNear(Column(report, "centroid"), {31.0, 72.0, 113.0}, 9.0);
  }
  NiftiFile scores = TwoClasses();
  scores.datatype = 4;
  scores.SetVoxels<std::int16_t>({-10, 60, 60, -30, 60, -10});
  WriteFile(folder / "scores.nii", scores.Bytes(16));
  const Json report = Segment(folder, folder / "scores.nii", "-c 2 --threshold -20");
  EXPECT_EQ(report["method"], "fuzzy c-means");
  EXPECT_EQ(report["image"]["denoised"], false);
}

// Results that look valid and are none are told.
TEST(SegmentMr, WarnsOfClassesThatAreNone) {
  const ScratchFolder folder;
  NiftiFile file = TwoClasses();
  file.SetVoxels<std::uint8_t>({10, 11, 12, 200, 201, 202});
  WriteFile(folder / "image.nii", file.Bytes(8));
  const struct {
    const char* options;
    const char* warning;
  } cases[] = {{"-m kmeans --centroids 10,200,5000", "has no voxel"},
               {"-m fcm -c 2 -n 1", "not converged"},
               {"-m fcm -c 3 --fuzzifier 30", "have the same centroid"}};
  for (const auto& [options, warning] : cases) {
    const Json report = Segment(folder, folder / "image.nii", options);
    EXPECT_NE(report["warnings"].dump().find(warning), std::string::npos) << report["warnings"];
    EXPECT_EQ(report["converged"], warning == std::string("has no voxel"));
  }
}

}  // namespace
