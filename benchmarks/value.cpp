// The steps of value.py on raw files of 32-bit floats, x fastest: phantoms, denoising, segmentation. Each
// prints its seconds.

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

#include "make_phantom/phantom.h"
#include "mth/Mth.h"

namespace {

using Floats = std::vector<float>;

Floats ReadFloats(const std::string& path) {
  std::ifstream file(path, std::ios::binary | std::ios::ate);
  Floats values(static_cast<std::size_t>(file.tellg()) / sizeof(float));
  file.seekg(0);
  file.read(reinterpret_cast<char*>(values.data()),
            static_cast<std::streamsize>(values.size() * sizeof(float)));
  return values;
}

void WriteFloats(const std::string& path, const Floats& values) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(values.data()),
             static_cast<std::streamsize>(values.size() * sizeof(float)));
}

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct Arguments {
  char** next;
  std::string Text() { return *next++; }
  int Whole() { return std::atoi(*next++); }
  double Number() { return std::atof(*next++); }
  std::array<int, 3> Size() { return {Whole(), Whole(), Whole()}; }
};

// make NX NY NZ BRAIN HEAD CSF GM WM (levels) PREFIX: the fractions and the mask; HEAD may be -.
int Make(Arguments arguments) {
  const auto size = arguments.Size();
  const Floats brain = ReadFloats(arguments.Text());
  const std::string headPath = arguments.Text();
  const Floats head = headPath == "-" ? Floats{} : ReadFloats(headPath);
  const std::array<double, 3> levels{arguments.Number(), arguments.Number(), arguments.Number()};
  const example::Phantom phantom =
      example::MakeAnatomicalPhantom(size, {brain.begin(), brain.end()}, levels, {head.begin(), head.end()});
  const std::string prefix = arguments.Text();
  for (std::size_t k = 0; k < 3; ++k)
    WriteFloats(prefix + "fraction_" + std::to_string(k) + ".f32", phantom.fractions[k]);
  return 0;
}

// scan NX NY NZ PREFIX HEAD CSF GM WM (contrast) BIAS NOISE SEED: clean.f32 and noisy.f32 of the fractions
// there.
int Scan(Arguments arguments) {
  example::Phantom phantom;
  phantom.size = arguments.Size();
  const std::string prefix = arguments.Text();
  for (std::size_t k = 0; k < 3; ++k)
    phantom.fractions[k] = ReadFloats(prefix + "fraction_" + std::to_string(k) + ".f32");
  const std::string head = arguments.Text();
  if (head != "-") phantom.surroundings = ReadFloats(head);
  for (std::size_t i = 0; i < phantom.fractions[0].size(); ++i) {
    const float sum = phantom.fractions[0][i] + phantom.fractions[1][i] + phantom.fractions[2][i];
    phantom.mask.push_back(sum > 0.5F ? 1 : 0);
  }
  example::PhantomScan scan;
  for (double& level : scan.contrast) level = arguments.Number();
  scan.bias = arguments.Number();
  scan.noisePercent = arguments.Number();
  scan.seed = static_cast<unsigned>(arguments.Whole());
  WriteFloats(prefix + "clean.f32", CleanImage(phantom, scan));
  WriteFloats(prefix + "noisy.f32", NoisyImage(phantom, scan));
  return 0;
}

// denoise NX NY NZ NOISY DENOISED CONFIDENCE DEVIATION
int Denoise(Arguments arguments) {
  const auto size = arguments.Size();
  const Floats noisy = ReadFloats(arguments.Text());
  Floats denoised(noisy.size());
  Floats confidence(noisy.size());
  MTH_VOLUME_DENOISING denoising(size[0], size[1], size[2]);
  const std::string denoisedPath = arguments.Text();
  const std::string confidencePath = arguments.Text();
  denoising.SetNoiseDeviation(arguments.Number());
  const auto start = std::chrono::steady_clock::now();
  if (!denoising.Denoise(noisy.data(), denoised.data(), confidence.data())) return 1;
  std::printf("%.3f %.4f\n", SecondsSince(start), denoising.GetUsedNoiseDeviation());
  WriteFloats(denoisedPath, denoised);
  WriteFloats(confidencePath, confidence);
  return 0;
}

// segment NX NY NZ VX VY VZ IMAGE CONFIDENCE(or -) PREFIX: fractions found and field, in the mask of the
// prefix's fractions.
int Segment(Arguments arguments) {
  const auto size = arguments.Size();
  const std::array<double, 3> voxel{arguments.Number(), arguments.Number(), arguments.Number()};
  const Floats image = ReadFloats(arguments.Text());
  const std::string confidencePath = arguments.Text();
  const Floats confidence = confidencePath == "-" ? Floats{} : ReadFloats(confidencePath);
  const std::string prefix = arguments.Text();
  std::vector<std::uint8_t> mask(image.size());
  for (int k = 0; k < 3; ++k) {
    const Floats fraction = ReadFloats(prefix + "fraction_" + std::to_string(k) + ".f32");
    for (std::size_t i = 0; i < mask.size(); ++i) mask[i] = mask[i] != 0 || fraction[i] > 0.0F ? 1 : 0;
  }
  MTH_TISSUE_CLUSTERING tissues(3);
  tissues.SetVoxelSize(voxel[0], voxel[1], voxel[2]);
  const auto start = std::chrono::steady_clock::now();
  const bool isDone = tissues.Segment(image.data(), size[0], size[1], size[2], mask.data(),
                                      confidence.empty() ? nullptr : confidence.data());
  std::printf("%.3f %.2f %.2f %.2f\n", SecondsSince(start), tissues.GetCentroid(0), tissues.GetCentroid(1),
              tissues.GetCentroid(2));
  Floats values(image.size());
  for (int k = 0; k < 3; ++k) {
    if (tissues.GetFractions(k, values.data()))
      WriteFloats(prefix + "found_" + std::to_string(k) + ".f32", values);
  }
  if (tissues.GetField(values.data())) WriteFloats(prefix + "field.f32", values);
  return isDone ? 0 : 1;
}

}  // namespace

int main(int count, char** texts) {
  if (count < 3) return 2;
  const std::string command = texts[1];
  const Arguments arguments{texts + 2};
  if (command == "make") return Make(arguments);
  if (command == "scan") return Scan(arguments);
  if (command == "denoise") return Denoise(arguments);
  if (command == "segment") return Segment(arguments);
  return 2;
}
