#pragma once

#include <cstdint>
#include <new>

#include "std/Std_export.h"

namespace mth_internal {
class SamplePool;
}

/// A feature vector with one membership value per cluster.
///
/// Up to eight features and memberships together live inside the object. The samples of an engine stand one
/// after the other in its own memory; nothing of that is seen: a host that takes one out of an engine's list
/// may keep it, beyond the engine's end too, and deletes it as any other.
class MTH_EXPORT MTH_CLUSTERING_SAMPLE {
 public:
  /// Copies both arrays; the sizes never change afterwards, and count as 0 when there is no memory. Of a null
  /// array the values are 0.
  /// @param parameters   the feature vector, parametersCount values; borrowed for the call.
  /// @param memberships  one value per cluster, membershipsCount values; borrowed for the call.
  MTH_CLUSTERING_SAMPLE(const double* parameters, int parametersCount, const double* memberships,
                        int membershipsCount);
  /// Deep copy of features and memberships. The label is intentionally not copied: it is the caller's, and
  /// the new sample's is 0. A null source gives a sample without features or memberships.
  explicit MTH_CLUSTERING_SAMPLE(const MTH_CLUSTERING_SAMPLE* source);
  /// @copydoc MTH_CLUSTERING_SAMPLE(const MTH_CLUSTERING_SAMPLE*)
  MTH_CLUSTERING_SAMPLE(const MTH_CLUSTERING_SAMPLE& source);
  MTH_CLUSTERING_SAMPLE& operator=(const MTH_CLUSTERING_SAMPLE&) = delete;
  ~MTH_CLUSTERING_SAMPLE();
  /// Gives the memory back to where it came from.
  static void operator delete(MTH_CLUSTERING_SAMPLE* sample, std::destroying_delete_t);

  /// Overwrites the first values, as many as there are on both sides; a null array changes nothing.
  void ChangeParameters(const double* values, int count);
  /// @copydoc ChangeParameters
  void ChangeMembership(const double* values, int count);

  /// @return  the value; 0.0 outside the sample's sizes.
  double GetParameter(int index) const {
    return index >= 0 && index < parametersCount_ ? Parameters()[index] : 0.0;
  }
  /// @copydoc GetParameter
  double GetMembership(int index) const {
    return index >= 0 && index < membershipsCount_ ? Memberships()[index] : 0.0;
  }
  /// @return  whether there is such a membership, and it was set.
  bool SetMembership(int index, double value);

  /// Number of features.
  int GetParametersCount() const { return parametersCount_; }
  /// Number of memberships, one per cluster.
  int GetMembershipsCount() const { return membershipsCount_; }

  /// A class label for the caller's use; 0 until it is set. The algorithms neither read nor write it.
  int GetLabel() const { return label_; }
  /// @copydoc GetLabel
  void SetLabel(const int label) { label_ = label; }

 private:
  friend class MTH_CLUSTERING;
  friend class mth_internal::SamplePool;

  static constexpr int kInsideValues = 8;

  // A sample in a pool, at that place of it; `outside` is where its values stand when they are too many for
  // the object.
  MTH_CLUSTERING_SAMPLE(int parametersCount, int membershipsCount, double* outside, std::int32_t place);

  // Features, then memberships.
  double* Parameters() { return AreInside() ? values_.inside : values_.outside; }
  const double* Parameters() const { return AreInside() ? values_.inside : values_.outside; }
  double* Memberships() { return Parameters() + parametersCount_; }
  const double* Memberships() const { return Parameters() + parametersCount_; }
  std::int64_t ValuesCount() const { return std::int64_t{parametersCount_} + membershipsCount_; }
  bool AreInside() const { return ValuesCount() <= kInsideValues; }
  void Allocate(int parametersCount, int membershipsCount);
  void Fill(const double* parameters, const double* memberships);

  int label_ = 0;
  std::int32_t place_ = 0;  // in its pool; 0 when it stands on its own
  int parametersCount_ = 0;
  int membershipsCount_ = 0;
  union {
    double inside[kInsideValues];
    double* outside;
  } values_;
};
