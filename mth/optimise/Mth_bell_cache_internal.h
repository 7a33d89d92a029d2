#pragma once

#include <cstdint>

#include "mth/core/Mth_work_array_internal.h"

namespace mth_internal {

/// The exponentials exp(-((i - centre) / width)^2 / 2) of every Gaussian of a sum, at samples i.
///
/// Each Gaussian keeps those of its last two centres and widths. Minimisers go back and forth between the
/// parameters and a trial point, and most trial points move one Gaussian: the others, and those whose area
/// alone has changed, need no exponential. The numbers are the same. Too many samples to be kept go through
/// in segments.
class BellCache {
 public:
  BellCache(int gaussians, int count);
  bool IsAllocated() const { return shapes_ && last_ && bells_ && model_; }

  /// Samples that are looked at together, from a multiple of their number on: all of them where they are
  /// kept.
  int SegmentLength() const { return segment_; }
  /// Goes on with the samples from `first` on.
  void BeginSegment(int first) { first_ = first; }
  /// @return  the exponentials at the samples of the segment; they last until the next call.
  const double* Bells(int g, double centre, double width);
  /// Scratch for as many values as a segment has.
  double* Model() const { return model_.Get(); }

 private:
  struct Shape {
    double centre;
    double width;
  };

  bool Holds(std::int64_t place, double centre, double width) const {
    return shapes_[place].centre == centre && shapes_[place].width == width;
  }
  double* Row(std::int64_t place) const { return bells_.Get() + place * segment_; }
  void Compute(double centre, double width, double* bells) const;

  int count_;
  bool areKept_;
  int segment_;
  int first_ = 0;
  WorkArray<Shape> shapes_;  // two places for each Gaussian
  WorkArray<int> last_;      // the place of the two that was used last
  WorkArray<double> bells_;
  WorkArray<double> model_;
};

}  // namespace mth_internal
