#pragma once

#include <memory>

#include "std/Std_export.h"

namespace mth_internal {
class TissueCourse;
}

/// The means of the tissues of many scans, each of which is an MTH_TISSUE_PART with a field and noise of its
/// own.
///
/// Add the range of every scan, in any order. Then, until IsDone: let every part take its step with these
/// means, add the sums of all parts value by value in one order, that of the scans, and move the means by
/// them. Only that order decides the bits, not where parts are nor when they are done. Scans have to be in
/// the same units: values are not matched. MTH_TISSUE_CLUSTERING does the same with a single part, and so
/// finds the same means to the last bit.
class MTH_EXPORT MTH_TISSUE_MEANS {
 public:
  /// @param tissues  as of MTH_TISSUE_CLUSTERING; with others, or without memory, every operation fails.
  explicit MTH_TISSUE_MEANS(int tissues = 3);
  MTH_TISSUE_MEANS(const MTH_TISSUE_MEANS&) = delete;
  MTH_TISSUE_MEANS& operator=(const MTH_TISSUE_MEANS&) = delete;
  ~MTH_TISSUE_MEANS();

  /// Adds the values of a scan to those that the means are looked for among.
  /// @param range  3 values of MTH_TISSUE_PART::GetRange.
  /// @return       false, with nothing changed, for null, for what is no range or after the first move.
  bool AddRange(const double* range);
  /// Copies the range of all scans: 3 values, which AddRange takes.
  /// @return  false, with nothing written, without one or for null.
  bool GetRange(double* range) const;
  /// Ends a step.
  /// @param sums  2 x tissues, the parts' added value by value; not modified.
  /// @return      false, with nothing changed, for null, for what is not finite, without a range or when the
  ///              run is done.
  bool Move(const double* sums);

  /// Number of tissues.
  int GetTissuesCount() const { return tissues_; }
  /// Number of steps that were taken.
  int GetStep() const;
  /// Number of steps of a whole run.
  static int GetStepsCount();
  /// Whether all steps were taken: the means are found.
  bool IsDone() const;
  /// @return  the mean of a tissue in the units of the scans, ascending; 0 without a range and for what does
  ///          not exist.
  double GetMean(int tissue) const;

 private:
  friend class MTH_TISSUE_PART;
  int tissues_;
  std::unique_ptr<mth_internal::TissueCourse> course_;  // null when nothing can be done
};
