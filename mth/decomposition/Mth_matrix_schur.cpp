#include <algorithm>
#include <array>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_control_internal.h"
#include "mth/decomposition/Mth_eigenproblem_internal.h"
#include "mth/decomposition/Mth_qz_internal.h"
#include "mth/decomposition/Mth_schur_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

// The real Schur form of one matrix and the generalised one of two.

using mth_internal::IsUsable;
using mth_internal::kLargestOrdinaryOfPencil;
using mth_internal::MatrixPtr;
using mth_internal::NewFailure;
using mth_internal::NewRounded;
using mth_internal::NewTransposed;
using mth_internal::SquareView;
using mth_internal::WorkArray;

namespace {

// Hands out the factors, or unallocated ones with a status: of those, one without memory is enough to refuse
// all.
template <std::size_t kCount>
bool HandOut(std::array<MatrixPtr, kCount> factors, const std::array<MTH_MATRIX**, kCount>& targets,
             int status) {
  if (status == 0 && !std::all_of(factors.begin(), factors.end(),
                                  [](const MatrixPtr& factor) { return IsUsable(factor.get()); }))
    status = 1;
  for (std::size_t i = 0; i < kCount; ++i) {
    if (status != 0) factors[i].reset(NewFailure(status));
    *targets[i] = factors[i].release();
  }
  return status == 0;
}

}  // namespace

namespace mth_internal {

bool IsUpperTriangular(SquareView a) {
  for (std::int64_t i = 1; i < a.size; ++i) {
    if (!std::all_of(a[i], a[i] + i, [](double x) { return x == 0.0; })) return false;
  }
  return true;
}

bool DecomposeBySchur(SquareView a, SquareView qt, double* work) {
  if (!IsUpperTriangular(a)) {
    return ReduceToHessenberg(a, qt, work) && ReduceToSchur(a, qt);
  }
  std::fill_n(qt.elements, a.size * a.size, 0.0);
  for (std::int64_t i = 0; i < a.size; ++i) {
    qt[i][i] = 1.0;
    std::fill_n(a[i], i, 0.0);
  }
  return true;
}

}  // namespace mth_internal

bool MTH_MATRIX::SchurDecomposition(MTH_MATRIX** q, MTH_MATRIX** t) const {
  if (q == nullptr || t == nullptr) return false;
  const auto refuse = [&](int status) { return HandOut<2>({}, {q, t}, status); };
  if (const int refusal = mth_internal::CheckSystem({{*this, rows_, rows_}})) return refuse(refusal);
  const std::int64_t n = rows_;
  const WorkArray<double> elements(n * n);
  const WorkArray<double> transposed(n * n);
  const WorkArray<double> work(2 * n);
  if (!elements || !transposed || !work) return refuse(1);
  const SquareView a{elements.Get(), n};
  const SquareView qt{transposed.Get(), n};
  mth_internal::CopyElements(*this, a.elements);
  // What is a form already keeps all its elements, however different their sizes.
  const int exponent = mth_internal::IsUpperTriangular(a) ? 0 : mth_internal::CopyScaled(*this, a.elements);
  if (!mth_internal::DecomposeBySchur(a, qt, work.Get())) return refuse(5);
  return HandOut<2>({MatrixPtr(NewTransposed(qt, type_)),
                     MatrixPtr(NewRounded(a.elements, rows_, rows_, type_, -exponent))},
                    {q, t}, 0);
}

bool MTH_MATRIX::QZDecomposition(const MTH_MATRIX& b, MTH_MATRIX** q, MTH_MATRIX** z, MTH_MATRIX** s,
                                 MTH_MATRIX** t) const {
  if (q == nullptr || z == nullptr || s == nullptr || t == nullptr) return false;
  const auto refuse = [&](int status) { return HandOut<4>({}, {q, z, s, t}, status); };
  if (const int refusal = mth_internal::CheckSystem({{*this, rows_, rows_}, {b, rows_, rows_}}))
    return refuse(refusal);
  const std::int64_t n = rows_;
  const WorkArray<double> memory(4 * n * n + 2 * n);
  if (!memory) return refuse(1);
  const mth_internal::Pencil pencil = mth_internal::PencilIn(memory.Get(), n);
  const int exponentOfA = mth_internal::CopyScaled(*this, pencil.a.elements, kLargestOrdinaryOfPencil);
  const int exponentOfB = mth_internal::CopyScaled(b, pencil.b.elements, kLargestOrdinaryOfPencil);
  if (!mth_internal::ReduceToGeneralisedSchur(pencil, memory.Get() + 4 * n * n)) return refuse(5);
  return HandOut<4>({MatrixPtr(NewTransposed(pencil.qt, type_)), MatrixPtr(NewTransposed(pencil.zt, type_)),
                     MatrixPtr(NewRounded(pencil.a.elements, rows_, rows_, type_, -exponentOfA)),
                     MatrixPtr(NewRounded(pencil.b.elements, rows_, rows_, type_, -exponentOfB))},
                    {q, z, s, t}, 0);
}
