#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <fstream>
#include <iterator>
#include <limits>
#include <numbers>
#include <random>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "mth/statistics/Mth_descriptive.h"
#include "mth/statistics/Mth_descriptive_internal.h"
#include "mth/statistics/Mth_sort.h"
#include "mth/statistics/Mth_special_functions.h"
#include "statistics/statistics_cases.h"
#include "support/allocation_faults.h"
#include "support/cancelling_display.h"
#include "support/matrices.h"
#include "support/recording_display.h"
#include "support/values.h"

namespace {

using mth_test::kNaN;

using mth_test::Matrix;
using mth_test::MatrixPtr;
using mth_test::Size;
using mth_test::Spearman;
using mth_test::Values;

constexpr double kLargest = std::numeric_limits<double>::max();

// The numbers of a file of NIST's reference data sets after its line that starts with this text.
Values ReadReference(const std::string& name, const std::string& lastHeaderLine) {
  std::ifstream file(MTH_DATA_DIR "/reference/" + name);
  std::string line;
  while (std::getline(file, line) && line.rfind(lastHeaderLine, 0) != 0) {
  }
  Values values;
  while (std::getline(file, line)) {
    std::istringstream numbers(line);
    for (double value = 0.0; numbers >> value;) values.push_back(value);
  }
  return values;
}

MTH_MATRIX ColumnOf(const Values& values, int type = mth_test::kDouble) {
  return mth_test::FromRule(Size(values), 1, type,
                            [&](int i, int) { return values[static_cast<std::size_t>(i)]; });
}

// The elements row after row.
Values ElementsOf(MTH_MATRIX* matrix) {
  const MatrixPtr owned(matrix);
  Values elements;
  for (int i = 0; owned != nullptr && i < owned->GetNbRows(); ++i) {
    for (int j = 0; j < owned->GetNbCols(); ++j) elements.push_back(owned->Get(i, j));
  }
  return elements;
}

TEST(Descriptive, MeetsTheCertifiedMomentsOfNist) {
  struct Case {
    const char* file;
    const char* lastHeaderLine;
    std::size_t count;
    double mean;
    double sampleDeviation;
    double tolerance;  // of the one-pass deviation, which loses the digits that mean and values share
  };
  const Case cases[] = {{"Lew.txt", "# Data", 200, -177.435, 277.332168044316, 1e-14},
                        {"Michelso.txt", "---", 100, 299.8524, 0.0790105478190518, 1e-8}};
  for (const Case& c : cases) {
    Values values = ReadReference(c.file, c.lastHeaderLine);
    ASSERT_EQ(values.size(), c.count) << c.file;
    const double population = c.sampleDeviation * std::sqrt((Size(values) - 1.0) / Size(values));
    EXPECT_NEAR(Mth_Mean(values.data(), Size(values)), c.mean, 1e-14 * std::abs(c.mean));
    EXPECT_NEAR(Mth_StdDeviation(values.data(), Size(values)), population, c.tolerance * population);
    EXPECT_EQ(Mth_Mean(values), Mth_Mean(values.data(), Size(values)));
    EXPECT_EQ(Mth_StdDeviation(values), Mth_StdDeviation(values.data(), Size(values)));
    MTH_MATRIX column = ColumnOf(values);
    EXPECT_NEAR(ElementsOf(Mth_StdDeviationVector(&column)).at(0), c.sampleDeviation,
                2e-13 * c.sampleDeviation);
  }
}

TEST(Descriptive, FitsTheCertifiedLineOfNist) {
  const Values pairs = ReadReference("Norris.dat", "Data:       y");
  ASSERT_EQ(pairs.size(), 72u);
  Values x;
  Values y;
  for (std::size_t i = 0; i < pairs.size(); i += 2) {
    y.push_back(pairs[i]);
    x.push_back(pairs[i + 1]);
  }
  constexpr double kSlope = 1.00211681802045;
  EXPECT_NEAR(Mth_Pente(x.data(), y.data(), 36), kSlope, 1e-13);
  EXPECT_EQ(Mth_Pente(x, y), Mth_Pente(x.data(), y.data(), 36));
  double meanX, varX, meanY, varY, covXY, r, slope, prob;
  Mth_StatisticalCriterionCalculations(x.data(), y.data(), 36, &meanX, &varX, &meanY, &varY, &covXY, &r,
                                       &slope, &prob);
  EXPECT_NEAR(slope, kSlope, 1e-12);
  EXPECT_NEAR(r * r, 0.999993745883712, 1e-12);
  EXPECT_NEAR(meanY - slope * meanX, -0.262323073774029, 1e-9);
  EXPECT_NEAR(varY * 35.0, 4255954.13232369 + 26.6173985294224, 1e-5);  // the two sums of squares
  Mth_StatisticalCriterionCalculations(y.data(), y.data(), 36, &meanX, &varX, &meanY, &varY, &covXY, &r,
                                       &slope, &prob);
  EXPECT_EQ(r, 1.0);
}

TEST(Descriptive, SlopesOfEveryNumberTypeAreComputedInDouble) {
  int ix[] = {std::numeric_limits<int>::min(), 0, std::numeric_limits<int>::max()};
  int iy[] = {std::numeric_limits<int>::max(), 0, -std::numeric_limits<int>::max()};
  EXPECT_NEAR(Mth_Pente(ix, iy, 3), -1.0, 1e-9);
  float fx[] = {0.0f, 1e30f, 2e30f};  // their squares are beyond float
  float fy[] = {1.0f, 2.0f, 3.0f};
  EXPECT_NEAR(Mth_Pente(fx, fy, 3), 1e-30, 1e-37);
  EXPECT_TRUE(std::isnan(Mth_Pente(Values{2, 2, 2}, Values{1, 1, 1})));
  EXPECT_EQ(Mth_Pente(Values{0, 1, 2}, Values{0, 3, 6, 100}), 3.0);
  EXPECT_EQ(Mth_Pente(Values{0, 1, 2}, Values{0, 3}), 3.0);
}

TEST(Descriptive, StartValuesAndDivisorsAreThoseDocumented) {
  struct Case {
    Values values;
    double mean, deviation, smallest;
    int indexOfSmallest, indexOfLargest;
  };
  const Case cases[] = {{{}, 0, 0, kLargest, 0, 0},
                        {{2, 4}, 3, 1, 2, 0, 1},
                        {{2000, 3000}, 2500, 500, 2000, 0, 1},
                        {{-5, -1}, -3, 2, -5, 0, 0},
                        {{1, 3, 3, 1}, 2, 1, 1, 0, 1},
                        {{1000, 999, 999, 1003}, 1000.25, std::sqrt(2.6875), 999, 1, 3}};
  for (Case c : cases) {
    c.values.reserve(1);  // of no values not the null array
    double* const x = c.values.data();
    const int n = Size(c.values);
    EXPECT_DOUBLE_EQ(Mth_Mean(x, n), c.mean) << n;
    EXPECT_DOUBLE_EQ(Mth_StdDeviation(x, n), c.deviation) << n;
    EXPECT_EQ(Mth_Min(x, n), c.smallest) << n;
    EXPECT_EQ(Mth_Min(c.values), c.smallest) << n;
    EXPECT_EQ(Mth_Ind_Min(x, n), c.indexOfSmallest) << n;
    EXPECT_EQ(Mth_Ind_Max(x, n), c.indexOfLargest) << n;
  }
  EXPECT_EQ(Mth_Min(Values{kNaN, 3, 2, kNaN}), 2.0);
  // 5 (5 x 0.7^2) is less than (5 x 0.7)^2 once rounded.
  EXPECT_TRUE(std::isnan(Mth_StdDeviation(Values(5, 0.7))));
}

TEST(Descriptive, MeansAndCovariancesAreThePlainSums) {
  std::mt19937 engine(41);
  std::normal_distribution<double> normal(5.0, 2.0);
  for (const short d : std::vector<short>{1, 2, 3, 4, 5, 8, 9}) {
    for (const int n : {1, 2, 77}) {
      const auto dimensions = static_cast<std::size_t>(d);
      const auto count = static_cast<std::size_t>(n);
      std::vector<Values> x(dimensions, Values(count));
      std::vector<Values> y(dimensions, Values(count));
      std::vector<double*> rowsX, rowsY;
      Values meansX, meansY;
      for (std::size_t i = 0; i < dimensions; ++i) {
        for (double& value : x[i]) value = normal(engine);
        for (double& value : y[i]) value = normal(engine);
        rowsX.push_back(x[i].data());
        rowsY.push_back(y[i].data());
        meansX.push_back(Mth_Mean(x[i]));
        meansY.push_back(Mth_Mean(y[i]));
      }
      Values means(dimensions);
      Mth_MeanVector(rowsX.data(), n, d, means.data());
      EXPECT_EQ(means, meansX);
      Mth_MeanVector(rowsY.data(), static_cast<short>(n), d, means.data());
      EXPECT_EQ(means, meansY);
      Mth_MeanVector(rowsX.data(), 0, d, means.data());
      EXPECT_EQ(means, meansY);  // nothing written

      Values expected;
      for (std::size_t i = 0; i < dimensions; ++i) {
        for (std::size_t j = 0; j < dimensions; ++j) {
          double sum = 0.0;
          for (std::size_t k = 0; k < count; ++k) sum += x[i][k] * y[j][k];
          expected.push_back(sum * (1.0 / n) - meansX[i] * meansY[j]);
        }
      }
      EXPECT_EQ(ElementsOf(Mth_CovarianceMatrix(rowsX.data(), rowsY.data(), n, d)), expected)
          << d << ' ' << n;
      EXPECT_EQ(ElementsOf(Mth_CovarianceMatrix(rowsX.data(), rowsY.data(), static_cast<short>(n), d)),
                expected);
    }
  }
}

TEST(Descriptive, CovariancesOfManyDimensionsCanBeCancelled) {
  constexpr short kDimensions = 120;
  constexpr int kSamples = 3000;
  const std::vector<double> values(kSamples, 1.0);
  const std::vector<const double*> rows(kDimensions, values.data());
  const mth_test::CancellingDisplay display(1);
  EXPECT_EQ(Mth_CovarianceMatrix(rows.data(), rows.data(), kSamples, kDimensions), nullptr);
  EXPECT_EQ(display.questions, 1);
}

TEST(Descriptive, ColumnsKeepTheElementTypeAndTheSampleDivisor) {
  for (const int type : {mth_test::kDouble, mth_test::kFloat}) {
    MTH_MATRIX m = Matrix({{2, 1, -7}, {4, 1, 2}}, type);
    const MatrixPtr means(Mth_MeanVector(&m));
    const MatrixPtr deviations(Mth_StdDeviationVector(&m));
    EXPECT_EQ(means->GetType(), type);
    EXPECT_EQ(deviations->GetType(), type);
    EXPECT_TRUE(mth_test::Near(*means, Matrix({{3, 1, -2.5}}, type), 0.0));
    EXPECT_TRUE(
        mth_test::Near(*deviations, Matrix({{std::numbers::sqrt2, 0, std::sqrt(40.5)}}, type), 1e-15));
  }
  MTH_MATRIX one = Matrix({{3}});
  EXPECT_TRUE(std::isnan(ElementsOf(Mth_StdDeviationVector(&one)).at(0)));
  MTH_MATRIX unallocated;
  for (MTH_MATRIX* none : {static_cast<MTH_MATRIX*>(nullptr), &unallocated}) {
    EXPECT_EQ(Mth_MeanVector(none), nullptr);
    EXPECT_EQ(Mth_StdDeviationVector(none), nullptr);
    EXPECT_EQ(Mth_Opt_Matrix(none), nullptr);
    EXPECT_EQ(Mth_Median(none), 0.0);
  }
}

// Beside the published forms, which a literal null pointer still finds.
TEST(Descriptive, ConstantArraysAreTakenToo) {
  Values x{3, 1, 4, 1, 5};
  Values y{2, 7, 1, 8, 2};
  const Values& cx = x;
  const Values& cy = y;
  EXPECT_EQ(Mth_Mean(nullptr, 0), 0.0);
  EXPECT_EQ(Mth_Mean(cx.data(), 5), Mth_Mean(x.data(), 5));
  EXPECT_EQ(Mth_StdDeviation(cx.data(), 5), Mth_StdDeviation(x.data(), 5));
  EXPECT_EQ(Mth_Min(cx.data(), 5), 1.0);
  EXPECT_EQ(Mth_Ind_Min(cx.data(), 5), 1);
  EXPECT_EQ(Mth_Ind_Max(cx.data(), 5), 4);
  EXPECT_EQ(Mth_Pente(cx.data(), cy.data(), 5), Mth_Pente(x.data(), y.data(), 5));
  const double* rows[] = {cx.data(), cy.data()};
  double* published[] = {x.data(), y.data()};
  double means[2];
  Mth_MeanVector(rows, 5, short{2}, means);
  EXPECT_EQ(means[1], Mth_Mean(y.data(), 5));
  EXPECT_EQ(ElementsOf(Mth_CovarianceMatrix(rows, rows, 5, 2)),
            ElementsOf(Mth_CovarianceMatrix(published, published, 5, 2)));
  double out[2][8];
  Mth_StatisticalCriterionCalculations(cx.data(), cy.data(), 5, &out[0][0], &out[0][1], &out[0][2],
                                       &out[0][3], &out[0][4], &out[0][5], &out[0][6], &out[0][7]);
  Mth_StatisticalCriterionCalculations(x.data(), y.data(), 5, &out[1][0], &out[1][1], &out[1][2], &out[1][3],
                                       &out[1][4], &out[1][5], &out[1][6], &out[1][7]);
  EXPECT_EQ(std::to_array(out[0]), std::to_array(out[1]));
  Mth_CorrelationRatioOfSpearman(cx.data(), cy.data(), 5, &out[0][0], &out[0][1], &out[0][2], &out[0][3],
                                 &out[0][4]);
  EXPECT_EQ(out[0][3], Spearman(x, y).rs);
}

TEST(Descriptive, OutputsThatShareAPlaceDoNotMix) {
  Values x = {1, 2, 3, 4, 5, 6};
  Values y = {2, 1, 4, 3, 7, 5};
  double out[8];
  Mth_StatisticalCriterionCalculations(x.data(), y.data(), 6, out, out + 1, out + 2, out + 3, out + 4,
                                       out + 5, out + 6, out + 7);
  double dummy, r, slope, prob;
  Mth_StatisticalCriterionCalculations(x.data(), y.data(), 6, &dummy, &dummy, &dummy, &dummy, &dummy, &r,
                                       &slope, &prob);
  EXPECT_EQ(r, out[5]);
  EXPECT_EQ(slope, out[6]);
  EXPECT_EQ(prob, out[7]);
  const Spearman expected(x, y);
  double rs, probrs;
  Mth_CorrelationRatioOfSpearman(x.data(), y.data(), 6, &dummy, &dummy, &dummy, &rs, &probrs);
  EXPECT_EQ(rs, expected.rs);
  EXPECT_EQ(probrs, expected.probrs);
  double ranks[] = {1, 1, 2};
  Mth_ReplaceByRank(3, ranks, ranks);
  EXPECT_EQ(ranks[0], 6.0);
}

TEST(Descriptive, NullArraysCountAsEmptyAndGetNothing) {
  double* const none = nullptr;
  double x[] = {1, 2, 3};
  EXPECT_EQ(Mth_Mean(none, 3), 0.0);
  EXPECT_EQ(Mth_StdDeviation(none, 3), 0.0);
  EXPECT_EQ(Mth_Min(none, 3), kLargest);
  EXPECT_EQ(Mth_Ind_Min(none, 3) + Mth_Ind_Max(none, 3), 0);
  EXPECT_TRUE(std::isnan(Mth_Pente(x, none, 3)) && std::isnan(Mth_Pente(none, x, 3)));

  double* whole[] = {x, x};
  double* broken[] = {x, none};
  double means[] = {-9, -9};
  Mth_MeanVector(nullptr, 3, 2, means);
  Mth_MeanVector(whole, 3, 2, nullptr);
  EXPECT_EQ(means[0], -9.0);
  Mth_MeanVector(broken, 3, 2, means);
  EXPECT_EQ(std::pair(means[0], means[1]), std::pair(2.0, 0.0));
  for (double** rows : {static_cast<double**>(nullptr), broken}) {
    EXPECT_EQ(Mth_CovarianceMatrix(rows, whole, 3, 2), nullptr);
    EXPECT_EQ(Mth_CovarianceMatrix(whole, rows, 3, 2), nullptr);
    for (const double entry : ElementsOf(Mth_CovarianceMatrix(rows, rows, 0, 2))) {
      EXPECT_TRUE(std::isnan(entry));  // without samples there is nothing to look at
    }
    EXPECT_EQ(ElementsOf(Mth_CovarianceMatrix(rows, whole, short{0}, 2)).size(), 4u);
  }

  // Every argument in turn.
  for (std::size_t missing = 0; missing < 10; ++missing) {
    double out[8];
    std::fill(std::begin(out), std::end(out), -9.0);
    double* p[] = {x, x, out, out + 1, out + 2, out + 3, out + 4, out + 5, out + 6, out + 7};
    p[missing] = nullptr;
    Mth_StatisticalCriterionCalculations(p[0], p[1], 3, p[2], p[3], p[4], p[5], p[6], p[7], p[8], p[9]);
    if (missing < 7) Mth_CorrelationRatioOfSpearman(p[0], p[1], 3, p[2], p[3], p[4], p[5], p[6]);
    EXPECT_EQ(std::count(std::begin(out), std::end(out), -9.0), 8) << missing;
  }
}

TEST(Descriptive, MedianOfAMatrixLeavesItsColumnsSorted) {
  struct Case {
    MTH_MATRIX matrix, sorted;
    double median;
  };
  for (const int type : {mth_test::kDouble, mth_test::kFloat}) {
    Case cases[] = {
        {Matrix({{-3}, {1}, {2}}, type), Matrix({{1}, {2}, {3}}, type), 2},
        {Matrix({{-4, 9}, {1, -1}}, type), Matrix({{1, 1}, {4, 9}}, type), 3.75},  // (2.5 + 5) / 2
        {Matrix({{5, -2, 8}}, type), Matrix({{5, 2, 8}}, type), 5},
    };
    for (Case& c : cases) {
      EXPECT_EQ(Mth_Median(&c.matrix), c.median);
      EXPECT_TRUE(mth_test::Near(c.matrix, c.sorted, 0.0));
    }
  }
  const MTH_MATRIX before = mth_test::RandomMatrix(90, 70, mth_test::kDouble, 5);
  MTH_MATRIX m = before;
  const mth_test::AllocationFaults faults(0);
  EXPECT_EQ(Mth_Median(&m), 0.0);
  EXPECT_TRUE(mth_test::Near(m, before, 0.0));
}

TEST(Descriptive, MedianOfAVectorIsTheLowerMiddleOne) {
  struct Case {
    Values values;
    double median;
    int index;
    bool isReported;
  };
  Values zeros(43);  // of both signs, in their order; the middle one is negative
  for (std::size_t i = 1; i < zeros.size(); i += 2) zeros[i] = -0.0;
  const Case cases[] = {{{}, 0, 77, false},          {{1, 2, 3, 4}, 2, 1, false},
                        {{3, 1, 2}, 2, 2, false},    {{5, 3, 5, 5}, 5, 0, false},
                        {{0.5}, 0.5, 0, false},      {{0, 0}, 0, 0, false},
                        {{1000}, 1000, 0, false},    {{1}, 1, 0, false},
                        {{0.25}, 0.25, 0, true},     {{1000.5}, 1000.5, 0, true},
                        {{9, -1, -2}, -1, 1, true},  {{0.999}, 0.999, 0, true},
                        {{kNaN, 2, 1}, 2, 1, false}, {{kNaN, kNaN}, kNaN, -1, false},
                        {zeros, -0.0, 0, false}};
  for (const Case& c : cases) {
    mth_test::RecordingDisplay display;
    int index = 77;
    const double median = Mth_Median(c.values, index);
    EXPECT_TRUE(median == c.median || (std::isnan(median) && std::isnan(c.median))) << median;
    EXPECT_TRUE(std::isnan(median) || std::signbit(median) == std::signbit(c.median)) << median;
    EXPECT_EQ(index, c.index) << c.median;
    const std::vector<mth_test::ShownMessage> reported(c.isReported ? 1 : 0,
                                                       {"dex", MessageKind::Error, "Error"});
    EXPECT_EQ(display.messages, reported) << c.median;
  }
}

TEST(Descriptive, SmallestEntriesOfARowCarryTheIndexOver) {
  for (const int type : {mth_test::kDouble, mth_test::kFloat}) {
    MTH_MATRIX m = Matrix({{0, 5, 1}, {1, 5, 0}, {2, 7, 8}, {9, 4, 6}, {9, 8, 7}}, type);
    const Values expected = {
        0, -1, 0, 0, -1, 0, 0, -1, 0,  // smallest at column 0: no index, and nothing below it
        1, 2,  0, 1, -1, 1, 1, -1, 1,  //
        2, 2,  2, 2, -1, 2, 2, -1, 2,  // again at column 0: the index of the row before
        3, 1,  4, 3, 2,  6, 3, -1, 9,  //
        4, 2,  7, 4, 1,  8, 4, -1, 9,
    };
    const MatrixPtr result(Mth_Opt_Matrix(&m));
    EXPECT_EQ(result->GetType(), mth_test::kDouble);
    EXPECT_EQ(result->GetNbCols(), 9);
    EXPECT_EQ(ElementsOf(new MTH_MATRIX(*result)), expected);
  }
  MTH_MATRIX noColumns(2, 0, mth_test::kDouble);
  EXPECT_EQ(ElementsOf(Mth_Opt_Matrix(&noColumns)), Values(18, 0.0));
}

}  // namespace
