#include "mth/optimise/Mth_funct.h"
#include "mth/optimise/Mth_funct_internal.h"

// Finite differences of the cost.

using mth_internal::CopyPoint;

bool MTH_FUNCT::AllocateDerivativeWork() {
  bool isAllocated = true;
  for (Array& point : derivativeWork_) {
    if (!point) point = mth_internal::NewZeros(static_cast<std::size_t>(parametersCount_));
    isAllocated = isAllocated && point;
  }
  return isAllocated;
}

void MTH_FUNCT::ComputeGradient() {
  if (!AllocateDerivativeWork()) return;
  const double h = gradientStep_;
  for (int i = 0; i < parametersCount_; ++i) {
    const double after = EvaluateAtPoint(PointBeside(1, i, h));
    const double before = EvaluateAtPoint(PointBeside(0, i, -h));
    gradient_.get()[i] = (after - before) / (2.0 * h);
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

// A fresh copy of the parameters in one of the work vectors, with coordinate i moved.
double* MTH_FUNCT::PointBeside(int vector, int i, double shift) {
  double* const point = derivativeWork_[vector].get();
  CopyPoint(parameters_.get(), parametersCount_, point);
  point[i] += shift;
  return point;
}

double MTH_FUNCT::SecondDifference(int i) {
  const double h = gradientStep_;
  const double after = EvaluateAtPoint(PointBeside(1, i, h));
  const double before = EvaluateAtPoint(PointBeside(0, i, -h));
  const double here = EvaluateAtPoint(parameters_.get());
  return (after + before - 2.0 * here) / (h * h);
}

double MTH_FUNCT::MixedDifference(int i, int j) {
  const double h = gradientStep_;
  const auto costBeside = [&](int vector, double shiftI, double shiftJ) {
    double* const point = PointBeside(vector, i, shiftI);
    point[j] += shiftJ;
    return EvaluateAtPoint(point);
  };
  const double bothAfter = costBeside(1, h, h);
  const double firstAfter = costBeside(2, h, -h);
  const double secondAfter = costBeside(3, -h, h);
  const double bothBefore = costBeside(0, -h, -h);
  return ((bothAfter - firstAfter) - (secondAfter - bothBefore)) / (4.0 * (h * h));
}
