#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace example {

/// The numbers that a file stores for its voxels.
enum class VoxelType { Int8, UInt8, Int16, UInt16, Int32, UInt32, Int64, UInt64, Float, Double };

/// How the voxels of a file become intensities: intensity = slope * stored + intercept.
struct Storage {
  VoxelType type = VoxelType::Float;
  double slope = 1.0;
  double intercept = 0.0;
};

/// Where voxels lie in the patient: the place in mm of voxel (x, y, z) is, in each row, the sum of the first
/// three times x, y and z, and the last; x of the patient goes to the right, y to the front, z to the head.
using Affine = std::array<std::array<double, 4>, 3>;

struct DicomStack;

/// Which images of a DICOM folder are meant, where there are several.
struct SeriesChoice {
  std::string series;       ///< number or unique identifier; empty: the only one
  std::optional<int> echo;  ///< by its number
};

/// A grey image (one plane) or volume, with its voxel sizes where the file tells them.
struct GreyImage {
  std::array<int, 3> size{0, 0, 0};  ///< along x, y and z; an image has one plane, size[2] = 1
  std::vector<double> values;        ///< the value at (x, y, z) is values[x + size[0] * (y + size[1] * z)]
  std::optional<std::array<double, 3>> voxelSize;  ///< in mm
  /// Where each axis points to in the patient: 'L', 'R', 'A', 'P', 'I' or 'S'; 0 where it is not known.
  std::array<char, 3> direction{0, 0, 0};
  std::optional<Affine> affine;       ///< where the file tells it
  Storage storage;                    ///< of the file
  std::vector<std::size_t> replaced;  ///< voxels that were no finite numbers, and are 0 here
  /// The DICOM slices that it was read from whole, for results that go back as DICOM; null of other files.
  std::shared_ptr<const DicomStack> dicom;
};

inline bool IsVolume(const GreyImage& image) {
  return image.size[2] > 1;
}

/// Where a plane lies in a volume: the plane's two axes, in the order of the volume, and the indices of its
/// first voxel and of the next ones along both axes.
struct PlaneLayout {
  std::array<int, 2> axes;
  std::size_t start;
  std::array<std::size_t, 2> step;
};
PlaneLayout LayoutOfPlane(const std::array<int, 3>& size, int axis, int index);

/// The plane of `volume` at `index` along `axis` (0, 1 or 2); x and y of the result are the other two axes.
GreyImage ExtractPlane(const GreyImage& volume, int axis, int index);

/// The same plane of any values that are laid out as the voxels of a volume of that size.
template <class T>
std::vector<T> ExtractPlaneValues(const std::vector<T>& values, const std::array<int, 3>& size, int axis,
                                  int index) {
  const PlaneLayout layout = LayoutOfPlane(size, axis, index);
  const auto width = static_cast<std::size_t>(size[static_cast<std::size_t>(layout.axes[0])]);
  const auto height = static_cast<std::size_t>(size[static_cast<std::size_t>(layout.axes[1])]);
  std::vector<T> plane(width * height);
  for (std::size_t y = 0; y < height; ++y) {
    for (std::size_t x = 0; x < width; ++x) {
      plane[x + width * y] = values[layout.start + x * layout.step[0] + y * layout.step[1]];
    }
  }
  return plane;
}

/// From where people look: radiologists at the patient's feet, who see his right on their left, or from
/// above.
enum class Side { Radiological, Neurological };

/// How the plane of an image is put on a screen: the patient's front or head up, front to the left in a view
/// from the side, his right to the left or to the right as the side says; rows downwards where the file does
/// not tell directions.
struct ScreenOrder {
  bool mirrorsColumns;
  bool mirrorsRows;
};
ScreenOrder ScreenOrderOf(const GreyImage& image, Side side = Side::Radiological);

/// What stands at the left, the right, the top and the bottom of a plane on the screen: the letters of the
/// patient's directions; 0 where the file does not tell.
struct ScreenLetters {
  char left;
  char right;
  char top;
  char bottom;
};
ScreenLetters LettersOf(const GreyImage& image, Side side = Side::Radiological);

/// The grid of an image for people: "181 x 217" or "181 x 217 x 181".
std::string SizeText(const std::array<int, 3>& size);

/// @throws Failure  naming both, unless the images have the same size and, where both files tell it, the same
/// place in the patient to a tenth of a voxel.
void RequireSameGrid(const GreyImage& image, const std::string& path, const GreyImage& other,
                     const std::string& otherPath);

/// Whether a file of that name is read as NIfTI.
bool IsNiftiPath(const std::string& path);

/// Whether a file of that name is read as a picture: it tells no place in the patient, and results of it are
/// pictures, too.
bool IsPicturePath(const std::string& path);

/// The intensity to draw as white: a few bright voxels, of vessels or noise, would darken all others.
double WhiteLevel(const GreyImage& image);

/// Reads a NIfTI (.nii, .nii.gz) or PNG (.png) file, or DICOM slices: a file, a folder or a DICOMDIR.
/// @throws Failure  naming the file, when it is missing, damaged or of an unsupported kind; of DICOM slices
/// as ReadDicom.
GreyImage ReadImage(const std::string& path, const SeriesChoice& choice = {});

}  // namespace example
