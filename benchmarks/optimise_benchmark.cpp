#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "mth/optimise/Mth_funct_ajust_gauss_cost.h"
#include "mth/optimise/Mth_funct_ajust_rayleigh_cost.h"
#include "mth/optimise/Mth_funct_find_chainette.h"
#include "mth/optimise/Mth_funct_profile_cost.h"

#ifdef MTH_HAS_GSL
#include <gsl/gsl_errno.h>
#include <gsl/gsl_multimin.h>
#endif
#ifdef MTH_HAS_NLOPT
#include <nlopt.h>
#endif

// Minimisers on Rosenbrock's function, where the cost is next to nothing and the time is that of the
// minimiser itself, and on a fit of six Gaussians to 256 samples. Every run reports its evaluations, its
// final cost and the time per evaluation; peers evaluate the very same cost functions.

namespace {

using benchmark::Counter;
using benchmark::State;

const double kRootOfTwoPi = std::sqrt(6.283185307179586);

class Rosenbrock : public MTH_FUNCT {
 public:
  Rosenbrock() : MTH_FUNCT(2) { SetDefined(true); }
  void Evaluate() override {
    const double* x = GetParameters();
    const double a = x[1] - x[0] * x[0];
    const double b = 1.0 - x[0];
    SetValue(100.0 * a * a + b * b);
  }
};

// Keeps the points at which a cost function is evaluated, for the runs that are not timed.
template <class Cost>
class Recording : public Cost {
 public:
  using Cost::Cost;
  void Evaluate() override {
    const double* x = this->GetParameters();
    points.insert(points.end(), x, x + this->GetParametersCount());
    Cost::Evaluate();
  }
  long Evaluations() const { return static_cast<long>(points.size()) / this->GetParametersCount(); }
  std::vector<double> points;
};

// A cost function, where to start, and the first step of the methods that ask for one.
struct Problem {
  MTH_FUNCT& cost;
  std::vector<double> start;
  double step;
  double gradientStep;

  double At(const double* x) {
    std::copy(x, x + start.size(), cost.GetParameters());
    cost.Evaluate();
    return cost.GetValue();
  }
  // Central differences, as the library takes them; `point` is the caller's work array.
  void Gradient(const double* x, double* gradient, std::vector<double>& point) {
    point.assign(x, x + start.size());
    for (std::size_t i = 0; i < point.size(); ++i) {
      point[i] = x[i] + gradientStep;
      const double after = At(point.data());
      point[i] = x[i] - gradientStep;
      gradient[i] = (after - At(point.data())) / (2.0 * gradientStep);
      point[i] = x[i];
    }
  }
};

using Minimise = double (*)(Problem&);  // the final cost

// ---- The library ----

double Powell(Problem& problem) {
  problem.cost.ComputeOptimumPowell(problem.start.data(), 1000, 1e-10, nullptr, false);
  return problem.cost.GetValue();
}

double Bfgs(Problem& problem) {
  problem.cost.SetGradientStep(problem.gradientStep);
  problem.cost.ComputeOptimumQNBFGS(problem.start.data(), 1e-10, nullptr);
  return problem.cost.GetValue();
}

double NelderMead(Problem& problem) {
  problem.cost.SetSimplexSize(problem.step);
  problem.cost.ComputeOptimum_Nelder_Mead(problem.start.data(), 1e-10, 100000, nullptr);
  return problem.cost.GetValue();
}

double Steepest(Problem& problem) {
  problem.cost.SetConstant_for_Steepes_Optimization(problem.step);
  problem.cost.Compute_Optimum_Steepes(problem.start.data(), 1e-12, 5000, nullptr);
  return problem.cost.GetValue();
}

// ---- GSL ----

#ifdef MTH_HAS_GSL
double GslCost(const gsl_vector* x, void* problem) {
  return static_cast<Problem*>(problem)->At(x->data);
}

void GslGradient(const gsl_vector* x, void* problem, gsl_vector* gradient) {
  static std::vector<double> work;
  static_cast<Problem*>(problem)->Gradient(x->data, gradient->data, work);
}

void GslBoth(const gsl_vector* x, void* problem, double* cost, gsl_vector* gradient) {
  *cost = GslCost(x, problem);
  GslGradient(x, problem, gradient);
}

double GslSimplex(Problem& problem) {
  const std::size_t n = problem.start.size();
  gsl_vector_view start = gsl_vector_view_array(problem.start.data(), n);
  gsl_vector* steps = gsl_vector_alloc(n);
  gsl_vector_set_all(steps, problem.step);
  gsl_multimin_function function{GslCost, n, &problem};
  gsl_multimin_fminimizer* minimizer = gsl_multimin_fminimizer_alloc(gsl_multimin_fminimizer_nmsimplex2, n);
  gsl_multimin_fminimizer_set(minimizer, &function, &start.vector, steps);
  for (int i = 0; i < 100000; ++i) {
    if (gsl_multimin_fminimizer_iterate(minimizer) != GSL_SUCCESS) break;
    if (gsl_multimin_fminimizer_size(minimizer) < 1e-7) break;
  }
  const double cost = minimizer->fval;
  gsl_multimin_fminimizer_free(minimizer);
  gsl_vector_free(steps);
  return cost;
}

double GslDescent(Problem& problem, const gsl_multimin_fdfminimizer_type* type, int iterations) {
  const std::size_t n = problem.start.size();
  gsl_vector_view start = gsl_vector_view_array(problem.start.data(), n);
  gsl_multimin_function_fdf function{GslCost, GslGradient, GslBoth, n, &problem};
  gsl_multimin_fdfminimizer* minimizer = gsl_multimin_fdfminimizer_alloc(type, n);
  gsl_multimin_fdfminimizer_set(minimizer, &function, &start.vector, 0.1 * problem.step, 0.1);
  for (int i = 0; i < iterations; ++i) {
    if (gsl_multimin_fdfminimizer_iterate(minimizer) != GSL_SUCCESS) break;
    if (gsl_multimin_test_gradient(minimizer->gradient, 1e-8) == GSL_SUCCESS) break;
  }
  const double cost = minimizer->f;
  gsl_multimin_fdfminimizer_free(minimizer);
  return cost;
}

double GslBfgs(Problem& problem) {
  return GslDescent(problem, gsl_multimin_fdfminimizer_vector_bfgs2, 1000);
}

double GslSteepest(Problem& problem) {
  return GslDescent(problem, gsl_multimin_fdfminimizer_steepest_descent, 5000);
}
#endif

// ---- NLopt ----

#ifdef MTH_HAS_NLOPT
double NloptCost(unsigned n, const double* x, double* gradient, void* data) {
  static std::vector<double> work;
  auto& problem = *static_cast<Problem*>(data);
  if (gradient != nullptr && n > 0) problem.Gradient(x, gradient, work);
  return problem.At(x);
}

template <nlopt_algorithm kAlgorithm>
double Nlopt(Problem& problem) {
  nlopt_opt optimiser = nlopt_create(kAlgorithm, static_cast<unsigned>(problem.start.size()));
  nlopt_set_min_objective(optimiser, NloptCost, &problem);
  nlopt_set_ftol_rel(optimiser, 1e-10);
  nlopt_set_ftol_abs(optimiser, 1e-10);
  nlopt_set_initial_step1(optimiser, problem.step);
  nlopt_set_maxeval(optimiser, 200000);
  std::vector<double> x = problem.start;
  double cost = 0.0;
  nlopt_optimize(optimiser, x.data(), &cost);
  nlopt_destroy(optimiser);
  return cost;
}
#endif

// ---- Runs ----

// One run of a minimiser that is not timed: the points where it evaluates the cost, and how it ends.
struct Record {
  std::vector<double> points;
  long evaluations;
  double finalCost;
};

template <class Cost>
Record RecordRun(Recording<Cost>& cost, Problem problem, Minimise minimise) {
  const double finalCost = minimise(problem);
  return {cost.points, cost.Evaluations(), finalCost};
}

// The evaluations of a run alone, one after the other: no minimiser that evaluates so often can take less.
void EvaluateAgain(State& state, MTH_FUNCT& cost, const Record& record) {
  const auto count = static_cast<std::size_t>(cost.GetParametersCount());
  for (auto _ : state) {
    for (std::size_t i = 0; i < record.points.size(); i += count) {
      std::copy_n(&record.points[i], count, cost.GetParameters());
      cost.Evaluate();
      benchmark::DoNotOptimize(cost.GetValue());
    }
  }
}

void Report(State& state, long evaluations, double finalCost) {
  state.counters["evaluations"] = static_cast<double>(evaluations);
  state.counters["cost"] = finalCost;
  state.counters["per_evaluation"] =
      Counter(static_cast<double>(evaluations), Counter::kIsIterationInvariantRate | Counter::kInvert);
}

constexpr bool kEvaluationsAlone = true;

void OnRosenbrock(State& state, Minimise minimise, bool areEvaluationsAlone = false) {
  Recording<Rosenbrock> recorded;
  const std::vector<double> start = {-1.2, 1.0};
  const Record record = RecordRun(recorded, {recorded, start, 1.0, 1e-5}, minimise);
  Rosenbrock cost;
  Problem timed{cost, start, 1.0, 1e-5};
  if (areEvaluationsAlone) return EvaluateAgain(state, cost, record);
  for (auto _ : state) benchmark::DoNotOptimize(minimise(timed));
  Report(state, record.evaluations, record.finalCost);
}

// Six overlapping peaks with noise, as a spectrum has them, and a start that is 10 percent off.
struct Spectrum {
  static constexpr int kSamples = 256;
  static constexpr int kPeaks = 6;
  std::vector<double> data = std::vector<double>(kSamples);
  std::vector<double> start;

  Spectrum() {
    const double truth[kPeaks][3] = {{120, 30, 6}, {80, 65, 9},    {200, 105, 7},
                                     {60, 140, 5}, {150, 175, 11}, {90, 225, 8}};
    std::mt19937 engine(20260101);
    std::normal_distribution<double> noise(0.0, 0.05);
    std::vector<double> parameters;
    for (const auto& peak : truth) parameters.insert(parameters.end(), peak, peak + 3);
    for (int i = 0; i < kSamples; ++i) {
      data[static_cast<std::size_t>(i)] = noise(engine);
      for (const auto& peak : truth) {
        const double z = (i - peak[1]) / peak[2];
        data[static_cast<std::size_t>(i)] += peak[0] / (kRootOfTwoPi * peak[2]) * std::exp(-0.5 * z * z);
      }
    }
    for (std::size_t k = 0; k < parameters.size(); ++k) {
      const double sign = k % 2 == 0 ? 1.0 : -1.0;
      start.push_back(k % 3 == 1 ? parameters[k] + 3.0 * sign : parameters[k] * (1.0 + 0.1 * sign));
    }
  }
};

Spectrum& TheSpectrum() {
  static Spectrum spectrum;
  return spectrum;
}

// The cost as a host writes it: one loop over the samples, one over the peaks.
class HostSpectrumCost : public MTH_FUNCT {
 public:
  HostSpectrumCost(const double* data, int count, int peaks)
      : MTH_FUNCT(3 * peaks), data_(data), count_(count) {}
  void Evaluate() override {
    const double* p = GetParameters();
    double error = 0.0;
    for (int i = 0; i < count_; ++i) {
      double model = 0.0;
      for (int g = 0; g < GetParametersCount(); g += 3) {
        const double z = (i - p[g + 1]) / p[g + 2];
        model += p[g] / (kRootOfTwoPi * p[g + 2]) * std::exp(-0.5 * z * z);
      }
      error += (data_[i] - model) * (data_[i] - model);
    }
    SetValue(std::sqrt(error));
  }

 private:
  const double* data_;
  int count_;
};

template <class Cost>
void FitSpectrum(State& state, Minimise minimise, bool areEvaluationsAlone) {
  Spectrum& spectrum = TheSpectrum();
  Recording<Cost> recorded(spectrum.data.data(), Spectrum::kSamples, Spectrum::kPeaks);
  recorded.SetDefined(true);
  const Record record = RecordRun(recorded, {recorded, spectrum.start, 1.0, 1e-5}, minimise);
  Cost cost(spectrum.data.data(), Spectrum::kSamples, Spectrum::kPeaks);
  cost.SetDefined(true);
  Problem timed{cost, spectrum.start, 1.0, 1e-5};
  if (areEvaluationsAlone) return EvaluateAgain(state, cost, record);
  for (auto _ : state) benchmark::DoNotOptimize(minimise(timed));
  Report(state, record.evaluations, record.finalCost);
}

// With the library's own cost function, and with the host's.
void OnSixGaussians(State& state, Minimise minimise, bool areEvaluationsAlone = false) {
  FitSpectrum<MTH_FUNCT_AJUST_GAUSS_COST>(state, minimise, areEvaluationsAlone);
}

void OnSixGaussiansOfHost(State& state, Minimise minimise, bool areEvaluationsAlone = false) {
  FitSpectrum<HostSpectrumCost>(state, minimise, areEvaluationsAlone);
}

// ---- Single evaluations ----

void EvaluateRosenbrock(State& state) {
  Rosenbrock cost;
  MTH_FUNCT* called = &cost;
  benchmark::DoNotOptimize(called);
  for (auto _ : state) {
    called->Evaluate();
    benchmark::DoNotOptimize(called->GetValue());
  }
}

void EvaluateRosenbrockAtPoint(State& state) {
  Rosenbrock cost;
  double point[] = {-1.2, 1.0};
  for (auto _ : state) benchmark::DoNotOptimize(cost.EvaluateAtPoint(point));
}

void EvaluateGaussians(State& state) {
  Spectrum& spectrum = TheSpectrum();
  MTH_FUNCT_AJUST_GAUSS_COST cost(spectrum.data.data(), Spectrum::kSamples, Spectrum::kPeaks);
  cost.SetDefined(true);
  cost.SetParameters(spectrum.start.data());
  for (auto _ : state) {
    cost.Evaluate();
    benchmark::DoNotOptimize(cost.GetValue());
  }
}

// Profile or catenary: abscissae around 0 in both.
template <class Cost>
void EvaluateCurve(State& state, std::vector<double> parameters) {
  std::vector<double> x;
  std::vector<double> y;
  for (int i = 0; i < 256; ++i) {
    x.push_back(0.05 * (i - 128));
    y.push_back(1.0 / (1.0 + x.back() * x.back()));
  }
  Cost cost(256, x.data(), y.data());
  cost.SetDefined(true);
  cost.SetParameters(parameters.data());
  for (auto _ : state) {
    cost.Evaluate();
    benchmark::DoNotOptimize(cost.GetValue());
  }
}

void EvaluateProfile(State& state) {
  EvaluateCurve<MTH_FUNCT_PROFILE_COST>(state, {0.1, 1.0, 0.0, 1.0});
}

void EvaluateCatenary(State& state) {
  EvaluateCurve<MTH_FUNCT_FIND_CHAINETTE>(state, {1.0, 0.0});
}

void EvaluateRayleigh(State& state) {
  Spectrum& spectrum = TheSpectrum();
  MTH_FUNCT_AJUST_RAYLEIGH_COST cost(spectrum.data.data(), Spectrum::kSamples);
  double parameters[] = {100.0, 20.5, 40.0};
  cost.SetDefined(true);
  cost.SetParameters(parameters);
  for (auto _ : state) {
    cost.Evaluate();
    benchmark::DoNotOptimize(cost.GetValue());
  }
}

BENCHMARK(EvaluateRosenbrock)->Name("one evaluation, Rosenbrock/limit, the host's own");
BENCHMARK(EvaluateRosenbrockAtPoint)->Name("one evaluation, Rosenbrock/mth");
BENCHMARK(EvaluateGaussians)->Name("one evaluation, six Gaussians/mth");
BENCHMARK(EvaluateProfile)->Name("one evaluation, Gaussian profile/mth");
BENCHMARK(EvaluateCatenary)->Name("one evaluation, catenary/mth");
BENCHMARK(EvaluateRayleigh)->Name("one evaluation, Rayleigh pulse/mth");

constexpr const char* kOnRosenbrock = "Rosenbrock, ";
constexpr const char* kOnSixGaussians = "six Gaussians, own cost, ";
constexpr const char* kOnSixGaussiansOfHost = "six Gaussians, ";

// A method of the library, its evaluations alone, and the same method of others; on the host's costs.
void Register(const char* method, Minimise own, std::vector<std::pair<const char*, Minimise>> peers,
              bool isOnGaussians) {
  const auto add = [=](const char* problem, auto run, const std::string& who, auto... rest) {
    const std::string name = std::string(problem) + method + "/" + who;
    return benchmark::RegisterBenchmark(name.c_str(), run, rest...)->Unit(benchmark::kMicrosecond);
  };
  const auto addBoth = [=](const char* problem, auto run) {
    add(problem, run, "mth", own, false);
    add(problem, run, "limit, the evaluations alone", own, kEvaluationsAlone);
  };
  addBoth(kOnRosenbrock, OnRosenbrock);
  for (const auto& [who, minimise] : peers) add(kOnRosenbrock, OnRosenbrock, who, minimise, false);
  if (!isOnGaussians) return;
  addBoth(kOnSixGaussians, OnSixGaussians);
  addBoth(kOnSixGaussiansOfHost, OnSixGaussiansOfHost);
  for (const auto& [who, minimise] : peers)
    add(kOnSixGaussiansOfHost, OnSixGaussiansOfHost, who, minimise, false)->Repetitions(3);
}

const bool isRegistered = [] {
  using Peers = std::vector<std::pair<const char*, Minimise>>;
  Peers powell;
  Peers bfgs;
  Peers simplex;
  Peers steepest;
#ifdef MTH_HAS_GSL
  bfgs.emplace_back("GSL vector_bfgs2", GslBfgs);
  simplex.emplace_back("GSL nmsimplex2", GslSimplex);
  steepest.emplace_back("GSL steepest_descent", GslSteepest);
#endif
#ifdef MTH_HAS_NLOPT
  powell.emplace_back("NLopt PRAXIS", Nlopt<NLOPT_LN_PRAXIS>);
  bfgs.emplace_back("NLopt L-BFGS", Nlopt<NLOPT_LD_LBFGS>);
  simplex.emplace_back("NLopt Nelder-Mead", Nlopt<NLOPT_LN_NELDERMEAD>);
#endif
  Register("Powell", Powell, powell, true);
  Register("BFGS", Bfgs, bfgs, true);
  Register("Nelder-Mead", NelderMead, simplex, false);
  Register("steepest descent", Steepest, steepest, false);
  return true;
}();

}  // namespace
