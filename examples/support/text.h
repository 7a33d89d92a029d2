#pragma once

#include <optional>
#include <string>

namespace example {

/// The shortest decimal text that reads back as the same number; the same under every locale.
std::string Shortest(double value);

/// The number rounded to so many significant digits, without trailing zeros: 12.3, 1e-09.
std::string Rounded(double value, int significantDigits);

/// The number with so many decimals: 12.30; a zero without its sign.
std::string Fixed(double value, int decimals);

/// The number that the whole text is, read as Shortest writes it; nothing of any other text.
std::optional<double> ReadNumber(const std::string& text);

/// The text with every control character replaced by a blank.
std::string OnOneLine(std::string text);

/// The text with small letters for the capitals of the English alphabet.
std::string LowerCase(std::string text);

/// The text padded with blanks on its left to `width` characters.
std::string RightAligned(const std::string& text, std::size_t width);

}  // namespace example
