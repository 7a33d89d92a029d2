#include "curve.h"

#include <charconv>
#include <cmath>
#include <fstream>
#include <string_view>

#include "support/failure.h"

namespace fit_curve {

namespace {

constexpr std::string_view kBlanks = " \t\r,;";
constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

// Whether a line begins with a name. A NaN or an infinity is none: its sample is refused, not passed over.
bool StartsWithName(std::string_view line) {
  if (std::string_view("+-.0123456789").find(line.front()) != std::string_view::npos) return false;
  double number = 0.0;
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
  const bool isWord = end == line.data() + line.size() || kBlanks.find(*end) != std::string_view::npos;
  return error != std::errc() || !isWord;
}

// Takes a finite number and the separators around it off the front of a line.
bool TakeNumber(std::string_view& line, double& number) {
  const auto [end, error] = std::from_chars(line.data(), line.data() + line.size(), number);
  if (error != std::errc() || !std::isfinite(number)) return false;
  line.remove_prefix(static_cast<std::size_t>(end - line.data()));
  const std::size_t next = std::min(line.find_first_not_of(kBlanks), line.size());
  const bool isSeparated = next > 0 || line.empty();
  line.remove_prefix(next);
  return isSeparated;
}

}  // namespace

Curve ReadCurve(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw example::Failure("cannot open " + path);
  Curve curve;
  std::string line;
  for (int number = 1; std::getline(file, line); ++number) {
    std::string_view rest = line;
    if (number == 1 && rest.starts_with(kByteOrderMark)) rest.remove_prefix(kByteOrderMark.size());
    rest.remove_prefix(std::min(rest.find_first_not_of(" \t\r"), rest.size()));
    if (rest.empty() || rest.front() == '#') continue;
    const bool isNames = curve.x.empty() && StartsWithName(rest);
    if (isNames) continue;
    double x = 0.0;
    double y = 0.0;
    if (!TakeNumber(rest, x) || !TakeNumber(rest, y) || !rest.empty()) {
      throw example::Failure(path + ", line " + std::to_string(number) + ": not a pair of finite numbers");
    }
    curve.x.push_back(x);
    curve.y.push_back(y);
  }
  if (file.bad() || curve.x.empty()) throw example::Failure("no pair of numbers in " + path);
  return curve;
}

double EvenStep(const Curve& curve) {
  const std::size_t count = curve.x.size();
  const double step = count < 2 ? 1.0 : (curve.x.back() - curve.x.front()) / static_cast<double>(count - 1);
  for (std::size_t i = 0; i < count; ++i) {
    const double expected = curve.x.front() + static_cast<double>(i) * step;
    if (!(step > 0.0 && std::abs(curve.x[i] - expected) <= 1e-3 * step)) {
      throw example::Failure("this model needs evenly spaced, increasing abscissae");
    }
  }
  return step;
}

}  // namespace fit_curve
