#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <tuple>

#include "examples/host_run.h"
#include "mth/wavelet/Mth_wavelet_denoising.h"

namespace {

using namespace mth_test;

constexpr std::size_t kHeaderBytes = 352;

template <class T>
T FieldAt(const std::string& bytes, std::size_t offset) {
  T value;
  std::memcpy(&value, bytes.data() + offset, sizeof(T));
  return value;
}

// The voxels of a NIfTI file of this machine's byte order.
template <class T>
std::vector<double> Voxels(const std::string& file) {
  std::vector<double> values;
  const auto start = static_cast<std::size_t>(FieldAt<float>(file, 108));
  for (std::size_t offset = start; offset < file.size(); offset += sizeof(T))
    values.push_back(static_cast<double>(FieldAt<T>(file, offset)));
  return values;
}

// A bright square in the dark with noise, the same in every run.
std::vector<int> NoisyValues(int width, int height, int planes) {
  std::mt19937 engine(3);
  std::vector<int> values;
  for (int voxel = 0; voxel < width * height * planes; ++voxel) {
    const int x = voxel % width;
    const int y = voxel / width % height;
    const bool isBright = 2 * std::abs(2 * x - width) < width && 2 * std::abs(2 * y - height) < height;
    values.push_back((isBright ? 160 : 60) + static_cast<int>(engine() % 41) - 20);
  }
  return values;
}

// One plane, denoised by the library.
std::vector<double> Denoised(std::vector<double> values, int width, int height, double factor, int window) {
  MTH_MATRIX plane(height, width, 0);
  plane.SetVector(values.data(), width * height);
  MTH_WAVELET_DENOISING wavelet(&plane);
  wavelet.SetThrFactor(factor);
  wavelet.SetWindowSize(window);
  EXPECT_TRUE(wavelet.ApplyDenoisingMRImage());
  const double* result = wavelet.GetImage()->GetEDataAddress();
  return {result, result + width * height};
}

ProgramRun Denoise(const ScratchFolder& folder, const std::string& image, const std::string& options) {
  return RunProgram(MTH_DENOISE_MR, Quoted(image) + " -o " + Quoted(folder / "result") + " " + options);
}

TEST(DenoiseMr, WritesTheDenoisedImageInPlace) {
  const ScratchFolder folder;
  NiftiFile file;
  file.dimensions = {2, 40, 30, 1, 1, 1, 1, 1};
  file.voxelSize = {0.5F, 2.0F, 3.0F};
  const std::vector<int> values = NoisyValues(40, 30, 1);
  constexpr int kAdded = 10;
  file.SetVoxels<std::int16_t>(values);
  file.datatype = 4;
  file.slope = 1.0F;
  file.intercept = kAdded;
  WriteFile(folder / "image.nii", file.Bytes(16));
  std::vector<double> intensities;
  for (const int value : values) intensities.push_back(value + kAdded);
  for (const auto& [options, factor, window] : {std::tuple("", 2.0, 5), std::tuple("-f 3 -w 7", 3.0, 7),
                                                std::tuple("--factor 0 --window 1", 0.0, 1)}) {
    const ProgramRun run = Denoise(folder, folder / "image.nii", options);
    ASSERT_EQ(run.status, 0) << run.errors;
    EXPECT_EQ(run.errors, "");
    EXPECT_NE(run.output.find("40 x 30 x 1"), std::string::npos) << run.output;
    const std::string result = ReadGzip(folder / "result/denoised.nii.gz");
    EXPECT_EQ(FieldAt<std::int16_t>(result, 42), 40);
    EXPECT_EQ(FieldAt<std::int16_t>(result, 44), 30);
    EXPECT_EQ(FieldAt<float>(result, 84), 2.0F);
    EXPECT_EQ(FieldAt<std::int16_t>(result, 70), 4);  // numbers stored as those of the image
    EXPECT_EQ(FieldAt<float>(result, 116), kAdded);
    std::vector<double> written = Voxels<std::int16_t>(result);
    for (double& value : written) value += kAdded;
    EXPECT_EQ(written, Denoised(intensities, 40, 30, factor, window));
    EXPECT_EQ(ReadFile(folder / "result/panel.png").substr(1, 3), "PNG");
  }
}

// Planes along each axis of a volume of fractions, against the library on the plane in whole steps.
TEST(DenoiseMr, DenoisesVolumesPlaneByPlane) {
  constexpr int kSize[] = {12, 20, 16};
  constexpr double kUnit = 1.0 / 256.0;  // 180 of them are below 1: steps of 1/16384
  constexpr double kSteps = 16384.0;
  const ScratchFolder folder;
  NiftiFile file;
  file.dimensions = {3, kSize[0], kSize[1], kSize[2], 1, 1, 1, 1};
  file.datatype = 16;
  const std::vector<int> levels = NoisyValues(kSize[0], kSize[1], kSize[2]);
  std::vector<double> values;
  for (const int level : levels) {
    values.push_back(level * kUnit);
    file.voxels += file.Stored(static_cast<float>(values.back()));
  }
  WriteFile(folder / "volume.nii", file.Bytes(32));
  const int step[] = {1, kSize[0], kSize[0] * kSize[1]};
  for (const int axis : {0, 1, 2}) {
    SCOPED_TRACE(axis);
    const ProgramRun run = Denoise(folder, folder / "volume.nii", std::string("--axis ") + "xyz"[axis]);
    ASSERT_EQ(run.status, 0) << run.errors;
    const std::string file32 = ReadGzip(folder / "result/denoised.nii.gz");
    EXPECT_EQ(FieldAt<std::int16_t>(file32, 70), 16);
    const std::vector<double> result = Voxels<float>(file32);
    ASSERT_EQ(result.size(), values.size());
    const int across = axis == 0 ? 1 : 0;
    const int down = axis == 2 ? 1 : 2;
    std::vector<double> deviations;
    for (int index = 0; index < kSize[axis]; ++index) {
      std::vector<double> plane;
      std::vector<double> actual;
      for (int y = 0; y < kSize[down]; ++y) {
        for (int x = 0; x < kSize[across]; ++x) {
          const auto voxel = static_cast<std::size_t>(index * step[axis] + x * step[across] + y * step[down]);
          plane.push_back(values[voxel] * kSteps);
          actual.push_back(result[voxel] * kSteps);
        }
      }
      EXPECT_EQ(actual, Denoised(plane, kSize[across], kSize[down], 2.0, 5));
      MTH_MATRIX noisy(kSize[down], kSize[across], 0);
      noisy.SetVector(plane.data(), kSize[down] * kSize[across]);
      deviations.push_back(MTH_WAVELET_DENOISING(&noisy).EstimateNoiseDeviation() / kSteps);
    }
    const auto [least, greatest] = std::minmax_element(deviations.begin(), deviations.end());
    std::array<double, 2> told{};
    const std::size_t start = run.output.find("deviation ");
    ASSERT_NE(start, std::string::npos);
    ASSERT_EQ(std::sscanf(run.output.c_str() + start, "deviation %lf to %lf", &told[0], &told[1]), 2);
    EXPECT_NEAR(told[0] / *least, 1.0, 0.01);
    EXPECT_NEAR(told[1] / *greatest, 1.0, 0.01);
  }
}

// Values beyond single precision, or that it rounds, are kept in double.
TEST(DenoiseMr, WritesWhatSinglePrecisionCannotHold) {
  const ScratchFolder folder;
  for (const double unit : {1e300, 1e-300, 1e-310, 16777217.0}) {
    NiftiFile file;
    file.dimensions = {2, 6, 5, 1, 1, 1, 1, 1};
    file.datatype = 64;
    const std::vector<double> values(30, unit);
    for (const double value : values) file.voxels += file.Stored(value);
    WriteFile(folder / "image.nii", file.Bytes(64));
    ASSERT_EQ(Denoise(folder, folder / "image.nii", "").status, 0);
    const std::string result = ReadGzip(folder / "result/denoised.nii.gz");
    EXPECT_EQ(FieldAt<std::int16_t>(result, 70), 64);
    const double rounding = unit < 1.0 ? unit / 8192.0 : 0.0;
    for (const double value : Voxels<double>(result)) EXPECT_NEAR(value, unit, rounding);
  }
}

// Of the noise that is added little is left in flat tissue; it is the same in every run, and follows Rice's
// law.
TEST(DenoiseMr, AddsNoiseToTakeItOff) {
  const ScratchFolder folder;
  NiftiFile file;
  file.dimensions = {2, 100, 80, 1, 1, 1, 1, 1};
  file.SetVoxels<std::uint8_t>(std::vector<int>(8000, 100));
  WriteFile(folder / "flat.nii", file.Bytes(8));
  const auto meanAndDeviation = [&](const std::string& options) {
    const ProgramRun run = Denoise(folder, folder / "flat.nii", "--add-noise 10 " + options);
    EXPECT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.output.find("Added   noise of standard deviation 10"), std::string::npos) << run.output;
    const std::vector<double> values = Voxels<std::uint8_t>(ReadGzip(folder / "result/denoised.nii.gz"));
    double sum = 0.0;
    double squares = 0.0;
    for (const double value : values) sum += value;
    for (const double value : values) squares += (value - sum / 8000.0) * (value - sum / 8000.0);
    return std::array{sum / 8000.0, std::sqrt(squares / 8000.0)};
  };
  const auto noisy = meanAndDeviation("--factor 0");  // takes nothing off
  EXPECT_NEAR(noisy[0], 100.0 + 10.0 * 10.0 / (2.0 * 100.0), 0.3);
  EXPECT_NEAR(noisy[1], 10.0, 0.3);
  const auto denoised = meanAndDeviation("");
  EXPECT_LT(denoised[1], 0.2 * noisy[1]);
  EXPECT_EQ(denoised, meanAndDeviation(""));
}

// A float image of whole values stays one of floats and is not rounded; what is no number is told; a picture
// gives a picture.
TEST(DenoiseMr, WritesTheKindOfFileThatItRead) {
  const ScratchFolder folder;
  NiftiFile file;
  file.dimensions = {2, 40, 30, 1, 1, 1, 1, 1};
  file.datatype = 16;
  file.SetVoxels<float>(NoisyValues(40, 30, 1));
  const float nan = std::numeric_limits<float>::quiet_NaN();
  file.voxels.replace(0, 4, file.Stored(nan)).replace(8, 4, file.Stored(nan));
  WriteFile(folder / "image.nii", file.Bytes(32));
  const ProgramRun run = Denoise(folder, folder / "image.nii", "--json " + Quoted(folder / "report.json"));
  ASSERT_EQ(run.status, 0) << run.errors;
  EXPECT_NE(run.output.find("2 voxels were no finite numbers"), std::string::npos) << run.output;
  EXPECT_NE(ReadFile(folder / "report.json").find("\"replaced_voxels\": 2"), std::string::npos);
  EXPECT_EQ(FieldAt<std::int16_t>(ReadGzip(folder / "result/denoised.nii.gz"), 70), 16);

  std::filesystem::rename(folder / "result/panel.png", folder / "picture.png");
  const ProgramRun picture = Denoise(folder, folder / "picture.png", "");
  ASSERT_EQ(picture.status, 0) << picture.errors;
  EXPECT_FALSE(std::filesystem::exists(folder / "result/denoised.nii.gz"));  // of the earlier run
  EXPECT_EQ(ReadFile(folder / "result/denoised.png").substr(16, 8),
            ReadFile(folder / "picture.png").substr(16, 8));
}

TEST(DenoiseMrRefuses, WhatItCannotUse) {
  const ScratchFolder folder;
  NiftiFile file;
  file.dimensions = {2, 4, 4, 1, 1, 1, 1, 1};
  file.datatype = 4;
  file.SetVoxels<std::int16_t>(std::vector<int>(16, -5));
  WriteFile(folder / "negative.nii", file.Bytes(16));
  WriteFile(folder / "cut.nii", file.Bytes(16).substr(0, kHeaderBytes + 7));
  std::vector<int> mixed(16, 5);
  mixed.back() = -5;
  file.SetVoxels<std::int16_t>(mixed);
  WriteFile(folder / "mixed.nii", file.Bytes(16));
  const std::string slice = Quoted(MTH_DATA_DIR "/t1_head_axial.nii.gz");
  const struct {
    std::string arguments;
    std::string reason;
  } cases[] = {
      {"", "IMAGE is required"},
      {Quoted(folder / "absent.nii"), "cannot find"},
      {Quoted(folder / "cut.nii"), "damaged"},
      {Quoted(folder / "negative.nii"), "below 0"},
      {slice + " -w 4", "odd"},
      {slice + " -w 0", "--window"},
      {slice + " -w five", "--window"},
      {slice + " -f -1", "--factor"},
      {slice + " -f nan", "--factor"},
      {slice + " -f inf", "--factor"},
      {slice + " --add-noise -1", "--add-noise"},
      {slice + " --add-noise nan", "--add-noise"},
      {Quoted(folder / "mixed.nii") + " --add-noise 9", "below 0"},
      {slice + " --axis y", "volume"},
      {slice + " --axis t", "--axis"},
      {slice + " --sigma 5", "--sigma of a single image needs --volume"},
      {slice + " --sharpen", "--sharpen"},
      {slice + " -o ''", "--output needs a value"},
      {slice + " -o " + slice, "t1_head_axial"},
  };
  for (const auto& [arguments, reason] : cases) {
    SCOPED_TRACE(arguments);
    const std::size_t entries = folder.CountEntries();
    const ProgramRun run = RunProgram(MTH_DENOISE_MR, arguments);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    EXPECT_EQ(run.errors.rfind("denoise_mr: ", 0), 0U) << run.errors;
    EXPECT_NE(run.errors.find(reason), std::string::npos) << run.errors;
    EXPECT_EQ(folder.CountEntries(), entries);
  }
}

// Names of the Brain Imaging Data Structure are kept, each with its sidecar; a description is replaced.
TEST(DenoiseMr, KeepsBidsNamesOfSeveralImages) {
  const ScratchFolder folder;
  NiftiFile file;
  file.dimensions = {2, 20, 20, 1, 1, 1, 1, 1};
  file.SetVoxels<std::uint8_t>(NoisyValues(20, 20, 1));
  for (const char* name : {"sub-01_T1w.nii", "sub-02_ses-1_desc-raw_T1w.nii"})
    WriteFile(folder / name, file.Bytes(8));
  const ProgramRun run =
      Denoise(folder, folder / "sub-01_T1w.nii",
              Quoted(folder / "sub-02_ses-1_desc-raw_T1w.nii") + " --json " + Quoted(folder / "all.json"));
  ASSERT_EQ(run.status, 0) << run.errors;
  for (const char* name :
       {"sub-01_T1w/sub-01_desc-denoised_T1w", "sub-02_ses-1_desc-raw_T1w/sub-02_ses-1_desc-denoised_T1w"}) {
    for (const char* ending : {".nii.gz", ".json"})
      EXPECT_TRUE(std::filesystem::exists(folder / ("result/" + std::string(name) + ending))) << name;
  }
  const std::string summary = ReadFile(folder / "result/summary.csv");
  EXPECT_EQ(std::count(summary.begin(), summary.end(), '\n'), 3) << summary;
  EXPECT_NE(ReadFile(folder / "all.json").find("sub-02"), std::string::npos);
}

// --denoise of segment_mr: what is outside stays outside, and tissue in noise falls into fewer pieces.
TEST(SegmentMrDenoise, KeepsTheOutsideAndGathersTissue) {
  constexpr int kWidth = 64;
  constexpr int kHeight = 48;
  const ScratchFolder folder;
  NiftiFile file;
  file.dimensions = {3, kWidth, kHeight, 2, 1, 1, 1, 1};
  std::vector<int> values = NoisyValues(kWidth, kHeight, 2);
  for (std::size_t i = 0; i < values.size(); ++i) {
    if (i % kWidth < 4) values[i] = 0;
    if (i % 7 == 3 && values[i] > 0) values[i] += values[i] < 100 ? 45 : -45;  // grain across the classes
  }
  file.SetVoxels<std::uint8_t>(values);
  WriteFile(folder / "image.nii", file.Bytes(8));
  const auto run = [&](const std::string& options) {
    const ProgramRun done = RunProgram(MTH_SEGMENT_MR, Quoted(folder / "image.nii") + " -m kmeans -c 2 -o " +
                                                           Quoted(folder / "result") + " " + options);
    EXPECT_EQ(done.status, 0) << done.errors;
    EXPECT_EQ(done.output.find("denoised") != std::string::npos, !options.empty());
    return Voxels<std::uint8_t>(ReadGzip(folder / "result/labels.nii.gz"));
  };
  const auto borders = [&](const std::vector<double>& labels) {
    int count = 0;
    for (std::size_t i = 0; i + 1 < labels.size(); ++i) count += labels[i] != labels[i + 1] ? 1 : 0;
    return count;
  };
  const std::vector<double> plain = run("");
  const std::vector<double> denoised = run("--denoise");
  ASSERT_EQ(plain.size(), values.size());
  ASSERT_EQ(denoised.size(), values.size());
  for (std::size_t i = 0; i < values.size(); ++i) ASSERT_EQ(denoised[i] == 0.0, values[i] == 0) << i;
  EXPECT_LT(borders(denoised), borders(plain) / 2);
}

}  // namespace
