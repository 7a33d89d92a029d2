#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <map>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "examples/host_run.h"

namespace {

using namespace mth_test;

// The image of Haralick, Shanmugam and Dinstein, from its lowest row up: so the file has it upright.
const std::vector<int> kHaralick = {2, 2, 3, 3, 0, 2, 2, 2, 0, 0, 1, 1, 0, 0, 1, 1};

void WriteImage(const std::string& path, int width, int height, int planes, const std::vector<int>& values) {
  NiftiFile file;
  const auto length = [](int count) { return static_cast<std::int16_t>(count); };
  file.dimensions = {3, length(width), length(height), length(planes), 1, 1, 1, 1};
  file.datatype = 4;  // 16-bit signed
  file.SetVoxels<std::int16_t>(values);
  WriteFile(path, file.Bytes(16));
}

std::vector<std::vector<std::string>> ReadTable(const std::string& path) {
  std::istringstream lines(ReadFile(path));
  std::vector<std::vector<std::string>> table;
  for (std::string line; std::getline(lines, line);) {
    std::vector<std::string> fields(1);
    for (const char character : line) {
      if (character == ',') {
        fields.emplace_back();
      } else {
        fields.back() += character;
      }
    }
    table.push_back(fields);
  }
  return table;
}

// The fields of texture.csv by region and feature.
using Textures = std::map<std::pair<std::string, std::string>, std::vector<std::string>>;

constexpr std::size_t kVoxels = 1;
constexpr std::size_t kFirstAngle = 3;
constexpr std::size_t kMean = 7;
constexpr std::size_t kRange = 8;
constexpr std::size_t kFields = 13;
constexpr std::size_t kFeatures = 14;

Textures Measure(const ScratchFolder& folder, const std::string& arguments) {
  const ProgramRun run = RunProgram(MTH_TEXTURE_MR, arguments + " -o " + Quoted(folder / "out"));
  EXPECT_EQ(run.status, 0) << run.errors;
  Textures textures;
  for (const auto& fields : ReadTable(folder / "out/texture.csv")) {
    EXPECT_EQ(fields.size(), kFields) << fields[0];
    if (fields.size() == kFields && fields[0] != "region") textures[{fields[0], fields[2]}] = fields;
  }
  return textures;
}

void ExpectValues(const std::vector<std::string>& fields, const std::vector<double>& expected) {
  ASSERT_EQ(fields.size(), kFields);
  for (std::size_t i = 0; i < expected.size(); ++i)
    EXPECT_NEAR(std::stod(fields[kFirstAngle + i]), expected[i], 1e-14) << fields[2] << ", column " << i;
}

const std::vector<double> kHaralickContrasts = {7.0 / 12.0, 4.0 / 9.0, 1.0, 16.0 / 9.0};

TEST(TextureMr, MeasuresHaralicksImage) {
  const ScratchFolder folder;
  WriteImage(folder / "image.nii", 4, 4, 1, kHaralick);
  const Textures textures = Measure(folder, Quoted(folder / "image.nii") + " --levels 4");
  EXPECT_EQ(textures.size(), kFeatures);
  const auto& contrast = textures.at({"image", "contrast"});
  ExpectValues(contrast, kHaralickContrasts);
  EXPECT_NEAR(std::stod(contrast[kMean]), 137.0 / 144.0, 1e-14);
  EXPECT_NEAR(std::stod(contrast[kRange]), 4.0 / 3.0, 1e-14);
  EXPECT_EQ(contrast[kVoxels], "16");
  EXPECT_EQ(contrast[9], "Mth_Contrast");
  EXPECT_EQ(contrast[10], "f2 contrast");
  EXPECT_EQ(contrast[11], "ACUI contrast");
  ExpectValues(textures.at({"image", "energy"}), {84.0 / 576.0, 48.0 / 324.0, 80.0 / 576.0, 38.0 / 324.0});

  std::map<std::string, std::string> upright;  // the matrix of 90 degrees
  for (const auto& fields : ReadTable(folder / "out/matrices.csv")) {
    if (fields.at(1) == "90") upright[fields.at(2) + fields.at(3)] = fields.at(4);
  }
  const std::map<std::string, std::string> expected = {{"00", "6"}, {"02", "2"}, {"11", "4"},
                                                       {"12", "2"}, {"20", "2"}, {"21", "2"},
                                                       {"22", "2"}, {"23", "2"}, {"32", "2"}};
  EXPECT_EQ(upright, expected);
}

// Haralick's image on the left is region 1; on the right are regions 7 and, of one voxel, 9.
TEST(TextureMr, MeasuresEachRegionByItself) {
  std::vector<int> values;
  std::vector<int> labels;
  for (int y = 0; y < 4; ++y) {
    for (int x = 0; x < 8; ++x) {
      values.push_back(x < 4 ? kHaralick[static_cast<std::size_t>(4 * y + x)] : 50 * x + y);
      labels.push_back(x < 4 ? 1 : x == 7 ? (y == 2 ? 9 : 0) : 7);
    }
  }
  const ScratchFolder folder;
  WriteImage(folder / "image.nii", 8, 4, 1, values);
  WriteImage(folder / "mask.nii", 8, 4, 1, labels);
  const std::string arguments =
      Quoted(folder / "image.nii") + " --mask " + Quoted(folder / "mask.nii") + " --levels 4 --range 0,3";
  const Textures textures = Measure(folder, arguments);
  EXPECT_EQ(textures.size(), 3 * kFeatures);
  ExpectValues(textures.at({"1", "contrast"}), kHaralickContrasts);
  ExpectValues(textures.at({"7", "contrast"}), {0.0, 0.0, 0.0, 0.0});  // all beyond the range: the last level
  ExpectValues(textures.at({"7", "energy"}), {1.0, 1.0, 1.0, 1.0});
  EXPECT_EQ(textures.at({"7", "contrast"})[kVoxels], "12");
  const auto& lonely = textures.at({"9", "contrast"});
  EXPECT_EQ(lonely[kVoxels], "1");
  for (std::size_t field = kFirstAngle; field <= kRange; ++field) EXPECT_EQ(lonely[field], "");

  const Textures chosen = Measure(folder, arguments + " --label 7");
  EXPECT_EQ(chosen.size(), kFeatures);
  EXPECT_EQ(chosen.at({"7", "contrast"}), textures.at({"7", "contrast"}));
  // Without a range the chosen region fills it: columns 50 apart, of four near levels each.
  const Textures spread = Measure(folder, Quoted(folder / "image.nii") + " --mask " +
                                              Quoted(folder / "mask.nii") + " --levels 3 --label 7");
  ExpectValues(spread.at({"7", "contrast"}), {1.0, 1.0, 0.0, 1.0});
}

// The pairs of all planes are counted together, across whichever axis they lie; without an axis there are
// thirteen directions, the nine that leave the plane included.
TEST(TextureMr, CountsThePlanesOfAVolumeTogether) {
  const ScratchFolder folder;
  std::vector<int> values = kHaralick;
  values.resize(2 * kHaralick.size(), 3);  // a plane without contrast
  WriteImage(folder / "image.nii", 4, 4, 2, values);
  std::vector<double> halves;
  for (const double contrast : kHaralickContrasts) halves.push_back(contrast / 2.0);
  const std::string image = Quoted(folder / "image.nii") + " --levels 4";
  ExpectValues(Measure(folder, image + " --axis z").at({"image", "contrast"}), halves);
  // The same planes, stood up: x and y of each become x and z.
  std::vector<int> stood;
  for (std::size_t row = 0; row < 4; ++row) {
    for (const std::size_t plane : {0, 1}) {
      for (std::size_t x = 0; x < 4; ++x) stood.push_back(values[16 * plane + 4 * row + x]);
    }
  }
  WriteImage(folder / "stood.nii", 4, 2, 4, stood);
  ExpectValues(
      Measure(folder, Quoted(folder / "stood.nii") + " --levels 4 --axis y").at({"image", "contrast"}),
      halves);

  ASSERT_EQ(RunProgram(MTH_TEXTURE_MR, image + " --force -o " + Quoted(folder / "all")).status, 0);
  const auto table = ReadTable(folder / "all/texture.csv");
  ASSERT_EQ(table[0].size(), kFields + 9);
  EXPECT_EQ(table[0][kFirstAngle + 8], "0 0 1");
  double contrast = 0.0;  // of a voxel with the one above it, which is 3
  for (const int value : kHaralick) contrast += (value - 3) * (value - 3) / 16.0;
  EXPECT_NEAR(std::stod(table[1][kFirstAngle + 8]), contrast, 1e-14);
  // Two apart: the rows have (2 3) twice and (0 2), (2 2), four times (0 1) in this order.
  ExpectValues(
      Measure(folder, Quoted(folder / "image.nii") + " --levels 4 --axis z -d 2").at({"image", "contrast"}),
      {(1 + 1 + 4 + 0 + 4) / 16.0});
}

// A file whose columns run to the patient's left is drawn mirrored, and its angles are those of the drawing.
TEST(TextureMr, TakesAnglesAsOnTheScreen) {
  const ScratchFolder folder;
  std::vector<int> mirrored;
  for (std::size_t voxel = 0; voxel < kHaralick.size(); ++voxel)
    mirrored.push_back(kHaralick[voxel / 4 * 4 + 3 - voxel % 4]);
  WriteImage(folder / "image.nii", 4, 4, 1, mirrored);
  std::string bytes = ReadFile(folder / "image.nii");
  const NiftiFile format;
  const auto put = [&](std::size_t offset, const std::string& field) {
    bytes.replace(offset, field.size(), field);
  };
  put(254, format.Stored(std::int16_t{1}));  // places in the scanner by these rows
  put(280, format.Stored(-1.0F));
  put(300, format.Stored(1.0F));
  put(320, format.Stored(1.0F));
  WriteFile(folder / "image.nii", bytes);
  ExpectValues(Measure(folder, Quoted(folder / "image.nii") + " --levels 4").at({"image", "contrast"}),
               kHaralickContrasts);
}

TEST(TextureMr, TakesTheLabelsOfASegmentation) {
  const ScratchFolder folder;
  const std::string image = Quoted(std::string(MTH_DATA_DIR) + "/t1_brain_axial.nii.gz");
  ASSERT_EQ(RunProgram(MTH_SEGMENT_MR, image + " -m kmeans -c 3 -o " + Quoted(folder / "segmented")).status,
            0);
  const std::string labels = ReadGzip(folder / "segmented/labels.nii.gz").substr(352);
  const Textures textures = Measure(folder, image + " --mask " + Quoted(folder / "segmented/labels.nii.gz"));
  EXPECT_EQ(textures.size(), 3 * kFeatures);
  for (const int label : {1, 2, 3}) {
    const auto& fields = textures.at({std::to_string(label), "mean"});
    EXPECT_EQ(std::stol(fields[kVoxels]), std::count(labels.begin(), labels.end(), static_cast<char>(label)));
    EXPECT_NEAR(std::stod(fields[kMean]), 1.0, 1e-12);
  }
}

// Levels of 2 from the lowest intensity on are those of half the numbers; a mask that lies elsewhere is
// refused.
TEST(TextureMr, TakesLevelsOfAWidthAndMasksOfTheSamePlace) {
  const ScratchFolder folder;
  std::vector<int> halves = kHaralick;
  for (int& value : halves) value /= 2;
  WriteImage(folder / "image.nii", 4, 4, 1, kHaralick);
  WriteImage(folder / "halves.nii", 4, 4, 1, halves);
  const Textures wide = Measure(folder, Quoted(folder / "image.nii") + " --bin-width 2");
  const Textures expected = Measure(folder, Quoted(folder / "halves.nii") + " --bin-width 1");
  for (const auto& [key, fields] : expected) EXPECT_EQ(wide.at(key)[kMean], fields[kMean]) << key.second;
  NiftiFile file;
  file.dimensions = {2, 4, 4, 1, 1, 1, 1, 1};
  file.hasPlace = true;
  file.SetVoxels<std::uint8_t>(kHaralick);
  WriteFile(folder / "placed.nii", file.Bytes(8));
  file.isMirrored = true;
  WriteFile(folder / "mirrored.nii", file.Bytes(8));
  const ProgramRun run =
      RunProgram(MTH_TEXTURE_MR, Quoted(folder / "placed.nii") + " --mask " +
                                     Quoted(folder / "mirrored.nii") + " -o " + Quoted(folder / "no"));
  EXPECT_EQ(run.status, 2);
  EXPECT_NE(run.errors.find("lie differently"), std::string::npos) << run.errors;
}

// A voxel that holds no finite number is no 0: the features are those of the image without it.
TEST(TextureMr, LeavesOutWhatIsNoFiniteNumber) {
  const ScratchFolder folder;
  NiftiFile file;
  file.dimensions = {2, 4, 4, 1, 1, 1, 1, 1};
  file.datatype = 16;  // 32-bit floats
  file.SetVoxels<float>(kHaralick);
  file.voxels.replace(4 * 5, 4, file.Stored(std::numeric_limits<float>::quiet_NaN()));
  file.voxels.replace(4 * 15, 4, file.Stored(-std::numeric_limits<float>::infinity()));
  WriteFile(folder / "holes.nii", file.Bytes(32));
  WriteImage(folder / "image.nii", 4, 4, 1, kHaralick);
  WriteImage(folder / "mask.nii", 4, 4, 1, {1, 1, 1, 1, 1, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0});
  const Textures found = Measure(folder, Quoted(folder / "holes.nii"));
  const Textures expected =
      Measure(folder, Quoted(folder / "image.nii") + " --mask " + Quoted(folder / "mask.nii"));
  ASSERT_EQ(found.size(), kFeatures);
  for (const auto& [key, fields] : found) {
    const auto& masked = expected.at({"1", key.second});
    EXPECT_TRUE(std::equal(fields.begin() + kVoxels, fields.end(), masked.begin() + kVoxels)) << key.second;
  }
}

TEST(TextureMr, MeasuresSeveralImages) {
  const ScratchFolder folder;
  WriteImage(folder / "a.nii", 4, 4, 1, kHaralick);
  WriteImage(folder / "b.nii", 4, 4, 1, kHaralick);
  const ProgramRun run = RunProgram(
      MTH_TEXTURE_MR, Quoted(folder / "a.nii") + " " + Quoted(folder / "b.nii") + " --levels 4 --json " +
                          Quoted(folder / "all.json") + " -o " + Quoted(folder / "out"));
  ASSERT_EQ(run.status, 0) << run.errors;
  const auto summary = ReadTable(folder / "out/summary.csv");
  ASSERT_EQ(summary.size(), 3U);
  EXPECT_EQ(summary[2][0], "\"" + (folder / "b.nii") + "\"");
  EXPECT_NEAR(std::stod(summary[2][3]), 137.0 / 144.0, 1e-14);
  EXPECT_NE(ReadFile(folder / "all.json").find("b.nii"), std::string::npos);
  EXPECT_FALSE(ReadFile(folder / "out/b/texture.csv").empty());
}

TEST(TextureMr, RefusesWhatItCannotMeasure) {
  const ScratchFolder folder;
  WriteImage(folder / "image.nii", 4, 4, 1, kHaralick);
  WriteImage(folder / "zeros.nii", 4, 4, 1, std::vector<int>(16, 0));
  WriteImage(folder / "small.nii", 4, 3, 1, std::vector<int>(12, 1));
  WriteImage(folder / "negative.nii", 4, 4, 1, std::vector<int>(16, -1));
  WriteImage(folder / "point.nii", 1, 1, 1, {5});
  WriteFile(folder / "text.nii", "no image");
  std::vector<int> many;
  for (int label = 1; label <= 70; ++label) many.push_back(label);
  WriteImage(folder / "many.nii", 70, 1, 1, many);
  const auto image = [&](const std::string& name) { return Quoted(folder / name); };
  const struct {
    std::string arguments;
    const char* error;
  } cases[] = {
      {"", "IMAGE is required"},
      {image("missing.nii"), "cannot find the image"},
      {image("text.nii"), "damaged or not a NIfTI image"},
      {image("image.nii") + " --levels 1", "--levels"},
      {image("image.nii") + " --bin-width 0", "--bin-width"},
      {image("image.nii") + " --bin-width 1 --levels 8", "exclude each other"},
      {image("image.nii") + " --bin-width 0.001", "more than 256 levels"},
      {image("image.nii") + " --levels 257", "--levels"},
      {image("image.nii") + " --distance 0", "--distance: Value 0 not in range 1 to 2147483647"},
      {image("image.nii") + " --distance 4", "no two voxels of a region are 4 apart"},
      {image("image.nii") + " --distance 2147483647", "no two voxels of a region are"},
      {image("point.nii"), "no two voxels of a region are 1 apart"},
      {image("image.nii") + " --range 3,3", "--range needs a lower and a higher intensity"},
      {image("image.nii") + " --range 0,nan", "--range needs a lower and a higher intensity"},
      {image("image.nii") + " --range 1", "--range needs two intensities"},
      {image("image.nii") + " --axis z", "--axis needs a volume"},
      {image("image.nii") + " --label 1", "--label needs a --mask"},
      {image("image.nii") + " --mask ''", "--mask needs a value"},
      {image("image.nii") + " --mask " + image("zeros.nii"), "no region in the mask"},
      {image("image.nii") + " --mask " + image("small.nii"), "differ in size: 4 x 4 and 4 x 3"},
      {image("image.nii") + " --mask " + image("negative.nii"), "holds -1"},
      {image("image.nii") + " --mask " + image("image.nii") + " --label 2,4", "no region 4 in the mask"},
      {image("many.nii") + " --mask " + image("many.nii"), "more than 64 regions"},
  };
  const std::size_t entries = folder.CountEntries();
  for (const auto& test : cases) {
    SCOPED_TRACE(test.arguments);
    const ProgramRun run = RunProgram(MTH_TEXTURE_MR, test.arguments + " -o " + Quoted(folder / "out"));
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.errors.find("texture_mr: "), 0U) << run.errors;
    EXPECT_NE(run.errors.find(test.error), std::string::npos) << run.errors;
    EXPECT_EQ(run.errors.find('\n'), run.errors.size() - 1) << run.errors;
    EXPECT_EQ(folder.CountEntries(), entries);
  }
}

}  // namespace
