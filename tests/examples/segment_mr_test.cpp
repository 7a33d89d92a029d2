#include <png.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <set>

#include "examples/segment_mr_run.h"

namespace {

using namespace mth_test;

// Clusterings of the 255 grey levels above 0, each weighted by its count: what clustering the pixels one by
// one amounts to.
using Counts = std::array<double, 256>;

std::size_t Nearest(const std::vector<double>& centroids, double level) {
  std::size_t best = 0;
  for (std::size_t k = 1; k < centroids.size(); ++k) {
    if (std::abs(level - centroids[k]) < std::abs(level - centroids[best])) best = k;
  }
  return best;
}

std::vector<double> WeightedMeans(const Counts& counts, std::size_t clusters,
                                  const std::vector<std::vector<double>>& weights) {
  std::vector<double> means;
  for (std::size_t k = 0; k < clusters; ++k) {
    double sum = 0.0;
    double total = 0.0;
    for (std::size_t level = 1; level < 256; ++level) {
      sum += counts[level] * weights[level][k] * static_cast<double>(level);
      total += counts[level] * weights[level][k];
    }
    means.push_back(sum / total);
  }
  return means;
}

// Bezdek's updates, 1981, for m = 2: u_k = 1 / sum over j of (d_k / d_j)^2, centroids weighted by u^2.
std::vector<double> FuzzyOracle(const Counts& counts, std::vector<double> centroids, std::size_t iterations) {
  std::vector<std::vector<double>> weights(256, std::vector<double>(centroids.size()));
  for (std::size_t iteration = 0; iteration < iterations; ++iteration) {
    if (iteration > 0) centroids = WeightedMeans(counts, centroids.size(), weights);
    for (std::size_t level = 1; level < 256; ++level) {
      for (std::size_t k = 0; k < centroids.size(); ++k) {
        const double distance = std::abs(static_cast<double>(level) - centroids[k]);
        double sum = 0.0;
        for (const double other : centroids) {
          const double otherDistance = std::abs(static_cast<double>(level) - other);
          if (otherDistance > 1e-6) sum += std::pow(distance / otherDistance, 2.0);
        }
        weights[level][k] = sum > 0.001 ? std::pow(1.0 / sum, 2.0) : 0.0;
      }
    }
  }
  return centroids;
}

// Lloyd's algorithm to its fixed point.
std::vector<double> KMeansOracle(const Counts& counts, std::vector<double> centroids) {
  for (std::vector<double> former; former != centroids;) {
    former = centroids;
    std::vector<std::vector<double>> weights(256, std::vector<double>(centroids.size()));
    for (std::size_t level = 1; level < 256; ++level) {
      weights[level][Nearest(centroids, static_cast<double>(level))] = 1.0;
    }
    centroids = WeightedMeans(counts, centroids.size(), weights);
  }
  return centroids;
}

// The pixels of a PNG, three bytes each, and its width.
std::pair<std::vector<png_byte>, std::size_t> ReadColours(const std::string& path) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  if (png_image_begin_read_from_file(&image, path.c_str()) == 0) return {};
  image.format = PNG_FORMAT_RGB;
  std::vector<png_byte> pixels(PNG_IMAGE_SIZE(image));
  png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr);
  return {pixels, image.width};
}

std::string ColourAt(const std::pair<std::vector<png_byte>, std::size_t>& picture, std::size_t x,
                     std::size_t y) {
  const png_byte* pixel = &picture.first[3 * (x + picture.second * y)];
  std::array<char, 8> text{};
  std::snprintf(text.data(), text.size(), "#%02x%02x%02x", pixel[0], pixel[1], pixel[2]);
  return text.data();
}

// Memberships of hard classes are white or black: as many white pixels as the class has.
void ExpectWhitePixels(const ScratchFolder& folder, const Json& report) {
  for (const Json& entry : report["classes"]) {
    const std::string name = "membership_" + entry["label"].dump() + ".png";
    const auto picture = ReadColours(folder / ("result/" + name)).first;
    EXPECT_EQ(std::count(picture.begin(), picture.end(), 255), 3 * entry["voxels"].get<long>()) << name;
  }
}

TEST(SegmentMr, ShippedSliceAgreesWithAClusteringOfItsHistogram) {
  Counts counts{};
  const std::string pixels = ReadGzip(kSlice).substr(kHeaderBytes);
  ASSERT_EQ(pixels.size(), 181U * 217U);
  for (const char pixel : pixels) ++counts[static_cast<unsigned char>(pixel)];
  counts[0] = 0.0;
  for (const std::string method : {"fcm", "kmeans"}) {
    SCOPED_TRACE(method);
    const bool isFuzzy = method == "fcm";
    const ScratchFolder folder;
    const Json report = Segment(folder, kSlice, "--centroids 110,30,60.5,90 -n 200 -m " + method);
    ASSERT_TRUE(report.is_object());
    EXPECT_TRUE(report["converged"].get<bool>());
    EXPECT_EQ(report["changes"].size(), report["iterations"].get<std::size_t>());
    EXPECT_EQ(report["changes"].back(), report["last_change"]);
    EXPECT_LE(report["last_change"].get<double>(), isFuzzy ? 0.001 : 0.0);
    const std::vector<double> start{30, 60.5, 90, 110};
    const std::vector<double> centroids =
        isFuzzy ? FuzzyOracle(counts, start, report["iterations"].get<std::size_t>())
                : KMeansOracle(counts, start);
    ExpectNear(Column(report, "centroid"), centroids, 1e-7);

    std::vector<double> areas(4, 0.0);  // of pixels of 1 mm by 1 mm
    for (std::size_t level = 1; level < 256; ++level) {
      areas[Nearest(centroids, static_cast<double>(level))] += counts[level];
    }
    ExpectNear(Column(report, "voxels"), areas, 0.0);
    ExpectNear(Column(report, "area_mm2"), areas, 1e-9);
    if (!isFuzzy) ExpectWhitePixels(folder, report);
    for (const Json& file : report["files"]) {
      EXPECT_GT(ReadFile(folder / ("result/" + file.get<std::string>())).size(), 50U) << file;
    }
    for (const char* name :
         {"panel.png", "labels.png", "membership_4.png", "histogram.svg", "convergence.svg"}) {
      EXPECT_NE(std::find(report["files"].begin(), report["files"].end(), name), report["files"].end())
          << name;
    }
  }
}

TEST(SegmentMr, EveryVoxelTypeAndByteOrderGivesTheSameClasses) {
  using Fill = void (*)(NiftiFile&, const std::vector<int>&);
  const struct {
    std::int16_t datatype;
    std::int16_t bits;
    Fill fill;
  } types[] = {
      {256, 8, [](NiftiFile& file, const auto& values) { file.SetVoxels<std::int8_t>(values); }},
      {2, 8, [](NiftiFile& file, const auto& values) { file.SetVoxels<std::uint8_t>(values); }},
      {4, 16, [](NiftiFile& file, const auto& values) { file.SetVoxels<std::int16_t>(values); }},
      {512, 16, [](NiftiFile& file, const auto& values) { file.SetVoxels<std::uint16_t>(values); }},
      {8, 32, [](NiftiFile& file, const auto& values) { file.SetVoxels<std::int32_t>(values); }},
      {768, 32, [](NiftiFile& file, const auto& values) { file.SetVoxels<std::uint32_t>(values); }},
      {1024, 64, [](NiftiFile& file, const auto& values) { file.SetVoxels<std::int64_t>(values); }},
      {1280, 64, [](NiftiFile& file, const auto& values) { file.SetVoxels<std::uint64_t>(values); }},
      {16, 32, [](NiftiFile& file, const auto& values) { file.SetVoxels<float>(values); }},
      {64, 64, [](NiftiFile& file, const auto& values) { file.SetVoxels<double>(values); }},
  };
  for (const auto& type : types) {
    for (const bool isBigEndian : {false, true}) {
      SCOPED_TRACE(std::to_string(type.datatype) + (isBigEndian ? " big-endian" : ""));
      const ScratchFolder folder;
      NiftiFile file = TwoClasses();
      file.datatype = type.datatype;
      file.isBigEndian = isBigEndian;
      type.fill(file, {10, 60, 60, 0, 60, 10});
      WriteFile(folder / "plain.nii", file.Bytes(type.bits));
      const Json plain = Segment(folder, folder / "plain.nii", "-m kmeans -c 2");
      ExpectNear(Column(plain, "centroid"), {10.0, 60.0}, 0.0);
      ExpectNear(Column(plain, "area_mm2"), {2.0, 3.0}, 0.0);

      file.slope = 0.5F;  // 0 becomes -10, which is outside
      file.intercept = -10.0F;
      type.fill(file, {50, 120, 120, 0, 120, 50});
      file.units = 3;  // micrometres
      WriteFile(folder / "scaled.nii", file.Bytes(type.bits));
      const Json scaled = Segment(folder, folder / "scaled.nii", "-m kmeans -c 2");
      ExpectNear(Column(scaled, "centroid"), {15.0, 50.0}, 0.0);
      ExpectNear(Column(scaled, "area_mm2"), {2e-6, 3e-6}, 1e-18);
    }
  }
}

TEST(SegmentMr, ReadsVoxelsBehindTheHeaderThoughItNamesNoPlace) {
  const ScratchFolder folder;
  NiftiFile file = TwoClasses();
  file.SetVoxels<std::uint8_t>({10, 60, 60, 0, 60, 10});
  WriteFile(folder / "image.nii", file.Bytes(8).replace(108, 4, 4, '\0'));
  const Json report = Segment(folder, folder / "image.nii", "-m kmeans -c 2");
  ExpectNear(Column(report, "centroid"), {10.0, 60.0}, 0.0);
  ExpectNear(Column(report, "area_mm2"), {2.0, 3.0}, 0.0);
}

TEST(SegmentMr, ReadsTheNamedFileThoughOneOfSimilarNameStandsBesideIt) {
  const ScratchFolder folder;
  std::filesystem::copy(kSlice, folder / "a.nii.gz");
  NiftiFile other = TwoClasses();
  other.SetVoxels<std::uint8_t>({10, 60, 60, 0, 60, 10});
  WriteFile(folder / "a.nii", other.Bytes(8));
  EXPECT_EQ(Segment(folder, folder / "a.nii.gz", "-m kmeans")["image"]["size"], Json({181, 217}));
  EXPECT_EQ(Segment(folder, folder / "a.nii", "-m kmeans -c 2")["image"]["size"], Json({3, 2}));
}

// A volume of 4 x 3 x 5 voxels whose value tells its position: class 1 below 50, class 2 above.
NiftiFile SmallVolume(std::vector<int>& values) {
  NiftiFile file;
  file.dimensions = {3, 4, 3, 5, 1, 1, 1, 1};
  file.voxelSize = {2.0F, 3.0F, 5.0F};
  file.hasPlace = true;
  for (int z = 0; z < 5; ++z) {
    for (int y = 0; y < 3; ++y) {
      for (int x = 0; x < 4; ++x) values.push_back(x == 3 ? 0 : (x + 2 * y + z) % 3 == 0 ? 90 + z : 10 + y);
    }
  }
  file.SetVoxels<std::uint8_t>(values);
  return file;
}

TEST(SegmentMr, AVolumeIsLabelledInItsOwnGrid) {
  std::vector<int> values;
  const ScratchFolder folder;
  const std::string bytes = SmallVolume(values).Bytes(8);
  WriteFile(folder / "volume.nii", bytes);
  const Json report = Segment(folder, folder / "volume.nii", "-m kmeans -c 2");
  const std::string labels = ReadGzip(folder / "result/labels.nii.gz");
  ASSERT_EQ(labels.size(), bytes.size());
  EXPECT_EQ(labels.substr(40, 16), bytes.substr(40, 16));  // dimensions
  EXPECT_EQ(labels.substr(80, 12), bytes.substr(80, 12));  // voxel sizes
  std::vector<double> millilitres(2, 0.0);
  for (std::size_t voxel = 0; voxel < values.size(); ++voxel) {
    const int expected = values[voxel] == 0 ? 0 : values[voxel] < 50 ? 1 : 2;
    ASSERT_EQ(labels[kHeaderBytes + voxel], expected) << voxel;
    if (expected > 0) millilitres[static_cast<std::size_t>(expected) - 1] += 0.03;
  }
  ExpectNear(Column(report, "volume_ml"), millilitres, 1e-12);
}

TEST(SegmentMr, APlaneOfAVolumeHasTheAreasOfItsPixels) {
  std::vector<int> values;
  const ScratchFolder folder;
  WriteFile(folder / "volume.nii", SmallVolume(values).Bytes(8));
  const struct {
    const char* options;
    int axis;
    int index;
    double pixelArea;
  } planes[] = {{"--axis x --index 1", 0, 1, 15.0},
                {"--axis y --index 2", 1, 2, 10.0},
                {"--axis z --index 4", 2, 4, 6.0},
                {"--axis z", 2, 2, 6.0},
                {"--index 0", 2, 0, 6.0}};
  for (const auto& plane : planes) {
    SCOPED_TRACE(plane.options);
    std::vector<double> areas(2, 0.0);
    for (int voxel = 0; voxel < 60; ++voxel) {
      const int position[] = {voxel % 4, voxel / 4 % 3, voxel / 12};
      const int value = values[static_cast<std::size_t>(voxel)];
      if (position[plane.axis] == plane.index && value > 0) areas[value < 50 ? 0 : 1] += plane.pixelArea;
    }
    const Json report = Segment(folder, folder / "volume.nii", std::string("-m fcm -c 2 ") + plane.options);
    ExpectNear(Column(report, "area_mm2"), areas, 1e-12);
    EXPECT_EQ(report["image"]["plane"]["index"], plane.index);
    // The labels of the plane lie in it: along its axis at the plane's place.
    const std::string labels = ReadGzip(folder / "result/labels.nii.gz");
    EXPECT_EQ(labels.size(), kHeaderBytes + 60 / (plane.axis == 0 ? 4 : plane.axis == 1 ? 3 : 5));
    EXPECT_EQ(FloatAt(labels, 280 + 16 * static_cast<std::size_t>(plane.axis) + 12),
              static_cast<float>(plane.index) * (plane.axis == 0   ? 2.0F
                                                 : plane.axis == 1 ? 3.0F
                                                                   : 5.0F));
  }
}

TEST(SegmentMr, PicturesShowClassesWithTheFrontUp) {
  const ScratchFolder folder;
  NiftiFile file = TwoClasses();
  file.SetVoxels<std::uint8_t>({10, 10, 10, 60, 0, 0});  // the row that is stored first is the lowest
  WriteFile(folder / "image.nii", file.Bytes(8));
  const Json report = Segment(folder, folder / "image.nii", "-m kmeans -c 2");
  const auto labels = ReadColours(folder / "result/labels.png");
  ASSERT_EQ(labels.first.size(), 18U);
  EXPECT_EQ(ColourAt(labels, 0, 0), report["classes"][1]["colour"]);
  EXPECT_EQ(ColourAt(labels, 1, 0), "#000000");
  EXPECT_EQ(ColourAt(labels, 2, 1), report["classes"][0]["colour"]);
  const auto membership = ReadColours(folder / "result/membership_2.png");
  EXPECT_EQ(ColourAt(membership, 0, 0), "#ffffff");
  EXPECT_EQ(ColourAt(membership, 0, 1), "#000000");
}

// Columns that run to the patient's right are turned round, as radiologists look at him; not so on request.
TEST(SegmentMr, PicturesShowTheSideThatIsAskedFor) {
  const ScratchFolder folder;
  NiftiFile file = TwoClasses();
  file.hasPlace = true;  // x to the right
  file.SetVoxels<std::uint8_t>({10, 0, 0, 60, 0, 0});
  WriteFile(folder / "image.nii", file.Bytes(8));
  for (const auto& [options, column] : {std::pair("", 2U), std::pair("--neurological", 0U)}) {
    Segment(folder, folder / "image.nii", std::string("-m kmeans -c 2 ") + options);
    const auto labels = ReadColours(folder / "result/labels.png");
    const std::size_t band = (labels.second - 3) / 2;
    EXPECT_NE(ColourAt(labels, band + column, band), "#000000") << options;
    EXPECT_EQ(ColourAt(labels, band + 2 - column, band), "#000000") << options;
    std::set<std::string> colours;  // of the band at the left: its ground and a letter
    for (std::size_t x = 0; x < band; ++x) colours.insert(ColourAt(labels, x, band));
    EXPECT_EQ(colours.size(), 2U) << options;
  }
}

template <class T>
void WritePngImage(const std::string& path, png_uint_32 format, png_uint_32 width,
                   const std::vector<T>& pixels) {
  png_image image{};
  image.version = PNG_IMAGE_VERSION;
  image.width = width;
  image.height = 1;
  image.format = format;
  ASSERT_NE(png_image_write_to_file(&image, path.c_str(), 0, pixels.data(), 0, nullptr), 0);
}

TEST(SegmentMr, ReadsGreyAndColouredPng) {
  const ScratchFolder folder;
  WritePngImage<png_uint_16>(folder / "grey.png", PNG_FORMAT_LINEAR_Y, 3, {1000, 0, 40000});
  const Json grey = Segment(folder, folder / "grey.png", "-m kmeans -c 2");
  ExpectNear(Column(grey, "centroid"), {1000.0, 40000.0}, 0.0);
  EXPECT_TRUE(grey["classes"][0]["area_mm2"].is_null());
  WritePngImage<png_byte>(folder / "colour.png", PNG_FORMAT_RGB, 2, {10, 20, 30, 200, 200, 200});
  const Json colour = Segment(folder, folder / "colour.png", "-m kmeans -c 2");
  ExpectNear(Column(colour, "centroid"), {0.2126 * 10 + 0.7152 * 20 + 0.0722 * 30, 200.0}, 1e-12);
}

TEST(SegmentMr, ASecondRunReplacesTheFilesOfTheFirstAndNoOthers) {
  const ScratchFolder folder;
  Segment(folder, kSlice, "-c 5 -m kmeans");
  WriteFile(folder / "result/notes.txt", "mine");
  const Json report = Segment(folder, kSlice, "-c 3 -m kmeans");
  EXPECT_EQ(report["classes"].size(), 3U);
  EXPECT_TRUE(std::filesystem::exists(folder / "result/membership_3.png"));
  EXPECT_FALSE(std::filesystem::exists(folder / "result/membership_4.png"));
  EXPECT_EQ(ReadFile(folder / "result/notes.txt"), "mine");
  EXPECT_EQ(folder.CountEntries(),
            1 + report["files"].size() + 3);  // the folder, the report itself, the notes and the manifest
}

// What counts and what does not: values at or below the threshold, outside the mask, and no numbers at all.
TEST(SegmentMr, ThresholdAndMaskTellWhatIsInside) {
  const ScratchFolder folder;
  NiftiFile file = TwoClasses();
  file.datatype = 16;
  file.SetVoxels<float>({-900, -880, 40, 60, 0, 0});
  const float odd[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity()};
  file.voxels.replace(16, 4, file.Stored(odd[0])).replace(20, 4, file.Stored(odd[1]));
  WriteFile(folder / "ct.nii", file.Bytes(32));
  NiftiFile mask = TwoClasses();
  mask.SetVoxels<std::uint8_t>({1, 0, 1, 1, 1, 0});
  WriteFile(folder / "mask.nii", mask.Bytes(8));
  const struct {
    std::string options;
    std::vector<double> centroids;
    int inside;
    int dropped;
  } cases[] = {{"", {40, 60}, 2, 4},
               {"--threshold -1000", {-890, 50}, 4, 2},
               {"--threshold -1000 --mask " + Quoted(folder / "mask.nii"), {-900, 50}, 3, 1}};
  for (const auto& [options, centroids, inside, dropped] : cases) {
    SCOPED_TRACE(options);
    const std::string output = folder / "result";
    const ProgramRun run = RunProgram(
        MTH_SEGMENT_MR, Quoted(folder / "ct.nii") + " -m kmeans -c 2 -o " + Quoted(output) + " " + options);
    ASSERT_EQ(run.status, 0) << run.errors;
    EXPECT_NE(run.output.find("or no finite numbers and left out"), std::string::npos) << run.output;
    const Json report = Json::parse(ReadFile(output + "/report.json"));
    ExpectNear(Column(report, "centroid"), centroids, 1e-9);
    EXPECT_EQ(report["image"]["voxels_above_zero"], inside);
    EXPECT_EQ(report["image"]["dropped_voxels"], dropped);
    EXPECT_EQ(report["image"]["not_finite_voxels"], 2);
  }
}

TEST(SegmentMr, HelpNamesEveryOptionAndFile) {
  const ProgramRun run = RunProgram(MTH_SEGMENT_MR, "--help");
  EXPECT_EQ(run.status, 0);
  for (const char* text :
       {"IMAGE", "--output", "--method", "--clusters", "--fuzzifier", "--iterations", "--tolerance",
        "--centroids", "--alpha", "--rho", "--fuse", "--fuse-centroids", "--axis", "--index", "undecided.png",
        "report.json", "labels.nii.gz", "Exit status"}) {
    EXPECT_NE(run.output.find(text), std::string::npos) << text;
  }
}

}  // namespace
