#include <cmath>
#include <cstring>
#include <nlohmann/json.hpp>

#include "examples/host_run.h"

namespace {

using namespace mth_test;

constexpr std::size_t kHeaderBytes = 352;

std::vector<float> Floats(const std::string& path) {
  const std::string bytes = ReadGzip(path);
  std::vector<float> values((bytes.size() - kHeaderBytes) / sizeof(float));
  std::memcpy(values.data(), bytes.data() + kHeaderBytes, values.size() * sizeof(float));
  return values;
}

TEST(MakePhantom, WritesWhatItPromises) {
  const ScratchFolder folder;
  const std::string common = "--size 40,36,30 --bias 30 --seed 4 --contrast 200,500,800 ";
  const ProgramRun run = RunProgram(MTH_MAKE_PHANTOM, common + "--noise 5 -o " + Quoted(folder / "a") +
                                                          " --json " + Quoted(folder / "a.json"));
  ASSERT_EQ(run.status, 0) << run.errors;
  const auto noisy = Floats(folder / "a/phantom.nii.gz");
  const auto clean = Floats(folder / "a/clean.nii.gz");
  const auto field = Floats(folder / "a/field.nii.gz");
  const auto csf = Floats(folder / "a/fraction_CSF.nii.gz");
  const auto grey = Floats(folder / "a/fraction_GM.nii.gz");
  const auto white = Floats(folder / "a/fraction_WM.nii.gz");
  const std::string mask = ReadGzip(folder / "a/mask.nii.gz").substr(kHeaderBytes);
  ASSERT_EQ(noisy.size(), 40U * 36U * 30U);
  double squares = 0.0;
  double voxels = 0.0;
  double whiteVoxels = 0.0;
  for (std::size_t i = 0; i < noisy.size(); ++i) {
    const float inside = mask[i] == 0 ? 0.0F : 1.0F;
    ASSERT_NEAR(csf[i] + grey[i] + white[i], inside, 1e-5F);
    ASSERT_NEAR(clean[i], field[i] * (200.0F * csf[i] + 500.0F * grey[i] + 800.0F * white[i]), 0.01F);
    whiteVoxels += static_cast<double>(white[i]);
    if (white[i] < 1.0F) continue;
    squares += std::pow(static_cast<double>(noisy[i] - clean[i]), 2);
    voxels += 1.0;
  }
  EXPECT_NEAR(std::sqrt(squares / voxels), 40.0, 2.0);
  const auto report = nlohmann::json::parse(ReadFile(folder / "a.json"));
  EXPECT_EQ(report["noise_deviation"], 40.0);
  EXPECT_NEAR(report["voxels"]["WM"].get<double>(), whiteVoxels, 0.1);

  // The anatomy of that brain, with levels of its own; without noise it is the clean image.
  const ProgramRun second =
      RunProgram(MTH_MAKE_PHANTOM, Quoted(folder / "a/clean.nii.gz") + " --levels 200,500,800 --noise 0 -o " +
                                       Quoted(folder / "b"));
  ASSERT_EQ(second.status, 0) << second.errors;
  EXPECT_EQ(Floats(folder / "b/phantom.nii.gz"), Floats(folder / "b/clean.nii.gz"));
  EXPECT_EQ(ReadGzip(folder / "b/mask.nii.gz").substr(kHeaderBytes), mask);
}

TEST(MakePhantom, RefusesWhatItCannotMake) {
  const ScratchFolder folder;
  for (const char* options :
       {"--size 0,3,3", "--size 5,5", "--levels 1,2,3", "--contrast 1,2", "--noise 101", "--noise nan",
        "--bias -1", "--head x.nii", "nothing.nii --levels 3,2,1", "nothing.nii --levels 1,2,3"}) {
    const ProgramRun run =
        RunProgram(MTH_MAKE_PHANTOM, std::string(options) + " -o " + Quoted(folder / "out"));
    EXPECT_EQ(run.status, 2) << options;
    EXPECT_FALSE(run.errors.empty());
  }
  EXPECT_EQ(folder.CountEntries(), 0U);
}

}  // namespace
