#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/optimise/Mth_funct.h"
#include "mth/optimise/Mth_funct_internal.h"
#include "mth/statistics/Mth_random.h"

// Simulated annealing over the moves that the cost function defines.

namespace {

using mth_internal::CopyPoint;

constexpr const char* kTitle = "Minimise par Recuit simulé";
constexpr short kRandomStream = 0;
constexpr int kLargestRandom = 32767;

class Annealing {
 public:
  // From the parameters, whose cost is the value.
  explicit Annealing(MTH_FUNCT& cost)
      : cost_(cost),
        settings_(*cost.GetSimAnnParam()),
        n_(cost.GetParametersCount()),
        bestPoint_(n_),
        temperature_(settings_.initialTemperature),
        currentCost_(cost.GetValue()),
        bestCost_(currentCost_),
        stageCost_(currentCost_) {
    if (bestPoint_) CopyPoint(cost.GetParameters(), n_, bestPoint_.Get());
  }

  bool IsAllocated() const { return static_cast<bool>(bestPoint_); }
  double BestCost() const { return bestCost_; }
  std::int64_t MovesCount() const { return moves_; }

  void RunStage() {
    stageCost_ = bestCost_;
    int rejections = 0;
    int transitions = 0;
    do {
      Move(rejections);
      ++transitions;
      ++moves_;
      // Rejections are compared for equality: a negative limit never ends a stage. A stage always has an end.
    } while (rejections != settings_.rejectionsPerStage && transitions < settings_.transitionsPerStage);
    const bool hasImproved = stageCost_ < bestCost_;
    if (hasImproved) bestCost_ = stageCost_;
    staleStages_ = hasImproved ? 0 : staleStages_ + 1;
    settings_.stepAmplitude *= settings_.amplitudeFactor;
    temperature_ *= settings_.temperatureFactor;
    ++stages_;
  }

  bool IsOver() const {
    return stages_ >= settings_.maximumStages || temperature_ < settings_.finalTemperature ||
           staleStages_ >= settings_.stagesWithoutImprovement;
  }

  void KeepBest() {
    CopyPoint(bestPoint_.Get(), n_, cost_.GetParameters());
    cost_.SetValue(stageCost_);
  }

 private:
  // One move and its acceptance. A change that is NaN is neither: the move stays, and counts for nothing.
  void Move(int& rejections) {
    cost_.SimAnnComputeTransition();
    cost_.Evaluate();
    const double change = cost_.GetValue() - currentCost_;
    if (change > 0.0 && IsRejected(change)) {
      ++rejections;
      cost_.SimAnnComputeInverseTransition();  // intended: the cost before the move is kept, not taken anew
    } else if (change > 0.0) {
      rejections = 0;
      currentCost_ = cost_.GetValue();  // intended: a worse point is never the best one
    } else if (change <= 0.0) {
      rejections = 0;
      currentCost_ = cost_.GetValue();
      KeepIfBest();
    }
  }

  bool IsRejected(double change) const {
    const double drawn = Mth_Random1(kRandomStream);
    return std::exp(-change / temperature_) <= drawn;
  }

  void KeepIfBest() {
    if (!(currentCost_ <= stageCost_)) return;  // the last of equally good points wins
    stageCost_ = currentCost_;
    CopyPoint(cost_.GetParameters(), n_, bestPoint_.Get());
  }

  MTH_FUNCT& cost_;
  SIMULATED_ANNEALING_PARAM& settings_;
  int n_;
  mth_internal::WorkArray<double> bestPoint_;
  double temperature_;
  double currentCost_;
  double bestCost_;
  double stageCost_;
  int stages_ = 0;
  int staleStages_ = 0;
  std::int64_t moves_ = 0;
};

}  // namespace

void MTH_FUNCT::SetSimAnnParam(SIMULATED_ANNEALING_PARAM* p) {
  if (p != nullptr && annealing_) *annealing_ = *p;
}

bool MTH_FUNCT::ComputeOptimumSimmulatedAnnealing(SIMULATED_ANNEALING_PARAM* p, double* start,
                                                  short /*reserved1*/, double /*reserved2*/,
                                                  short* iterations) {
  const mth_internal::IterationCount<short> count(iterations);
  if (p == nullptr || parametersCount_ == 0) return false;
  SetSimAnnParam(p);
  SetParameters(start);
  InitialiseSimAnn();
  if (!Mth_InitRandom1(kRandomStream)) return false;
  Evaluate();
  const double startCost = value_;
  Annealing annealing(*this);
  if (!annealing.IsAllocated()) return false;
  mth_internal::OptimisationProgress progress(kTitle, annealing_->maximumStages);
  do {
    annealing.RunStage();
    progress.Step();
  } while (!annealing.IsOver());
  annealing.KeepBest();
  *count = static_cast<short>(annealing.MovesCount());
  return annealing.BestCost() < startCost;
}

bool MTH_FUNCT::SimulatedAnnealingProba(double T, double dE) {
  // The low 15 bits, so that the number lies in [0, 1] whatever the range of the C library's generator.
  const int drawn = std::rand() & kLargestRandom;
  return std::exp(-dE / T) > drawn * (1.0 / kLargestRandom);
}
