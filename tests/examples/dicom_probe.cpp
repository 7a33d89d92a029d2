// For the tests of DICOM: reads as the hosts do and writes the image as NIfTI, or reads files with random
// faults.
//   dicom_probe read PATH SERIES|- ECHO|- OUT.nii
//   dicom_probe open PATH SERIES|- ECHO|-      reads only
//   dicom_probe mutate COUNT SEED SCRATCH.dcm FILE...

#include <cstdio>
#include <random>

#include "examples/host_run.h"
#include "support/dicom_io.h"
#include "support/failure.h"
#include "support/nifti_io.h"

namespace {

std::string Mutated(std::string bytes, std::mt19937& engine) {
  const auto below = [&](std::size_t count) { return engine() % std::max<std::size_t>(count, 1); };
  for (std::size_t fault = 0, faults = 1 + below(3); fault < faults; ++fault) {
    const std::size_t header = std::min<std::size_t>(bytes.size(), 4096);
    const std::size_t place = below(below(4) == 0 ? bytes.size() : header);
    switch (below(5)) {
      case 0:
        bytes.resize(place);
        break;
      case 1:
        bytes.insert(place, bytes.substr(below(bytes.size()), below(64)));
        break;
      case 2:
        bytes.erase(place, below(64));
        break;
      default:
        if (place < bytes.size()) bytes[place] = below(2) == 0 ? '\xFF' : static_cast<char>(engine());
    }
  }
  return bytes;
}

// What is read is as large as it says; all else is a refusal, never anything worse.
int ReadMutated(int count, unsigned seed, const std::string& scratch, const std::vector<std::string>& paths) {
  std::mt19937 engine(seed);
  int refused = 0;
  for (int i = 0; i < count; ++i) {
    const std::string original = mth_test::ReadFile(paths[static_cast<std::size_t>(i) % paths.size()]);
    mth_test::WriteFile(scratch, Mutated(original, engine));
    try {
      const example::GreyImage image = example::ReadDicom(scratch, {});
      const auto [width, height, depth] = image.size;
      const auto voxels = static_cast<double>(width) * height * depth;
      if (voxels < 1.0 || voxels != static_cast<double>(image.values.size())) return 1;
    } catch (const example::Failure& failure) {
      ++refused;
      if (std::string(failure.what()).empty()) return 1;
    }
  }
  std::printf("%d mutated files: %d refused, %d read\n", count, refused, count - refused);
  return 0;
}

int Run(int argc, char** argv) {
  const std::vector<std::string> words(argv + 1, argv + argc);
  if (words.at(0) == "mutate")
    return ReadMutated(std::stoi(words.at(1)), static_cast<unsigned>(std::stoul(words.at(2))), words.at(3),
                       {words.begin() + 4, words.end()});
  example::SeriesChoice choice;
  if (words.at(2) != "-") choice.series = words[2];
  if (words.at(3) != "-") choice.echo = std::stoi(words[3]);
  const example::GreyImage image = example::ReadImage(words.at(1), choice);
  if (words[0] == "open") return image.values.empty() ? 1 : 0;
  example::WriteNifti(words.at(4), image, "", image.values, {example::VoxelType::Double, 1.0, 0.0},
                      example::Meaning::Intensities);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  return example::RunProgram("dicom_probe", Run, argc, argv);
}
