#include <algorithm>
#include <cmath>
#include <memory>
#include <new>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_eigenproblem_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"
#include "mth/value/Mth_complex.h"

// All eigenvalues and eigenvectors of a real square matrix.

using mth_internal::Complex;
using mth_internal::SquareView;
using mth_internal::WorkArray;

namespace {

bool IsSymmetric(SquareView a) {
  for (std::int64_t i = 0; i < a.size; ++i) {
    for (std::int64_t j = 0; j < i; ++j) {
      if (a[i][j] != a[j][i]) return false;
    }
  }
  return true;
}

// Elements of about 1, whose squares neither overflow nor vanish.
// @return  the power of two that they were multiplied by.
double Normalise(SquareView a) {
  double largest = 0.0;
  for (std::int64_t i = 0; i < a.size * a.size; ++i) largest = std::max(largest, std::abs(a.elements[i]));
  const int exponent = largest == 0.0 ? 0 : std::ilogb(largest);
  const double scale = std::ldexp(1.0, -std::clamp(exponent, -1000, 1000));
  for (std::int64_t i = 0; i < a.size * a.size; ++i) a.elements[i] *= scale;
  return scale;
}

// Components whose squared moduli differ by less count as equal: rounding must not choose the sign.
constexpr double kNearlyLargest = 1.0 - 1e-12;

// Writes an eigenvector as column `column`: of unit norm, the largest component, the first of equals, real
// and positive.
template <class Component>
void WriteVector(Component component, std::int64_t size, std::int64_t column, MTH_COMPLEX* vectors) {
  double largest = 0.0;
  for (std::int64_t i = 0; i < size; ++i)
    largest = std::max({largest, std::abs(component(i).real()), std::abs(component(i).imag())});
  double squares = 0.0;
  double best = 0.0;
  for (std::int64_t i = 0; i < size; ++i) {
    const double modulus = SquaredModulus(component(i) / largest);
    squares += modulus;
    best = std::max(best, modulus);
  }
  std::int64_t bestRow = 0;
  while (bestRow + 1 < size && SquaredModulus(component(bestRow) / largest) < best * kNearlyLargest)
    ++bestRow;
  const Complex pivot = component(bestRow) / largest;
  const Complex turn = Conjugate(pivot) / Modulus(pivot) / std::sqrt(squares);
  for (std::int64_t i = 0; i < size; ++i) {
    const Complex value = component(i) / largest * turn;
    vectors[i * size + column] = MTH_COMPLEX(value.real(), i == bestRow ? 0.0 : value.imag());
  }
}

// Memory for one problem of so many rows.
struct Workspace {
  explicit Workspace(std::int64_t size)
      : a(size * size), vectors(size * size), work(size * (size + 3)), values(size), complexWork(size + 1) {}
  explicit operator bool() const { return a && vectors && work && values && complexWork; }
  WorkArray<double> a;
  WorkArray<double> vectors;
  WorkArray<double> work;
  WorkArray<Complex> values;
  WorkArray<Complex> complexWork;
};

bool SolveSymmetric(SquareView a, const Workspace& space, MTH_COMPLEX* vectors) {
  const std::int64_t n = a.size;
  const SquareView rows{space.vectors.Get(), n};
  double* found = a.elements;  // the matrix is destroyed by then
  if (!mth_internal::SolveSymmetric(a, found, rows, space.work.Get())) return false;
  for (std::int64_t j = 0; j < n; ++j) {
    space.values[j] = found[j];
    WriteVector([&](std::int64_t i) { return Complex(rows[j][i]); }, n, j, vectors);
  }
  return true;
}

// Row j of `result` becomes row j of `left` times `right`, with the columns scaled.
void MultiplyVectors(SquareView left, SquareView right, const double* scales, SquareView result) {
  const std::int64_t n = left.size;
  std::fill_n(result.elements, n * n, 0.0);
  for (std::int64_t j = 0; j < n; ++j) {
    double* __restrict row = result[j];
    for (std::int64_t k = 0; k < n; ++k) {
      const double weight = left[j][k];
      if (weight == 0.0) continue;
      const double* source = right[k];
      for (std::int64_t i = 0; i < n; ++i) row[i] += weight * source[i];
    }
    for (std::int64_t i = 0; i < n; ++i) row[i] *= scales[i];
  }
}

bool SolveGeneral(SquareView a, const Workspace& space, MTH_COMPLEX* vectors) {
  const std::int64_t n = a.size;
  const SquareView qt{space.vectors.Get(), n};
  const SquareView schurVectors{space.work.Get(), n};
  double* scales = space.work.Get() + n * n;
  mth_internal::Balance(a, scales);
  mth_internal::ReduceToHessenberg(a, qt, scales + n);
  if (!mth_internal::ReduceToSchur(a, qt, space.values.Get())) return false;
  mth_internal::SchurVectors(a, space.values.Get(), schurVectors, space.complexWork.Get());
  MultiplyVectors(schurVectors, qt, scales, a);
  for (std::int64_t j = 0; j < n; ++j) {
    if (space.values[j].imag() == 0.0) {
      WriteVector([&](std::int64_t i) { return Complex(a[j][i]); }, n, j, vectors);
      continue;
    }
    WriteVector([&](std::int64_t i) { return Complex(a[j][i], a[j + 1][i]); }, n, j, vectors);
    for (std::int64_t i = 0; i < n; ++i) {
      const MTH_COMPLEX& entry = vectors[i * n + j];
      vectors[i * n + j + 1] = MTH_COMPLEX(entry.getReal(), -entry.getImag());
    }
    ++j;
  }
  return true;
}

}  // namespace

bool MTH_MATRIX::RealEigenvalueProblem(MTH_COMPLEX** values, MTH_COMPLEX** vectors) const {
  if (values != nullptr) *values = nullptr;
  if (vectors != nullptr) *vectors = nullptr;
  if (values == nullptr || vectors == nullptr || !allocated_ || rows_ != columns_) return false;
  const std::int64_t n = rows_;
  const bool isFinite =
      OnStorage([&](auto* elements) { return mth_internal::AreFinite(elements, ElementsCount()); });
  if (!isFinite) return false;
  std::unique_ptr<MTH_COMPLEX[]> newValues(new (std::nothrow) MTH_COMPLEX[static_cast<std::size_t>(n)]);
  std::unique_ptr<MTH_COMPLEX[]> newVectors(new (std::nothrow) MTH_COMPLEX[static_cast<std::size_t>(n * n)]);
  const Workspace space(n);
  if (!newValues || !newVectors || !space) return false;

  const SquareView a{space.a.Get(), n};
  OnStorage([&](auto* elements) { std::copy_n(elements, n * n, a.elements); });
  const double scale = Normalise(a);
  const bool isDone =
      IsSymmetric(a) ? SolveSymmetric(a, space, newVectors.get()) : SolveGeneral(a, space, newVectors.get());
  if (!isDone) return false;
  for (std::int64_t j = 0; j < n; ++j) {
    const Complex value = space.values[j] / scale;
    newValues[static_cast<std::size_t>(j)] = MTH_COMPLEX(value.real(), value.imag());
  }
  *values = newValues.release();
  *vectors = newVectors.release();
  return true;
}
