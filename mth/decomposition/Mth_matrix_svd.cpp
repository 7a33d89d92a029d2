#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <memory>
#include <new>

#include "mth/core/Mth_message_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_svd_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

#define MTH_KERNEL_FILE "mth/decomposition/Mth_svd_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

// Singular value decomposition and rank.

using mth_internal::MatrixPtr;
using mth_internal::WorkArray;

namespace {

constexpr double kRelativeRankTolerance = 1e-15;
constexpr std::int64_t kSmallSize = 8;  // decomposed in memory of the stack

template <class T>
bool Decompose(const T* input, std::int64_t rows, std::int64_t columns, T* u, T* w, T* v, double* scratch,
               std::int64_t* order) {
  return mth_internal::AreFinite(input, rows * columns) &&
         MTH_SELECT(DecomposeBySVD<T>)(input, rows, columns, u, w, v, scratch, order);
}

}  // namespace

bool MTH_MATRIX::SVD(MTH_MATRIX** u, MTH_MATRIX** w, MTH_MATRIX** v) const {
  if (u == nullptr || w == nullptr || v == nullptr) return false;
  // An unallocated matrix gives factors that are refused, with status 1.
  *u = allocated_ ? NewResult(rows_, columns_, type_) : NewFailure(1);
  *w = allocated_ ? NewResult(columns_, columns_, type_) : NewFailure(1);
  *v = allocated_ ? NewResult(columns_, columns_, type_) : NewFailure(1);
  MTH_MATRIX* const factors[] = {*u, *w, *v};
  const auto fail = [&](int status) {
    for (MTH_MATRIX* factor : factors) {
      if (factor == nullptr) continue;
      factor->Desallocate();
      factor->status_ = status;
    }
    return false;
  };
  if (!std::all_of(std::begin(factors), std::end(factors), mth_internal::IsUsable)) return fail(1);

  constexpr std::int64_t kSmallScratch = mth_internal::SVDScratch(kSmallSize, kSmallSize);
  alignas(64) std::array<double, kSmallScratch> smallScratch;
  std::array<std::int64_t, kSmallSize> smallOrder;
  const bool isSmall = rows_ <= kSmallSize && columns_ <= kSmallSize;
  const WorkArray<double> scratch(isSmall ? 0 : mth_internal::SVDScratch(rows_, columns_));
  const WorkArray<std::int64_t> order(isSmall ? 0 : columns_);
  if (!isSmall && (!scratch || !order)) return fail(1);
  const bool hasConverged = OnStorage([&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    return Decompose(elements, rows_, columns_, (*u)->Elements<T>(), (*w)->Elements<T>(), (*v)->Elements<T>(),
                     isSmall ? smallScratch.data() : scratch.Get(),
                     isSmall ? smallOrder.data() : order.Get());
  });
  if (hasConverged) return true;
  // Both texts are kept as they are known; the cap is 50 whichever is shown.
  mth_internal::ShowInformation(type_ == 0 ? "Pas de convergence après 50 itérations"
                                           : "Pas de convergence après 30 itérations");
  return fail(17);
}

int MTH_MATRIX::Rank() const {
  if (!allocated_) return 0;
  MTH_MATRIX* factors[3];
  const bool isDone = SVD(&factors[0], &factors[1], &factors[2]);
  const MatrixPtr u(factors[0]);
  const MatrixPtr w(factors[1]);
  const MatrixPtr v(factors[2]);
  if (!isDone) return 0;
  double largest = 0.0;
  for (int j = 0; j < columns_; ++j) largest = std::max(largest, w->Get(j, j));
  const double tolerance = largest * kRelativeRankTolerance * columns_;
  int rank = 0;
  for (int j = 0; j < columns_; ++j) rank += std::abs(w->Get(j, j)) > tolerance ? 1 : 0;
  return rank;
}
