#include <benchmark/benchmark.h>

#include <cstddef>
#include <vector>

#include "optimise/nist_problems.h"

#ifdef MTH_HAS_GSL
#include <gsl/gsl_multifit_nlinear.h>
#endif

// Least squares on NIST's non-linear problems from both starts, those apart that neither method solves. Every
// run tells the evaluations of the residuals, those of the differences included, and how many of the fits
// have six digits.

namespace {

using benchmark::State;
using mth_test::NistCost;
using mth_test::NistProblem;

constexpr double kTolerance = 1e-12;
constexpr int kIterations = 2000;

struct Fit {
  const NistProblem& problem;
  const std::vector<double>& start;
};

std::vector<Fit> Fits() {
  static const std::vector<NistProblem> problems = mth_test::NistProblems(MTH_DATA_DIR "/reference");
  std::vector<Fit> fits;
  for (const NistProblem& problem : problems) {
    // From the first starts of these one method or both end elsewhere, or not at all.
    const bool isFirstTooFar = problem.name == "BoxBOD" || problem.name == "MGH10" || problem.name == "MGH17";
    for (std::size_t k = isFirstTooFar ? 1 : 0; k < problem.starts.size(); ++k)
      fits.push_back({problem, problem.starts[k]});
  }
  return fits;
}

void FitByMth(NistCost& cost, const std::vector<double>& start) {
  std::vector<double> from = start;
  cost.ComputeOptimumLeastSquares(from.data(), kTolerance, kIterations, nullptr);
}

#ifdef MTH_HAS_GSL
int GslResiduals(const gsl_vector* x, void* data, gsl_vector* residuals) {
  static std::vector<double> values;
  auto& cost = *static_cast<NistCost*>(data);
  for (std::size_t i = 0; i < x->size; ++i) cost.GetParameters()[i] = gsl_vector_get(x, i);
  values.resize(residuals->size);
  cost.EvaluateResiduals(values.data());
  for (std::size_t i = 0; i < values.size(); ++i) gsl_vector_set(residuals, i, values[i]);
  return 0;
}

void FitByGsl(NistCost& cost, const std::vector<double>& start) {
  const gsl_multifit_nlinear_parameters parameters = gsl_multifit_nlinear_default_parameters();
  gsl_multifit_nlinear_fdf function = {};
  function.f = GslResiduals;
  function.n = static_cast<std::size_t>(cost.GetResidualsCount());
  function.p = start.size();
  function.params = &cost;
  gsl_multifit_nlinear_workspace* work =
      gsl_multifit_nlinear_alloc(gsl_multifit_nlinear_trust, &parameters, function.n, function.p);
  const gsl_vector_const_view from = gsl_vector_const_view_array(start.data(), start.size());
  gsl_multifit_nlinear_init(&from.vector, &function, work);
  int info = 0;
  gsl_multifit_nlinear_driver(kIterations, kTolerance, kTolerance, kTolerance, nullptr, nullptr, &info, work);
  for (std::size_t i = 0; i < start.size(); ++i) cost.GetParameters()[i] = gsl_vector_get(work->x, i);
  gsl_multifit_nlinear_free(work);
}
#endif

bool HasSixDigits(const NistCost& cost, const NistProblem& problem) {
  for (std::size_t i = 0; i < problem.certified.size(); ++i) {
    if (!(std::abs(cost.GetParameters()[i] / problem.certified[i] - 1.0) < 1e-6)) return false;
  }
  return true;
}

void Run(State& state, void (*fitBy)(NistCost&, const std::vector<double>&)) {
  const std::vector<Fit> fits = Fits();
  long evaluations = 0;
  long exact = 0;
  for (const Fit& fit : fits) {
    NistCost cost(fit.problem);
    fitBy(cost, fit.start);
    evaluations += cost.evaluations;
    exact += HasSixDigits(cost, fit.problem) ? 1 : 0;
  }
  for (auto _ : state) {
    for (const Fit& fit : fits) {
      NistCost cost(fit.problem);
      fitBy(cost, fit.start);
      benchmark::DoNotOptimize(cost.GetParameters());
    }
  }
  state.counters["evaluations"] = static_cast<double>(evaluations);
  state.counters["fits"] = static_cast<double>(fits.size());
  state.counters["six_digits"] = static_cast<double>(exact);
}

BENCHMARK_CAPTURE(Run, mth, FitByMth)->Name("NistProblems/mth")->Unit(benchmark::kMillisecond);
#ifdef MTH_HAS_GSL
BENCHMARK_CAPTURE(Run, gsl_trust, FitByGsl)->Name("NistProblems/gsl_trust")->Unit(benchmark::kMillisecond);
#endif

}  // namespace
