#include <algorithm>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "mth/matrix/Mth_matrix.h"
#include "mth/statistics/Mth_descriptive.h"
#include "optimise/nist_problems.h"

// Not a matter of time: how many of NIST's certified digits the results have, as tables for docs/accuracy.md.
// The argument is the folder of the non-linear problems; data/reference without.

namespace {

constexpr double kAllDigits = 15.0;

// Of the worst of the values, at most 15.
double Digits(const std::vector<double>& found, const std::vector<double>& certified) {
  double least = kAllDigits;
  for (std::size_t i = 0; i < found.size(); ++i) {
    const double error = std::abs(found[i] / certified[i] - 1.0);
    const double digits = error > 0.0 ? -std::log10(error) : kAllDigits;
    least = std::isnan(error) ? 0.0 : std::min(least, digits);
  }
  return std::max(least, 0.0);
}

void PrintFits(const std::string& folder) {
  std::printf("| problem | from start 1: parameters, sum of squares | from start 2 |\n|---|---|---|\n");
  for (const mth_test::NistProblem& problem : mth_test::NistProblems(folder)) {
    std::printf("| %s", problem.name.c_str());
    for (std::vector<double> start : problem.starts) {
      mth_test::NistCost cost(problem);
      int iterations = 0;
      cost.ComputeOptimumLeastSquares(start.data(), 1e-13, 2000, &iterations);
      const double* b = cost.GetParameters();
      std::printf(" | %.1f, %.1f", Digits({b, b + problem.certified.size()}, problem.certified),
                  Digits({2.0 * cost.GetValue()}, {problem.squareSum}));
    }
    std::printf(" |\n");
  }
}

// A first value, then pairs around the mean; the deviation has the divisor n - 1.
void PrintSummary(const char* name, const std::vector<double>& values, double mean, double deviation) {
  const auto n = static_cast<double>(values.size());
  MTH_MATRIX column(static_cast<int>(values.size()), 1, 0);
  for (std::size_t i = 0; i < values.size(); ++i) column.Set(static_cast<int>(i), 0, values[i]);
  const std::unique_ptr<MTH_MATRIX> twoPasses(Mth_StdDeviationVector(&column));
  std::printf("| %s | %.1f | %.1f | %.1f |\n", name, Digits({Mth_Mean(values)}, {mean}),
              Digits({Mth_StdDeviation(values) * std::sqrt(n / (n - 1.0))}, {deviation}),
              Digits({twoPasses->Get(0, 0)}, {deviation}));
}

std::vector<double> Pairs(double first, double low, double high) {
  std::vector<double> values{first};
  for (int i = 0; i < 500; ++i) values.insert(values.end(), {low, high});
  return values;
}

// Polynomials of degree 5 at 0 to 20.
void PrintPolynomial(const char* name, double factor) {
  constexpr int kPoints = 21;
  constexpr int kTerms = 6;
  MTH_MATRIX powers(kPoints, kTerms, 0);
  MTH_MATRIX values(kPoints, 1, 0);
  std::vector<double> certified;
  for (int j = 0; j < kTerms; ++j) certified.push_back(std::pow(factor, j));
  for (int x = 0; x < kPoints; ++x) {
    double sum = 0.0;
    for (int j = 0; j < kTerms; ++j) {
      powers.Set(x, j, std::pow(x, j));
      sum += std::pow(x, j) * std::round(certified[static_cast<std::size_t>(j)] * 1e5);
    }
    values.Set(x, 0, sum / 1e5);
  }
  const std::unique_ptr<MTH_MATRIX> found(powers.SolveLinearSystemBySVD(values));
  std::vector<double> terms;
  for (int j = 0; j < kTerms; ++j) terms.push_back(found->Get(j, 0));
  std::printf("| %s | %.1f |\n", name, Digits(terms, certified));
}

}  // namespace

int main(int argumentsCount, char** arguments) {
  PrintFits(argumentsCount > 1 ? arguments[1] : "data/reference");
  std::printf("\n| data | mean | `Mth_StdDeviation` | `Mth_StdDeviationVector` |\n|---|---|---|---|\n");
  PrintSummary("NumAcc1", {10000001.0, 10000003.0, 10000002.0}, 10000002.0, 1.0);
  PrintSummary("NumAcc2", Pairs(1.2, 1.1, 1.3), 1.2, 0.1);
  PrintSummary("NumAcc3", Pairs(1000000.2, 1000000.1, 1000000.3), 1000000.2, 0.1);
  PrintSummary("NumAcc4", Pairs(10000000.2, 10000000.1, 10000000.3), 10000000.2, 0.1);
  std::printf("\n| data | `SolveLinearSystemBySVD` |\n|---|---|\n");
  PrintPolynomial("Wampler1", 1.0);
  PrintPolynomial("Wampler2", 0.1);
  return 0;
}
