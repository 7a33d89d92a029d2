#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <random>
#include <vector>

#if defined(__FMA__)
#include <immintrin.h>
#endif

#include "mth/matrix/Mth_matrix.h"

#ifdef MTH_HAS_EIGEN
#include <Eigen/Dense>
#endif
#ifdef MTH_HAS_OPENBLAS
#include <cblas.h>
extern "C" void openblas_set_num_threads(int count);
#endif
#ifdef MTH_HAS_OPENCV
#include <opencv2/core.hpp>
#endif

// Products, transposes and element-wise operations of square matrices, beside the peers and beside what the
// machine can do. Every operation creates its result, as a caller's does.

namespace {

using MatrixPtr = std::unique_ptr<MTH_MATRIX>;

template <class T>
constexpr int kType = sizeof(T) == sizeof(double) ? 0 : 1;

template <class T>
std::vector<T> RandomValues(std::int64_t count, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<T> uniform(-1, 1);
  std::vector<T> values(static_cast<std::size_t>(count));
  for (T& value : values) value = uniform(engine);
  return values;
}

template <class T>
MTH_MATRIX RandomMatrix(std::int64_t size, unsigned seed) {
  const int n = static_cast<int>(size);
  MTH_MATRIX matrix(n, n, kType<T>);
  const std::vector<T> values = RandomValues<T>(size * size, seed);
  for (int i = 0; i < n * n; ++i) matrix.Set(i / n, i % n, values[static_cast<std::size_t>(i)]);
  return matrix;
}

// Measures operation(a, b), which returns a new matrix.
template <class T, class Operation>
void MeasureMth(benchmark::State& state, Operation operation) {
  const MTH_MATRIX a = RandomMatrix<T>(state.range(0), 1);
  const MTH_MATRIX b = RandomMatrix<T>(state.range(0), 2);
  for (auto _ : state) benchmark::DoNotOptimize(MatrixPtr(operation(a, b)));
}

template <class T>
void MthProduct(benchmark::State& state) {
  MeasureMth<T>(state, [](auto& a, auto& b) { return a * b; });
}
template <class T>
void MthSum(benchmark::State& state) {
  MeasureMth<T>(state, [](auto& a, auto& b) { return a + b; });
}
template <class T>
void MthScaling(benchmark::State& state) {
  MeasureMth<T>(state, [](auto& a, auto&) { return a * 0.7; });
}
template <class T>
void MthThresholding(benchmark::State& state) {
  MeasureMth<T>(state, [](auto& a, auto&) { return a.GetThresholding(0.1); });
}
template <class T>
void MthTranspose(benchmark::State& state) {
  MeasureMth<T>(state, [](auto& a, auto&) { return a.Transpose(); });
}
template <class T>
void MthMaximum(benchmark::State& state) {
  const MTH_MATRIX a = RandomMatrix<T>(state.range(0), 1);
  for (auto _ : state) benchmark::DoNotOptimize(a.GetMax(nullptr, nullptr));
}

// The time that n^3 products and sums need in registers alone, when they are rounded one by one or fused.
#if defined(__GNUC__)
#if defined(__AVX512F__)
constexpr int kVectorBytes = 64;
#elif defined(__AVX__)
constexpr int kVectorBytes = 32;
#else
constexpr int kVectorBytes = 16;
#endif
constexpr int kSums = kVectorBytes == 64 ? 24 : 12;
typedef double Lanes __attribute__((vector_size(kVectorBytes)));

template <bool kFused>
[[gnu::noinline]] void RunInRegisters(std::int64_t steps, Lanes left, Lanes right, Lanes* values) {
  Lanes sums[kSums];
  for (int i = 0; i < kSums; ++i) sums[i] = values[i];
  for (std::int64_t step = 0; step < steps; ++step) {
#pragma GCC unroll 24
    for (int i = 0; i < kSums; ++i) {
      if constexpr (!kFused) {
        sums[i] = sums[i] * left + right;
      } else {
#if defined(__AVX512F__)
        sums[i] = Lanes(_mm512_fmadd_pd(__m512d(sums[i]), __m512d(left), __m512d(right)));
#elif defined(__FMA__)
        sums[i] = Lanes(_mm256_fmadd_pd(__m256d(sums[i]), __m256d(left), __m256d(right)));
#endif
      }
    }
  }
  for (int i = 0; i < kSums; ++i) values[i] = sums[i];
}

template <bool kFused>
void ProductLimit(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  constexpr std::int64_t kTerms = kSums * std::int64_t{sizeof(Lanes) / sizeof(double)};
  Lanes values[kSums];
  for (int i = 0; i < kSums; ++i) values[i] = Lanes{} + i;  // equal ones would be computed only once
  for (auto _ : state) {
    RunInRegisters<kFused>(n * n * n / kTerms, Lanes{} + 0.5, Lanes{} + 1.0, values);
    benchmark::DoNotOptimize(values);
  }
}
BENCHMARK(ProductLimit<false>)
    ->Name("product double/limit, not fused")
    ->RangeMultiplier(2)
    ->Range(64, 1024)
    ->Unit(benchmark::kMicrosecond);
#if defined(__FMA__)
BENCHMARK(ProductLimit<true>)
    ->Name("product float/limit, fused")
    ->RangeMultiplier(2)
    ->Range(64, 1024)
    ->Unit(benchmark::kMicrosecond);
#endif
#endif

#ifdef MTH_HAS_EIGEN
template <class T>
using EigenMatrix = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

template <class T, class Operation>
void MeasureEigen(benchmark::State& state, Operation operation) {
  const std::int64_t n = state.range(0);
  const EigenMatrix<T> a = Eigen::Map<EigenMatrix<T>>(RandomValues<T>(n * n, 1).data(), n, n);
  const EigenMatrix<T> b = Eigen::Map<EigenMatrix<T>>(RandomValues<T>(n * n, 2).data(), n, n);
  for (auto _ : state) {
    const EigenMatrix<T> result = operation(a, b);
    benchmark::DoNotOptimize(result.data());
  }
}

template <class T>
void EigenProduct(benchmark::State& state) {
  MeasureEigen<T>(state, [](auto& a, auto& b) { return a * b; });
}
// What a user writes to have float products summed in double.
void EigenProductInDouble(benchmark::State& state) {
  MeasureEigen<float>(state, [](auto& a, auto& b) -> EigenMatrix<float> {
    return (a.template cast<double>() * b.template cast<double>()).template cast<float>();
  });
}
template <class T>
void EigenSum(benchmark::State& state) {
  MeasureEigen<T>(state, [](auto& a, auto& b) { return a + b; });
}
template <class T>
void EigenSumIntoExisting(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const EigenMatrix<T> a = Eigen::Map<EigenMatrix<T>>(RandomValues<T>(n * n, 1).data(), n, n);
  const EigenMatrix<T> b = Eigen::Map<EigenMatrix<T>>(RandomValues<T>(n * n, 2).data(), n, n);
  EigenMatrix<T> result(n, n);
  for (auto _ : state) {
    result.noalias() = a + b;
    benchmark::DoNotOptimize(result.data());
  }
}
template <class T>
void EigenScaling(benchmark::State& state) {
  MeasureEigen<T>(state, [](auto& a, auto&) { return a * T(0.7); });
}
template <class T>
void EigenTranspose(benchmark::State& state) {
  MeasureEigen<T>(state, [](auto& a, auto&) { return a.transpose(); });
}
template <class T>
void EigenMaximum(benchmark::State& state) {
  const std::int64_t n = state.range(0);
  const EigenMatrix<T> a = Eigen::Map<EigenMatrix<T>>(RandomValues<T>(n * n, 1).data(), n, n);
  for (auto _ : state) benchmark::DoNotOptimize(a.maxCoeff());
}
#endif

#ifdef MTH_HAS_OPENBLAS
void OpenBlasProduct(benchmark::State& state) {
  openblas_set_num_threads(1);
  const int n = static_cast<int>(state.range(0));
  const std::vector<double> a = RandomValues<double>(n * n, 1);
  const std::vector<double> b = RandomValues<double>(n * n, 2);
  for (auto _ : state) {
    const std::unique_ptr<double[]> c(new double[a.size()]);
    cblas_dgemm(CblasRowMajor, CblasNoTrans, CblasNoTrans, n, n, n, 1.0, a.data(), n, b.data(), n, 0.0,
                c.get(), n);
    benchmark::DoNotOptimize(c.get());
  }
}
#endif

#ifdef MTH_HAS_OPENCV
template <class T, class Operation>
void MeasureOpenCv(benchmark::State& state, Operation operation) {
  cv::setNumThreads(1);
  const int n = static_cast<int>(state.range(0));
  std::vector<T> left = RandomValues<T>(n * n, 1);
  std::vector<T> right = RandomValues<T>(n * n, 2);
  const cv::Mat a(n, n, cv::DataType<T>::type, left.data());
  const cv::Mat b(n, n, cv::DataType<T>::type, right.data());
  for (auto _ : state) {
    cv::Mat result;
    operation(a, b, result);
    benchmark::DoNotOptimize(result.data);
  }
}
template <class T>
void OpenCvSum(benchmark::State& state) {
  MeasureOpenCv<T>(state, [](auto& a, auto& b, auto& result) { cv::add(a, b, result); });
}
template <class T>
void OpenCvScaling(benchmark::State& state) {
  MeasureOpenCv<T>(state, [](auto& a, auto&, auto& result) { a.convertTo(result, -1, 0.7); });
}
template <class T>
void OpenCvTranspose(benchmark::State& state) {
  MeasureOpenCv<T>(state, [](auto& a, auto&, auto& result) { cv::transpose(a, result); });
}
template <class T>
void OpenCvMaximum(benchmark::State& state) {
  MeasureOpenCv<T>(state, [](auto& a, auto&, auto&) {
    double largest = 0.0;
    cv::minMaxIdx(a, nullptr, &largest);
    benchmark::DoNotOptimize(largest);
  });
}
#endif

void ProductSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(4)->RangeMultiplier(2)->Range(64, 1024)->Unit(benchmark::kMicrosecond);
}
void ElementWiseSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(64)->Arg(512)->Arg(2048)->Unit(benchmark::kMicrosecond);
}

BENCHMARK(MthProduct<double>)->Name("product double/mth")->Apply(ProductSizes);
BENCHMARK(MthProduct<float>)->Name("product float/mth")->Apply(ProductSizes);
#ifdef MTH_HAS_EIGEN
BENCHMARK(EigenProduct<double>)->Name("product double/Eigen")->Apply(ProductSizes);
BENCHMARK(EigenProductInDouble)->Name("product float/Eigen in double")->Apply(ProductSizes);
#endif
#ifdef MTH_HAS_OPENBLAS
BENCHMARK(OpenBlasProduct)->Name("product double/OpenBLAS")->Apply(ProductSizes);
#endif

#ifdef MTH_HAS_EIGEN
#define MEASURE_EIGEN(operation, T) \
  BENCHMARK(Eigen##operation<T>)->Name(#operation " " #T "/Eigen")->Apply(ElementWiseSizes);
#else
#define MEASURE_EIGEN(operation, T)
#endif
#ifdef MTH_HAS_OPENCV
#define MEASURE_OPENCV(operation, T) \
  BENCHMARK(OpenCv##operation<T>)->Name(#operation " " #T "/OpenCV")->Apply(ElementWiseSizes);
#else
#define MEASURE_OPENCV(operation, T)
#endif
#define MEASURE(operation, T)                                                            \
  BENCHMARK(Mth##operation<T>)->Name(#operation " " #T "/mth")->Apply(ElementWiseSizes); \
  MEASURE_EIGEN(operation, T) MEASURE_OPENCV(operation, T)

MEASURE(Sum, double)
MEASURE(Sum, float)
#ifdef MTH_HAS_EIGEN
BENCHMARK(EigenSumIntoExisting<double>)
    ->Name("Sum double/Eigen into a result that exists")
    ->Apply(ElementWiseSizes);
BENCHMARK(EigenSumIntoExisting<float>)
    ->Name("Sum float/Eigen into a result that exists")
    ->Apply(ElementWiseSizes);
#endif
MEASURE(Scaling, double)
MEASURE(Scaling, float)
MEASURE(Transpose, double)
MEASURE(Transpose, float)
MEASURE(Maximum, double)
MEASURE(Maximum, float)
BENCHMARK(MthThresholding<double>)->Name("Thresholding double/mth")->Apply(ElementWiseSizes);
BENCHMARK(MthThresholding<float>)->Name("Thresholding float/mth")->Apply(ElementWiseSizes);

}  // namespace
