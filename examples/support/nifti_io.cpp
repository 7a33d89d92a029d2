#include "support/nifti_io.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "support/cancellation.h"
#include "support/failure.h"
#include "support/nifti_header.h"

namespace example {

namespace {

// The stored voxels, in the byte order of this machine. The library would look for them in files of similar
// names first.
std::vector<unsigned char> ReadVoxels(const nifti_image& image, const std::string& path) {
  const GzipFile file(gzopen(path.c_str(), "rb"));
  if (!file || gzseek(file.get(), static_cast<z_off_t>(NiftiVoxelsStart(image)), SEEK_SET) < 0)
    ThrowDamagedNifti(path);
  std::vector<unsigned char> bytes(static_cast<std::size_t>(image.nvox) *
                                   static_cast<std::size_t>(image.nbyper));
  for (std::size_t done = 0; done < bytes.size();) {
    ThrowIfCancelled();
    const std::size_t wanted = std::min<std::size_t>(bytes.size() - done, 1U << 22U);
    const int count = gzread(file.get(), &bytes[done], static_cast<unsigned>(wanted));
    if (count <= 0) ThrowDamagedNifti(path);
    done += static_cast<std::size_t>(count);
  }
  if (image.swapsize > 1 && image.byteorder != nifti_short_order()) {
    nifti_swap_Nbytes(image.nvox * image.nbyper / image.swapsize, image.swapsize, bytes.data());
  }
  return bytes;
}

// The values with their scaling; what is not a finite number becomes 0.
template <class T>
void ConvertVoxels(const std::vector<unsigned char>& stored, GreyImage& result) {
  const auto [type, slope, intercept] = result.storage;
  result.values.resize(stored.size() / sizeof(T));
  for (std::size_t voxel = 0; voxel < result.values.size(); ++voxel) {
    T value;
    std::memcpy(&value, &stored[voxel * sizeof(T)], sizeof(T));
    const double scaled = static_cast<double>(value) * slope + intercept;
    const bool isNumber = std::isfinite(scaled);
    result.values[voxel] = isNumber ? scaled : 0.0;
    if (!isNumber) result.replaced.push_back(voxel);
  }
}

struct Reader {
  VoxelType type;
  void (*convert)(const std::vector<unsigned char>&, GreyImage&);
};

Reader ReaderFor(const nifti_image& image, const std::string& path) {
  switch (image.datatype) {
    case NIFTI_TYPE_INT8:
      return {VoxelType::Int8, ConvertVoxels<std::int8_t>};
    case NIFTI_TYPE_UINT8:
      return {VoxelType::UInt8, ConvertVoxels<std::uint8_t>};
    case NIFTI_TYPE_INT16:
      return {VoxelType::Int16, ConvertVoxels<std::int16_t>};
    case NIFTI_TYPE_UINT16:
      return {VoxelType::UInt16, ConvertVoxels<std::uint16_t>};
    case NIFTI_TYPE_INT32:
      return {VoxelType::Int32, ConvertVoxels<std::int32_t>};
    case NIFTI_TYPE_UINT32:
      return {VoxelType::UInt32, ConvertVoxels<std::uint32_t>};
    case NIFTI_TYPE_INT64:
      return {VoxelType::Int64, ConvertVoxels<std::int64_t>};
    case NIFTI_TYPE_UINT64:
      return {VoxelType::UInt64, ConvertVoxels<std::uint64_t>};
    case NIFTI_TYPE_FLOAT32:
      return {VoxelType::Float, ConvertVoxels<float>};
    case NIFTI_TYPE_FLOAT64:
      return {VoxelType::Double, ConvertVoxels<double>};
    case NIFTI_TYPE_FLOAT128:
      if (sizeof(long double) == 16) return {VoxelType::Double, ConvertVoxels<long double>};
      [[fallthrough]];
    default:
      throw Failure("unsupported image " + path + ": voxels of type " +
                    nifti_datatype_to_string(image.datatype));
  }
}

double MillimetresPerUnit(int unit) {
  switch (unit) {
    case NIFTI_UNITS_METER:
      return 1000.0;
    case NIFTI_UNITS_MICRON:
      return 0.001;
    default:
      return 1.0;  // also where the header does not name the unit: millimetres are the custom
  }
}

std::optional<std::array<double, 3>> VoxelSize(const nifti_image& image) {
  const double unit = MillimetresPerUnit(image.xyz_units);
  std::array<double, 3> size{std::abs(image.dx) * unit, std::abs(image.dy) * unit, std::abs(image.dz) * unit};
  if (image.nz == 1 && !(size[2] > 0.0)) size[2] = unit;  // many writers leave the thickness of an image out
  for (const double length : size) {
    if (!(length > 0.0) || !std::isfinite(length)) return std::nullopt;
  }
  return size;
}

bool TellsPlace(const nifti_image& image) {
  return image.sform_code > 0 || image.qform_code > 0;
}

const nifti_dmat44& PlaceOf(const nifti_image& image) {
  return image.sform_code > 0 ? image.sto_xyz : image.qto_xyz;
}

std::optional<Affine> AffineOf(const nifti_image& image) {
  if (!TellsPlace(image)) return std::nullopt;
  Affine affine{};
  for (std::size_t row = 0; row < 3; ++row) {
    for (std::size_t column = 0; column < 4; ++column)
      affine[row][column] = PlaceOf(image).m[row][column] * MillimetresPerUnit(image.xyz_units);
  }
  return affine;
}

std::array<char, 3> LettersOf(const nifti_dmat44& place) {
  constexpr char kLetters[] = {0, 'R', 'L', 'A', 'P', 'S', 'I'};  // in the order of the library's codes
  std::array<int, 3> code{};
  nifti_dmat44_to_orientation(place, &code[0], &code[1], &code[2]);
  std::array<char, 3> letters{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    if (code[axis] >= NIFTI_L2R && code[axis] <= NIFTI_S2I) letters[axis] = kLetters[code[axis]];
  }
  return letters;
}

std::array<char, 3> Directions(const nifti_image& image) {
  if (!TellsPlace(image)) return {0, 'A', 'S'};  // the custom without a reference
  return LettersOf(PlaceOf(image));
}

GreyImage GridOf(const nifti_image& image) {
  GreyImage result;
  result.size = {static_cast<int>(image.nx), static_cast<int>(image.ny), static_cast<int>(image.nz)};
  result.voxelSize = VoxelSize(image);
  result.direction = Directions(image);
  result.affine = AffineOf(image);
  return result;
}

}  // namespace

std::array<char, 3> DirectionsOf(const Affine& affine) {
  nifti_dmat44 place{};
  for (std::size_t row = 0; row < 3; ++row) std::copy(affine[row].begin(), affine[row].end(), place.m[row]);
  place.m[3][3] = 1.0;
  return LettersOf(place);
}

GreyImage ReadNiftiGrid(const std::string& path) {
  return GridOf(*ReadNiftiHeader(path));
}

GreyImage ReadNifti(const std::string& path) {
  const NiftiImagePtr image = ReadNiftiHeader(path);
  const Reader reader = ReaderFor(*image, path);
  GreyImage result = GridOf(*image);
  result.storage.type = reader.type;
  // By the format's rule a slope of 0 stands for no scaling.
  if (image->scl_slope != 0.0) result.storage = {reader.type, image->scl_slope, image->scl_inter};
  reader.convert(ReadVoxels(*image, path), result);
  return result;
}

}  // namespace example
