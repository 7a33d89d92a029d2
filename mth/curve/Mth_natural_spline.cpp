#include <algorithm>

#include "mth/curve/Mth_natural_spline_internal.h"

namespace mth_internal {

std::unique_ptr<NaturalSpline> NaturalSpline::Make(const double* abscissae, const double* ordinates,
                                                   int count) {
  std::unique_ptr<NaturalSpline> spline(new (std::nothrow) NaturalSpline);
  const auto work = NewArray<double>(count);
  if (spline == nullptr || work == nullptr) return nullptr;
  spline->secondDerivatives_ = NewArray<double>(count);
  if (spline->secondDerivatives_ == nullptr) return nullptr;
  spline->abscissae_ = abscissae;
  spline->ordinates_ = ordinates;
  spline->count_ = count;
  spline->ComputeSecondDerivatives(work.get());
  return spline;
}

// Solves the tridiagonal system of continuous first derivatives by elimination; its diagonal dominates.
void NaturalSpline::ComputeSecondDerivatives(double* work) {
  const double* x = abscissae_;
  const double* y = ordinates_;
  double* m = secondDerivatives_.get();
  for (int i = 1; i + 1 < count_; ++i) {
    const double before = x[i] - x[i - 1];
    const double after = x[i + 1] - x[i];
    const double bend = 6.0 * ((y[i + 1] - y[i]) / after - (y[i] - y[i - 1]) / before);
    const double pivot = 2.0 * (before + after) - before * work[i - 1];
    work[i] = after / pivot;
    m[i] = (bend - before * m[i - 1]) / pivot;
  }
  for (int i = count_ - 2; i > 0; --i) m[i] -= work[i] * m[i + 1];
}

double NaturalSpline::ValueInInterval(int i, double share) const {
  if (share == 0.0) return ordinates_[i];
  if (share == 1.0) return ordinates_[i + 1];
  const double width = abscissae_[i + 1] - abscissae_[i];
  const double rest = 1.0 - share;
  const double* m = secondDerivatives_.get();
  const double bend = (rest * rest * rest - rest) * m[i] + (share * share * share - share) * m[i + 1];
  return rest * ordinates_[i] + share * ordinates_[i + 1] + bend * (width * width) / 6.0;
}

double NaturalSpline::SlopeAtEnd(bool atLast) const {
  const int i = atLast ? count_ - 2 : 0;
  const double width = abscissae_[i + 1] - abscissae_[i];
  const double* m = secondDerivatives_.get();  // 0 at the end itself
  const double bend = atLast ? m[i] : -m[i + 1];
  return (ordinates_[i + 1] - ordinates_[i]) / width + bend * width / 6.0;
}

double NaturalSpline::Value(double x) const {
  if (count_ == 1) return ordinates_[0];
  if (x < abscissae_[0]) return ordinates_[0] + (x - abscissae_[0]) * SlopeAtEnd(false);
  const int last = count_ - 1;
  if (x > abscissae_[last]) return ordinates_[last] + (x - abscissae_[last]) * SlopeAtEnd(true);
  const auto above = std::upper_bound(abscissae_ + 1, abscissae_ + last, x);
  const int i = static_cast<int>(above - abscissae_) - 1;
  return ValueInInterval(i, (x - abscissae_[i]) / (abscissae_[i + 1] - abscissae_[i]));
}

}  // namespace mth_internal
