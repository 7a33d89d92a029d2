// Every minimiser on costs that answer anything: it ends, and what it leaves belongs together.

#include "fuzz/fuzz.h"

namespace mth_fuzz {
namespace {

// A quadratic form with a table of answers mixed in: NaN, infinities and steps where the input has them.
class Cost : public MTH_FUNCT {
 public:
  Cost(int n, std::vector<double> answers) : MTH_FUNCT(n), answers_(std::move(answers)) {}
  void Evaluate() override {
    ++evaluations;
    double value = 0.0;
    for (int i = 0; i < GetParametersCount(); ++i) value += (i + 1) * GetParameters()[i] * GetParameters()[i];
    constexpr long kPatience =
        100000;  // Levenberg-Marquardt has no cap of its own and may climb for very long
    if (evaluations > kPatience) value = std::numeric_limits<double>::quiet_NaN();
    if (!answers_.empty() && std::abs(value) < 1e9) {
      const auto cell = static_cast<std::size_t>(value);
      if (cell % 7 == 3) value = answers_[cell % answers_.size()];
    }
    SetValue(value);
    SetDefined(true);
  }
  void InitialiseSimAnn() override { SetValue(0.0); }
  bool SimAnnComputeTransition() override {
    GetParameters()[0] += GetSimAnnParam()->stepAmplitude;
    return true;
  }
  bool SimAnnComputeInverseTransition() override {
    GetParameters()[0] -= GetSimAnnParam()->stepAmplitude;
    return true;
  }

  long evaluations = 0;

 private:
  std::vector<double> answers_;
};

}  // namespace

void TryInput(const std::uint8_t* bytes, std::size_t count) {
  Input input(bytes, count);
  const int n = input.Whole(1, 4);
  const auto draw = input.Byte() < 128 ? &Input::Moderate : &Input::Any;
  Cost cost(n, input.Numbers(input.Whole(0, 6), &Input::Any));
  std::vector<double> start = input.Numbers(n, draw);
  cost.SetGradientStep(input.Byte() < 200 ? 0.01 : input.Any());
  cost.SetSimplexSize(input.Moderate());
  cost.SetConstant_for_Steepes_Optimization(input.Moderate());
  short iterations = 0;
  int wholeIterations = 0;
  const double tolerance = input.Byte() < 200 ? 1e-6 : input.Any();
  const int cap = input.Whole(-1, 30);
  switch (input.Whole(0, 4)) {
    case 0:
      cost.ComputeOptimumPowell(start.data(), static_cast<short>(cap), tolerance, &iterations, false);
      break;
    case 1:
      cost.ComputeOptimumQNBFGS(start.data(), tolerance, &iterations);
      break;
    case 2:
      cost.ComputeOptimum_Nelder_Mead(start.data(), tolerance, cap, &wholeIterations);
      break;
    case 3:
      cost.Compute_Optimum_Steepes(start.data(), tolerance, cap, &wholeIterations);
      break;
    default:
      cost.ComputeOptimumMarLev(&iterations);
  }
  Require(cost.evaluations < 1000000);
  cost.EvaluateAtPoint(cost.GetParameters());
}

}  // namespace mth_fuzz
