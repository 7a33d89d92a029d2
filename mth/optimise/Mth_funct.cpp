#include "mth/optimise/Mth_funct.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <new>

#include "mth/core/Mth_new_array_internal.h"
#include "mth/core/Mth_text_file_internal.h"
#include "mth/optimise/Mth_funct_internal.h"

// Storage of a cost function, the evaluation protocol and the parameter dump.

namespace mth_internal {

template <class Fill>
void OptimisationProgress::SetText(Fill fill) {
  try {
    fill();
  } catch (const std::bad_alloc&) {
  }
}

OptimisationProgress::OptimisationProgress(const char* title, std::int64_t stepsCount) {
  SetText([&] { text_ = title; });
  bar_.SetTitle(text_);
  bar_.Show();
  bar_.SetStepsCount(static_cast<int>(std::clamp<std::int64_t>(stepsCount, std::numeric_limits<int>::min(),
                                                               std::numeric_limits<int>::max())));
}

void OptimisationProgress::Step(const char* text) {
  SetText([&] { text_ = text; });
  bar_.StepAction(text_);
}

void OptimisationProgress::StepParameters(const double* parameters, int n) {
  SetText([&] {
    text_.clear();
    for (int i = 0; i < n; ++i) text_.append(FixedNumber(parameters[i], 1).View()).push_back('\t');
  });
  bar_.StepAction(text_);
}

}  // namespace mth_internal

using mth_internal::CopyPoint;

MTH_FUNCT::MTH_FUNCT() = default;

MTH_FUNCT::MTH_FUNCT(int n) {
  if (n < 0 || !AllocateArrays(static_cast<std::size_t>(n))) {
    Release();
    isStarved_ = true;
  } else {
    parametersCount_ = n;
  }
}

MTH_FUNCT::~MTH_FUNCT() = default;

void MTH_FUNCT::FreePages::operator()(double* elements) const {
  std::free(elements);
}

bool MTH_FUNCT::AllocateArrays(std::size_t count) {
  // First, since it is the one that a large count is refused, and refused here and not by the allocator: n x
  // n of a large n does not fit in any memory. Zeros that the system hands out untouched: most minimisers
  // never look at it.
  constexpr std::size_t kLargestCount = std::size_t{1} << 18;
  if (count > kLargestCount) return false;
  hessian_.reset(static_cast<double*>(std::calloc(std::max<std::size_t>(count * count, 1), sizeof(double))));
  if (!hessian_) return false;
  for (Array* array :
       {&linePoint_, &lineDirection_, &savedParameters_, &trialPoint_, &parameters_, &gradient_}) {
    *array = mth_internal::NewArray<double>(static_cast<std::ptrdiff_t>(count));
    if (!*array) return false;
  }
  annealing_.reset(new (std::nothrow) SIMULATED_ANNEALING_PARAM{});
  return annealing_ != nullptr;
}

void MTH_FUNCT::Release() {
  for (Array* array :
       {&linePoint_, &lineDirection_, &savedParameters_, &trialPoint_, &parameters_, &gradient_}) {
    array->reset();
  }
  hessian_.reset();
  annealing_.reset();
}

void MTH_FUNCT::InitialiseSimAnn() {}

bool MTH_FUNCT::SimAnnComputeTransition() {
  return true;
}

bool MTH_FUNCT::SimAnnComputeInverseTransition() {
  return true;
}

int MTH_FUNCT::GetResidualsCount() const {
  return 0;
}

bool MTH_FUNCT::EvaluateResiduals(double* /*residuals*/) {
  return false;
}

// A run whose cost is no number has met no tolerance, and what used its iterations up is that.
void MTH_FUNCT::EndRun(MTH_STOP_REASON reason, bool hasIterated) {
  const bool isJudged =
      reason == MTH_STOP_REASON::Converged || (hasIterated && reason != MTH_STOP_REASON::Cancelled);
  stopReason_ = isJudged && !std::isfinite(value_) ? MTH_STOP_REASON::NotFinite : reason;
}

void MTH_FUNCT::SetParameters(double* x) {
  if (x == nullptr) return;
  // Intended: an object that has not declared its parameters settable keeps its own.
  if (isDefined_) CopyPoint(x, parametersCount_, parameters_.get());
  hasIgnoredParameters_ = !isDefined_;
}

double MTH_FUNCT::EvaluateAtPoint(double* x) {
  if (x == nullptr && parametersCount_ > 0) return std::numeric_limits<double>::quiet_NaN();
  double* const parameters = parameters_.get();
  double* const saved = savedParameters_.get();
  CopyPoint(parameters, parametersCount_, saved);
  try {
    CopyPoint(x, parametersCount_, parameters);
    Evaluate();
  } catch (...) {
    CopyPoint(saved, parametersCount_, parameters);
    throw;
  }
  const double cost = value_;
  CopyPoint(saved, parametersCount_, parameters);
  Evaluate();  // intended: the value always matches the parameters
  return cost;
}

bool MTH_FUNCT::SaveParameters(const char* path) {
  constexpr int kDecimals = 3;
  mth_internal::TextWriter file(path);
  file.Text("-------------PARAMETRES--------------\n");
  for (int i = 0; i < parametersCount_; ++i) {
    file.Text("param[").Integer(i).Text("] : ").Fixed(GetParameters()[i], kDecimals);
    file.Text("\n");
  }
  file.Text("------------------COUT---------------\n").Fixed(value_, kDecimals).Text("\n");
  return file.Close();
}
