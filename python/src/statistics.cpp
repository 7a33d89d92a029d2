#include <algorithm>
#include <cmath>
#include <numeric>

#include "arrays.h"
#include "call.h"
#include "mth/statistics/Mth_descriptive.h"
#include "mth/statistics/Mth_random.h"
#include "mth/statistics/Mth_sort.h"
#include "mth/statistics/Mth_special_functions.h"

// Statistics, special functions, sorting and random streams.
//
// The library's statistics take pointers without const and only read, but where a copy is made here. The
// state of the random streams belongs to the process: the interpreter's lock, which these functions keep,
// guards it.

namespace mth_python {
namespace {

Array<double> Vector(const py::handle& value, const char* name) {
  Array<double> array = Numbers<double>(value, name, 1);
  ToInt(array.size(), name);
  return array;
}

double* Read(const Array<double>& array) {
  return const_cast<double*>(array.data());
}

Array<double> Copy(const Array<double>& array) {
  Array<double> copy(array.size());
  std::copy_n(array.data(), array.size(), copy.mutable_data());
  return copy;
}

std::pair<Array<double>, Array<double>> Vectors(const py::handle& xValue, const py::handle& yValue) {
  Array<double> x = Vector(xValue, "x");
  Array<double> y = Vector(yValue, "y");
  if (x.size() != y.size())
    ThrowValueError("x has " + std::to_string(x.size()) + " values, y " + std::to_string(y.size()));
  return {x, y};
}

template <class Compute>
double OfVector(const py::handle& value, Compute compute) {
  const Array<double> x = Vector(value, "x");
  double result = 0.0;
  Call call;
  call.Run([&] { result = compute(Read(x), x.size()); });
  return result;
}

// x and y of the shape (dimensions, samples).
py::array Covariance(const py::handle& xValue, const py::handle& yValue) {
  const Array<double> x = Numbers<double>(xValue, "x", 2);
  const Array<double> y = Numbers<double>(yValue, "y", 2);
  if (x.shape(0) != y.shape(0) || x.shape(1) != y.shape(1))
    ThrowValueError("x has the shape " + ShapeText(x) + ", y " + ShapeText(y));
  constexpr py::ssize_t kMostDimensions = 32767;
  if (x.shape(0) > kMostDimensions) ThrowValueError("there are more than 32767 dimensions");
  std::unique_ptr<MTH_MATRIX> result;
  const int samples = ToInt(x.shape(1), "x");
  Call call;
  call.Run([&] {
    std::vector<double*> xRows, yRows;
    for (py::ssize_t d = 0; d < x.shape(0); ++d) {
      xRows.push_back(Read(x) + d * samples);
      yRows.push_back(Read(y) + d * samples);
    }
    result.reset(Mth_CovarianceMatrix(xRows.data(), yRows.data(), samples, static_cast<short>(xRows.size())));
  });
  if (!result || !result->IsAllocated()) ThrowMemoryError();
  return FromMatrix(std::move(result));
}

py::tuple Spearman(const py::handle& xValue, const py::handle& yValue) {
  const auto [x, y] = Vectors(xValue, yValue);
  double* const values[] = {Read(x), Read(y)};
  const int count = static_cast<int>(x.size());
  double d = NAN, zd = NAN, probd = NAN, rs = NAN, probrs = NAN;
  Call call;
  call.Run(
      [&] { Mth_CorrelationRatioOfSpearman(values[0], values[1], count, &d, &zd, &probd, &rs, &probrs); });
  return py::make_tuple(rs, probrs, d, zd, probd);
}

py::tuple Pearson(const py::handle& xValue, const py::handle& yValue) {
  const auto [x, y] = Vectors(xValue, yValue);
  double* const values[] = {Read(x), Read(y)};
  const int count = static_cast<int>(x.size());
  double meanX = NAN, varX = NAN, meanY = NAN, varY = NAN, covXY = NAN, r = NAN, slope = NAN, prob = NAN;
  Call call;
  call.Run([&] {
    Mth_StatisticalCriterionCalculations(values[0], values[1], count, &meanX, &varX, &meanY, &varY, &covXY,
                                         &r, &slope, &prob);
  });
  return py::make_tuple(r, prob, slope, meanX, meanY, varX, varY, covXY);
}

double MannWhitney(const py::handle& xValue, const py::handle& yValue) {
  const auto [x, y] = Vectors(xValue, yValue);
  Array<double> xSorted = Copy(x);
  Array<double> ySorted = Copy(y);
  double* const values[] = {xSorted.mutable_data(), ySorted.mutable_data()};
  const int count = static_cast<int>(x.size());
  double result = 0.0;
  Call call;
  call.Run([&] { result = Mth_TestMannWhitney(values[0], values[1], count); });
  return result;
}

double Slope(const py::handle& xValue, const py::handle& yValue) {
  const auto [x, y] = Vectors(xValue, yValue);
  return Mth_Pente(Read(x), Read(y), static_cast<int>(x.size()));
}

// A function of one number over an array of any shape.
template <class Function>
py::array OfEach(const py::handle& value, Function function) {
  const Array<double> x = Numbers<double>(value, "x");
  Array<double> result(std::vector<py::ssize_t>(x.shape(), x.shape() + x.ndim()));
  const double* const in = x.data();
  double* const out = result.mutable_data();
  const py::ssize_t count = x.size();
  Call call;
  call.Run([&] { std::transform(in, in + count, out, function); });
  return result;
}

// Of arrays of one shape.
py::array IncompleteBeta(const py::handle& aValue, const py::handle& bValue, const py::handle& xValue) {
  const Array<double> a = Numbers<double>(aValue, "a");
  const Array<double> b = Numbers<double>(bValue, "b");
  const Array<double> x = Numbers<double>(xValue, "x");
  Array<double> result(std::vector<py::ssize_t>(x.shape(), x.shape() + x.ndim()));
  double* const out = result.mutable_data();
  const double* const values[] = {a.data(), b.data(), x.data()};
  const py::ssize_t count = std::min({a.size(), b.size(), x.size()});
  Call call;
  call.Run([&] {
    for (py::ssize_t i = 0; i < count; ++i)
      out[i] = Mth_IncompleteBeta(values[0][i], values[1][i], values[2][i]);
  });
  return result;
}

py::array Sort(const py::handle& value, bool ascending) {
  const py::array array = RealArray(value, "a");
  if (array.ndim() != 1) ThrowValueError("a has " + std::to_string(array.ndim()) + " dimensions, not 1");
  const int count = ToInt(array.size(), "a");
  Call call;
  if (array.dtype().kind() == 'i' && array.itemsize() <= 4) {
    Array<int> sorted = array.attr("astype")("int32");  // a copy
    int* const elements = sorted.mutable_data();
    call.Run([&] { Mth_Sort(count, elements, ascending); });
    return sorted;
  }
  Array<double> sorted = Copy(Contiguous<double>(array));
  double* const elements = sorted.mutable_data();
  call.Run([&] { Mth_Sort(count, elements, ascending); });
  return sorted;
}

py::tuple SortPair(const py::handle& keysValue, const py::handle& companionsValue) {
  const auto [x, y] = Vectors(keysValue, companionsValue);
  Array<double> keys = Copy(x);
  Array<double> companions = Copy(y);
  double* const values[] = {keys.mutable_data(), companions.mutable_data()};
  const int count = static_cast<int>(x.size());
  bool isDone = count == 0;
  Call call;
  call.Run([&] { isDone = isDone || Mth_Sort(count, values[0], values[1]); });
  if (!isDone) ThrowValueError("the keys stand in an order that needs too many waiting parts");
  return py::make_tuple(keys, companions);
}

py::array Ranks(const py::handle& value) {
  const Array<double> x = Vector(value, "a");
  const int count = static_cast<int>(x.size());
  Array<double> result(x.size());
  const double* const in = x.data();
  double* const out = result.mutable_data();
  Call call;
  call.Run([&] {
    std::vector<double> keys(in, in + count);
    std::vector<double> places(keys.size());
    std::iota(places.begin(), places.end(), 0.0);
    if (count > 0) Mth_Sort(count, keys.data(), places.data());
    double ties = 0.0;
    Mth_ReplaceByRank(count, keys.data(), &ties);
    for (std::size_t i = 0; i < keys.size(); ++i) out[static_cast<std::size_t>(places[i])] = keys[i];
  });
  return result;
}

int clockOfSeeds = 0;

// Runs `initialise` with a clock that stands at the seed; None is the time of day.
template <class Initialise>
void Seeded(const std::optional<int>& seed, Initialise initialise) {
  if (!seed) {
    initialise();
    return;
  }
  clockOfSeeds = *seed;
  const auto former = Mth_SetRandomClock([] { return clockOfSeeds; });
  initialise();
  Mth_SetRandomClock(former);
}

template <class T, class Draw>
py::array Drawn(py::ssize_t count, Draw draw) {
  Array<T> result(count);
  T* const values = result.mutable_data();
  std::generate_n(values, count, draw);
  return result;
}

py::array Select(short k, short n) {
  if (k < 0 || n < 0 || k > n)
    ThrowValueError("k is " + std::to_string(k) + ", not 0 to " + std::to_string(n));
  Array<short> result(k);
  if (k > 0 && !Mth_Random_SelectAleat(k, n, result.mutable_data())) ThrowMemoryError();
  return result;
}

void DefineRandom(py::module_& module) {
  module.def("seed_uniform",
             [](short stream, std::optional<int> seed) { Seeded(seed, [&] { Mth_InitRandom1(stream); }); });
  module.def("uniform", [](short stream, py::ssize_t n) {
    return Drawn<double>(n, [&] { return Mth_Random1(stream); });
  });
  module.def("seed_integers", [](short stream, short low, short high, std::optional<int> seed) {
    Seeded(seed, [&] { Mth_InitRandom2(stream, low, high); });
  });
  module.def("integers",
             [](short stream, py::ssize_t n) { return Drawn<int>(n, [&] { return Mth_Random2(stream); }); });
  module.def("seed_bits",
             [](short stream, std::optional<int> seed) { Seeded(seed, [&] { Mth_InitRandom3(stream); }); });
  module.def("bits", [](short stream, py::ssize_t n) {
    return Drawn<short>(n, [&] { return Mth_Random3(stream); });
  });
  module.def("seed_normal", [](short stream, std::optional<int> seed) {
    Seeded(seed, [&] { Mth_InitNormalRandom(stream); });
  });
  module.def("normal", [](short stream, py::ssize_t n) {
    return Drawn<float>(n, [&] { return Mth_NormalRandomGenerator(stream); });
  });
  module.def("generate", [](long state, py::ssize_t n) {
    const py::array numbers = Drawn<float>(n, [&] { return Mth_RandomGenerator(&state); });
    return py::make_tuple(numbers, state);
  });
  module.def("select", &Select);
}

}  // namespace

void DefineStatistics(py::module_& module) {
  module.def("mean", [](const py::handle& x) {
    return OfVector(x, [](double* values, py::ssize_t n) { return Mth_Mean(values, static_cast<long>(n)); });
  });
  module.def("std", [](const py::handle& x) {
    return OfVector(
        x, [](double* values, py::ssize_t n) { return Mth_StdDeviation(values, static_cast<long>(n)); });
  });
  module.def("covariance", &Covariance);
  module.def("spearman", &Spearman);
  module.def("pearson", &Pearson);
  module.def("mann_whitney", &MannWhitney);
  module.def("slope", &Slope);
  module.def("gamma", [](const py::handle& x) { return OfEach(x, &Mth_Gamma); });
  module.def("log_gamma", [](const py::handle& x) { return OfEach(x, &Mth_LogarithmGamma); });
  module.def("erfc", [](const py::handle& x) { return OfEach(x, &Mth_ComplementaryErrorFunction); });
  module.def("erf", [](const py::handle& x) {
    return OfEach(
        x, [](double value) { return static_cast<double>(Mth_ErrorFunction(static_cast<float>(value))); });
  });
  module.def("betainc", &IncompleteBeta);
  module.def("sort", &Sort);
  module.def("sort_pair", &SortPair);
  module.def("ranks", &Ranks);
  DefineRandom(module);
}

}  // namespace mth_python
