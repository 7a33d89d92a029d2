#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "mth/core/Mth_number_text_internal.h"

// The C library's printf and strtod, in the "C" locale, are the oracles; they round correctly.

namespace {

std::string Fixed(double value, int decimals) {
  char text[mth_internal::kLongestFixed];
  return {text, mth_internal::WriteFixed(value, decimals, text)};
}

std::string Printed(double value, int decimals) {
  char text[512];
  return {text, static_cast<std::size_t>(std::snprintf(text, sizeof text, "%.*f", decimals, value))};
}

std::uint64_t BitsOf(double value) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

double AnyDouble(std::mt19937_64& engine) {
  const std::uint64_t bits = engine();
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return std::isfinite(value) ? value : 0.0;
}

// Takes a number off the text and tells the bits and what is left.
struct Taken {
  bool isNumber;
  double number;
  std::string rest;
};

Taken Take(const std::string& text) {
  std::string_view view = text;
  Taken taken{false, -77.0, ""};
  taken.isNumber = mth_internal::TakeNumber(view, taken.number);
  taken.rest = view;
  return taken;
}

void ExpectAsStrtod(const std::string& text) {
  char* end = nullptr;
  const double expected = std::strtod(text.c_str(), &end);
  const Taken taken = Take(text);
  EXPECT_EQ(taken.isNumber, end != text.c_str()) << text;
  if (!taken.isNumber) return;
  EXPECT_EQ(BitsOf(taken.number), BitsOf(expected)) << text;
  EXPECT_EQ(taken.rest, end) << text;
}

TEST(NumberText, WritesAsPrintfDoes) {
  std::mt19937_64 engine(1);
  std::uniform_real_distribution<double> usual(-1e6, 1e6);
  for (int i = 0; i < 20000; ++i) {
    const int decimals = static_cast<int>(engine() % 21);
    for (const double value : {usual(engine), AnyDouble(engine), std::ldexp(usual(engine), -24)})
      ASSERT_EQ(Fixed(value, decimals), Printed(value, decimals)) << value << ", " << decimals;
  }
}

TEST(NumberText, WritesHalvesToEvenAndTheEdgesOfTheRange) {
  const double edges[] = {0.5,  1.5,   2.5,   -0.5,    0.125,  0.375, 0.0625, 1e22,   9.5,
                          99.5, 0.0,   -0.0,  0.9995,  0.0005, -1e-9, 5e-324, 2e-308, 1.7976931348623157e308,
                          1e23, 0.045, 1.005, 999.9995};
  for (const double value : edges) {
    for (int decimals = 0; decimals <= mth_internal::kMostDecimals; ++decimals)
      EXPECT_EQ(Fixed(value, decimals), Printed(value, decimals));
  }
  EXPECT_EQ(Fixed(std::numeric_limits<double>::infinity(), 3), "inf");
  EXPECT_EQ(Fixed(-std::numeric_limits<double>::infinity(), 3), "-inf");
  EXPECT_EQ(Fixed(std::nan(""), 3), "nan");
  EXPECT_EQ(Fixed(std::copysign(std::nan("1"), -1.0), 3), "nan");
}

TEST(NumberText, ReadsAsStrtodDoes) {
  std::mt19937_64 engine(2);
  char text[1100];
  for (int i = 0; i < 20000; ++i) {
    const double value = AnyDouble(engine);
    std::snprintf(text, sizeof text, "%.*g", static_cast<int>(1 + engine() % 20), value);
    ExpectAsStrtod(text);
    std::snprintf(text, sizeof text, "%.*a", static_cast<int>(engine() % 16), value);
    ExpectAsStrtod(text);
    std::snprintf(text, sizeof text, "%llue%d", static_cast<unsigned long long>(engine()),
                  static_cast<int>(engine() % 700) - 350);
    ExpectAsStrtod(text);
  }
}

// Exact halves between neighbouring doubles, up to 767 digits long, and what lies just beside them.
TEST(NumberText, ReadsHalvesBetweenDoublesToEven) {
  std::mt19937_64 engine(3);
  for (int i = 0; i < 300; ++i) {
    const double low =
        i < 100 ? std::ldexp(static_cast<double>(engine() % 5000), -1074) : std::abs(AnyDouble(engine));
    const double high = std::nextafter(low, std::numeric_limits<double>::infinity());
    if (high > 1e300) continue;
    // A double's unit in the last place is a power of two: long double, of 64 bits, holds the half between.
    const long double half = (static_cast<long double>(low) + static_cast<long double>(high)) / 2.0L;
    char text[1200];
    std::snprintf(text, sizeof text, "%.1100Lf", half);
    const std::string digits = text;
    ExpectAsStrtod(digits);
    ExpectAsStrtod(digits + "0000000001");
    ExpectAsStrtod(digits + std::string(2000, '0') + "1");
  }
}

TEST(NumberText, TakesWhatANumberIsAndNoMore) {
  for (const char* text : {"",
                           "-",
                           "+",
                           ".",
                           "e5",
                           "x",
                           "1",
                           "-1.",
                           ".5",
                           "+.5e1",
                           "1e",
                           "1e+",
                           "1e5",
                           "1E-5x",
                           "1.2.3",
                           "1,5",
                           "00012",
                           "0x",
                           "0x1",
                           "0x.8p1",
                           "0x1p",
                           "0X1P-3",
                           "0x1.fffffffffffff8p0",
                           "0x1.00000000000008p0",
                           "0x1.000000000000080000001p0",
                           "0x0p99",
                           "inf",
                           "-Infinity",
                           "infinite",
                           "1e5000",
                           "-1e5000",
                           "1e-5000",
                           "0e99999999999",
                           "1e99999999999",
                           "1e-99999999999",
                           "2.2250738585072011e-308",
                           "4.9406564584124654e-324",
                           "2.4703282292062327e-324",
                           "2.4703282292062328e-324",
                           "1.7976931348623158e308",
                           "1.7976931348623159e308",
                           "0x1p-1074",
                           "0x1p-1075",
                           "0x1.8p-1075",
                           "0x1p1024",
                           "--1",
                           "+-1",
                           "1 2",
                           "9007199254740993",
                           "0x1fffffffffffff.8"})
    ExpectAsStrtod(text);
  EXPECT_TRUE(std::isnan(Take("nan").number));
  EXPECT_TRUE(std::isnan(Take("-NaN").number));
  EXPECT_EQ(Take("nan,1").rest, ",1");
  EXPECT_FALSE(Take(" 1").isNumber);
  ExpectAsStrtod("0." + std::string(3000, '0') + "1e3000");
  ExpectAsStrtod("1" + std::string(3000, '0') + "e-3000");
}

TEST(NumberText, IsTheSameUnderEveryRoundingMode) {
  std::mt19937_64 engine(4);
  std::vector<double> values;
  for (int i = 0; i < 500; ++i) values.push_back(AnyDouble(engine));
  for (const double value : values) {
    char text[64];
    std::snprintf(text, sizeof text, "%.17g", value);
    const std::string printed = Printed(value, 6);
    for (const int mode : {FE_UPWARD, FE_DOWNWARD, FE_TOWARDZERO}) {
      std::fesetround(mode);
      const Taken taken = Take(text);
      const std::string fixed = Fixed(value, 6);
      std::fesetround(FE_TONEAREST);
      ASSERT_EQ(BitsOf(taken.number), BitsOf(value)) << text;
      ASSERT_EQ(fixed, printed);
    }
  }
}

}  // namespace
