#include <benchmark/benchmark.h>

#include <memory>
#include <vector>

#include "linear_algebra_data.h"
#include "mth/Mth.h"

#ifdef MTH_HAS_EIGEN
#include <Eigen/Dense>
#endif
#ifdef MTH_HAS_OPENBLAS
#include <cblas.h>
#endif
#ifdef MTH_HAS_LAPACKE
#include <lapacke.h>
#endif

// Decompositions of the same random matrices by this library and by its peers, all on one thread. Each peer
// gets its matrix in its own layout and delivers the same factors.

namespace {

using mth_benchmark::Elements;
using mth_benchmark::Random;
using Matrix = std::unique_ptr<MTH_MATRIX>;

int Size(const benchmark::State& state) {
  return static_cast<int>(state.range(0));
}

MTH_MATRIX RandomSymmetric(int size) {
  const MTH_MATRIX a = Random(size, size);
  return *Matrix(a + *Matrix(a.Transpose()));
}

void LU(benchmark::State& state) {
  const MTH_MATRIX a = Random(Size(state), Size(state));
  for (auto _ : state) {
    int* permutation = nullptr;
    const Matrix factors(a.LU(&permutation));
    const std::unique_ptr<int[]> owned(permutation);
    benchmark::DoNotOptimize(factors->GetEDataAddress());
  }
}
BENCHMARK(LU)->Name("lu/mth")->Arg(512);

void Solve(benchmark::State& state) {
  const int n = Size(state);
  const MTH_MATRIX a = Random(n, n);
  const MTH_MATRIX b = Random(n, 64);
  for (auto _ : state) benchmark::DoNotOptimize(Matrix(a.SolveLinearSystemByLU(b)));
}
BENCHMARK(Solve)->Name("solve_64/mth")->Arg(512);

void Inverse(benchmark::State& state) {
  const int n = Size(state);
  const MTH_MATRIX a = Random(n, n);
  for (auto _ : state) benchmark::DoNotOptimize(Matrix(a.Inverse()));
}
BENCHMARK(Inverse)->Name("inverse/mth")->Arg(512);

void SVD(benchmark::State& state) {
  const MTH_MATRIX a = Random(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  for (auto _ : state) {
    MTH_MATRIX* factors[3];
    benchmark::DoNotOptimize(a.SVD(&factors[0], &factors[1], &factors[2]));
    for (MTH_MATRIX* factor : factors) delete factor;
  }
}
BENCHMARK(SVD)->Name("svd/mth")->Args({256, 256})->Args({512, 64})->Args({4, 4});

void QR(benchmark::State& state) {
  const int n = Size(state);
  const MTH_MATRIX a = Random(n, n);
  for (auto _ : state) {
    MTH_MATRIX* q = nullptr;
    MTH_MATRIX* r = nullptr;
    benchmark::DoNotOptimize(a.QR(&q, &r));
    delete q;
    delete r;
  }
}
BENCHMARK(QR)->Name("qr/mth")->Arg(256);

void PseudoInverse(benchmark::State& state) {
  const int n = Size(state);
  const MTH_MATRIX a = Random(n, n);
  for (auto _ : state) benchmark::DoNotOptimize(Matrix(a.PseudoInverse()));
}
BENCHMARK(PseudoInverse)->Name("pseudo_inverse/mth")->Arg(256);

void Eigenproblem(benchmark::State& state) {
  const MTH_MATRIX a = Random(Size(state), Size(state));
  for (auto _ : state) {
    MTH_COMPLEX* values = nullptr;
    MTH_COMPLEX* vectors = nullptr;
    benchmark::DoNotOptimize(a.RealEigenvalueProblem(&values, &vectors));
    delete[] values;
    delete[] vectors;
  }
}
BENCHMARK(Eigenproblem)->Name("eigenproblem/mth")->Arg(4)->Arg(128);

void QRIteration(benchmark::State& state) {
  const MTH_MATRIX a = RandomSymmetric(Size(state));
  for (auto _ : state) {
    double* values = nullptr;
    a.EigenValues(1e-6, &values);
    benchmark::DoNotOptimize(values);
    delete[] values;
  }
}
BENCHMARK(QRIteration)->Name("qr_iteration/mth")->Arg(32)->Repetitions(3);

#ifdef MTH_HAS_EIGEN
using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

Eigen::MatrixXd EigenRandom(int rows, int columns) {
  const std::vector<double> elements = Elements(rows, columns);
  return Eigen::Map<const RowMajor>(elements.data(), rows, columns);
}

void EigenLU(benchmark::State& state) {
  const int n = Size(state);
  const Eigen::MatrixXd a = EigenRandom(n, n);
  for (auto _ : state) benchmark::DoNotOptimize(Eigen::PartialPivLU<Eigen::MatrixXd>(a));
}
BENCHMARK(EigenLU)->Name("lu/eigen")->Arg(512);

void EigenSolve(benchmark::State& state) {
  const int n = Size(state);
  const Eigen::MatrixXd a = EigenRandom(n, n);
  const Eigen::MatrixXd b = EigenRandom(n, 64);
  for (auto _ : state) {
    const Eigen::MatrixXd x = a.partialPivLu().solve(b);
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK(EigenSolve)->Name("solve_64/eigen")->Arg(512);

void EigenInverse(benchmark::State& state) {
  const int n = Size(state);
  const Eigen::MatrixXd a = EigenRandom(n, n);
  for (auto _ : state) {
    const Eigen::MatrixXd x = a.inverse();
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK(EigenInverse)->Name("inverse/eigen")->Arg(512);

void EigenQR(benchmark::State& state) {
  const int n = Size(state);
  const Eigen::MatrixXd a = EigenRandom(n, n);
  for (auto _ : state) {
    const Eigen::HouseholderQR<Eigen::MatrixXd> factors(a);
    const Eigen::MatrixXd q = factors.householderQ();
    const Eigen::MatrixXd r = factors.matrixQR().triangularView<Eigen::Upper>();
    benchmark::DoNotOptimize(q.data());
    benchmark::DoNotOptimize(r.data());
  }
}
BENCHMARK(EigenQR)->Name("qr/eigen")->Arg(256);

void EigenEigenproblem(benchmark::State& state) {
  const Eigen::MatrixXd a = EigenRandom(Size(state), Size(state));
  for (auto _ : state) {
    const Eigen::EigenSolver<Eigen::MatrixXd> solver(a);
    const Eigen::MatrixXcd vectors = solver.eigenvectors();
    benchmark::DoNotOptimize(vectors.data());
  }
}
BENCHMARK(EigenEigenproblem)->Name("eigenproblem/eigen")->Arg(4)->Arg(128);

// The same unshifted iteration, with the same test, over this peer's QR.
void EigenQRIteration(benchmark::State& state) {
  const int n = Size(state);
  const Eigen::MatrixXd half = EigenRandom(n, n);
  const Eigen::MatrixXd a = half + half.transpose();
  for (auto _ : state) {
    Eigen::MatrixXd iterate = a;
    for (bool isStill = false; !isStill;) {
      const Eigen::HouseholderQR<Eigen::MatrixXd> factors(iterate);
      const Eigen::MatrixXd q = factors.householderQ();
      const Eigen::MatrixXd r = factors.matrixQR().triangularView<Eigen::Upper>();
      const Eigen::MatrixXd next = r * q;
      isStill = (next - iterate).diagonal().cwiseAbs().maxCoeff() < 1e-6;
      iterate = next;
    }
    benchmark::DoNotOptimize(iterate.data());
  }
}
BENCHMARK(EigenQRIteration)->Name("qr_iteration/eigen")->Arg(32)->Repetitions(3);
#endif

#if defined(MTH_HAS_LAPACKE) && defined(MTH_HAS_OPENBLAS)
constexpr int kOrder = LAPACK_COL_MAJOR;

void LapackLU(benchmark::State& state) {
  const int n = Size(state);
  openblas_set_num_threads(1);
  const std::vector<double> a = Elements(n, n);
  std::vector<int> pivots(n);
  for (auto _ : state) {
    std::vector<double> factors = a;
    LAPACKE_dgetrf(kOrder, n, n, factors.data(), n, pivots.data());
    benchmark::DoNotOptimize(factors.data());
  }
}
BENCHMARK(LapackLU)->Name("lu/lapack")->Arg(512);

void LapackSolve(benchmark::State& state) {
  const int n = Size(state);
  openblas_set_num_threads(1);
  const std::vector<double> a = Elements(n, n);
  const std::vector<double> b = Elements(n, 64);
  std::vector<int> pivots(n);
  for (auto _ : state) {
    std::vector<double> factors = a;
    std::vector<double> x = b;
    LAPACKE_dgesv(kOrder, n, 64, factors.data(), n, pivots.data(), x.data(), n);
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK(LapackSolve)->Name("solve_64/lapack")->Arg(512);

void LapackInverse(benchmark::State& state) {
  const int n = Size(state);
  openblas_set_num_threads(1);
  const std::vector<double> a = Elements(n, n);
  std::vector<int> pivots(n);
  for (auto _ : state) {
    std::vector<double> inverse = a;
    LAPACKE_dgetrf(kOrder, n, n, inverse.data(), n, pivots.data());
    LAPACKE_dgetri(kOrder, n, inverse.data(), n, pivots.data());
    benchmark::DoNotOptimize(inverse.data());
  }
}
BENCHMARK(LapackInverse)->Name("inverse/lapack")->Arg(512);

struct LapackSVD {
  LapackSVD(int rowCount, int columnCount)
      : rows(rowCount),
        columns(columnCount),
        input(Elements(rows, columns)),
        values(static_cast<std::size_t>(columns)),
        u(input.size()),
        vt(static_cast<std::size_t>(columns) * static_cast<std::size_t>(columns)) {
    openblas_set_num_threads(1);
  }
  void DivideAndConquer() {
    std::vector<double> a = input;
    LAPACKE_dgesdd(kOrder, 'S', rows, columns, a.data(), rows, values.data(), u.data(), rows, vt.data(),
                   columns);
  }
  void QRSweeps() {
    std::vector<double> a = input;
    std::vector<double> rest(values.size());
    LAPACKE_dgesvd(kOrder, 'S', 'S', rows, columns, a.data(), rows, values.data(), u.data(), rows, vt.data(),
                   columns, rest.data());
  }
  int rows;
  int columns;
  std::vector<double> input;
  std::vector<double> values;
  std::vector<double> u;
  std::vector<double> vt;
};

void LapackGesdd(benchmark::State& state) {
  LapackSVD svd(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  for (auto _ : state) svd.DivideAndConquer();
}
BENCHMARK(LapackGesdd)->Name("svd/lapack_dgesdd")->Args({256, 256})->Args({512, 64})->Args({4, 4});

void LapackGesvd(benchmark::State& state) {
  LapackSVD svd(static_cast<int>(state.range(0)), static_cast<int>(state.range(1)));
  for (auto _ : state) svd.QRSweeps();
}
BENCHMARK(LapackGesvd)->Name("svd/lapack_dgesvd")->Args({256, 256})->Args({512, 64})->Args({4, 4});

void LapackQR(benchmark::State& state) {
  const int n = Size(state);
  openblas_set_num_threads(1);
  const std::vector<double> a = Elements(n, n);
  std::vector<double> factors(n);
  for (auto _ : state) {
    std::vector<double> r = a;
    LAPACKE_dgeqrf(kOrder, n, n, r.data(), n, factors.data());
    std::vector<double> q = r;
    LAPACKE_dorgqr(kOrder, n, n, n, q.data(), n, factors.data());
    benchmark::DoNotOptimize(q.data());
  }
}
BENCHMARK(LapackQR)->Name("qr/lapack")->Arg(256);

void LapackPseudoInverse(benchmark::State& state) {
  const int n = Size(state);
  LapackSVD svd(n, n);
  std::vector<double> inverse(n * n);
  for (auto _ : state) {
    svd.DivideAndConquer();
    for (int j = 0; j < n; ++j)
      cblas_dscal(n, 1.0 / svd.values[static_cast<std::size_t>(j)], svd.u.data() + n * j, 1);
    cblas_dgemm(CblasColMajor, CblasTrans, CblasTrans, n, n, n, 1.0, svd.vt.data(), n, svd.u.data(), n, 0.0,
                inverse.data(), n);
    benchmark::DoNotOptimize(inverse.data());
  }
}
BENCHMARK(LapackPseudoInverse)->Name("pseudo_inverse/lapack")->Arg(256);

void LapackEigenproblem(benchmark::State& state) {
  openblas_set_num_threads(1);
  const int n = static_cast<int>(state.range(0));
  const std::vector<double> input = Elements(n, n);
  std::vector<double> real(static_cast<std::size_t>(n));
  std::vector<double> imaginary(static_cast<std::size_t>(n));
  std::vector<double> vectors(input.size());
  for (auto _ : state) {
    std::vector<double> a = input;
    LAPACKE_dgeev(kOrder, 'N', 'V', n, a.data(), n, real.data(), imaginary.data(), nullptr, 1, vectors.data(),
                  n);
    benchmark::DoNotOptimize(vectors.data());
  }
}
BENCHMARK(LapackEigenproblem)->Name("eigenproblem/lapack")->Arg(4)->Arg(128);
#endif

}  // namespace
