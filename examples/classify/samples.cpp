#include "samples.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <optional>
#include <string_view>

#include "support/failure.h"

namespace classify {

namespace {

constexpr std::string_view kBlanks = " \t\r";

std::string_view Trimmed(std::string_view text) {
  const std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::optional<double> ParseNumber(std::string_view text) {
  double number = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number)) return std::nullopt;
  return number;
}

// The numbers of a line; nothing when one field is not a finite number.
std::optional<std::vector<double>> ParseLine(std::string_view line) {
  std::vector<double> numbers;
  for (;;) {
    const std::size_t comma = line.find(',');
    const auto number = ParseNumber(Trimmed(line.substr(0, comma)));
    if (!number) return std::nullopt;
    numbers.push_back(*number);
    if (comma == std::string_view::npos) return numbers;
    line.remove_prefix(comma + 1);
  }
}

void SetClasses(Samples& samples, const std::vector<double>& labels, const std::string& path) {
  const auto [least, greatest] = std::minmax_element(labels.begin(), labels.end());
  samples.negativeLabel = *least;
  samples.positiveLabel = *greatest;
  const bool areTwo = *least < *greatest && std::all_of(labels.begin(), labels.end(), [&](double label) {
    return label == samples.negativeLabel || label == samples.positiveLabel;
  });
  if (!areTwo)
    throw example::Failure("the last column of " + path + " must hold exactly two different labels");
  for (const double label : labels) samples.isPositive.push_back(label == samples.positiveLabel);
}

}  // namespace

Samples ReadSamples(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw example::Failure("cannot open " + path);
  Samples samples;
  std::vector<double> labels;
  std::string line;
  bool mayBeNames = true;
  for (int number = 1; std::getline(file, line); ++number) {
    const std::string_view text = Trimmed(line);
    if (text.empty() || text.front() == '#') continue;
    auto numbers = ParseLine(text);
    const bool isNames = mayBeNames && !numbers;
    mayBeNames = false;
    if (isNames) continue;
    const std::string place = path + ", line " + std::to_string(number);
    if (!numbers) throw example::Failure(place + ": not finite numbers separated by commas");
    if (numbers->size() < 2) throw example::Failure(place + ": needs a feature and a label at least");
    labels.push_back(numbers->back());
    numbers->pop_back();
    if (!samples.features.empty() && numbers->size() != samples.FeaturesCount()) {
      throw example::Failure(place + ": " + std::to_string(numbers->size()) + " features, but " +
                             std::to_string(samples.FeaturesCount()) + " before");
    }
    samples.features.push_back(std::move(*numbers));
  }
  if (file.bad() || labels.empty()) throw example::Failure("no samples in " + path);
  SetClasses(samples, labels, path);
  return samples;
}

}  // namespace classify
