// Samples, clustering, belief functions and boosting: the same bits on every instruction set, memberships
// that are memberships, no crash whatever the numbers.

#include <algorithm>

#include "fuzz/fuzz.h"

namespace mth_fuzz {
namespace {

struct Setting {
  int clusters, dimensions, samples, method;
  double exponent;
  std::vector<double> features, memberships, centroids;
};

bool Fill(MTH_CLUSTERING& engine, Setting& setting) {
  for (int i = 0; i < setting.samples; ++i) {
    MTH_CLUSTERING_SAMPLE sample(
        &setting.features[static_cast<std::size_t>(i * setting.dimensions)], setting.dimensions,
        &setting.memberships[static_cast<std::size_t>(i * setting.clusters)], setting.clusters);
    if (!engine.AddSample(&sample)) return false;
  }
  for (int k = 0; k < setting.clusters; ++k)
    engine.InitialiseCentroid(k, &setting.centroids[static_cast<std::size_t>(k * setting.dimensions)],
                              setting.dimensions);
  engine.SetRegulationValue(setting.exponent);
  return true;
}

void RunEngine(Setting& setting, bool isModerate, Results& results) {
  MTH_CLUSTERING engine(setting.clusters, setting.dimensions);
  Require(Fill(engine, setting));
  if (setting.method == 0) results.Add(engine.ApplyKMeanClustering());
  if (setting.method == 1) results.Add(engine.ApplyFuzzyCMeanClustering());
  if (setting.method == 2) results.Add(engine.ApplyEvidentialFuzzyCMeanClustering());
  for (int k = 0; k < setting.clusters; ++k) results.Add(engine.GetCentroid(k));
  for (int i = 0; i < setting.samples; ++i) {
    const MTH_CLUSTERING_SAMPLE* sample = engine.GetSample(i);
    for (int k = 0; k < setting.clusters; ++k) {
      const double u = sample->GetMembership(k);
      results.Add(u);
      if (setting.method == 1 && isModerate) Require(u >= 0.0 && u <= 1000.0);
    }
    results.Add(engine.MaxMembershipDecision(i));
  }
  if (setting.method != 2) return;
  results.Add(engine.GetCredalPartition());
  results.Add(engine.initPignisticPartition());
  results.Add(engine.initPlausibilityPartition());
  results.Add(engine.GetPignisticPartition());
  results.Add(engine.GetPlausibilityPartition());
  if (engine.GetCredalPartition() == nullptr) return;
  MTH_MATRIX other(*engine.GetCredalPartition());
  engine.WeakenCredalPartition(0.5);
  for (MTH_MATRIX* made : {engine.CredalConjFusion(&other), engine.CredalConjFusionExact(&other),
                           engine.DempsterFusion(&other), engine.DempsterFusionExact(&other)}) {
    results.Add(made);
    delete made;
  }
}

void TryBoosting(Input& input) {
  const int features = input.Whole(1, 4);
  const int samples = input.Size(1, 24);
  MTH_MATRIX x = input.Matrix(features, samples, 0, &Input::Any);
  MTH_MATRIX y(1, samples, 0);
  for (int i = 0; i < samples; ++i) y.Set(0, i, input.Byte() < 128 ? 1.0 : -1.0);
  MTH_CLUSTERING_TREE tree(input.Whole(1, 3));
  const int rounds = input.Whole(0, 6);
  const int kind = input.Whole(0, 2);
  RequireSameBits([&](Results& results) {
    MTH_CLUSTERING_ADABOOST boosting(&x, &y, rounds, &tree);
    const bool isTrained = kind == 0   ? boosting.RealAdaBoostClustering({}, nullptr, nullptr)
                           : kind == 1 ? boosting.ModestAdaBoostClustering({}, nullptr, nullptr)
                                       : boosting.GentleAdaBoostClustering({}, nullptr, nullptr);
    results.Add(isTrained);
    for (const double confidence : boosting.GetConfidences()) {
      Require(std::isfinite(confidence));
      results.Add(confidence);
    }
    const std::unique_ptr<double[]> scores(boosting.Classify(&x));
    results.Add(scores.get(), static_cast<std::size_t>(samples));
    MTH_CLUSTERING_ADABOOST::DeleteCells(boosting.GetCells());
  });
}

}  // namespace

void TryInput(const std::uint8_t* bytes, std::size_t count) {
  Input input(bytes, count);
  if (input.Byte() < 64) return TryBoosting(input);
  Setting setting;
  setting.method = input.Whole(0, 2);
  setting.clusters = input.Size(1, setting.method == 2 ? 4 : 9);
  setting.dimensions = input.Size(1, 4);
  setting.samples = input.Size(1, 70);
  setting.exponent = input.Byte() < 128 ? 2.0 : std::max(1.01, std::abs(input.Moderate()));
  const bool isModerate = input.Byte() < 160;
  const auto draw = isModerate ? &Input::Moderate : &Input::Any;
  setting.features = input.Numbers(setting.samples * setting.dimensions, draw);
  setting.memberships = input.Numbers(setting.samples * setting.clusters, &Input::Moderate);
  setting.centroids = input.Numbers(setting.clusters * setting.dimensions, draw);
  RequireSameBits(
      [&](Results& results) { RunEngine(setting, isModerate && setting.exponent <= 8.0, results); });
}

}  // namespace mth_fuzz
