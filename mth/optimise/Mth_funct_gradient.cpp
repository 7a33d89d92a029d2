#include <initializer_list>

#include "mth/core/Mth_new_array_internal.h"
#include "mth/optimise/Mth_funct.h"
#include "mth/optimise/Mth_funct_internal.h"

// Finite differences of the cost. All points of a difference are formed before the first of them is
// evaluated: a cost that moves its own parameters moves none of the points.

namespace {

struct Shift {
  int coordinate;
  double by;
};

// Makes `point` the parameters with some coordinates moved.
void FormPoint(const MTH_FUNCT& cost, std::initializer_list<Shift> shifts, double* point) {
  mth_internal::CopyPoint(cost.GetParameters(), cost.GetParametersCount(), point);
  for (const Shift& shift : shifts) point[shift.coordinate] += shift.by;
}

}  // namespace

bool MTH_FUNCT::AllocateDerivativeWork() {
  bool isAllocated = true;
  for (Array& point : derivativeWork_) {
    if (!point) point = mth_internal::NewArray<double>(parametersCount_);
    isAllocated = isAllocated && point;
  }
  return isAllocated;
}

void MTH_FUNCT::ComputeGradient() {
  if (!AllocateDerivativeWork()) return;
  const double h = gradientStep_;
  double* const before = derivativeWork_[0].get();
  double* const after = derivativeWork_[1].get();
  for (int i = 0; i < parametersCount_; ++i) {
    FormPoint(*this, {{i, -h}}, before);
    FormPoint(*this, {{i, h}}, after);
    const double costAfter = EvaluateAtPoint(after);
    const double costBefore = EvaluateAtPoint(before);
    gradient_.get()[i] = (costAfter - costBefore) / (2.0 * h);
  }
}

void MTH_FUNCT::ComputeHessian() {
  if (!AllocateDerivativeWork()) return;
  const std::ptrdiff_t n = parametersCount_;
  double* const hessian = hessian_.get();
  for (int i = 0; i < n; ++i) {
    hessian[i * n + i] = SecondDifference(i);
    for (int j = i + 1; j < n; ++j) hessian[i * n + j] = MixedDifference(i, j);
  }
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < i; ++j) hessian[i * n + j] = hessian[j * n + i];
  }
}

double MTH_FUNCT::SecondDifference(int i) {
  const double h = gradientStep_;
  double* const before = derivativeWork_[0].get();
  double* const after = derivativeWork_[1].get();
  FormPoint(*this, {{i, -h}}, before);
  FormPoint(*this, {{i, h}}, after);
  const double costAfter = EvaluateAtPoint(after);
  const double costBefore = EvaluateAtPoint(before);
  const double costHere = EvaluateAtPoint(parameters_.get());
  return (costAfter + costBefore - 2.0 * costHere) / (h * h);
}

double MTH_FUNCT::MixedDifference(int i, int j) {
  const double h = gradientStep_;
  double* const bothBefore = derivativeWork_[0].get();
  double* const bothAfter = derivativeWork_[1].get();
  double* const firstAfter = derivativeWork_[2].get();
  double* const secondAfter = derivativeWork_[3].get();
  FormPoint(*this, {{i, -h}, {j, -h}}, bothBefore);
  FormPoint(*this, {{i, h}, {j, h}}, bothAfter);
  FormPoint(*this, {{i, h}, {j, -h}}, firstAfter);
  FormPoint(*this, {{i, -h}, {j, h}}, secondAfter);
  const double costOfBothAfter = EvaluateAtPoint(bothAfter);
  const double costOfFirstAfter = EvaluateAtPoint(firstAfter);
  const double costOfSecondAfter = EvaluateAtPoint(secondAfter);
  const double costOfBothBefore = EvaluateAtPoint(bothBefore);
  return ((costOfBothAfter - costOfFirstAfter) - (costOfSecondAfter - costOfBothBefore)) / (4.0 * (h * h));
}
