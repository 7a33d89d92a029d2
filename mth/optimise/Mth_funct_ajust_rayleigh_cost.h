#pragma once

#include <concepts>

#include "mth/optimise/Mth_funct.h"

/// Fits a Rayleigh-shaped pulse to samples at the abscissae 0, 1, 2 ... Parameters: amplitude A, onset mu,
/// width sigma. The object is defined once it has been evaluated.
class MTH_EXPORT MTH_FUNCT_AJUST_RAYLEIGH_COST : public MTH_FUNCT {
 public:
  /// @param data  count samples, borrowed: kept alive and unchanged by the caller.
  MTH_FUNCT_AJUST_RAYLEIGH_COST(double* data, int count);
  /// @copydoc MTH_FUNCT_AJUST_RAYLEIGH_COST(double*,int)
  template <std::same_as<double> T>
  MTH_FUNCT_AJUST_RAYLEIGH_COST(const T* data, int count)
      : MTH_FUNCT_AJUST_RAYLEIGH_COST(const_cast<T*>(data), count) {}
  ~MTH_FUNCT_AJUST_RAYLEIGH_COST() override;
  /// Root of the summed squared error of the model (i - mu) A / sigma^2 exp(-(i - mu)^2 / (2 sigma^2)) from
  /// the onset, truncated to a whole abscissa, on, and 0 before. Intentionally the onset itself becomes
  /// its absolute value, in the parameters. 0 without samples (count 0); NaN for null ones, and for an object
  /// that found no memory.
  void Evaluate() override;

 private:
  double* data_;
  int count_;
};
