#pragma once

#include <concepts>

#include "mth/optimise/Mth_funct_curve_cost.h"

/// Fits a Gaussian profile on a baseline, y = B + A exp(-(x - mu)^2 / (2 sigma^2)). Parameters: B, A, mu,
/// sigma. The object is defined once it has been evaluated.
class MTH_EXPORT MTH_FUNCT_PROFILE_COST : public MTH_FUNCT_CURVE_COST {
 public:
  /// Without samples.
  MTH_FUNCT_PROFILE_COST();
  /// Copies count points; null arrays or a negative count leave the object without samples.
  MTH_FUNCT_PROFILE_COST(int count, double* x, double* y);
  /// @copydoc MTH_FUNCT_PROFILE_COST(int,double*,double*)
  template <std::same_as<double> T>
  MTH_FUNCT_PROFILE_COST(int count, const T* x, const T* y)
      : MTH_FUNCT_PROFILE_COST(count, const_cast<T*>(x), const_cast<T*>(y)) {}
  /// Reads a file, as LoadProfile does.
  explicit MTH_FUNCT_PROFILE_COST(const char* path);
  ~MTH_FUNCT_PROFILE_COST() override;
  /// Mean squared error.
  void Evaluate() override;

  /// Replaces the samples by those of a text file of "abscissa,ordinate" lines, with decimal points under
  /// every locale. There are as many samples as lines (a line beyond 255 characters counts again for every
  /// 255); numbers, also hexadecimal and infinite ones, are read one pair after the other, as "%lf,%lf" does.
  /// What cannot be read is 0: a number without its pair is an abscissa alone, and reading does not go past
  /// text that is no number, a sign or a point alone included, so that all pairs after it are (0, 0).
  /// GetReadCount tells how many pairs were whole: the three columns of SaveProfile do not come back.
  /// @return  false, without a message and without samples, when the file cannot be opened or read; the
  ///          count then stays as it was.
  bool LoadProfile(const char* path);
  /// Whole pairs that the last LoadProfile read, at most one for each sample; 0 before it and after a file
  /// that cannot be opened.
  int GetReadCount() const { return readCount_; }
  /// Writes a line "abscissa,ordinate,model" per sample, three decimals each.
  /// @return  false, without a message, when the file cannot be created or written.
  bool SaveProfile(const char* path);

 private:
  int readCount_ = 0;
};
