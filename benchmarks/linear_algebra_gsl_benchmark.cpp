#include <benchmark/benchmark.h>
#include <gsl/gsl_blas.h>
#include <gsl/gsl_eigen.h>
#include <gsl/gsl_linalg.h>

#include <memory>
#include <vector>

#include "linear_algebra_data.h"

// The same decompositions by a peer whose headers do not go together with those of the others.

namespace {

using mth_benchmark::Elements;

struct FreeGSL {
  void operator()(gsl_matrix* matrix) const { gsl_matrix_free(matrix); }
  void operator()(gsl_vector* vector) const { gsl_vector_free(vector); }
  void operator()(gsl_permutation* permutation) const { gsl_permutation_free(permutation); }
};
using GSLMatrix = std::unique_ptr<gsl_matrix, FreeGSL>;

GSLMatrix GSLRandom(std::size_t rows, std::size_t columns) {
  GSLMatrix matrix(gsl_matrix_alloc(rows, columns));
  const std::vector<double> elements = Elements(static_cast<int>(rows), static_cast<int>(columns));
  for (std::size_t i = 0; i < rows; ++i) {
    for (std::size_t j = 0; j < columns; ++j) gsl_matrix_set(matrix.get(), i, j, elements[i * columns + j]);
  }
  return matrix;
}

void GSLLU(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const GSLMatrix a = GSLRandom(n, n);
  const GSLMatrix factors = GSLRandom(n, n);
  const std::unique_ptr<gsl_permutation, FreeGSL> permutation(gsl_permutation_alloc(n));
  int sign = 0;
  for (auto _ : state) {
    gsl_matrix_memcpy(factors.get(), a.get());
    gsl_linalg_LU_decomp(factors.get(), permutation.get(), &sign);
  }
}
BENCHMARK(GSLLU)->Name("lu/gsl")->Arg(512);

void GSLSVD(benchmark::State& state) {
  const auto rows = static_cast<std::size_t>(state.range(0));
  const auto columns = static_cast<std::size_t>(state.range(1));
  const GSLMatrix a = GSLRandom(rows, columns);
  for (auto _ : state) {
    const GSLMatrix u(gsl_matrix_alloc(rows, columns));
    const GSLMatrix v(gsl_matrix_alloc(columns, columns));
    const std::unique_ptr<gsl_vector, FreeGSL> values(gsl_vector_alloc(columns));
    const std::unique_ptr<gsl_vector, FreeGSL> work(gsl_vector_alloc(columns));
    gsl_matrix_memcpy(u.get(), a.get());
    gsl_linalg_SV_decomp(u.get(), v.get(), values.get(), work.get());
  }
}
BENCHMARK(GSLSVD)->Name("svd/gsl")->Args({256, 256})->Args({512, 64})->Args({4, 4});

void GSLEigenproblem(benchmark::State& state) {
  const auto n = static_cast<std::size_t>(state.range(0));
  const GSLMatrix a = GSLRandom(n, n);
  const GSLMatrix copy = GSLRandom(n, n);
  gsl_eigen_nonsymmv_workspace* work = gsl_eigen_nonsymmv_alloc(n);
  gsl_vector_complex* values = gsl_vector_complex_alloc(n);
  gsl_matrix_complex* vectors = gsl_matrix_complex_alloc(n, n);
  for (auto _ : state) {
    gsl_matrix_memcpy(copy.get(), a.get());
    gsl_eigen_nonsymmv(copy.get(), values, vectors, work);
  }
  gsl_matrix_complex_free(vectors);
  gsl_vector_complex_free(values);
  gsl_eigen_nonsymmv_free(work);
}
BENCHMARK(GSLEigenproblem)->Name("eigenproblem/gsl")->Arg(4)->Arg(128);

}  // namespace
