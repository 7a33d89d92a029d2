#include <benchmark/benchmark.h>

#include <limits>
#include <memory>
#include <vector>

#include "linear_algebra_data.h"
#include "mth/Mth.h"

#ifdef MTH_HAS_EIGEN
#include <Eigen/Dense>
#endif
#if defined(MTH_HAS_LAPACKE) && defined(MTH_HAS_OPENBLAS)
#include <cblas.h>
#include <lapacke.h>
#endif

// Systems of a few unknowns, systems of one right-hand side, wide matrices, and a product with a NaN in it.

namespace {

using mth_benchmark::Elements;
using mth_benchmark::Random;
using Matrix = std::unique_ptr<MTH_MATRIX>;

int Size(const benchmark::State& state) {
  return static_cast<int>(state.range(0));
}

void SmallLU(benchmark::State& state) {
  const MTH_MATRIX a = Random(Size(state), Size(state));
  for (auto _ : state) {
    int* permutation = nullptr;
    const Matrix factors(a.LU(&permutation));
    const std::unique_ptr<int[]> owned(permutation);
    benchmark::DoNotOptimize(factors->GetEDataAddress());
  }
}
BENCHMARK(SmallLU)->Name("small_lu/mth")->Arg(3)->Arg(4)->Arg(8);

void SmallDeterminant(benchmark::State& state) {
  const MTH_MATRIX a = Random(Size(state), Size(state));
  for (auto _ : state) benchmark::DoNotOptimize(a.Det());
}
BENCHMARK(SmallDeterminant)->Name("small_determinant/mth")->Arg(3)->Arg(4)->Arg(8);

void SmallInverse(benchmark::State& state) {
  const MTH_MATRIX a = Random(Size(state), Size(state));
  for (auto _ : state) benchmark::DoNotOptimize(Matrix(a.Inverse()));
}
BENCHMARK(SmallInverse)->Name("small_inverse/mth")->Arg(3)->Arg(4)->Arg(8);

void SolveOne(benchmark::State& state) {
  const MTH_MATRIX a = Random(Size(state), Size(state));
  const MTH_MATRIX b = Random(Size(state), 1);
  for (auto _ : state) benchmark::DoNotOptimize(Matrix(a.SolveLinearSystemByLU(b)));
}
BENCHMARK(SolveOne)->Name("solve_one/mth")->Arg(3)->Arg(4)->Arg(8)->Arg(100)->Arg(512)->Arg(1000);

void WideSVD(benchmark::State& state) {
  const MTH_MATRIX a = Random(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  for (auto _ : state) {
    MTH_MATRIX* factors[3];
    benchmark::DoNotOptimize(a.SVD(&factors[0], &factors[1], &factors[2]));
    for (MTH_MATRIX* factor : factors) delete factor;
  }
}
BENCHMARK(WideSVD)->Name("svd_wide/mth")->Args({64, 512})->Args({512, 64});

// With 0, 1 or 2 elements that are not finite: a NaN, or both infinities in a row of the left factor.
void Product(benchmark::State& state) {
  MTH_MATRIX a = Random(512, 512);
  const MTH_MATRIX b = Random(512, 512);
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  if (state.range(0) == 1) a.Set(100, 100, std::numeric_limits<double>::quiet_NaN());
  if (state.range(0) == 2) {
    a.Set(100, 100, kInfinity);
    a.Set(100, 101, -kInfinity);
  }
  for (auto _ : state) benchmark::DoNotOptimize(Matrix(a * b));
}
BENCHMARK(Product)->Name("product_not_finite/mth")->Arg(0)->Arg(1)->Arg(2);

void InverseWithNaN(benchmark::State& state) {
  MTH_MATRIX a = Random(512, 512);
  if (state.range(0) == 1) a.Set(100, 200, std::numeric_limits<double>::quiet_NaN());
  for (auto _ : state) benchmark::DoNotOptimize(Matrix(a.Inverse()));
}
BENCHMARK(InverseWithNaN)->Name("inverse_not_finite/mth")->Arg(0)->Arg(1);

#ifdef MTH_HAS_EIGEN
using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

Eigen::MatrixXd EigenRandom(int rows, int columns) {
  const std::vector<double> elements = Elements(rows, columns);
  return Eigen::Map<const RowMajor>(elements.data(), rows, columns);
}

void EigenSmallLU(benchmark::State& state) {
  const Eigen::MatrixXd a = EigenRandom(Size(state), Size(state));
  for (auto _ : state) benchmark::DoNotOptimize(Eigen::PartialPivLU<Eigen::MatrixXd>(a));
}
BENCHMARK(EigenSmallLU)->Name("small_lu/eigen")->Arg(3)->Arg(4)->Arg(8);

void EigenSmallDeterminant(benchmark::State& state) {
  const Eigen::MatrixXd a = EigenRandom(Size(state), Size(state));
  for (auto _ : state) benchmark::DoNotOptimize(a.determinant());
}
BENCHMARK(EigenSmallDeterminant)->Name("small_determinant/eigen")->Arg(3)->Arg(4)->Arg(8);

void EigenSmallInverse(benchmark::State& state) {
  const Eigen::MatrixXd a = EigenRandom(Size(state), Size(state));
  for (auto _ : state) {
    const Eigen::MatrixXd x = a.inverse();
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK(EigenSmallInverse)->Name("small_inverse/eigen")->Arg(3)->Arg(4)->Arg(8);

void EigenSolveOne(benchmark::State& state) {
  const Eigen::MatrixXd a = EigenRandom(Size(state), Size(state));
  const Eigen::VectorXd b = EigenRandom(Size(state), 1);
  for (auto _ : state) {
    const Eigen::VectorXd x = a.partialPivLu().solve(b);
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK(EigenSolveOne)->Name("solve_one/eigen")->Arg(3)->Arg(4)->Arg(8);
#endif

#if defined(MTH_HAS_LAPACKE) && defined(MTH_HAS_OPENBLAS)
void LapackSolveOne(benchmark::State& state) {
  openblas_set_num_threads(1);
  const int n = Size(state);
  const std::vector<double> a = Elements(n, n);
  const std::vector<double> b = Elements(n, 1);
  std::vector<int> pivots(static_cast<std::size_t>(n));
  for (auto _ : state) {
    std::vector<double> factors = a;
    std::vector<double> x = b;
    LAPACKE_dgesv(LAPACK_COL_MAJOR, n, 1, factors.data(), n, pivots.data(), x.data(), n);
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK(LapackSolveOne)->Name("solve_one/lapack")->Arg(100)->Arg(512)->Arg(1000);
#endif

}  // namespace
