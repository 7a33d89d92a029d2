#include "mth/clustering/Mth_clustering_sample.h"

#include <algorithm>

namespace {

void Overwrite(MTH_MATRIX& column, const double* values, int count) {
  if (values == nullptr) return;
  const int common = std::min(count, column.GetNbRows());
  for (int i = 0; i < common; ++i) column.GetEDataAddress()[i] = values[i];
}

}  // namespace

MTH_CLUSTERING_SAMPLE::MTH_CLUSTERING_SAMPLE(double* parameters, int parametersCount, double* memberships,
                                             int membershipsCount)
    : parameters_(parametersCount, 1, 0), memberships_(membershipsCount, 1, 0) {
  parameters_.SetZero();
  memberships_.SetZero();
  ChangeParameters(parameters, parametersCount);
  ChangeMembership(memberships, membershipsCount);
}

MTH_CLUSTERING_SAMPLE::MTH_CLUSTERING_SAMPLE(const MTH_CLUSTERING_SAMPLE* source) {
  if (source == nullptr) return;
  parameters_ = source->parameters_;
  memberships_ = source->memberships_;
}

MTH_CLUSTERING_SAMPLE::MTH_CLUSTERING_SAMPLE(const MTH_CLUSTERING_SAMPLE& source)
    : MTH_CLUSTERING_SAMPLE(&source) {}

void MTH_CLUSTERING_SAMPLE::ChangeParameters(double* values, int count) {
  Overwrite(parameters_, values, count);
}

void MTH_CLUSTERING_SAMPLE::ChangeMembership(double* values, int count) {
  Overwrite(memberships_, values, count);
}

bool MTH_CLUSTERING_SAMPLE::SetMembership(int index, double value) {
  if (index < 0 || index >= memberships_.GetNbRows()) return false;
  memberships_.GetEDataAddress()[index] = value;
  return true;
}
