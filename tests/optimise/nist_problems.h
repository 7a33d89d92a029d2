#pragma once

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <fstream>
#include <functional>
#include <numbers>
#include <sstream>
#include <string>
#include <vector>

#include "mth/optimise/Mth_funct.h"

// The 27 non-linear problems of NIST's Statistical Reference Datasets (www.itl.nist.gov/div898/strd): the
// models here; data, two starts, certified parameters with their deviations and residual sums of squares in
// the files.

namespace mth_test {

struct NistProblem {
  using Model = std::function<double(const double* b, double x, double x2)>;

  std::string name;
  Model model;
  std::vector<double> y = {};
  std::vector<double> x = {};
  std::vector<double> x2 = {};  // 0 where there is one predictor
  std::vector<std::vector<double>> starts = {{}, {}};
  std::vector<double> certified = {};
  std::vector<double> deviations = {};
  double squareSum = 0.0;
};

/// The residuals of such a problem, model minus data.
class NistCost : public MTH_FUNCT {
 public:
  explicit NistCost(const NistProblem& problem)
      : MTH_FUNCT(static_cast<int>(problem.certified.size())), problem_(problem) {}
  void Evaluate() override {
    std::vector<double> residuals(problem_.y.size());
    EvaluateResiduals(residuals.data());
    double sum = 0.0;
    for (const double residual : residuals) sum += residual * residual;
    SetValue(0.5 * sum);
  }
  int GetResidualsCount() const override { return static_cast<int>(problem_.y.size()); }
  bool EvaluateResiduals(double* residuals) override {
    ++evaluations;
    for (std::size_t i = 0; i < problem_.y.size(); ++i)
      residuals[i] = problem_.model(GetParameters(), problem_.x[i], problem_.x2[i]) - problem_.y[i];
    return true;
  }

  int evaluations = 0;

 private:
  const NistProblem& problem_;
};

/// Fills a problem from its file: 60 lines of text, in which the parameters stand, then the observations.
inline void ReadNistFile(const std::string& path, NistProblem& problem) {
  std::ifstream file(path);
  std::string line;
  for (int i = 0; i < 60 && std::getline(file, line); ++i) {
    double values[4];
    int number = 0;
    if (std::sscanf(line.c_str(), " b%d = %lf %lf %lf %lf", &number, values, values + 1, values + 2,
                    values + 3) == 5) {
      problem.starts[0].push_back(values[0]);
      problem.starts[1].push_back(values[1]);
      problem.certified.push_back(values[2]);
      problem.deviations.push_back(values[3]);
    }
    std::sscanf(line.c_str(), " Residual Sum of Squares: %lf", &problem.squareSum);
  }
  while (std::getline(file, line)) {
    std::istringstream numbers(line);
    double y = 0.0;
    double x = 0.0;
    double x2 = 0.0;
    if (!(numbers >> y >> x)) continue;
    problem.y.push_back(problem.name == "Nelson" ? std::log(y) : y);
    problem.x.push_back(x);
    problem.x2.push_back(numbers >> x2 ? x2 : 0.0);
  }
}

inline double Exponentials(const double* b, double x) {
  return b[0] * std::exp(-b[1] * x) + b[2] * std::exp(-b[3] * x) + b[4] * std::exp(-b[5] * x);
}

inline double DecayAndPeaks(const double* b, double x) {
  return b[0] * std::exp(-b[1] * x) + b[2] * std::exp(-std::pow((x - b[3]) / b[4], 2)) +
         b[5] * std::exp(-std::pow((x - b[6]) / b[7], 2));
}

inline double Decay(const double* b, double x) {
  return std::exp(-b[0] * x) / (b[1] + b[2] * x);
}

inline double CubicQuotient(const double* b, double x) {
  return (b[0] + x * (b[1] + x * (b[2] + x * b[3]))) / (1.0 + x * (b[4] + x * (b[5] + x * b[6])));
}

inline double Waves(const double* b, double x) {
  constexpr double kTurn = 2.0 * std::numbers::pi;
  return b[0] + b[1] * std::cos(kTurn * x / 12.0) + b[2] * std::sin(kTurn * x / 12.0) +
         b[4] * std::cos(kTurn * x / b[3]) + b[5] * std::sin(kTurn * x / b[3]) +
         b[7] * std::cos(kTurn * x / b[6]) + b[8] * std::sin(kTurn * x / b[6]);
}

inline std::vector<NistProblem> NistProblems(const std::string& folder) {
  using std::exp;
  using std::pow;
  const auto of = [](double (*model)(const double*, double)) {
    return [model](const double* b, double x, double) { return model(b, x); };
  };
  std::vector<NistProblem> problems = {
      {"Misra1a", of([](const double* b, double x) { return b[0] * (1.0 - exp(-b[1] * x)); })},
      {"Misra1b",
       of([](const double* b, double x) { return b[0] * (1.0 - pow(1.0 + b[1] * x / 2.0, -2.0)); })},
      {"Misra1c",
       of([](const double* b, double x) { return b[0] * (1.0 - pow(1.0 + 2.0 * b[1] * x, -0.5)); })},
      {"Misra1d", of([](const double* b, double x) { return b[0] * b[1] * x / (1.0 + b[1] * x); })},
      {"Bennett5", of([](const double* b, double x) { return b[0] * pow(b[1] + x, -1.0 / b[2]); })},
      {"BoxBOD", of([](const double* b, double x) { return b[0] * (1.0 - exp(-b[1] * x)); })},
      {"Chwirut1", of(Decay)},
      {"Chwirut2", of(Decay)},
      {"DanWood", of([](const double* b, double x) { return b[0] * pow(x, b[1]); })},
      {"Eckerle4",
       of([](const double* b, double x) { return b[0] / b[1] * exp(-0.5 * pow((x - b[2]) / b[1], 2)); })},
      {"ENSO", of(Waves)},
      {"Gauss1", of(DecayAndPeaks)},
      {"Gauss2", of(DecayAndPeaks)},
      {"Gauss3", of(DecayAndPeaks)},
      {"Hahn1", of(CubicQuotient)},
      {"Kirby2", of([](const double* b, double x) {
         return (b[0] + x * (b[1] + x * b[2])) / (1.0 + x * (b[3] + x * b[4]));
       })},
      {"Lanczos1", of(Exponentials)},
      {"Lanczos2", of(Exponentials)},
      {"Lanczos3", of(Exponentials)},
      {"MGH09",
       of([](const double* b, double x) { return b[0] * (x * x + x * b[1]) / (x * x + x * b[2] + b[3]); })},
      {"MGH10", of([](const double* b, double x) { return b[0] * exp(b[1] / (x + b[2])); })},
      {"MGH17",
       of([](const double* b, double x) { return b[0] + b[1] * exp(-x * b[3]) + b[2] * exp(-x * b[4]); })},
      {"Nelson", [](const double* b, double x, double x2) { return b[0] - b[1] * x * exp(-b[2] * x2); }},
      {"Rat42", of([](const double* b, double x) { return b[0] / (1.0 + exp(b[1] - b[2] * x)); })},
      {"Rat43",
       of([](const double* b, double x) { return b[0] / pow(1.0 + exp(b[1] - b[2] * x), 1.0 / b[3]); })},
      {"Roszman1", of([](const double* b, double x) {
         return b[0] - b[1] * x - std::atan(b[2] / (x - b[3])) / std::numbers::pi;
       })},
      {"Thurber", of(CubicQuotient)},
  };
  for (NistProblem& problem : problems) ReadNistFile(folder + "/" + problem.name + ".dat", problem);
  return problems;
}

}  // namespace mth_test
