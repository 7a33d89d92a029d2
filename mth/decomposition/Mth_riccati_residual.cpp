#include <algorithm>
#include <cmath>

#include "mth/decomposition/Mth_lu_internal.h"
#include "mth/decomposition/Mth_riccati_residual_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/matrix/Mth_transpose_kernel_internal.h"

namespace mth_internal {
namespace {

constexpr int kSolutions = 3;  // of the feedback, each of which adds the digits of a factored R

void Transpose(const PreciseMatrix& matrix, const PreciseMatrix& result) {
  mth_internal::Transpose<double>(matrix.heads, matrix.rows, matrix.columns, result.heads);
  mth_internal::Transpose<double>(matrix.tails, matrix.rows, matrix.columns, result.tails);
}

constexpr int kMostSteps = 12;  // of Newton's method

}  // namespace

RiccatiResidual::RiccatiResidual(std::int64_t states, std::int64_t inputs)
    : n_(states),
      m_(inputs),
      size_(std::max(states, inputs)),
      product_(size_),
      memory_((2 * kSlots + 6) * size_ * size_ + size_),
      order_(size_) {}

PreciseMatrix RiccatiResidual::Matrix(Slot slot, std::int64_t rows, std::int64_t columns) const {
  double* heads = memory_.Get() + 2 * slot * size_ * size_;
  return {heads, heads + size_ * size_, rows, columns};
}

PreciseMatrix RiccatiResidual::Precise(Slot slot, const double* elements, std::int64_t rows,
                                       std::int64_t columns) const {
  const PreciseMatrix matrix = Matrix(slot, rows, columns);
  std::copy_n(elements, matrix.Count(), matrix.heads);
  std::fill_n(matrix.tails, matrix.Count(), 0.0);
  return matrix;
}

void RiccatiResidual::Fill(const RiccatiSystem& system, const RiccatiUnits& units, int timeExponent) {
  const int ofCosts = timeExponent - system.r.exponent - units.exponent;
  int* inputs = order_.Get();
  for (std::int64_t j = 0; j < m_; ++j) inputs[j] = InputExponent(system, j, units, timeExponent);
  for (std::int64_t j = 0; j < m_; ++j) {
    for (std::int64_t i = 0; i < n_; ++i)
      B()[i * m_ + j] = std::ldexp(system.b.At(i, j), inputs[j] + units.states[i] - system.b.exponent);
    for (std::int64_t i = 0; i < m_; ++i)
      R()[i * m_ + j] = std::ldexp(system.r.At(i, j), inputs[i] + inputs[j] + ofCosts);
  }
  mth_internal::Transpose<double>(B(), n_, m_, Bt());
}

// The solution of scaled factors for the right-hand side, rounded to double.
int RiccatiResidual::SolveStep(const double* factors, const double* scales, const PreciseMatrix& right,
                               double* step) const {
  for (std::int64_t i = 0; i < m_; ++i) {
    const std::int64_t row = order_[i];
    for (std::int64_t j = 0; j < n_; ++j) step[i * n_ + j] = scales[row] * right.heads[row * n_ + j];
  }
  const int refusal = SolveFactoredRows<double>(factors, m_, step, n_, false);
  for (std::int64_t i = 0; i < m_; ++i) {
    for (std::int64_t j = 0; j < n_; ++j) step[i * n_ + j] *= scales[i];
  }
  return refusal;
}

// The feedback K of costs K = right, by elimination and refinement. Destroys `right`.
int RiccatiResidual::SolveForGain(const PreciseMatrix& costs, const PreciseMatrix& right,
                                  const PreciseMatrix& gain) const {
  double* scales = Work(2) + size_ * size_;
  if (!Equilibrate(costs.heads, m_, scales)) return 9;
  double* scaled = Work(0);
  double* factors = Work(1);
  for (std::int64_t i = 0; i < m_; ++i) {
    for (std::int64_t j = 0; j < m_; ++j)
      scaled[i * m_ + j] = scales[i] * costs.heads[i * m_ + j] * scales[j];
  }
  if (const int refusal = FactorMatrix<double>(scaled, m_, factors, order_.Get()))
    return refusal == 16 ? 9 : refusal;
  std::fill_n(gain.heads, gain.Count(), 0.0);
  std::fill_n(gain.tails, gain.Count(), 0.0);
  double* step = Work(2);
  for (int pass = 0; pass < kSolutions && LargestMagnitude(right.heads, right.Count()) != 0.0; ++pass) {
    if (const int refusal = SolveStep(factors, scales, right, step)) return refusal;
    for (std::int64_t k = 0; k < gain.Count(); ++k) gain.Add(k, step[k]);
    if (pass + 1 == kSolutions) break;
    const PreciseMatrix change = Precise(kClosed, step, m_, n_);
    const PreciseMatrix image = Matrix(kImage, m_, n_);
    for (const double* part : {costs.heads, costs.tails}) {
      if (LargestMagnitude(part, costs.Count()) == 0.0) continue;
      if (!product_.Find(part, change, image)) return 5;
      for (std::int64_t k = 0; k < image.Count(); ++k) right.Add(k, -image.heads[k], -image.tails[k]);
    }
  }
  return 0;
}

// K of R K = Bt X, or of (R + Bt X B) K = Bt X A.
int RiccatiResidual::FindGain(SquareView a, SquareView x, bool isDiscrete) const {
  const PreciseMatrix image = Matrix(kImage, n_, m_);
  if (!product_.Find(x.elements, Precise(kStates, B(), n_, m_), image)) return 5;
  const PreciseMatrix costs = Matrix(kCosts, m_, m_);
  const PreciseMatrix right = Matrix(kRight, m_, n_);
  if (isDiscrete) {
    if (!product_.Find(Bt(), image, costs)) return 5;
    for (std::int64_t k = 0; k < costs.Count(); ++k) costs.Add(k, R()[k]);
    mth_internal::Transpose<double>(a.elements, n_, n_, Work(0));
    const PreciseMatrix moved = Matrix(kClosed, n_, m_);
    if (!product_.Find(Work(0), image, moved)) return 5;
    Transpose(moved, right);
  } else {
    Precise(kCosts, R(), m_, m_);
    Transpose(image, right);
  }
  return SolveForGain(costs, right, Matrix(kGain, m_, n_));
}

// A - B K.
bool RiccatiResidual::FindClosedLoop(SquareView a, const PreciseMatrix& loop) const {
  if (!product_.Find(B(), Matrix(kGain, m_, n_), loop)) return false;
  for (std::int64_t k = 0; k < loop.Count(); ++k) {
    loop.heads[k] = 0.0 - loop.heads[k];
    loop.tails[k] = 0.0 - loop.tails[k];
    loop.Add(k, a.elements[k]);
  }
  return true;
}

int RiccatiResidual::Find(SquareView a, SquareView q, SquareView x, bool isDiscrete, SquareView closed,
                          SquareView residual) const {
  if (const int refusal = FindGain(a, x, isDiscrete)) return refusal;
  const PreciseMatrix loop = Matrix(kClosed, n_, n_);
  if (!FindClosedLoop(a, loop)) return 5;
  std::copy_n(loop.heads, loop.Count(), closed.elements);
  const PreciseMatrix image = Matrix(kImage, n_, n_);
  if (isDiscrete) {
    // At X C - X + Q.
    if (!product_.Find(x.elements, loop, image)) return 5;
    mth_internal::Transpose<double>(a.elements, n_, n_, Work(0));
    if (!product_.Find(Work(0), image, loop)) return 5;
    for (std::int64_t k = 0; k < loop.Count(); ++k) loop.Add(k, -x.elements[k]);
  } else {
    // Y + Yt + Q with Y = X (A + C) / 2.
    for (std::int64_t k = 0; k < loop.Count(); ++k) {
      loop.Add(k, a.elements[k]);
      loop.heads[k] *= 0.5;
      loop.tails[k] *= 0.5;
    }
    if (!product_.Find(x.elements, loop, image)) return 5;
    Transpose(image, loop);
    for (std::int64_t k = 0; k < loop.Count(); ++k) loop.Add(k, image.heads[k], image.tails[k]);
  }
  for (std::int64_t k = 0; k < loop.Count(); ++k) {
    loop.Add(k, q.elements[k]);
    residual.elements[k] = loop.heads[k];
  }
  return 0;
}

int RiccatiResidual::Improve(SquareView a, SquareView q, SquareView x, bool isDiscrete, SquareView closed,
                             double* change, double* margin) const {
  const SquareView residual{Work(1), n_};
  for (int step = 0; step < kMostSteps; ++step) {
    if (const int refusal = Find(a, q, x, isDiscrete, closed, residual)) return refusal;
    *change = Refine(x, closed, residual, isDiscrete, margin);
    if (std::isnan(*change)) return 1;
    if (*change <= kSettledChange || !std::isfinite(*change)) return 0;
  }
  return 0;
}

int RiccatiResidual::FindFeedback(SquareView feedback) const {
  const int refusal = MakeFeedback(Matrix(kCosts, m_, m_).heads, B(), n_, m_, feedback);
  return refusal == 6 ? 9 : refusal;
}

}  // namespace mth_internal
