#include "model.h"

#include <cmath>
#include <fstream>
#include <memory>

#include "support/failure.h"
#include "support/json_text.h"

namespace classify {

namespace {

constexpr const char* kKind = "mth classify model";
constexpr int kMostFeatures = 1000000;

example::Json BoundJson(double bound) {
  return bound == MTH_CLUSTERING_TREE::kUnbounded ? example::Json(nullptr) : example::Json(bound);
}

double BoundOf(const example::Json& json) {
  return json.is_null() ? MTH_CLUSTERING_TREE::kUnbounded : json.get<double>();
}

void Require(bool isTrue) {
  if (!isTrue) throw std::invalid_argument("no model");
}

Cell ReadCell(const example::Json& json, int featuresCount) {
  Cell cell{{}, json.at("confidence").get<double>()};
  Require(std::isfinite(cell.confidence));
  for (const example::Json& entry : json.at("conditions")) {
    cell.conditions.push_back(
        {entry.at("feature").get<int>(), BoundOf(entry.at("above")), BoundOf(entry.at("below"))});
    Require(cell.conditions.back().feature >= 1 && cell.conditions.back().feature <= featuresCount);
    --cell.conditions.back().feature;
  }
  Require(!cell.conditions.empty());
  return cell;
}

Model ModelOf(const example::Json& json) {
  Require(json.at("kind").get<std::string>() == kKind);
  Model model;
  model.variant = json.at("variant").get<std::string>();
  model.rounds = json.at("rounds").get<int>();
  model.depth = json.at("depth").get<int>();
  model.featuresCount = json.at("features").get<int>();
  Require(model.featuresCount >= 1 && model.featuresCount <= kMostFeatures);
  model.negativeLabel = json.at("labels").at(0).get<std::string>();
  model.positiveLabel = json.at("labels").at(1).get<std::string>();
  for (const example::Json& cell : json.at("cells"))
    model.cells.push_back(ReadCell(cell, model.featuresCount));
  return model;
}

// The library's own tree of that cell, a chain from the last condition to the first.
std::unique_ptr<MTH_CLUSTERING_TREE> TreeOf(const Cell& cell) {
  std::unique_ptr<MTH_CLUSTERING_TREE> node;
  for (auto condition = cell.conditions.rbegin(); condition != cell.conditions.rend(); ++condition) {
    auto child = std::make_unique<MTH_CLUSTERING_TREE>(static_cast<int>(cell.conditions.size()));
    child->SetFeature(condition->feature);
    child->SetLowerBound(condition->lower);
    child->SetUpperBound(condition->upper);
    if (node) child->SetParent(node.release());
    node = std::move(child);
  }
  return node;
}

}  // namespace

Cell CellOf(const MTH_CLUSTERING_TREE& node, double confidence) {
  Cell cell{{}, confidence};
  for (const MTH_CLUSTERING_TREE* at = &node; at != nullptr; at = at->GetParent())
    cell.conditions.push_back({at->GetFeature(), at->GetLowerBound(), at->GetUpperBound()});
  return cell;
}

std::vector<double> Scores(const Model& model, MTH_MATRIX& features) {
  std::vector<double> scores(static_cast<std::size_t>(features.GetNbCols()), 0.0);
  for (const Cell& cell : model.cells) {
    const auto tree = TreeOf(cell);
    const std::unique_ptr<int[]> isInside(tree->CalculOutput(tree.get(), &features));
    if (!isInside) throw std::bad_alloc();
    for (std::size_t i = 0; i < scores.size(); ++i) scores[i] += cell.confidence * isInside[i];
  }
  return scores;
}

std::string ModelText(const Model& model) {
  example::Json json;
  json["kind"] = kKind;
  json["variant"] = model.variant;
  json["rounds"] = model.rounds;
  json["depth"] = model.depth;
  json["features"] = model.featuresCount;
  json["labels"] = {model.negativeLabel, model.positiveLabel};
  json["cells"] = example::Json::array();
  for (const Cell& cell : model.cells) {
    example::Json entry;
    entry["confidence"] = cell.confidence;
    for (const Condition& condition : cell.conditions) {
      entry["conditions"].push_back({{"feature", condition.feature + 1},
                                     {"above", BoundJson(condition.lower)},
                                     {"below", BoundJson(condition.upper)}});
    }
    json["cells"].push_back(entry);
  }
  return example::JsonText(json);
}

Model ReadModel(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw example::Failure("cannot open " + path);
  try {
    return ModelOf(example::Json::parse(file));
  } catch (const std::bad_alloc&) {
    throw;
  } catch (const std::exception&) {
    throw example::Failure(path + " holds no model that --save-model wrote");
  }
}

}  // namespace classify
