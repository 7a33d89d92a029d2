#include <cmath>
#include <memory>
#include <new>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_reflections_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"
#include "mth/matrix/Mth_product_kernel_internal.h"

#define MTH_KERNEL_FILE "mth/decomposition/Mth_qr_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

// Householder reflections, QR and the unshifted QR iteration.

using namespace mth_internal;

namespace {

constexpr double kNearlyZeroVector = 1e-4;  // squared norm that is not reflected
constexpr int kIterationCap = 10000;

// Factors the iterate and multiplies the factors the other way round, until the diagonal stands still.
template <class T>
bool IterateQR(const T* elements, std::int64_t size, double tolerance, double* diagonal) {
  const WorkArray<T> iterate(size * size);
  const WorkArray<T> q(size * size);
  const WorkArray<T> r(size * size);
  const WorkArray<double> scratch(QRScratch(size, size));
  if (!iterate || !q || !r || !scratch) return false;
  const auto factor = MTH_SELECT(FactorQR<T>);
  std::copy_n(elements, size * size, iterate.Get());
  LongIteration run;
  const double work = 4.0 * static_cast<double>(size) * static_cast<double>(size * size);
  // The first step only prepares the matrix whose diagonal is watched.
  for (int iterations = -1; iterations <= kIterationCap; ++iterations) {
    if (run.IsGivenUp(work)) return false;
    std::copy_n(iterate.Get(), size * size, r.Get());
    if (!factor(r.Get(), size, size, q.Get(), scratch.Get()) ||
        !MultiplyUnlessGivenUp<T>({r.Get(), q.Get(), iterate.Get(), size, size, size}))
      return false;
    bool isStill = iterations >= 0;
    for (std::int64_t i = 0; i < size; ++i) {
      const double element = static_cast<double>(iterate[i * size + i]);
      if (!std::isfinite(element)) return false;  // it would never stand still
      isStill = isStill && std::abs(diagonal[i] - element) < tolerance;
      diagonal[i] = element;
    }
    if (isStill) return true;
  }
  return false;
}

}  // namespace

MTH_MATRIX* MTH_MATRIX::Householder() const {
  if (!allocated_) return NewFailure(1);
  if (columns_ > 1) return NewFailure(4);
  const double squares = OnStorage(*this, [&](auto* elements) {
    double sum = 0.0;
    for (std::int64_t i = 0; i < ElementsCount(*this); ++i)
      sum += static_cast<double>(elements[i]) * static_cast<double>(elements[i]);
    return sum;
  });
  MatrixPtr identity(NewResult(rows_, rows_, type_));
  if (!IsUsable(identity.get())) return NewFailure(1);
  identity->SetIdentity();
  if (std::abs(squares) < kNearlyZeroVector) return identity.release();

  const MatrixPtr row(Transpose());
  const MatrixPtr square(row ? *this * *row : nullptr);
  const MatrixPtr step(square ? *square * (2.0 / squares) : nullptr);
  MatrixPtr reflection(step ? *identity - *step : nullptr);
  return IsUsable(reflection.get()) ? reflection.release() : NewFailure(1);
}

bool MTH_MATRIX::QR(MTH_MATRIX** q, MTH_MATRIX** r) const {
  if (q != nullptr) *q = nullptr;
  if (r != nullptr) *r = nullptr;
  if (q == nullptr || r == nullptr || !allocated_) return false;
  MatrixPtr orthogonal(NewResult(rows_, rows_, type_));
  MatrixPtr triangular(new (std::nothrow) MTH_MATRIX(*this));
  const WorkArray<double> scratch(QRScratch(rows_, columns_));
  if (!IsUsable(orthogonal.get()) || !IsUsable(triangular.get()) || !scratch) return false;
  const bool isDone = OnStorage(*this, [&](auto* elements) {
    using T = std::remove_pointer_t<decltype(elements)>;
    const auto factor = MTH_SELECT(FactorQR<T>);
    return factor(Elements<T>(*triangular), rows_, columns_, Elements<T>(*orthogonal), scratch.Get());
  });
  if (!isDone) return false;
  *q = orthogonal.release();
  *r = triangular.release();
  return true;
}

void MTH_MATRIX::EigenValues(double tolerance, double** values) const {
  if (values == nullptr) return;
  *values = nullptr;
  if (!allocated_ || rows_ != columns_) return;
  std::unique_ptr<double[]> diagonal(new (std::nothrow) double[static_cast<std::size_t>(rows_)]);
  const bool hasConverged = diagonal && OnStorage(*this, [&](auto* elements) {
                              return IterateQR(elements, rows_, tolerance, diagonal.get());
                            });
  if (hasConverged) *values = diagonal.release();
}
