#include <algorithm>
#include <cmath>
#include <numeric>
#include <type_traits>
#include <utility>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_elimination_internal.h"
#include "mth/decomposition/Mth_lu_internal.h"
#include "mth/matrix/Mth_matrix_internal.h"

#define MTH_KERNEL_FILE "mth/decomposition/Mth_elimination_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

// The factors of a square matrix, and the triangular systems that they are.

namespace mth_internal {

template <class T>
int FactorMatrix(const T* elements, std::int64_t size, double* work, int* order) {
  std::iota(order, order + size, 0);
  if (size <= kSmallSystem) {
    std::copy_n(elements, size * size, work);
    // Narrow vectors on every machine: rows this short gain less from wider ones than their ends cost.
    return baseline::FactorSmall<T>(work, size, order) ? 0 : 16;
  }
  const WorkArray<double> scratch(size + EliminationScratch(size, kBlockDepth));
  if (!scratch) return 1;
  double* const scales = scratch.Get() + EliminationScratch(size, kBlockDepth);
  const auto copy = MTH_SELECT(CopyLongRows<T>);
  if (!copy(elements, size, work, scales)) return 16;
  const auto factor = MTH_SELECT(FactorInPlace<T>);
  return factor(work, size, scales, order, scratch.Get()) ? 0 : 5;
}

template int FactorMatrix(const double*, std::int64_t, double*, int*);
template int FactorMatrix(const float*, std::int64_t, double*, int*);

template <class T, class Element>
int SolveFactoredRows(const Element* lu, std::int64_t size, double* x, std::int64_t columns,
                      bool isIdentity) {
  constexpr std::int64_t kFewColumns = 3;
  const bool isSmall = size <= kSmallSystem;
  if (columns <= kFewColumns) {
    const auto solve =
        isSmall ? MTH_SELECT_NARROW(SolveColumns<T, Element>) : MTH_SELECT(SolveColumns<T, Element>);
    solve(lu, size, x, columns);
    return 0;
  }
  double small[EliminationScratch(kSmallSystem, kSolvedDepth)];
  const WorkArray<double> scratch(isSmall ? 0 : EliminationScratch(size, kSolvedDepth));
  if (!scratch) return 1;
  const auto solve =
      isSmall ? MTH_SELECT_NARROW(SolveInPlace<T, Element>) : MTH_SELECT(SolveInPlace<T, Element>);
  return solve(lu, size, x, columns, isIdentity, isSmall ? small : scratch.Get()) ? 0 : 5;
}

template int SolveFactoredRows<double>(const double*, std::int64_t, double*, std::int64_t, bool);
template int SolveFactoredRows<float>(const double*, std::int64_t, double*, std::int64_t, bool);
template int SolveFactoredRows<float>(const float*, std::int64_t, double*, std::int64_t, bool);

LUFactors::LUFactors(const MTH_MATRIX& matrix)
    : size_(matrix.GetNbRows()),
      heap_(size_ <= kSmallSystem ? 0 : size_ * size_),
      heapOrder_(size_ <= kSmallSystem ? 0 : size_),
      elements_(size_ <= kSmallSystem ? small_ : heap_.Get()),
      order_(size_ <= kSmallSystem ? smallOrder_ : heapOrder_.Get()) {
  if (!heap_ || !heapOrder_) return;
  status_ = OnStorage(matrix, [&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    return FactorMatrix<T>(elements, size_, elements_, order_);
  });
}

double LUFactors::Determinant() const {
  double product = 1.0;
  for (std::int64_t i = 0; i < size_; ++i) product = ProductOfPivots(product, elements_[i * (size_ + 1)]);
  return product;
}

}  // namespace mth_internal
