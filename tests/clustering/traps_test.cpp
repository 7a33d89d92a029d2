#include <gtest/gtest.h>

#include <cfenv>
#include <cmath>

#include "clustering/credal_cases.h"
#include "mth/core/Mth_instruction_set_internal.h"

#if defined(__GLIBC__)

// Hosts may unmask the traps of floating-point arithmetic: ordinary input, samples on centroids and in
// backgrounds of 0 included, then ends no process.

namespace mth_test {
namespace {

using mth_internal::InstructionSet;

class UnmaskedTraps {
 public:
  UnmaskedTraps() {
    std::feclearexcept(FE_ALL_EXCEPT);
    feenableexcept(FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW);
  }
  ~UnmaskedTraps() { fedisableexcept(FE_ALL_EXCEPT); }
  UnmaskedTraps(const UnmaskedTraps&) = delete;
  UnmaskedTraps& operator=(const UnmaskedTraps&) = delete;
};

// Half of the samples are 0, and so is a centroid; others lie on the second one.
Engine Background(int dimensions) {
  auto engine = std::make_unique<MTH_CLUSTERING>(3, dimensions);
  std::vector<double> row(static_cast<std::size_t>(dimensions));
  for (int i = 0; i < 77; ++i) {
    std::fill(row.begin(), row.end(), i % 2 == 0 ? 0.0 : i % 3 == 0 ? 50.0 : 20.0 + i);
    EXPECT_TRUE(engine->AddSamples(row.data(), 1));
  }
  for (int k = 0; k < 3; ++k) {
    std::fill(row.begin(), row.end(), 50.0 * k);
    engine->InitialiseCentroid(k, row.data(), dimensions);
  }
  engine->SetIterationsCount(4);
  return engine;
}

TEST(ClusteringTraps, OrdinaryInputRaisesNone) {
  for (auto set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
    const mth_internal::InstructionSetScope scope(set);
    for (const int dimensions : {1, 2, 5}) {
      for (const double m : {1.5, 1.8, 2.0, 3.0}) {
        const Engine fuzzy = Background(dimensions);
        const Engine evidential = Background(dimensions);
        fuzzy->SetRegulationValue(m);
        evidential->SetRegulationValue(m);
        const UnmaskedTraps traps;
        EXPECT_GE(fuzzy->ApplyFuzzyCMeanClustering(), 0.0);
        EXPECT_EQ(evidential->ApplyEvidentialFuzzyCMeanClustering(), 1.0);
        EXPECT_TRUE(evidential->initPignisticPartition());
        EXPECT_TRUE(evidential->initPlausibilityPartition());
        EXPECT_GE(fuzzy->ApplyKMeanClustering(), 0.0);
        EXPECT_TRUE(fuzzy->InitialiseCentroidsFromSamples(MTH_CENTROID_START::PlusPlus));
      }
    }
    for (const int clusters : {2, 5, 7}) {
      const MTH_MATRIX first = RandomMasses(11, clusters, 1);
      MTH_MATRIX second = RandomMasses(11, clusters, 2);
      const Engine engine = WithMasses(first, clusters);
      const UnmaskedTraps traps;
      EXPECT_NE(MatrixPtr(engine->CredalConjFusion(&second)), nullptr);
      EXPECT_NE(MatrixPtr(engine->CredalConjFusionExact(&second)), nullptr);
      EXPECT_NE(MatrixPtr(engine->DempsterFusion(&second)), nullptr);
      EXPECT_NE(MatrixPtr(engine->DempsterFusionExact(&second)), nullptr);
    }
  }
}

}  // namespace
}  // namespace mth_test

#endif
