#pragma once

#include "mth/optimise/Mth_funct_curve_cost.h"

/// Fits a Gaussian profile on a baseline, y = B + A exp(-(x - mu)^2 / (2 sigma^2)). Parameters: B, A, mu,
/// sigma. The object is defined once it has been evaluated.
class MTH_EXPORT MTH_FUNCT_PROFILE_COST : public MTH_FUNCT_CURVE_COST {
 public:
  /// Without samples.
  MTH_FUNCT_PROFILE_COST();
  /// Copies count points; null arrays or a negative count leave the object without samples.
  MTH_FUNCT_PROFILE_COST(int count, double* x, double* y);
  /// Reads a file, as LoadProfile does.
  explicit MTH_FUNCT_PROFILE_COST(const char* path);
  ~MTH_FUNCT_PROFILE_COST() override;
  /// Mean squared error.
  void Evaluate() override;

  /// Replaces the samples by those of a text file of "abscissa,ordinate" lines, with decimal points under
  /// every locale. There are as many samples as lines (a line beyond 255 characters counts again for every
  /// 255); numbers are read one pair after the other, and a pair that cannot be read is (0, 0). Reading does
  /// not go past text that is no number, so that all pairs after it are (0, 0) too.
  /// @return  false, without a message and without samples, when the file cannot be opened or read; the
  ///          count then stays as it was.
  bool LoadProfile(const char* path);
  /// Writes a line "abscissa,ordinate,model" per sample, three decimals each.
  /// @return  false, without a message, when the file cannot be created or written.
  bool SaveProfile(const char* path);
};
