#include "support/nifti_header.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <limits>
#include <string_view>
#include <vector>

#include "support/cancellation.h"
#include "support/failure.h"

namespace example {

namespace {

constexpr std::int32_t kFirstHeaderBytes = 348;
constexpr std::int32_t kSecondHeaderBytes = 540;

// A field of the header, in the byte order of this machine.
template <class T>
T FieldAt(const char* header, std::size_t offset, bool isSwapped) {
  std::array<char, sizeof(T)> bytes{};
  std::memcpy(bytes.data(), header + offset, sizeof(T));
  if (isSwapped) std::reverse(bytes.begin(), bytes.end());
  T value;
  std::memcpy(&value, bytes.data(), sizeof(T));
  return value;
}

// One to seven dimensions, each with a length that an int holds, and no more voxels than the file has bytes.
template <class Length>
bool AreDimensionsSound(const char* header, std::size_t offset, bool isSwapped, std::uint64_t contentBytes) {
  const auto length = [&](std::size_t i) {
    return FieldAt<Length>(header, offset + i * sizeof(Length), isSwapped);
  };
  const auto count = length(0);
  if (count < 1 || count > 7) return false;
  std::uint64_t voxels = 1;
  for (std::size_t i = 1; i <= static_cast<std::size_t>(count); ++i) {
    if (length(i) < 1 || length(i) > std::numeric_limits<int>::max()) return false;
    voxels *= static_cast<std::uint64_t>(length(i));
    if (voxels > contentBytes) return false;  // also keeps the product from overflowing
  }
  return true;
}

bool IsStartSound(double start, std::uint64_t contentBytes) {
  return start >= 0.0 && start <= static_cast<double>(contentBytes);  // also false for what is not a number
}

bool IsFirstHeaderSound(const char* header, bool isSwapped, std::uint64_t contentBytes) {
  return std::string_view(header + 344, 4) == std::string_view("n+1\0", 4) &&
         AreDimensionsSound<std::int16_t>(header, 40, isSwapped, contentBytes) &&
         IsStartSound(FieldAt<float>(header, 108, isSwapped), contentBytes);
}

bool IsSecondHeaderSound(const char* header, bool isSwapped, std::uint64_t contentBytes) {
  return std::string_view(header + 4, 4) == std::string_view("n+2\0", 4) &&
         AreDimensionsSound<std::int64_t>(header, 16, isSwapped, contentBytes) &&
         IsStartSound(static_cast<double>(FieldAt<std::int64_t>(header, 168, isSwapped)), contentBytes);
}

// Whether the fixed part of the header, in either byte order, is one that the reader library can be given.
bool IsHeaderSound(const std::vector<char>& start, std::uint64_t contentBytes) {
  if (start.size() < kFirstHeaderBytes) return false;
  for (const bool isSwapped : {false, true}) {
    const auto bytes = FieldAt<std::int32_t>(start.data(), 0, isSwapped);
    if (bytes == kFirstHeaderBytes) return IsFirstHeaderSound(start.data(), isSwapped, contentBytes);
    if (bytes == kSecondHeaderBytes && start.size() >= kSecondHeaderBytes)
      return IsSecondHeaderSound(start.data(), isSwapped, contentBytes);
  }
  return false;
}

template <class Number>
void ForgetSizes(const char* header, std::size_t offset, bool isSwapped, nifti_image& image) {
  double* const sizes[] = {&image.dx, &image.dy, &image.dz};
  for (std::size_t axis = 0; axis < 3; ++axis) {
    const auto size = FieldAt<Number>(header, offset + (axis + 1) * sizeof(Number), isSwapped);
    if (!std::isfinite(size) || size == Number{0}) *sizes[axis] = image.pixdim[axis + 1] = 0.0;
  }
}

// Voxels of length 0, or of one that is no number, are of unknown size: the reader library makes it 1.
void ForgetMadeUpSizes(const std::vector<char>& start, nifti_image& image) {
  for (const bool isSwapped : {false, true}) {
    const auto bytes = FieldAt<std::int32_t>(start.data(), 0, isSwapped);
    if (bytes == kFirstHeaderBytes) ForgetSizes<float>(start.data(), 76, isSwapped, image);
    if (bytes == kSecondHeaderBytes) ForgetSizes<double>(start.data(), 104, isSwapped, image);
  }
}

// Many writers leave the lengths of dimensions that are not there 0; the reader library mends some of them.
void FillMissingLengths(nifti_image& image) {
  for (auto* length : {&image.nx, &image.ny, &image.nz, &image.nt, &image.nu, &image.nv, &image.nw})
    *length = std::max<std::int64_t>(*length, 1);
  for (auto& length : image.dim) length = std::max<std::int64_t>(length, 1);
}

struct Content {
  std::vector<char> start;  // the fixed part of the longer header, or all of a shorter file
  std::uint64_t bytes = 0;
};

// Reads the whole file, decompressed: its end holds the checksum, which a reader that stops after the last
// voxel never meets.
Content ReadContent(const std::string& path) {
  const GzipFile file(gzopen(path.c_str(), "rb"));
  if (!file) throw Failure("cannot open " + path);
  Content content;
  std::vector<char> block(1U << 18U);
  for (int count = 1; count > 0;) {
    ThrowIfCancelled();
    count = gzread(file.get(), block.data(), static_cast<unsigned>(block.size()));
    if (count < 0) ThrowDamagedNifti(path);
    if (content.bytes == 0) {
      content.start.assign(block.begin(),
                           block.begin() + std::min<std::ptrdiff_t>(count, kSecondHeaderBytes));
    }
    content.bytes += static_cast<std::uint64_t>(count);
  }
  int status = Z_OK;
  gzerror(file.get(), &status);
  if (status != Z_OK) ThrowDamagedNifti(path);
  return content;
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

NiftiImagePtr ParseHeader(const std::string& path) {
  const UninterruptedScope uninterrupted;  // what Ctrl-C has to say is not silenced: it waits
  const SilencedStandardError silence;
  nifti_set_debug_level(0);
  nifti_set_alter_cifti(0);  // keep the dimensions as the file has them
  // The library gives some names a meaning of their own, such as "-": an absolute path has none.
  return NiftiImagePtr(nifti_image_read(std::filesystem::absolute(path).c_str(), 0));
}

}  // namespace

void ThrowDamagedNifti(const std::string& path) {
  throw Failure("damaged or not a NIfTI image: " + path);
}

std::int64_t NiftiVoxelsStart(const nifti_image& image) {
  const std::int64_t least = image.nifti_type == NIFTI_FTYPE_NIFTI2_1 ? 544 : 352;
  return std::max<std::int64_t>(image.iname_offset, least);
}

NiftiImagePtr ReadNiftiHeader(const std::string& path) {
  const Content content = ReadContent(path);
  if (!IsHeaderSound(content.start, content.bytes)) ThrowDamagedNifti(path);
  NiftiImagePtr image = ParseHeader(path);
  if (!image) ThrowDamagedNifti(path);
  const bool isOneFile =
      image->nifti_type == NIFTI_FTYPE_NIFTI1_1 || image->nifti_type == NIFTI_FTYPE_NIFTI2_1;
  if (!isOneFile) ThrowDamagedNifti(path);
  FillMissingLengths(*image);
  if (image->nt > 1 || image->nu > 1 || image->nv > 1 || image->nw > 1)
    throw Failure("unsupported image " + path + ": it has more than three dimensions");
  // The header's check bounds the count of voxels by the size of the file.
  const auto voxelBytes = static_cast<std::uint64_t>(image->nvox) * static_cast<std::uint64_t>(image->nbyper);
  if (static_cast<std::uint64_t>(NiftiVoxelsStart(*image)) + voxelBytes > content.bytes)
    ThrowDamagedNifti(path);
  ForgetMadeUpSizes(content.start, *image);
  return image;
}

}  // namespace example
