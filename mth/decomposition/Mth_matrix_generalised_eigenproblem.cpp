#include <cmath>
#include <memory>
#include <new>

#include "mth/core/Mth_complex_number_internal.h"
#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_control_internal.h"
#include "mth/decomposition/Mth_eigenvectors_internal.h"
#include "mth/decomposition/Mth_qz_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/value/Mth_complex.h"

// Generalised eigenvalues and eigenvectors of two real square matrices.

using mth_internal::Complex;
using mth_internal::kLargestOrdinaryOfPencil;
using mth_internal::SquareView;
using mth_internal::WorkArray;
namespace {

template <class T>
std::unique_ptr<T[]> NewResults(std::int64_t count) {
  return std::unique_ptr<T[]>(new (std::nothrow) T[static_cast<std::size_t>(count)]);
}

// @return  false without memory and when the host gives up.
bool FindVectors(const mth_internal::Pencil& pencil, const Complex* alphas, const double* betas,
                 MTH_COMPLEX* vectors) {
  const std::int64_t n = pencil.a.size;
  const WorkArray<double> rows(3 * n * n + 4 * n);
  const WorkArray<Complex> work(n + 1);
  if (!rows || !work) return false;
  const SquareView inForm{rows.Get(), n};
  mth_internal::GeneralisedSchurVectors(pencil.a, pencil.b, alphas, betas, inForm, rows.Get() + n * n,
                                        work.Get());
  const SquareView result{pencil.qt.elements, n};  // free, as there is no Q
  mth_internal::MultiplyVectors(inForm, pencil.zt, nullptr, result);
  if (mth_internal::IsGivenUp(n)) return false;
  mth_internal::WriteVectors(result, alphas, vectors);
  return true;
}

}  // namespace

bool MTH_MATRIX::GeneralisedEigenvalueProblem(const MTH_MATRIX& b, MTH_COMPLEX** alphas, double** betas,
                                              MTH_COMPLEX** vectors) const {
  if (alphas != nullptr) *alphas = nullptr;
  if (betas != nullptr) *betas = nullptr;
  if (vectors != nullptr) *vectors = nullptr;
  if (alphas == nullptr || betas == nullptr) return false;
  if (mth_internal::CheckSystem({{*this, rows_, rows_}, {b, rows_, rows_}}) != 0) return false;
  const std::int64_t n = rows_;
  const WorkArray<double> memory(4 * n * n + 2 * n);
  const WorkArray<Complex> values(n);
  auto newAlphas = NewResults<MTH_COMPLEX>(n);
  auto newBetas = NewResults<double>(n);
  auto newVectors = NewResults<MTH_COMPLEX>(vectors != nullptr ? n * n : 0);
  if (!memory || !values || !newAlphas || !newBetas || !newVectors) return false;
  mth_internal::Pencil pencil = mth_internal::PencilIn(memory.Get(), n);
  pencil.qt.size = 0;
  if (vectors == nullptr) pencil.zt.size = 0;
  const int exponentOfA = mth_internal::CopyScaled(*this, pencil.a.elements, kLargestOrdinaryOfPencil);
  const int exponentOfB = mth_internal::CopyScaled(b, pencil.b.elements, kLargestOrdinaryOfPencil);
  if (!mth_internal::ReduceToGeneralisedSchur(pencil, memory.Get() + 4 * n * n)) return false;
  mth_internal::GeneralisedValues(pencil.a, pencil.b, values.Get(), newBetas.get());
  if (vectors != nullptr && !FindVectors(pencil, values.Get(), newBetas.get(), newVectors.get()))
    return false;
  for (std::int64_t j = 0; j < n; ++j) {
    const auto index = static_cast<std::size_t>(j);
    newAlphas[index] =
        MTH_COMPLEX(std::ldexp(values[j].real(), -exponentOfA), std::ldexp(values[j].imag(), -exponentOfA));
    newBetas[index] = std::ldexp(newBetas[index], -exponentOfB);
  }
  *alphas = newAlphas.release();
  *betas = newBetas.release();
  if (vectors != nullptr) *vectors = newVectors.release();
  return true;
}
