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

bool IsNumberButNotFinite(std::string_view text) {
  double number = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return end == text.data() + text.size() && (error != std::errc() || !std::isfinite(number));
}

// A line of features and a label.
struct Line {
  std::vector<double> features;
  std::string label;
};

// Nothing when one of the features is not a finite number, or the label empty.
std::optional<Line> ParseLine(std::string_view text) {
  Line line;
  for (;;) {
    const std::size_t comma = text.find(',');
    const std::string_view field = Trimmed(text.substr(0, comma));
    if (comma == std::string_view::npos) {
      line.label = field;
      return field.empty() || IsNumberButNotFinite(field) ? std::nullopt : std::optional(line);
    }
    const auto number = ParseNumber(field);
    if (!number) return std::nullopt;
    line.features.push_back(*number);
    text.remove_prefix(comma + 1);
  }
}

// Numbers by their size, words by the alphabet: 9 is before 10, and 1 is 1.0.
bool IsBefore(const std::string& first, const std::string& second) {
  const auto a = ParseNumber(first);
  const auto b = ParseNumber(second);
  return a && b ? *a < *b : first < second;
}

void SetClasses(Samples& samples, const std::vector<std::string>& labels, const std::string& path) {
  const auto [least, greatest] = std::minmax_element(labels.begin(), labels.end(), IsBefore);
  samples.negativeLabel = *least;
  samples.positiveLabel = *greatest;
  const auto isSame = [](const std::string& a, const std::string& b) {
    return !IsBefore(a, b) && !IsBefore(b, a);
  };
  const bool areTwo =
      IsBefore(*least, *greatest) && std::all_of(labels.begin(), labels.end(), [&](const auto& label) {
        return isSame(label, samples.negativeLabel) || isSame(label, samples.positiveLabel);
      });
  if (!areTwo)
    throw example::Failure("the last column of " + path + " must hold exactly two different labels");
  for (const std::string& label : labels) samples.isPositive.push_back(isSame(label, samples.positiveLabel));
}

}  // namespace

Samples ReadSamples(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw example::Failure("cannot open " + path);
  Samples samples;
  std::vector<std::string> labels;
  std::string text;
  bool mayBeNames = true;
  for (int number = 1; std::getline(file, text); ++number) {
    if (number == 1 && text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);  // a byte order mark
    const std::string_view trimmed = Trimmed(text);
    if (trimmed.empty() || trimmed.front() == '#') continue;
    auto line = ParseLine(trimmed);
    const bool isNames = mayBeNames && !line;
    mayBeNames = false;
    if (isNames) continue;
    const std::string place = path + ", line " + std::to_string(number);
    if (!line) throw example::Failure(place + ": not finite numbers separated by commas, and a label");
    if (line->features.empty()) throw example::Failure(place + ": needs a feature and a label at least");
    if (!samples.features.empty() && line->features.size() != samples.FeaturesCount()) {
      throw example::Failure(place + ": " + std::to_string(line->features.size()) + " features, but " +
                             std::to_string(samples.FeaturesCount()) + " before");
    }
    labels.push_back(line->label);
    samples.features.push_back(std::move(line->features));
  }
  if (file.bad() || labels.empty()) throw example::Failure("no samples in " + path);
  SetClasses(samples, labels, path);
  return samples;
}

}  // namespace classify
