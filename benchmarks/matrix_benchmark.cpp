#include <benchmark/benchmark.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <random>
#include <type_traits>
#include <utility>
#include <vector>

#include "mth/matrix/Mth_matrix.h"
#include "product_limit.h"

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
// machine can do. Every operation creates its result, as a caller's does. Operands are made once and kept:
// what is made and freed between two measurements takes the memory that results would find.

namespace {

using MatrixPtr = std::unique_ptr<MTH_MATRIX>;

template <class T>
constexpr int kType = sizeof(T) == sizeof(double) ? 0 : 1;

// What make() returns for this size and seed, made once for each T and kind of operand.
template <class T, class Make>
const auto& Kept(std::int64_t size, unsigned seed, Make make) {
  static std::map<std::pair<std::int64_t, unsigned>, decltype(make())> kept;
  const std::pair key(size, seed);
  auto found = kept.find(key);
  if (found == kept.end()) found = kept.emplace(key, make()).first;
  return found->second;
}

// size x size values.
template <class T>
const std::vector<T>& RandomValues(std::int64_t size, unsigned seed) {
  return Kept<T>(size, seed, [=] {
    std::mt19937 engine(seed);
    std::uniform_real_distribution<T> uniform(-1, 1);
    std::vector<T> values(static_cast<std::size_t>(size * size));
    for (T& value : values) value = uniform(engine);
    return values;
  });
}

template <class T>
const MTH_MATRIX& RandomMatrix(std::int64_t size, unsigned seed) {
  return Kept<T>(size, seed, [=] {
    const int n = static_cast<int>(size);
    MTH_MATRIX matrix(n, n, kType<T>);
    const T* value = RandomValues<T>(size, seed).data();
    for (int i = 0; i < n * n; ++i) matrix.Set(i / n, i % n, *value++);
    return matrix;
  });
}

// Measures operation(a, b), which returns a new matrix. Not the first one, whose memory is new to the
// process.
template <class T, class Operation>
void MeasureMth(benchmark::State& state, Operation operation) {
  const MTH_MATRIX& a = RandomMatrix<T>(state.range(0), 1);
  const MTH_MATRIX& b = RandomMatrix<T>(state.range(0), 2);
  benchmark::DoNotOptimize(MatrixPtr(operation(a, b)));
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
  const MTH_MATRIX& a = RandomMatrix<T>(state.range(0), 1);
  for (auto _ : state) benchmark::DoNotOptimize(a.GetMax(nullptr, nullptr));
}

#if MTH_MULTIVERSION
// The time that n^3 products and sums need in registers alone, when they are rounded one by one or, of
// floats, fused. Just after a product, and no longer than it takes for 128^3: under the load of a product
// some processors lower their clock further than under work in registers, for less than a millisecond.
template <class T>
void ProductLimit(benchmark::State& state) {
  using Clock = std::chrono::steady_clock;
  const std::int64_t n = state.range(0);
  const std::int64_t terms = std::min<std::int64_t>(n * n * n, 128 * 128 * 128);
  const double parts = static_cast<double>(n * n * n) / static_cast<double>(terms);
  const MTH_MATRIX& a = RandomMatrix<T>(n, 1);
  const MTH_MATRIX& b = RandomMatrix<T>(n, 2);
  for (auto _ : state) {
    benchmark::DoNotOptimize(MatrixPtr(a * b));
    const Clock::time_point start = Clock::now();
    benchmark::DoNotOptimize(mth_benchmark::MultiplyAndAdd(terms, std::is_same_v<T, float>));
    state.SetIterationTime(parts * std::chrono::duration<double>(Clock::now() - start).count());
  }
}
#endif

#ifdef MTH_HAS_EIGEN
template <class T>
using EigenMatrix = Eigen::Matrix<T, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

template <class T>
const EigenMatrix<T>& RandomEigen(std::int64_t n, unsigned seed) {
  return Kept<T>(n, seed, [=]() -> EigenMatrix<T> {
    return Eigen::Map<const EigenMatrix<T>>(RandomValues<T>(n, seed).data(), n, n);
  });
}

template <class T, class Operation>
void MeasureEigen(benchmark::State& state, Operation operation) {
  const EigenMatrix<T>& a = RandomEigen<T>(state.range(0), 1);
  const EigenMatrix<T>& b = RandomEigen<T>(state.range(0), 2);
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
  const EigenMatrix<T>& a = RandomEigen<T>(state.range(0), 1);
  const EigenMatrix<T>& b = RandomEigen<T>(state.range(0), 2);
  EigenMatrix<T> result = a;
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
  const EigenMatrix<T>& a = RandomEigen<T>(state.range(0), 1);
  for (auto _ : state) benchmark::DoNotOptimize(a.maxCoeff());
}
#endif

#ifdef MTH_HAS_OPENBLAS
void OpenBlasProduct(benchmark::State& state) {
  openblas_set_num_threads(1);
  const int n = static_cast<int>(state.range(0));
  const std::vector<double>& a = RandomValues<double>(n, 1);
  const std::vector<double>& b = RandomValues<double>(n, 2);
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
  const auto operand = [=](unsigned seed) {  // no operation writes to it
    return cv::Mat(n, n, cv::DataType<T>::type, const_cast<T*>(RandomValues<T>(n, seed).data()));
  };
  const cv::Mat a = operand(1);
  const cv::Mat b = operand(2);
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
  benchmark->RangeMultiplier(2)->Range(64, 1024)->Unit(benchmark::kMicrosecond);
}
#define MEASURE_LIMIT(function, name) BENCHMARK(function)->Name(name)->Apply(ProductSizes)->UseManualTime()
#define MEASURE_PRODUCT(function, name) BENCHMARK(function)->Name(name)->Apply(ProductSizes)->Arg(4)
// 2048 takes so long that three times are enough, and the fastest peer.
#define MEASURE_LARGE_PRODUCT(function, name) \
  BENCHMARK(function)->Name(name)->Arg(2048)->Repetitions(3)->Unit(benchmark::kMicrosecond)

void ElementWiseSizes(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(64)->Arg(2048)->Unit(benchmark::kMicrosecond);
}

MEASURE_PRODUCT(MthProduct<double>, "product double/mth");
MEASURE_PRODUCT(MthProduct<float>, "product float/mth");
MEASURE_LARGE_PRODUCT(MthProduct<double>, "product double/mth");
MEASURE_LARGE_PRODUCT(MthProduct<float>, "product float/mth");
#if MTH_MULTIVERSION
MEASURE_LIMIT(ProductLimit<double>, "product double/limit, not fused");
MEASURE_LIMIT(ProductLimit<float>, "product float/limit, fused");
MEASURE_LARGE_PRODUCT(ProductLimit<double>, "product double/limit, not fused")->UseManualTime();
MEASURE_LARGE_PRODUCT(ProductLimit<float>, "product float/limit, fused")->UseManualTime();
#endif
#ifdef MTH_HAS_EIGEN
MEASURE_PRODUCT(EigenProduct<double>, "product double/Eigen");
MEASURE_PRODUCT(EigenProductInDouble, "product float/Eigen in double");
#endif
#ifdef MTH_HAS_OPENBLAS
MEASURE_PRODUCT(OpenBlasProduct, "product double/OpenBLAS");
MEASURE_LARGE_PRODUCT(OpenBlasProduct, "product double/OpenBLAS");
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
