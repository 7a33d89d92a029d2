#pragma once

#include <mpfr.h>

#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <random>
#include <vector>

#include "mth/core/Mth_elementary_internal.h"

// Errors of the elementary functions against MPFR, in units of the last place of the exact result.

namespace elementary_errors {

using Engine = std::mt19937_64;

struct Pair {
  double x;
  double y;
};

struct Range {
  const char* function;
  const char* name;
  double bound;  // in units of the last place
  std::function<double(Pair)> compute;
  std::function<void(mpfr_t result, const mpfr_t x, const mpfr_t y)> computeExactly;
  std::function<Pair(Engine&)> draw;
};

struct Worst {
  double error = 0.0;
  double x = 0.0;
  double y = 0.0;
};

inline double Uniform(Engine& engine, double low, double high) {
  return std::uniform_real_distribution<double>(low, high)(engine);
}

// Any finite double, each exponent as likely as another.
inline double AnyNumber(Engine& engine) {
  double x = 0.0;
  do x = std::bit_cast<double>(engine());
  while (!std::isfinite(x));
  return x;
}

inline const std::vector<Range>& Ranges() {
  using namespace mth_internal;
  using Unary = int (*)(mpfr_t, const mpfr_t, mpfr_rnd_t);
  using Binary = int (*)(mpfr_t, const mpfr_t, const mpfr_t, mpfr_rnd_t);
  constexpr double kExpLog = 0.55;
  constexpr double kOther = 0.6;
  const auto one = [](const char* function, const char* name, double bound, double (*compute)(double),
                      Unary exact, std::function<double(Engine&)> draw) {
    return Range{function,
                 name,
                 bound,
                 [compute](Pair p) { return compute(p.x); },
                 [exact](mpfr_t result, const mpfr_t x, const mpfr_t) { exact(result, x, MPFR_RNDN); },
                 [draw](Engine& e) {
                   return Pair{draw(e), 0.0};
                 }};
  };
  const auto two = [](const char* function, const char* name, double (*compute)(double, double), Binary exact,
                      std::function<Pair(Engine&)> draw) {
    return Range{function,
                 name,
                 kOther,
                 [compute](Pair p) { return compute(p.x, p.y); },
                 [exact](mpfr_t result, const mpfr_t x, const mpfr_t y) { exact(result, x, y, MPFR_RNDN); },
                 draw};
  };
  const auto between = [](double low, double high) {
    return [=](Engine& e) { return Uniform(e, low, high); };
  };
  const auto positive = [](Engine& e) { return std::abs(AnyNumber(e)); };
  const auto besideOne = [](Engine& e) {
    return 1.0 + Uniform(e, -1.0, 1.0) * std::exp2(-Uniform(e, 2.0, 51.0));
  };
  const auto nearMultiple = [](Engine& e) {
    const double multiple = static_cast<double>(e() % 1000000) * 0.19634954084936207;
    return std::nextafter(multiple, Uniform(e, -1.0, 1.0) * 1e9);
  };
  const auto inUnit = [](Engine& e) {
    return std::copysign(1.0 - std::exp2(-Uniform(e, 0.0, 53.0)), Uniform(e, -1.0, 1.0));
  };
  const auto small = [](Engine& e) {
    return std::copysign(std::exp2(-Uniform(e, 0.0, 60.0)), Uniform(e, -1.0, 1.0));
  };
  const auto withExponent = [](double x, Engine& e) {
    return Pair{x, Uniform(e, -745.0, 709.0) / std::log(x)};
  };
  static const std::vector<Range> ranges = {
      one("exponential", "-745 to 710", kExpLog, Exponential, mpfr_exp, between(-745.0, 709.7)),
      one("exponential", "-1 to 1", kExpLog, Exponential, mpfr_exp, between(-1.0, 1.0)),
      one("exponential", "subnormal results", kExpLog, Exponential, mpfr_exp, between(-745.0, -707.0)),
      one("logarithm", "all numbers", kExpLog, Logarithm, mpfr_log, positive),
      one("logarithm", "1/2 to 2", kExpLog, Logarithm, mpfr_log, between(0.5, 2.0)),
      one("logarithm", "beside 1", kExpLog, Logarithm, mpfr_log, besideOne),
      one("sine", "-10 to 10", kOther, Sine, mpfr_sin, between(-10.0, 10.0)),
      one("sine", "all numbers", kOther, Sine, mpfr_sin, AnyNumber),
      one("sine", "beside multiples of pi / 16", kOther, Sine, mpfr_sin, nearMultiple),
      one("cosine", "-10 to 10", kOther, Cosine, mpfr_cos, between(-10.0, 10.0)),
      one("cosine", "all numbers", kOther, Cosine, mpfr_cos, AnyNumber),
      one("cosine", "beside multiples of pi / 16", kOther, Cosine, mpfr_cos, nearMultiple),
      one("arctangent", "-3 to 3", kOther, static_cast<double (*)(double)>(Arctangent), mpfr_atan,
          between(-3.0, 3.0)),
      one("arctangent", "all numbers", kOther, static_cast<double (*)(double)>(Arctangent), mpfr_atan,
          AnyNumber),
      one("arcsine", "-1 to 1", kOther, Arcsine, mpfr_asin, between(-1.0, 1.0)),
      one("arcsine", "beside 1 and -1", kOther, Arcsine, mpfr_asin, inUnit),
      one("arcsine", "small numbers", kOther, Arcsine, mpfr_asin, small),
      one("arccosine", "-1 to 1", kOther, Arccosine, mpfr_acos, between(-1.0, 1.0)),
      one("arccosine", "beside 1 and -1", kOther, Arccosine, mpfr_acos, inUnit),
      one("arccosine", "small numbers", kOther, Arccosine, mpfr_acos, small),
      two("angle of a point", "all numbers", static_cast<double (*)(double, double)>(Arctangent), mpfr_atan2,
          [](Engine& e) {
            const double x = AnyNumber(e);
            return Pair{x, std::copysign(x * std::exp2(Uniform(e, -20.0, 20.0)), Uniform(e, -1.0, 1.0))};
          }),
      two("power", "all numbers, results of all sizes", Power, mpfr_pow,
          [=](Engine& e) { return withExponent(positive(e), e); }),
      two("power", "beside 1, results of all sizes", Power, mpfr_pow,
          [=](Engine& e) { return withExponent(besideOne(e), e); }),
      two("power", "0 to 1 to the power 1.8", Power, mpfr_pow,
          [](Engine& e) {
            return Pair{Uniform(e, 0.0, 1.0), 1.8};
          }),
      two("power", "any sign, whole exponents", Power, mpfr_pow,
          [](Engine& e) {
            return Pair{Uniform(e, -50.0, 50.0), std::floor(Uniform(e, -30.0, 30.0))};
          }),
      two("hypotenuse", "-1 to 1", static_cast<double (*)(double, double)>(Hypotenuse), mpfr_hypot,
          [](Engine& e) {
            return Pair{Uniform(e, -1.0, 1.0), Uniform(e, -1.0, 1.0)};
          }),
      two("hypotenuse", "all numbers", static_cast<double (*)(double, double)>(Hypotenuse), mpfr_hypot,
          [](Engine& e) {
            const double x = AnyNumber(e);
            return Pair{x, x * std::exp2(Uniform(e, -30.0, 0.0))};
          }),
  };
  return ranges;
}

// The distance in units of the last place of `exact`; infinite where only one of the two is a finite number.
inline double ErrorOf(double got, const mpfr_t exact) {
  const double nearest = mpfr_get_d(exact, MPFR_RNDN);
  if (!std::isfinite(nearest) || !std::isfinite(got)) {
    const bool isSame = got == nearest || (std::isnan(got) && std::isnan(nearest));
    return isSame ? 0.0 : std::numeric_limits<double>::infinity();
  }
  const double unit = std::ldexp(1.0, std::max(std::ilogb(nearest == 0.0 ? 0x1p-1074 : nearest), -1022) - 52);
  mpfr_t difference;
  mpfr_init2(difference, 2 * mpfr_get_prec(exact));
  mpfr_sub_d(difference, exact, got, MPFR_RNDN);
  mpfr_div_d(difference, difference, unit, MPFR_RNDN);
  const double error = std::abs(mpfr_get_d(difference, MPFR_RNDN));
  mpfr_clear(difference);
  return error;
}

// The largest error over the pairs that `next` draws.
template <class Next>
Worst WorstOf(const Range& range, int count, Next next) {
  constexpr mpfr_prec_t kBits = 160;
  Worst worst;
  mpfr_t x, y, exact;
  mpfr_inits2(kBits, x, y, exact, static_cast<mpfr_ptr>(nullptr));
  for (int i = 0; i < count; ++i) {
    const Pair pair = next(i);
    mpfr_set_d(x, pair.x, MPFR_RNDN);
    mpfr_set_d(y, pair.y, MPFR_RNDN);
    range.computeExactly(exact, x, y);
    const double error = ErrorOf(range.compute(pair), exact);
    if (error > worst.error) worst = {error, pair.x, pair.y};
  }
  mpfr_clears(x, y, exact, static_cast<mpfr_ptr>(nullptr));
  return worst;
}

inline Worst FindWorst(const Range& range, int arguments) {
  Engine engine(1);
  return WorstOf(range, arguments, [&](int) { return range.draw(engine); });
}

}  // namespace elementary_errors
