// Points, and the costs of minimisers: see costs.cpp.

#include "costs.h"

using namespace mth_benchmark;

namespace {

void AddPoints(Cases& cases) {
  const auto add = [&](const std::string& name, int size, auto operation) {
    cases.push_back({"geometry/" + name, size, [=](Kind kind, int count) -> Run {
                       const auto points = [&](unsigned seed, Kind of) {
                         const Values x = Make(of, 3 * count, seed);
                         std::vector<MTH_3D_DOUBLE> all;
                         for (std::size_t i = 0; i < x.size(); i += 3)
                           all.emplace_back(x[i], x[i + 1], x[i + 2]);
                         return all;
                       };
                       return [=, a = points(1, kind), b = points(2, Kind::Ordinary)]() mutable {
                         operation(a, b);
                       };
                     }});
  };
  using Set = std::vector<MTH_3D_DOUBLE>;
  add("Hausdorff distance", 200000, [](Set& a, Set& b) {
    MTH_POINTER_LIST<MTH_3D_DOUBLE> first;
    MTH_POINTER_LIST<MTH_3D_DOUBLE> second;
    for (MTH_3D_DOUBLE& p : a) first.Add(&p);
    for (MTH_3D_DOUBLE& p : b) second.Add(&p);
    Mth_Hausdorff_Distance(&first, &second);
  });
  add("Hausdorff distance of arrays", 200000, [](Set& a, Set& b) {
    Mth_Hausdorff_Distance(a.data(), b.data(), static_cast<int>(a.size()), static_cast<int>(b.size()));
  });
  add("plane", 32000, [](Set& a, Set&) {
    double coefficients[4];
    Mth_3D_CalculCoeffPlan(a.data(), static_cast<short>(a.size()), coefficients);
  });
  add("transformed set", 1000000, [](Set& a, Set&) {
    double angles[] = {10.0, 20.0, 30.0};
    double shift[] = {1.0, 2.0, 3.0};
    delete[] Mth_ApplyTransformationToSet(a.data(), static_cast<int>(a.size()), angles, shift);
  });
  add("start of a registration", 200000, [](Set& a, Set& b) {
    MTH_MATRIX_CHGREF change(static_cast<int>(a.size()), a.data(), b.data());
    change.ComputeByGeometricMethod();
  });
  add("refinement of a registration", 1000, [](Set& a, Set& b) {
    MTH_MATRIX_CHGREF change(static_cast<int>(a.size()), a.data(), b.data());
    change.Optimise();
  });
  add("registration", 1000000, [](Set& a, Set& b) {
    MTH_MATRIX_CHGREF change(static_cast<int>(a.size()), a.data(), b.data());
    change.ComputeFromSetsByQuaternion();
  });
  add("registration by mean distance", 4000, [](Set& a, Set& b) {
    MTH_MATRIX_CHGREF change(static_cast<int>(a.size()), a.data(), b.data());
    change.OptimiseMeanDistance();
  });
}

// A cost that counts its evaluations.
template <class Cost>
class Counted : public Cost {
 public:
  using Cost::Cost;
  void Evaluate() override {
    ++count_;
    Cost::Evaluate();
  }
  long Count() const { return count_; }

 private:
  long count_ = 0;
};

// Fits a exp(-b x) + c, with residuals, and with moves for the annealing.
class DecayCost : public MTH_FUNCT {
 public:
  explicit DecayCost(Values& data) : MTH_FUNCT(3), data_(data) { SetDefined(true); }

  void Evaluate() override {
    double sum = 0.0;
    for (std::size_t i = 0; i < data_.size(); ++i) sum += Residual(i) * Residual(i);
    SetValue(0.5 * sum);
  }
  int GetResidualsCount() const override { return static_cast<int>(data_.size()); }
  bool EvaluateResiduals(double* residuals) override {
    for (std::size_t i = 0; i < data_.size(); ++i) residuals[i] = Residual(i);
    return true;
  }
  bool SimAnnComputeTransition() override {
    for (int k = 0; k < 3; ++k) {
      former_[k] = GetParameters()[k];
      GetParameters()[k] += GetSimAnnParam()->stepAmplitude * (Mth_Random1(0) - 0.5);
    }
    return true;
  }
  bool SimAnnComputeInverseTransition() override {
    std::copy_n(former_, 3, GetParameters());
    return true;
  }

 private:
  double Residual(std::size_t i) const {
    const double* const p = GetParameters();
    return p[0] * std::exp(-p[1] * static_cast<double>(i) / static_cast<double>(data_.size())) + p[2] -
           data_[i];
  }

  Values& data_;
  double former_[3] = {};
};

int FixedHundredths() {
  return 4711;
}

// One minimiser of one cost; what it returns is how often it evaluated that.
using Minimise = void (*)(MTH_FUNCT&, double* start);

template <class MakeCost>
void AddMinimiser(Cases& cases, const std::string& name, int size, const Values& start, Minimise minimise,
                  bool counts, MakeCost makeCost) {
  const auto perform = [=](Values data) {
    Values x = start;
    const auto cost = makeCost(data, static_cast<int>(data.size()));
    cost->SetDefined(true);  // or it would ignore where to start
    cost->SetParameters(x.data());
    cost->SetGradientStep(0.01);
    minimise(*cost, x.data());
    return cost->Count();
  };
  cases.push_back(
      {name, size, [=](Kind kind, int n) -> Run { return [=, data = Make(kind, n)] { perform(data); }; }});
  if (counts) cases.back().evaluations = [=](Kind kind, int n) { return perform(Make(kind, n)); };
}

// Evaluations of a cost, and every minimiser of it.
template <class MakeCost>
void AddCost(Cases& cases, const std::string& name, int size, const Values& start, MakeCost makeCost) {
  using F = MTH_FUNCT;
  const auto add = [&](const std::string& what, Minimise minimise, bool counts = true) {
    AddMinimiser(cases, "optimise/" + name + ", " + what, size, start, minimise, counts, makeCost);
  };
  add(
      "evaluation",
      [](F& f, double* x) {
        for (int i = 0; i < 20; ++i) f.EvaluateAtPoint(x);
      },
      false);
  add(
      "derivatives",
      [](F& f, double*) {
        f.ComputeGradient();
        f.ComputeHessian();
      },
      false);
  add("Powell", [](F& f, double* x) {
    short count = 0;
    f.ComputeOptimumPowell(x, 5, 1e-6, &count, false);
  });
  add("BFGS", [](F& f, double* x) {
    short count = 5;
    f.ComputeOptimumQNBFGS(x, 1e-6, &count);
  });
  add("damped steps", [](F& f, double*) {
    short count = 5;
    f.ComputeOptimumMarLev(&count);
  });
  add("Nelder-Mead", [](F& f, double* x) {
    int count = 0;
    f.ComputeOptimum_Nelder_Mead(x, 1e-6, 50, &count);
  });
  add("steepest descent", [](F& f, double* x) {
    int count = 0;
    f.Compute_Optimum_Steepes(x, 1e-6, 50, &count);
  });
}

Values Abscissae(std::size_t count) {
  Values x(count);
  for (std::size_t i = 0; i < count; ++i) x[i] = 0.01 * static_cast<double>(i);
  return x;
}

void AddCosts(Cases& cases) {
  constexpr int kSamples = 4000;
  AddCost(cases, "Gaussians", kSamples, {100.0, 500.0, 100.0}, [](Values& data, int n) {
    return std::make_unique<Counted<MTH_FUNCT_AJUST_GAUSS_COST>>(data.data(), n, 1);
  });
  AddCost(cases, "Rayleigh", kSamples, {100.0, 5.0, 1.0}, [](Values& data, int n) {
    return std::make_unique<Counted<MTH_FUNCT_AJUST_RAYLEIGH_COST>>(data.data(), n);
  });
  AddCost(cases, "profile", kSamples, {100.0, 5.0, 1.0, 1.0}, [](Values& data, int n) {
    return std::make_unique<Counted<MTH_FUNCT_PROFILE_COST>>(n, Abscissae(data.size()).data(), data.data());
  });
  AddCost(cases, "catenary", kSamples, {100.0, 5.0}, [](Values& data, int n) {
    return std::make_unique<Counted<MTH_FUNCT_FIND_CHAINETTE>>(n, Abscissae(data.size()).data(), data.data());
  });
  const auto makeDecay = [](Values& data, int) { return std::make_unique<Counted<DecayCost>>(data); };
  const Values start{50.0, 1.0, 50.0};
  AddMinimiser(
      cases, "optimise/decay, least squares", 20000, start,
      [](MTH_FUNCT& f, double* x) {
        int count = 0;
        f.ComputeOptimumLeastSquares(x, 1e-9, 100, &count);
      },
      false, makeDecay);
  AddMinimiser(
      cases, "optimise/decay, annealing", 2000, start,
      [](MTH_FUNCT& f, double* x) {
        SIMULATED_ANNEALING_PARAM settings = {0.875, 20, 6, 20, 20, 4.0, 1e-3, 0.5, 0.9375, 0, 0.0};
        int (*const former)() = Mth_SetRandomClock(FixedHundredths);
        f.ComputeOptimumSimmulatedAnnealing(&settings, x, 0, 0.0, nullptr);
        Mth_SetRandomClock(former);
      },
      true, makeDecay);
}

// Two point sets, of which the first has the odd value.
struct Sets {
  explicit Sets(const Values& data)
      : first(MakePoints(data)), second(MakePoints(Make(Kind::Ordinary, static_cast<int>(data.size()), 2))) {}
  static std::vector<MTH_3D_DOUBLE> MakePoints(const Values& data) {
    std::vector<MTH_3D_DOUBLE> points;
    for (const double value : data) points.emplace_back(value, 200.0 - value, 0.01 * value * value);
    return points;
  }
  std::vector<MTH_3D_DOUBLE> first;
  std::vector<MTH_3D_DOUBLE> second;
  double start[6] = {};
};

class RegistrationCost : private Sets, public MTH_FUNCT_CHGREF_PARAM {
 public:
  explicit RegistrationCost(const Values& data)
      : Sets(data),
        MTH_FUNCT_CHGREF_PARAM(start, static_cast<int>(first.size()), first.data(), second.data()) {}
};

// The minimisation behind MTH_MATRIX_CHGREF::Optimise, whatever its points are.
void AddShippedRegistration(Cases& cases) {
  AddMinimiser(
      cases, "geometry/registration by the shipped cost", 1000, Values(6, 0.0),
      [](MTH_FUNCT& f, double*) {
        short count = 0;
        f.ComputeOptimumPowell(nullptr, 100, 1e-5, &count, false);
      },
      true, [](Values& data, int) { return std::make_unique<Counted<RegistrationCost>>(data); });
}

}  // namespace

void mth_benchmark::AddPointsAndCosts(Cases& cases) {
  AddPoints(cases);
  AddShippedRegistration(cases);
  AddCosts(cases);
}
