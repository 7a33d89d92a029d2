#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "linear_algebra_data.h"
#include "mth/Mth.h"

#if defined(MTH_HAS_LAPACKE) && defined(MTH_HAS_OPENBLAS)
#include <cblas.h>
#include <lapacke.h>
#endif

// The control-theory family and its peers on one thread: random matrices, the second one of a pencil made
// regular and the costs made positive by the identity.

namespace {

using mth_benchmark::Elements;
using Matrix = std::unique_ptr<MTH_MATRIX>;

// Uniform in [-1, 1], with this number added along the diagonal.
std::vector<double> Shifted(int size, double shift) {
  std::vector<double> elements = Elements(size, size);
  for (int i = 0; i < size; ++i)
    elements[static_cast<std::size_t>(i) * (static_cast<std::size_t>(size) + 1)] += shift;
  return elements;
}

MTH_MATRIX Random(int size, double shift = 0.0) {
  MTH_MATRIX matrix(size, size, 0);
  std::vector<double> elements = Shifted(size, shift);
  matrix.SetVector(elements.data(), size * size);
  return matrix;
}

MTH_MATRIX Identity(int size) {
  MTH_MATRIX matrix(size, size, 0);
  matrix.SetIdentity();
  return matrix;
}

int Size(const benchmark::State& state) {
  return static_cast<int>(state.range(0));
}

void Schur(benchmark::State& state) {
  const MTH_MATRIX a = Random(Size(state));
  for (auto _ : state) {
    MTH_MATRIX* q = nullptr;
    MTH_MATRIX* t = nullptr;
    benchmark::DoNotOptimize(a.SchurDecomposition(&q, &t));
    delete q;
    delete t;
  }
}
BENCHMARK(Schur)->Name("schur/mth")->Arg(4)->Arg(32)->Arg(128);

void QZ(benchmark::State& state) {
  const MTH_MATRIX a = Random(Size(state));
  const MTH_MATRIX b = Random(Size(state), 2.0);
  for (auto _ : state) {
    MTH_MATRIX* factors[4] = {};
    benchmark::DoNotOptimize(a.QZDecomposition(b, &factors[0], &factors[1], &factors[2], &factors[3]));
    for (MTH_MATRIX* factor : factors) delete factor;
  }
}
BENCHMARK(QZ)->Name("qz/mth")->Arg(4)->Arg(32)->Arg(128);

void Generalised(benchmark::State& state) {
  const MTH_MATRIX a = Random(Size(state));
  const MTH_MATRIX b = Random(Size(state), 2.0);
  for (auto _ : state) {
    MTH_COMPLEX* alphas = nullptr;
    MTH_COMPLEX* vectors = nullptr;
    double* betas = nullptr;
    benchmark::DoNotOptimize(a.GeneralisedEigenvalueProblem(b, &alphas, &betas, &vectors));
    delete[] alphas;
    delete[] betas;
    delete[] vectors;
  }
}
BENCHMARK(Generalised)->Name("generalised/mth")->Arg(4)->Arg(32)->Arg(128);

void Lyapunov(benchmark::State& state) {
  const MTH_MATRIX a = Random(Size(state));
  const MTH_MATRIX q = Identity(Size(state));
  for (auto _ : state) benchmark::DoNotOptimize(Matrix(a.SolveLyapunov(q)));
}
BENCHMARK(Lyapunov)->Name("lyapunov/mth")->Arg(4)->Arg(32)->Arg(128);

void Riccati(benchmark::State& state) {
  const MTH_MATRIX a = Random(Size(state));
  const MTH_MATRIX identity = Identity(Size(state));
  for (auto _ : state) benchmark::DoNotOptimize(Matrix(a.SolveRiccati(identity, identity, identity)));
}
BENCHMARK(Riccati)->Name("riccati/mth")->Arg(4)->Arg(32)->Arg(128);

void DiscreteRiccati(benchmark::State& state) {
  const MTH_MATRIX a = Random(Size(state));
  const MTH_MATRIX identity = Identity(Size(state));
  for (auto _ : state) benchmark::DoNotOptimize(Matrix(a.SolveDiscreteRiccati(identity, identity, identity)));
}
BENCHMARK(DiscreteRiccati)->Name("discrete_riccati/mth")->Arg(4)->Arg(32)->Arg(128);

#if defined(MTH_HAS_LAPACKE) && defined(MTH_HAS_OPENBLAS)
constexpr int kOrder = LAPACK_COL_MAJOR;

void LapackSchur(benchmark::State& state) {
  openblas_set_num_threads(1);
  const int n = Size(state);
  const std::vector<double> input = Shifted(n, 0.0);
  std::vector<double> real(static_cast<std::size_t>(n));
  std::vector<double> imaginary(real);
  std::vector<double> vectors(input);
  int count = 0;
  for (auto _ : state) {
    std::vector<double> a = input;
    LAPACKE_dgees(kOrder, 'V', 'N', nullptr, n, a.data(), n, &count, real.data(), imaginary.data(),
                  vectors.data(), n);
    benchmark::DoNotOptimize(vectors.data());
  }
}
BENCHMARK(LapackSchur)->Name("schur/lapack")->Arg(4)->Arg(32)->Arg(128);

void LapackQZ(benchmark::State& state) {
  openblas_set_num_threads(1);
  const int n = Size(state);
  const std::vector<double> inputA = Shifted(n, 0.0);
  const std::vector<double> inputB = Shifted(n, 2.0);
  std::vector<double> real(static_cast<std::size_t>(n));
  std::vector<double> imaginary(real);
  std::vector<double> betas(real);
  std::vector<double> left(inputA);
  std::vector<double> right(inputA);
  int count = 0;
  for (auto _ : state) {
    std::vector<double> a = inputA;
    std::vector<double> b = inputB;
    LAPACKE_dgges(kOrder, 'V', 'V', 'N', nullptr, n, a.data(), n, b.data(), n, &count, real.data(),
                  imaginary.data(), betas.data(), left.data(), n, right.data(), n);
    benchmark::DoNotOptimize(right.data());
  }
}
BENCHMARK(LapackQZ)->Name("qz/lapack")->Arg(4)->Arg(32)->Arg(128);

void LapackGeneralised(benchmark::State& state) {
  openblas_set_num_threads(1);
  const int n = Size(state);
  const std::vector<double> inputA = Shifted(n, 0.0);
  const std::vector<double> inputB = Shifted(n, 2.0);
  std::vector<double> real(static_cast<std::size_t>(n));
  std::vector<double> imaginary(real);
  std::vector<double> betas(real);
  std::vector<double> vectors(inputA);
  for (auto _ : state) {
    std::vector<double> a = inputA;
    std::vector<double> b = inputB;
    LAPACKE_dggev(kOrder, 'N', 'V', n, a.data(), n, b.data(), n, real.data(), imaginary.data(), betas.data(),
                  nullptr, 1, vectors.data(), n);
    benchmark::DoNotOptimize(vectors.data());
  }
}
BENCHMARK(LapackGeneralised)->Name("generalised/lapack")->Arg(4)->Arg(32)->Arg(128);
#endif

#ifdef MTH_HAS_SLICOT
extern "C" {
void sb03md_(const char* kind, const char* job, const char* form, const char* transposed, const int* n,
             double* a, const int* strideOfA, double* u, const int* strideOfU, double* c,
             const int* strideOfC, double* scale, double* separation, double* error, double* real,
             double* imaginary, int* integers, double* work, const int* workSize, int* status);
void sb02md_(const char* kind, const char* inverse, const char* triangle, const char* scaling,
             const char* sort, const int* n, double* a, const int* strideOfA, double* g, const int* strideOfG,
             double* q, const int* strideOfQ, double* condition, double* real, double* imaginary, double* s,
             const int* strideOfS, double* u, const int* strideOfU, int* integers, double* work,
             const int* workSize, int* logicals, int* status);
}

void SlicotLyapunov(benchmark::State& state) {
  const int n = Size(state);
  const std::vector<double> input = Shifted(n, 0.0);
  std::vector<double> u(input);
  std::vector<double> real(static_cast<std::size_t>(n));
  std::vector<double> imaginary(real);
  const int workSize = 2 * n * n + 6 * n;
  std::vector<double> work(static_cast<std::size_t>(workSize));
  std::vector<int> integers(input.size());
  double scale = 0.0;
  double separation = 0.0;
  double error = 0.0;
  int status = 0;
  for (auto _ : state) {
    std::vector<double> a = input;
    std::vector<double> c(input.size());
    for (int i = 0; i < n; ++i) c[static_cast<std::size_t>(i) * (static_cast<std::size_t>(n) + 1)] = -1.0;
    sb03md_("C", "B", "N", "T", &n, a.data(), &n, u.data(), &n, c.data(), &n, &scale, &separation, &error,
            real.data(), imaginary.data(), integers.data(), work.data(), &workSize, &status);
    benchmark::DoNotOptimize(c.data());
  }
}
BENCHMARK(SlicotLyapunov)->Name("lyapunov/slicot")->Arg(4)->Arg(32)->Arg(128);

template <char kKind>  // 'C'ontinuous or 'D'iscrete
void SlicotRiccati(benchmark::State& state) {
  const int n = Size(state);
  const int twice = 2 * n;
  const auto count = static_cast<std::size_t>(n);
  const std::vector<double> input = Shifted(n, 0.0);
  std::vector<double> real(2 * count);
  std::vector<double> imaginary(real);
  std::vector<double> s(4 * count * count);
  std::vector<double> u(s);
  const int workSize = 4 * n * n + 8 * n + 2;
  std::vector<double> work(static_cast<std::size_t>(workSize));
  std::vector<int> integers(2 * count);
  std::vector<int> logicals(2 * count);
  double condition = 0.0;
  int status = 0;
  const char kind = kKind;
  for (auto _ : state) {
    std::vector<double> a = input;
    std::vector<double> g(input.size());
    for (std::size_t i = 0; i < count; ++i) g[i * (count + 1)] = 1.0;
    std::vector<double> q = g;
    sb02md_(&kind, "D", "U", "G", "S", &n, a.data(), &n, g.data(), &n, q.data(), &n, &condition, real.data(),
            imaginary.data(), s.data(), &twice, u.data(), &twice, integers.data(), work.data(), &workSize,
            logicals.data(), &status);
    benchmark::DoNotOptimize(q.data());
  }
}
BENCHMARK(SlicotRiccati<'C'>)->Name("riccati/slicot")->Arg(4)->Arg(32)->Arg(128);
BENCHMARK(SlicotRiccati<'D'>)->Name("discrete_riccati/slicot")->Arg(4)->Arg(32)->Arg(128);
#endif

}  // namespace
