#pragma once

#include <memory>

#include "mth/core/Mth_new_array_internal.h"

namespace mth_internal {

/// The cubic spline through points of strictly ascending abscissae, with zero second derivative at both ends.
/// Borrows the points.
class NaturalSpline {
 public:
  /// Null when there is no memory. @param count  at least 1 for a value; 0 is allowed.
  static std::unique_ptr<NaturalSpline> Make(const double* abscissae, const double* ordinates, int count);

  /// Its value at this share, in [0, 1], of interval i (between points i and i + 1); exactly an ordinate at
  /// the interval's ends.
  double ValueInInterval(int i, double share) const;

  /// Its value at x; beyond the ends it goes on as a line.
  double Value(double x) const;

 private:
  void ComputeSecondDerivatives(double* work);
  double SlopeAtEnd(bool atLast) const;

  const double* abscissae_ = nullptr;
  const double* ordinates_ = nullptr;
  int count_ = 0;
  std::unique_ptr<double[]> secondDerivatives_;
};

}  // namespace mth_internal
