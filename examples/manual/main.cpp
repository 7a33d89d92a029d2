// The programs of the manual's tour, one after the other. The pages quote them from here, and the tests run
// them.

#include <mth/Mth.h>
#include <std/Std.h>

#include <cmath>
#include <cstdio>
#include <memory>
#include <utility>
#include <vector>

namespace {

//! [matrices]
void SolveASystem() {
  MTH_MATRIX a(2, 2, 0);  // rows, columns, element type: 0 double, 1 float
  a.Set(0, 0, 4.0);
  a.Set(0, 1, 1.0);
  a.Set(1, 0, 2.0);
  a.Set(1, 1, 3.0);
  MTH_MATRIX b(2, 1, 0);
  b.Set(0, 0, 1.0);
  b.Set(1, 0, 8.0);

  const std::unique_ptr<MTH_MATRIX> x(a.SolveLinearSystemByLU(b));  // a new matrix: yours
  if (x->GetStatusError() != 0) {
    std::printf("%s\n", Mth_StatusText(x->GetStatusError()));  // in French, for people
    return;
  }
  std::printf("x = (%g, %g), |det| = %g\n", x->Get(0, 0), x->Get(1, 0), a.Det());
}
//! [matrices]

//! [clustering]
void FindTissues() {
  const double greys[] = {10.0, 11.0, 12.0, 80.0, 81.0, 82.0};
  MTH_CLUSTERING engine(2, 1);  // two clusters of one feature
  engine.AddSamples(greys, 6);
  engine.InitialiseCentroidsFromSamples(MTH_CENTROID_START::Quantiles);
  engine.ApplyFuzzyCMeanClustering();
  std::printf("centroids %.1f and %.1f, %s\n", engine.GetCentroid(0)->Get(0, 0),
              engine.GetCentroid(1)->Get(0, 0),
              engine.GetStopReason() == MTH_STOP_REASON::Converged ? "converged" : "not converged");
}
//! [clustering]

//! [minimising]
// (x - 3)^2 + 10 (y + 1)^2: derive, override Evaluate, call the minimiser you want.
class Bowl : public MTH_FUNCT {
 public:
  Bowl() : MTH_FUNCT(2) { SetDefined(true); }  // a start may be given
  void Evaluate() override {
    const double x = GetParameters()[0] - 3.0;
    const double y = GetParameters()[1] + 1.0;
    SetValue(x * x + 10.0 * y * y);
  }
};

void Minimise() {
  Bowl bowl;
  double start[] = {0.0, 0.0};
  short iterations = 0;
  bowl.ComputeOptimumPowell(start, 50, 1e-10, &iterations, false);
  std::printf("minimum at (%.3f, %.3f)\n", bowl.GetParameters()[0], bowl.GetParameters()[1]);
}
//! [minimising]

//! [fitting]
// y = a exp(-b x): residuals instead of a cost.
class Decay : public MTH_FUNCT {
 public:
  Decay(std::vector<double> x, std::vector<double> y) : MTH_FUNCT(2), x_(std::move(x)), y_(std::move(y)) {}
  void Evaluate() override {}  // least squares do without
  int GetResidualsCount() const override { return static_cast<int>(x_.size()); }
  bool EvaluateResiduals(double* residuals) override {
    const double* p = GetParameters();
    for (std::size_t i = 0; i < x_.size(); ++i) residuals[i] = p[0] * std::exp(-p[1] * x_[i]) - y_[i];
    return true;  // false ends the run
  }

 private:
  std::vector<double> x_;
  std::vector<double> y_;
};

void Fit() {
  Decay decay({0.0, 1.0, 2.0, 3.0, 4.0}, {8.1, 3.9, 2.1, 0.9, 0.6});
  const double start[] = {1.0, 1.0};
  int iterations = 0;
  if (!decay.ComputeOptimumLeastSquares(start, 1e-12, 100, &iterations)) return;
  const double* covariance = decay.GetCovariance();  // 2 x 2, row by row
  std::printf("a = %.2f +- %.2f, b = %.2f +- %.2f\n", decay.GetParameters()[0], std::sqrt(covariance[0]),
              decay.GetParameters()[1], std::sqrt(covariance[3]));
}
//! [fitting]

//! [registering]
void RegisterLandmarks() {
  MTH_3D_DOUBLE first[] = {{0, 0, 0}, {10, 0, 0}, {0, 10, 0}, {0, 0, 10}};
  MTH_3D_DOUBLE second[] = {{5, 0, 0}, {5, 10, 0}, {-5, 0, 0}, {5, 0, 10}};  // a quarter turn, and moved by 5
  MTH_MATRIX_CHGREF transform(4, first, second);
  if (!transform.ComputeFromSetsByQuaternion()) return;
  MTH_3D_DOUBLE mapped;
  transform.ChangeRef(MTH_3D_DOUBLE(1, 2, 3), &mapped);
  std::printf("(1, 2, 3) maps to (%.3f, %.3f, %.3f)\n", mapped.GetX(), mapped.GetY(), mapped.GetZ());
}
//! [registering]

//! [display]
// A host's own display: here it keeps the last message instead of showing it.
class QuietDisplay : public STD_DISPLAY {
 public:
  int ShowMessage(const std::string& text, MessageKind, const std::string& caption) override {
    std::printf("%s: %s\n", caption.c_str(), text.c_str());
    return 0;
  }
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override { return nullptr; }  // no progress window
};

void ReceiveMessages() {
  QuietDisplay display;
  const STD_DISPLAY_SCOPE scope(&display);  // the former display is back at the end of the scope
  MTH_MATRIX singular(1, 1, 0);
  singular.Set(0, 0, 0.0);
  MTH_MATRIX b(1, 1, 0);
  b.Set(0, 0, 1.0);
  const std::unique_ptr<MTH_MATRIX> x(singular.SolveLinearSystemBySVD(b));
}
//! [display]

}  // namespace

int main() {
  SolveASystem();
  FindTissues();
  Minimise();
  Fit();
  RegisterLandmarks();
  ReceiveMessages();
}
