#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>

#include "mth/core/Mth_natural_internal.h"
#include "mth/core/Mth_number_text_internal.h"

// Everything is done in whole numbers, so that the rounding is exact and no rounding mode matters.

namespace mth_internal {
namespace {

constexpr int kMantissaBits = 53;
constexpr int kSmallestExponent = -1074;  // of the unit in the last place of a subnormal
constexpr int kLargestExponent = 971;     // of that of the largest double

// |value| as mantissa 2^exponent.
struct Binary {
  std::uint64_t mantissa;
  int exponent;
};

std::uint64_t BitsOf(double value) {
  std::uint64_t bits;
  std::memcpy(&bits, &value, sizeof bits);
  return bits;
}

double FromBits(std::uint64_t bits) {
  double value;
  std::memcpy(&value, &bits, sizeof value);
  return value;
}

Binary Split(std::uint64_t bits) {
  const std::uint64_t fraction = bits & ((std::uint64_t{1} << 52) - 1);
  const int biased = static_cast<int>(bits >> 52 & 0x7ffu);
  if (biased == 0) return {fraction, kSmallestExponent};
  return {fraction | std::uint64_t{1} << 52, biased - 1 + kSmallestExponent};
}

std::size_t Put(const char* word, char* text) {
  const std::size_t length = std::strlen(word);
  std::memcpy(text, word, length);
  return length;
}

// The number's decimal digits, at least `least` of them. @return their number.
int PutDigits(Natural number, int least, char* digits) {
  int count = 0;
  for (; !number.IsZero() || count < least; ++count)
    digits[count] = static_cast<char>('0' + number.Divide(10));
  std::reverse(digits, digits + count);
  return count;
}

// |value| 10^decimals, rounded to a whole number, halves to even.
Natural Scaled(Binary value, int decimals) {
  Natural scaled(value.mantissa);
  scaled.MultiplyByPower(5, decimals);
  const int shift = value.exponent + decimals;  // 10^d is 5^d 2^d
  if (shift >= 0) {
    scaled.ShiftLeft(shift);
    return scaled;
  }
  const int half = -shift - 1;
  const bool isAboveHalf = scaled.HasBitsBelow(half);
  const bool reachesHalf = scaled.Bit(half);
  scaled.ShiftRight(-shift);
  if (reachesHalf && (isAboveHalf || scaled.Bit(0))) scaled.AddOne();
  return scaled;
}

// The double nearest to (mantissa + a part below 1, if there is one) 2^exponent, halves to even.
double Nearest(std::uint64_t mantissa, int exponent, bool hasPart) {
  if (mantissa == 0) return 0.0;  // a part alone comes with a mantissa of 64 bits or is far below all doubles
  const int length = 64 - std::countl_zero(mantissa);
  const int last =
      std::max(exponent + length - kMantissaBits, kSmallestExponent);  // exponent of the last place
  const int dropped = last - exponent;
  if (dropped > 64) return 0.0;
  std::uint64_t kept = mantissa;
  if (dropped <= 0) {
    kept = mantissa << -dropped;
  } else {
    const std::uint64_t half = std::uint64_t{1} << (dropped - 1);
    const bool isAboveHalf = (mantissa & (half - 1)) != 0 || hasPart;
    kept = dropped == 64 ? 0 : mantissa >> dropped;
    if ((mantissa & half) != 0 && (isAboveHalf || (kept & 1) != 0)) ++kept;
  }
  if (last > kLargestExponent) return std::numeric_limits<double>::infinity();
  // A mantissa that was rounded up to 2^53 carries into the exponent by itself, up to infinity.
  const bool isNormal = (kept >> 52) != 0;
  return FromBits(isNormal ? (static_cast<std::uint64_t>(last - kSmallestExponent) << 52) + kept : kept);
}

// The leading 64 bits of numerator / denominator, and whether something is left.
double Quotient(Natural numerator, Natural denominator) {
  int exponent = numerator.BitLength() - denominator.BitLength();
  if (exponent > 0) denominator.ShiftLeft(exponent);
  if (exponent < 0) numerator.ShiftLeft(-exponent);
  if (numerator < denominator) {
    numerator.ShiftLeft(1);
    --exponent;
  }
  std::uint64_t quotient = 0;
  for (int bit = 0; bit < 64; ++bit) {
    quotient <<= 1;
    if (!(numerator < denominator)) {
      numerator.Subtract(denominator);
      quotient |= 1;
    }
    numerator.ShiftLeft(1);
  }
  return Nearest(quotient, exponent - 63, !numerator.IsZero());
}

// Takes the word off the front of the text, in letters of either case.
bool TakeWord(std::string_view& text, std::string_view word) {
  if (text.size() < word.size()) return false;
  for (std::size_t i = 0; i < word.size(); ++i) {
    const char letter = text[i] >= 'A' && text[i] <= 'Z' ? static_cast<char>(text[i] - 'A' + 'a') : text[i];
    if (letter != word[i]) return false;
  }
  text.remove_prefix(word.size());
  return true;
}

int DigitValue(char c, int base) {
  if (c >= '0' && c <= '9') return c - '0';
  if (base == 16 && c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (base == 16 && c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// number base^exponent, and a part of the last place of the number if there are more digits.
struct Digits {
  Natural number;
  int count = 0;  // leading zeros aside
  std::int64_t exponent = 0;
  bool areThere = false;
  bool hasMore = false;
};

// Takes digits with a point among them off the front of the text, and keeps the first ones.
Digits TakeDigits(std::string_view& text, std::uint32_t base, int mostKept) {
  Digits digits;
  bool isBehindPoint = false;
  std::string_view rest = text;
  for (; !rest.empty(); rest.remove_prefix(1)) {
    if (rest.front() == '.' && !isBehindPoint) {
      isBehindPoint = true;
      continue;
    }
    const int value = DigitValue(rest.front(), static_cast<int>(base));
    if (value < 0) break;
    digits.areThere = true;
    const bool isKept = digits.count < mostKept;
    digits.exponent += (isKept ? 0 : 1) - (isBehindPoint ? 1 : 0);
    if (!isKept) {
      digits.hasMore = digits.hasMore || value != 0;
    } else if (digits.count > 0 || value != 0) {
      digits.number.MultiplyAdd(base, static_cast<std::uint32_t>(value));
      ++digits.count;
    }
  }
  if (digits.areThere) text = rest;
  return digits;
}

// Takes a letter and a whole number, if they are there; 0 otherwise.
std::int64_t TakeExponent(std::string_view& text, char letter) {
  constexpr std::int64_t kBeyondAll = 10'000'000'000;  // also with the digits of the longest text
  std::string_view rest = text;
  if (!TakeWord(rest, {&letter, 1})) return 0;
  const bool isNegative = rest.starts_with('-');
  if (isNegative || rest.starts_with('+')) rest.remove_prefix(1);
  if (rest.empty() || DigitValue(rest.front(), 10) < 0) return 0;
  std::int64_t exponent = 0;
  for (; !rest.empty() && DigitValue(rest.front(), 10) >= 0; rest.remove_prefix(1))
    exponent = std::min(10 * exponent + DigitValue(rest.front(), 10), kBeyondAll);
  text = rest;
  return isNegative ? -exponent : exponent;
}

bool TakeDecimal(std::string_view& text, double& number) {
  constexpr int kMostDigits = 800;  // halves between doubles have at most 767
  constexpr std::int64_t kLargestPower = 310;
  constexpr std::int64_t kSmallestPower = -330;
  Digits digits = TakeDigits(text, 10, kMostDigits);
  if (!digits.areThere) return false;
  digits.exponent += TakeExponent(text, 'e');
  const std::int64_t magnitude = digits.count + digits.exponent;
  if (digits.number.IsZero() || magnitude < kSmallestPower) {
    number = 0.0;
  } else if (magnitude > kLargestPower) {
    number = std::numeric_limits<double>::infinity();
  } else {
    if (digits.hasMore) digits.number.MultiplyAdd(10, 1);
    const auto exponent = static_cast<int>(digits.exponent) - (digits.hasMore ? 1 : 0);
    Natural denominator(1);
    digits.number.MultiplyByPower(10, std::max(exponent, 0));
    denominator.MultiplyByPower(10, std::max(-exponent, 0));
    number = Quotient(digits.number, denominator);
  }
  return true;
}

bool TakeHexadecimal(std::string_view& text, double& number) {
  constexpr int kMostDigits = 16;
  constexpr std::int64_t kFar = 5000;  // beyond the range of double with any digits
  std::string_view rest = text;
  if (!TakeWord(rest, "0x")) return false;
  const Digits digits = TakeDigits(rest, 16, kMostDigits);
  if (!digits.areThere) return false;
  const std::int64_t exponent = 4 * digits.exponent + TakeExponent(rest, 'p');
  number =
      Nearest(digits.number.LowBits(), static_cast<int>(std::clamp(exponent, -kFar, kFar)), digits.hasMore);
  text = rest;
  return true;
}

}  // namespace

std::size_t WriteFixed(double value, int decimals, char* text) {
  constexpr std::uint64_t kSign = std::uint64_t{1} << 63;
  constexpr std::uint64_t kInfinity = std::uint64_t{0x7ff} << 52;
  const std::uint64_t bits = BitsOf(value);
  const std::uint64_t magnitude = bits & ~kSign;
  if (magnitude > kInfinity) return Put("nan", text);
  char* end = text;
  if ((bits & kSign) != 0) *end++ = '-';
  if (magnitude == kInfinity) return Put("inf", end) + static_cast<std::size_t>(end - text);
  end += PutDigits(Scaled(Split(magnitude), decimals), decimals + 1, end);
  if (decimals > 0) {
    std::memmove(end - decimals + 1, end - decimals, static_cast<std::size_t>(decimals));
    end[-decimals] = '.';
    ++end;
  }
  return static_cast<std::size_t>(end - text);
}

bool TakeNumber(std::string_view& text, double& number) {
  std::string_view rest = text;
  const bool isNegative = rest.starts_with('-');
  if (isNegative || rest.starts_with('+')) rest.remove_prefix(1);
  double magnitude = 0.0;
  if (TakeWord(rest, "nan")) {
    magnitude = std::numeric_limits<double>::quiet_NaN();
  } else if (TakeWord(rest, "infinity") || TakeWord(rest, "inf")) {
    magnitude = std::numeric_limits<double>::infinity();
  } else if (!TakeHexadecimal(rest, magnitude) && !TakeDecimal(rest, magnitude)) {
    return false;
  }
  text = rest;
  number = isNegative ? -magnitude : magnitude;
  return true;
}

}  // namespace mth_internal
