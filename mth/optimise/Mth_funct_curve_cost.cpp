#include "mth/optimise/Mth_funct_curve_cost.h"

#include <cstdint>

#include "mth/core/Mth_new_array_internal.h"
#include "mth/optimise/Mth_funct_internal.h"

MTH_FUNCT_CURVE_COST::MTH_FUNCT_CURVE_COST(int parametersCount) : MTH_FUNCT(parametersCount) {}

MTH_FUNCT_CURVE_COST::MTH_FUNCT_CURVE_COST(int parametersCount, int count, const double* x, const double* y)
    : MTH_FUNCT(parametersCount) {
  if (x == nullptr || y == nullptr || !AllocateSamples(count)) return;
  mth_internal::CopyPoint(x, count, abscissae_.get());
  mth_internal::CopyPoint(y, count, ordinates_.get());
}

MTH_FUNCT_CURVE_COST::~MTH_FUNCT_CURVE_COST() = default;

bool MTH_FUNCT_CURVE_COST::AllocateSamples(int count) {
  ReleaseSamples();
  samplesCount_ = 0;
  if (count < 0 || !mth_internal::HasMemoryForBlocks(3, count * std::int64_t{sizeof(double)})) return false;
  for (auto* array : {&abscissae_, &ordinates_, &model_}) {
    *array = mth_internal::NewArray<double>(count);
  }
  if (!abscissae_ || !ordinates_ || !model_) {
    ReleaseSamples();
    return false;
  }
  samplesCount_ = count;
  return true;
}

// Here and not in the header: the sum must not be fused by the flags of a host's compiler.
void MTH_FUNCT_CURVE_COST::StoreMeanSquaredError() {
  const double* const y = ordinates_.get();
  const double* const model = model_.get();
  const int count = abscissae_ && GetParametersCount() > 0 ? samplesCount_ : 0;
  double sum = 0.0;
  for (int i = 0; i < count; ++i) sum += (model[i] - y[i]) * (model[i] - y[i]);
  SetValue(sum / count);
  SetDefined(true);
}

void MTH_FUNCT_CURVE_COST::ReleaseSamples() {
  abscissae_.reset();
  ordinates_.reset();
  model_.reset();
}
