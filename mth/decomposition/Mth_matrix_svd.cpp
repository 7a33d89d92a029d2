#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <new>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_message_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_svd_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"
#include "mth/matrix/Mth_product_kernel_internal.h"
#include "mth/matrix/Mth_transpose_kernel_internal.h"

#define MTH_KERNEL_FILE "mth/decomposition/Mth_svd_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

// Singular value decomposition and rank.

using mth_internal::Elements;
using mth_internal::ElementsCount;
using mth_internal::NewFailure;
using mth_internal::NewResult;
using mth_internal::OnStorage;
using mth_internal::SVDFactors;
using mth_internal::SVDResult;
using mth_internal::SVDSlices;
using mth_internal::SVDTargets;
using mth_internal::WorkArray;

namespace {

constexpr double kRelativeRankTolerance = 1e-15;
constexpr std::int64_t kSmallSize = 8;  // decomposed in memory of the stack

// Doubles to ask for: a whole huge page where most of one is needed, which the system finds and clears at
// once.
std::int64_t InWholePages(std::int64_t count) {
  constexpr std::int64_t kHugePage = (2 << 20) / sizeof(double);
  return count > kHugePage / 2 ? std::max(count, kHugePage) : count;
}

// Memory for one decomposition: on the stack for a small matrix.
class Workspace {
 public:
  // `rest` doubles more are for the caller.
  Workspace(std::int64_t rows, std::int64_t columns, std::int64_t rest = 0)
      : isSmall_(rows <= kSmallSize && columns <= kSmallSize && rest == 0),
        size_(SVDSlices(rows, columns).size),
        scratch_(isSmall_ ? 0 : InWholePages(size_ + rest)),
        order_(isSmall_ ? 0 : columns) {}

  explicit operator bool() const { return scratch_ && order_; }
  double* Scratch() { return isSmall_ ? smallScratch_.data() : scratch_.Get(); }
  double* Rest() { return scratch_.Get() + size_; }
  std::int64_t* Order() { return isSmall_ ? smallOrder_.data() : order_.Get(); }

 private:
  static constexpr SVDSlices kSmallSlices{kSmallSize, kSmallSize};
  bool isSmall_;
  std::int64_t size_;
  WorkArray<double> scratch_;
  WorkArray<std::int64_t> order_;
  alignas(64) std::array<double, kSmallSlices.size> smallScratch_;
  std::array<std::int64_t, kSmallSize> smallOrder_;
};

// The triangle S of H0 H1 ... = I - Yt S Y, where gram = Y Yt.
void WriteTriangle(const double* factors, const double* gram, std::int64_t count, double* s) {
  std::fill_n(s, count * count, 0.0);
  for (std::int64_t k = 0; k < count; ++k) {
    for (std::int64_t i = 0; i < k; ++i) {
      double sum = 0.0;
      for (std::int64_t j = i; j < k; ++j) sum += s[i * count + j] * gram[j * count + k];
      s[i * count + k] = -factors[k] * sum;
    }
    s[k * count + k] = factors[k];
  }
}

constexpr std::int64_t kChunkRows = 48;  // of the basis, in cache

constexpr std::int64_t MemoryToComplete(std::int64_t rows, std::int64_t columns) {
  return (2 * columns + kChunkRows) * (rows - columns);
}

// Columns beyond `columns` of the product of reflections that the decomposition of a tall matrix began with:
// an orthonormal basis of what its columns do not span. H0 H1 ... = I - Yt S Y with the vectors as the rows
// of Y and a triangular S, which makes it two products (Schreiber and Van Loan 1989).
// @param memory  work, as many doubles as MemoryToComplete says.
template <class T>
SVDResult CompleteBasis(double* scratch, double* memory, std::int64_t rows, std::int64_t columns, T* target,
                        std::int64_t stride) {
  const SVDSlices slices(rows, columns);
  double* y = scratch + slices.qrVectors;
  for (std::int64_t k = 0; k < columns; ++k) std::fill_n(y + k * rows, k, 0.0);  // nobody has written them
  double* yt = scratch + slices.panels;  // nobody needs them any more, nor what the square matrix took
  double* s = scratch + slices.ut;
  double* gram = scratch + slices.vt;
  const std::int64_t rest = rows - columns;
  const mth_internal::LongRun run(rows, rest, columns);
  double* end = memory;
  double* weights = end + columns * rest;
  double* chunk = weights + columns * rest;
  mth_internal::Transpose<double>(y, columns, rows, yt);
  if (!mth_internal::MultiplyUnlessGivenUp<double>({y, yt, gram, columns, rows, columns}))
    return SVDResult::Cancelled;
  WriteTriangle(scratch + slices.qrFactors, gram, columns, s);
  for (std::int64_t k = 0; k < columns; ++k) std::copy_n(y + k * rows + columns, rest, end + k * rest);
  if (!mth_internal::MultiplyUnlessGivenUp<double>({s, end, weights, columns, columns, rest}))
    return SVDResult::Cancelled;
  for (std::int64_t first = 0; first < rows; first += kChunkRows) {
    if (run.IsGivenUp()) return SVDResult::Cancelled;
    const std::int64_t count = std::min(kChunkRows, rows - first);
    mth_internal::Multiply<double>({yt + first * columns, weights, chunk, count, columns, rest});
    for (std::int64_t i = 0; i < count; ++i) {
      double* row = chunk + i * rest;
      for (std::int64_t j = 0; j < rest; ++j) row[j] = 0.0 - row[j];
      const std::int64_t unit = first + i - columns;
      if (unit >= 0) row[unit] += 1.0;
      std::transform(row, row + rest, target + (first + i) * stride + columns,
                     [](double x) { return static_cast<T>(x); });
    }
  }
  return SVDResult::Done;
}

// For so many singular values.
template <class T>
auto SelectDecomposition(std::int64_t count) {
  constexpr std::int64_t kFew = 16;
  return count <= kFew ? MTH_SELECT_NARROW(DecomposeBySVD<T>) : MTH_SELECT(DecomposeBySVD<T>);
}

// A matrix with at least as many rows as columns.
template <class T>
SVDResult DecomposeTall(const T* input, std::int64_t rows, std::int64_t columns,
                        const SVDTargets<T>& targets) {
  Workspace space(rows, columns);
  if (!space) return SVDResult::NoMemory;
  const auto decompose = SelectDecomposition<T>(columns);
  return decompose(input, rows, columns, targets, space.Scratch(), space.Order());
}

// A matrix with fewer rows than columns: its transpose is decomposed, whose U and V are the first columns of
// V and of U. The columns of U beyond are 0, those of V complete the basis.
template <class T>
SVDResult DecomposeWide(const T* input, std::int64_t rows, std::int64_t columns,
                        const SVDTargets<T>& targets) {
  for (std::int64_t i = 0; i < rows; ++i) std::fill_n(targets.u + i * targets.uStride, columns, T{0});
  // The transposed elements are needed no more when the basis is completed.
  Workspace space(columns, rows, std::max(rows * columns, MemoryToComplete(columns, rows)));
  if (!space) return SVDResult::NoMemory;
  T* transposed = reinterpret_cast<T*>(space.Rest());
  mth_internal::Transpose(input, rows, columns, transposed);
  const auto decompose = SelectDecomposition<T>(rows);
  const SVDTargets<T> swapped{targets.v,           targets.vStride, targets.values,
                              targets.valueStride, targets.u,       targets.uStride};
  const SVDResult result = decompose(transposed, columns, rows, swapped, space.Scratch(), space.Order());
  if (result != SVDResult::Done) return result;
  return CompleteBasis(space.Scratch(), space.Rest(), columns, rows, targets.v, targets.vStride);
}

SVDResult DecomposeInto(const MTH_MATRIX& matrix, const SVDFactors& factors) {
  if (!mth_internal::AreFinite(matrix)) return SVDResult::NoConvergence;
  factors.w->SetZero();
  return OnStorage(matrix, [&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    const std::int64_t rows = matrix.GetNbRows();
    const std::int64_t columns = matrix.GetNbCols();
    const SVDTargets<T> targets{Elements<T>(*factors.u), columns, Elements<T>(*factors.w), columns + 1,
                                Elements<T>(*factors.v), columns};
    const auto decompose = rows < columns ? DecomposeWide<T> : DecomposeTall<T>;
    return decompose(elements, rows, columns, targets);
  });
}

void Discard(const std::unique_ptr<MTH_MATRIX>& factor, int status) {
  if (!factor) return;
  factor->Desallocate();
  mth_internal::MatrixAccess::SetStatus(*factor, status);
}

}  // namespace

namespace mth_internal {

SVDFactors DecomposeSilently(const MTH_MATRIX& matrix) {
  // An unallocated matrix gives factors that are refused, with status 1.
  const bool isAllocated = matrix.IsAllocated();
  const int rows = matrix.GetNbRows();
  const int columns = matrix.GetNbCols();
  SVDFactors factors;
  factors.u.reset(isAllocated ? NewResult(rows, columns, matrix.GetType()) : NewFailure(1));
  factors.w.reset(isAllocated ? NewResult(columns, columns, matrix.GetType()) : NewFailure(1));
  factors.v.reset(isAllocated ? NewResult(columns, columns, matrix.GetType()) : NewFailure(1));
  if (IsUsable(factors.u.get()) && IsUsable(factors.w.get()) && IsUsable(factors.v.get()))
    factors.result = DecomposeInto(matrix, factors);
  if (factors.result == SVDResult::Done) return factors;
  const int status = factors.result == SVDResult::NoMemory ? 1 : 17;
  Discard(factors.u, status);
  Discard(factors.w, status);
  Discard(factors.v, status);
  return factors;
}

SVDFactors Decompose(const MTH_MATRIX& matrix) {
  SVDFactors factors = DecomposeSilently(matrix);
  if (factors.result == SVDResult::NoConvergence) {
    // Both texts are kept as they are known; the cap is 50 whichever is shown.
    ShowInformation(matrix.GetType() == 0 ? "Pas de convergence après 50 itérations"
                                          : "Pas de convergence après 30 itérations");
  }
  return factors;
}

}  // namespace mth_internal

bool MTH_MATRIX::SVD(MTH_MATRIX** u, MTH_MATRIX** w, MTH_MATRIX** v) const {
  if (u == nullptr || w == nullptr || v == nullptr) return false;
  SVDFactors factors = mth_internal::Decompose(*this);
  *u = factors.u.release();
  *w = factors.w.release();
  *v = factors.v.release();
  return factors.result == SVDResult::Done;
}

int MTH_MATRIX::Rank() const {
  if (!allocated_) return 0;
  const SVDFactors factors = mth_internal::Decompose(*this);
  if (factors.result != SVDResult::Done) return 0;
  double largest = 0.0;
  for (int j = 0; j < columns_; ++j) largest = std::max(largest, factors.w->Get(j, j));
  const double tolerance = largest * kRelativeRankTolerance * columns_;
  int rank = 0;
  for (int j = 0; j < columns_; ++j) rank += std::abs(factors.w->Get(j, j)) > tolerance ? 1 : 0;
  return rank;
}
