#include <algorithm>
#include <memory>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_message_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

// Mirrored borders, and the 2-D convolution, which has none.

using mth_internal::Elements;
using mth_internal::ElementsCount;
using mth_internal::NewFailure;
using mth_internal::NewResult;
using mth_internal::OnStorage;

namespace {

// The row or column that a bordered position mirrors: the edge is repeated, and beyond the last one that
// there is to mirror it stays there.
std::int64_t MirroredIndex(std::int64_t position, std::int64_t width, std::int64_t count) {
  const std::int64_t index = position - width;
  if (index < 0) return std::min(-index - 1, count - 1);
  if (index >= count) return std::max<std::int64_t>(2 * count - 1 - index, 0);
  return index;
}

MTH_MATRIX* AddBorder(const MTH_MATRIX& matrix, int rowWidth, int columnWidth) {
  if (matrix.GetType() != 0 && matrix.GetType() != 1) return NewFailure(14);
  if (!matrix.IsAllocated()) return NewFailure(1);
  if (rowWidth < 0 || columnWidth < 0) return NewFailure(4);
  const std::int64_t rows = matrix.GetNbRows();
  const std::int64_t columns = matrix.GetNbCols();
  const std::int64_t newRows = rows + std::int64_t{2} * rowWidth;
  const std::int64_t newColumns = columns + std::int64_t{2} * columnWidth;
  MTH_MATRIX* result = NewResult(newRows, newColumns, matrix.GetType());
  if (!mth_internal::IsUsable(result)) return result;
  if (ElementsCount(matrix) == 0) {
    result->SetZero();
    return result;
  }
  OnStorage(matrix, [&](auto* source) {
    using T = std::remove_pointer_t<decltype(source)>;
    T* target = Elements<T>(*result);
    for (std::int64_t i = 0; i < newRows; ++i, target += newColumns) {
      const T* row = source + MirroredIndex(i, rowWidth, rows) * columns;
      std::copy_n(row, columns, target + columnWidth);
      for (std::int64_t k = 0; k < columnWidth; ++k) {
        target[k] = row[MirroredIndex(k, columnWidth, columns)];
        target[newColumns - 1 - k] = row[MirroredIndex(newColumns - 1 - k, columnWidth, columns)];
      }
    }
  });
  return result;
}

// Adds the products of one row of the source and one row of the kernel to a row of the result. Each entry
// meets the source columns in ascending order, whichever of the two loops is the inner one, and the inner one
// is the longer.
void ConvolveRow(const float* source, std::int64_t columns, const float* kernel, std::int64_t kernelColumns,
                 float* __restrict target) {
  if (columns >= kernelColumns) {
    for (std::int64_t q = kernelColumns - 1; q >= 0; --q) {
      const float weight = kernel[q];
      for (std::int64_t b = 0; b < columns; ++b) target[b + q] += source[b] * weight;
    }
    return;
  }
  for (std::int64_t b = 0; b < columns; ++b) {
    const float element = source[b];
    for (std::int64_t q = 0; q < kernelColumns; ++q) target[b + q] += element * kernel[q];
  }
}

MTH_MATRIX* ConvolveFull(const MTH_MATRIX& matrix, const MTH_MATRIX& kernel) {
  const std::int64_t rows = matrix.GetNbRows();
  const std::int64_t columns = matrix.GetNbCols();
  const std::int64_t kernelRows = kernel.GetNbRows();
  const std::int64_t kernelColumns = kernel.GetNbCols();
  std::unique_ptr<MTH_MATRIX> result(NewResult(rows + kernelRows - 1, columns + kernelColumns - 1, 1));
  if (!mth_internal::HasElements(result.get())) return result.release();
  const mth_internal::WorkArray<float> weights(ElementsCount(kernel));
  if (!weights) return NewFailure(1);
  const mth_internal::LongRun run(rows * columns, kernelRows, kernelColumns);
  OnStorage(kernel, [&](auto* elements) {
    std::transform(elements, elements + ElementsCount(kernel), weights.Get(),
                   [](auto element) { return static_cast<float>(element); });
  });
  result->SetZero();
  const std::int64_t resultColumns = result->GetNbCols();
  for (std::int64_t i = 0; i < result->GetNbRows(); ++i) {
    if (run.IsGivenUp()) return NewFailure(1);
    float* target = result->GetFDataAddress() + i * resultColumns;
    const std::int64_t firstRow = std::max<std::int64_t>(0, i - kernelRows + 1);
    for (std::int64_t a = firstRow; a <= std::min<std::int64_t>(i, rows - 1); ++a) {
      ConvolveRow(matrix.GetFDataAddress() + a * columns, columns, weights.Get() + (i - a) * kernelColumns,
                  kernelColumns, target);
    }
  }
  return result.release();
}

}  // namespace

MTH_MATRIX* MTH_MATRIX::AddColBySymetry(int width) const {
  return AddBorder(*this, 0, width);
}

MTH_MATRIX* MTH_MATRIX::AddRowBySymetry(int width) const {
  return AddBorder(*this, width, 0);
}

MTH_MATRIX* MTH_MATRIX::Convolution2D(MTH_MATRIX* kernel, int mode) const {
  if (kernel == nullptr) {
    mth_internal::ShowInformation("Erreur dans les matrices d'entrées!");
    return nullptr;
  }
  if (!allocated_ || !kernel->allocated_) return NewFailure(1);
  if (type_ != 1) return NewFailure(14);
  std::unique_ptr<MTH_MATRIX> full(ConvolveFull(*this, *kernel));
  if (mode != 1 || !mth_internal::IsUsable(full.get())) return full.release();

  const std::int64_t insideColumns = std::int64_t{columns_} - kernel->columns_ + 1;
  if (insideColumns < 0 || insideColumns > full->columns_ || kernel->columns_ < 1) return NewFailure(1);
  return full->GetExtract(0, kernel->columns_ - 1, full->rows_, static_cast<int>(insideColumns));
}
