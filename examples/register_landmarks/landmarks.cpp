#include "landmarks.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <fstream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>

#include "mth/value/Mth_3d_vect_double.h"
#include "support/failure.h"

namespace register_landmarks {

namespace {

using example::Failure;

bool EndsWith(const std::string& text, const std::string& end) {
  return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

std::string Trimmed(const std::string& text) {
  constexpr const char* kBlanks = " \t\r\"";
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::vector<std::string> SplitAtCommas(const std::string& line) {
  std::vector<std::string> fields(1);
  for (const char c : line) {
    if (c == ',') {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
  for (auto& field : fields) field = Trimmed(field);
  return fields;
}

std::optional<double> ToNumber(const std::string& text) {
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  const bool isWhole = error == std::errc() && end == text.data() + text.size();
  return isWhole && std::isfinite(value) ? std::optional(value) : std::nullopt;
}

// Three fields from `first` on as a point, in the axes of Landmarks.
std::optional<MTH_3D_DOUBLE> ToPoint(const std::vector<std::string>& fields, std::size_t first, bool isRas) {
  if (fields.size() < first + 3) return std::nullopt;
  const auto x = ToNumber(fields[first]);
  const auto y = ToNumber(fields[first + 1]);
  const auto z = ToNumber(fields[first + 2]);
  if (!x || !y || !z) return std::nullopt;
  const double sign = isRas ? -1.0 : 1.0;
  return MTH_3D_DOUBLE(sign * *x, sign * *y, *z);
}

std::ifstream Open(const std::string& path) {
  std::ifstream file(path);
  if (!file) throw Failure("cannot open " + path);
  return file;
}

// Runs `read(fields)` on every line that is neither empty nor a comment, `comment(text)` on comments.
template <class Read, class Comment>
void ForEachLine(const std::string& path, Read read, Comment comment) {
  std::ifstream file = Open(path);
  int number = 0;
  for (std::string line; std::getline(file, line);) {
    if (++number == 1 && line.starts_with("\xEF\xBB\xBF")) line.erase(0, 3);  // a byte order mark
    line = Trimmed(line);
    if (line.empty()) continue;
    if (line.front() == '#') {
      comment(line);
    } else if (!read(SplitAtCommas(line))) {
      throw Failure("no point in line " + std::to_string(number) + " of " + path);
    }
  }
  if (file.bad()) throw Failure("cannot read " + path);
}

Landmarks ReadText(const std::string& path, bool isRas) {
  Landmarks landmarks;
  ForEachLine(
      path,
      [&](const std::vector<std::string>& fields) {
        const bool hasLabel = fields.size() == 4;
        const auto point = ToPoint(fields, hasLabel ? 1 : 0, isRas);
        if (!point || fields.size() > 4) return false;
        landmarks.points.push_back(*point);
        landmarks.labels.push_back(hasLabel ? fields[0] : "");
        return true;
      },
      [](const std::string&) {});
  return landmarks;
}

// Columns: id, x, y, z, four of an orientation, three flags, label.
Landmarks ReadFcsv(const std::string& path) {
  constexpr std::size_t kLabelColumn = 11;
  Landmarks landmarks;
  bool isRas = true;
  ForEachLine(
      path,
      [&](const std::vector<std::string>& fields) {
        const auto point = ToPoint(fields, 1, isRas);
        if (!point) return false;
        landmarks.points.push_back(*point);
        landmarks.labels.push_back(fields.size() > kLabelColumn ? fields[kLabelColumn] : "");
        return true;
      },
      [&](const std::string& comment) {
        if (comment.find("CoordinateSystem") == std::string::npos) return;
        const std::string system = Trimmed(comment.substr(comment.find('=') + 1));
        isRas = system == "RAS" || system == "0";
      });
  return landmarks;
}

Landmarks ReadMarkups(const std::string& path) {
  std::ifstream file = Open(path);
  Landmarks landmarks;
  try {
    const auto markups = nlohmann::json::parse(file).at("markups").at(0);
    const bool isRas = markups.value("coordinateSystem", "LPS") == "RAS";
    for (const auto& control : markups.at("controlPoints")) {
      const auto position = control.at("position").get<std::vector<double>>();
      if (position.size() != 3) throw Failure("a point without three coordinates in " + path);
      const double sign = isRas ? -1.0 : 1.0;
      landmarks.points.emplace_back(sign * position[0], sign * position[1], position[2]);
      landmarks.labels.push_back(control.value("label", ""));
    }
  } catch (const nlohmann::json::exception&) {
    throw Failure("no markups in " + path);
  }
  return landmarks;
}

MTH_3D_VECT_DOUBLE WayBetween(const MTH_3D_DOUBLE& from, const MTH_3D_DOUBLE& to) {
  return {to.GetX() - from.GetX(), to.GetY() - from.GetY(), to.GetZ() - from.GetZ()};
}

bool HasLabels(const Landmarks& landmarks) {
  return std::any_of(landmarks.labels.begin(), landmarks.labels.end(),
                     [](const std::string& label) { return !label.empty(); });
}

std::map<std::string, std::size_t> PlacesOf(const Landmarks& landmarks) {
  std::map<std::string, std::size_t> places;
  for (std::size_t i = 0; i < landmarks.labels.size(); ++i) {
    const std::string& label = landmarks.labels[i];
    if (label.empty()) {
      throw Failure("point " + std::to_string(i + 1) + " of " + landmarks.path +
                    " has no label to match it by (--by-order matches by order)");
    }
    if (!places.emplace(label, i).second)
      throw Failure("label " + label + " stands twice in " + landmarks.path);
  }
  return places;
}

void RequireLabels(const std::map<std::string, std::size_t>& wanted, const Landmarks& in,
                   const std::map<std::string, std::size_t>& places) {
  for (const auto& [label, place] : wanted) {
    if (!places.contains(label)) throw Failure("no landmark " + label + " in " + in.path);
  }
}

}  // namespace

bool TellsAxes(const std::string& path) {
  return EndsWith(path, ".fcsv") || EndsWith(path, ".json");
}

Landmarks ReadLandmarks(const std::string& path, bool isRas) {
  Landmarks landmarks = EndsWith(path, ".fcsv")   ? ReadFcsv(path)
                        : EndsWith(path, ".json") ? ReadMarkups(path)
                                                  : ReadText(path, isRas);
  if (landmarks.points.empty()) throw Failure("no points in " + path);
  landmarks.path = path;
  return landmarks;
}

bool MatchLandmarks(const Landmarks& first, Landmarks& second, bool isByOrder) {
  const bool isByLabel = !isByOrder && (HasLabels(first) || HasLabels(second));
  if (isByLabel) {
    const auto firstPlaces = PlacesOf(first);
    const auto secondPlaces = PlacesOf(second);
    RequireLabels(firstPlaces, second, secondPlaces);
    RequireLabels(secondPlaces, first, firstPlaces);
    const std::vector<MTH_3D_DOUBLE> points = second.points;
    for (std::size_t i = 0; i < points.size(); ++i)
      second.points[i] = points[secondPlaces.at(first.labels[i])];
    second.labels = first.labels;
  } else if (first.points.size() != second.points.size()) {
    throw Failure("the files hold " + std::to_string(first.points.size()) + " and " +
                  std::to_string(second.points.size()) + " points");
  }
  return isByLabel;
}

bool AreCollinear(const std::vector<MTH_3D_DOUBLE>& points) {
  constexpr double kLeastWidth = 1e-6;  // relative to the length of the line
  const MTH_3D_DOUBLE& origin = points.front();
  const auto farthest = std::max_element(points.begin(), points.end(), [&](const auto& a, const auto& b) {
    return a.Distance(origin) < b.Distance(origin);
  });
  const double length = farthest->Distance(origin);
  const MTH_3D_VECT_DOUBLE line = WayBetween(origin, *farthest);
  return std::all_of(points.begin(), points.end(), [&](const MTH_3D_DOUBLE& point) {
    const std::unique_ptr<MTH_3D_VECT_DOUBLE> across(line ^ WayBetween(origin, point));
    return across->GetNorm() <= kLeastWidth * length * length;
  });
}

}  // namespace register_landmarks
