#include "samples.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <optional>
#include <string_view>

#include "support/failure.h"
#include "support/text.h"

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

bool IsSame(const std::string& first, const std::string& second) {
  return !IsBefore(first, second) && !IsBefore(second, first);
}

void SetClasses(Samples& samples, const std::vector<std::string>& labels, const std::string& path) {
  const auto [least, greatest] = std::minmax_element(labels.begin(), labels.end(), IsBefore);
  samples.negativeLabel = *least;
  samples.positiveLabel = *greatest;
  const bool areTwo =
      IsBefore(*least, *greatest) && std::all_of(labels.begin(), labels.end(), [&](const auto& label) {
        return IsSame(label, samples.negativeLabel) || IsSame(label, samples.positiveLabel);
      });
  if (!areTwo)
    throw example::Failure("the last column of " + path + " must hold exactly two different labels");
  if (example::LowerCase(*least) == example::LowerCase(*greatest))
    throw example::Failure("the labels " + *least + " and " + *greatest + " of " + path +
                           " differ by capitals only");
  for (const std::string& label : labels) samples.isPositive.push_back(IsSame(label, samples.positiveLabel));
}

// The lines of a file, with the number of each.
struct Table {
  std::vector<Line> lines;
  std::vector<int> numbers;
};

std::string PlaceOf(const std::string& path, int number) {
  return path + ", line " + std::to_string(number);
}

Table ReadTable(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw example::Failure("cannot open " + path);
  Table table;
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
    if (!line)
      throw example::Failure(PlaceOf(path, number) + ": not finite numbers separated by commas, and a label");
    table.lines.push_back(std::move(*line));
    table.numbers.push_back(number);
  }
  if (file.bad() || table.lines.empty()) throw example::Failure("no samples in " + path);
  return table;
}

}  // namespace

Samples ReadSamples(const std::string& path) {
  Table table = ReadTable(path);
  Samples samples;
  std::vector<std::string> labels;
  for (std::size_t i = 0; i < table.lines.size(); ++i) {
    Line& line = table.lines[i];
    const std::string place = PlaceOf(path, table.numbers[i]);
    if (line.features.empty()) throw example::Failure(place + ": needs a feature and a label at least");
    if (!samples.features.empty() && line.features.size() != samples.FeaturesCount()) {
      throw example::Failure(place + ": " + std::to_string(line.features.size()) + " features, but " +
                             std::to_string(samples.FeaturesCount()) + " before");
    }
    labels.push_back(line.label);
    samples.features.push_back(std::move(line.features));
  }
  SetClasses(samples, labels, path);
  return samples;
}

Samples ReadSamplesFor(const Model& model, const std::string& path) {
  Table table = ReadTable(path);
  const auto count = static_cast<std::size_t>(model.featuresCount);
  const bool isLabelled = table.lines.front().features.size() == count;
  Samples samples{{}, {}, model.negativeLabel, model.positiveLabel};
  for (std::size_t i = 0; i < table.lines.size(); ++i) {
    Line& line = table.lines[i];
    const std::string place = PlaceOf(path, table.numbers[i]);
    if (!isLabelled) {
      const auto last = ParseNumber(line.label);
      if (!last) throw example::Failure(place + ": not finite numbers separated by commas");
      line.features.push_back(*last);
    }
    if (line.features.size() != count) {
      throw example::Failure(place + ": " + std::to_string(line.features.size()) +
                             " features, but the model has " + std::to_string(count));
    }
    samples.features.push_back(std::move(line.features));
    if (!isLabelled) continue;
    const bool isPositive = IsSame(line.label, model.positiveLabel);
    if (!isPositive && !IsSame(line.label, model.negativeLabel))
      throw example::Failure(place + ": the model does not know the label " + line.label);
    samples.isPositive.push_back(isPositive);
  }
  return samples;
}

}  // namespace classify
