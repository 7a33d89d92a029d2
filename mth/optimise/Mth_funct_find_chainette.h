#pragma once

#include <concepts>

#include "mth/optimise/Mth_funct_curve_cost.h"

/// Fits a catenary y = a cosh(x / a) + b. Parameters: scale a, offset b. The object is defined from the
/// start.
class MTH_EXPORT MTH_FUNCT_FIND_CHAINETTE : public MTH_FUNCT_CURVE_COST {
 public:
  /// Copies count points; null arrays or a negative count leave the object without samples.
  MTH_FUNCT_FIND_CHAINETTE(int count, double* x, double* y);
  /// @copydoc MTH_FUNCT_FIND_CHAINETTE(int,double*,double*)
  template <std::same_as<double> T>
  MTH_FUNCT_FIND_CHAINETTE(int count, const T* x, const T* y)
      : MTH_FUNCT_FIND_CHAINETTE(count, const_cast<T*>(x), const_cast<T*>(y)) {}
  ~MTH_FUNCT_FIND_CHAINETTE() override;
  /// Mean squared error. Where |x / a| is 14 or more, or NaN, the largest float stands in for the cosh.
  void Evaluate() override;
};
