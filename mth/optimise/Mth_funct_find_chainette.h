#pragma once

#include "mth/optimise/Mth_funct_curve_cost.h"

/// Fits a catenary y = a cosh(x / a) + b. Parameters: scale a, offset b. The object is defined from the
/// start.
class MTH_EXPORT MTH_FUNCT_FIND_CHAINETTE : public MTH_FUNCT_CURVE_COST {
 public:
  /// Copies count points; null arrays or a negative count leave the object without samples.
  MTH_FUNCT_FIND_CHAINETTE(int count, double* x, double* y);
  ~MTH_FUNCT_FIND_CHAINETTE() override;
  /// Mean squared error. Where |x / a| is 14 or more, or NaN, the largest float stands in for the cosh.
  void Evaluate() override;
};
