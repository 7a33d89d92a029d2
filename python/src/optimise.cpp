#include <algorithm>
#include <array>
#include <cstring>

#include "arrays.h"
#include "call.h"
#include "mth/optimise/Mth_funct_ajust_gauss_cost.h"
#include "mth/optimise/Mth_funct_ajust_rayleigh_cost.h"
#include "mth/optimise/Mth_funct_find_chainette.h"
#include "mth/optimise/Mth_funct_profile_cost.h"
#include "seed.h"

// Minimisers over functions that are written in Python, and the library's own models of curves.

namespace mth_python {
namespace {

Array<double> NewPoint(const double* values, int count) {
  Array<double> point(count);
  std::copy_n(values, count, point.mutable_data());
  return point;
}

// A cost, or residuals, that Python computes. The last costs are kept: the library looks at its present point
// again after every look elsewhere.
class PythonCost : public MTH_FUNCT {
 public:
  PythonCost(py::object function, int parametersCount, int residualsCount)
      : MTH_FUNCT(parametersCount), function_(std::move(function)), residualsCount_(residualsCount) {
    SetDefined(true);
  }

  void Evaluate() override {
    if (residualsCount_ > 0) return;
    const int n = GetParametersCount();
    for (const Known& known : known_) {
      if (known.point.size() == static_cast<std::size_t>(n) &&
          std::memcmp(known.point.data(), GetParameters(), sizeof(double) * known.point.size()) == 0)
        return SetValue(known.value);
    }
    ++evaluationsCount_;
    SetValue(ToNumber(CallPython(function_, NewPoint(GetParameters(), n))));
    Known& oldest = known_[next_];
    next_ = (next_ + 1) % std::size(known_);
    oldest.point.assign(GetParameters(), GetParameters() + n);
    oldest.value = GetValue();
  }

  int GetResidualsCount() const override { return residualsCount_; }
  bool EvaluateResiduals(double* residuals) override {
    ++evaluationsCount_;
    const mth_python::Array<double> answer = Numbers<double>(
        CallPython(function_, NewPoint(GetParameters(), GetParametersCount())), "the residuals", 1);
    if (answer.size() != residualsCount_)
      ThrowValueError("there are " + std::to_string(answer.size()) + " residuals, " +
                      std::to_string(residualsCount_) + " at the start");
    std::copy_n(answer.data(), residualsCount_, residuals);
    return true;
  }

  int GetEvaluationsCount() const { return evaluationsCount_; }

 private:
  struct Known {
    std::vector<double> point;
    double value = 0.0;
  };

  static double ToNumber(const py::object& answer) {
    const double value = PyFloat_AsDouble(answer.ptr());
    if (value == -1.0 && PyErr_Occurred() != nullptr) throw py::error_already_set();
    return value;
  }

  py::object function_;
  int residualsCount_;
  int evaluationsCount_ = 0;
  Known known_[4];
  std::size_t next_ = 0;
};

// A cost with the moves of simulated annealing: those of a function of Python's, or uniform steps along each
// parameter, drawn from the stream that decides about the moves.
class AnnealedCost : public PythonCost {
 public:
  AnnealedCost(py::object function, int parametersCount, py::object move, std::optional<int> seed)
      : PythonCost(std::move(function), parametersCount, 0),
        move_(std::move(move)),
        seed_(seed),
        former_(static_cast<std::size_t>(parametersCount)) {}

  void InitialiseSimAnn() override {  // the streams are seeded next, and the start is evaluated then
    if (seed_) clock_.emplace(*seed_);
  }
  void Evaluate() override {
    clock_.reset();
    PythonCost::Evaluate();
  }
  bool SimAnnComputeTransition() override {
    ++movesCount_;
    const int n = GetParametersCount();
    const double amplitude = GetSimAnnParam()->stepAmplitude;
    std::copy_n(GetParameters(), n, former_.data());
    if (move_.is_none()) {
      for (int i = 0; i < n; ++i) GetParameters()[i] += amplitude * (2.0 * Mth_Random1(0) - 1.0);
      return true;
    }
    const mth_python::Array<double> point =
        Numbers<double>(CallPython(move_, NewPoint(GetParameters(), n), amplitude), "the moved point", 1);
    if (point.size() != n)
      ThrowValueError("the moved point has " + std::to_string(point.size()) + " parameters");
    std::copy_n(point.data(), n, GetParameters());
    return true;
  }
  bool SimAnnComputeInverseTransition() override {
    std::copy(former_.begin(), former_.end(), GetParameters());
    return true;
  }

  int GetMovesCount() const { return movesCount_; }

 private:
  py::object move_;
  std::optional<int> seed_;
  std::optional<SeedClock> clock_;
  std::vector<double> former_;
  int movesCount_ = 0;
};

struct Settings {
  std::string method;
  double tolerance;
  int iterations;
  double step;  // of the finite differences, the first simplex, or the steepest descent
};

// Runs the named method from a start; returns the iterations.
int RunMethod(MTH_FUNCT& cost, double* start, const Settings& settings) {
  int iterations = 0;
  short shortIterations = 0;
  const int most = settings.iterations;
  if (settings.method == "bfgs") {
    cost.SetGradientStep(settings.step);
    cost.ComputeOptimumQNBFGS(start, settings.tolerance, &shortIterations);
    return shortIterations;
  }
  if (settings.method == "nelder-mead") {
    cost.SetSimplexSize(settings.step);
    cost.ComputeOptimum_Nelder_Mead(start, settings.tolerance, most, &iterations);
    return iterations;
  }
  if (settings.method == "steepest-descent") {
    cost.SetConstant_for_Steepes_Optimization(settings.step);
    cost.Compute_Optimum_Steepes(start, settings.tolerance, most, &iterations);
    return iterations;
  }
  if (settings.method == "least-squares") {
    cost.ComputeOptimumLeastSquares(start, settings.tolerance, most, &iterations);
    return iterations;
  }
  constexpr int kMostPasses = 32767;
  cost.ComputeOptimumPowell(start, static_cast<short>(std::min(most, kMostPasses)), settings.tolerance,
                            &shortIterations, false);
  return shortIterations;
}

// What is asked once per iteration: the caller's callback and progress.
std::function<bool()> Question(const MTH_FUNCT& cost, const py::object& callback, const py::object& progress,
                               int iterations) {
  if (callback.is_none() && progress.is_none()) return nullptr;
  return [&cost, callback, progress, iterations, done = 0]() mutable {
    if (!progress.is_none()) CallPython(progress, ++done, iterations);
    if (callback.is_none()) return false;
    const py::object answer = CallPython(callback, NewPoint(cost.GetParameters(), cost.GetParametersCount()));
    return answer.is(py::bool_(true));
  };
}

py::dict Report(const MTH_FUNCT& cost, int iterations, int evaluations) {
  const int n = cost.GetParametersCount();
  py::dict result;
  result["x"] = NewPoint(cost.GetParameters(), n);
  result["fun"] = cost.GetValue();
  result["nit"] = iterations;
  result["nfev"] = evaluations;
  result["success"] = cost.GetStopReason() == MTH_STOP_REASON::Converged;
  result["reason"] = ReasonName(cost.GetStopReason());
  result["covariance"] = py::none();
  if (const double* const covariance = cost.GetCovariance()) {
    Array<double> copy({n, n});
    std::copy_n(covariance, copy.size(), copy.mutable_data());
    result["covariance"] = copy;
  }
  return result;
}

Array<double> Start(const py::handle& value) {
  Array<double> start = Numbers<double>(value, "x0", 1);
  if (start.size() == 0) ThrowValueError("x0 is empty");
  RequireFinite(start, "x0");
  return start;
}

py::dict Minimise(const py::object& function, const py::handle& startValue, const std::string& method,
                  double tolerance, int iterations, double step, const py::object& callback,
                  const py::object& progress) {
  const Array<double> start = Start(startValue);
  const int n = ToInt(start.size(), "x0");
  int residuals = 0;
  if (method == "least-squares") {
    residuals = ToInt(Numbers<double>(function(NewPoint(start.data(), n)), "the residuals", 1).size(),
                      "the residuals");
    if (residuals < n)
      ThrowValueError("there are " + std::to_string(residuals) + " residuals for " + std::to_string(n) +
                      " parameters");
  }
  PythonCost cost(function, n, residuals);
  std::vector<double> point(start.data(), start.data() + n);
  int done = 0;
  Call call;
  call.SetQuestion(Question(cost, callback, progress, iterations));
  call.RunLocked([&] {
    cost.SetParameters(point.data());
    done = RunMethod(cost, point.data(), {method, tolerance, iterations, step});
  });
  if (cost.GetStopReason() == MTH_STOP_REASON::NoMemory) ThrowMemoryError();
  return Report(cost, done, cost.GetEvaluationsCount() + (residuals > 0 ? 1 : 0));
}

py::dict Anneal(const py::object& function, const py::handle& startValue, const py::object& move,
                const std::array<double, 5>& reals, const std::array<int, 3>& counts, std::optional<int> seed,
                const py::object& callback, const py::object& progress) {
  const Array<double> start = Start(startValue);
  const auto& [temperature, cooling, coldest, step, shrinking] = reals;
  const auto& [movesPerStage, stale, stages] = counts;
  constexpr int kNever = -1;
  SIMULATED_ANNEALING_PARAM settings{cooling, movesPerStage, stale,     kNever, stages, temperature,
                                     coldest, step,          shrinking, 0,      0.0};
  AnnealedCost cost(function, ToInt(start.size(), "x0"), move, seed);
  std::vector<double> point(start.data(), start.data() + start.size());
  Call call(progress);
  call.SetQuestion(Question(cost, callback, py::none(), 0));
  call.RunLocked([&] { cost.ComputeOptimumSimmulatedAnnealing(&settings, point.data(), 0, 0.0, nullptr); });
  if (cost.GetStopReason() == MTH_STOP_REASON::NoMemory) ThrowMemoryError();
  return Report(cost, cost.GetMovesCount(), cost.GetEvaluationsCount());
}

// Counts the evaluations of one of the library's costs.
template <class Cost>
class Counted : public Cost {
 public:
  using Cost::Cost;
  void Evaluate() override {
    ++evaluationsCount;
    Cost::Evaluate();
  }
  int evaluationsCount = 0;
};

template <class Cost>
py::dict Fit(Cost& cost, const Array<double>& start, const Settings& settings, const py::object& progress) {
  if (start.size() != cost.GetParametersCount())
    ThrowValueError("start has " + std::to_string(start.size()) + " parameters, the model " +
                    std::to_string(cost.GetParametersCount()));
  std::vector<double> point(start.data(), start.data() + start.size());
  int done = 0;
  Call call;
  call.CountQuestions(progress, settings.iterations);
  call.Run([&] {
    cost.SetDefined(true);
    cost.SetParameters(point.data());
    cost.Evaluate();
    cost.evaluationsCount = 0;
    done = RunMethod(cost, point.data(), settings);
  });
  return Report(cost, done, cost.evaluationsCount);
}

py::dict FitModel(const std::string& model, const py::handle& xValue, const py::handle& yValue,
                  const py::handle& startValue, const std::string& method, double tolerance, int iterations,
                  double step, const py::object& progress) {
  Array<double> x = Numbers<double>(xValue, "x", 1);
  Array<double> y = Numbers<double>(yValue, "y", 1);
  const Array<double> start = Numbers<double>(startValue, "start", 1);
  const int count = ToInt(y.size(), "y");
  double* const abscissae = const_cast<double*>(x.data());  // the costs only read them
  double* const ordinates = const_cast<double*>(y.data());
  const Settings settings{method, tolerance, iterations, step};
  if (model == "profile") {
    Counted<MTH_FUNCT_PROFILE_COST> cost(count, abscissae, ordinates);
    return Fit(cost, start, settings, progress);
  }
  if (model == "catenary") {
    Counted<MTH_FUNCT_FIND_CHAINETTE> cost(count, abscissae, ordinates);
    return Fit(cost, start, settings, progress);
  }
  if (model == "rayleigh") {
    Counted<MTH_FUNCT_AJUST_RAYLEIGH_COST> cost(ordinates, count);
    return Fit(cost, start, settings, progress);
  }
  if (start.size() == 0 || start.size() % 3 != 0)
    ThrowValueError("start has " + std::to_string(start.size()) + " parameters, not three for each Gaussian");
  Counted<MTH_FUNCT_AJUST_GAUSS_COST> cost(ordinates, count, ToInt(start.size() / 3, "start"));
  return Fit(cost, start, settings, progress);
}

}  // namespace

void DefineOptimise(py::module_& module) {
  module.def("minimise", &Minimise);
  module.def("anneal", &Anneal);
  module.def("fit_model", Interruptible(&FitModel, kOfClustering));
}

}  // namespace mth_python
