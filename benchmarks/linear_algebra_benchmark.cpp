#include <benchmark/benchmark.h>

#include <cmath>
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

MTH_MATRIX RandomSymmetric(int size) {
  const MTH_MATRIX a = Random(size, size);
  return *Matrix(a + *Matrix(a.Transpose()));
}

void LU(benchmark::State& state) {
  const MTH_MATRIX a = Random(static_cast<int>(state.range(0)), static_cast<int>(state.range(0)));
  for (auto _ : state) {
    int* permutation = nullptr;
    const Matrix factors(a.LU(&permutation));
    const std::unique_ptr<int[]> owned(permutation);
    benchmark::DoNotOptimize(factors->GetEDataAddress());
  }
}
BENCHMARK(LU)->Name("lu/mth")->Arg(512);

void Solve(benchmark::State& state) {
  const MTH_MATRIX a = Random(512, 512);
  const MTH_MATRIX b = Random(512, 64);
  for (auto _ : state) benchmark::DoNotOptimize(Matrix(a.SolveLinearSystemByLU(b)));
}
BENCHMARK(Solve)->Name("solve/mth");

void Inverse(benchmark::State& state) {
  const MTH_MATRIX a = Random(512, 512);
  for (auto _ : state) benchmark::DoNotOptimize(Matrix(a.Inverse()));
}
BENCHMARK(Inverse)->Name("inverse/mth");

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
  const MTH_MATRIX a = Random(256, 256);
  for (auto _ : state) {
    MTH_MATRIX* q = nullptr;
    MTH_MATRIX* r = nullptr;
    benchmark::DoNotOptimize(a.QR(&q, &r));
    delete q;
    delete r;
  }
}
BENCHMARK(QR)->Name("qr/mth");

void PseudoInverse(benchmark::State& state) {
  const MTH_MATRIX a = Random(256, 256);
  for (auto _ : state) benchmark::DoNotOptimize(Matrix(a.PseudoInverse()));
}
BENCHMARK(PseudoInverse)->Name("pseudo_inverse/mth");

void Eigenproblem(benchmark::State& state) {
  const MTH_MATRIX a = Random(static_cast<int>(state.range(0)), static_cast<int>(state.range(0)));
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
  const MTH_MATRIX a = RandomSymmetric(32);
  for (auto _ : state) {
    double* values = nullptr;
    a.EigenValues(1e-6, &values);
    benchmark::DoNotOptimize(values);
    delete[] values;
  }
}
BENCHMARK(QRIteration)->Name("qr_iteration/mth");

#ifdef MTH_HAS_EIGEN
using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

Eigen::MatrixXd EigenRandom(int rows, int columns) {
  const std::vector<double> elements = Elements(rows, columns);
  return Eigen::Map<const RowMajor>(elements.data(), rows, columns);
}

void EigenLU(benchmark::State& state) {
  const Eigen::MatrixXd a = EigenRandom(512, 512);
  for (auto _ : state) benchmark::DoNotOptimize(Eigen::PartialPivLU<Eigen::MatrixXd>(a));
}
BENCHMARK(EigenLU)->Name("lu/eigen");

void EigenSolve(benchmark::State& state) {
  const Eigen::MatrixXd a = EigenRandom(512, 512);
  const Eigen::MatrixXd b = EigenRandom(512, 64);
  for (auto _ : state) {
    const Eigen::MatrixXd x = a.partialPivLu().solve(b);
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK(EigenSolve)->Name("solve/eigen");

void EigenInverse(benchmark::State& state) {
  const Eigen::MatrixXd a = EigenRandom(512, 512);
  for (auto _ : state) {
    const Eigen::MatrixXd x = a.inverse();
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK(EigenInverse)->Name("inverse/eigen");

void EigenQR(benchmark::State& state) {
  const Eigen::MatrixXd a = EigenRandom(256, 256);
  for (auto _ : state) {
    const Eigen::HouseholderQR<Eigen::MatrixXd> factors(a);
    const Eigen::MatrixXd q = factors.householderQ();
    const Eigen::MatrixXd r = factors.matrixQR().triangularView<Eigen::Upper>();
    benchmark::DoNotOptimize(q.data());
    benchmark::DoNotOptimize(r.data());
  }
}
BENCHMARK(EigenQR)->Name("qr/eigen");

void EigenEigenproblem(benchmark::State& state) {
  const Eigen::MatrixXd a = EigenRandom(static_cast<int>(state.range(0)), static_cast<int>(state.range(0)));
  for (auto _ : state) {
    const Eigen::EigenSolver<Eigen::MatrixXd> solver(a);
    const Eigen::MatrixXcd vectors = solver.eigenvectors();
    benchmark::DoNotOptimize(vectors.data());
  }
}
BENCHMARK(EigenEigenproblem)->Name("eigenproblem/eigen")->Arg(4)->Arg(128);

// The same unshifted iteration, with the same test, over this peer's QR.
void EigenQRIteration(benchmark::State& state) {
  const Eigen::MatrixXd half = EigenRandom(32, 32);
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
BENCHMARK(EigenQRIteration)->Name("qr_iteration/eigen");
#endif

#if defined(MTH_HAS_LAPACKE) && defined(MTH_HAS_OPENBLAS)
constexpr int kOrder = LAPACK_COL_MAJOR;

void LapackLU(benchmark::State& state) {
  openblas_set_num_threads(1);
  const std::vector<double> a = Elements(512, 512);
  std::vector<int> pivots(512);
  for (auto _ : state) {
    std::vector<double> factors = a;
    LAPACKE_dgetrf(kOrder, 512, 512, factors.data(), 512, pivots.data());
    benchmark::DoNotOptimize(factors.data());
  }
}
BENCHMARK(LapackLU)->Name("lu/lapack");

void LapackSolve(benchmark::State& state) {
  openblas_set_num_threads(1);
  const std::vector<double> a = Elements(512, 512);
  const std::vector<double> b = Elements(512, 64);
  std::vector<int> pivots(512);
  for (auto _ : state) {
    std::vector<double> factors = a;
    std::vector<double> x = b;
    LAPACKE_dgesv(kOrder, 512, 64, factors.data(), 512, pivots.data(), x.data(), 512);
    benchmark::DoNotOptimize(x.data());
  }
}
BENCHMARK(LapackSolve)->Name("solve/lapack");

void LapackInverse(benchmark::State& state) {
  openblas_set_num_threads(1);
  const std::vector<double> a = Elements(512, 512);
  std::vector<int> pivots(512);
  for (auto _ : state) {
    std::vector<double> inverse = a;
    LAPACKE_dgetrf(kOrder, 512, 512, inverse.data(), 512, pivots.data());
    LAPACKE_dgetri(kOrder, 512, inverse.data(), 512, pivots.data());
    benchmark::DoNotOptimize(inverse.data());
  }
}
BENCHMARK(LapackInverse)->Name("inverse/lapack");

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
  openblas_set_num_threads(1);
  const std::vector<double> a = Elements(256, 256);
  std::vector<double> factors(256);
  for (auto _ : state) {
    std::vector<double> r = a;
    LAPACKE_dgeqrf(kOrder, 256, 256, r.data(), 256, factors.data());
    std::vector<double> q = r;
    LAPACKE_dorgqr(kOrder, 256, 256, 256, q.data(), 256, factors.data());
    benchmark::DoNotOptimize(q.data());
  }
}
BENCHMARK(LapackQR)->Name("qr/lapack");

void LapackPseudoInverse(benchmark::State& state) {
  LapackSVD svd(256, 256);
  std::vector<double> inverse(256 * 256);
  for (auto _ : state) {
    svd.DivideAndConquer();
    for (int j = 0; j < 256; ++j)
      cblas_dscal(256, 1.0 / svd.values[static_cast<std::size_t>(j)], svd.u.data() + 256 * j, 1);
    cblas_dgemm(CblasColMajor, CblasTrans, CblasTrans, 256, 256, 256, 1.0, svd.vt.data(), 256, svd.u.data(),
                256, 0.0, inverse.data(), 256);
    benchmark::DoNotOptimize(inverse.data());
  }
}
BENCHMARK(LapackPseudoInverse)->Name("pseudo_inverse/lapack");

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
