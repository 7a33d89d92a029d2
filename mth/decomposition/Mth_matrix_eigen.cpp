#include <algorithm>
#include <cmath>
#include <limits>
#include <memory>
#include <new>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_message_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_pseudo_inverse_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

// Eigenvectors by inverse iteration, the power method, and the element-wise square and square root.

using namespace mth_internal;

namespace {

constexpr int kInverseIterations = 50;  // always as many, without a convergence test
constexpr int kPowerIterationCap = 10000;
constexpr double kPseudoInverseWork = 20.0;  // multiplications, in cubes of the order

// Divides every element by the largest magnitude.
void DivideByLargest(const MTH_MATRIX& matrix) {
  OnStorage(matrix, [&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    const std::int64_t count = ElementsCount(matrix);
    double largest = 0.0;
    for (std::int64_t i = 0; i < count; ++i)
      largest = std::max(largest, std::abs(static_cast<double>(elements[i])));
    for (std::int64_t i = 0; i < count; ++i)
      elements[i] = static_cast<T>(static_cast<double>(elements[i]) / largest);
  });
}

// A vector x and its image y: the Rayleigh quotient and the norm of y.
struct PowerStep {
  double quotient;
  double norm;
};

PowerStep MeasureStep(const double* x, const double* y, int size) {
  double projection = 0.0;
  double squares = 0.0;
  double norm = 0.0;
  for (int i = 0; i < size; ++i) {
    projection += x[i] * y[i];
    squares += x[i] * x[i];
    norm += y[i] * y[i];
  }
  return {projection / squares, std::sqrt(norm)};
}

// Whether y = A x is near quotient times x, x being of unit norm: a quotient may also stand still half way
// between two eigenvalues of equal modulus and opposite signs. Of a symmetric matrix the square of what is
// left is about what the quotient still moves by.
bool IsEigenvector(const double* x, const double* y, int size, const PowerStep& step, double tolerance) {
  constexpr double kLargestShare = 0.1;
  constexpr double kSlack = 100.0;
  constexpr double kRounding = 64.0 * std::numeric_limits<double>::epsilon();
  double squares = 0.0;
  for (int i = 0; i < size; ++i) {
    const double rest = y[i] - step.quotient * x[i];
    squares += rest * rest;
  }
  const double residual = std::sqrt(squares);
  if (residual <= kRounding * size * step.norm) return true;
  return residual <= kLargestShare * step.norm && squares <= kSlack * tolerance * step.norm;
}

}  // namespace

bool MTH_MATRIX::SearchOneEigenVector(double eigenvalue, double** vector) const {
  if (vector != nullptr) *vector = nullptr;
  const auto fail = [this](int status) {
    status_ = status;
    return false;
  };
  if (vector == nullptr || !allocated_) return fail(11);
  MTH_MATRIX shifted(*this);
  if (!shifted.allocated_) return fail(11);
  for (int i = 0; i < std::min(rows_, columns_); ++i) shifted.Set(i, i, Get(i, i) - eigenvalue);

  const MatrixPtr inverse(shifted.PseudoInverse());
  if (!IsUsable(inverse.get())) return fail(14);
  if (inverse->GetStatusError() == 9) {
    const bool isGivenUp = LongRun(rows_, columns_, std::max(rows_, columns_)).IsGivenUp();
    if (!isGivenUp) ShowInformation(kNotInvertible);
    return fail(11);
  }
  if (inverse->GetStatusError() == 10) ShowInformation(kUnstableSolution);
  // Only now: the columns of a matrix without rows may be more than the memory holds.
  MatrixPtr x(NewResult(columns_, 1, type_));
  std::unique_ptr<double[]> result(new (std::nothrow) double[static_cast<std::size_t>(columns_)]);
  if (!IsUsable(x.get()) || !result) return fail(11);
  OnStorage(*x, [&](auto* elements) { std::fill_n(elements, columns_, 1); });
  for (int iteration = 0; iteration < kInverseIterations; ++iteration) {
    x.reset(*inverse * *x);
    if (!IsUsable(x.get())) return fail(11);
    DivideByLargest(*x);
  }
  for (int i = 0; i < columns_; ++i) result[static_cast<std::size_t>(i)] = x->Get(i, 0);
  *vector = result.release();
  return true;
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
  if (!IsUsable(vectors.get())) return fail();
  double* found = nullptr;
  EigenValues(tolerance, &found);
  std::unique_ptr<double[]> eigenvalues(found);
  if (!eigenvalues) return fail();
  LongIteration run;
  const double work = kPseudoInverseWork * columns_ * columns_ * columns_;
  for (int j = 0; j < columns_; ++j) {
    double* column = nullptr;
    if (run.IsGivenUp(work) || !SearchOneEigenVector(eigenvalues[static_cast<std::size_t>(j)], &column))
      return fail();
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
  const double scale =
      OnStorage(*this, [&](auto* elements) { return ScaleToUnit(elements, ElementsCount(*this)); });
  tolerance = tolerance > 0.0 ? tolerance * scale : 0.0;  // a NaN counts as 0 too
  std::fill_n(x.Get(), columns_, 1.0);
  double quotient = 0.0;
  LongIteration run;
  const double work = static_cast<double>(rows_) * columns_;
  for (int iteration = 0; iteration < kPowerIterationCap; ++iteration) {
    if (run.IsGivenUp(work)) return false;
    OnStorage(*this, [&](auto* elements) {
      for (int i = 0; i < rows_; ++i, elements += columns_) {
        y[i] = 0.0;
        for (int j = 0; j < columns_; ++j) y[i] += static_cast<double>(elements[j]) * scale * x[j];
      }
    });
    const PowerStep step = MeasureStep(x.Get(), y.Get(), rows_);
    if (!std::isfinite(step.norm) || !std::isfinite(step.quotient)) return false;
    // The first quotient has none to be compared with. A vector that is sent to 0 is an eigenvector of 0.
    const double difference = std::abs(step.quotient - quotient);
    quotient = step.quotient;
    const bool isStill = iteration > 0 && (difference < tolerance || difference == 0.0);
    if (step.norm == 0.0 || (isStill && IsEigenvector(x.Get(), y.Get(), rows_, step, tolerance))) {
      *dominant = quotient / scale;
      return true;
    }
    for (int i = 0; i < rows_; ++i) x[i] = y[i] / step.norm;
  }
  return false;
}

MTH_MATRIX* MTH_MATRIX::Square() const {
  if (!allocated_) return NewFailure(1);
  MTH_MATRIX* result = NewResult(rows_, columns_, type_);
  if (!IsUsable(result)) return result;
  OnStorage(*this, [&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    std::transform(elements, elements + ElementsCount(*this), Elements<T>(*result),
                   [](T x) { return x * x; });
  });
  return result;
}

MTH_MATRIX* MTH_MATRIX::SquareRoot() const {
  if (!allocated_) return NewFailure(1);
  MTH_MATRIX* result = NewResult(rows_, columns_, type_);
  if (!IsUsable(result)) return result;
  OnStorage(*this, [&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    T* target = Elements<T>(*result);
    const auto* end = elements + ElementsCount(*this);
    const auto* bad = std::find_if(elements, elements + ElementsCount(*this), [](T x) { return !(x >= 0); });
    std::transform(static_cast<const T*>(elements), bad, target, [](T x) { return std::sqrt(x); });
    std::fill(target + (bad - elements), target + (end - elements), T{0});
    if (bad != end) MatrixAccess::SetStatus(*result, 8);
  });
  return result;
}
