// k-means and fuzzy c-means of samples, which lie one after the other.

#include <emscripten/bind.h>

#include "bundle.h"
#include "display.h"
#include "mth/clustering/Mth_clustering.h"

namespace mth_web {

namespace {

using emscripten::val;

MTH_CENTROID_START StartOf(const std::string& name) {
  if (name == "farthest") return MTH_CENTROID_START::FarthestFirst;
  return name == "k-means++" ? MTH_CENTROID_START::PlusPlus : MTH_CENTROID_START::Quantiles;
}

void SetStart(MTH_CLUSTERING& engine, const val& options) {
  const val init = options["init"];
  if (init.isString()) {
    if (!engine.InitialiseCentroidsFromSamples(StartOf(init.as<std::string>()), options["seed"].as<int>()))
      throw BadInput("there are fewer different samples than the " +
                     std::to_string(engine.GetClustersCount()) + " clusters");
    return;
  }
  const auto centroids = emscripten::convertJSArrayToNumberVector<double>(init);
  const int dimensions = engine.GetDimensionsCount();
  for (int k = 0; k < engine.GetClustersCount(); ++k)
    engine.InitialiseCentroid(k, &centroids[static_cast<std::size_t>(k * dimensions)], dimensions);
}

void AddClusters(const MTH_CLUSTERING& engine, Bundle& found) {
  const int dimensions = engine.GetDimensionsCount();
  double* centroids =
      found.Add<double>("centroids", static_cast<std::size_t>(engine.GetClustersCount() * dimensions));
  for (int k = 0; k < engine.GetClustersCount(); ++k) {
    for (int d = 0; d < dimensions; ++d) *centroids++ = engine.GetCentroid(k)->Get(d, 0);
  }
  engine.GetDecisions(found.Add<std::int32_t>("labels", static_cast<std::size_t>(engine.GetSamplesCount())));
}

Bundle* Cluster(double samples, int count, int features, bool isFuzzy, const val& options) {
  return Guarded([&](Bundle& found) {
    Display().SetListener(options["progress"]);
    MTH_CLUSTERING engine(options["clusters"].as<int>(), features);
    if (!engine.AddSamples(At<const double>(samples), count)) throw std::bad_alloc();
    engine.SetDiagnosticPrefix("");
    engine.SetIterationsCount(options["iterations"].as<int>());
    engine.SetTolerance(options["tolerance"].as<double>());
    engine.SetRegulationValue(options["fuzzifier"].as<double>());
    SetStart(engine, options);
    Display().Forget();
    const double change = isFuzzy ? engine.ApplyFuzzyCMeanClustering() : engine.ApplyKMeanClustering();
    // Centroids that all coincide are a result, if a poor one: the reason tells.
    const MTH_STOP_REASON reason = engine.GetStopReason();
    if (reason != MTH_STOP_REASON::BadInput || Display().GetStepsDone() == 0)
      RequireRun(reason, "the input does not allow a run");
    AddClusters(engine, found);
    if (isFuzzy) {
      const auto shares =
          static_cast<std::size_t>(count) * static_cast<std::size_t>(engine.GetClustersCount());
      engine.GetMemberships(found.Add<double>("memberships", shares));
    }
    found.AddNumber("change", change);
    found.AddNumber("iterations", Display().GetStepsDone());
    found.AddText("reason", ReasonName(reason));
  });
}

}  // namespace

EMSCRIPTEN_BINDINGS(mth_clustering) {
  emscripten::function("cluster", &Cluster, emscripten::allow_raw_pointers());
}

}  // namespace mth_web
