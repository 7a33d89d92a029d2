#include <gtest/gtest.h>

#include <cstddef>
#include <fstream>
#include <functional>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "mth/Mth.h"
#include "support/allocation_faults.h"
#include "support/kept_blocks.h"
#include "support/silent_display.h"

namespace mth_test {
namespace {

template <class Call>
double BytesOf(Call call) {
  GiveBackKeptBlocks();  // or what was freed before would be taken for it
  const AllocationWatch watch;
  call();
  return static_cast<double>(watch.RequestedBytes());
}

MTH_MATRIX Waves(int rows, int columns, int type) {
  MTH_MATRIX matrix(rows, columns, type);
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; j < columns; ++j)
      matrix.Set(i, j, 100.0 + i % 7 + 5.0 * (j % 11) + (i == j ? 50.0 : 0.0));
  }
  return matrix;
}

constexpr int kVolumeSide = 64;

// Layers of three tissues, with grain.
std::vector<float> Tissues() {
  std::vector<float> voxels(kVolumeSide * kVolumeSide * kVolumeSide);
  for (std::size_t i = 0; i < voxels.size(); ++i)
    voxels[i] = 40.0F * static_cast<float>(1 + i / 97000) + static_cast<float>(i * 7919 % 13);
  return voxels;
}

constexpr int kSamples = 200000;
constexpr int kClusters = 4;

void Fill(MTH_CLUSTERING& engine) {
  std::vector<double> features(kSamples);
  for (int i = 0; i < kSamples; ++i) features[static_cast<std::size_t>(i)] = i % 251;
  ASSERT_TRUE(engine.AddSamples(features.data(), kSamples));
  for (int k = 0; k < kClusters; ++k) {
    double centre = 60.0 * k;
    engine.InitialiseCentroid(k, &centre, 1);
  }
  engine.SetIterationsCount(3);
}

template <class Run>
double BytesPerSampleOf(Run run) {
  MTH_CLUSTERING engine(kClusters, 1);
  Fill(engine);
  return BytesOf([&] { run(engine); }) / kSamples;
}

// The rows of the table, by name: bytes asked for, divided by what the row counts.
std::map<std::string, std::function<double()>> Measurements() {
  constexpr int kSide = 1024;
  constexpr double kElements = double{kSide} * kSide;
  const auto ofMatrix = [=](int type, auto call) {
    return [=] {
      MTH_MATRIX matrix = Waves(kSide, kSide, type);
      return BytesOf([&] { call(matrix); }) / kElements;
    };
  };
  const auto drop = [](MTH_MATRIX* made) { delete made; };
  std::map<std::string, std::function<double()>> rows;
  rows["matrix, double"] = [=] { return BytesOf([] { const MTH_MATRIX m(kSide, kSide, 0); }) / kElements; };
  rows["matrix, float"] = [=] { return BytesOf([] { const MTH_MATRIX m(kSide, kSide, 1); }) / kElements; };
  rows["sum, double"] = ofMatrix(0, [=](MTH_MATRIX& m) { drop(m + m); });
  rows["product, double"] = ofMatrix(0, [=](MTH_MATRIX& m) { drop(m * m); });
  rows["product, float"] = ofMatrix(1, [=](MTH_MATRIX& m) { drop(m * m); });
  rows["LU"] = ofMatrix(0, [=](MTH_MATRIX& m) {
    int* permutation = nullptr;
    drop(m.LU(&permutation));
    delete[] permutation;
  });
  rows["inverse"] = ofMatrix(0, [=](MTH_MATRIX& m) { drop(m.Inverse()); });
  rows["Laplacian of an image"] = ofMatrix(0, [](MTH_MATRIX& m) {
    MTH_MATRIX out(kSide, kSide, 0);
    Mth_ComputeLaplacien(&m, &out, 0);
  });
  rows["denoising of a plane"] =
      ofMatrix(0, [](MTH_MATRIX& m) { MTH_WAVELET_DENOISING(&m).ApplyDenoisingMRImage(); });
  const auto ofVolume = [](auto call) {
    return [=] {
      const std::vector<float> in = Tissues();
      std::vector<float> out(in.size());
      return BytesOf([&] { call(in.data(), out.data()); }) / static_cast<double>(in.size());
    };
  };
  rows["Laplacian of a volume"] = ofVolume([](const float* in, float* out) {
    Mth_ComputeLaplacien3DFloat(in, out, kVolumeSide, kVolumeSide, kVolumeSide);
  });
  rows["denoising of a volume"] = ofVolume([](const float* in, float* out) {
    MTH_VOLUME_DENOISING(kVolumeSide, kVolumeSide, kVolumeSide).Denoise(in, out);
  });
  rows["noise of a volume"] = ofVolume([](const float* in, float*) {
    MTH_VOLUME_DENOISING(kVolumeSide, kVolumeSide, kVolumeSide).EstimateNoiseDeviation(in);
  });
  rows["tissues of a volume, three"] = ofVolume([](const float* in, float*) {
    MTH_TISSUE_CLUSTERING(3).Segment(in, kVolumeSide, kVolumeSide, kVolumeSide, nullptr);
  });
  rows["sample of one feature, four clusters"] = [] {
    std::unique_ptr<MTH_CLUSTERING> engine;
    return BytesOf([&] {
             engine = std::make_unique<MTH_CLUSTERING>(kClusters, 1);
             Fill(*engine);
           }) /
           kSamples;
  };
  rows["k-means, four clusters"] = [] {
    return BytesPerSampleOf([](auto& engine) { engine.ApplyKMeanClustering(); });
  };
  rows["fuzzy c-means, four clusters"] = [] {
    return BytesPerSampleOf([](auto& engine) { engine.ApplyFuzzyCMeanClustering(); });
  };
  rows["evidential c-means, four clusters"] = [] {
    return BytesPerSampleOf([](auto& engine) { engine.ApplyEvidentialFuzzyCMeanClustering(); });
  };
  rows["FFT"] = [] {
    constexpr int kPower = 16;
    std::vector<double> re(1U << kPower, 1.0);
    std::vector<double> im(1U << kPower, 0.0);
    return BytesOf([&] { Mth_FFT(1, kPower, re.data(), im.data()); }) / (1 << kPower);
  };
  rows["Hausdorff distance"] = [] {
    constexpr int kPoints = 20000;
    std::vector<MTH_3D_DOUBLE> points;
    for (int i = 0; i < kPoints; ++i) points.emplace_back(i % 29, i % 31, i % 37);
    return BytesOf([&] { Mth_Hausdorff_Distance(points.data(), points.data(), kPoints, kPoints); }) /
           (2.0 * kPoints);
  };
  rows["sort with companions"] = [] {
    constexpr int kValues = 100000;
    std::vector<double> keys(kValues), companions(kValues);
    for (int i = 0; i < kValues; ++i) keys[static_cast<std::size_t>(i)] = (i * 7919) % kValues;
    return BytesOf([&] { Mth_Sort(kValues, keys.data(), companions.data()); }) / kValues;
  };
  return rows;
}

// The table of docs/memory.md: name and bytes.
std::map<std::string, double> Stated() {
  std::map<std::string, double> stated;
  std::ifstream file(MTH_MEMORY_PAGE);
  for (std::string line; std::getline(file, line);) {
    std::istringstream cells(line);
    std::string skipped, name, unit, bytes;
    std::getline(cells, skipped, '|') && std::getline(cells, name, '|') && std::getline(cells, unit, '|') &&
        std::getline(cells, bytes, '|');
    char* end = nullptr;
    const double value = std::strtod(bytes.c_str(), &end);
    if (name.size() > 2 && end != bytes.c_str()) stated[name.substr(1, name.size() - 2)] = value;
  }
  return stated;
}

TEST(Memory, IsWhatThePageSays) {
  const SilentDisplay display;
  const std::map<std::string, double> stated = Stated();
  const auto measurements = Measurements();
  for (const auto& [name, bytes] : stated)
    EXPECT_EQ(measurements.count(name), 1U) << name << " is not measured";
  for (const auto& [name, measure] : measurements) {
    const double bytes = measure();
    if (stated.count(name) == 0) {
      ADD_FAILURE() << name << " takes " << bytes << " and is not on the page";
      continue;
    }
    EXPECT_LE(bytes, 1.05 * stated.at(name) + 0.1) << name;
    EXPECT_GE(bytes, 0.8 * stated.at(name) - 0.6) << name;
  }
}

}  // namespace
}  // namespace mth_test
