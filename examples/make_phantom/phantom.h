#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

namespace example {

/// A brain whose share of each tissue is known in every voxel.
struct Phantom {
  static constexpr std::size_t kTissues = 3;  ///< CSF, grey and white matter

  std::array<int, 3> size{0, 0, 0};                    ///< voxels along x, y and z; x is the fastest
  std::array<std::vector<float>, kTissues> fractions;  ///< sum to 1 inside the mask, 0 outside
  std::vector<std::uint8_t> mask;                      ///< 1 in the brain
  std::vector<float>
      surroundings;  ///< what the rest of the head shines, 1 being the brightest tissue; may be empty
};

/// How a scanner would see it.
struct PhantomScan {
  std::array<double, Phantom::kTissues> contrast{250.0, 650.0, 1000.0};  ///< of the tissues, in their order
  double bias = 0.0;          ///< brightest over darkest place of the field, less 1: 0.4 is a field of 40 %
  double noisePercent = 0.0;  ///< deviation of the Rician noise, in per cent of the brightest tissue
  unsigned seed = 1;          ///< of the noise and of the field's shape
};

/// A folded cortex around white matter, deep grey matter and ventricles in an ellipsoid that fills the grid;
/// partial volumes are the shares of a voxel on either side of a surface.
Phantom MakeShapesPhantom(const std::array<int, 3>& size);

/// Tissues of a noise-poor T1 volume without skull: a voxel between two of the levels (of CSF, grey and white
/// matter, ascending) is a mixture of their tissues; 0 is outside.
/// @param head  the same scan with skull, for the surroundings; empty for none.
Phantom MakeAnatomicalPhantom(const std::array<int, 3>& size, const std::vector<double>& brain,
                              const std::array<double, Phantom::kTissues>& levels,
                              const std::vector<double>& head);

/// The planes [first, last) of a phantom across the given axis.
Phantom CropPhantom(const Phantom& phantom, std::size_t axis, int first, int last);

/// What the scan would show without noise, field included.
std::vector<float> CleanImage(const Phantom& phantom, const PhantomScan& scan);

/// The clean image with its noise.
std::vector<float> NoisyImage(const Phantom& phantom, const PhantomScan& scan);

/// Deviation of the noise of a scan, in grey levels.
double NoiseDeviation(const PhantomScan& scan);

/// The smooth field of a scan in every voxel, 1 on average over the mask.
std::vector<float> BiasField(const Phantom& phantom, const PhantomScan& scan);

}  // namespace example
