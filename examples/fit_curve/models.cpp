#include "models.h"

#include <mth/optimise/Mth_funct_ajust_gauss_cost.h>
#include <mth/optimise/Mth_funct_ajust_rayleigh_cost.h>
#include <mth/optimise/Mth_funct_find_chainette.h>
#include <mth/optimise/Mth_funct_profile_cost.h>
#include <mth/statistics/Mth_random.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "support/failure.h"

namespace fit_curve {

namespace {

constexpr short kMovesStream = 1;  // the annealing itself draws from stream 0
const double kRootOfTwoPi = std::sqrt(2.0 * std::numbers::pi);

// A cost function of the library with a count of its evaluations and the moves of an annealing: a random step
// of one parameter after the other.
template <class Cost>
class Fitted : public Cost {
 public:
  template <class... Arguments>
  explicit Fitted(long& evaluationsCount, Arguments... arguments)
      : Cost(arguments...), evaluationsCount_(evaluationsCount) {}

  void Evaluate() override {
    ++evaluationsCount_;
    Cost::Evaluate();
  }
  void InitialiseSimAnn() override { Mth_InitRandom1(kMovesStream); }
  bool SimAnnComputeTransition() override {
    moved_ = (moved_ + 1) % this->GetParametersCount();
    former_ = this->GetParameters()[moved_];
    this->GetParameters()[moved_] +=
        this->GetSimAnnParam()->stepAmplitude * (2.0 * Mth_Random1(kMovesStream) - 1.0);
    return true;
  }
  bool SimAnnComputeInverseTransition() override {
    this->GetParameters()[moved_] = former_;
    return true;
  }

 private:
  long& evaluationsCount_;
  int moved_ = -1;
  double former_ = 0.0;
};

double Bell(double x, double centre, double width) {
  const double z = (x - centre) / width;
  return std::exp(-0.5 * z * z);
}

std::size_t HighestOf(const std::vector<double>& values) {
  return static_cast<std::size_t>(std::max_element(values.begin(), values.end()) - values.begin());
}

// Standard deviation of a bell around its highest sample: from where it falls to half, on the steeper side.
double WidthAround(const Curve& curve, std::size_t top, double base) {
  const double half = 0.5 * (curve.y[top] + base);
  std::size_t distance = 1;
  const auto isAbove = [&](std::size_t i) { return i < curve.y.size() && curve.y[i] > half; };
  while (isAbove(top + distance) && isAbove(top - distance)) ++distance;
  const std::size_t other = top + distance < curve.x.size() ? top + distance : top - distance;
  const double halfWidth = other < curve.x.size() ? std::abs(curve.x[other] - curve.x[top]) : 0.0;
  return halfWidth > 0.0 ? halfWidth / std::sqrt(2.0 * std::numbers::ln2) : 1.0;
}

double LargestMagnitude(const std::vector<double>& values) {
  double largest = 0.0;
  for (double value : values) largest = std::max(largest, std::abs(value));
  return largest > 0.0 ? largest : 1.0;
}

// Samples as the cost function sees them.
void Scale(Problem& problem, const Curve& curve, double offset, double unitX, double unitY) {
  for (double x : curve.x) problem.scaledX.push_back((x - offset) / unitX);
  for (double y : curve.y) problem.scaledY.push_back(y / unitY);
}

void SetMeanSquaredError(Problem& problem, double unitY) {
  problem.costName = "mean squared error";
  problem.costUnit = unitY * unitY;
}

void SetNorm(Problem& problem, double unitY) {
  problem.costName = "norm of the residuals";
  problem.costUnit = unitY;
}

Problem ProfileProblem(const Curve& curve) {
  Problem problem;
  const double base = *std::min_element(curve.y.begin(), curve.y.end());
  const std::size_t top = HighestOf(curve.y);
  const double width = WidthAround(curve, top, base);
  const double unitY = LargestMagnitude(curve.y);
  problem.names = {"B", "A", "mu", "sigma"};
  problem.start = {base, curve.y[top] - base, curve.x[top], width};
  problem.offsets = {0.0, 0.0, curve.x[top], 0.0};
  problem.units = {unitY, unitY, width, width};
  Scale(problem, curve, curve.x[top], width, unitY);
  SetMeanSquaredError(problem, unitY);
  problem.valueAt = [](const std::vector<double>& p, double x) { return p[0] + p[1] * Bell(x, p[2], p[3]); };
  problem.cost = std::make_unique<Fitted<MTH_FUNCT_PROFILE_COST>>(
      *problem.evaluationsCount, static_cast<int>(curve.x.size()), problem.scaledX.data(),
      problem.scaledY.data());
  return problem;
}

// One unit for both axes: a catenary keeps its shape only when both are scaled alike.
Problem CatenaryProblem(const Curve& curve) {
  Problem problem;
  const double reach = LargestMagnitude(curve.x);
  const auto [low, high] = std::minmax_element(curve.y.begin(), curve.y.end());
  const double sag = *high - *low;
  const double scale =
      sag > 0.0 ? 0.5 * reach * reach / sag : reach;  // a (cosh(x / a) - 1) is about x^2 / 2a
  problem.names = {"a", "b"};
  problem.start = {scale, *low - scale};
  problem.offsets = {0.0, 0.0};
  problem.units = {reach, reach};
  Scale(problem, curve, 0.0, reach, reach);
  SetMeanSquaredError(problem, reach);
  problem.valueAt = [](const std::vector<double>& p, double x) { return p[0] * std::cosh(x / p[0]) + p[1]; };
  problem.cost = std::make_unique<Fitted<MTH_FUNCT_FIND_CHAINETTE>>(
      *problem.evaluationsCount, static_cast<int>(curve.x.size()), problem.scaledX.data(),
      problem.scaledY.data());
  return problem;
}

Problem RayleighProblem(const Curve& curve) {
  Problem problem;
  const double step = EvenStep(curve);
  const double unitY = LargestMagnitude(curve.y);
  const std::size_t top = HighestOf(curve.y);
  std::size_t onset = top;
  while (onset > 0 && curve.y[onset] > 0.05 * curve.y[top]) --onset;
  const double width = std::max(curve.x[top] - curve.x[onset], step);
  const double origin = curve.x.front();
  problem.names = {"A", "mu", "sigma"};
  problem.start = {curve.y[top] * width * std::exp(0.5), curve.x[onset], width};
  problem.offsets = {0.0, origin, 0.0};
  problem.units = {step * unitY, step, step};
  Scale(problem, curve, origin, step, unitY);
  SetNorm(problem, unitY);
  problem.valueAt = [](const std::vector<double>& p, double x) {
    return x < p[1] ? 0.0 : (x - p[1]) * p[0] / (p[2] * p[2]) * Bell(x, p[1], p[2]);
  };
  problem.cost = std::make_unique<Fitted<MTH_FUNCT_AJUST_RAYLEIGH_COST>>(
      *problem.evaluationsCount, problem.scaledY.data(), static_cast<int>(curve.y.size()));
  return problem;
}

// The start takes the highest peak, then the highest of what is left without it, and so on.
Problem GaussiansProblem(const Curve& curve, int gaussians) {
  Problem problem;
  const double step = EvenStep(curve);
  const double unitY = LargestMagnitude(curve.y);
  const double origin = curve.x.front();
  Curve rest = curve;
  for (int g = 1; g <= gaussians; ++g) {
    const std::size_t top = HighestOf(rest.y);
    const double height = rest.y[top];
    const double width = WidthAround(rest, top, 0.0);
    const std::string number = gaussians > 1 ? std::to_string(g) : "";
    for (const char* name : {"A", "mu", "sigma"}) problem.names.push_back(name + number);
    for (double value : {height * kRootOfTwoPi * width, curve.x[top], width}) problem.start.push_back(value);
    for (double offset : {0.0, origin, 0.0}) problem.offsets.push_back(offset);
    for (double unit : {step * unitY, step, step}) problem.units.push_back(unit);
    for (std::size_t i = 0; i < rest.x.size(); ++i)
      rest.y[i] -= height * Bell(rest.x[i], curve.x[top], width);
  }
  Scale(problem, curve, origin, step, unitY);
  SetNorm(problem, unitY);
  problem.valueAt = [](const std::vector<double>& p, double x) {
    double sum = 0.0;
    for (std::size_t g = 0; g < p.size(); g += 3) {
      sum += p[g] / (kRootOfTwoPi * p[g + 2]) * Bell(x, p[g + 1], p[g + 2]);
    }
    return sum;
  };
  problem.cost = std::make_unique<Fitted<MTH_FUNCT_AJUST_GAUSS_COST>>(
      *problem.evaluationsCount, problem.scaledY.data(), static_cast<int>(curve.y.size()), gaussians);
  return problem;
}

Problem ProblemOf(const Options& options, const Curve& curve) {
  if (options.model == "catenary") return CatenaryProblem(curve);
  if (options.model == "rayleigh") return RayleighProblem(curve);
  if (options.model == "gaussians") return GaussiansProblem(curve, options.gaussians);
  return ProfileProblem(curve);
}

}  // namespace

std::vector<double> Problem::ToCost(const std::vector<double>& parameters) const {
  std::vector<double> scaled;
  for (std::size_t k = 0; k < units.size(); ++k) scaled.push_back((parameters[k] - offsets[k]) / units[k]);
  return scaled;
}

std::vector<double> Problem::Parameters() const {
  std::vector<double> parameters;
  for (std::size_t k = 0; k < units.size(); ++k) {
    parameters.push_back(offsets[k] + units[k] * cost->GetParameters()[k]);
  }
  return parameters;
}

Problem MakeProblem(const Options& options, const Curve& curve) {
  Problem problem = ProblemOf(options, curve);
  const std::size_t wanted = problem.names.size();
  if (problem.cost->GetParametersCount() == 0) throw example::Failure("not enough memory");
  if (curve.x.size() < wanted) {
    throw example::Failure("this model needs at least " + std::to_string(wanted) + " samples");
  }
  if (!options.start.empty()) problem.start = options.start;
  if (problem.start.size() != wanted) {
    throw example::Failure("--start needs " + std::to_string(wanted) + " numbers for this model");
  }
  for (double value : problem.ToCost(problem.start)) {
    if (!std::isfinite(value)) throw example::Failure("no finite parameters to start from");
  }
  return problem;
}

}  // namespace fit_curve
