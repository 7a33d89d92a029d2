#include <algorithm>
#include <memory>

#include "mth/core/Mth_message_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

// Mirrored borders and the 2-D convolution that uses them.

namespace {

// The row or column that a bordered position mirrors: the edge is repeated, and beyond the last one that
// there is to mirror it stays there.
std::int64_t MirroredIndex(std::int64_t position, std::int64_t width, std::int64_t count) {
  const std::int64_t index = position - width;
  if (index < 0) return std::min(-index - 1, count - 1);
  if (index >= count) return std::max<std::int64_t>(2 * count - 1 - index, 0);
  return index;
}

}  // namespace

MTH_MATRIX* MTH_MATRIX::AddColBySymetry(int width) const {
  return AddBorder(0, width);
}

MTH_MATRIX* MTH_MATRIX::AddRowBySymetry(int width) const {
  return AddBorder(width, 0);
}

MTH_MATRIX* MTH_MATRIX::AddBorder(int rowWidth, int columnWidth) const {
  if (!HasValidType()) return NewFailure(14);
  if (!allocated_) return NewFailure(1);
  if (rowWidth < 0 || columnWidth < 0) return NewFailure(4);
  const std::int64_t newRows = rows_ + std::int64_t{2} * rowWidth;
  const std::int64_t newColumns = columns_ + std::int64_t{2} * columnWidth;
  MTH_MATRIX* result = NewResult(newRows, newColumns, type_);
  if (!mth_internal::IsUsable(result)) return result;
  if (ElementsCount() == 0) {
    result->SetZero();
    return result;
  }
  OnStorage([&](auto* source) {
    using T = std::remove_pointer_t<decltype(source)>;
    T* target = result->Elements<T>();
    for (std::int64_t i = 0; i < newRows; ++i, target += newColumns) {
      const T* row = source + MirroredIndex(i, rowWidth, rows_) * columns_;
      std::copy_n(row, columns_, target + columnWidth);
      for (std::int64_t k = 0; k < columnWidth; ++k) {
        target[k] = row[MirroredIndex(k, columnWidth, columns_)];
        target[newColumns - 1 - k] = row[MirroredIndex(newColumns - 1 - k, columnWidth, columns_)];
      }
    }
  });
  return result;
}

MTH_MATRIX* MTH_MATRIX::Convolution2D(MTH_MATRIX* kernel, int mode) const {
  if (kernel == nullptr) {
    mth_internal::ShowInformation("Erreur dans les matrices d'entrées!");
    return nullptr;
  }
  if (!allocated_ || !kernel->allocated_) return NewFailure(1);
  if (type_ != 1) return NewFailure(14);
  std::unique_ptr<MTH_MATRIX> full(ConvolveFull(*kernel));
  if (mode != 1 || !mth_internal::IsUsable(full.get())) return full.release();

  const int insideColumns = columns_ - kernel->columns_ + 1;
  if (insideColumns < 0 || kernel->columns_ < 1) return NewFailure(1);
  return full->GetExtract(0, kernel->columns_ - 1, full->rows_, insideColumns);
}

MTH_MATRIX* MTH_MATRIX::ConvolveFull(const MTH_MATRIX& kernel) const {
  const std::int64_t kernelRows = kernel.rows_;
  const std::int64_t kernelColumns = kernel.columns_;
  MTH_MATRIX* result = NewResult(rows_ + kernelRows - 1, columns_ + kernelColumns - 1, 1);
  if (!mth_internal::HasElements(result)) return result;
  result->SetZero();
  const std::int64_t resultColumns = result->columns_;
  for (std::int64_t i = 0; i < result->rows_; ++i) {
    float* __restrict target = result->floats_ + i * resultColumns;
    const std::int64_t firstRow = std::max<std::int64_t>(0, i - kernelRows + 1);
    for (std::int64_t a = firstRow; a <= std::min<std::int64_t>(i, rows_ - 1); ++a) {
      const float* source = floats_ + a * columns_;
      // Kernel columns from the last to the first, so that each entry meets the source columns in ascending
      // order.
      for (std::int64_t q = kernelColumns - 1; q >= 0; --q) {
        const float weight = static_cast<float>(kernel.Get(static_cast<int>(i - a), static_cast<int>(q)));
        for (std::int64_t b = 0; b < columns_; ++b) target[b + q] += source[b] * weight;
      }
    }
  }
  return result;
}
