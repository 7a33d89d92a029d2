#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>

#include "support/cancellation.h"
#include "support/failure.h"
#include "support/nifti_header.h"
#include "support/nifti_io.h"

namespace example {

namespace {

constexpr double kSteps53 = 9007199254740992.0;  // 2^53: doubles count no further one by one

struct TypeKind {
  VoxelType type;
  int code;
  double least;  // both ends 0 for a floating-point type
  double greatest;
};

constexpr TypeKind kTypes[] = {
    {VoxelType::Int8, NIFTI_TYPE_INT8, -128.0, 127.0},
    {VoxelType::UInt8, NIFTI_TYPE_UINT8, 0.0, 255.0},
    {VoxelType::Int16, NIFTI_TYPE_INT16, -32768.0, 32767.0},
    {VoxelType::UInt16, NIFTI_TYPE_UINT16, 0.0, 65535.0},
    {VoxelType::Int32, NIFTI_TYPE_INT32, -2147483648.0, 2147483647.0},
    {VoxelType::UInt32, NIFTI_TYPE_UINT32, 0.0, 4294967295.0},
    {VoxelType::Int64, NIFTI_TYPE_INT64, -kSteps53, kSteps53},
    {VoxelType::UInt64, NIFTI_TYPE_UINT64, 0.0, kSteps53},
    {VoxelType::Float, NIFTI_TYPE_FLOAT32, 0.0, 0.0},
    {VoxelType::Double, NIFTI_TYPE_FLOAT64, 0.0, 0.0},
};

const TypeKind& KindOf(VoxelType type) {
  return *std::find_if(std::begin(kTypes), std::end(kTypes),
                       [&](const TypeKind& kind) { return kind.type == type; });
}

double Stored(double value, const Storage& storage) {
  return (value - storage.intercept) / storage.slope;
}

template <class T>
std::vector<char> BytesOf(const std::vector<double>& values, const Storage& storage) {
  std::vector<char> bytes(values.size() * sizeof(T));
  for (std::size_t voxel = 0; voxel < values.size(); ++voxel) {
    const double stored = Stored(values[voxel], storage);
    const T number = static_cast<T>(std::numeric_limits<T>::is_integer ? std::nearbyint(stored) : stored);
    std::memcpy(&bytes[voxel * sizeof(T)], &number, sizeof(T));
  }
  return bytes;
}

std::vector<char> StoredBytes(const std::vector<double>& values, const Storage& storage) {
  switch (storage.type) {
    case VoxelType::Int8:
      return BytesOf<std::int8_t>(values, storage);
    case VoxelType::UInt8:
      return BytesOf<std::uint8_t>(values, storage);
    case VoxelType::Int16:
      return BytesOf<std::int16_t>(values, storage);
    case VoxelType::UInt16:
      return BytesOf<std::uint16_t>(values, storage);
    case VoxelType::Int32:
      return BytesOf<std::int32_t>(values, storage);
    case VoxelType::UInt32:
      return BytesOf<std::uint32_t>(values, storage);
    case VoxelType::Int64:
      return BytesOf<std::int64_t>(values, storage);
    case VoxelType::UInt64:
      return BytesOf<std::uint64_t>(values, storage);
    case VoxelType::Float:
      return BytesOf<float>(values, storage);
    case VoxelType::Double:
      break;
  }
  return BytesOf<double>(values, storage);
}

NiftiImagePtr EmptyHeader() {
  const std::int64_t dimensions[8] = {3, 1, 1, 1, 1, 1, 1, 1};
  constexpr int kWithoutVoxels = 0;
  NiftiImagePtr header(nifti_make_new_nim(dimensions, NIFTI_TYPE_UINT8, kWithoutVoxels));
  if (!header) throw std::bad_alloc();
  header->nifti_type = NIFTI_FTYPE_NIFTI1_1;
  return header;
}

NiftiImagePtr CopyHeader(const std::string& modelPath) {
  const NiftiImagePtr model = ReadNiftiHeader(modelPath);
  NiftiImagePtr header(nifti_copy_nim_info(model.get()));
  if (!header) throw std::bad_alloc();
  return header;
}

bool HasGrid(const nifti_image& header, const GreyImage& image) {
  return header.nx == image.size[0] && header.ny == image.size[1] && header.nz == image.size[2];
}

// The quaternion of an affine, for readers that look at it first.
void SetPlace(nifti_image& header, const Affine& affine, int code) {
  nifti_dmat44 place{};
  for (std::size_t row = 0; row < 3; ++row) std::copy(affine[row].begin(), affine[row].end(), place.m[row]);
  place.m[3][3] = 1.0;
  header.sto_xyz = place;
  header.qto_xyz = place;
  header.sform_code = code;
  header.qform_code = code;
  double dx = 0.0;
  double dy = 0.0;
  double dz = 0.0;
  nifti_dmat44_to_quatern(place, &header.quatern_b, &header.quatern_c, &header.quatern_d, &header.qoffset_x,
                          &header.qoffset_y, &header.qoffset_z, &dx, &dy, &dz, &header.qfac);
}

// Gives the header another grid than its file's: that of a plane, or of a picture.
void SetGrid(nifti_image& header, const GreyImage& image) {
  const int code = std::max({header.sform_code, header.qform_code, 1});
  header.ndim = header.dim[0] = IsVolume(image) ? 3 : 2;
  header.nx = header.dim[1] = image.size[0];
  header.ny = header.dim[2] = image.size[1];
  header.nz = header.dim[3] = image.size[2];
  header.nvox = header.nx * header.ny * header.nz;
  header.sform_code = 0;
  header.qform_code = 0;
  header.pixdim[0] = 1.0;
  if (image.voxelSize) {
    header.dx = header.pixdim[1] = (*image.voxelSize)[0];
    header.dy = header.pixdim[2] = (*image.voxelSize)[1];
    header.dz = header.pixdim[3] = (*image.voxelSize)[2];
    header.xyz_units = NIFTI_UNITS_MM;
  }
  if (image.affine) SetPlace(header, *image.affine, code);
}

// Header, extensions and the gap before the voxels.
std::vector<char> HeaderBytes(nifti_image& header) {
  const int version = header.nifti_type == NIFTI_FTYPE_NIFTI2_1 ? 2 : 1;
  nifti_set_iname_offset(&header, version);
  std::vector<char> bytes(static_cast<std::size_t>(header.iname_offset), '\0');
  std::size_t place = 0;
  const auto put = [&](const void* from, std::size_t count) {
    std::memcpy(bytes.data() + place, from, count);
    place += count;
  };
  if (version == 2) {
    nifti_2_header fixed{};
    nifti_convert_nim2n2hdr(&header, &fixed);
    put(&fixed, sizeof(fixed));
  } else {
    nifti_1_header fixed{};
    nifti_convert_nim2n1hdr(&header, &fixed);
    put(&fixed, sizeof(fixed));
  }
  const char extender[4] = {header.num_ext > 0 ? '\1' : '\0', 0, 0, 0};
  put(extender, sizeof(extender));
  for (int i = 0; i < header.num_ext; ++i) {
    const nifti1_extension& extension = header.ext_list[i];
    put(&extension.esize, 4);
    put(&extension.ecode, 4);
    put(extension.edata, static_cast<std::size_t>(extension.esize) - 8);
  }
  return bytes;
}

void WriteBlock(gzFile file, const std::vector<char>& bytes) {
  constexpr std::size_t kBlock = 1U << 20U;
  for (std::size_t done = 0; done < bytes.size();) {
    ThrowIfCancelled();
    const std::size_t count = std::min(kBlock, bytes.size() - done);
    if (gzwrite(file, bytes.data() + done, static_cast<unsigned>(count)) <= 0)
      throw WriteFailure::FromErrno();
    done += count;
  }
}

void WriteWhole(const std::string& path, const std::vector<char>& header, const std::vector<char>& voxels) {
  errno = 0;
  const bool isCompressed = path.ends_with(".gz");
  GzipFile file(gzopen(path.c_str(), isCompressed ? "wb6" : "wbT"));
  if (!file) throw WriteFailure::FromErrno();
  WriteBlock(file.get(), header);
  WriteBlock(file.get(), voxels);
  if (gzclose(file.release()) != Z_OK) throw WriteFailure::FromErrno();
}

void WriteStored(const std::string& path, const GreyImage& image, const std::string& modelPath,
                 const Storage& storage, const std::vector<char>& voxels, Meaning meaning) {
  const NiftiImagePtr header = IsNiftiPath(modelPath) ? CopyHeader(modelPath) : EmptyHeader();
  if (!HasGrid(*header, image)) SetGrid(*header, image);
  if (nifti_set_filenames(header.get(), path.c_str(), 0, 1) != 0) throw std::bad_alloc();
  header->datatype = KindOf(storage.type).code;
  nifti_datatype_sizes(header->datatype, &header->nbyper, &header->swapsize);
  const bool isScaled = storage.slope != 1.0 || storage.intercept != 0.0;
  header->scl_slope = isScaled ? storage.slope : 0.0;
  header->scl_inter = isScaled ? storage.intercept : 0.0;
  header->cal_min = 0.0;
  header->cal_max = meaning == Meaning::Probabilities ? 1.0 : 0.0;
  header->byteorder = nifti_short_order();
  if (meaning == Meaning::Labels) header->intent_code = NIFTI_INTENT_LABEL;
  if (meaning == Meaning::Probabilities) header->intent_code = NIFTI_INTENT_NONE;
  WriteWhole(path, HeaderBytes(*header), voxels);
}

template <class T>
std::vector<char> Copied(const std::vector<T>& values) {
  std::vector<char> bytes(values.size() * sizeof(T));
  if (!values.empty()) std::memcpy(bytes.data(), values.data(), bytes.size());
  return bytes;
}

}  // namespace

bool FitsInto(const Storage& storage, const std::vector<double>& values) {
  const TypeKind& kind = KindOf(storage.type);
  const bool isInteger = kind.greatest > 0.0;
  return std::all_of(values.begin(), values.end(), [&](double value) {
    const double stored = std::nearbyint(Stored(value, storage));
    if (isInteger) return stored >= kind.least && stored <= kind.greatest;
    return storage.type == VoxelType::Double || std::abs(stored) <= std::numeric_limits<float>::max();
  });
}

void WriteNifti(const std::string& path, const GreyImage& image, const std::string& modelPath,
                const std::vector<double>& values, const Storage& storage, Meaning meaning) {
  WriteStored(path, image, modelPath, storage, StoredBytes(values, storage), meaning);
}

void WriteNiftiLabels(const std::string& path, const GreyImage& image, const std::string& modelPath,
                      const std::vector<std::uint8_t>& labels) {
  WriteStored(path, image, modelPath, {VoxelType::UInt8, 1.0, 0.0}, Copied(labels), Meaning::Labels);
}

void WriteNiftiFloats(const std::string& path, const GreyImage& image, const std::string& modelPath,
                      const std::vector<float>& values, Meaning meaning) {
  WriteStored(path, image, modelPath, {VoxelType::Float, 1.0, 0.0}, Copied(values), meaning);
}

}  // namespace example
