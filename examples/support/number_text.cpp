#include <array>
#include <charconv>

#include "support/text.h"

namespace example {

namespace {

template <class... Format>
std::string Digits(double value, Format... format) {
  std::array<char, 512> buffer{};  // the largest double has 309 digits before the point
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value, format...);
  return std::string(buffer.data(), result.ptr);
}

}  // namespace

std::string Shortest(double value) {
  return Digits(value);
}

std::string Rounded(double value, int significantDigits) {
  return Digits(value, std::chars_format::general, significantDigits);
}

std::string Fixed(double value, int decimals) {
  std::string digits = Digits(value, std::chars_format::fixed, decimals);
  const bool isZero = digits.find_first_of("123456789in") == std::string::npos;  // not infinity or NaN either
  if (isZero && digits.front() == '-') digits.erase(0, 1);
  return digits;
}

std::optional<double> ReadNumber(const std::string& text) {
  double number = 0.0;
  const char* end = text.data() + text.size();
  if (std::from_chars(text.data(), end, number).ptr != end) return std::nullopt;
  return number;
}

}  // namespace example
