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
  add("Hausdorff distance", 20000, [](Set& a, Set& b) {
    MTH_POINTER_LIST<MTH_3D_DOUBLE> first;
    MTH_POINTER_LIST<MTH_3D_DOUBLE> second;
    for (MTH_3D_DOUBLE& p : a) first.Add(&p);
    for (MTH_3D_DOUBLE& p : b) second.Add(&p);
    Mth_Hausdorff_Distance(&first, &second);
  });
  add("Hausdorff distance of arrays", 20000, [](Set& a, Set& b) {
    Mth_Hausdorff_Distance(a.data(), b.data(), static_cast<int>(a.size()), static_cast<int>(b.size()));
  });
  add("plane", 20000, [](Set& a, Set&) {
    double coefficients[4];
    Mth_3D_CalculCoeffPlan(a.data(), static_cast<short>(a.size()), coefficients);
  });
  add("transformed set", 20000, [](Set& a, Set&) {
    double angles[] = {10.0, 20.0, 30.0};
    double shift[] = {1.0, 2.0, 3.0};
    delete[] Mth_ApplyTransformationToSet(a.data(), static_cast<int>(a.size()), angles, shift);
  });
  add("start of a registration", 20000, [](Set& a, Set& b) {
    MTH_MATRIX_CHGREF change(static_cast<int>(a.size()), a.data(), b.data());
    change.ComputeByGeometricMethod();
  });
  add("registration by the shipped cost", 100, [](Set& a, Set& b) {
    MTH_MATRIX_CHGREF change(static_cast<int>(a.size()), a.data(), b.data());
    change.Optimise();
  });
  add("registration", 20000, [](Set& a, Set& b) {
    MTH_MATRIX_CHGREF change(static_cast<int>(a.size()), a.data(), b.data());
    change.ComputeFromSetsByQuaternion();
  });
  add("registration by mean distance", 1000, [](Set& a, Set& b) {
    MTH_MATRIX_CHGREF change(static_cast<int>(a.size()), a.data(), b.data());
    change.OptimiseMeanDistance();
  });
}

// Ten thousand evaluations of a cost, and every minimiser of it.
template <class MakeCost>
void AddCost(Cases& cases, const std::string& name, int size, Values start, MakeCost makeCost) {
  const auto add = [&](const std::string& what, auto run) {
    cases.push_back({"optimise/" + name + ", " + what, size, [=](Kind kind, int n) -> Run {
                       return [=, data = Make(kind, n)]() mutable {
                         Values x = start;
                         const auto cost = makeCost(data, n);
                         cost->SetParameters(x.data());
                         cost->SetGradientStep(0.01);
                         run(*cost, x.data());
                       };
                     }});
  };
  using F = MTH_FUNCT;
  add("evaluation", [](F& f, double* x) {
    for (int i = 0; i < 20; ++i) f.EvaluateAtPoint(x);
  });
  add("derivatives", [](F& f, double*) {
    f.ComputeGradient();
    f.ComputeHessian();
  });
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

}  // namespace

void mth_benchmark::AddPointsAndCosts(Cases& cases) {
  AddPoints(cases);
  AddCost(cases, "Gaussians", 1000, {100.0, 500.0, 100.0}, [](Values& data, int n) {
    return std::make_unique<MTH_FUNCT_AJUST_GAUSS_COST>(data.data(), n, 1);
  });
  AddCost(cases, "Rayleigh", 1000, {100.0, 5.0}, [](Values& data, int n) {
    return std::make_unique<MTH_FUNCT_AJUST_RAYLEIGH_COST>(data.data(), n);
  });
  AddCost(cases, "profile", 1000, {100.0, 5.0, 1.0, 1.0, 1.0, 1.0}, [](Values& data, int n) {
    Values x(data.size());
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = 0.01 * static_cast<double>(i);
    return std::make_unique<MTH_FUNCT_PROFILE_COST>(n, x.data(), data.data());
  });
  AddCost(cases, "catenary", 1000, {100.0, 5.0, 1.0, 1.0}, [](Values& data, int n) {
    Values x(data.size());
    for (std::size_t i = 0; i < x.size(); ++i) x[i] = 0.01 * static_cast<double>(i);
    return std::make_unique<MTH_FUNCT_FIND_CHAINETTE>(n, x.data(), data.data());
  });
}
