#include "evidential.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <new>
#include <optional>

#include "progress_recorder.h"
#include "support/cancellation.h"
#include "support/failure.h"

namespace segment_mr {

namespace {

using example::Failure;

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

void TakeProbabilities(MTH_CLUSTERING& engine) {
  if (!engine.initPignisticPartition()) throw std::bad_alloc();
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
  example::ThrowIfCancelled();
  if (!conjunction) throw std::bad_alloc();
  std::vector<float> conflict;
  for (int i = 0; i < conjunction->GetNbRows(); ++i)
    conflict.push_back(static_cast<float>(conjunction->Get(i, 0)));
  return conflict;
}

}  // namespace

void RunEvidential(MTH_CLUSTERING& engine, Segmentation& result) {
  MovementMeter meter(engine);
  ProgressRecorder recorder([&meter](const std::string&) { return meter(); });
  const STD_DISPLAY_SCOPE scope(&recorder);
  const bool hasRun = engine.ApplyEvidentialFuzzyCMeanClustering() == 1.0;
  example::ThrowIfCancelled();
  if (!hasRun) throw Failure("the clustering failed");
  result.changes = recorder.GetChanges();
  result.hasConverged = engine.IsEvidential();
  if (!result.hasConverged)
    result.changes.push_back(*meter());  // the last iteration was not followed by another
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
  example::ThrowIfCancelled();
  if (!fused) throw std::bad_alloc();
  engine.SetCredalPartition(fused.get());
  TakeProbabilities(engine);
  return conflict;
}

Evidence ReadEvidence(MTH_CLUSTERING& engine, const example::GreyImage& image,
                      const std::vector<float>& conflict) {
  Evidence evidence;
  evidence.undecided.assign(image.values.size(), 0.0F);
  evidence.unassigned.assign(image.values.size(), 0.0F);
  const MTH_MATRIX& masses = *engine.GetCredalPartition();
  const int clusters = engine.GetClustersCount();
  int sample = 0;
  for (std::size_t voxel = 0; voxel < image.values.size(); ++voxel) {
    if (!IsInside(image.values[voxel])) continue;
    double undecided = 0.0;
    for (int j = clusters + 1; j < masses.GetNbCols(); ++j) undecided += masses.Get(sample, j);
    evidence.undecided[voxel] = std::isfinite(undecided) ? static_cast<float>(undecided) : 0.0F;
    evidence.unassigned[voxel] = conflict.empty() ? static_cast<float>(masses.Get(sample, 0))
                                                  : conflict[static_cast<std::size_t>(sample)];
    const int largest = engine.MaxBeliefDecision(sample);
    evidence.undecidedVoxels += largest > clusters ? 1 : 0;
    evidence.outlierVoxels += largest == 0 && conflict.empty() ? 1 : 0;
    ++sample;
  }
  return evidence;
}

}  // namespace segment_mr
