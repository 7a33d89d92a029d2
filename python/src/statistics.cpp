#include <algorithm>
#include <cmath>
#include <numeric>

#include "arrays.h"
#include "call.h"
#include "mth/statistics/Mth_descriptive.h"
#include "mth/statistics/Mth_sort.h"
#include "mth/statistics/Mth_special_functions.h"
#include "seed.h"

// Statistics, special functions, sorting and random streams.
//
// The library's statistics take pointers without const and only read, but where a copy is made here. The
// state of the random streams belongs to the process: the interpreter's lock, which these functions keep,
// guards it.

namespace mth_python {
namespace {

using namespace py::literals;

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

// The same, none of which is NaN.
std::pair<Array<double>, Array<double>> RankableVectors(const py::handle& xValue, const py::handle& yValue) {
  auto vectors = Vectors(xValue, yValue);
  RequireNumbers(vectors.first, "x");
  RequireNumbers(vectors.second, "y");
  return vectors;
}

template <double (*Compute)(double*, long)>
double OfVector(const py::handle& value) {
  const Array<double> x = Vector(value, "x");
  double result = 0.0;
  Call call;
  call.Run([&] { result = Compute(Read(x), static_cast<long>(x.size())); });
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
  if (x.shape(0) == 0) return Array<double>(std::vector<py::ssize_t>{0, 0});
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
  const auto [x, y] = RankableVectors(xValue, yValue);
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
  RequireFinite(x, "x");
  RequireFinite(y, "y");
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
  double* const values[] = {Read(x), Read(y)};
  const int count = static_cast<int>(x.size());
  double slope = 0.0;
  Call call;
  call.Run([&] { slope = Mth_Pente(values[0], values[1], count); });
  return slope;
}

// Runs `compute` for each index, and asks now and then whether to end.
template <class Compute>
void ForEach(py::ssize_t count, Compute compute) {
  constexpr py::ssize_t kPerQuestion = 4096;
  Call call;
  call.Run([&] {
    for (py::ssize_t i = 0; i < count; ++i) {
      if (i % kPerQuestion == 0 && call.IsCancelRequested()) return;
      compute(i);
    }
  });
}

// A function of one number over an array of any shape.
template <class Function>
py::object OfEach(const py::handle& value, Function function) {
  const Array<double> x = Numbers<double>(value, "x");
  Array<double> result = NewLike(x);
  const double* const in = x.data();
  double* const out = result.mutable_data();
  ForEach(x.size(), [&](py::ssize_t i) { out[i] = function(in[i]); });
  return Returned(result);
}

// Of arrays of one shape.
py::object IncompleteBeta(const py::handle& aValue, const py::handle& bValue, const py::handle& xValue) {
  const Array<double> a = Numbers<double>(aValue, "a");
  const Array<double> b = Numbers<double>(bValue, "b");
  const Array<double> x = Numbers<double>(xValue, "x");
  Array<double> result = NewLike(x);
  double* const out = result.mutable_data();
  const double* const values[] = {a.data(), b.data(), x.data()};
  ForEach(std::min({a.size(), b.size(), x.size()}),
          [&](py::ssize_t i) { out[i] = Mth_IncompleteBeta(values[0][i], values[1][i], values[2][i]); });
  return Returned(result);
}

// The values as doubles that hold each exactly.
Array<double> Exactly(const py::array& array, const char* name) {
  constexpr std::int64_t kLargestExact = std::int64_t{1} << 53;
  Array<double> values = Vector(array, name);
  const double* const end = values.data() + values.size();
  if (array.dtype().kind() != 'f' && array.itemsize() == 8 &&
      std::any_of(values.data(), end, [](double value) { return std::abs(value) >= kLargestExact; }))
    ThrowValueError(std::string(name) + " has whole numbers beyond 2**53");
  return values;
}

// In the type of the array that was given.
py::array InTypeOf(const py::array& given, const Array<double>& result) {
  return result.attr("astype")(given.dtype(), "copy"_a = false);
}

py::array Sort(const py::handle& value, bool ascending) {
  const py::array array = RealArray(value, "a");
  Array<double> sorted = Copy(Exactly(array, "a"));
  const int count = static_cast<int>(sorted.size());
  double* const elements = sorted.mutable_data();
  Call call;
  call.Run([&] { Mth_Sort(count, elements, ascending); });
  return InTypeOf(array, sorted);
}

py::tuple SortPair(const py::handle& keysValue, const py::handle& companionsValue) {
  const py::array given[] = {RealArray(keysValue, "a"), RealArray(companionsValue, "companions")};
  const auto [x, y] = Vectors(given[0], given[1]);
  RequireNumbers(x, "a");
  Array<double> keys = Copy(Exactly(given[0], "a"));
  Array<double> companions = Copy(Exactly(given[1], "companions"));
  double* const values[] = {keys.mutable_data(), companions.mutable_data()};
  const int count = static_cast<int>(x.size());
  bool isDone = count == 0;
  Call call;
  call.Run([&] { isDone = isDone || Mth_Sort(count, values[0], values[1]); });
  if (!isDone) ThrowValueError("the keys stand in an order that needs too many waiting parts");
  return py::make_tuple(InTypeOf(given[0], keys), InTypeOf(given[1], companions));
}

py::array Ranks(const py::handle& value) {
  const Array<double> x = Vector(value, "a");
  RequireNumbers(x, "a");
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

// Runs `initialise` with a clock that stands at the seed; None is the time of day.
template <class Initialise>
void Seeded(const std::optional<int>& seed, Initialise initialise) {
  std::optional<SeedClock> clock;
  if (seed) clock.emplace(*seed);
  initialise();
}

template <class T, class Draw>
py::array Drawn(py::ssize_t count, Draw draw) {
  constexpr py::ssize_t kPerQuestion = 65536;  // then signals and other threads have their turn
  Array<T> result(count);
  T* const values = result.mutable_data();
  for (py::ssize_t done = 0; done < count; done += kPerQuestion) {
    if (done > 0) Call().Run([] {});
    if (PyErr_CheckSignals() != 0) throw py::error_already_set();
    std::generate_n(values + done, std::min(kPerQuestion, count - done), draw);
  }
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
  module.def("mean", Interruptible(&OfVector<&Mth_Mean>, kOfOnePass));
  module.def("std", Interruptible(&OfVector<&Mth_StdDeviation>, kOfOnePass));
  module.def("covariance", Interruptible(&Covariance, kOfSorting));
  module.def("spearman", Interruptible(&Spearman, kOfSorting));
  module.def("pearson", Interruptible(&Pearson, kOfOnePass));
  module.def("mann_whitney", Interruptible(&MannWhitney, kOfSorting));
  module.def("slope", Interruptible(&Slope, kOfOnePass));
  module.def("gamma", [](const py::handle& x) { return OfEach(x, &Mth_Gamma); });
  module.def("log_gamma", [](const py::handle& x) { return OfEach(x, &Mth_LogarithmGamma); });
  module.def("erfc", [](const py::handle& x) { return OfEach(x, &Mth_ComplementaryErrorFunction); });
  module.def("erf", [](const py::handle& x) {
    return OfEach(
        x, [](double value) { return static_cast<double>(Mth_ErrorFunction(static_cast<float>(value))); });
  });
  module.def("betainc", &IncompleteBeta);
  module.def("sort", Interruptible(&Sort, kOfSorting));
  module.def("sort_pair", Interruptible(&SortPair, kOfSorting));
  module.def("ranks", Interruptible(&Ranks, kOfSorting));
  DefineRandom(module);
}

}  // namespace mth_python
