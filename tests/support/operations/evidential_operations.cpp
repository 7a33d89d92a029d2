#include <array>

#include "support/operations/engine_operations.h"
#include "support/operations/scratch_file.h"

// Evidential clustering, beliefs, decisions and fusion.

namespace mth_test {

EngineInput::EngineInput(int samples, int clusters, int dimensions) {
  Numbers numbers(1200);
  for (int i = 0; i < samples; ++i) {
    std::vector<double> features;
    std::vector<double> memberships;
    for (int d = 0; d < dimensions; ++d) features.push_back(10.0 * (i % clusters) + d + 2.0 * numbers());
    for (int k = 0; k < clusters; ++k) memberships.push_back(numbers.Positive());
    features_.push_back(features);
    memberships_.push_back(memberships);
  }
  for (int k = 0; k < clusters; ++k) {
    std::vector<double> centroid;
    for (int d = 0; d < dimensions; ++d) centroid.push_back(10.0 * k + d + 4.0 * numbers());
    centroids_.push_back(centroid);
  }
}

void EngineInput::Fill(MTH_CLUSTERING& engine, bool hasCentroids) const {
  for (std::size_t i = 0; i < features_.size(); ++i) {
    auto features = features_[i];
    auto memberships = memberships_[i];
    MTH_CLUSTERING_SAMPLE sample(features.data(), static_cast<int>(features.size()), memberships.data(),
                                 static_cast<int>(memberships.size()));
    engine.AddSample(&sample);
  }
  for (std::size_t k = 0; hasCentroids && k < centroids_.size(); ++k) {
    auto centroid = centroids_[k];
    engine.InitialiseCentroid(static_cast<int>(k), centroid.data(), static_cast<int>(centroid.size()));
  }
}

std::unique_ptr<MTH_CLUSTERING> EvidentialEngine(int samples, int clusters, int dimensions) {
  auto engine = std::make_unique<MTH_CLUSTERING>(clusters, dimensions);
  EngineInput(samples, clusters, dimensions).Fill(*engine, true);
  engine->SetDiagnosticPrefix("");
  engine->SetTolerance(0.01);
  engine->SetIterationsCount(100);
  engine->ApplyEvidentialFuzzyCMeanClustering();
  return engine;
}

void CountEngine(Trial& t, MTH_CLUSTERING& engine) {
  t.CountAll(engine.GetSamplesCount(), engine.GetClustersCount(), engine.GetDimensionsCount(),
             engine.GetHypothesesCount(), engine.GetIterationsCount(), engine.IsEvidential());
  for (const MTH_CLUSTERING_SAMPLE* sample : *engine.GetSamples()) t.Count(sample);
  if (engine.GetCentroids() != nullptr) {
    for (const MTH_MATRIX* centroid : *engine.GetCentroids()) t.Count(centroid);
  }
  for (const auto* hypothesis : *engine.GetHypotheses()) t.Count(*hypothesis);
  t.Count(engine.GetCardH(), engine.GetHypotheses()->GetCount());
  const MTH_MATRIX* const matrices[] = {engine.GethypothesesCenters(), engine.GetCredalPartition(),
                                        engine.GetPignisticPartition(), engine.GetPlausibilityPartition()};
  for (const MTH_MATRIX* matrix : matrices) t.Count(matrix);
}

namespace {

void AddRuns(Operations& list) {
  struct Parameters {
    const char* name;
    double alpha;
    double beta;
    double rho;
  };
  constexpr Parameters kParameters[] = {{"plain", 2.0, 2.0, 2.0}, {"fractional", 1.5, 1.75, 1.25}};
  constexpr std::array<int, 3> kSizes[] = {{24, 1, 1}, {30, 2, 2}, {75, 3, 2}, {61, 5, 4}};
  for (const auto& [name, alpha, beta, rho] : kParameters) {
    for (const auto& [samples, clusters, dimensions] : kSizes) {
      list.push_back({"clustering/ApplyEvidentialFuzzyCMeanClustering/" + std::string(name) + "/" +
                          Shape(samples, clusters) + "x" + std::to_string(dimensions),
                      [=, alpha = alpha, beta = beta, rho = rho, samples = samples, clusters = clusters,
                       dimensions = dimensions](Trial& t) {
                        const EngineInput input(samples, clusters, dimensions);
                        MTH_CLUSTERING engine(clusters, dimensions);
                        input.Fill(engine, true);
                        engine.SetDiagnosticPrefix("");
                        engine.SetParams(alpha, beta, rho);
                        t([&] { return engine.ApplyEvidentialFuzzyCMeanClustering(); }, kNoDistance);
                        CountEngine(t, engine);
                      }});
    }
  }
  list.push_back({"clustering/AddEvidentialSample", [](Trial& t) {
                    MTH_CLUSTERING engine(2, 2);
                    for (unsigned i = 0; i < 5; ++i) {
                      auto features = Values(2, 1210 + i);
                      auto masses = Values(4, 1220 + i, 0.0, 1.0);
                      MTH_CLUSTERING_SAMPLE sample(features.data(), 2, masses.data(), 4);
                      t([&] { return engine.AddEvidentialSample(&sample); });
                    }
                    CountEngine(t, engine);
                  }});
}

void AddDiagnostics(Operations& list) {
  list.push_back(
      {"clustering/diagnostic_files", [](Trial& t) {
         const EngineInput input(60, 2, 3);
         MTH_CLUSTERING engine(2, 3);
         input.Fill(engine, true);
         engine.SetIterationsCount(100);
         const TemporaryPath base;
         t([&] { engine.SetDiagnosticPrefix(base.Path()); });
         t([&] { return engine.ApplyEvidentialFuzzyCMeanClustering(); }, kNoDistance);
         for (const char* name : {"centres", "credal_partition", "oox", "ooy", "ooz", "cpx", "ctx", "cox"}) {
           const TemporaryPath file(base.Path() + name + ".txt");
           t.Count(file.Bytes());
         }
         for (const char* name : {"cpy", "cpz", "cty", "ctz", "coy", "coz"}) {
           const TemporaryPath file(base.Path() + name + ".txt");
           t.Count(file.Bytes());
         }
       }});
}

void AddHypotheses(Operations& list) {
  list.push_back({"clustering/hypotheses", [](Trial& t) {
                    const auto engine = EvidentialEngine(40, 3, 2);
                    MTH_MATRIX form = Matrix(2, 2, 0, 1230);
                    t([&] { engine->CalculCentresHypotheses(); });
                    for (int j = 0; j < engine->GetHypothesesCount(); ++j) {
                      t([&] { return engine->GetSampleDistanceToHypothese(3, j); });
                      t([&] { return engine->GetSampleMahalanobisDistanceToHypothese(4, j, &form); },
                        kNoDistance);
                      t([&] { return engine->BelongsToHypothese(j, 1); });
                      t([&] { return engine->BelongsToHypothese(j, 0, 2); });
                      t([&] { return engine->findHypothese(engine->GetHypotheses()->Get(j)); });
                      t([&] { return engine->FindHypothesisIndex(engine->GetHypotheses()->Get(j)); });
                      for (int k = 0; k < engine->GetHypothesesCount(); ++k) {
                        std::vector<int> shared;
                        t([&] { return engine->HypotheseIntersection(j, k); });
                        t([&] { return engine->HypotheseIntersection(j, k, &shared); }, 0);
                        t.Count(shared);
                      }
                    }
                  }});
}

void AddBeliefs(Operations& list) {
  list.push_back({"clustering/beliefs", [](Trial& t) {
                    const auto engine = EvidentialEngine(60, 3, 2);
                    t([&] { return engine->initPignisticPartition(); });
                    t([&] { return engine->initPlausibilityPartition(); });
                    for (int i = 0; i < 60; ++i) {
                      t([&] { return engine->GetBeliefValue(i, i % 8); });
                      t([&] { return engine->MaxBeliefDecision(i); });
                      t([&] { return engine->MaxPignisticDecision(i); });
                      t([&] { return engine->PignisticDecision(i, 0.375); });
                    }
                    CountEngine(t, *engine);
                  }});
  list.push_back({"clustering/WeakenCredalPartition", [](Trial& t) {
                    const auto engine = EvidentialEngine(60, 3, 2);
                    t([&] { return engine->WeakenCredalPartition(0.7); });
                    for (const auto& [type, name] : kElementTypes) {
                      MTH_MATRIX masses = Matrix(1, 8, type, 1240, 0.0);
                      t([&] { return engine->WeakenCredalFunction(&masses, 0.3); });
                      t.Count(masses);
                    }
                    CountEngine(t, *engine);
                  }});
  list.push_back({"clustering/SetCredalPartition", [](Trial& t) {
                    for (const auto& [type, name] : kElementTypes) {
                      const auto engine = EvidentialEngine(30, 3, 2);
                      MTH_MATRIX masses = Matrix(30, 8, type, 1241, 0.0);
                      t([&] { engine->SetCredalPartition(&masses); });
                      t([&] { return engine->initPignisticPartition(); });
                      CountEngine(t, *engine);
                    }
                  }});
}

void AddFusions(Operations& list) {
  using Fuse = MTH_MATRIX* (MTH_CLUSTERING::*)(MTH_MATRIX*) const;
  const std::pair<const char*, Fuse> fusions[] = {
      {"CredalConjFusion", &MTH_CLUSTERING::CredalConjFusion},
      {"CredalConjFusionExact", &MTH_CLUSTERING::CredalConjFusionExact},
      {"DempsterFusion", &MTH_CLUSTERING::DempsterFusion},
      {"DempsterFusionExact", &MTH_CLUSTERING::DempsterFusionExact}};
  for (const auto& [name, fuse] : fusions) {
    for (const int clusters : {2, 3, 5, 7}) {
      list.push_back({std::string("clustering/") + name + "/" + std::to_string(clusters),
                      [fuse = fuse, clusters](Trial& t) {
                        const auto engine = EvidentialEngine(70, clusters, 2);
                        for (const auto& [type, typeName] : kElementTypes) {
                          MTH_MATRIX other = Matrix(70, 1 << clusters, type, 1250, 0.0, 0.25);
                          t([&] { return (engine.get()->*fuse)(&other); });
                        }
                      }});
    }
  }
}

}  // namespace

void AddEvidentialOperations(Operations& list) {
  AddRuns(list);
  AddDiagnostics(list);
  AddHypotheses(list);
  AddBeliefs(list);
  AddFusions(list);
}

}  // namespace mth_test
