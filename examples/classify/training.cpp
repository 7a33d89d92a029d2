#include "training.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <numeric>
#include <random>

#include "mth/Mth.h"
#include "support/cancellation.h"
#include "support/failure.h"

namespace classify {

namespace {

using Training = bool (MTH_CLUSTERING_ADABOOST::*)(std::vector<double>,
                                                   MTH_POINTER_LIST<MTH_CLUSTERING_TREE>*, double*);

Training TrainingOf(const std::string& variant) {
  if (variant == "real") return &MTH_CLUSTERING_ADABOOST::RealAdaBoostClustering;
  if (variant == "modest") return &MTH_CLUSTERING_ADABOOST::ModestAdaBoostClustering;
  return &MTH_CLUSTERING_ADABOOST::GentleAdaBoostClustering;
}

// Shuffled by hand: the standard library's shuffle differs from one to the other.
std::vector<std::size_t> ShuffledPlaces(std::size_t count, unsigned seed) {
  std::vector<std::size_t> places(count);
  std::iota(places.begin(), places.end(), std::size_t{0});
  std::mt19937 engine(seed);
  for (std::size_t i = count; i > 1; --i) std::swap(places[i - 1], places[engine() % i]);
  return places;
}

void Join(Group& group, const Samples& samples, std::size_t place) {
  group.samples.push_back(place);
  group.isPositive.push_back(samples.isPositive[place]);
  group.scores.push_back(0.0);
}

// Holds the same share of both classes out.
Outcome SplitSamples(const Samples& samples, const Options& options) {
  const auto positives = std::count(samples.isPositive.begin(), samples.isPositive.end(), true);
  const auto share = [&](std::ptrdiff_t count) {
    return static_cast<std::size_t>(std::floor(options.heldOut * static_cast<double>(count)));
  };
  std::size_t toHoldOut[2] = {share(static_cast<std::ptrdiff_t>(samples.Count()) - positives),
                              share(positives)};
  std::vector<bool> isHeldOut(samples.Count(), false);
  for (const std::size_t place : ShuffledPlaces(samples.Count(), options.seed)) {
    std::size_t& left = toHoldOut[samples.isPositive[place] ? 1 : 0];
    if (left == 0) continue;
    --left;
    isHeldOut[place] = true;
  }
  Outcome outcome;
  for (std::size_t i = 0; i < samples.Count(); ++i) {
    Join(isHeldOut[i] ? outcome.heldOut : outcome.trained, samples, i);
  }
  return outcome;
}

// One row per feature, one column per sample.
std::unique_ptr<MTH_MATRIX> FeatureMatrix(const Samples& samples, const Group& group) {
  const int columns = static_cast<int>(group.samples.size());
  auto matrix = std::make_unique<MTH_MATRIX>(static_cast<int>(samples.FeaturesCount()), columns, 0);
  for (int j = 0; j < columns; ++j) {
    const std::vector<double>& features = samples.features[group.samples[static_cast<std::size_t>(j)]];
    for (int f = 0; f < matrix->GetNbRows(); ++f) matrix->Set(f, j, features[static_cast<std::size_t>(f)]);
  }
  return matrix;
}

std::unique_ptr<MTH_MATRIX> LabelMatrix(const Group& group) {
  auto matrix = std::make_unique<MTH_MATRIX>(1, static_cast<int>(group.samples.size()), 0);
  for (int j = 0; j < matrix->GetNbCols(); ++j) {
    matrix->Set(0, j, group.isPositive[static_cast<std::size_t>(j)] ? 1.0 : -1.0);
  }
  return matrix;
}

// Adds what the cells from `firstCell` on say of the group.
void AddScores(const MTH_CLUSTERING_ADABOOST& boosting, int firstCell, MTH_MATRIX& features, Group& group) {
  for (int c = firstCell; c < boosting.GetCells()->GetCount(); ++c) {
    MTH_CLUSTERING_TREE* const cell = boosting.GetCells()->Get(c);
    const std::unique_ptr<int[]> isInside(cell->CalculOutput(cell, &features));
    if (!isInside) throw example::Failure("no memory for the test");
    const double confidence = boosting.GetConfidences()[static_cast<std::size_t>(c)];
    for (std::size_t i = 0; i < group.scores.size(); ++i) group.scores[i] += confidence * isInside[i];
  }
}

// Deletes the cells that a boosting holds at its end: they are its host's.
struct CellsOwner {
  explicit CellsOwner(const MTH_CLUSTERING_ADABOOST& owned) : boosting(owned) {}
  CellsOwner(const CellsOwner&) = delete;
  CellsOwner& operator=(const CellsOwner&) = delete;
  ~CellsOwner() { MTH_CLUSTERING_ADABOOST::DeleteCells(boosting.GetCells()); }
  const MTH_CLUSTERING_ADABOOST& boosting;
};

// How many samples are on the wrong side of 0.
double CountWrong(const Group& group) {
  double wrong = 0.0;
  for (std::size_t i = 0; i < group.scores.size(); ++i)
    wrong += (group.scores[i] > 0.0) != group.isPositive[i] ? 1.0 : 0.0;
  return wrong;
}

void RecordError(Group& group) {
  group.errors.push_back(CountWrong(group) / static_cast<double>(group.scores.size()));
}

Model ModelOf(const MTH_CLUSTERING_ADABOOST& boosting, const Samples& samples, const Options& options) {
  Model model{options.variant,
              options.rounds,
              options.depth,
              static_cast<int>(samples.FeaturesCount()),
              samples.negativeLabel,
              samples.positiveLabel,
              {}};
  for (int c = 0; c < boosting.GetCells()->GetCount(); ++c)
    model.cells.push_back(
        CellOf(*boosting.GetCells()->Get(c), boosting.GetConfidences()[static_cast<std::size_t>(c)]));
  return model;
}

// Trains upon one group, round by round, and tests after each on the other one, if it has samples.
Model Train(const Samples& samples, Group& trained, Group& tested, const Options& options) {
  const auto features = FeatureMatrix(samples, trained);
  const auto labels = LabelMatrix(trained);
  const auto testFeatures = FeatureMatrix(samples, tested);
  MTH_CLUSTERING_TREE tree(options.depth);
  MTH_CLUSTERING_ADABOOST boosting(features.get(), labels.get(), 1, &tree);
  const CellsOwner owner(boosting);
  const Training train = TrainingOf(options.variant);
  for (int round = 0; round < options.rounds; ++round) {
    example::ThrowIfCancelled();
    const int cellsBefore = round == 0 ? 0 : boosting.GetCells()->GetCount();
    // A warm start from the rounds so far gives the bits of one longer training.
    const bool hasTrained =
        (boosting.*train)(boosting.GetConfidences(), boosting.GetCells(), trained.scores.data());
    example::ThrowIfCancelled();
    if (!hasTrained) throw example::Failure("no memory for the training");
    RecordError(trained);
    if (tested.samples.empty()) continue;
    AddScores(boosting, cellsBefore, *testFeatures, tested);
    RecordError(tested);
  }
  return ModelOf(boosting, samples, options);
}

// The fold of each sample; both classes are dealt out evenly.
std::vector<int> FoldsOf(const Samples& samples, const Options& options) {
  std::vector<int> folds(samples.Count());
  int next[2] = {0, 0};
  for (const std::size_t place : ShuffledPlaces(samples.Count(), options.seed)) {
    int& fold = next[samples.isPositive[place] ? 1 : 0];
    folds[place] = fold;
    fold = (fold + 1) % options.folds;
  }
  return folds;
}

// Each sample is scored by the training that did not see it; errors are those of all folds together.
Group CrossValidate(const Samples& samples, const Options& options) {
  const std::vector<int> folds = FoldsOf(samples, options);
  Group all{"held out in " + std::to_string(options.folds) + " folds", {}, {}, {}, {}};
  for (std::size_t i = 0; i < samples.Count(); ++i) Join(all, samples, i);
  all.errors.assign(static_cast<std::size_t>(options.rounds), 0.0);
  for (int fold = 0; fold < options.folds; ++fold) {
    Group trained;
    Group tested;
    for (std::size_t i = 0; i < samples.Count(); ++i) Join(folds[i] == fold ? tested : trained, samples, i);
    if (tested.samples.empty()) continue;
    Train(samples, trained, tested, options);
    for (std::size_t i = 0; i < tested.samples.size(); ++i) all.scores[tested.samples[i]] = tested.scores[i];
    for (std::size_t round = 0; round < all.errors.size(); ++round)
      all.errors[round] += tested.errors[round] * static_cast<double>(tested.samples.size()) /
                           static_cast<double>(samples.Count());
  }
  return all;
}

void CheckFolds(const Samples& samples, const Options& options) {
  const auto positives = std::count(samples.isPositive.begin(), samples.isPositive.end(), true);
  const auto rarer = std::min(positives, static_cast<std::ptrdiff_t>(samples.Count()) - positives);
  if (options.folds > rarer)
    throw example::Failure("--folds must not be above " + std::to_string(rarer) +
                           ", the samples of the rarer class");
}

}  // namespace

Outcome TrainAndTest(const Samples& samples, const Options& options) {
  if (options.folds > 0) CheckFolds(samples, options);
  Outcome outcome = SplitSamples(samples, options);
  outcome.model = Train(samples, outcome.trained, outcome.heldOut, options);
  if (options.folds > 0) outcome.heldOut = CrossValidate(samples, options);
  return outcome;
}

Outcome ApplyModel(const Samples& samples, const Model& model) {
  Outcome outcome;
  outcome.model = model;
  outcome.heldOut.name = "applied to";
  for (std::size_t i = 0; i < samples.Count(); ++i) outcome.heldOut.samples.push_back(i);
  outcome.heldOut.isPositive = samples.isPositive;
  outcome.heldOut.scores = Scores(model, *FeatureMatrix(samples, outcome.heldOut));
  if (!samples.isPositive.empty()) RecordError(outcome.heldOut);
  return outcome;
}

const Group& JudgedGroup(const Outcome& outcome) {
  return outcome.heldOut.samples.empty() ? outcome.trained : outcome.heldOut;
}

Roc ComputeRoc(const Group& group) {
  const auto positives =
      static_cast<double>(std::count(group.isPositive.begin(), group.isPositive.end(), true));
  const double negatives = static_cast<double>(group.isPositive.size()) - positives;
  Roc roc;
  if (positives == 0.0 || negatives == 0.0) return roc;
  std::vector<std::size_t> order(group.scores.size());
  std::iota(order.begin(), order.end(), std::size_t{0});
  std::stable_sort(order.begin(), order.end(),
                   [&](auto a, auto b) { return group.scores[a] > group.scores[b]; });

  double truePositives = 0.0;
  double falsePositives = 0.0;
  roc.points.emplace_back(0.0, 0.0);
  for (std::size_t i = 0; i < order.size();) {
    const double score = group.scores[order[i]];
    // Samples of one score are on one side of every threshold.
    for (; i < order.size() && group.scores[order[i]] == score; ++i) {
      (group.isPositive[order[i]] ? truePositives : falsePositives) += 1.0;
    }
    const auto [x, y] = roc.points.back();
    roc.points.emplace_back(falsePositives / negatives, truePositives / positives);
    roc.area += (roc.points.back().first - x) * 0.5 * (roc.points.back().second + y);
  }
  return roc;
}

}  // namespace classify
