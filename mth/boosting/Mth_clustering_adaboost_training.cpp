#include <algorithm>
#include <cmath>
#include <cstddef>
#include <memory>
#include <new>
#include <utility>

#include "mth/boosting/Mth_cell_scores_internal.h"
#include "mth/boosting/Mth_clustering_adaboost.h"
#include "mth/boosting/Mth_clustering_tree_internal.h"
#include "mth/core/Mth_elementary_internal.h"
#include "std/Std_display.h"

// The frame of the three variants, and their confidence rules.

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
    *confidence = 0.5 * mth_internal::Logarithm((sums.positive + kEpsilon) / (sums.negative + kEpsilon));
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

bool AreClasses(const MTH_MATRIX& labels, const int count) {
  for (int i = 0; i < count; ++i) {
    if (labels.Get(0, i) != 1.0 && labels.Get(0, i) != -1.0) return false;
  }
  return true;
}

// Scales weights to sum 1. @return false, with nothing changed, when their sum is 0 or not finite.
bool Normalise(std::vector<double>& weights) {
  double sum = 0.0;
  for (const double weight : weights) sum += weight;
  if (sum == 0.0 || !std::isfinite(sum)) return false;
  for (double& weight : weights) weight /= sum;
  return true;
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

  // Returns false when the scores leave no weights that are numbers.
  bool WeighByScores() {
    SetWeights(0.0);
    if (Normalise(weights)) return true;
    // All weights too small, or one too large, for a double: only their ratios count.
    double largestExponent = -labels[0] * scores[0];
    for (std::size_t i = 1; i < labels.size(); ++i)
      largestExponent = std::max(largestExponent, -labels[i] * scores[i]);
    SetWeights(largestExponent);
    return Normalise(weights);
  }

  void SetWeights(const double exponentOfOne) {
    for (std::size_t i = 0; i < weights.size(); ++i) weights[i] = -labels[i] * scores[i] - exponentOfOne;
    mth_internal::Exponentials(weights.data(), static_cast<std::int64_t>(weights.size()), weights.data());
  }

  void InvertWeights() {
    SetInvertedWeights(1.0);
    if (Normalise(invertedWeights)) return;
    double smallest = 1.0;
    for (const double weight : weights) smallest = weight > 0.0 ? std::min(smallest, weight) : smallest;
    SetInvertedWeights(smallest);
    static_cast<void>(Normalise(invertedWeights));  // one is 1, none is larger
  }

  void SetInvertedWeights(const double weightOfOne) {
    invertedWeights.resize(weights.size());
    for (std::size_t i = 0; i < weights.size(); ++i)
      invertedWeights[i] = weights[i] != 0.0 ? weightOfOne / weights[i] : 0.0;
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
      (isPositive ? sums.positive : sums.negative) += weights[i];
      if constexpr (kUsesInvertedWeights) {
        (isPositive ? sums.invertedPositive : sums.invertedNegative) += invertedWeights[i];
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
  DeleteCells(cells_);
  cells_ = list.release();
  confidences_.clear();
}

// Moves the cell into the list, and its confidence into the confidences.
void MTH_CLUSTERING_ADABOOST::Select(std::unique_ptr<MTH_CLUSTERING_TREE> cell, const double confidence) {
  confidences_.push_back(confidence);
  if (cells_->Add(cell.get()) < 0) {
    confidences_.pop_back();
    throw std::bad_alloc();
  }
  static_cast<void>(cell.release());
}

// Returns Converged, or why the round could not be done.
template <class Rule>
MTH_STOP_REASON MTH_CLUSTERING_ADABOOST::RunRound(const Rule rule, Boosting& boosting) {
  TreeTraining::Cells cells;
  if (!boosting.training.Grow(*tree_, boosting.weights.data(), &cells, nullptr))
    return MTH_STOP_REASON::NoMemory;
  if constexpr (Rule::kUsesInvertedWeights) boosting.InvertWeights();
  for (auto& cell : cells) {
    boosting.FindMembers(*cell);
    const CellSums sums = boosting.SumMembers<Rule::kUsesInvertedWeights>();
    if (sums.positive == 0.0 && sums.negative == 0.0) continue;
    double confidence = 0.0;
    if (!rule(sums, &confidence) || !std::isfinite(confidence)) continue;
    Select(std::move(cell), confidence);
    boosting.AddToScores(confidence);
  }
  return boosting.WeighByScores() ? MTH_STOP_REASON::Converged : MTH_STOP_REASON::NotFinite;
}

template <class Rule>
MTH_STOP_REASON MTH_CLUSTERING_ADABOOST::RunRounds(const Rule rule, Boosting& boosting) {
  for (int round = 0; round < rounds_; ++round) {
    const MTH_STOP_REASON reason = RunRound(rule, boosting);
    if (reason != MTH_STOP_REASON::Converged) return reason;
    if (round + 1 < rounds_ && Std_IsCancelRequested()) return MTH_STOP_REASON::Cancelled;
  }
  return rounds_ > 0 ? MTH_STOP_REASON::Converged : MTH_STOP_REASON::IterationCap;
}

template <class Rule>
bool MTH_CLUSTERING_ADABOOST::Train(const Rule rule, std::vector<double>& confidences, CELLS* const cells,
                                    double* const scores) {
  try {
    stopReason_ = StartAndRun(rule, confidences, cells, scores);
  } catch (const std::bad_alloc&) {
    stopReason_ = MTH_STOP_REASON::NoMemory;
  }
  return stopReason_ == MTH_STOP_REASON::Converged || stopReason_ == MTH_STOP_REASON::IterationCap ||
         stopReason_ == MTH_STOP_REASON::Cancelled;
}

template <class Rule>
MTH_STOP_REASON MTH_CLUSTERING_ADABOOST::StartAndRun(const Rule rule, std::vector<double>& confidences,
                                                     CELLS* const cells, double* scores) {
  if (tree_ == nullptr || !TreeTraining::Accepts(features_, labels_)) return MTH_STOP_REASON::BadInput;
  if (!AreClasses(*labels_, features_->GetNbCols())) return MTH_STOP_REASON::BadInput;
  const auto samplesCount = static_cast<std::size_t>(features_->GetNbCols());
  const bool hasScores = scores != nullptr;
  std::vector<double> ownScores(hasScores ? 0 : samplesCount);
  if (!hasScores) scores = ownScores.data();
  Boosting boosting(*features_, *labels_, scores);
  if (!boosting.training.Prepare()) return MTH_STOP_REASON::NoMemory;

  if (cells != nullptr) {
    confidences.resize(static_cast<std::size_t>(cells->GetCount()), 0.0);
    if (!hasScores) mth_internal::CellScores(*cells, confidences, *features_).AddTo(scores);
    if (!boosting.WeighByScores()) return MTH_STOP_REASON::NotFinite;
    cells_ = cells;
    confidences_ = std::move(confidences);
  } else {
    StartCold();
    std::fill_n(scores, samplesCount, 0.0);
  }
  return RunRounds(rule, boosting);
}
