#pragma once

#include <concepts>
#include <memory>

#include "mth/geometry/Mth_matrix_chgref.h"
#include "mth/optimise/Mth_funct.h"

/// Scores a rigid change of reference between two sets of matched points. Parameters: three angles in degrees
/// (about z, y, x) and the three components of a translation.
///
/// Intended: the translation does not change the cost, as MTH_MATRIX_CHGREF::ComputeFromRotTrans clears it.
/// The object is defined once it has been evaluated; the start point of the constructor counts all the same.
class MTH_EXPORT MTH_FUNCT_CHGREF_PARAM : public MTH_FUNCT {
 public:
  /// @param start       6 parameters, copied; null leaves them 0.
  /// @param count       number of points in each set.
  /// @param set1, set2  borrowed: kept alive and unchanged by the caller.
  MTH_FUNCT_CHGREF_PARAM(double* start, int count, MTH_3D_DOUBLE* set1, MTH_3D_DOUBLE* set2);
  /// @copydoc MTH_FUNCT_CHGREF_PARAM(double*,int,MTH_3D_DOUBLE*,MTH_3D_DOUBLE*)
  template <std::same_as<MTH_3D_DOUBLE> T>
  MTH_FUNCT_CHGREF_PARAM(const double* start, int count, const T* set1, const T* set2)
      : MTH_FUNCT_CHGREF_PARAM(const_cast<double*>(start), count, const_cast<T*>(set1),
                               const_cast<T*>(set2)) {}
  ~MTH_FUNCT_CHGREF_PARAM() override;
  /// Mean distance of the rotated first set from the second set; NaN without points, sets or memory.
  void Evaluate() override;

 private:
  MTH_3D_DOUBLE* first_;
  MTH_3D_DOUBLE* second_;
  int count_;
  std::unique_ptr<MTH_MATRIX_CHGREF> changeOfReference_;
};
