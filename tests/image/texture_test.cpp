#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <random>
#include <string>
#include <utility>

#include "literal_texture.h"
#include "mth/core/Mth_instruction_set_internal.h"
#include "mth/image/Mth_texture.h"
#include "support/matrices.h"
#include "support/values.h"

namespace {

using mth_test::kInfinity;
using mth_test::kNaN;

using mth_internal::InstructionSet;
using mth_test::kDouble;
using mth_test::kFloat;

double HomogeneityAsDouble(MTH_MATRIX* p) {
  return static_cast<double>(Mth_Homogeneity(p));
}

struct Feature {
  const char* name;
  double (*compute)(MTH_MATRIX*);
  double (*literal)(const MTH_MATRIX&);
  bool hasLogarithms;  // the literal one takes the C library's, which are not the same to the last bit
};

const Feature kFeatures[] = {
    {"contrast", Mth_Contrast, mth_test::LiteralContrast, false},
    {"homogeneity", HomogeneityAsDouble, mth_test::LiteralHomogeneity, false},
    {"energy", Mth_Energy, mth_test::LiteralEnergy, false},
    {"mean", Mth_Mean, mth_test::LiteralMean, false},
    {"variance", Mth_Variance, mth_test::LiteralVariance, false},
    {"entropy", Mth_Entropy, mth_test::LiteralEntropy, true},
    {"correlation", Mth_Correlation, mth_test::LiteralCorrelation, false},
    {"mean of sums", Mth_MeanSum, mth_test::LiteralMeanSum, false},
    {"variance of sums", Mth_VarSum, mth_test::LiteralVarSum, false},
    {"entropy of sums", Mth_EntSum, mth_test::LiteralEntSum, true},
    {"variance of differences", Mth_VarDifferences, mth_test::LiteralVarDifferences, false},
    {"entropy of differences", Mth_EntDifferences, mth_test::LiteralEntDifferences, true},
    {"information 1", Mth_CorrelationInfo1, mth_test::LiteralCorrelationInfo1, true},
    {"information 2", Mth_CorrelationInfo2, mth_test::LiteralCorrelationInfo2, true},
};

bool IsSame(double a, double b) {
  return (std::isnan(a) && std::isnan(b)) || std::memcmp(&a, &b, sizeof a) == 0;
}

// A matrix of sum 1 with that share of zeros, and with whole rows of zeros.
MTH_MATRIX RandomDistribution(int rows, int columns, int type, double zeros, unsigned seed) {
  std::mt19937 engine(seed);
  std::uniform_real_distribution<double> uniform(0.0, 1.0);
  const double mean = 2.0 / (rows * columns * (1.0 - zeros));
  return mth_test::FromRule(rows, columns, type, [&](int i, int) {
    const bool isZero = uniform(engine) < zeros || (zeros > 0.0 && i % 5 == 3);
    return isZero ? 0.0 : mean * uniform(engine);
  });
}

void CheckAgainstLiteral(const MTH_MATRIX& matrix, const std::string& what) {
  constexpr double kLogarithmTolerance = 1e-12;  // of thousands of terms and the differences of their sums
  for (const Feature& feature : kFeatures) {
    SCOPED_TRACE(what + ", " + feature.name);
    MTH_MATRIX p = matrix;
    const double expected = feature.literal(p);
    const double value = feature.compute(&p);
    if (feature.hasLogarithms && std::isfinite(expected)) {
      EXPECT_NEAR(value, expected, kLogarithmTolerance * (1.0 + std::abs(expected)));
    } else {
      EXPECT_TRUE(IsSame(value, expected)) << value << ", expected " << expected;
    }
    for (const auto set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
      const mth_internal::InstructionSetScope scope(set);
      EXPECT_TRUE(IsSame(feature.compute(&p), value)) << static_cast<int>(set);
    }
    EXPECT_TRUE(mth_test::SameBits(p, matrix));
  }
}

TEST(Texture, EveryFeatureIsThatOfThePlainLoopsOnEveryInstructionSet) {
  unsigned seed = 40;
  for (const auto& [rows, columns] : {std::pair{1, 1},
                                      {1, 4},
                                      {4, 1},
                                      {2, 2},
                                      {3, 5},
                                      {5, 3},
                                      {8, 8},
                                      {3, 17},
                                      {17, 3},
                                      {64, 64},
                                      {70, 129},
                                      {129, 70}}) {
    for (const int type : {kDouble, kFloat}) {
      for (const double zeros : {0.0, 0.7, 0.98}) {
        ++seed;
        CheckAgainstLiteral(
            RandomDistribution(rows, columns, type, zeros, seed),
            std::to_string(rows) + " x " + std::to_string(columns) + ", seed " + std::to_string(seed));
      }
    }
  }
}

// What a caller should not hand over has the value of the formula all the same.
TEST(Texture, UnusualElementsGoThroughTheFormulas) {
  for (const double unusual : {kNaN, kInfinity, -kInfinity, -0.25, -0.0, 1e300, 5e-324}) {
    for (const int type : {kDouble, kFloat}) {
      MTH_MATRIX p = RandomDistribution(9, 9, type, 0.6, 77);
      p.Set(4, 6, unusual);
      CheckAgainstLiteral(p, "with " + std::to_string(unusual));
    }
  }
  CheckAgainstLiteral(mth_test::FromRule(6, 6, kDouble, [](int, int) { return 0; }), "zeros");
  // Rows and stretches of zeros, whose other factors are not finite: 0 times infinity counts.
  for (const double large : {1e200, 1e300, kInfinity}) {
    const auto isLarge = [](int i, int j) { return (i == 2 && j == 0) || (i == 7 && j >= 128); };
    CheckAgainstLiteral(
        mth_test::FromRule(9, 1, kDouble, [&](int i, int j) { return isLarge(i, j) ? large : 0.0; }),
        "one large row");
    CheckAgainstLiteral(
        mth_test::FromRule(9, 140, kDouble, [&](int i, int j) { return isLarge(i, j) ? large : 0.0; }),
        "large elements among zeros");
  }
}

TEST(Texture, HaralicksImage) {
  struct Case {
    const char* angle;
    MTH_MATRIX counts;
    double pairs;
    double contrast;
    double energy;
    double homogeneity;
  };
  const Case cases[] = {
      {"0", mth_test::Matrix({{4, 2, 1, 0}, {2, 4, 0, 0}, {1, 0, 6, 1}, {0, 0, 1, 2}}), 24, 7.0 / 12.0,
       84.0 / 576.0, 19.4 / 24.0},
      {"45", mth_test::Matrix({{4, 1, 0, 0}, {1, 2, 2, 0}, {0, 2, 4, 1}, {0, 0, 1, 0}}), 18, 4.0 / 9.0,
       48.0 / 324.0, 14.0 / 18.0},
      {"90", mth_test::Matrix({{6, 0, 2, 0}, {0, 4, 2, 0}, {2, 2, 2, 2}, {0, 0, 2, 0}}), 24, 1.0,
       80.0 / 576.0, 16.8 / 24.0},
      {"135", mth_test::Matrix({{2, 1, 3, 0}, {1, 2, 1, 0}, {3, 1, 0, 2}, {0, 0, 2, 0}}), 18, 16.0 / 9.0,
       38.0 / 324.0, 9.2 / 18.0},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.angle);
    const mth_test::MatrixPtr p(test.counts * (1.0 / test.pairs));
    EXPECT_NEAR(Mth_Mean(p.get()), 1.0, 1e-15);
    EXPECT_NEAR(Mth_Contrast(p.get()), test.contrast, 1e-15);
    EXPECT_NEAR(Mth_Energy(p.get()), test.energy, 1e-15);
    EXPECT_NEAR(Mth_Homogeneity(p.get()), test.homogeneity, 1e-6);
  }
}

// Levels that always meet themselves tell all of each other; those that meet by chance tell nothing.
TEST(Texture, InformationMeasuresAtTheirEnds) {
  for (const int n : {2, 5, 16, 100}) {
    MTH_MATRIX same = mth_test::FromRule(n, n, kDouble, [n](int i, int j) { return i == j ? 1.0 / n : 0.0; });
    EXPECT_NEAR(Mth_CorrelationInfo1(&same), -1.0, 1e-13) << n;
    EXPECT_NEAR(Mth_CorrelationInfo2(&same), std::sqrt(1.0 - 1.0 / (n * n)), 1e-13) << n;
    MTH_MATRIX chance = mth_test::FromRule(n, n, kDouble, [n](int i, int j) {
      return 4.0 * (i + 1) * (n - j) / (n * n * (n + 1.0) * (n + 1.0));
    });
    EXPECT_NEAR(Mth_CorrelationInfo1(&chance), 0.0, 1e-13) << n;
  }
}

TEST(Texture, WithoutElementsSumsAreZero) {
  MTH_MATRIX unallocated;
  MTH_MATRIX empty(0, 0, kFloat);
  MTH_MATRIX noColumns(3, 0, kDouble);
  for (MTH_MATRIX* p : {static_cast<MTH_MATRIX*>(nullptr), &unallocated, &empty, &noColumns}) {
    for (const Feature& feature : kFeatures) {
      const double value = feature.compute(p);
      const std::string name = feature.name;
      if (name == "correlation" || name == "information 1") {
        EXPECT_TRUE(std::isnan(value)) << name;
      } else {
        EXPECT_EQ(value, 0.0) << name;
      }
    }
  }
}

}  // namespace
