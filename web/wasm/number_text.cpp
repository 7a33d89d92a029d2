// Numbers as text for a standard library that has no std::to_chars of floating-point numbers: the same
// characters. The module's printf and strtod are exact and know no locale.

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>

#include "support/text.h"

namespace example {

namespace {

constexpr int kMostDigits = 17;  // that a double needs

std::string Printed(const char* format, int digits, double value) {
  std::array<char, 512> buffer{};  // the largest double has 309 digits before the point
  const int length = std::snprintf(buffer.data(), buffer.size(), format, digits, value);
  return std::string(buffer.data(), static_cast<std::size_t>(length));
}

}  // namespace

// The fewest digits, in the shorter notation, the fixed one of two alike.
std::string Shortest(double value) {
  std::string scientific;
  int digits = 0;
  for (; digits < kMostDigits; ++digits) {
    scientific = Printed("%.*e", digits, value);
    if (std::strtod(scientific.c_str(), nullptr) == value) break;
  }
  const std::size_t mark = scientific.find('e');
  if (mark == std::string::npos) return scientific;  // no finite number
  const int exponent = std::atoi(scientific.c_str() + mark + 1);
  const std::string fixed = Printed("%.*f", std::max(digits - exponent, 0), value);
  return fixed.size() <= scientific.size() ? fixed : scientific;
}

std::string Rounded(double value, int significantDigits) {
  return Printed("%.*g", significantDigits, value);
}

std::string Fixed(double value, int decimals) {
  std::string digits = Printed("%.*f", decimals, value);
  const bool isZero = digits.find_first_of("123456789in") == std::string::npos;  // not infinity or NaN either
  if (isZero && digits.front() == '-') digits.erase(0, 1);
  return digits;
}

std::optional<double> ReadNumber(const std::string& text) {
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  if (text.empty() || end != text.c_str() + text.size()) return std::nullopt;
  return number;
}

}  // namespace example
