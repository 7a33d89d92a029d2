#include "mth/clustering/Mth_tissue_means.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>

#include "mth/clustering/Mth_tissue_means_internal.h"

namespace mth_internal {

void TissueMeans::SetRange(double low, double high) {
  const double step = high > low ? (high - low) / (kBins - 1) : 1.0;  // any, where there is one value
  inverseStep_ = 1.0 / step;
  for (int bin = 0; bin < kBins; ++bin) values_[static_cast<std::size_t>(bin)] = low + bin * step;
  if (isFixed_) return;
  for (int k = 0; k < tissues_; ++k)
    means_[static_cast<std::size_t>(k)] = low + (high - low) * (0.25 + 0.5 * (k + 0.5) / tissues_);
  if (!(high > low)) KeepApart();
}

void TissueMeans::Fix(const double* means) {
  isFixed_ = true;
  std::copy_n(means, tissues_, means_.begin());
}

void TissueMeans::MoveFuzzy(const double* sums) {
  if (isFixed_) return;
  for (std::size_t k = 0; k < static_cast<std::size_t>(tissues_); ++k) {
    const double weight = sums[k];
    if (weight > 0.0) means_[k] = sums[static_cast<std::size_t>(tissues_) + k] / weight;
  }
  KeepApart();
}

void TissueMeans::MoveFit(const double* sums) {
  if (isFixed_) return;
  for (std::size_t k = 0; k < static_cast<std::size_t>(tissues_); ++k) {
    const double weight = sums[k];
    if (weight > 0.0) means_[k] += sums[static_cast<std::size_t>(tissues_) + k] / weight;
  }
  KeepNearStart();
  KeepApart();
}

// In an image without noise the mixture of two tissues can stand for a third one between them, whose mean
// then runs into a neighbour: no mean leaves its own side of the middle between two fuzzy clusters.
void TissueMeans::KeepNearStart() {
  for (std::size_t k = 0; k + 1 < static_cast<std::size_t>(tissues_); ++k) {
    const double middle = 0.5 * (start_[k] + start_[k + 1]);
    means_[k] = std::min(means_[k], middle);
    means_[k + 1] = std::max(means_[k + 1], middle);
  }
}

// Means ascend, by a bin or more.
void TissueMeans::KeepApart() {
  for (std::size_t k = 1; k < static_cast<std::size_t>(tissues_); ++k)
    means_[k] = std::max(means_[k], means_[k - 1] + BinWidth());
}

double ScaleOf(double largest) {
  int exponent = 0;
  std::frexp(largest, &exponent);
  return std::ldexp(1.0, std::clamp(10 - exponent, -1000, 1000));
}

bool TissueCourse::AddRange(const Range& range) {
  const bool isRange = step_ == 0 && range.low >= 0.0 && range.low <= range.high &&
                       range.high <= range.largest && std::isfinite(range.largest);
  if (!isRange) return false;
  range_ = hasRange_ ? Range{std::min(range_.low, range.low), std::max(range_.high, range.high),
                             std::max(range_.largest, range.largest)}
                     : range;
  factor_ = ScaleOf(range_.largest);
  SetScaledRange(range_.low * factor_, range_.high * factor_);
  return true;
}

void TissueCourse::SetScaledRange(double low, double high) {
  constexpr double kMargin = 0.25;  // what is beyond counts in the outermost bins
  const double margin = kMargin * (high - low);
  means_.SetRange(std::max(0.0, low - margin), high + margin);
  hasRange_ = true;
}

void TissueCourse::Move(const double* sums) {
  if (step_ < TissueSteps::kFuzzy) {
    means_.MoveFuzzy(sums);
  } else {
    means_.MoveFit(sums);
  }
  if (++step_ == TissueSteps::kFuzzy) means_.StartFit();
}

}  // namespace mth_internal

using namespace mth_internal;

MTH_TISSUE_MEANS::MTH_TISSUE_MEANS(int tissues) : tissues_(tissues) {
  if (tissues >= 1 && tissues <= TissueMeans::kMostTissues)
    course_.reset(new (std::nothrow) TissueCourse(tissues));
}

MTH_TISSUE_MEANS::~MTH_TISSUE_MEANS() = default;

bool MTH_TISSUE_MEANS::AddRange(const double* range) {
  return course_ && range != nullptr && course_->AddRange({range[0], range[1], range[2]});
}

bool MTH_TISSUE_MEANS::GetRange(double* range) const {
  if (!course_ || !course_->HasRange() || range == nullptr) return false;
  const TissueCourse::Range& all = course_->AllRange();
  range[0] = all.low;
  range[1] = all.high;
  range[2] = all.largest;
  return true;
}

bool MTH_TISSUE_MEANS::Move(const double* sums) {
  if (!course_ || !course_->HasRange() || sums == nullptr || IsDone()) return false;
  if (!std::all_of(sums, sums + std::ptrdiff_t{2} * tissues_, [](double x) { return std::isfinite(x); }))
    return false;
  course_->Move(sums);
  return true;
}

int MTH_TISSUE_MEANS::GetStep() const {
  return course_ ? course_->Step() : 0;
}

int MTH_TISSUE_MEANS::GetStepsCount() {
  return TissueSteps::kAll;
}

bool MTH_TISSUE_MEANS::IsDone() const {
  return GetStep() == GetStepsCount();
}

double MTH_TISSUE_MEANS::GetMean(int tissue) const {
  if (!course_ || !course_->HasRange() || tissue < 0 || tissue >= tissues_) return 0.0;
  return course_->Means().Mean(tissue) / course_->Factor();
}
