#include <gtest/gtest.h>

#include <cmath>
#include <fstream>
#include <limits>
#include <numbers>
#include <random>

#include "mth/optimise/Mth_funct_ajust_gauss_cost.h"
#include "mth/optimise/Mth_funct_ajust_rayleigh_cost.h"
#include "mth/optimise/Mth_funct_find_chainette.h"
#include "mth/optimise/Mth_funct_profile_cost.h"
#include "optimise/problems.h"
#include "support/locale_scope.h"
#include "support/text_file.h"

namespace mth_test {
namespace {

constexpr double kRounding = 1e-14;
constexpr double kLargestFloat = std::numeric_limits<float>::max();

double CostAt(MTH_FUNCT& cost, Point parameters) {
  cost.SetDefined(true);
  cost.SetParameters(parameters.data());
  cost.Evaluate();
  return cost.GetValue();
}

bool IsDefined(MTH_FUNCT& cost) {
  const double former = cost.GetParameters()[0];
  Point other(static_cast<std::size_t>(cost.GetParametersCount()), former + 1.0);
  cost.SetParameters(other.data());
  return cost.GetParameters()[0] != former;
}

Point Array(const double* values, int count) {
  return {values, values + count};
}

TEST(Catenary, IsACoshWithinFourteenAndTheLargestFloatBeyond) {
  double x[] = {0.0, 2.0, -2.0, 28.0, -28.0, 27.999, std::nan("")};
  double y[] = {0.0, 0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
  MTH_FUNCT_FIND_CHAINETTE cost(7, x, y);
  EXPECT_TRUE(IsDefined(cost));
  EXPECT_EQ(Array(cost.GetModel(), 7), Point(7, 0.0));
  CostAt(cost, {2.0, 5.0});
  const double overflow = 2.0 * kLargestFloat + 5.0;
  EXPECT_NEAR(cost.GetModel()[1], 2.0 * std::cosh(1.0) + 5.0, kRounding * 8);
  EXPECT_EQ(cost.GetModel()[1], cost.GetModel()[2]);
  EXPECT_EQ(cost.GetModel()[0], 7.0);
  for (int i : {3, 4, 6}) EXPECT_EQ(cost.GetModel()[i], overflow) << i;
  EXPECT_NEAR(cost.GetModel()[5] / (2.0 * std::cosh(13.9995) + 5.0), 1.0, kRounding);
  x[0] = 99.0;  // the samples are copies
  EXPECT_EQ(cost.GetAbscissae()[0], 0.0);
  MTH_FUNCT_FIND_CHAINETTE flat(1, y, y);
  CostAt(flat, {0.0, 5.0});
  EXPECT_EQ(flat.GetValue(), 25.0);  // 0 / 0 is no number either: 0 times the largest float, plus 5
}

TEST(Catenary, FitsACatenary) {
  constexpr int kCount = 41;
  double x[kCount];
  double y[kCount];
  for (int i = 0; i < kCount; ++i) {
    x[i] = 0.1 * (i - 20);
    y[i] = 1.5 * std::cosh(x[i] / 1.5) - 0.75;
  }
  MTH_FUNCT_FIND_CHAINETTE cost(kCount, x, y);
  Point start = {1.0, 0.0};
  EXPECT_TRUE(cost.ComputeOptimumPowell(start.data(), 100, 1e-12, nullptr, false));
  EXPECT_NEAR(cost.GetParameters()[0], 1.5, 1e-2);
  EXPECT_NEAR(cost.GetParameters()[1], -0.75, 1e-2);
  EXPECT_LT(cost.GetValue(), 1e-6);
}

// The cost by its formula, sample after sample, Gaussian after Gaussian.
double LiteralCost(const Point& data, const Point& p) {
  double error = 0.0;
  for (std::size_t i = 0; i < data.size(); ++i) {
    double model = 0.0;
    for (std::size_t g = 0; g < p.size(); g += 3) {
      const double z = (static_cast<double>(i) - p[g + 1]) / p[g + 2];
      model += p[g] / (std::sqrt(6.283185307179586) * p[g + 2]) * std::exp(-0.5 * (z * z));
    }
    error += (data[i] - model) * (data[i] - model);
  }
  return std::sqrt(error);
}

// Whatever the walk through the parameters, and whatever it can reuse.
TEST(GaussianSum, HasTheBitsOfTheLiteralSum) {
  std::mt19937 engine(4);
  std::uniform_real_distribution<double> uniform(0.5, 40.0);
  for (int gaussians : {1, 3, 6}) {
    Point data(100);
    for (double& sample : data) sample = uniform(engine);
    MTH_FUNCT_AJUST_GAUSS_COST cost(data.data(), 100, gaussians);
    Point parameters(3 * static_cast<std::size_t>(gaussians));
    for (double& parameter : parameters) parameter = uniform(engine);
    std::vector<Point> known;
    for (int step = 0; step < 300; ++step) {
      if (step % 3 == 2) parameters = known[engine() % known.size()];
      parameters[engine() % parameters.size()] = step % 50 == 49 ? -0.0 : uniform(engine);
      known.push_back(parameters);
      data[engine() % 100] = uniform(engine);  // read anew at every evaluation
      const double expected = LiteralCost(data, parameters);
      const double value = CostAt(cost, parameters);
      EXPECT_TRUE(value == expected || (std::isnan(value) && std::isnan(expected))) << "step " << step;
    }
  }
  Point many(700000, 0.25);  // too many samples to keep anything of
  MTH_FUNCT_AJUST_GAUSS_COST cost(many.data(), 700000, 2);
  const Point parameters = {90.0, 500.0, 30.0, 50.0, 650000.0, 9000.0};
  EXPECT_EQ(CostAt(cost, parameters), LiteralCost(many, parameters));
}

TEST(GaussianSum, DegenerateWidthsAndSizesGiveNaNNeverAFault) {
  double data[] = {1.0, 2.0};
  MTH_FUNCT_AJUST_GAUSS_COST cost(data, 2, 1);
  EXPECT_TRUE(std::isnan(CostAt(cost, {1.0, 0.0, 0.0})));
  // A width whose exponential vanishes everywhere else: one sample of infinite model.
  EXPECT_EQ(CostAt(cost, {1.0, 0.0, 1e-300}), std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isnan(CostAt(cost, {std::numeric_limits<double>::infinity(), -9000.0, 1.0})));
  MTH_FUNCT_AJUST_GAUSS_COST tooMany(data, 2, std::numeric_limits<int>::max());
  EXPECT_EQ(tooMany.GetParametersCount(), 0);
  MTH_FUNCT_AJUST_GAUSS_COST noData(nullptr, 2, 1);
  EXPECT_TRUE(std::isnan(CostAt(noData, {1.0, 0.0, 1.0})));
  for (double* samples : {static_cast<double*>(nullptr), data}) {  // of no samples there are none to miss
    MTH_FUNCT_AJUST_GAUSS_COST noSamples(samples, 0, 1);
    EXPECT_EQ(CostAt(noSamples, {1.0, 0.0, 1.0}), 0.0);
    MTH_FUNCT_AJUST_RAYLEIGH_COST noPulse(samples, 0);
    EXPECT_EQ(CostAt(noPulse, {1.0, 0.0, 1.0}), 0.0);
  }
}

TEST(Rayleigh, StartsAtTheTruncatedOnsetAndMakesItPositive) {
  double data[] = {1.0, 2.0, 3.0, 4.0, 5.0};
  MTH_FUNCT_AJUST_RAYLEIGH_COST cost(data, 5);
  EXPECT_FALSE(IsDefined(cost));
  const auto model = [](double i) { return (i - 3.7) * 6.0 / 4.0 * std::exp(-0.5 * Square(i - 3.7) / 4.0); };
  const double expected = std::sqrt(14.0 + Square(4.0 - model(3)) + Square(5.0 - model(4)));
  EXPECT_NEAR(CostAt(cost, {6.0, -3.7, 2.0}), expected, kRounding * 10);
  EXPECT_EQ(cost.GetParameters()[1], 3.7);
  EXPECT_LT(model(3), 0.0);  // the formula holds from the truncated onset on, below the onset too
  EXPECT_EQ(CostAt(cost, {6.0, 1e300, 2.0}), std::sqrt(55.0));
  EXPECT_TRUE(std::isnan(CostAt(cost, {6.0, std::nan(""), 2.0})));
  EXPECT_TRUE(std::isnan(CostAt(cost, {6.0, 0.0, 0.0})));
  MTH_FUNCT_AJUST_RAYLEIGH_COST noData(nullptr, 5);
  EXPECT_TRUE(std::isnan(CostAt(noData, {6.0, 1.0, 2.0})));
}

TEST(Profile, HasTheCertifiedCostOfEckerle4) {
  std::ifstream file(MTH_DATA_DIR "/reference/Eckerle4.dat");
  std::string line;
  for (int i = 0; i < 60; ++i) std::getline(file, line);
  Point x;
  Point y;
  for (double ordinate = 0.0, abscissa = 0.0; file >> ordinate >> abscissa;) {
    y.push_back(ordinate);
    x.push_back(abscissa);
  }
  ASSERT_EQ(x.size(), 35u);
  MTH_FUNCT_PROFILE_COST cost(35, x.data(), y.data());
  EXPECT_FALSE(IsDefined(cost));
  // NIST StRD: y = b1 / b2 exp(-((x - b3) / b2)^2 / 2).
  const double certified = CostAt(cost, {0.0, 1.5543827178 / 4.0888321754, 451.54121844, 4.0888321754});
  EXPECT_NEAR(certified * 35.0, 1.4635887487e-03, 1e-13);
  EXPECT_TRUE(IsDefined(cost));
  // From its second start the fit comes back there; a baseline is one parameter more and may gain a little.
  Point start = {0.0, 1.5 / 5.0, 450.0, 5.0};
  cost.SetParameters(start.data());
  EXPECT_TRUE(cost.ComputeOptimumPowell(nullptr, 200, 1e-14, nullptr, false));
  EXPECT_NEAR(cost.GetParameters()[2], 451.54, 0.1);
  EXPECT_LT(cost.GetValue(), 1.01 * certified);
}

TEST(Profile, FilesAreByteExactUnderEveryLocale) {
  const ScratchFile file("profile.csv");
  for (const char* locale : kLocales) {
    SCOPED_TRACE(locale);
    const LocaleScope scope(locale);
    file.Write("1,2\n3,4\n5,6.0625\n");
    MTH_FUNCT_PROFILE_COST cost(file.Path());
    ASSERT_EQ(cost.GetSamplesCount(), 3);
    EXPECT_EQ(Array(cost.GetAbscissae(), 3), (Point{1.0, 3.0, 5.0}));
    EXPECT_EQ(Array(cost.GetOrdinates(), 3), (Point{2.0, 4.0, 6.0625}));
    EXPECT_NEAR(CostAt(cost, {-0.25, 0.0, 0.0, 1.0}), (Square(2.25) + Square(4.25) + Square(6.3125)) / 3.0,
                kRounding * 100);
    EXPECT_TRUE(cost.SaveProfile(file.Path()));
    EXPECT_EQ(file.Read(), "1.000,2.000,-0.250\n3.000,4.000,-0.250\n5.000,6.062,-0.250\n");
  }
  double huge[] = {-1e308, std::nan("")};
  MTH_FUNCT_PROFILE_COST cost(2, huge, huge);
  ASSERT_TRUE(cost.SaveProfile(file.Path()));
  EXPECT_EQ(file.Read().substr(0, 10), "-100000000");
  EXPECT_EQ(file.Read().size(), 2 * 314 + 6 + std::string("\nnan,nan,0.000\n").size() + 1);
  EXPECT_FALSE(cost.SaveProfile("/no/such/folder/profile.csv"));
}

TEST(Profile, DamagedFilesKeepWhatCanBeRead) {
  const std::string blanks(251, ' ');
  struct {
    std::string text;
    Point abscissae;
    Point ordinates;
    int wholePairs;
  } const cases[] = {
      {"", {}, {}, 0},
      {"1,2", {1}, {2}, 1},
      {"\n\n", {0, 0}, {0, 0}, 0},
      {" +1.5e1 ,2\n", {15}, {0}, 0},                       // a blank before the comma does not fit
      {"+1.5e1, -2e-1\r\n7,8\r\n", {15, 7}, {-0.2, 8}, 2},  // a blank before a number does
      {"1,2\n3,\n", {1, 3}, {2, 0}, 1},                     // cut short: an abscissa alone
      {"1,2\n3\n5,6\n", {1, 3, 5}, {2, 0, 6}, 2},           // so without a comma; the next pair is read
      {"1,2\nx,4\n5,6\n", {1, 0, 0}, {2, 0, 0}, 1},         // reading does not go past what is no number
      {"1,2,9\n3,4,9\n", {1, 0}, {2, 0}, 1},                // a third column is not a pair
      {"1e5000,-1e5000\n1e-999,inf\n", {HUGE_VAL, 0}, {-HUGE_VAL, HUGE_VAL}, 2},
      {std::string(320, '9') + "\n", {HUGE_VAL, 0}, {0, 0}, 0},  // 255 characters and more count twice
      {"7,0." + std::string(330, '0') + "1\n", {7, 0}, {0, 0}, 1},
      {"0x1.8p1,-0XA\n", {3}, {-10}, 1},
      {"+-1,2\n", {0}, {0}, 0},
      {std::string("1,2\0,3\n4,5\n", 11), {1, 0}, {2, 0}, 1},
      {blanks + "1,2\n3,4\n", {1, 3}, {2, 4}, 2},
      {blanks + " 1,2\n3,4\n", {1, 3, 0}, {2, 4, 0}, 2},  // a line beyond 255 characters counts again
  };
  const ScratchFile file("damaged.csv");
  MTH_FUNCT_PROFILE_COST cost;
  for (const auto& test : cases) {
    file.Write(test.text);
    EXPECT_TRUE(cost.LoadProfile(file.Path())) << test.text;
    ASSERT_EQ(cost.GetSamplesCount(), static_cast<int>(test.abscissae.size())) << test.text;
    EXPECT_EQ(Array(cost.GetAbscissae(), cost.GetSamplesCount()), test.abscissae) << test.text;
    EXPECT_EQ(Array(cost.GetOrdinates(), cost.GetSamplesCount()), test.ordinates) << test.text;
    EXPECT_EQ(cost.GetReadCount(), test.wholePairs) << test.text;
  }
}

TEST(Profile, WithoutSamplesIsHarmless) {
  const ScratchFile file("none.csv");
  MTH_FUNCT_PROFILE_COST cost;
  EXPECT_EQ(cost.GetSamplesCount(), 0);
  EXPECT_EQ(cost.GetAbscissae(), nullptr);
  EXPECT_TRUE(std::isnan(CostAt(cost, {0.0, 1.0, 0.0, 1.0})));
  file.Write("1,2\n3,4\n");
  EXPECT_TRUE(cost.LoadProfile(file.Path()));
  for (const char* path : {"/no/such/file.csv", "/", static_cast<const char*>(nullptr)}) {
    EXPECT_FALSE(cost.LoadProfile(path));
    EXPECT_EQ(cost.GetSamplesCount(), 2);  // intended: the count stays, the samples are gone
    EXPECT_EQ(cost.GetReadCount(), 0);
    EXPECT_EQ(cost.GetAbscissae(), nullptr);
    EXPECT_EQ(cost.GetOrdinates(), nullptr);
    cost.Evaluate();
    EXPECT_TRUE(std::isnan(cost.GetValue()));
    EXPECT_TRUE(cost.SaveProfile(file.Path()));
    EXPECT_EQ(file.Read(), "");
  }
  double x[] = {1.0};
  for (int count : {-1, 0, 1}) EXPECT_EQ(MTH_FUNCT_PROFILE_COST(count, x, nullptr).GetSamplesCount(), 0);
  EXPECT_EQ(MTH_FUNCT_FIND_CHAINETTE(-1, x, x).GetSamplesCount(), 0);
}

}  // namespace
}  // namespace mth_test
