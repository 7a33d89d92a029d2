#include "mth/boosting/Mth_clustering_adaboost.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>
#include <utility>

#include "mth/boosting/Mth_clustering_tree_internal.h"
#include "mth/core/Mth_message_internal.h"
#include "mth/core/Mth_new_array_internal.h"

namespace {

using mth_internal::TreeTraining;

// The weights of a cell's positive and negative samples, and the same of the inverted weights.
struct CellSums {
  double positive = 0.0;
  double negative = 0.0;
  double invertedPositive = 0.0;
  double invertedNegative = 0.0;
};

// A confidence rule answers whether it accepts the cell.

struct RealRule {
  static constexpr bool kUsesInvertedWeights = false;
  bool operator()(const CellSums& sums, double* const confidence) const {
    constexpr double kEpsilon = 2.2204e-16;  // keeps the logarithm of a pure cell finite
    *confidence = 0.5 * std::log((sums.positive + kEpsilon) / (sums.negative + kEpsilon));
    return true;
  }
};

struct GentleRule {
  static constexpr bool kUsesInvertedWeights = false;
  bool operator()(const CellSums& sums, double* const confidence) const {
    *confidence = (sums.positive - sums.negative) / (sums.positive + sums.negative);
    return true;
  }
};

struct ModestRule {
  static constexpr bool kUsesInvertedWeights = true;
  bool operator()(const CellSums& sums, double* const confidence) const {
    const double c =
        sums.positive * (1.0 - sums.invertedPositive) - sums.negative * (1.0 - sums.invertedNegative);
    *confidence = c;
    const double margin = sums.positive - sums.negative;
    return !(c > 0.0 && margin < 0.0) && !(c < 0.0 && margin > 0.0) && sums.positive + sums.negative != 0.0;
  }
};

// Weights that are all 0, as when every sample is far on its right side, stay so: then no cell has any
// weight, and the rounds to come add none, instead of spoiling the model with what is no number.
void Normalise(std::vector<double>& weights) {
  double sum = 0.0;
  for (const double weight : weights) sum += weight;
  if (sum == 0.0) return;
  for (double& weight : weights) weight /= sum;
}

}  // namespace

// What the rounds of one training carry along.
struct MTH_CLUSTERING_ADABOOST::Boosting {
  Boosting(const MTH_MATRIX& sampleFeatures, const MTH_MATRIX& sampleLabels, double* const runningScores)
      : features(sampleFeatures), training(sampleFeatures, sampleLabels), scores(runningScores) {
    const int count = sampleFeatures.GetNbCols();
    labels.resize(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) labels[static_cast<std::size_t>(i)] = sampleLabels.Get(0, i);
    weights.assign(labels.size(), 1.0 / static_cast<double>(count));
    isMember.resize(labels.size());
  }

  void WeighByScores() {
    for (std::size_t i = 0; i < weights.size(); ++i) weights[i] = std::exp(-labels[i] * scores[i]);
    Normalise(weights);
  }

  void InvertWeights() {
    invertedWeights.resize(weights.size());
    for (std::size_t i = 0; i < weights.size(); ++i)
      invertedWeights[i] = weights[i] != 0.0 ? 1.0 / weights[i] : 0.0;
    Normalise(invertedWeights);
  }

  void FindMembers(const MTH_CLUSTERING_TREE& cell) {
    for (std::size_t i = 0; i < labels.size(); ++i) isMember[i] = mth_internal::Contains(cell, features, i);
  }

  void AddToScores(const double confidence) {
    for (std::size_t i = 0; i < labels.size(); ++i) scores[i] += confidence * (isMember[i] ? 1.0 : 0.0);
  }

  template <bool kUsesInvertedWeights>
  CellSums SumMembers() const {
    CellSums sums;
    for (std::size_t i = 0; i < labels.size(); ++i) {
      if (!isMember[i]) continue;
      const bool isPositive = labels[i] == 1.0;
      const bool isNegative = labels[i] == -1.0;
      if (isPositive) sums.positive += weights[i];
      if (isNegative) sums.negative += weights[i];
      if constexpr (kUsesInvertedWeights) {
        if (isPositive) sums.invertedPositive += invertedWeights[i];
        if (isNegative) sums.invertedNegative += invertedWeights[i];
      }
    }
    return sums;
  }

  const MTH_MATRIX& features;
  TreeTraining training;
  double* scores;
  std::vector<double> labels;
  std::vector<double> weights;
  std::vector<double> invertedWeights;
  std::vector<char> isMember;
};

MTH_CLUSTERING_ADABOOST::MTH_CLUSTERING_ADABOOST(MTH_MATRIX* const features, MTH_MATRIX* const labels,
                                                 const int rounds, MTH_CLUSTERING_TREE* const tree)
    : rounds_(rounds), features_(features), labels_(labels), tree_(tree) {}

MTH_CLUSTERING_ADABOOST::~MTH_CLUSTERING_ADABOOST() = default;

bool MTH_CLUSTERING_ADABOOST::RealAdaBoostClustering(std::vector<double> confidences, CELLS* const cells,
                                                     double* const scores) {
  return Train(RealRule{}, confidences, cells, scores);
}

bool MTH_CLUSTERING_ADABOOST::ModestAdaBoostClustering(std::vector<double> confidences, CELLS* const cells,
                                                       double* const scores) {
  return Train(ModestRule{}, confidences, cells, scores);
}

bool MTH_CLUSTERING_ADABOOST::GentleAdaBoostClustering(std::vector<double> confidences, CELLS* const cells,
                                                       double* const scores) {
  return Train(GentleRule{}, confidences, cells, scores);
}

void MTH_CLUSTERING_ADABOOST::StartCold() {
  auto list = std::make_unique<CELLS>();
  // Cells in a list that somebody else owns stay valid as long as this object.
  if (cells_ == ownList_.get()) ownCells_.clear();
  ownList_ = std::move(list);
  cells_ = ownList_.get();
  confidences_.clear();
}

void MTH_CLUSTERING_ADABOOST::Adopt(std::vector<double>& confidences, CELLS* const cells) {
  confidences.resize(static_cast<std::size_t>(cells->GetCount()), 0.0);
  confidences_ = std::move(confidences);
  cells_ = cells;
}

// Moves the cell into the object, and into the list and the confidences.
void MTH_CLUSTERING_ADABOOST::Select(std::unique_ptr<MTH_CLUSTERING_TREE> cell, const double confidence) {
  ownCells_.push_back(std::move(cell));  // first: one more than the list has does no harm
  confidences_.push_back(confidence);
  if (cells_->Add(ownCells_.back().get()) < 0) {
    confidences_.pop_back();
    throw std::bad_alloc();
  }
}

template <class Rule>
bool MTH_CLUSTERING_ADABOOST::RunRound(const Rule rule, Boosting& boosting) {
  TreeTraining::Cells cells;
  if (!boosting.training.Grow(*tree_, boosting.weights.data(), &cells)) return false;
  if constexpr (Rule::kUsesInvertedWeights) boosting.InvertWeights();
  for (auto& cell : cells) {
    boosting.FindMembers(*cell);
    const CellSums sums = boosting.SumMembers<Rule::kUsesInvertedWeights>();
    if (sums.positive == 0.0 && sums.negative == 0.0) continue;
    double confidence = 0.0;
    if (!rule(sums, &confidence)) continue;
    Select(std::move(cell), confidence);
    boosting.AddToScores(confidence);
  }
  boosting.WeighByScores();
  return true;
}

template <class Rule>
bool MTH_CLUSTERING_ADABOOST::Train(const Rule rule, std::vector<double>& confidences, CELLS* const cells,
                                    double* scores) try {
  if (tree_ == nullptr || !TreeTraining::Accepts(features_, labels_)) return false;
  const auto samplesCount = static_cast<std::size_t>(features_->GetNbCols());
  const bool hasScores = scores != nullptr;
  std::vector<double> ownScores;
  if (!hasScores) {
    ownScores.assign(samplesCount, 0.0);
    scores = ownScores.data();
  }
  Boosting boosting(*features_, *labels_, scores);
  if (!boosting.training.Prepare()) return false;

  if (cells != nullptr) {
    Adopt(confidences, cells);
    if (!hasScores) AddScores(*features_, scores);
    boosting.WeighByScores();
  } else {
    StartCold();
    std::fill_n(scores, samplesCount, 0.0);
  }
  for (int round = 0; round < rounds_; ++round) {
    if (!RunRound(rule, boosting)) return false;
  }
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

// Adds the confidences cell by cell, the order in which a training adds them.
void MTH_CLUSTERING_ADABOOST::AddScores(const MTH_MATRIX& features, double* const scores) const {
  const auto samplesCount = static_cast<std::size_t>(features.GetNbCols());
  std::size_t entry = 0;
  for (const MTH_CLUSTERING_TREE* const cell : *cells_) {
    if (entry == confidences_.size()) return;  // the list grew behind this object's back
    const double confidence = confidences_[entry++];
    if (cell == nullptr) continue;
    for (std::size_t i = 0; i < samplesCount; ++i) {
      scores[i] += confidence * (mth_internal::Contains(*cell, features, i) ? 1.0 : 0.0);
    }
  }
}

double* MTH_CLUSTERING_ADABOOST::Classify(MTH_MATRIX* const features) {
  if (cells_ == nullptr) {
    mth_internal::ShowInformation("L'apprentissage n'a pas été fait!");
    return nullptr;
  }
  if (features == nullptr || features->GetEDataAddress() == nullptr) return nullptr;
  auto scores = mth_internal::NewArray<double>(features->GetNbCols());
  if (scores) AddScores(*features, scores.get());
  return scores.release();
}
