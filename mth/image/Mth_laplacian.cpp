#include "mth/image/Mth_laplacian.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>

#include "mth/core/Mth_instruction_set_internal.h"
#include "mth/core/Mth_message_internal.h"
#include "std/Std_display.h"

namespace mth_internal {

// Of x, y and z, x fastest.
struct GridSize {
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

// Results of fewer bytes may find room in a cache, where their reader gets them sooner. Intel's processors
// write those up to twice as large through it as fast as a copy goes, and a little slower past it.
std::int64_t SmallestStreamedBytes() {
  constexpr std::int64_t kMiB = std::int64_t{1} << 20;
#if MTH_MULTIVERSION
  static const bool isIntel = __builtin_cpu_is("intel");
  if (isIntel) return 16 * kMiB;
#endif
  return 8 * kMiB;
}

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
  return count >= SmallestStreamedBytes() / static_cast<std::int64_t>(sizeof(T));
}

// Planes [first, last) of the result, which is the caller's.
template <class T>
void Average(const T* in, T* out, const GridSize& size, T scale, std::int64_t first, std::int64_t last) {
  const std::int64_t count = size.nx * size.ny * size.nz;
  if (in == out) {
    std::fill_n(out, count, T{});
  } else {
    MTH_SELECT(AverageDerivatives<T>)(in, out, size, scale, IsStreamed<T>(count), first, last);
  }
}

// The display is asked before anything is written: what the caller has stays whole.
template <class T>
bool AverageIntoCallers(const T* in, T* out, const GridSize& size, T scale) {
  if (size.nx == 0 || size.ny == 0 || size.nz == 0) return true;
  if (Std_IsCancelRequested()) return false;
  Average(in, out, size, scale, 0, size.nz);
  return true;
}

// The display is asked again and again: a result of our own can be thrown away.
template <class T>
bool AverageIntoOurs(const T* in, T* out, const GridSize& size, T scale) {
  constexpr std::int64_t kVoxelsPerQuestion = std::int64_t{1} << 22;
  const std::int64_t plane = size.nx * size.ny;
  if (plane == 0) return true;
  const std::int64_t planes = std::max<std::int64_t>(1, kVoxelsPerQuestion / plane);
  for (std::int64_t first = 0; first < size.nz; first += planes) {
    if (Std_IsCancelRequested()) return false;
    Average(in, out, size, scale, first, std::min(size.nz, first + planes));
  }
  return true;
}

template <class T>
constexpr T kMeanOfThree = T{1} / T{3};

template <class T>
bool AverageAlongRowsAndColumns(const T* in, T* out, const MTH_MATRIX& shape) {
  return AverageIntoCallers<T>(in, out, {shape.GetNbCols(), shape.GetNbRows(), 1}, static_cast<T>(0.5));
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
  if (type == 0) return AverageAlongRowsAndColumns(in->GetEDataAddress(), out->GetEDataAddress(), *in);
  return AverageAlongRowsAndColumns(in->GetFDataAddress(), out->GetFDataAddress(), *in);
}

double* Mth_ComputeLaplacien3D(double* volume, int n1, int n2, int n3) {
  using namespace mth_internal;
  const std::int64_t count = CountVoxels(n1, n2, n3);
  if (volume == nullptr || count == kNoSize) return nullptr;
  std::unique_ptr<double[]> result(new (std::nothrow) double[static_cast<std::size_t>(count)]);
  const GridSize size{n1, n2, n3};
  if (!result || !AverageIntoOurs<double>(volume, result.get(), size, kMeanOfThree<double>)) return nullptr;
  return result.release();
}

float* Mth_ComputeLaplacien3D(float* volume, float* out, int n1, int n2, int n3) {
  using namespace mth_internal;
  if (volume == nullptr || out == nullptr || CountVoxels(n1, n2, n3) == kNoSize) return nullptr;
  const GridSize size{n1, n2, n3};
  return AverageIntoCallers<float>(volume, out, size, kMeanOfThree<float>) ? out : nullptr;
}

void Mth_ComputeLaplacien3DFloat(float* in, float* out, int nx, int ny, int nz) {
  using namespace mth_internal;
  if (in == nullptr) return ShowInformation(kNullInput);
  const std::int64_t count = CountVoxels(nx, ny, nz);
  if (out == nullptr || count < 1 || Std_IsCancelRequested()) return;
  if (in == out) {
    std::fill_n(out, count, 0.0F);
    return;
  }
  MTH_SELECT(SumSecondDifferences)(in, out, {nx, ny, nz}, IsStreamed<float>(count));
}
