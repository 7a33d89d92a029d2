#pragma once

#include <cmath>
#include <cstddef>
#include <fstream>
#include <functional>
#include <numbers>
#include <string>
#include <utility>
#include <vector>

#include "mth/optimise/Mth_funct.h"

// Non-linear problems of NIST's Statistical Reference Datasets (www.itl.nist.gov/div898/strd), with their two
// starts, their certified parameters and residual sums of squares. The certified sums vouch for the data
// below.

namespace mth_test {

struct NistProblem {
  using Model = std::function<double(const double* b, double x)>;

  std::string name;
  std::vector<double> x;
  std::vector<double> y;
  std::vector<std::vector<double>> starts;
  std::vector<double> certified;
  double squareSum;
  Model model;
};

/// The residuals of such a problem, model minus data.
class NistCost : public MTH_FUNCT {
 public:
  explicit NistCost(const NistProblem& problem)
      : MTH_FUNCT(static_cast<int>(problem.certified.size())), problem_(problem) {}
  void Evaluate() override {
    std::vector<double> residuals(problem_.y.size());
    EvaluateResiduals(residuals.data());
    double sum = 0.0;
    for (const double residual : residuals) sum += residual * residual;
    SetValue(0.5 * sum);
  }
  int GetResidualsCount() const override { return static_cast<int>(problem_.y.size()); }
  bool EvaluateResiduals(double* residuals) override {
    ++evaluations;
    for (std::size_t i = 0; i < problem_.y.size(); ++i)
      residuals[i] = problem_.model(GetParameters(), problem_.x[i]) - problem_.y[i];
    return true;
  }

  int evaluations = 0;

 private:
  const NistProblem& problem_;
};

/// Fills the data of a problem from its file: lines of an ordinate and an abscissa after 60 lines of text.
inline void ReadNistData(const std::string& path, NistProblem& problem) {
  std::ifstream file(path);
  std::string line;
  for (int i = 0; i < 60; ++i) std::getline(file, line);
  for (double y = 0.0, x = 0.0; file >> y >> x;) {
    problem.y.push_back(y);
    problem.x.push_back(x);
  }
}

inline std::vector<NistProblem> NistProblems(const std::string& folder) {
  using std::exp;
  using std::pow;
  std::vector<double> byTen;
  std::vector<double> byFive;
  std::vector<double> lanczosX;
  for (int i = 0; i < 33; ++i) byTen.push_back(10.0 * i);
  for (int i = 0; i < 16; ++i) byFive.push_back(50.0 + 5.0 * i);
  for (int i = 0; i < 24; ++i) lanczosX.push_back(i * 5 / 100.0);
  // Generated to 14 digits; the others are these rounded to 6 digits and to 4 decimals.
  std::vector<std::vector<double>> lanczosY(3);
  for (const double x : lanczosX) {
    const double y = 0.0951 * exp(-x) + 0.8607 * exp(-3.0 * x) + 1.5576 * exp(-5.0 * x);
    const double magnitude = pow(10.0, std::floor(std::log10(y)));
    lanczosY[0].push_back(std::round(y / magnitude * 1e13) / 1e13 * magnitude);
    lanczosY[1].push_back(std::round(y / magnitude * 1e5) / 1e5 * magnitude);
    lanczosY[2].push_back(std::round(y * 1e4) / 1e4);
  }
  const NistProblem::Model lanczos = [](const double* b, double x) {
    return b[0] * exp(-b[1] * x) + b[2] * exp(-b[3] * x) + b[4] * exp(-b[5] * x);
  };
  const std::vector<std::vector<double>> lanczosStarts = {{1.2, 0.3, 5.6, 5.5, 6.5, 7.6},
                                                          {0.5, 0.7, 3.6, 4.2, 4.0, 6.3}};
  const std::vector<double> misraX = {77.6,  114.9, 141.1, 190.8, 239.9, 289.0, 332.8,
                                      378.4, 434.8, 477.3, 536.8, 593.1, 689.1, 760.0};
  const std::vector<double> misraY = {10.07, 14.73, 17.94, 23.93, 29.61, 35.18, 40.02,
                                      44.82, 50.76, 55.05, 61.01, 66.40, 75.47, 81.78};
  std::vector<NistProblem> problems = {
      {"Misra1a",
       misraX,
       misraY,
       {{500, 0.0001}, {250, 0.0005}},
       {2.3894212918e2, 5.5015643181e-4},
       1.2455138894e-1,
       [](const double* b, double x) { return b[0] * (1.0 - exp(-b[1] * x)); }},
      {"Misra1b",
       misraX,
       misraY,
       {{500, 0.0001}, {300, 0.0002}},
       {3.3799746163e2, 3.9039091287e-4},
       7.5464681533e-2,
       [](const double* b, double x) { return b[0] * (1.0 - 1.0 / pow(1.0 + b[1] * x / 2.0, 2)); }},
      {"Misra1c",
       misraX,
       misraY,
       {{500, 0.0001}, {600, 0.0002}},
       {6.3642725809e2, 2.0813627256e-4},
       4.0966836971e-2,
       [](const double* b, double x) { return b[0] * (1.0 - 1.0 / std::sqrt(1.0 + 2.0 * b[1] * x)); }},
      {"Misra1d",
       misraX,
       misraY,
       {{500, 0.0001}, {450, 0.0003}},
       {4.3736970754e2, 3.0227324449e-4},
       5.6419295283e-2,
       [](const double* b, double x) { return b[0] * b[1] * x / (1.0 + b[1] * x); }},
      {"BoxBOD",
       {1, 2, 3, 5, 7, 10},
       {109, 149, 149, 191, 213, 224},
       {{1, 1}, {100, 0.75}},
       {2.1380940889e2, 5.4723748542e-1},
       1.1680088766e3,
       [](const double* b, double x) { return b[0] * (1.0 - exp(-b[1] * x)); }},
      {"DanWood",
       {1.309, 1.471, 1.490, 1.565, 1.611, 1.680},
       {2.138, 3.421, 3.597, 4.340, 4.882, 5.660},
       {{1, 5}, {0.7, 4}},
       {7.6886226176e-1, 3.8604055871},
       4.3173084083e-3,
       [](const double* b, double x) { return b[0] * pow(x, b[1]); }},
      {"Rat42",
       {9, 14, 21, 28, 42, 57, 63, 70, 79},
       {8.930, 10.800, 18.590, 22.330, 39.350, 56.110, 61.730, 64.620, 67.080},
       {{100, 1, 0.1}, {75, 2.5, 0.07}},
       {7.2462237576e1, 2.6180768402, 6.7359200066e-2},
       8.0565229338,
       [](const double* b, double x) { return b[0] / (1.0 + exp(b[1] - b[2] * x)); }},
      {"Rat43",
       {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15},
       {16.08, 33.83, 65.80, 97.20, 191.55, 326.20, 386.87, 520.53, 590.03, 651.92, 724.93, 699.56, 689.96,
        637.56, 717.41},
       {{100, 10, 1, 1}, {700, 5, 0.75, 1.3}},
       {6.9964151270e2, 5.2771253025, 7.5962938329e-1, 1.2792483859},
       8.7864049080e3,
       [](const double* b, double x) { return b[0] / pow(1.0 + exp(b[1] - b[2] * x), 1.0 / b[3]); }},
      {"MGH09",
       {4, 2, 1, 0.5, 0.25, 0.167, 0.125, 0.1, 0.0833, 0.0714, 0.0625},
       {0.1957, 0.1947, 0.1735, 0.1600, 0.0844, 0.0627, 0.0456, 0.0342, 0.0323, 0.0235, 0.0246},
       {{25, 39, 41.5, 39}, {0.25, 0.39, 0.415, 0.39}},
       {1.9280693458e-1, 1.9128232873e-1, 1.2305650693e-1, 1.3606233068e-1},
       3.0750560385e-4,
       [](const double* b, double x) { return b[0] * (x * x + x * b[1]) / (x * x + x * b[2] + b[3]); }},
      {"MGH10",
       byFive,
       {34780, 28610, 23650, 19630, 16370, 13720, 11540, 9744, 8261, 7030, 6005, 5147, 4427, 3820, 3307,
        2872},
       {{2, 400000, 25000}, {0.02, 4000, 250}},
       {5.6096364710e-3, 6.1813463463e3, 3.4522363462e2},
       8.7945855171e1,
       [](const double* b, double x) { return b[0] * exp(b[1] / (x + b[2])); }},
      {"MGH17",
       byTen,
       {0.844, 0.908, 0.932, 0.936, 0.925, 0.908, 0.881, 0.850, 0.818, 0.784, 0.751,
        0.718, 0.685, 0.658, 0.628, 0.603, 0.580, 0.558, 0.538, 0.522, 0.506, 0.490,
        0.478, 0.467, 0.457, 0.448, 0.438, 0.431, 0.424, 0.420, 0.414, 0.411, 0.406},
       {{50, 150, -100, 1, 2}, {0.5, 1.5, -1, 0.01, 0.02}},
       {3.7541005211e-1, 1.9358469127, -1.4646871366, 1.2867534640e-2, 2.2122699662e-2},
       5.4648946975e-5,
       [](const double* b, double x) { return b[0] + b[1] * exp(-x * b[3]) + b[2] * exp(-x * b[4]); }},
      {"Lanczos1",
       lanczosX,
       lanczosY[0],
       lanczosStarts,
       {9.5100000027e-2, 1.0000000001, 8.6070000013e-1, 3.0000000002, 1.5575999998, 5.0000000001},
       1.4307867721e-25,
       lanczos},
      {"Lanczos2",
       lanczosX,
       lanczosY[1],
       lanczosStarts,
       {9.6251029939e-2, 1.0057332849, 8.6424689056e-1, 3.0078283915, 1.5529016879, 5.0028798100},
       2.2299428125e-11,
       lanczos},
      {"Lanczos3",
       lanczosX,
       lanczosY[2],
       lanczosStarts,
       {8.6816414977e-2, 9.5498101505e-1, 8.4400777463e-1, 2.9515951832, 1.5825685901, 4.9863565084},
       1.6117193594e-8,
       lanczos},
      {"Chwirut2",
       {.5,   1,    1.75, 3.75, 5.75, .875, 2.25, 3.25, 5.25, .75,  1.75, 2.75, 4.75, .625,
        1.25, 2.25, 4.25, .5,   3,    .75,  3,    1.5,  6,    3,    6,    1.5,  3,    .5,
        2,    4,    .75,  2,    5,    .75,  2.25, 3.75, 5.75, 3,    .75,  2.5,  4,    .75,
        2.5,  4,    .75,  2.5,  4,    .5,   6,    3,    .5,   2.75, .5,   1.75},
       {92.9000, 57.1000, 31.0500, 11.5875, 8.0250,  63.6000, 21.4000, 14.2500, 8.4750,  63.8000, 26.8000,
        16.4625, 7.1250,  67.3000, 41.0000, 21.1500, 8.1750,  81.5000, 13.1200, 59.9000, 14.6200, 32.9000,
        5.4400,  12.5600, 5.4400,  32.0000, 13.9500, 75.8000, 20.0000, 10.4200, 59.5000, 21.6700, 8.5500,
        62.0000, 20.2000, 7.7600,  3.7500,  11.8100, 54.7000, 23.7000, 11.5500, 61.3000, 17.7000, 8.7400,
        59.2000, 16.3000, 8.6200,  81.0000, 4.8700,  14.6200, 81.7000, 17.1700, 81.3000, 28.9000},
       {{0.1, 0.01, 0.02}, {0.15, 0.008, 0.010}},
       {1.6657666537e-1, 5.1653291286e-3, 1.2150007096e-2},
       5.1304802941e2,
       [](const double* b, double x) { return exp(-b[0] * x) / (b[1] + b[2] * x); }},
      {"Roszman1",
       {-4868.68, -4868.09, -4867.41, -3375.19, -3373.14, -3372.03, -2473.74, -2472.35, -2469.45,
        -1894.65, -1893.40, -1497.24, -1495.85, -1493.41, -1208.68, -1206.18, -1206.04, -997.92,
        -996.61,  -996.31,  -834.94,  -834.66,  -710.03,  -530.16,  -464.17},
       {0.252429, 0.252141, 0.251809, 0.297989, 0.296257, 0.295319, 0.339603, 0.337731, 0.333820,
        0.389510, 0.386998, 0.438864, 0.434887, 0.427893, 0.471568, 0.461699, 0.461144, 0.513532,
        0.506641, 0.505062, 0.535648, 0.533726, 0.568064, 0.612886, 0.624169},
       {{0.1, -0.00001, 1000, -100}, {0.2, -0.000005, 1200, -150}},
       {2.0196866396e-1, -6.1953516256e-6, 1.2044556708e3, -1.8134269537e2},
       4.9484847331e-4,
       [](const double* b, double x) {
         return b[0] - b[1] * x - std::atan(b[2] / (x - b[3])) / std::numbers::pi;
       }},
      {"Thurber",
       {-3.067, -2.981, -2.921, -2.912, -2.840, -2.797, -2.702, -2.699, -2.633, -2.481,
        -2.363, -2.322, -1.501, -1.460, -1.274, -1.212, -1.100, -1.046, -0.915, -0.714,
        -0.566, -0.545, -0.400, -0.309, -0.109, -0.103, 0.010,  0.119,  0.377,  0.790,
        0.963,  1.006,  1.115,  1.572,  1.841,  2.047,  2.200},
       {80.574,   84.248,   87.264,   87.195,   89.076,   89.608,   89.868,   90.101,   92.405,   95.854,
        100.696,  101.060,  401.672,  390.724,  567.534,  635.316,  733.054,  759.087,  894.206,  990.785,
        1090.109, 1080.914, 1122.643, 1178.351, 1260.531, 1273.514, 1288.339, 1327.543, 1353.863, 1414.509,
        1425.208, 1421.384, 1442.962, 1464.350, 1468.705, 1447.894, 1457.628},
       {{1000, 1000, 400, 40, 0.7, 0.3, 0.03}, {1300, 1500, 500, 75, 1, 0.4, 0.05}},
       {1.2881396800e3, 1.4910792535e3, 5.8323836877e2, 7.5416644291e1, 9.6629502864e-1, 3.9797285797e-1,
        4.9727297349e-2},
       5.6427082397e3,
       [](const double* b, double x) {
         return (b[0] + x * (b[1] + x * (b[2] + x * b[3]))) / (1.0 + x * (b[4] + x * (b[5] + x * b[6])));
       }},
  };
  NistProblem gauss = {"Gauss1",
                       {},
                       {},
                       {{97, 0.009, 100, 65, 20, 70, 178, 16.5}, {94, 0.0105, 99, 63, 25, 71, 180, 20}},
                       {9.8778210871e1, 1.0497276517e-2, 1.0048990633e2, 6.7481111276e1, 2.3129773360e1,
                        7.1994503004e1, 1.7899805021e2, 1.8389389025e1},
                       1.3158222432e3,
                       [](const double* b, double x) {
                         return b[0] * exp(-b[1] * x) + b[2] * exp(-pow((x - b[3]) / b[4], 2)) +
                                b[5] * exp(-pow((x - b[6]) / b[7], 2));
                       }};
  ReadNistData(folder + "/Gauss1.dat", gauss);
  NistProblem eckerle = {
      "Eckerle4",
      {},
      {},
      {{1, 10, 500}, {1.5, 5, 450}},
      {1.5543827178, 4.0888321754, 4.5154121844e2},
      1.4635887487e-3,
      [](const double* b, double x) { return b[0] / b[1] * exp(-0.5 * pow((x - b[2]) / b[1], 2)); }};
  ReadNistData(folder + "/Eckerle4.dat", eckerle);
  problems.push_back(std::move(gauss));
  problems.push_back(std::move(eckerle));
  return problems;
}

}  // namespace mth_test
