#include <algorithm>
#include <cmath>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_lu_internal.h"
#include "mth/decomposition/Mth_lyapunov_internal.h"
#include "mth/decomposition/Mth_riccati_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/matrix/Mth_product_kernel_internal.h"
#include "mth/matrix/Mth_transpose_kernel_internal.h"

// The doubling that keeps the structure of a Riccati equation (Chu, Fan and Lin, Linear Algebra and its
// Applications 396 (2005) 55-80): step k knows what 2^k steps in time cost.

namespace mth_internal {
namespace {

constexpr int kMostSteps = 25;
constexpr double kSettled = 1e-9;  // a change whose square is less than rounding

class Doubling {
 public:
  explicit Doubling(const RiccatiTerms& terms)
      : a_(terms.a), g_(terms.g), h_(terms.q), n_(a_.size), memory_(8 * n_ * n_), order_(n_) {}
  explicit operator bool() const { return memory_ && order_; }

  // The discrete equation whose solution the continuous one shares, by Cayley's transform.
  // @return  as SolveByDoubling.
  int MakeDiscrete() {
    const double size = NormOf(a_) + std::sqrt(NormOf(g_)) * std::sqrt(NormOf(h_));
    const double pole = 2.0 * size / std::sqrt(static_cast<double>(n_));
    for (std::int64_t i = 0; i < n_; ++i) a_[i][i] -= pole;
    // (A - pole)^-1 (G | identity).
    WriteIdentity(Work(0));
    if (const int refusal = SolveFor(a_, g_, Work(0))) return refusal;
    const SquareView p = Work(1);
    const SquareView inverse = Work(2);
    TakeSides(p, inverse);
    // W = (A - pole)t + Q p, and W^-1 (identity | Q (A - pole)^-1).
    const SquareView w = Work(3);
    if (!Product(h_, p, w)) return 5;
    for (std::int64_t i = 0; i < n_; ++i) {
      for (std::int64_t j = 0; j < n_; ++j) w[i][j] += a_[j][i];
    }
    const SquareView image = Work(4);
    if (!Product(h_, inverse, image)) return 5;
    WriteIdentity(Work(0));
    if (const int refusal = SolveFor(w, Work(0), image)) return refusal;
    TakeSides(inverse, h_);
    if (!Product(p, inverse, g_)) return 5;
    Transpose<double>(inverse.elements, n_, n_, a_.elements);
    for (const SquareView& matrix : {a_, g_, h_}) {
      for (std::int64_t i = 0; i < n_ * n_; ++i) matrix.elements[i] *= 2.0 * pole;
    }
    for (std::int64_t i = 0; i < n_; ++i) a_[i][i] += 1.0;
    Symmetrise(g_);
    Symmetrise(h_);
    return 0;
  }

  // q becomes the solution of the discrete equation.
  int Run() {
    for (int step = 0; step < kMostSteps; ++step) {
      if (IsGivenUp(2 * n_)) return 5;
      double change = 0.0;
      if (const int refusal = Step(&change)) return refusal;
      const bool isFinite =
          std::all_of(h_.elements, h_.elements + n_ * n_, [](double x) { return std::isfinite(x); });
      if (!isFinite) return 9;
      if (change <= kSettled * LargestMagnitude(h_.elements, n_ * n_)) return 0;
    }
    return 9;
  }

 private:
  SquareView Work(int index) const { return {memory_.Get() + index * n_ * n_, n_}; }
  // Two matrices side by side.
  double* Sides() const { return memory_.Get() + 5 * n_ * n_; }

  // False when the host gives up.
  bool Product(SquareView left, SquareView right, SquareView result) const {
    return MultiplyUnlessGivenUp<double>({left.elements, right.elements, result.elements, n_, n_, n_});
  }

  void WriteIdentity(SquareView matrix) const {
    std::fill_n(matrix.elements, n_ * n_, 0.0);
    for (std::int64_t i = 0; i < n_; ++i) matrix[i][i] = 1.0;
  }

  // The solution of `matrix` times unknown = (first | second), side by side.
  int SolveFor(SquareView matrix, SquareView first, SquareView second) const {
    double* factors = memory_.Get() + 7 * n_ * n_;
    if (const int refusal = FactorMatrix<double>(matrix.elements, n_, factors, order_.Get()))
      return refusal == 16 ? 9 : refusal;
    for (std::int64_t i = 0; i < n_; ++i) {
      std::copy_n(first[order_[i]], n_, Sides() + 2 * i * n_);
      std::copy_n(second[order_[i]], n_, Sides() + (2 * i + 1) * n_);
    }
    return SolveFactoredRows<double>(factors, n_, Sides(), 2 * n_, false);
  }

  void TakeSides(SquareView first, SquareView second) const {
    for (std::int64_t i = 0; i < n_; ++i) {
      std::copy_n(Sides() + 2 * i * n_, n_, first[i]);
      std::copy_n(Sides() + (2 * i + 1) * n_, n_, second[i]);
    }
  }

  // With M = I + G H: A becomes A M^-1 A, G gains A M^-1 G At and H gains At H M^-1 A.
  // @param change  receives the largest change of H.
  int Step(double* change) {
    const SquareView m = Work(0);
    const SquareView state = Work(1);
    const SquareView noise = Work(2);
    const SquareView transposed = Work(3);
    const SquareView product = Work(4);
    if (!Product(g_, h_, m)) return 5;
    for (std::int64_t i = 0; i < n_; ++i) m[i][i] += 1.0;
    if (const int refusal = SolveFor(m, a_, g_)) return refusal;
    TakeSides(state, noise);
    Transpose<double>(a_.elements, n_, n_, transposed.elements);
    if (!Product(h_, state, product) || !Product(transposed, product, m)) return 5;
    Symmetrise(m);
    *change = Add(m, h_);
    if (!Product(a_, noise, product) || !Product(product, transposed, m)) return 5;
    Symmetrise(m);
    Add(m, g_);
    if (!Product(a_, state, product)) return 5;
    std::copy_n(product.elements, n_ * n_, a_.elements);
    return 0;
  }

  // @return  the largest of what is added.
  double Add(SquareView change, SquareView sum) const {
    for (std::int64_t i = 0; i < n_ * n_; ++i) sum.elements[i] += change.elements[i];
    return LargestMagnitude(change.elements, n_ * n_);
  }

  SquareView a_;
  SquareView g_;
  SquareView h_;
  std::int64_t n_;
  WorkArray<double> memory_;
  WorkArray<int> order_;
};

}  // namespace

int SolveByDoubling(const RiccatiTerms& terms, bool isDiscrete) {
  Doubling doubling(terms);
  if (!doubling) return 1;
  const int refusal = isDiscrete ? 0 : doubling.MakeDiscrete();
  return refusal != 0 ? refusal : doubling.Run();
}

}  // namespace mth_internal
