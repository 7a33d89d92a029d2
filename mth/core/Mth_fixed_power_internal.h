#pragma once

#include <cmath>

#include "mth/core/Mth_elementary_internal.h"
#include "mth/core/Mth_power_table_internal.h"

namespace mth_internal {

/// What the powers of many numbers to one moderate exponent look up: x = 2^e z with z = (1 + r) / c for a
/// tabled c, so that x^y = (2^e)^y c^-y (1 + r)^y. Two tables and a short series take the place of a
/// logarithm and an exponential. The error is below three units in the last place. Numbers from 2^-510 to
/// 2^510 are in the tables.
struct FixedPowerTable {
  static constexpr double kMostExponent = 10.0;  // in magnitude: the series is long enough for it
  static constexpr int kWholes = 1024;
  static constexpr int kRows = 128;
  static constexpr int kTerms = 8;
  static constexpr double kLargestWhole = 900.0;  // of the results: far from the ends of a double

  explicit FixedPowerTable(double exponent) {
    double binomial = 1.0;
    for (int i = 0; i < kTerms; ++i) {
      binomial *= (exponent - i) / (i + 1.0);
      series[kTerms - 1 - i] = binomial;
    }
    for (int i = 0; i < kRows; ++i) {
      rows[i][0] = kPowerRows[i][0];
      rows[i][1] = Power(kPowerRows[i][0], -exponent);
    }
    for (int i = 0; i < kWholes; ++i) {
      const int whole = i - kWholes / 2;
      const bool hasPower = std::abs(exponent * whole) <= kLargestWhole;  // an overflow may be trapped
      wholes[i] = std::ldexp(1.0, hasPower ? whole : 0);
    }
    Powers(wholes, exponent, kWholes, wholes);
  }

  double series[kTerms];    // of ((1 + r)^y - 1) / r, from the highest power down
  double rows[kRows][4]{};  // c, and it to the power -y
  double wholes[kWholes];   // of 2^(i - kWholes / 2); 1 where the power is beyond 2^+-kLargestWhole
};

}  // namespace mth_internal
