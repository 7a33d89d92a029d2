#include <algorithm>
#include <cmath>

#include "mth/matrix/Mth_extremum_kernel_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

// What a matrix tells of itself: trace, extrema, norm and blocks.

using mth_internal::ElementsCount;
using mth_internal::NewFailure;
using mth_internal::NewResult;
using mth_internal::OnStorage;

namespace {

template <bool kLargest>
double ExtremumOf(const MTH_MATRIX& matrix) {
  if (!matrix.IsAllocated() || ElementsCount(matrix) == 0) return 0.0;
  return OnStorage(matrix, [&](auto* elements) {
    return mth_internal::FindExtremum<kLargest>(elements, ElementsCount(matrix));
  });
}

}  // namespace

double MTH_MATRIX::GetTrace() const {
  double trace = 0.0;
  const int diagonal = std::min(rows_, columns_);
  for (int i = 0; i < diagonal; ++i) trace += Get(i, i);
  if (columns_ > diagonal)
    status_ = 2;  // a term of every column is asked for, and those beyond are not there
  return trace;
}

double MTH_MATRIX::GetMax(int* /*row*/, int* /*column*/) const {
  return ExtremumOf<true>(*this);
}

double MTH_MATRIX::GetMin(int* /*row*/, int* /*column*/) const {
  return ExtremumOf<false>(*this);
}

double MTH_MATRIX::ComputeFrobeniusNorm() const {
  if (!allocated_) return 0.0;
  return OnStorage(*this, [&](auto* elements) {
    double sum = 0.0;
    for (std::int64_t i = 0; i < ElementsCount(*this); ++i) {
      const double element = static_cast<double>(elements[i]);
      sum += element * element;
    }
    return std::sqrt(sum);
  });
}

MTH_MATRIX* MTH_MATRIX::GetExtract(int firstRow, int firstColumn, int rowCount, int columnCount) const {
  if (!allocated_) return NewFailure(1);
  const bool isNegative = firstRow < 0 || firstColumn < 0 || rowCount < 0 || columnCount < 0;
  const bool isTooLarge =
      std::int64_t{firstRow} + rowCount > rows_ || std::int64_t{firstColumn} + columnCount > columns_;
  if (isNegative || isTooLarge) return NewFailure(4);
  MTH_MATRIX* result = NewResult(rowCount, columnCount, type_);
  if (!mth_internal::HasElements(result)) return result;
  OnStorage(*this, [&](auto* source) {
    using T = std::remove_pointer_t<decltype(source)>;
    T* target = mth_internal::Elements<T>(*result);
    for (std::int64_t i = 0; i < rowCount; ++i) {
      std::copy_n(source + (firstRow + i) * columns_ + firstColumn, columnCount, target + i * columnCount);
    }
  });
  return result;
}

MTH_MATRIX* MTH_MATRIX::RegionOfMatrix(int firstRow, int firstCol, int lastRow, int lastCol) const {
  if (!allocated_) return NewFailure(1);
  const int top = std::max(firstRow, 0);
  const int left = std::max(firstCol, 0);
  const int bottom = std::min(lastRow, rows_ - 1);
  const int right = std::min(lastCol, columns_ - 1);
  if (bottom < top || right < left) return NewFailure(4);
  return GetExtract(top, left, bottom - top + 1, right - left + 1);
}
