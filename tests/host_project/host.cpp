#include <mth/Mth.h>
#include <std/Std.h>

#include <cstdio>
#include <memory>

// The program of the README: clusters six grey levels into two tissues.
int main() {
  MTH_CLUSTERING engine(2, 1);
  double membership[2] = {0.0, 0.0};
  for (double grey : {10.0, 11.0, 12.0, 80.0, 81.0, 82.0}) {
    MTH_CLUSTERING_SAMPLE sample(&grey, 1, membership, 2);
    engine.AddSample(&sample);  // the engine keeps a copy
  }
  double dark = 0.0;
  double bright = 100.0;
  engine.InitialiseCentroid(0, &dark, 1);
  engine.InitialiseCentroid(1, &bright, 1);
  engine.ApplyFuzzyCMeanClustering();

  for (int k = 0; k < engine.GetClustersCount(); ++k) {
    std::printf("tissue %d: grey level %.1f\n", k, engine.GetCentroid(k)->Get(0, 0));
  }
  const std::unique_ptr<MTH_MATRIX> transposed(engine.GetCentroid(0)->Transpose());  // results are yours
  return transposed->IsAllocated() && engine.MaxMembershipDecision(5) == 1 ? 0 : 1;
}
