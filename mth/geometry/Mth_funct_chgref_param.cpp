#include "mth/geometry/Mth_funct_chgref_param.h"

#include <limits>
#include <new>

namespace {
constexpr int kParameters = 6;
}

MTH_FUNCT_CHGREF_PARAM::MTH_FUNCT_CHGREF_PARAM(double* start, int count, MTH_3D_DOUBLE* set1,
                                               MTH_3D_DOUBLE* set2)
    : MTH_FUNCT(kParameters),
      first_(set1),
      second_(set2),
      count_(count),
      changeOfReference_(new (std::nothrow) MTH_MATRIX_CHGREF(count_, first_, second_)) {
  SetDefined(true);
  SetParameters(start);
  SetDefined(false);
}

MTH_FUNCT_CHGREF_PARAM::~MTH_FUNCT_CHGREF_PARAM() = default;

void MTH_FUNCT_CHGREF_PARAM::Evaluate() {
  double* const parameters = GetParameters();
  const bool canCompute = parameters != nullptr && changeOfReference_ && changeOfReference_->IsAllocated();
  if (canCompute) {
    changeOfReference_->SetRotation(parameters);
    changeOfReference_->SetTranslation(parameters + 3);
    changeOfReference_->ComputeFromRotTrans();
    changeOfReference_->ChangeRefCost(false, nullptr);
  }
  SetValue(canCompute ? changeOfReference_->GetCost() : std::numeric_limits<double>::quiet_NaN());
  SetDefined(true);
}
