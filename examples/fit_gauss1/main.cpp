// Fits a published data set, NIST StRD Gauss1: two Gaussian peaks on a decaying background.
//   fit_gauss1 data/reference/Gauss1.dat

#include <mth/optimise/Mth_funct.h>

#ifndef MTH_EXAMPLE_VERSION
#define MTH_EXAMPLE_VERSION "unknown"
#endif

#include <cmath>
#include <cstdio>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

//! [cost]
// b2 is taken in hundredths, so that a change of 1 matters in every parameter:
// y = b1 exp(-b2 x / 100) + b3 exp(-(x - b4)^2 / b5^2) + b6 exp(-(x - b7)^2 / b8^2).
class TwoPeaksCost : public MTH_FUNCT {
 public:
  TwoPeaksCost(std::vector<double> x, std::vector<double> y)
      : MTH_FUNCT(8), x_(std::move(x)), y_(std::move(y)) {
    SetDefined(true);  // the minimisers may set the parameters to a start
  }

  // Reads the parameters, stores the cost: here the sum of the squared residuals.
  void Evaluate() override {
    const double* b = GetParameters();
    double sum = 0.0;
    for (std::size_t i = 0; i < x_.size(); ++i) {
      const double background = b[0] * std::exp(-0.01 * b[1] * x_[i]);
      const double first = b[2] * std::exp(-(x_[i] - b[3]) * (x_[i] - b[3]) / (b[4] * b[4]));
      const double second = b[5] * std::exp(-(x_[i] - b[6]) * (x_[i] - b[6]) / (b[7] * b[7]));
      const double residual = y_[i] - (background + first + second);
      sum += residual * residual;
    }
    SetValue(sum);
  }

 private:
  std::vector<double> x_;
  std::vector<double> y_;
};
//! [cost]

// Whether what was printed has found its way out.
bool IsPrinted() {
  return std::fflush(stdout) == 0 && std::ferror(stdout) == 0;
}

int main(int argc, char** argv) {
  const std::string word = argc > 1 ? argv[1] : "";
  if (word == "--version" || word == "--help") {
    std::puts(word == "--help" ? "fit_gauss1 [PATH OF Gauss1.dat]" : "fit_gauss1 " MTH_EXAMPLE_VERSION);
    return IsPrinted() ? 0 : 2;
  }
  std::ifstream file(argc > 1 ? argv[1] : "data/reference/Gauss1.dat");
  std::string line;
  for (int i = 0; i < 60; ++i) std::getline(file, line);  // the data start at line 61
  std::vector<double> x;
  std::vector<double> y;
  for (double ordinate = 0.0, abscissa = 0.0; file >> ordinate >> abscissa;) {
    y.push_back(ordinate);
    x.push_back(abscissa);
  }

  if (x.empty()) {
    std::fprintf(stderr, "fit_gauss1: no data; give the path of Gauss1.dat\n");
    return 2;
  }
  //! [fit]
  TwoPeaksCost cost(x, y);
  double start[] = {94.0, 1.05, 99.0, 63.0, 25.0, 71.0, 180.0, 20.0};  // the published second start
  short iterations = 0;
  const bool hasImproved = cost.ComputeOptimumPowell(start, 500, 1e-12, &iterations, true);

  for (int i = 0; i < cost.GetParametersCount(); ++i)
    std::printf("b%d = %.7g\n", i + 1, cost.GetParameters()[i]);
  std::printf("residual sum of squares %.9g after %d iterations\n", cost.GetValue(), iterations);
  //! [fit]

  if (!IsPrinted()) {
    std::fprintf(stderr, "fit_gauss1: cannot write to standard output\n");
    return 2;
  }

  constexpr double kCertified = 1315.8222432;
  return hasImproved && cost.GetValue() < kCertified * (1.0 + 1e-6) ? 0 : 1;
}
