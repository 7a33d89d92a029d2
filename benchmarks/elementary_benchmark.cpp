#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "mth/core/Mth_elementary_internal.h"

// Elementary functions: the library's own beside the C library's, one number at a time, and the own ones in
// lanes of the instruction set. Times are per call of 2,048 random arguments.

namespace {

using namespace mth_internal;
using Scalar = double (*)(double);
using Array = void (*)(const double*, std::int64_t, double*);

constexpr std::int64_t kCount = 2048;
constexpr double kExponent = 1.37;
constexpr double kSide = 3.7;

struct Function {
  const char* name;
  Scalar library;
  Scalar own;
  Array array;
  double low;
  double high;
};

const Function kFunctions[] = {
    {"exponential", [](double x) { return std::exp(x); }, Exponential, Exponentials, -10.0, 10.0},
    {"logarithm", [](double x) { return std::log(x); }, Logarithm, Logarithms, 0.0, 20.0},
    {"power", [](double x) { return std::pow(x, kExponent); }, [](double x) { return Power(x, kExponent); },
     [](const double* x, std::int64_t count, double* results) { Powers(x, kExponent, count, results); }, 0.0,
     20.0},
    {"sine", [](double x) { return std::sin(x); }, Sine, Sines, -10.0, 10.0},
    {"cosine", [](double x) { return std::cos(x); }, Cosine, Cosines, -10.0, 10.0},
    {"arctangent", [](double x) { return std::atan(x); }, static_cast<Scalar>(Arctangent), Arctangents, -10.0,
     10.0},
    {"arcsine", [](double x) { return std::asin(x); }, Arcsine, Arcsines, -1.0, 1.0},
    {"arccosine", [](double x) { return std::acos(x); }, Arccosine, Arccosines, -1.0, 1.0},
    {"hypotenuse", [](double x) { return std::hypot(x, kSide); },
     [](double x) { return Hypotenuse(x, kSide); },
     [](const double* x, std::int64_t count, double* results) { Hypotenuses(x, x, count, results); }, -10.0,
     10.0}};

std::vector<double> ArgumentsOf(const Function& function) {
  std::mt19937_64 engine(1);
  std::uniform_real_distribution<double> uniform(function.low, function.high);
  std::vector<double> x(kCount);
  for (double& argument : x) argument = uniform(engine);
  return x;
}

void OneByOne(benchmark::State& state, const Function& function, Scalar compute) {
  const std::vector<double> x = ArgumentsOf(function);
  std::vector<double> results(kCount);
  for (auto _ : state) {
    for (std::size_t i = 0; i < x.size(); ++i) results[i] = compute(x[i]);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kCount);
}

void InLanes(benchmark::State& state, const Function& function) {
  const std::vector<double> x = ArgumentsOf(function);
  std::vector<double> results(kCount);
  for (auto _ : state) {
    function.array(x.data(), kCount, results.data());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * kCount);
}

// The C library has one form, which is beside both of ours.
const bool isRegistered = [] {
  for (const Function& function : kFunctions) {
    const std::string name = function.name;
    benchmark::RegisterBenchmark((name + "/mth/in lanes").c_str(), InLanes, function);
    benchmark::RegisterBenchmark((name + "/C library/in lanes").c_str(), OneByOne, function,
                                 function.library);
    benchmark::RegisterBenchmark((name + "/mth/one by one").c_str(), OneByOne, function, function.own);
    benchmark::RegisterBenchmark((name + "/C library/one by one").c_str(), OneByOne, function,
                                 function.library);
  }
  return true;
}();

}  // namespace
