#include <benchmark/benchmark.h>

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <random>
#include <vector>

#include "mth/image/Mth_texture.h"
#include "mth/matrix/Mth_matrix.h"

// All 14 features of a co-occurrence matrix of n x n grey levels, one after the other as a host asks for
// them, against one plain loop a feature over the same elements.

namespace {

using benchmark::State;

enum class Kind { Dense, Sparse };

// Dense: every pair of levels occurs. Sparse: those of a smooth image, near the diagonal.
MTH_MATRIX Pairs(int n, Kind kind) {
  std::mt19937 engine(1);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  MTH_MATRIX p(n, n, 0);
  double total = 0.0;
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j <= i; ++j) {
      const double density = kind == Kind::Dense ? 1.0 : std::exp(-0.5 * (i - j) * (i - j) / 400.0);
      const double count = uniform(engine) <= density ? 1.0 + std::floor(100.0 * uniform(engine)) : 0.0;
      p.Set(i, j, count);
      p.Set(j, i, count);
      total += i == j ? count : 2.0 * count;
    }
  }
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < n; ++j) p.Set(i, j, p.Get(i, j) / total);
  }
  return p;
}

template <class Function>
void RunAll(State& state, Function sumOfFeatures) {
  const auto n = static_cast<int>(state.range(0));
  MTH_MATRIX p = Pairs(n, state.range(1) == 0 ? Kind::Dense : Kind::Sparse);
  for (auto _ : state) {
    benchmark::DoNotOptimize(sumOfFeatures(p));
    benchmark::ClobberMemory();
  }
}

double SumOfFeatures(MTH_MATRIX& p) {
  double (*const features[])(MTH_MATRIX*) = {Mth_Contrast,        Mth_Energy,         Mth_Mean,
                                             Mth_Variance,        Mth_Entropy,        Mth_Correlation,
                                             Mth_MeanSum,         Mth_VarSum,         Mth_EntSum,
                                             Mth_VarDifferences,  Mth_EntDifferences, Mth_CorrelationInfo1,
                                             Mth_CorrelationInfo2};
  double sum = static_cast<double>(Mth_Homogeneity(&p));
  for (const auto feature : features) sum += feature(&p);
  return sum;
}

// One plain loop a feature, on the elements in place.
class PlainFeatures {
 public:
  explicit PlainFeatures(const MTH_MATRIX& p) : n_(p.GetNbRows()), elements_(p.GetEDataAddress()) {}

  double Sum() const {
    return Contrast() + static_cast<double>(Homogeneity()) + Energy() + Mean() + Variance() + Entropy() +
           Correlation() + MeanSum() + VarSum() - Logarithms(LevelSums()) + VarDifferences() +
           Logarithms(LevelDifferences()) + Information1() + Information2();
  }

 private:
  using Values = std::vector<double>;

  double At(int i, int j) const { return elements_[static_cast<std::ptrdiff_t>(i) * n_ + j]; }
  template <class Visit>
  void ForEach(Visit visit) const {
    for (int i = 0; i < n_; ++i) {
      for (int j = 0; j < n_; ++j) visit(i, j, At(i, j));
    }
  }
  template <class Sum = double, class Term>
  Sum SumOf(Term term) const {
    Sum sum = 0;
    ForEach([&](int i, int j, double value) { sum += term(i, j, value); });
    return sum;
  }
  double Contrast() const {
    return SumOf([](int i, int j, double value) { return (i - j) * (i - j) * value; });
  }
  float Homogeneity() const {
    return SumOf<float>([](int i, int j, double value) {
      return static_cast<float>(value) / static_cast<float>(1 + (i - j) * (i - j));
    });
  }
  double Energy() const {
    return SumOf([](int, int, double value) { return value * value; });
  }
  double Mean() const {
    return SumOf([](int, int, double value) { return value; });
  }
  double Variance() const {
    const double mean = Mean();
    return SumOf([mean](int i, int, double value) { return (i - mean) * (i - mean) * value; });
  }
  double Entropy() const {
    return -SumOf([](int, int, double value) { return value != 0.0 ? value * std::log(value) : 0.0; });
  }
  Values RowSums() const {
    Values sums(Count(n_));
    ForEach([&](int i, int, double value) { sums[Count(i)] += value; });
    return sums;
  }
  Values ColumnSums() const {
    Values sums(Count(n_));
    ForEach([&](int, int j, double value) { sums[Count(j)] += value; });
    return sums;
  }
  Values LevelSums() const {
    Values sums(Count(2 * n_ - 1));
    ForEach([&](int i, int j, double value) {
      if (i + j >= 2) sums[Count(i + j - 2)] += value;
    });
    return sums;
  }
  Values LevelDifferences() const {
    Values sums(Count(n_));
    ForEach([&](int i, int j, double value) { sums[Count(std::abs(i - j))] += value; });
    return sums;
  }
  static std::size_t Count(int index) { return static_cast<std::size_t>(index); }
  static double Logarithms(const Values& values) {
    double sum = 0.0;
    for (const double value : values) sum += value != 0.0 ? value * std::log(value) : 0.0;
    return sum;
  }
  static double SumOfSquares(const Values& values, double mean) {
    double sum = 0.0;
    for (std::size_t k = 0; k < values.size(); ++k) {
      const double distance = static_cast<double>(k) - mean;
      sum += distance * distance * values[k];
    }
    return sum;
  }
  double Correlation() const {
    Values rows = RowSums();
    Values columns = ColumnSums();
    double mx = 0.0;
    double my = 0.0;
    for (int i = 0; i < n_; ++i) {
      mx += i * (rows[Count(i)] /= n_);
      my += i * (columns[Count(i)] /= n_);
    }
    double products = 0.0;
    double vi = 0.0;
    double vj = 0.0;
    ForEach([&](int i, int j, double value) {
      products += i * j * value;
      vi += (i - rows[Count(i)]) * (i - rows[Count(i)]) * value;
      vj += (j - columns[Count(j)]) * (j - columns[Count(j)]) * value;
    });
    return (products - mx * my) / (std::sqrt(vj) * std::sqrt(vi));
  }
  double MeanSum() const {
    const Values sums = LevelSums();
    double sum = 0.0;
    for (std::size_t k = 0; k < sums.size(); ++k) sum += static_cast<double>(k + 2) * sums[k];
    return sum;
  }
  double VarSum() const {
    const double mean = MeanSum();
    return SumOfSquares(LevelSums(), mean);
  }
  double VarDifferences() const {
    const Values differences = LevelDifferences();
    double mean = 0.0;
    for (const double value : differences) mean += value;
    return SumOfSquares(differences, mean / n_);
  }
  template <class Weight>
  double CrossEntropy(const Values& px, const Values& py, Weight weight) const {
    return -SumOf([&](int i, int j, double value) {
      const double product = px[Count(i)] * py[Count(j)];
      return product != 0.0 ? weight(value, product) * std::log(product) : 0.0;
    });
  }
  double Information1() const {
    const Values px = RowSums();
    const Values py = ColumnSums();
    const double hx = -Logarithms(px);
    const double hy = -Logarithms(py);
    const double hxy1 = CrossEntropy(px, py, [](double value, double) { return value; });
    return (Entropy() - hxy1) / (hx < hy ? hy : hx);
  }
  double Information2() const {
    const double hxy2 = CrossEntropy(RowSums(), ColumnSums(), [](double, double product) { return product; });
    return std::sqrt(1.0 - std::exp(-2.0 * (hxy2 - Entropy())));
  }

  int n_;
  const double* elements_;
};

void Mth(State& state) {
  RunAll(state, SumOfFeatures);
}
void Plain(State& state) {
  RunAll(state, [](MTH_MATRIX& p) { return PlainFeatures(p).Sum(); });
}
BENCHMARK(Mth)
    ->Name("14 features/mth")
    ->ArgNames({"levels", "sparse"})
    ->Args({256, 0})
    ->Args({256, 1})
    ->Args({64, 0})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(Plain)
    ->Name("14 features/plain loops")
    ->ArgNames({"levels", "sparse"})
    ->Args({256, 0})
    ->Args({256, 1})
    ->Args({64, 0})
    ->Unit(benchmark::kMicrosecond);

template <auto kFeature>
void One(State& state) {
  RunAll(state, [](MTH_MATRIX& p) { return static_cast<double>(kFeature(&p)); });
}
BENCHMARK(One<Mth_Contrast>)->Name("contrast/mth")->Args({256, 0})->Unit(benchmark::kMicrosecond);
BENCHMARK(One<Mth_Correlation>)->Name("correlation/mth")->Args({256, 0})->Unit(benchmark::kMicrosecond);
BENCHMARK(One<Mth_Entropy>)->Name("entropy/mth")->Args({256, 0})->Unit(benchmark::kMicrosecond);
BENCHMARK(One<Mth_MeanSum>)->Name("mean of sums/mth")->Args({256, 0})->Unit(benchmark::kMicrosecond);
BENCHMARK(One<Mth_EntDifferences>)
    ->Name("entropy of differences/mth")
    ->Args({256, 0})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(One<Mth_CorrelationInfo1>)
    ->Name("information 1/mth")
    ->Args({256, 0})
    ->Unit(benchmark::kMicrosecond);
BENCHMARK(One<Mth_CorrelationInfo2>)
    ->Name("information 2/mth")
    ->Args({256, 0})
    ->Unit(benchmark::kMicrosecond);

}  // namespace
