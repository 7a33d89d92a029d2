#include <algorithm>
#include <cmath>
#include <memory>
#include <new>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

// Eigenvectors by inverse iteration, the power method, and the element-wise square and square root.

using mth_internal::MatrixPtr;
using mth_internal::WorkArray;

namespace {

constexpr int kInverseIterations = 50;  // always as many, without a convergence test
constexpr int kPowerIterationCap = 10000;

std::unique_ptr<double[]> NewArray(int count) {
  return std::unique_ptr<double[]>(new (std::nothrow) double[static_cast<std::size_t>(std::max(count, 0))]);
}

}  // namespace

bool MTH_MATRIX::SearchOneEigenVector(double eigenvalue, double** vector) const {
  if (vector != nullptr) *vector = nullptr;
  const auto fail = [this](int status) {
    status_ = status;
    return false;
  };
  if (vector == nullptr || !allocated_) return fail(11);
  MatrixPtr x(NewResult(columns_, 1, type_));
  MTH_MATRIX shifted(*this);
  auto result = NewArray(columns_);
  if (!mth_internal::IsUsable(x.get()) || !shifted.allocated_ || !result) return fail(11);
  x->OnStorage([&](auto* elements) { std::fill_n(elements, columns_, 1); });
  for (int i = 0; i < std::min(rows_, columns_); ++i) shifted.Set(i, i, Get(i, i) - eigenvalue);

  const MatrixPtr inverse(shifted.PseudoInverse());
  if (!mth_internal::IsUsable(inverse.get())) return fail(14);
  if (!IsSafeInverse(inverse.get())) return fail(11);
  for (int iteration = 0; iteration < kInverseIterations; ++iteration) {
    x.reset(*inverse * *x);
    if (!mth_internal::IsUsable(x.get())) return fail(11);
    x->DivideByLargest();
  }
  for (int i = 0; i < columns_; ++i) result[static_cast<std::size_t>(i)] = x->Get(i, 0);
  *vector = result.release();
  return true;
}

// Divides every element by the largest magnitude.
void MTH_MATRIX::DivideByLargest() {
  OnStorage([&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    double largest = 0.0;
    for (std::int64_t i = 0; i < ElementsCount(); ++i)
      largest = std::max(largest, std::abs(static_cast<double>(elements[i])));
    for (std::int64_t i = 0; i < ElementsCount(); ++i)
      elements[i] = static_cast<T>(static_cast<double>(elements[i]) / largest);
  });
}

MTH_MATRIX* MTH_MATRIX::SearchEigenValuesAndVectors(double tolerance, double** values) const {
  if (values == nullptr) return NewFailure(11);
  *values = nullptr;
  if (!allocated_ || rows_ != columns_) return NewFailure(11);
  MatrixPtr vectors(NewResult(rows_, columns_, type_));
  const auto fail = [&] {
    if (vectors) {
      vectors->Desallocate();
      vectors->status_ = 11;
    }
    return vectors.release();
  };
  if (!mth_internal::IsUsable(vectors.get())) return fail();
  double* found = nullptr;
  EigenValues(tolerance, &found);
  std::unique_ptr<double[]> eigenvalues(found);
  if (!eigenvalues) return fail();
  for (int j = 0; j < columns_; ++j) {
    double* column = nullptr;
    if (!SearchOneEigenVector(eigenvalues[static_cast<std::size_t>(j)], &column)) return fail();
    const std::unique_ptr<double[]> vector(column);
    for (int i = 0; i < rows_; ++i) vectors->Set(i, j, vector[static_cast<std::size_t>(i)]);
  }
  *values = eigenvalues.release();
  return vectors.release();
}

bool MTH_MATRIX::PowerMethod(double tolerance, double* dominant) const {
  if (dominant == nullptr || !allocated_ || rows_ != columns_ || rows_ == 0) return false;
  const WorkArray<double> x(columns_);
  const WorkArray<double> y(columns_);
  if (!x || !y) return false;
  std::fill_n(x.Get(), columns_, 1.0);
  double quotient = 0.0;
  double difference = 2.0 * tolerance;  // the first quotient has none to be compared with
  for (int iteration = 0; iteration < kPowerIterationCap; ++iteration) {
    OnStorage([&](auto* elements) {
      for (int i = 0; i < rows_; ++i, elements += columns_) {
        y[i] = 0.0;
        for (int j = 0; j < columns_; ++j) y[i] += static_cast<double>(elements[j]) * x[j];
      }
    });
    double projection = 0.0;
    double squares = 0.0;
    double norm = 0.0;
    for (int i = 0; i < rows_; ++i) {
      projection += x[i] * y[i];
      squares += x[i] * x[i];
      norm += y[i] * y[i];
    }
    norm = std::sqrt(norm);
    const double former = quotient;
    quotient = projection / squares;
    if (iteration > 0) difference = std::abs(quotient - former);
    if (!std::isfinite(norm) || !std::isfinite(quotient)) return false;
    // A vector that is sent to 0 is an eigenvector of 0.
    if (difference < tolerance || norm == 0.0) {
      *dominant = quotient;
      return true;
    }
    for (int i = 0; i < rows_; ++i) x[i] = y[i] / norm;
  }
  return false;
}

MTH_MATRIX* MTH_MATRIX::Square() const {
  if (!allocated_) return NewFailure(1);
  MTH_MATRIX* result = NewResult(rows_, columns_, type_);
  if (!mth_internal::IsUsable(result)) return result;
  OnStorage([&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    std::transform(elements, elements + ElementsCount(), result->Elements<T>(), [](T x) { return x * x; });
  });
  return result;
}

MTH_MATRIX* MTH_MATRIX::SquareRoot() const {
  if (!allocated_) return NewFailure(1);
  MTH_MATRIX* result = NewResult(rows_, columns_, type_);
  if (!mth_internal::IsUsable(result)) return result;
  OnStorage([&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    T* target = result->Elements<T>();
    const auto* end = elements + ElementsCount();
    const auto* bad = std::find_if(elements, elements + ElementsCount(), [](T x) { return !(x >= 0); });
    std::transform(static_cast<const T*>(elements), bad, target, [](T x) { return std::sqrt(x); });
    std::fill(target + (bad - elements), target + (end - elements), T{0});
    if (bad != end) result->status_ = 8;
  });
  return result;
}
