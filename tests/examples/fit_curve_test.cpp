#include <algorithm>
#include <charconv>
#include <cmath>
#include <functional>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>

#include "examples/host_run.h"
#include "mth/matrix/Mth_matrix.h"

namespace {

using namespace mth_test;

// The numbers of a report by the names in front of them.
std::map<std::string, double> ReadReport(const std::string& output) {
  std::map<std::string, double> numbers;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t value = line.rfind(' ') + 1;
    const std::size_t name = line.find("  ");
    double number = 0.0;
    const auto result = std::from_chars(line.data() + value, line.data() + line.size(), number);
    if (name != line.npos && result.ec == std::errc()) numbers[line.substr(0, name)] = number;
  }
  return numbers;
}

std::string Samples(double first, double step, int count, const std::function<double(double)>& model) {
  std::ostringstream text;
  text.precision(17);
  for (int i = 0; i < count; ++i) text << first + i * step << ',' << model(first + i * step) << '\n';
  return text.str();
}

double Bell(double z) {
  return std::exp(-0.5 * z * z);
}

TEST(FitCurve, FindsTheParametersThatMadeTheData) {
  const ScratchFolder folder;
  const double root = std::sqrt(2.0 * 3.14159265358979323846);
  const struct {
    std::string model;
    std::string samples;
    std::map<std::string, double> parameters;
    std::vector<std::string> minimisers;
  } cases[] = {
      {"profile",
       Samples(-3.0, 0.1, 100, [](double x) { return 200.0 + 3000.0 * Bell((x - 1.2) / 0.7); }),
       {{"B", 200.0}, {"A", 3000.0}, {"mu", 1.2}, {"sigma", 0.7}},
       {"powell", "bfgs", "annealing"}},
      {"catenary",
       Samples(-30.0, 1.0, 61, [](double x) { return 25.0 * std::cosh(x / 25.0) - 10.0; }),
       {{"a", 25.0}, {"b", -10.0}},
       {"powell", "bfgs", "nelder-mead", "steepest", "annealing"}},
      {"rayleigh",
       Samples(10.0, 0.25, 60,
               [](double x) { return x < 13.0 ? 0.0 : (x - 13.0) * 50.0 / 4.0 * Bell((x - 13.0) / 2.0); }),
       {{"A", 50.0}, {"mu", 13.0}, {"sigma", 2.0}},
       {"powell", "annealing"}},
      {"gaussians -k 2",
       Samples(5.0, 0.5, 80,
               [&](double x) {
                 return 5.0 / root * Bell(x - 12.0) + 8.0 / (2.0 * root) * Bell((x - 20.0) / 2.0);
               }),
       {{"A1", 5.0}, {"mu1", 12.0}, {"sigma1", 1.0}, {"A2", 8.0}, {"mu2", 20.0}, {"sigma2", 2.0}},
       {"powell", "bfgs", "annealing"}},
  };
  for (const auto& test : cases) {
    WriteFile(folder / "data.csv", "# x,y\n\n" + test.samples);
    for (const std::string& minimiser : test.minimisers) {
      SCOPED_TRACE(test.model + " by " + minimiser);
      const ProgramRun run =
          RunProgram(MTH_FIT_CURVE, Quoted(folder / "data.csv") + " --model " + test.model + " --minimiser " +
                                        minimiser + (minimiser == "annealing" ? " --seed 7" : "") +
                                        " --output " + Quoted(folder / "fit.svg"));
      EXPECT_EQ(run.status, 0) << run.errors;
      EXPECT_EQ(run.errors, "");
      const std::map<std::string, double> report = ReadReport(run.output);
      for (const auto& [name, value] : test.parameters) {
        ASSERT_TRUE(report.contains(name)) << run.output;
        EXPECT_NEAR(report.at(name), value, 2e-3 * std::abs(value)) << name;
      }
      EXPECT_GT(report.at("evaluations"), 20.0);
      const std::string plot = ReadFile(folder / "fit.svg");
      EXPECT_EQ(plot.rfind("<svg", 0), 0U);
      EXPECT_NE(plot.find("<polyline"), plot.npos);
      EXPECT_EQ(plot.find("nan"), plot.npos);
    }
  }
}

TEST(FitCurve, StartsWhereItIsTold) {
  const ScratchFolder folder;
  WriteFile(folder / "data.csv", Samples(0.0, 1.0, 20, [](double x) { return Bell((x - 9.0) / 2.0); }));
  const ProgramRun run = RunProgram(
      MTH_FIT_CURVE, Quoted(folder / "data.csv") + " --start 0,1,9,2 -o " + Quoted(folder / "fit.svg"));
  EXPECT_EQ(run.status, 0) << run.errors;
  EXPECT_LT(ReadReport(run.output).at("at the start"), 1e-30);
}

// Of a bell with noise, under lines of names and units: standard errors from the analytic derivatives, R
// squared and the table of residuals by hand.
TEST(FitCurve, TellsHowSureItIs) {
  const ScratchFolder folder;
  std::vector<double> xs;
  std::vector<double> ys;
  std::string text = "\xEF\xBB\xBFposition;signal\nmm;\n";
  std::mt19937 engine(5);
  for (int i = 0; i < 40; ++i) {
    xs.push_back(0.25 * i);
    ys.push_back(1.0 + 3.0 * Bell((xs.back() - 5.0) / 1.5) +
                 (static_cast<double>(engine() % 1000) - 500.0) / 5000.0);
    text += std::to_string(xs.back()) + ";" + std::to_string(ys.back()) + "\n";
  }
  WriteFile(folder / "data.csv", text);
  const ProgramRun run = RunProgram(
      MTH_FIT_CURVE, Quoted(folder / "data.csv") + " -f bfgs -o " + Quoted(folder / "fit.svg") + " --csv " +
                         Quoted(folder / "fit.csv") + " --json " + Quoted(folder / "fit.json"));
  ASSERT_EQ(run.status, 0) << run.errors;
  const auto report = nlohmann::json::parse(ReadFile(folder / "fit.json"));
  const double a = report["parameters"]["A"];
  const double mu = report["parameters"]["mu"];
  const double sigma = report["parameters"]["sigma"];
  MTH_MATRIX jacobian(40, 4, 0);
  double squares = 0.0;
  double mean = 0.0;
  for (int i = 0; i < 40; ++i) {
    const auto k = static_cast<std::size_t>(i);
    const double z = (xs[k] - mu) / sigma;
    const double row[] = {1.0, Bell(z), a * Bell(z) * z / sigma, a * Bell(z) * z * z / sigma};
    for (int j = 0; j < 4; ++j) jacobian.Set(i, j, row[j]);
    const double residual = ys[k] - (report["parameters"]["B"].get<double>() + a * Bell(z));
    squares += residual * residual;
    mean += ys[k] / 40.0;
  }
  const std::unique_ptr<MTH_MATRIX> transposed(jacobian.Transpose());
  const std::unique_ptr<MTH_MATRIX> normal(*transposed * jacobian);
  const std::unique_ptr<MTH_MATRIX> inverse(normal->Inverse());
  const char* const names[] = {"B", "A", "mu", "sigma"};
  for (int k = 0; k < 4; ++k) {
    const double expected = std::sqrt(squares / 36.0 * inverse->Get(k, k));
    EXPECT_NEAR(report["standard_errors"][names[k]].get<double>() / expected, 1.0, 1e-5) << names[k];
  }
  double total = 0.0;
  for (const double y : ys) total += (y - mean) * (y - mean);
  EXPECT_NEAR(report["r_squared"].get<double>(), 1.0 - squares / total, 1e-5);
  EXPECT_TRUE(report["converged"].get<bool>());
  EXPECT_NE(run.output.find("standard error sigma"), std::string::npos);
  const std::string table = ReadFile(folder / "fit.csv");
  EXPECT_EQ(table.find("x,y,model,residual\n0,"), 0U);
  EXPECT_EQ(std::count(table.begin(), table.end(), '\n'), 41);
  EXPECT_NE(ReadFile(folder / "fit.svg").find("residuals"), std::string::npos);
}

TEST(FitCurve, RefusesBadFilesAndOptionsWithOneLine) {
  const ScratchFolder folder;
  WriteFile(folder / "good.csv", "0,1\n1,3\n2,2\n3,1\n4,1\n");
  WriteFile(folder / "uneven.csv", "0,1\n1,3\n2,2\n9,1\n");
  WriteFile(folder / "short.csv", "0,1\n1,3\n");
  WriteFile(folder / "empty.csv", "# nothing\n");
  WriteFile(folder / "text.csv", "0,1\n1,three\n");
  WriteFile(folder / "third.csv", "0,1,2\n");
  WriteFile(folder / "joined.csv", "0,1x\n");
  WriteFile(folder / "infinite.csv", "x,y\nnan,1\n");
  const struct {
    std::string file;
    std::string options;
    std::string reason;
  } cases[] = {
      {"none.csv", "", "cannot open"},
      {"empty.csv", "", "no pair"},
      {"text.csv", "", "line 2"},
      {"third.csv", "", "line 1"},
      {"joined.csv", "", "line 1"},
      {"infinite.csv", "", "line 2"},
      {"short.csv", "", "at least 4 samples"},
      {"uneven.csv", "-m gaussians", "evenly spaced"},
      {"good.csv", "--model spline", "--model"},
      {"good.csv", "--minimiser newton", "--minimiser"},
      {"good.csv", "--minimiser nelder-mead", "two parameters"},
      {"good.csv", "--iterations 0", "--iterations"},
      {"good.csv", "--tolerance -1", "--tolerance"},
      {"good.csv", "--gaussians 2", "--gaussians"},
      {"good.csv", "--start 1,2", "--start needs 4"},
      {"good.csv", "--start 1,2,3,nan", "start"},
      {"good.csv", "--start 0,1,1,0", "not finite"},
      {"good.csv", "--output /no/such/folder/fit.svg", "cannot write"},
      {"good.csv", "--colour", "--help"},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.file + " " + test.options);
    const bool hasOutput = test.options.find("--output") != std::string::npos;
    const std::string output = hasOutput ? "" : " --output " + Quoted(folder / "fit.svg");
    const ProgramRun run =
        RunProgram(MTH_FIT_CURVE, Quoted(folder / test.file) + " " + test.options + output);
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(std::count(run.errors.begin(), run.errors.end(), '\n'), 1) << run.errors;
    EXPECT_EQ(run.errors.rfind("fit_curve: ", 0), 0U) << run.errors;
    EXPECT_NE(run.errors.find(test.reason), std::string::npos) << run.errors;
  }
  EXPECT_EQ(RunProgram(MTH_FIT_CURVE, "--help").status, 0);
}

TEST(FitGauss1, ReachesTheCertifiedFit) {
  const ProgramRun run = RunProgram(MTH_FIT_GAUSS1, Quoted(MTH_DATA_DIR "/reference/Gauss1.dat"));
  EXPECT_EQ(run.status, 0) << run.output;
  EXPECT_NE(run.output.find("residual sum of squares 1315.8222"), run.output.npos) << run.output;
  const ProgramRun missing = RunProgram(MTH_FIT_GAUSS1, "/no/such/file");
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.output, "");
  EXPECT_NE(missing.errors.find("no data"), std::string::npos);
}

}  // namespace
