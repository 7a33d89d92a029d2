#include "mth/image/Mth_laplacian.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>

#include "mth/core/Mth_instruction_set_internal.h"
#include "mth/core/Mth_message_internal.h"

namespace mth_internal {

// Of x, y and z, x fastest.
struct VolumeSize {
  std::int64_t nx;
  std::int64_t ny;
  std::int64_t nz;
};

}  // namespace mth_internal

#define MTH_KERNEL_FILE "mth/image/Mth_laplacian_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {
namespace {

constexpr const char* kNullInput = "Matrice d'entrée est nulle!";

// Results of fewer bytes may find room in a cache, where their reader gets them sooner.
constexpr std::int64_t kSmallestStreamedBytes = std::int64_t{8} << 20;

constexpr std::int64_t kNoSize = -1;

// Number of voxels; kNoSize when a size is negative or no array holds as many.
std::int64_t CountVoxels(int n1, int n2, int n3) {
  if (n1 < 0 || n2 < 0 || n3 < 0) return kNoSize;
  if (n1 == 0 || n2 == 0 || n3 == 0) return 0;
  constexpr std::int64_t kMost = std::numeric_limits<std::ptrdiff_t>::max() / sizeof(double);
  const std::int64_t plane = std::int64_t{n1} * n2;
  return plane <= kMost / n3 ? plane * n3 : kNoSize;
}

template <class T>
bool IsStreamed(std::int64_t count) {
  return count >= kSmallestStreamedBytes / static_cast<std::int64_t>(sizeof(T));
}

template <class T>
void Average(const T* in, T* out, const VolumeSize& size, T scale) {
  const std::int64_t count = size.nx * size.ny * size.nz;
  if (count == 0) return;
  if (in == out) {
    std::fill_n(out, count, T{});
    return;
  }
  MTH_SELECT(AverageDerivatives<T>)(in, out, size, scale, IsStreamed<T>(count));
}

template <class T>
void AverageAlongThreeAxes(const T* in, T* out, int n1, int n2, int n3) {
  Average<T>(in, out, {n1, n2, n3}, T{1} / T{3});
}

template <class T>
void AverageAlongRowsAndColumns(const T* in, T* out, const MTH_MATRIX& shape) {
  Average<T>(in, out, {shape.GetNbCols(), shape.GetNbRows(), 1}, static_cast<T>(0.5));
}

bool HasShapeAndType(const MTH_MATRIX& matrix, const MTH_MATRIX& other, int type) {
  return matrix.IsAllocated() && matrix.GetType() == type && matrix.GetNbRows() == other.GetNbRows() &&
         matrix.GetNbCols() == other.GetNbCols();
}

}  // namespace
}  // namespace mth_internal

bool Mth_ComputeLaplacien(MTH_MATRIX* in, MTH_MATRIX* out, int type) {
  using namespace mth_internal;
  if (type != 0 && type != 1) return false;
  if (in == nullptr) {
    ShowInformation(kNullInput);
    return false;
  }
  if (out == nullptr || !HasShapeAndType(*in, *in, type) || !HasShapeAndType(*out, *in, type)) return false;
  if (type == 0) {
    AverageAlongRowsAndColumns(in->GetEDataAddress(), out->GetEDataAddress(), *in);
  } else {
    AverageAlongRowsAndColumns(in->GetFDataAddress(), out->GetFDataAddress(), *in);
  }
  return true;
}

double* Mth_ComputeLaplacien3D(double* volume, int n1, int n2, int n3) {
  using namespace mth_internal;
  const std::int64_t count = CountVoxels(n1, n2, n3);
  if (volume == nullptr || count == kNoSize) return nullptr;
  std::unique_ptr<double[]> result(new (std::nothrow) double[static_cast<std::size_t>(count)]);
  if (result) AverageAlongThreeAxes<double>(volume, result.get(), n1, n2, n3);
  return result.release();
}

float* Mth_ComputeLaplacien3D(float* volume, float* out, int n1, int n2, int n3) {
  using namespace mth_internal;
  if (volume == nullptr || out == nullptr || CountVoxels(n1, n2, n3) == kNoSize) return nullptr;
  AverageAlongThreeAxes<float>(volume, out, n1, n2, n3);
  return out;
}

void Mth_ComputeLaplacien3DFloat(float* in, float* out, int nx, int ny, int nz) {
  using namespace mth_internal;
  if (in == nullptr) return ShowInformation(kNullInput);
  const std::int64_t count = CountVoxels(nx, ny, nz);
  if (out == nullptr || count < 1) return;
  if (in == out) {
    std::fill_n(out, count, 0.0F);
    return;
  }
  MTH_SELECT(SumSecondDifferences)(in, out, {nx, ny, nz}, IsStreamed<float>(count));
}
