#include "model.h"

#include <cmath>
#include <fstream>
#include <nlohmann/json.hpp>

#include "support/failure.h"

namespace segment_mr {

using example::Failure;
using example::Method;
using example::SegmentationSettings;

namespace {

using Json = nlohmann::json;

Method MethodOf(const std::string& name) {
  if (name == "tissues") return Method::Tissue;
  if (name == "k-means") return Method::KMeans;
  if (name == "fuzzy c-means") return Method::FuzzyCMeans;
  throw Failure("its method \"" + name + "\" is not known");
}

std::vector<double> CentroidsOf(const Json& rows) {
  std::vector<double> centroids;
  for (const Json& row : rows) {
    if (row.size() != 1)
      throw Failure("it is of " + std::to_string(row.size()) + " images a scan, where one can be used");
    centroids.push_back(row.at(0).get<double>());
    if (!std::isfinite(centroids.back())) throw Failure("its centroids are not finite");
  }
  return centroids;
}

void CheckTissues(const std::vector<double>& means) {
  double former = -1.0;
  for (const double mean : means) {
    if (!(mean >= 0.0 && mean > former)) throw Failure("its means of tissues do not ascend from 0 or above");
    former = mean;
  }
}

void TakeParameters(const Json& parameters, SegmentationSettings& settings) {
  if (settings.method == Method::FuzzyCMeans) {
    settings.fuzzifier = parameters.at("m").get<double>();
    if (!std::isfinite(settings.fuzzifier) || settings.fuzzifier <= 1.0)
      throw Failure("its m is not above 1");
  }
  if (settings.method != Method::Tissue) return;
  settings.estimatesField = parameters.at("field").get<bool>();
  settings.hasLocalMeans = parameters.at("local_means").get<bool>();
  settings.fieldWidth = parameters.at("field_width").get<double>();
}

void TakeContent(const Json& content, SegmentationSettings& settings) {
  if (content.at("format") != "mth cohort model") throw Failure("its format is another");
  if (content.at("version") != 1) throw Failure("its version is not known");
  settings.method = MethodOf(content.at("method").get<std::string>());
  settings.centroids = CentroidsOf(content.at("centroids"));
  settings.clusters = static_cast<int>(settings.centroids.size());
  const int most = settings.method == Method::Tissue ? example::kMostTissues : example::kMostClusters;
  if (settings.centroids.size() < 2 || settings.centroids.size() > static_cast<std::size_t>(most))
    throw Failure("it has " + std::to_string(settings.centroids.size()) + " classes, not 2 to " +
                  std::to_string(most));
  if (settings.method == Method::Tissue) CheckTissues(settings.centroids);
  TakeParameters(content.at("parameters"), settings);
  settings.isGiven = true;
}

}  // namespace

void TakeModel(const std::string& path, SegmentationSettings& settings) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw Failure("the model " + path + " cannot be read");
  try {
    TakeContent(Json::parse(file), settings);
  } catch (const Json::exception&) {
    throw Failure(path + " is no model, or a broken one");
  } catch (const Failure& failure) {
    throw Failure(path + " is no model that can be used: " + failure.what());
  }
}

}  // namespace segment_mr
