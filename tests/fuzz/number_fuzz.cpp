// Sorting against the standard library, order statistics, correlations and special functions of any numbers.

#include <algorithm>

#include "fuzz/fuzz.h"

namespace mth_fuzz {
namespace {

bool HasNaN(const std::vector<double>& values) {
  return std::any_of(values.begin(), values.end(), [](double value) { return std::isnan(value); });
}

void TrySorts(Input& input, const std::vector<double>& values) {
  const int n = static_cast<int>(values.size());
  std::vector<double> sorted = values;
  const bool ascending = input.Byte() % 2 == 0;
  Mth_Sort(n, sorted.data(), ascending);
  std::vector<double> companions(values.size());
  std::vector<double> keys = values;
  for (std::size_t i = 0; i < companions.size(); ++i) companions[i] = static_cast<double>(i);
  Require(Mth_Sort(n, keys.data(), companions.data()));
  for (std::size_t i = 0; i < keys.size(); ++i) {  // each companion stays with its key, NaN or not
    const double original = values[static_cast<std::size_t>(companions[i])];
    Require(keys[i] == original || (std::isnan(keys[i]) && std::isnan(original)));
  }
  std::sort(companions.begin(), companions.end());
  for (std::size_t i = 0; i < companions.size(); ++i) Require(companions[i] == static_cast<double>(i));
  const std::vector<double> distinct = Mth_SortVector(values);
  Require(distinct.size() <= values.size());
  if (HasNaN(values)) return;
  std::vector<double> expected = values;
  std::sort(expected.begin(), expected.end());
  Require(keys == expected);
  std::vector<double> unique(expected.rbegin(), expected.rend());
  unique.erase(std::unique(unique.begin(), unique.end()), unique.end());
  Require(distinct == unique);
  if (!ascending) std::reverse(expected.begin(), expected.end());
  Require(sorted == expected);
}

void TryStatistics(std::vector<double>& x, std::vector<double>& y) {
  const int n = static_cast<int>(x.size());
  double outputs[12] = {};
  Mth_CorrelationRatioOfSpearman(x.data(), y.data(), n, &outputs[0], &outputs[1], &outputs[2], &outputs[3],
                                 &outputs[4]);
  Mth_StatisticalCriterionCalculations(x.data(), y.data(), n, &outputs[5], &outputs[6], &outputs[7],
                                       &outputs[8], &outputs[9], &outputs[10], &outputs[11], &outputs[0]);
  const double p = Mth_TestMannWhitney(x.data(), y.data(), n);
  Require(HasNaN(x) || HasNaN(y) || std::isnan(p) || p >= 0.0);
  int index = 0;
  Results results;
  results.Add(Mth_Median(x, index));
  results.Add(Mth_Mean(x) + Mth_StdDeviation(x) + Mth_Min(x) + Mth_Pente(x, y));
}

void TrySpecialFunctions(Input& input) {
  const double a = input.Any();
  const double b = input.Any();
  const double x = input.Any();
  Results results;
  results.Add(Mth_LogarithmGamma(a) + Mth_Gamma(b) + Mth_IncompleteBeta(a, b, x));
  const double erfc = Mth_ComplementaryErrorFunction(x);
  Require(std::isnan(x) ? std::isnan(erfc) : erfc >= 0.0 && erfc <= 2.0);
  results.Add(static_cast<double>(Mth_ErrorFunction(static_cast<float>(x))));
}

}  // namespace

void TryInput(const std::uint8_t* bytes, std::size_t count) {
  Input input(bytes, count);
  const int n = input.Size(0, 90);
  const auto draw = input.Byte() < 160 ? &Input::Finite : &Input::Any;
  std::vector<double> x = input.Numbers(n, draw);
  std::vector<double> y = input.Numbers(n, draw);
  TrySorts(input, x);
  TryStatistics(x, y);
  TrySpecialFunctions(input);
}

}  // namespace mth_fuzz
