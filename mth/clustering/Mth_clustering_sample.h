#pragma once

#include "mth/matrix/Mth_matrix.h"
#include "std/Std_export.h"

/// A feature vector with one membership value per cluster.
///
/// Up to four features and four memberships live inside the object.
class MTH_EXPORT MTH_CLUSTERING_SAMPLE {
 public:
  /// Copies both arrays; the sizes never change afterwards. Of a null array the values are 0.
  /// @param parameters   the feature vector, parametersCount values; borrowed for the call.
  /// @param memberships  one value per cluster, membershipsCount values; borrowed for the call.
  MTH_CLUSTERING_SAMPLE(double* parameters, int parametersCount, double* memberships, int membershipsCount);
  /// Deep copy of features and memberships. The label is intentionally not copied: it is the caller's, and
  /// the new sample's is 0. A null source gives a sample without features or memberships.
  explicit MTH_CLUSTERING_SAMPLE(const MTH_CLUSTERING_SAMPLE* source);
  /// @copydoc MTH_CLUSTERING_SAMPLE(const MTH_CLUSTERING_SAMPLE*)
  MTH_CLUSTERING_SAMPLE(const MTH_CLUSTERING_SAMPLE& source);
  MTH_CLUSTERING_SAMPLE& operator=(const MTH_CLUSTERING_SAMPLE&) = delete;

  /// Overwrites the first values, as many as there are on both sides; a null array changes nothing.
  void ChangeParameters(double* values, int count);
  /// @copydoc ChangeParameters
  void ChangeMembership(double* values, int count);

  /// @return  the value; 0.0 outside the sample's sizes.
  double GetParameter(int index) const { return ValueOf(parameters_, index); }
  /// @copydoc GetParameter
  double GetMembership(int index) const { return ValueOf(memberships_, index); }
  /// @return  whether there is such a membership, and it was set.
  bool SetMembership(int index, double value);

  int GetParametersCount() const { return parameters_.GetNbRows(); }
  int GetMembershipsCount() const { return memberships_.GetNbRows(); }

  /// A class label for the caller's use; 0 until it is set. The algorithms neither read nor write it.
  int GetLabel() const { return label_; }
  void SetLabel(const int label) { label_ = label; }

 private:
  friend class MTH_CLUSTERING;

  static double ValueOf(const MTH_MATRIX& column, int index) {
    return index >= 0 && index < column.GetNbRows() ? column.GetEDataAddress()[index] : 0.0;
  }

  int label_ = 0;
  MTH_MATRIX parameters_;
  MTH_MATRIX memberships_;
};
