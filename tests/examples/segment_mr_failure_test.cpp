#include <sys/stat.h>

#include <algorithm>
#include <cstdint>
#include <limits>

#include "examples/host_run.h"

namespace {

using namespace mth_test;

const std::string kSlice = MTH_DATA_DIR "/t1_brain_axial.nii.gz";

// A 4 x 4 image of bytes with four grey levels.
NiftiFile SmallImage() {
  NiftiFile file;
  file.dimensions = {2, 4, 4, 1, 1, 1, 1, 1};
  file.SetVoxels<std::uint8_t>({0, 0, 0, 0, 10, 10, 50, 50, 90, 90, 130, 130, 0, 0, 0, 0});
  return file;
}

// The same image in the second format, 4 voxels high, with a count of dimensions and a width of its own.
std::string SecondFormat(std::int64_t dimensionsCount, std::int64_t width) {
  const NiftiFile small = SmallImage();
  std::string header(544, '\0');
  const auto put = [&](std::size_t offset, const std::string& bytes) {
    header.replace(offset, bytes.size(), bytes);
  };
  put(0, small.Stored(std::int32_t{540}));
  put(4, std::string("n+2\0\r\n\032\n", 8));
  put(12, small.Stored(std::int16_t{2}) + small.Stored(std::int16_t{8}));
  const std::int64_t dimensions[] = {dimensionsCount, width, 4, 1, 1, 1, 1, 1};
  for (std::size_t i = 0; i < 8; ++i) put(16 + 8 * i, small.Stored(dimensions[i]));
  put(168, small.Stored(std::int64_t{544}));
  return header + small.voxels;
}

std::string WithBytes(std::string content, std::size_t offset, const std::string& bytes) {
  return content.replace(offset, bytes.size(), bytes);
}

// Exit status 2, one line that tells why, nothing on standard output, and no file more than before.
void ExpectRefusal(const ScratchFolder& folder, const std::string& arguments, const std::string& reason) {
  SCOPED_TRACE(arguments);
  const std::size_t entries = folder.CountEntries();
  const ProgramRun run = RunProgram(MTH_SEGMENT_MR, arguments);
  EXPECT_EQ(run.status, 2);
  EXPECT_EQ(run.output, "");
  EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
  EXPECT_EQ(run.errors.rfind("segment_mr: ", 0), 0U) << run.errors;
  EXPECT_NE(run.errors.find(reason), std::string::npos) << run.errors;
  EXPECT_EQ(folder.CountEntries(), entries);
}

TEST(SegmentMrRefuses, DamagedAndUnsupportedImages) {
  const std::string slice = ReadFile(kSlice);
  const std::string plain = ReadGzip(kSlice);
  const NiftiFile small = SmallImage();
  const std::string bytes = small.Bytes(8);
  NiftiFile zero = small;
  zero.voxels.assign(16, '\0');
  NiftiFile series = small;
  series.dimensions = {4, 2, 2, 1, 4, 1, 1, 1};
  NiftiFile complex = small;
  complex.datatype = 32;
  complex.voxels.assign(16 * 8, '\1');
  NiftiFile coloured = small;
  coloured.datatype = 128;
  coloured.voxels.assign(16 * 3, '\1');
  NiftiFile enormous = small;
  enormous.dimensions = {3, 32767, 32767, 32767, 1, 1, 1, 1};
  NiftiFile negative = small;
  negative.dimensions = {2, -4, 4, 1, 1, 1, 1, 1};
  NiftiFile constant = small;
  constant.voxels.assign(16, '\7');
  const std::string kPngMark = "\x89PNG\r\n\x1a\n";
  const struct {
    std::string name;
    std::string content;
    std::string reason;
  } cases[] = {
      {"cut.nii.gz", slice.substr(0, slice.size() / 2), "damaged"},
      {"trailer.nii.gz", slice.substr(0, slice.size() - 4), "damaged"},
      {"checksum.nii.gz", WithBytes(slice, slice.size() - 6, "\x55\xAA"), "damaged"},
      {"flipped.nii.gz", WithBytes(slice, slice.size() / 2, std::string(8, '\0')), "damaged"},
      {"cut.nii", plain.substr(0, plain.size() - 1), "damaged"},
      {"header.nii", plain.substr(0, 200), "damaged"},
      {"empty.nii", "", "damaged"},
      {"mark.nii", WithBytes(plain, 344, "xxxx"), "damaged"},
      {"datatype.nii", WithBytes(bytes, 70, small.Stored(std::int16_t{77})), "damaged"},
      {"start.nii", WithBytes(bytes, 108, small.Stored(1e9F)), "damaged"},
      {"enormous.nii", enormous.Bytes(8), "damaged"},
      {"negative.nii", negative.Bytes(8), "damaged"},
      {"nodim.nii", WithBytes(bytes, 40, small.Stored(std::int16_t{0})), "damaged"},
      {"8dim.nii", WithBytes(bytes, 40, small.Stored(std::int16_t{8})), "damaged"},
      {"nan.nii", WithBytes(bytes, 108, small.Stored(std::numeric_limits<float>::quiet_NaN())), "damaged"},
      {"far.nii", WithBytes(bytes, 108, small.Stored(1e18F)), "damaged"},
      {"second.nii", SecondFormat(2, 4), ""},
      {"unused.nii", WithBytes(bytes, 46, std::string(10, '\0')), ""},
      {"second_dims.nii", SecondFormat(100, 4), "damaged"},
      {"second_many.nii", SecondFormat(1000000, 4), "damaged"},
      {"second_none.nii", SecondFormat(0, 4), "damaged"},
      {"second_negative.nii", SecondFormat(2, -4), "damaged"},
      {"second_wide.nii", SecondFormat(2, std::int64_t{1} << 62), "damaged"},
      {"zero.nii", zero.Bytes(8), "no voxel above 0"},
      {"constant.nii", constant.Bytes(8), "1 distinct"},
      {"series.nii", series.Bytes(8), "three dimensions"},
      {"complex.nii", complex.Bytes(64), "COMPLEX"},
      {"coloured.nii", coloured.Bytes(24), "RGB"},
      {"text.png", "not a picture", "damaged"},
      {"cut.png", kPngMark + std::string(9, '\0'), "damaged"},
      {"image.mha", bytes, "unsupported"},
  };
  const ScratchFolder folder;
  for (const auto& [name, content, reason] : cases) {
    WriteFile(folder / name, content);
    if (reason.empty()) {  // sound: others differ from it in one field
      EXPECT_EQ(RunProgram(MTH_SEGMENT_MR, Quoted(folder / name) + " -o " + Quoted(folder / "sound")).status,
                0);
      continue;
    }
    ExpectRefusal(folder, Quoted(folder / name) + " -o " + Quoted(folder / "result"), reason);
  }
  ExpectRefusal(folder, Quoted(folder / "absent.nii") + " -o " + Quoted(folder / "result"), "cannot find");
  ExpectRefusal(folder, Quoted(folder / "") + " -o " + Quoted(folder / "result"), folder / "");  // no series
  ASSERT_EQ(mkfifo((folder / "pipe.dcm").c_str(), 0666), 0);  // not waited for
  ExpectRefusal(folder, Quoted(folder / "pipe.dcm") + " -o " + Quoted(folder / "result"), "is not a file");
}

TEST(SegmentMrRefuses, BadOptions) {
  const struct {
    const char* options;
    const char* reason;
  } cases[] = {
      {"-c 1", "--clusters"},
      {"-c 65", "--clusters"},
      {"-c four", "--clusters"},
      {"-c 99999999999", "--clusters"},
      {"--fuzzifier 1", "--fuzzifier"},
      {"--fuzzifier nan", "--fuzzifier"},
      {"-t -1", "--tolerance"},
      {"-t inf", "--tolerance"},
      {"-n 0", "--iterations"},
      {"-m median", "--method"},
      {"-m ecm -c 11", "2 to 10"},
      {"-m ecm --alpha -1", "--alpha"},
      {"-m ecm --rho 0", "--rho"},
      {"--fuse image.nii", "--method ecm"},
      {"-m ecm --fuse-centroids 10,20", "--fuse-centroids needs"},
      {"-m ecm -c 2 --fuse absent.nii", "cannot find"},
      {"--centroids 10,x", "--centroids"},
      {"--centroids 10,nan", "--centroids"},
      {"--centroids 10,10", "--centroids"},
      {"--centroids 10", "--centroids"},
      {"--centroids 10,20 -c 3", "--centroids"},
      {"--axis w", "--axis"},
      {"--axis z", "need a volume"},
      {"--index 0", "need a volume"},
      {"--unknown", "--unknown"},
      {"--rho 2 -m fcm", "--rho needs"},
      {"--adjacent-sets", "needs --method ecm"},
      {"--fuzzifier 2 -m kmeans", "k-means"},
      {"--sigma 3 -m fcm", "--sigma needs"},
      {"-m tissue --centroids 10,20", "--method tissue"},
      {"-m fcm --bias-field", "--bias-field needs"},
      {"-c 17 --bias-field", "are for tissues: they are at most 16 classes"},
      {"image2.nii -m fcm", "several images"},
      {"--mask absent.nii", "cannot find"},
      {"--threshold nan", "--threshold"},
      {"--series 3", "--series"},
      {"-c 5", "too few"},
  };
  const ScratchFolder folder;
  const std::string image = folder / "image.nii";
  WriteFile(image, SmallImage().Bytes(8));
  const std::string output = " -o " + Quoted(folder / "result") + " ";
  for (const auto& [options, reason] : cases) ExpectRefusal(folder, Quoted(image) + output + options, reason);
  ExpectRefusal(folder, output, "IMAGE");
  ExpectRefusal(folder, Quoted(image) + " -o " + Quoted(image), "cannot write");
  ExpectRefusal(folder, Quoted(image) + " -o " + Quoted(image + "/result"), "cannot write");
  ExpectRefusal(folder, Quoted(image) + " -o ''", "--output");

  const std::string fused = Quoted(image) + output + "-m ecm -c 2 --fuse ";
  ExpectRefusal(folder, fused + Quoted(kSlice), "differ in size");
  ExpectRefusal(folder, fused + Quoted(image) + " -n 1", "converge");
  NiftiFile placed = SmallImage();
  placed.hasPlace = true;
  WriteFile(folder / "placed.nii", placed.Bytes(8));
  placed.isMirrored = true;
  WriteFile(folder / "mirrored.nii", placed.Bytes(8));
  for (const std::string companion : {"-m ecm -c 2 --fuse ", "--lesions "})
    ExpectRefusal(folder,
                  Quoted(folder / "placed.nii") + output + companion + Quoted(folder / "mirrored.nii"),
                  "lie differently in the patient");
  ExpectRefusal(folder, fused + Quoted(image) + " --fuse-centroids 10", "--fuse-centroids");

  NiftiFile volume = SmallImage();
  volume.dimensions = {3, 2, 4, 2, 1, 1, 1, 1};
  WriteFile(folder / "volume.nii", volume.Bytes(8));
  for (const char* plane : {"--index 2", "--index -1", "--axis y --index 4"}) {
    ExpectRefusal(folder, Quoted(folder / "volume.nii") + output + plane, "--index");
  }
}

}  // namespace
