// Clustering and boosting: see costs.cpp.

#include "costs.h"

using namespace mth_benchmark;

namespace {

template <class Operation>
void AddOfEngine(Cases& cases, const std::string& name, int size, Operation operation) {
  cases.push_back({"clustering/" + name, size, [=](Kind kind, int count) -> Run {
                     return [=, x = Make(kind, count)] {
                       MTH_CLUSTERING engine(4, 1);
                       StartClustering(engine, x);
                       operation(engine);
                     };
                   }});
}

}  // namespace

void mth_benchmark::AddClusterings(Cases& cases) {
  using E = MTH_CLUSTERING;
  AddOfEngine(cases, "samples in", 1000000, [](E&) {});
  AddOfEngine(cases, "memberships and decisions", 1000000, [](E& e) {
    Values memberships(static_cast<std::size_t>(e.GetSamplesCount()) * 4);
    std::vector<int> decisions(static_cast<std::size_t>(e.GetSamplesCount()));
    e.GetMemberships(memberships.data());
    e.GetDecisions(decisions.data());
  });
  AddOfEngine(cases, "distances", 500000, [](E& e) {
    MTH_MATRIX metric(1, 1, 0);
    metric.SetIdentity();
    for (int i = 0; i < e.GetSamplesCount(); ++i) {
      e.GetSampleDistanceToCentroid(i, 1);
      e.GetSampleDistanceToSample(i, 0);
      e.GetSampleMahalanobisDistanceToCentroid(i, 1, &metric);
    }
  });
  AddOfEngine(cases, "k-means", 1000000, [](E& e) { e.ApplyKMeanClustering(); });
  AddOfEngine(cases, "fuzzy c-means", 400000, [](E& e) { e.ApplyFuzzyCMeanClustering(); });
  AddOfEngine(cases, "fuzzy c-means, m = 1.8", 200000, [](E& e) {
    e.SetRegulationValue(1.8);
    e.ApplyFuzzyCMeanClustering();
  });
  AddOfEngine(cases, "quantiles", 1000000,
              [](E& e) { e.InitialiseCentroidsFromSamples(MTH_CENTROID_START::Quantiles); });
  AddOfEngine(cases, "farthest first", 1000000,
              [](E& e) { e.InitialiseCentroidsFromSamples(MTH_CENTROID_START::FarthestFirst); });
  AddOfEngine(cases, "k-means++", 1000000,
              [](E& e) { e.InitialiseCentroidsFromSamples(MTH_CENTROID_START::PlusPlus); });
  cases.push_back({"clustering/evidential c-means", 100000, [](Kind kind, int n) -> Run {
                     return [x = Make(kind, n)] {
                       MTH_CLUSTERING engine(3, 1);
                       engine.SetDiagnosticPrefix("");
                       const double masses[8] = {};
                       for (const double& value : x) {
                         MTH_CLUSTERING_SAMPLE sample(&value, 1, masses, 8);
                         engine.AddEvidentialSample(&sample);
                       }
                       for (int k = 0; k < 3; ++k) {
                         const double start = 60.0 + 30.0 * k;
                         engine.InitialiseCentroid(k, &start, 1);
                       }
                       engine.SetTolerance(0.0);
                       engine.ApplyEvidentialFuzzyCMeanClustering();
                     };
                   }});
  const auto addOfMasses = [&](const std::string& name, int size, auto operation) {
    cases.push_back({"clustering/" + name, size, [=](Kind kind, int n) -> Run {
                       const auto masses = MakeMatrix(kind, n, 16);
                       return [=] {
                         E engine(4, 1);
                         engine.SetDiagnosticPrefix("");
                         const double start[16] = {1.0};
                         const double value = 0.0;
                         for (int i = 0; i < n; ++i) {
                           MTH_CLUSTERING_SAMPLE sample(&value, 1, start, 16);
                           engine.AddEvidentialSample(&sample);
                         }
                         engine.SetIterationsCount(1);
                         engine.ApplyEvidentialFuzzyCMeanClustering();  // which makes the hypotheses
                         engine.SetCredalPartition(masses.get());
                         operation(engine, masses.get());
                       };
                     }});
  };
  addOfMasses("a credal partition", 100000, [](E&, MTH_MATRIX*) {});
  addOfMasses("pignistic and plausibility", 100000, [](E& e, MTH_MATRIX*) {
    e.initPignisticPartition();
    e.initPlausibilityPartition();
    for (int i = 0; i < e.GetSamplesCount(); ++i) e.MaxPignisticDecision(i);
  });
  addOfMasses("beliefs", 100000, [](E& e, MTH_MATRIX*) {
    for (int i = 0; i < e.GetSamplesCount(); ++i) e.MaxBeliefDecision(i);
  });
  addOfMasses("distances to hypotheses, and questions of them", 50000, [](E& e, MTH_MATRIX*) {
    MTH_MATRIX metric(1, 1, 0);
    metric.SetIdentity();
    std::vector<int> shared;
    e.OutlierProportion();
    e.CalculCentresHypotheses();
    for (int i = 0; i < e.GetSamplesCount(); ++i) {
      e.GetSampleDistanceToHypothese(i, 5);
      e.GetSampleMahalanobisDistanceToHypothese(i, 5, &metric);
      e.BelongsToHypothese(i % 16, 1);
      shared.clear();
      e.HypotheseIntersection(i % 16, 7, &shared);
      e.findHypothese(&shared);
    }
  });
  addOfMasses("decisions", 100000, [](E& e, MTH_MATRIX*) {
    MTH_MATRIX row(1, 16, 0);
    e.initPignisticPartition();
    for (int i = 0; i < e.GetSamplesCount(); ++i) {
      e.PignisticDecision(i, 0.3);
      e.MaxMembershipDecision(i);
      row.Set(0, i % 16, e.GetBeliefValue(i, i % 16));
      e.WeakenCredalFunction(&row, 0.5);
    }
  });
  addOfMasses("weakening", 100000, [](E& e, MTH_MATRIX*) { e.WeakenCredalPartition(0.5); });
  addOfMasses("conjunctive fusion", 100000, [](E& e, MTH_MATRIX* m) { Free(e.CredalConjFusion(m)); });
  addOfMasses("exact conjunctive fusion", 100000,
              [](E& e, MTH_MATRIX* m) { Free(e.CredalConjFusionExact(m)); });
  addOfMasses("Dempster fusion", 100000, [](E& e, MTH_MATRIX* m) { Free(e.DempsterFusion(m)); });
  addOfMasses("exact Dempster fusion", 100000, [](E& e, MTH_MATRIX* m) { Free(e.DempsterFusionExact(m)); });
  for (const double m : {0.0, 1.8, 2.0}) {
    cases.push_back({"clustering/step of a part" + std::string(m == 0.0   ? ""
                                                               : m == 2.0 ? ", m = 2"
                                                                          : ", m = 1.8"),
                     1000000, [m](Kind kind, int n) -> Run {
                       return [x = Make(kind, n), n, m] {
                         MTH_CLUSTERING_PART part(3, 1);
                         part.SetSamples(x.data(), n);
                         Values centroids{60.0, 90.0, 120.0};
                         Values sums(6);
                         double change = 0.0;
                         for (int step = 0; step < 3; ++step) {
                           if (m == 0.0) part.StepKMeans(centroids.data(), sums.data(), &change);
                           if (m != 0.0) part.StepFuzzyCMeans(centroids.data(), m, sums.data(), &change);
                           Mth_MoveCentroids(sums.data(), 3, 1, centroids.data());
                         }
                       };
                     }});
  }
  cases.push_back({"clustering/tissues of two channels", 48, [](Kind kind, int n) -> Run {
                     return [x = Make<float>(kind, n * n * n), y = Make<float>(Kind::Ordinary, n * n * n, 2),
                             n] {
                       const float* channels[] = {x.data(), y.data()};
                       MTH_TISSUE_CLUSTERING(3).SegmentChannels(channels, 2, n, n, n, nullptr);
                     };
                   }});
  cases.push_back({"clustering/tissues of a part", 64, [](Kind kind, int n) -> Run {
                     return [x = Make<float>(kind, n * n * n), n] {
                       MTH_TISSUE_CLUSTERING settings(3);
                       MTH_TISSUE_PART part(settings);
                       MTH_TISSUE_MEANS means(3);
                       Values range(3);
                       Values sums(6);
                       part.SetImage(x.data(), n, n, n, nullptr);
                       if (!part.GetRange(range.data()) || !means.AddRange(range.data())) return;
                       while (part.Step(means, sums.data())) means.Move(sums.data());
                       part.Finish(means, &settings);
                     };
                   }});
  cases.push_back({"clustering/tissues", 64, [](Kind kind, int n) -> Run {
                     return [x = Make<float>(kind, n * n * n), n] {
                       MTH_TISSUE_CLUSTERING(3).Segment(x.data(), n, n, n, nullptr);
                     };
                   }});
  using B = MTH_CLUSTERING_ADABOOST;
  const std::pair<const char*, bool (B::*)(Values, B::CELLS*, double*)> trainings[] = {
      {"Real", &B::RealAdaBoostClustering},
      {"Modest", &B::ModestAdaBoostClustering},
      {"Gentle", &B::GentleAdaBoostClustering}};
  for (const auto& [name, training] : trainings) {
    cases.push_back({std::string("boosting/") + name, 20000, [train = training](Kind kind, int n) -> Run {
                       const auto features = MakeMatrix(kind, 4, n);
                       const auto labels = MakeMatrix(Kind::AllEqual, 1, n);
                       for (int i = 0; i < n; ++i)
                         labels->Set(0, i, features->Get(0, i) + features->Get(1, i) > 200.0 ? 1.0 : -1.0);
                       return [=] {
                         MTH_CLUSTERING_TREE tree(2);
                         B boosting(features.get(), labels.get(), 10, &tree);
                         (boosting.*train)({}, nullptr, nullptr);
                         delete[] boosting.Classify(features.get());
                         B::DeleteCells(boosting.GetCells());
                       };
                     }});
  }
}
