#include "mth/clustering/Mth_tissue_part.h"

#include <exception>
#include <utility>

#include "mth/clustering/Mth_tissue_part_internal.h"

namespace mth_internal {

// A scan and what it has come to; the part keeps references to the rest.
struct TissuePartState {
  TissueSettings settings;
  std::shared_ptr<TissueResult> result = std::make_shared<TissueResult>();
  TissueInput input;
  std::unique_ptr<TissuePart> part;
  int step = 0;

  // Brings the values from the factor of this scan to that of all.
  void TakeFactor(double factor) {
    input.TakeFactor(factor);
    part->TakeValues();
  }
};

}  // namespace mth_internal

using namespace mth_internal;

MTH_TISSUE_PART::MTH_TISSUE_PART(const MTH_TISSUE_CLUSTERING& settings) : settings_(settings) {
  settings_.result_.reset();  // which may be large
}

MTH_TISSUE_PART::~MTH_TISSUE_PART() = default;

template <class T>
bool MTH_TISSUE_PART::Take(const T* image, int nx, int ny, int nz, const std::uint8_t* mask,
                           const T* confidence) {
  const int tissues = settings_.tissues_;
  try {
    auto state = std::make_unique<TissuePartState>();
    state->settings = {tissues,
                       settings_.voxelSize_,
                       settings_.estimatesField_,
                       settings_.hasLocalMeans_,
                       settings_.fieldWidth_,
                       nullptr};
    TissueInput& input = state->input;
    stopReason_ = TakeImages(&image, 1, {nx, ny, nz}, mask, confidence, tissues, input, *state->result);
    if (stopReason_ != MTH_STOP_REASON::Converged) return false;
    stopReason_ = MTH_STOP_REASON::BadInput;
    if (!HasEnoughValues(input.channels[0], tissues)) return false;
    state->part = std::make_unique<TissuePart>(state->settings, input.strata, input.channels[0],
                                               *state->result, nullptr);
    state_ = std::move(state);
    stopReason_ = MTH_STOP_REASON::Converged;
    return true;
  } catch (const std::exception&) {
    stopReason_ = MTH_STOP_REASON::NoMemory;
    return false;
  }
}

bool MTH_TISSUE_PART::SetImage(const double* image, int nx, int ny, int nz, const std::uint8_t* mask,
                               const double* confidence) {
  return Take(image, nx, ny, nz, mask, confidence);
}

bool MTH_TISSUE_PART::SetImage(const float* image, int nx, int ny, int nz, const std::uint8_t* mask,
                               const float* confidence) {
  return Take(image, nx, ny, nz, mask, confidence);
}

bool MTH_TISSUE_PART::GetRange(double* range) const {
  if (!state_ || state_->step > 0 || range == nullptr) return false;
  try {
    const TissueCourse::Range found = state_->part->Range();
    const double factor = state_->input.factors[0];
    range[0] = found.low / factor;
    range[1] = found.high / factor;
    range[2] = found.largest / factor;
    return true;
  } catch (const std::exception&) {  // no memory
    return false;
  }
}

bool MTH_TISSUE_PART::Step(const MTH_TISSUE_MEANS& means, double* sums) {
  const bool fits = state_ && sums != nullptr && means.course_ && means.course_->HasRange() &&
                    !means.IsDone() && means.GetTissuesCount() == settings_.tissues_ &&
                    means.GetStep() == state_->step;
  if (!fits) return false;
  try {
    if (state_->step == 0) state_->TakeFactor(means.course_->Factor());
    state_->part->Step(*means.course_, sums);
    ++state_->step;
    return true;
  } catch (const std::exception&) {  // no memory
    state_.reset();
    return false;
  }
}

bool MTH_TISSUE_PART::Finish(const MTH_TISSUE_MEANS& means, MTH_TISSUE_CLUSTERING* results) {
  const bool fits = state_ && results != nullptr && means.IsDone() &&
                    means.GetTissuesCount() == settings_.tissues_ && state_->step == means.GetStep();
  if (!fits) return false;
  const std::unique_ptr<TissuePartState> state = std::move(state_);
  try {
    state->part->Finish(*means.course_);
    for (double& centroid : state->result->centroids[0]) centroid /= state->input.factors[0];
    results->result_ = state->result;
    if (results->tissues_ != settings_.tissues_) results->hasMeans_ = false;  // given for another number
    results->tissues_ = settings_.tissues_;
    results->stopReason_ = MTH_STOP_REASON::Converged;
    return true;
  } catch (const std::exception&) {  // no memory
    results->stopReason_ = MTH_STOP_REASON::NoMemory;
    return false;
  }
}

int MTH_TISSUE_PART::GetStep() const {
  return state_ ? state_->step : 0;
}
