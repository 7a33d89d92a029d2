#pragma once

#include <concepts>
#include <memory>

#include "mth/optimise/Mth_funct.h"

namespace mth_internal {
class BellCache;
}

/// Fits a sum of Gaussians to samples at the abscissae 0, 1, 2 ... Parameters, for each Gaussian: area A,
/// centre mu, width sigma. The object is defined once it has been evaluated.
class MTH_EXPORT MTH_FUNCT_AJUST_GAUSS_COST : public MTH_FUNCT {
 public:
  /// @param data       count samples, borrowed: kept alive and unchanged by the caller.
  /// @param gaussians  number of Gaussians; 0 models the samples as 0.
  MTH_FUNCT_AJUST_GAUSS_COST(double* data, int count, int gaussians);
  /// @copydoc MTH_FUNCT_AJUST_GAUSS_COST(double*,int,int)
  template <std::same_as<double> T>
  MTH_FUNCT_AJUST_GAUSS_COST(const T* data, int count, int gaussians)
      : MTH_FUNCT_AJUST_GAUSS_COST(const_cast<T*>(data), count, gaussians) {}
  ~MTH_FUNCT_AJUST_GAUSS_COST() override;
  /// Root of the summed squared error of the model sum over g of A / (sqrt(2 pi) sigma) exp(-((i - mu) /
  /// sigma)^2 / 2). 0 without samples (count 0); NaN for null ones, and for an object that found no memory.
  void Evaluate() override;

 private:
  double SquaredError() const;

  double* data_;
  int count_;
  std::unique_ptr<mth_internal::BellCache> cache_;  // null: there is no cost
};
