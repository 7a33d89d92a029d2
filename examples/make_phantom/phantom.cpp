#include "make_phantom/phantom.h"

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

#include "std/Std_display.h"
#include "support/cancellation.h"

namespace example {
namespace {

constexpr std::size_t kCsf = 0;
constexpr std::size_t kGrey = 1;
constexpr std::size_t kWhite = 2;

std::size_t CountVoxels(const std::array<int, 3>& size) {
  return static_cast<std::size_t>(size[0]) * static_cast<std::size_t>(size[1]) *
         static_cast<std::size_t>(size[2]);
}

Phantom EmptyPhantom(const std::array<int, 3>& size) {
  Phantom phantom;
  phantom.size = size;
  phantom.mask.assign(CountVoxels(size), 0);
  for (auto& fraction : phantom.fractions) fraction.assign(CountVoxels(size), 0.0F);
  return phantom;
}

// Ends a run that takes minutes when its host asks for it.
void EndIfAsked() {
  if (Std_IsCancelRequested()) throw Cancelled();
}

// Calls body(index, place) for each voxel, the place running from -1 to 1 along every axis.
template <class Body>
void ForEachVoxel(const std::array<int, 3>& size, Body body) {
  const auto place = [&](std::size_t axis, int i) { return (2.0 * i + 1.0) / size[axis] - 1.0; };
  std::size_t index = 0;
  for (int z = 0; z < size[2]; ++z) {
    EndIfAsked();
    for (int y = 0; y < size[1]; ++y) {
      for (int x = 0; x < size[0]; ++x)
        body(index++, std::array<double, 3>{place(0, x), place(1, y), place(2, z)});
    }
  }
}

// Share of a voxel inside the surface from which it is `distance` voxels away, outwards positive.
double ShareInside(double distance) {
  return std::clamp(0.5 - distance, 0.0, 1.0);
}

double EllipsoidDistance(const std::array<double, 3>& place, const std::array<double, 3>& centre,
                         const std::array<double, 3>& axes, double voxels) {
  const double radius = std::hypot((place[0] - centre[0]) / axes[0], (place[1] - centre[1]) / axes[1],
                                   (place[2] - centre[2]) / axes[2]);
  return (radius - 1.0) * *std::min_element(axes.begin(), axes.end()) * voxels;
}

// Lays a tissue over what is there, as much of it as the share says.
void Cover(std::array<double, Phantom::kTissues>& mixture, std::size_t tissue, double share) {
  for (double& part : mixture) part *= 1.0 - share;
  mixture[tissue] += share;
}

std::array<double, Phantom::kTissues> ShapesMixture(std::array<double, 3> place, bool isFlat, double voxels) {
  constexpr double kCortex = 0.86;     // of the half axes, where the folds are on average
  constexpr double kFolds = 0.08;      // their depth
  constexpr double kThickness = 0.09;  // of the cortex
  if (isFlat) place[2] = 0.15;
  const double folds = kFolds * (std::sin(17.0 * place[0]) * std::sin(15.0 * place[1] + 1.0) +
                                 std::cos(16.0 * place[2]) * std::cos(14.0 * place[0] + 0.5));
  const double radius = std::hypot(place[0], place[1], place[2]);
  std::array<double, Phantom::kTissues> mixture{1.0, 0.0, 0.0};
  Cover(mixture, kGrey, ShareInside((radius - kCortex + folds) * voxels));
  Cover(mixture, kWhite, ShareInside((radius - kCortex + kThickness + folds) * voxels));
  for (const double side : {-1.0, 1.0}) {
    Cover(mixture, kGrey,
          ShareInside(EllipsoidDistance(place, {side * 0.28, 0.1, 0.1}, {0.1, 0.22, 0.15}, voxels)));
    Cover(mixture, kCsf,
          ShareInside(EllipsoidDistance(place, {side * 0.11, 0.0, 0.15}, {0.06, 0.32, 0.2}, voxels)));
  }
  return mixture;
}

// Where a value lies between the levels of two neighbouring tissues: the middle half of the way is mixtures,
// the rest the spread of a tissue.
std::array<double, Phantom::kTissues> LevelsMixture(double value,
                                                    const std::array<double, Phantom::kTissues>& levels) {
  const auto shareOfBrighter = [&](std::size_t tissue) {
    const double way = (value - levels[tissue]) / (levels[tissue + 1] - levels[tissue]);
    return std::clamp(2.0 * way - 0.5, 0.0, 1.0);
  };
  const double grey = shareOfBrighter(kCsf);
  const double white = shareOfBrighter(kGrey);
  return {1.0 - grey, grey - white, white};
}

void SetMixture(Phantom& phantom, std::size_t index, const std::array<double, Phantom::kTissues>& mixture) {
  phantom.mask[index] = 1;
  for (std::size_t k = 0; k < Phantom::kTissues; ++k)
    phantom.fractions[k][index] = static_cast<float>(mixture[k]);
}

// Uniform deviates in (0, 1), the same with every compiler.
class Uniform {
 public:
  explicit Uniform(unsigned seed) : engine_(seed) {}
  double operator()() { return (static_cast<double>(engine_()) + 0.5) / 4294967296.0; }

 private:
  std::mt19937 engine_;
};

template <class T>
std::vector<T> CropValues(const std::vector<T>& values, const std::array<int, 3>& size, std::size_t axis,
                          int first, int last) {
  std::vector<T> cropped;
  if (values.empty()) return cropped;
  std::size_t index = 0;
  for (int z = 0; z < size[2]; ++z) {
    for (int y = 0; y < size[1]; ++y) {
      for (int x = 0; x < size[0]; ++x, ++index) {
        const int position = std::array<int, 3>{x, y, z}[axis];
        if (position >= first && position < last) cropped.push_back(values[index]);
      }
    }
  }
  return cropped;
}

}  // namespace

Phantom MakeShapesPhantom(const std::array<int, 3>& size) {
  Phantom phantom = EmptyPhantom(size);
  const bool isFlat = size[2] == 1;
  const double voxels =
      0.5 * (isFlat ? std::min(size[0], size[1]) : *std::min_element(size.begin(), size.end()));
  ForEachVoxel(size, [&](std::size_t index, const std::array<double, 3>& place) {
    const double radius = isFlat ? std::hypot(place[0], place[1]) : std::hypot(place[0], place[1], place[2]);
    if (radius < 0.98) SetMixture(phantom, index, ShapesMixture(place, isFlat, voxels));
  });
  return phantom;
}

Phantom MakeAnatomicalPhantom(const std::array<int, 3>& size, const std::vector<double>& brain,
                              const std::array<double, Phantom::kTissues>& levels,
                              const std::vector<double>& head) {
  Phantom phantom = EmptyPhantom(size);
  for (std::size_t i = 0; i < brain.size(); ++i) {
    if (brain[i] > 0.0) SetMixture(phantom, i, LevelsMixture(brain[i], levels));
  }
  for (const double value : head) phantom.surroundings.push_back(static_cast<float>(value / levels[kWhite]));
  return phantom;
}

Phantom CropPhantom(const Phantom& phantom, std::size_t axis, int first, int last) {
  Phantom part;
  part.size = phantom.size;
  part.size[axis] = last - first;
  part.mask = CropValues(phantom.mask, phantom.size, axis, first, last);
  part.surroundings = CropValues(phantom.surroundings, phantom.size, axis, first, last);
  for (std::size_t k = 0; k < Phantom::kTissues; ++k)
    part.fractions[k] = CropValues(phantom.fractions[k], phantom.size, axis, first, last);
  return part;
}

double NoiseDeviation(const PhantomScan& scan) {
  return scan.noisePercent / 100.0 * *std::max_element(scan.contrast.begin(), scan.contrast.end());
}

std::vector<float> BiasField(const Phantom& phantom, const PhantomScan& scan) {
  std::vector<float> field(phantom.mask.size(), 1.0F);
  if (scan.bias == 0.0) return field;
  Uniform uniform(scan.seed);
  // A few slow waves of different directions: none has a whole period in the grid.
  std::array<std::array<double, 4>, 3> waves;
  for (auto& wave : waves)
    wave = {3.0 * uniform() - 1.5, 3.0 * uniform() - 1.5, 3.0 * uniform() - 1.5,
            2.0 * std::numbers::pi * uniform()};
  double least = HUGE_VAL;
  double greatest = -HUGE_VAL;
  ForEachVoxel(phantom.size, [&](std::size_t index, const std::array<double, 3>& place) {
    double sum = 0.0;
    for (const auto& wave : waves)
      sum += std::cos(wave[0] * place[0] + wave[1] * place[1] + wave[2] * place[2] + wave[3]);
    field[index] = static_cast<float>(sum);
    if (phantom.mask[index] == 0) return;
    least = std::min(least, sum);
    greatest = std::max(greatest, sum);
  });
  double mean = 0.0;
  double count = 0.0;
  for (std::size_t i = 0; i < field.size(); ++i) {
    const double share = (static_cast<double>(field[i]) - least) / std::max(greatest - least, 1e-12);
    // Outside the brain the field goes on, but not to where it would have no physical sense.
    field[i] = static_cast<float>(1.0 + scan.bias * std::clamp(share, -0.5, 1.5));
    if (phantom.mask[i] == 0) continue;
    mean += static_cast<double>(field[i]);
    count += 1.0;
  }
  for (float& value : field) value = static_cast<float>(static_cast<double>(value) * count / mean);
  return field;
}

std::vector<float> CleanImage(const Phantom& phantom, const PhantomScan& scan) {
  std::vector<float> image = BiasField(phantom, scan);
  const double brightest = *std::max_element(scan.contrast.begin(), scan.contrast.end());
  for (std::size_t i = 0; i < image.size(); ++i) {
    double value =
        phantom.surroundings.empty() ? 0.0 : brightest * static_cast<double>(phantom.surroundings[i]);
    if (phantom.mask[i] != 0) {
      value = 0.0;
      for (std::size_t k = 0; k < Phantom::kTissues; ++k)
        value += scan.contrast[k] * static_cast<double>(phantom.fractions[k][i]);
    }
    image[i] = static_cast<float>(value * static_cast<double>(image[i]));
  }
  return image;
}

std::vector<float> NoisyImage(const Phantom& phantom, const PhantomScan& scan) {
  std::vector<float> image = CleanImage(phantom, scan);
  const double deviation = NoiseDeviation(scan);
  if (deviation == 0.0) return image;
  Uniform uniform(scan.seed + 1000003U);
  const std::size_t plane = CountVoxels({phantom.size[0], phantom.size[1], 1});
  for (std::size_t i = 0; i < image.size(); ++i) {
    if (i % plane == 0) EndIfAsked();
    float& value = image[i];
    const double radius = deviation * std::sqrt(-2.0 * std::log(uniform()));
    const double angle = 2.0 * std::numbers::pi * uniform();
    const double real = static_cast<double>(value) + radius * std::cos(angle);
    value = static_cast<float>(std::hypot(real, radius * std::sin(angle)));
  }
  return image;
}

}  // namespace example
