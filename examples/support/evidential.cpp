#include "support/evidential.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>
#include <optional>

#include "support/cancellation.h"
#include "support/failure.h"
#include "support/progress_recorder.h"

namespace example {

namespace {

// Tells at each call how far the centroids have moved since the last one, on average; nothing at the first
// call.
class MovementMeter {
 public:
  explicit MovementMeter(const MTH_CLUSTERING& engine) : engine_(engine) {}
  std::optional<double> operator()() {
    std::vector<double> centroids;
    double sum = 0.0;
    for (int k = 0; k < engine_.GetClustersCount(); ++k) {
      centroids.push_back(engine_.GetCentroid(k)->Get(0, 0));
      if (!former_.empty()) sum += std::abs(centroids.back() - former_[centroids.size() - 1]);
    }
    const bool isFirst = former_.empty();
    former_ = std::move(centroids);
    if (isFirst) return std::nullopt;
    return sum / engine_.GetClustersCount();
  }

 private:
  const MTH_CLUSTERING& engine_;
  std::vector<double> former_;
};

// What is cancelled has no result, as what finds no memory.
void ThrowIfAsked() {
  if (Std_IsCancelRequested()) throw Cancelled();
}

void TakeProbabilities(MTH_CLUSTERING& engine) {
  if (!engine.initPignisticPartition()) {
    ThrowIfAsked();
    throw std::bad_alloc();
  }
  const MTH_MATRIX& probabilities = *engine.GetPignisticPartition();
  for (int i = 0; i < engine.GetSamplesCount(); ++i) {
    for (int k = 0; k < engine.GetClustersCount(); ++k) {
      const double probability = probabilities.Get(i, k);
      // In total conflict there is none.
      engine.GetSample(i)->SetMembership(k, std::isfinite(probability) ? probability : 0.0);
    }
  }
}

// Per hypothesis of `engine` the one of `other` about the same classes.
std::vector<int> MatchHypotheses(MTH_CLUSTERING& engine, const std::vector<int>& order, MTH_CLUSTERING& other,
                                 const std::vector<int>& otherOrder) {
  std::vector<int> matches;
  for (const std::vector<int>* hypothesis : *engine.GetHypotheses()) {
    std::vector<int> numbers;
    for (std::size_t rank = 0; rank < order.size(); ++rank) {
      const bool hasClass =
          std::find(hypothesis->begin(), hypothesis->end(), order[rank] + 1) != hypothesis->end();
      if (hasClass) numbers.push_back(otherOrder[rank] + 1);
    }
    std::sort(numbers.begin(), numbers.end());
    if (numbers.empty()) numbers.push_back(0);
    matches.push_back(other.FindHypothesisIndex(&numbers));
  }
  return matches;
}

// The other engine's masses in this one's order of hypotheses; rows are renumbered in place.
void Renumber(MTH_MATRIX& masses, const std::vector<int>& matches) {
  if (std::is_sorted(matches.begin(), matches.end())) return;
  std::vector<double> row(matches.size());
  for (int i = 0; i < masses.GetNbRows(); ++i) {
    for (std::size_t j = 0; j < row.size(); ++j) row[j] = masses.Get(i, matches[j]);
    for (std::size_t j = 0; j < row.size(); ++j) masses.Set(i, static_cast<int>(j), row[j]);
  }
}

std::vector<float> ReadConflict(const MTH_CLUSTERING& engine, MTH_MATRIX& masses) {
  const std::unique_ptr<MTH_MATRIX> conjunction(engine.CredalConjFusionExact(&masses));
  ThrowIfAsked();
  if (!conjunction) throw std::bad_alloc();
  std::vector<float> conflict;
  for (int i = 0; i < conjunction->GetNbRows(); ++i)
    conflict.push_back(static_cast<float>(conjunction->Get(i, 0)));
  return conflict;
}

// Whether the classes of a set follow each other in the order of their centroids.
bool IsAdjacent(const std::vector<int>& hypothesis, const std::vector<int>& rankOfCluster) {
  if (hypothesis.front() == 0) return true;  // no class
  int least = static_cast<int>(rankOfCluster.size());
  int greatest = -1;
  for (const int number : hypothesis) {
    const int rank = rankOfCluster[static_cast<std::size_t>(number - 1)];
    least = std::min(least, rank);
    greatest = std::max(greatest, rank);
  }
  return greatest - least + 1 == static_cast<int>(hypothesis.size());
}

std::vector<int> RanksOfClusters(const MTH_CLUSTERING& engine) {
  std::vector<int> ranks;
  for (int k = 0; k < engine.GetClustersCount(); ++k) {
    int rank = 0;
    for (int other = 0; other < engine.GetClustersCount(); ++other) {
      const double difference = engine.GetCentroid(other)->Get(0, 0) - engine.GetCentroid(k)->Get(0, 0);
      if (difference < 0.0 || (difference == 0.0 && other < k)) ++rank;
    }
    ranks.push_back(rank);
  }
  return ranks;
}

// Masses are shares of what each set's distance gives: without some sets the others keep their proportions.
void KeepAdjacentSets(MTH_CLUSTERING& engine) {
  const std::vector<int> ranks = RanksOfClusters(engine);
  MTH_MATRIX& masses = *engine.GetCredalPartition();
  std::vector<bool> isKept;
  for (const std::vector<int>* hypothesis : *engine.GetHypotheses())
    isKept.push_back(IsAdjacent(*hypothesis, ranks));
  for (int i = 0; i < masses.GetNbRows(); ++i) {
    double sum = 0.0;
    for (int j = 0; j < masses.GetNbCols(); ++j)
      sum += isKept[static_cast<std::size_t>(j)] ? masses.Get(i, j) : 0.0;
    for (int j = 0; j < masses.GetNbCols(); ++j) {
      const bool isShare = isKept[static_cast<std::size_t>(j)] && sum > 0.0;
      masses.Set(i, j, isShare ? masses.Get(i, j) / sum : 0.0);
    }
  }
}

}  // namespace

bool IsUndecided(MTH_CLUSTERING& engine, int sample) {
  return engine.MaxBeliefDecision(sample) > engine.GetClustersCount();
}

void RunEvidential(MTH_CLUSTERING& engine, const SegmentationSettings& settings, Segmentation& result) {
  MovementMeter meter(engine);
  const ProgressRecorder recorder([&meter](const std::string&) { return meter(); });
  const bool hasRun = engine.ApplyEvidentialFuzzyCMeanClustering() == 1.0;
  recorder.ThrowIfCancelled();
  if (engine.GetStopReason() == MTH_STOP_REASON::NoMemory) throw std::bad_alloc();
  if (!hasRun) throw Failure("the clustering failed");
  result.changes = recorder.GetChanges();
  result.hasConverged = engine.IsEvidential();
  if (!result.hasConverged)
    result.changes.push_back(*meter());  // the last iteration was not followed by another
  if (settings.keepsAdjacentSets) KeepAdjacentSets(engine);
  TakeProbabilities(engine);
}

std::vector<float> FuseEvidence(MTH_CLUSTERING& engine, const std::vector<int>& order, MTH_CLUSTERING& other,
                                const std::vector<int>& otherOrder) {
  MTH_MATRIX& masses = *other.GetCredalPartition();
  Renumber(masses, MatchHypotheses(engine, order, other, otherOrder));
  if (!engine.IsEvidential()) {
    throw Failure(
        "the clustering of the first image did not converge, which --fuse needs: raise --iterations or "
        "--tolerance");
  }
  std::vector<float> conflict = ReadConflict(engine, masses);
  const std::unique_ptr<MTH_MATRIX> fused(engine.DempsterFusionExact(&masses));
  ThrowIfAsked();
  if (!fused) throw std::bad_alloc();
  engine.SetCredalPartition(fused.get());
  TakeProbabilities(engine);
  return conflict;
}

Evidence ReadEvidence(MTH_CLUSTERING& engine, const std::vector<int>& order, const Inside& inside,
                      const std::vector<float>& conflict) {
  const std::size_t voxels = inside.isInside.size();
  const auto clusters = order.size();
  Evidence evidence;
  evidence.undecided.assign(voxels, 0.0F);
  evidence.unassigned.assign(voxels, 0.0F);
  evidence.plausibility.assign(clusters, std::vector<float>(voxels, 0.0F));
  evidence.lowerVoxels.assign(clusters, 0.0);
  evidence.upperVoxels.assign(clusters, 0.0);
  const MTH_MATRIX& masses = *engine.GetCredalPartition();
  const auto massOf = [&](int sample, int hypothesis) {
    const double mass = masses.Get(sample, hypothesis);
    return std::isfinite(mass) ? mass : 0.0;  // in total conflict there is none
  };
  int sample = 0;
  for (std::size_t voxel = 0; voxel < voxels; ++voxel) {
    if (inside.isInside[voxel] == 0) continue;
    for (std::size_t k = 0; k < clusters; ++k) {
      double plausibility = 0.0;
      for (int j = 1; j < masses.GetNbCols(); ++j)
        plausibility += engine.BelongsToHypothese(j, order[k]) ? massOf(sample, j) : 0.0;
      evidence.plausibility[k][voxel] = static_cast<float>(plausibility);
      evidence.lowerVoxels[k] += massOf(sample, order[k] + 1);  // the sets of one class follow the empty one
      evidence.upperVoxels[k] += plausibility;
    }
    double undecided = 0.0;
    for (int j = static_cast<int>(clusters) + 1; j < masses.GetNbCols(); ++j) undecided += massOf(sample, j);
    evidence.undecided[voxel] = static_cast<float>(undecided);
    evidence.unassigned[voxel] =
        conflict.empty() ? static_cast<float>(massOf(sample, 0)) : conflict[static_cast<std::size_t>(sample)];
    evidence.undecidedVoxels += IsUndecided(engine, sample) ? 1 : 0;
    evidence.outlierVoxels += engine.MaxBeliefDecision(sample) == 0 && conflict.empty() ? 1 : 0;
    ++sample;
  }
  return evidence;
}

}  // namespace example
