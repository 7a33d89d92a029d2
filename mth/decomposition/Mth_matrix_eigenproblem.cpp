#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>

#include "mth/core/Mth_complex_number_internal.h"
#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_eigenproblem_internal.h"
#include "mth/decomposition/Mth_eigenvectors_internal.h"
#include "mth/decomposition/Mth_lyapunov_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"
#include "mth/value/Mth_complex.h"

// All eigenvalues and eigenvectors of a real square matrix.

using mth_internal::Complex;
using mth_internal::MultiplyVectors;
using mth_internal::SquareView;
using mth_internal::WorkArray;
using mth_internal::WriteVectors;
namespace {

// Elements of about 1, whose squares neither overflow nor vanish.
// @return  the power of two that they were multiplied by.
double Normalise(SquareView a) {
  const double scale = mth_internal::PowerToUnit(mth_internal::LargestMagnitude(a.elements, a.size * a.size));
  for (std::int64_t i = 0; i < a.size * a.size; ++i) a.elements[i] *= scale;
  return scale;
}

// Memory for one problem of so many rows.
struct Workspace {
  explicit Workspace(std::int64_t size)
      : original(size * size),
        a(size * size),
        vectors(size * size),
        work(size * (size + 3)),
        order(size),
        values(size),
        complexWork(size + 1) {}
  explicit operator bool() const {
    return original && a && vectors && work && order && values && complexWork;
  }
  WorkArray<double> original;
  WorkArray<double> a;
  WorkArray<double> vectors;
  WorkArray<double> work;
  WorkArray<std::int64_t> order;
  WorkArray<Complex> values;
  WorkArray<Complex> complexWork;
};

bool SolveSymmetric(SquareView a, const Workspace& space, MTH_COMPLEX* vectors) {
  const std::int64_t n = a.size;
  const SquareView rows{space.vectors.Get(), n};
  double* found = a.elements;  // the matrix is destroyed by then
  if (!mth_internal::SolveSymmetric(a, found, rows, space.work.Get(), space.order.Get())) return false;
  for (std::int64_t j = 0; j < n; ++j) {
    space.values[j] = found[j];
  }
  WriteVectors(rows, space.values.Get(), vectors);
  return true;
}

// Scales beyond this ratio may spoil what they balance: the eigenvectors are then checked.
constexpr double kHarmlessScales = 64.0;

// Eigenvalues and, as the rows of `vectors`, eigenvectors of `a`, which becomes its Schur form.
// @return  whether all eigenvalues converged.
bool SolveScaled(SquareView a, const Workspace& space, double* scales, SquareView vectors) {
  const std::int64_t n = a.size;
  const SquareView qt{space.vectors.Get(), n};
  const SquareView schurVectors{space.work.Get(), n};
  if (!mth_internal::ReduceToHessenberg(a, qt, scales + n) || !mth_internal::ReduceToSchur(a, qt))
    return false;
  mth_internal::SchurValues(a, space.values.Get());
  mth_internal::SchurVectors(a, space.values.Get(), schurVectors, space.complexWork.Get());
  MultiplyVectors(schurVectors, qt, scales, vectors);
  return true;
}

// Whether |A v - value v| is rounding's worth of |A| for every vector of unit norm.
bool AreEigenvectors(SquareView a, const Complex* values, const MTH_COMPLEX* vectors) {
  const std::int64_t n = a.size;
  double squares = 0.0;
  for (std::int64_t i = 0; i < n * n; ++i) squares += a.elements[i] * a.elements[i];
  const double allowed =
      8.0 * static_cast<double>(n) * std::numeric_limits<double>::epsilon() * std::sqrt(squares);
  for (std::int64_t j = 0; j < n; ++j) {
    if (mth_internal::IsGivenUp(n)) return false;
    for (std::int64_t i = 0; i < n; ++i) {
      Complex image = 0.0;
      for (std::int64_t k = 0; k < n; ++k) {
        const MTH_COMPLEX& entry = vectors[k * n + j];
        image += a[i][k] * Complex(entry.getReal(), entry.getImag());
      }
      const MTH_COMPLEX& entry = vectors[i * n + j];
      const Complex rest = image - values[j] * Complex(entry.getReal(), entry.getImag());
      if (!(Modulus(rest) <= allowed)) return false;
    }
  }
  return true;
}

// `original` and `a` hold the same matrix.
bool SolveGeneral(SquareView original, SquareView a, const Workspace& space, MTH_COMPLEX* vectors) {
  const std::int64_t n = a.size;
  double* scales = space.work.Get() + n * n;
  mth_internal::Balance(a, scales);
  const auto [smallest, largest] = std::minmax_element(scales, scales + n);
  const bool isHarmless = n == 0 || *largest <= kHarmlessScales * *smallest;
  bool isDone = SolveScaled(a, space, scales, a);
  if (isDone) WriteVectors(a, space.values.Get(), vectors);
  if (isHarmless || mth_internal::IsGivenUp(n) ||
      (isDone && AreEigenvectors(original, space.values.Get(), vectors)))
    return isDone;
  std::copy_n(original.elements, n * n, a.elements);
  std::fill_n(scales, n, 1.0);
  isDone = SolveScaled(a, space, scales, a);
  if (isDone) WriteVectors(a, space.values.Get(), vectors);
  return isDone;
}

}  // namespace

bool MTH_MATRIX::RealEigenvalueProblem(MTH_COMPLEX** values, MTH_COMPLEX** vectors) const {
  if (values != nullptr) *values = nullptr;
  if (vectors != nullptr) *vectors = nullptr;
  if (values == nullptr || vectors == nullptr || !allocated_ || rows_ != columns_) return false;
  const std::int64_t n = rows_;
  if (!mth_internal::AreFinite(*this)) return false;
  std::unique_ptr<MTH_COMPLEX[]> newValues(new (std::nothrow) MTH_COMPLEX[static_cast<std::size_t>(n)]);
  std::unique_ptr<MTH_COMPLEX[]> newVectors(new (std::nothrow) MTH_COMPLEX[static_cast<std::size_t>(n * n)]);
  const Workspace space(n);
  if (!newValues || !newVectors || !space) return false;

  const SquareView a{space.a.Get(), n};
  mth_internal::OnStorage(*this, [&](auto* elements) { std::copy_n(elements, n * n, a.elements); });
  const double scale = Normalise(a);
  const SquareView original{space.original.Get(), n};
  std::copy_n(a.elements, n * n, original.elements);
  const bool isDone = mth_internal::IsSymmetric(a) ? SolveSymmetric(a, space, newVectors.get())
                                                   : SolveGeneral(original, a, space, newVectors.get());
  if (!isDone || mth_internal::IsGivenUp(n)) return false;
  for (std::int64_t j = 0; j < n; ++j) {
    const Complex value = space.values[j] / scale;
    newValues[static_cast<std::size_t>(j)] = MTH_COMPLEX(value.real(), value.imag());
  }
  *values = newValues.release();
  *vectors = newVectors.release();
  return true;
}
