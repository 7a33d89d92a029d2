#include "support/nifti_io.h"

#include <fcntl.h>
#include <nifti2_io.h>
#include <unistd.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <memory>
#include <new>
#include <string_view>

#include "support/failure.h"

namespace example {

namespace {

struct ImageDeleter {
  void operator()(nifti_image* image) const { nifti_image_free(image); }
};
using ImagePtr = std::unique_ptr<nifti_image, ImageDeleter>;

struct GzipDeleter {
  void operator()(gzFile_s* file) const { gzclose(file); }
};

[[noreturn]] void Damaged(const std::string& path) {
  throw Failure("damaged or not a NIfTI image: " + path);
}

// Whether a file starts as a one-file NIfTI-1 or NIfTI-2 image. The library would take a wrong mark for the
// sign of an older format.
bool HasMark(const std::vector<char>& block, int count) {
  constexpr std::string_view kFirst("n+1\0", 4);
  constexpr std::string_view kSecond("n+2\0", 4);
  const std::string_view start(block.data(), static_cast<std::size_t>(count));
  return count >= 348 && (start.substr(344, 4) == kFirst || start.substr(4, 4) == kSecond);
}

// Number of bytes in a NIfTI file, after decompression if it is compressed. Reading on to its end also checks
// the checksum, which a reader that stops after the last voxel never meets.
std::uint64_t ContentBytes(const std::string& path) {
  const std::unique_ptr<gzFile_s, GzipDeleter> file(gzopen(path.c_str(), "rb"));
  if (!file) throw Failure("cannot open " + path);
  std::vector<char> block(1U << 18U);
  std::uint64_t total = 0;
  for (;;) {
    const int count = gzread(file.get(), block.data(), static_cast<unsigned>(block.size()));
    if (count < 0) Damaged(path);
    if (total == 0 && !HasMark(block, count)) Damaged(path);
    if (count == 0) break;
    total += static_cast<std::uint64_t>(count);
  }
  int status = Z_OK;
  gzerror(file.get(), &status);
  if (status != Z_OK) Damaged(path);
  return total;
}

// Sends standard error nowhere: the library writes lines of its own there, some whatever its debug level.
class SilencedStandardError {
 public:
  SilencedStandardError() : former_(dup(STDERR_FILENO)) {
    const int nowhere = open("/dev/null", O_WRONLY);
    if (former_ >= 0 && nowhere >= 0) dup2(nowhere, STDERR_FILENO);
    if (nowhere >= 0) close(nowhere);
  }
  ~SilencedStandardError() {
    if (former_ < 0) return;
    dup2(former_, STDERR_FILENO);
    close(former_);
  }
  SilencedStandardError(const SilencedStandardError&) = delete;
  SilencedStandardError& operator=(const SilencedStandardError&) = delete;

 private:
  int former_;
};

ImagePtr ReadHeader(const std::string& path) {
  const SilencedStandardError silence;
  nifti_set_debug_level(0);
  nifti_set_alter_cifti(0);  // keep the dimensions as the file has them
  // The library gives some names a meaning of their own, such as "-": an absolute path has none.
  ImagePtr image(nifti_image_read(std::filesystem::absolute(path).c_str(), 0));
  if (!image) Damaged(path);
  const bool isOneFile =
      image->nifti_type == NIFTI_FTYPE_NIFTI1_1 || image->nifti_type == NIFTI_FTYPE_NIFTI2_1;
  if (!isOneFile) Damaged(path);
  return image;
}

// Where the voxels start: never before the header and the four bytes behind it have ended, whatever it says.
std::int64_t VoxelsStart(const nifti_image& image) {
  const std::int64_t least = image.nifti_type == NIFTI_FTYPE_NIFTI2_1 ? 544 : 352;
  return std::max<std::int64_t>(image.iname_offset, least);
}

void CheckDimensions(const nifti_image& image, const std::string& path, std::uint64_t contentBytes) {
  const std::int64_t sizes[] = {image.nx, image.ny, image.nz};
  std::uint64_t voxels = 1;
  for (const std::int64_t size : sizes) {
    if (size < 1 || size > std::numeric_limits<int>::max()) Damaged(path);
    voxels *= static_cast<std::uint64_t>(size);
    if (voxels > contentBytes) Damaged(path);  // also keeps the product from overflowing
  }
  if (image.nt > 1 || image.nu > 1 || image.nv > 1 || image.nw > 1) {
    throw Failure("unsupported image " + path + ": it has more than three dimensions");
  }
  const auto start = static_cast<std::uint64_t>(VoxelsStart(image));
  if (start + voxels * static_cast<std::uint64_t>(image.nbyper) > contentBytes) Damaged(path);
}

// The stored voxels, in the byte order of this machine. The library would look for them in files of similar
// names first.
std::vector<unsigned char> ReadVoxels(const nifti_image& image, const std::string& path) {
  const std::unique_ptr<gzFile_s, GzipDeleter> file(gzopen(path.c_str(), "rb"));
  if (!file || gzseek(file.get(), static_cast<z_off_t>(VoxelsStart(image)), SEEK_SET) < 0) Damaged(path);
  std::vector<unsigned char> bytes(static_cast<std::size_t>(image.nvox) *
                                   static_cast<std::size_t>(image.nbyper));
  for (std::size_t done = 0; done < bytes.size();) {
    const std::size_t wanted = std::min<std::size_t>(bytes.size() - done, 1U << 24U);
    const int count = gzread(file.get(), &bytes[done], static_cast<unsigned>(wanted));
    if (count <= 0) Damaged(path);
    done += static_cast<std::size_t>(count);
  }
  if (image.swapsize > 1 && image.byteorder != nifti_short_order()) {
    nifti_swap_Nbytes(image.nvox * image.nbyper / image.swapsize, image.swapsize, bytes.data());
  }
  return bytes;
}

// The values with their scaling; what is not a finite number becomes 0.
template <class T>
std::vector<double> ToDouble(const nifti_image& image, const std::vector<unsigned char>& stored) {
  std::vector<double> values(stored.size() / sizeof(T));
  const bool isScaled = image.scl_slope != 0.0;  // by the format's rule
  for (std::size_t voxel = 0; voxel < values.size(); ++voxel) {
    T value;
    std::memcpy(&value, &stored[voxel * sizeof(T)], sizeof(T));
    const auto number = static_cast<double>(value);
    const double scaled = isScaled ? number * image.scl_slope + image.scl_inter : number;
    values[voxel] = std::isfinite(scaled) ? scaled : 0.0;
  }
  return values;
}

using Conversion = std::vector<double> (*)(const nifti_image&, const std::vector<unsigned char>&);

Conversion ConversionFor(const nifti_image& image, const std::string& path) {
  switch (image.datatype) {
    case NIFTI_TYPE_INT8:
      return ToDouble<std::int8_t>;
    case NIFTI_TYPE_UINT8:
      return ToDouble<std::uint8_t>;
    case NIFTI_TYPE_INT16:
      return ToDouble<std::int16_t>;
    case NIFTI_TYPE_UINT16:
      return ToDouble<std::uint16_t>;
    case NIFTI_TYPE_INT32:
      return ToDouble<std::int32_t>;
    case NIFTI_TYPE_UINT32:
      return ToDouble<std::uint32_t>;
    case NIFTI_TYPE_INT64:
      return ToDouble<std::int64_t>;
    case NIFTI_TYPE_UINT64:
      return ToDouble<std::uint64_t>;
    case NIFTI_TYPE_FLOAT32:
      return ToDouble<float>;
    case NIFTI_TYPE_FLOAT64:
      return ToDouble<double>;
    case NIFTI_TYPE_FLOAT128:
      if (sizeof(long double) == 16) return ToDouble<long double>;
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

std::array<char, 3> Directions(const nifti_image& image) {
  if (image.sform_code <= 0 && image.qform_code <= 0) return {0, 'A', 'S'};  // the custom without a reference
  constexpr char kLetters[] = {0, 'R', 'L', 'A', 'P', 'S', 'I'};  // in the order of the library's codes
  std::array<int, 3> code{};
  nifti_dmat44_to_orientation(image.sform_code > 0 ? image.sto_xyz : image.qto_xyz, &code[0], &code[1],
                              &code[2]);
  std::array<char, 3> letters{};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    if (code[axis] >= NIFTI_L2R && code[axis] <= NIFTI_S2I) letters[axis] = kLetters[code[axis]];
  }
  return letters;
}

ImagePtr CopyHeader(const std::string& modelPath) {
  const ImagePtr model = ReadHeader(modelPath);
  ImagePtr image(nifti_copy_nim_info(model.get()));
  if (!image) throw std::bad_alloc();
  return image;
}

ImagePtr MakeHeader(const GreyImage& image) {
  const int dimensionsCount = IsVolume(image) ? 3 : 2;
  const std::int64_t dimensions[8] = {
      dimensionsCount, image.size[0], image.size[1], image.size[2], 1, 1, 1, 1};
  constexpr int kWithoutVoxels = 0;
  ImagePtr header(nifti_make_new_nim(dimensions, NIFTI_TYPE_UINT8, kWithoutVoxels));
  if (!header) throw std::bad_alloc();
  header->nifti_type = NIFTI_FTYPE_NIFTI1_1;
  if (image.voxelSize) {
    header->dx = header->pixdim[1] = (*image.voxelSize)[0];
    header->dy = header->pixdim[2] = (*image.voxelSize)[1];
    header->dz = header->pixdim[3] = (*image.voxelSize)[2];
    header->xyz_units = NIFTI_UNITS_MM;
  }
  return header;
}

template <class T>
std::vector<T> Converted(const std::vector<double>& values) {
  std::vector<T> converted;
  converted.reserve(values.size());
  for (const double value : values) converted.push_back(static_cast<T>(value));
  return converted;
}

bool FitsIntoFloat(double value) {
  return std::abs(value) <= std::numeric_limits<float>::max() &&
         static_cast<double>(static_cast<float>(value)) == value;
}

template <class T>
void WriteVoxels(nifti_image& image, int type, const std::vector<T>& voxels, const std::string& path) {
  if (nifti_set_filenames(&image, path.c_str(), 0, 1) != 0) throw std::bad_alloc();
  image.datatype = type;
  nifti_datatype_sizes(image.datatype, &image.nbyper, &image.swapsize);
  image.scl_slope = 0.0;
  image.scl_inter = 0.0;
  image.cal_min = 0.0;
  image.cal_max = 0.0;
  const std::size_t bytes = voxels.size() * sizeof(T);
  image.data = std::malloc(bytes);  // freed by the library with the image
  if (image.data == nullptr) throw std::bad_alloc();
  std::memcpy(image.data, voxels.data(), bytes);
  {
    const SilencedStandardError silence;
    nifti_image_write(&image);
  }
  // The library does not tell whether the disc was full: only a file that can be read back was written.
  std::error_code error;
  const bool isThere = std::filesystem::exists(path, error);
  if (!isThere || ContentBytes(path) < bytes) throw Failure("cannot write " + path);
}

}  // namespace

GreyImage ReadNifti(const std::string& path) {
  const std::uint64_t contentBytes = ContentBytes(path);
  const ImagePtr image = ReadHeader(path);
  const Conversion convert = ConversionFor(*image, path);
  CheckDimensions(*image, path, contentBytes);

  GreyImage result;
  result.size = {static_cast<int>(image->nx), static_cast<int>(image->ny), static_cast<int>(image->nz)};
  result.values = convert(*image, ReadVoxels(*image, path));
  result.voxelSize = VoxelSize(*image);
  result.direction = Directions(*image);
  return result;
}

void WriteNiftiLabels(const std::string& path, const std::string& modelPath,
                      const std::vector<std::uint8_t>& labels) {
  const ImagePtr image = CopyHeader(modelPath);
  image->intent_code = NIFTI_INTENT_LABEL;
  WriteVoxels(*image, NIFTI_TYPE_UINT8, labels, path);
}

void WriteNifti(const std::string& path, const std::string& modelPath, const GreyImage& image) {
  const ImagePtr file = IsNiftiPath(modelPath) ? CopyHeader(modelPath) : MakeHeader(image);
  const auto [least, greatest] = std::minmax_element(image.values.begin(), image.values.end());
  const bool isWhole = *least >= 0.0 && std::all_of(image.values.begin(), image.values.end(),
                                                    [](double value) { return value == std::floor(value); });
  if (isWhole && *greatest <= std::numeric_limits<std::uint8_t>::max()) {
    WriteVoxels(*file, NIFTI_TYPE_UINT8, Converted<std::uint8_t>(image.values), path);
  } else if (isWhole && *greatest <= std::numeric_limits<std::uint16_t>::max()) {
    WriteVoxels(*file, NIFTI_TYPE_UINT16, Converted<std::uint16_t>(image.values), path);
  } else if (std::all_of(image.values.begin(), image.values.end(), FitsIntoFloat)) {
    WriteVoxels(*file, NIFTI_TYPE_FLOAT32, Converted<float>(image.values), path);
  } else {
    WriteVoxels(*file, NIFTI_TYPE_FLOAT64, image.values, path);
  }
}

}  // namespace example
