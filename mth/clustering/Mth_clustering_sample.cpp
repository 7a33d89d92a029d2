#include "mth/clustering/Mth_clustering_sample.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <type_traits>

#include "mth/clustering/Mth_sample_pool_internal.h"

namespace {

void Overwrite(double* values, int valuesCount, const double* source, int count) {
  if (source != nullptr && count > 0) std::copy_n(source, std::min(count, valuesCount), values);
}

// At most 8 values, in moves of constant size.
void CopyFew(const double* source, int count, double* values) {
  if (count == 8) {
    std::memcpy(values, source, 8 * sizeof(double));
    return;
  }
  const auto copy = [&](auto size) {
    if ((count & size) == 0) return;
    std::memcpy(values, source, size * sizeof(double));
    source += size;
    values += size;
  };
  copy(std::integral_constant<int, 4>{});
  copy(std::integral_constant<int, 2>{});
  copy(std::integral_constant<int, 1>{});
}

void CopyOrClear(const double* source, int count, double* values) {
  if (source != nullptr) {
    std::copy_n(source, count, values);
  } else {
    std::fill_n(values, count, 0.0);
  }
}

}  // namespace

MTH_CLUSTERING_SAMPLE::MTH_CLUSTERING_SAMPLE(const double* parameters, int parametersCount,
                                             const double* memberships, int membershipsCount) {
  Allocate(parametersCount, membershipsCount);
  Fill(parameters, memberships);
}

MTH_CLUSTERING_SAMPLE::MTH_CLUSTERING_SAMPLE(const MTH_CLUSTERING_SAMPLE* source) {
  if (source == nullptr) return;
  Allocate(source->parametersCount_, source->membershipsCount_);
  Fill(source->Parameters(), source->Memberships());
}

MTH_CLUSTERING_SAMPLE::MTH_CLUSTERING_SAMPLE(const MTH_CLUSTERING_SAMPLE& source)
    : MTH_CLUSTERING_SAMPLE(&source) {}

MTH_CLUSTERING_SAMPLE::~MTH_CLUSTERING_SAMPLE() {
  if (place_ == 0 && !AreInside()) delete[] values_.outside;
}

void MTH_CLUSTERING_SAMPLE::operator delete(MTH_CLUSTERING_SAMPLE* sample, std::destroying_delete_t) {
  if (sample->place_ != 0) return mth_internal::SamplePool::Delete(sample);
  sample->~MTH_CLUSTERING_SAMPLE();
  ::operator delete(sample);
}

// Sizes that are negative, or too large for the memory at hand, count as 0.
void MTH_CLUSTERING_SAMPLE::Allocate(int parametersCount, int membershipsCount) {
  parametersCount_ = std::max(parametersCount, 0);
  membershipsCount_ = std::max(membershipsCount, 0);
  if (AreInside()) return;
  double* const outside = new (std::nothrow) double[static_cast<std::size_t>(ValuesCount())];
  if (outside == nullptr) {
    parametersCount_ = 0;
    membershipsCount_ = 0;
  } else {
    values_.outside = outside;
  }
}

void MTH_CLUSTERING_SAMPLE::Fill(const double* parameters, const double* memberships) {
  if (AreInside()) {  // as nearly all are: millions of them are filled
    static_assert(kInsideValues <= 8);
    std::memset(values_.inside, 0, sizeof values_.inside);
    if (parameters != nullptr) CopyFew(parameters, parametersCount_, values_.inside);
    if (memberships != nullptr) CopyFew(memberships, membershipsCount_, values_.inside + parametersCount_);
    return;
  }
  CopyOrClear(parameters, parametersCount_, Parameters());
  CopyOrClear(memberships, membershipsCount_, Memberships());
}

void MTH_CLUSTERING_SAMPLE::ChangeParameters(const double* values, int count) {
  Overwrite(Parameters(), parametersCount_, values, count);
}

void MTH_CLUSTERING_SAMPLE::ChangeMembership(const double* values, int count) {
  Overwrite(Memberships(), membershipsCount_, values, count);
}

bool MTH_CLUSTERING_SAMPLE::SetMembership(int index, double value) {
  if (index < 0 || index >= membershipsCount_) return false;
  Memberships()[index] = value;
  return true;
}
