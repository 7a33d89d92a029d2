
#include "support/operations/operations.h"
#include "support/operations/scratch_file.h"

// The minimisers, on costs whose arithmetic no compiler can change.

namespace mth_test {
namespace {

// Polynomial costs of any number of parameters. Every product is a statement of its own.
class PolynomialCost : public MTH_FUNCT {
 public:
  PolynomialCost(int n, bool isQuadratic) : MTH_FUNCT(n), isQuadratic_(isQuadratic), moves_(17) {}

  void Evaluate() override {
    const double* const x = GetParameters();
    double sum = 1.5;
    for (int i = 0; i < GetParametersCount(); ++i) {
      const double fromMinimum = x[i] - (0.75 + 0.25 * i);
      sum += Square(fromMinimum);
      if (isQuadratic_ || i == 0) continue;
      const double bend = x[i] - Square(x[i - 1]);
      sum += Square(bend);
    }
    SetValue(sum);
  }

  // The bends and the distances from the minimum, and one that none of the parameters changes.
  int GetResidualsCount() const override { return 2 * GetParametersCount(); }
  bool EvaluateResiduals(double* residuals) override {
    const double* const x = GetParameters();
    for (int i = 0; i < GetParametersCount(); ++i) {
      residuals[2 * i] = x[i] - (0.75 + 0.25 * i);
      residuals[2 * i + 1] = isQuadratic_ || i == 0 ? 0.5 : x[i] - Square(x[i - 1]);
    }
    return true;
  }

  bool SimAnnComputeTransition() override {
    moved_ = moves_.Below(GetParametersCount());
    former_ = GetParameters()[moved_];
    const double step = GetSimAnnParam()->stepAmplitude * moves_();
    GetParameters()[moved_] = former_ + step;
    return true;
  }
  bool SimAnnComputeInverseTransition() override {
    GetParameters()[moved_] = former_;
    return true;
  }

 private:
  static double Square(double v) {
    volatile double square = v * v;  // rounded here, whatever the host's flags fuse
    return square;
  }

  bool isQuadratic_;
  Numbers moves_;
  int moved_ = 0;
  double former_ = 0.0;
};

void CountState(Trial& t, const MTH_FUNCT& cost) {
  t.Count(cost.GetParameters(), cost.GetParametersCount());
  t.Count(cost.GetValue());
}

using Minimise = void (*)(Trial&, MTH_FUNCT&, double* start);

void Add(Operations& list, const std::string& name, Minimise minimise) {
  for (const int n : {1, 2, 3, 6}) {
    for (const bool isQuadratic : {true, false}) {
      const std::string variant = std::to_string(n) + (isQuadratic ? "/quadratic" : "/quartic");
      list.push_back({"optimise/" + name + "/" + variant, [=](Trial& t) {
                        PolynomialCost cost(n, isQuadratic);
                        cost.SetDefined(true);
                        cost.SetGradientStep(0.015625);
                        auto start = Values(n, 700);
                        minimise(t, cost, start.data());
                        CountState(t, cost);
                      }});
    }
  }
}

void AddDescents(Operations& list) {
  Add(list, "ComputeOptimumPowell", [](Trial& t, MTH_FUNCT& cost, double* start) {
    short iterations = -1;
    t([&] { return cost.ComputeOptimumPowell(start, 40, 1e-9, &iterations, true); });
    t.Count(iterations);
  });
  Add(list, "ComputeOptimumMarLev", [](Trial& t, MTH_FUNCT& cost, double*) {
    short iterations = -1;
    t([&] { return cost.ComputeOptimumMarLev(&iterations); });
    t.Count(iterations);
  });
  Add(list, "ComputeOptimumQNBFGS", [](Trial& t, MTH_FUNCT& cost, double* start) {
    short iterations = -1;
    t([&] { return cost.ComputeOptimumQNBFGS(start, 1e-8, &iterations); });
    t.Count(iterations);
  });
  Add(list, "ComputeOptimum_Nelder_Mead", [](Trial& t, MTH_FUNCT& cost, double* start) {
    int iterations = -1;
    t([&] { return cost.ComputeOptimum_Nelder_Mead(start, 1e-9, 300, &iterations); });
    t.Count(iterations);
  });
  Add(list, "Compute_Optimum_Steepes", [](Trial& t, MTH_FUNCT& cost, double* start) {
    int iterations = -1;
    t([&] { return cost.Compute_Optimum_Steepes(start, 1e-9, 300, &iterations); });
    t.Count(iterations);
  });
  Add(list, "ComputeOptimumLeastSquares", [](Trial& t, MTH_FUNCT& cost, double* start) {
    int iterations = -1;
    t([&] { return cost.ComputeOptimumLeastSquares(start, 1e-12, 100, &iterations); });
    const double* const covariance = cost.GetCovariance();
    const std::ptrdiff_t n = cost.GetParametersCount();
    t.CountAll(iterations, static_cast<int>(cost.GetStopReason()), covariance != nullptr);
    if (covariance != nullptr) t.Count(covariance, n * n);
  });
  Add(list, "ComputeOptimumLM", [](Trial& t, MTH_FUNCT& cost, double* start) {
    t([&] { return cost.ComputeOptimumLM(start, start); });
  });
}

int FixedHundredths() {
  return 4711;
}

void AddAnnealing(Operations& list) {
  Add(list, "ComputeOptimumSimmulatedAnnealing", [](Trial& t, MTH_FUNCT& cost, double* start) {
    SIMULATED_ANNEALING_PARAM settings = {0.875, 50, 6, 40, 30, 4.0, 0.0009765625, 0.5, 0.9375, 0, 0.0};
    short iterations = -1;
    int (*const former)() = Mth_SetRandomClock(FixedHundredths);
    t([&] { return cost.ComputeOptimumSimmulatedAnnealing(&settings, start, 0, 0.0, &iterations); });
    Mth_SetRandomClock(former);
    t.CountAll(iterations, cost.GetSimAnnParam()->stepAmplitude);
  });
  list.push_back({"optimise/SimulatedAnnealingProba", [](Trial& t) {
                    // Moves that are certain: others depend on the C library's generator.
                    PolynomialCost cost(1, true);
                    t([&] { return cost.SimulatedAnnealingProba(2.0, -0.5); });
                    t([&] { return cost.SimulatedAnnealingProba(0.5, 400.0); });
                  }});
}

void AddSteps(Operations& list) {
  Add(list, "EvaluateAtPoint", [](Trial& t, MTH_FUNCT& cost, double* start) {
    t([&] { cost.SetParameters(start); });
    t([&] { return cost.EvaluateAtPoint(start); });
  });
  Add(list, "ComputeGradient", [](Trial& t, MTH_FUNCT& cost, double* start) {
    cost.SetParameters(start);
    t([&] { cost.ComputeGradient(); });
    t.Count(cost.GetGradient(), cost.GetParametersCount());
  });
  Add(list, "ComputeHessian", [](Trial& t, MTH_FUNCT& cost, double* start) {
    cost.SetParameters(start);
    t([&] { cost.ComputeHessian(); });
    t.Count(cost.GetHessian(), std::ptrdiff_t{cost.GetParametersCount()} * cost.GetParametersCount());
  });
  Add(list, "LinMin", [](Trial& t, MTH_FUNCT& cost, double* start) {
    auto direction = Values(cost.GetParametersCount(), 701);
    cost.SetParameters(start);
    t([&] { cost.LinMin(start, direction.data()); });
    t.Count(start, cost.GetParametersCount());
    t.Count(direction);
    t([&] { return cost.F1dim(0.375); });
    t([&] { cost.Mnbrak(); });
    t([&] { cost.Brent(); });
  });
  Add(list, "InitiateMatrixForNelderMead", [](Trial& t, MTH_FUNCT& cost, double*) {
    const int n = cost.GetParametersCount();
    MTH_MATRIX simplex = Matrix(n + 1, n, 0, 702);
    t([&] { cost.InitiateMatrixForNelderMead(&simplex); });
    t.Count(simplex);
  });
  Add(list, "SaveParameters", [](Trial& t, MTH_FUNCT& cost, double* start) {
    const TemporaryPath file;
    cost.SetParameters(start);
    cost.SetValue(-2.0625);
    t([&] { return cost.SaveParameters(file.Path().c_str()); });
    t.Count(file.Bytes());
  });
}

}  // namespace

void AddMinimiserOperations(Operations& list) {
  AddDescents(list);
  AddAnnealing(list);
  AddSteps(list);
}

}  // namespace mth_test
