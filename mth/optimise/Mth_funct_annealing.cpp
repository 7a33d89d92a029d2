#include <cstdint>
#include <cstdlib>

#include "mth/core/Mth_elementary_internal.h"
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
constexpr int kMovesPerQuestion = 1000;  // whether the run is to end, within a stage

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

  // A stage that is cancelled ends there and then.
  void RunStage(const mth_internal::OptimisationProgress& progress) {
    stageCost_ = bestCost_;
    int rejections = 0;
    int transitions = 0;
    do {
      Move(rejections);
      ++transitions;
      ++moves_;
      if (transitions % kMovesPerQuestion == 0) isCancelled_ = progress.IsCancelRequested();
      // Rejections are compared for equality: a negative limit never ends a stage. A stage always has an end.
    } while (rejections != settings_.rejectionsPerStage && transitions < settings_.transitionsPerStage &&
             !isCancelled_);
    const bool hasImproved = stageCost_ < bestCost_;
    if (hasImproved) bestCost_ = stageCost_;
    staleStages_ = hasImproved ? 0 : staleStages_ + 1;
    settings_.stepAmplitude *= settings_.amplitudeFactor;
    temperature_ *= settings_.temperatureFactor;
    ++stages_;
  }

  bool IsCancelled() const { return isCancelled_; }
  bool HasConverged() const {
    return temperature_ < settings_.finalTemperature || staleStages_ >= settings_.stagesWithoutImprovement;
  }
  bool HasUsedUpItsStages() const { return stages_ >= settings_.maximumStages; }

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
    return mth_internal::Exponential(-change / temperature_) <= drawn;
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
  bool isCancelled_ = false;
  std::int64_t moves_ = 0;
};

MTH_STOP_REASON RunStages(Annealing& annealing, mth_internal::OptimisationProgress& progress) {
  for (;;) {
    annealing.RunStage(progress);
    progress.Step();
    if (annealing.IsCancelled()) return MTH_STOP_REASON::Cancelled;
    if (annealing.HasConverged()) return MTH_STOP_REASON::Converged;
    if (annealing.HasUsedUpItsStages()) return MTH_STOP_REASON::IterationCap;
    if (progress.IsCancelRequested()) return MTH_STOP_REASON::Cancelled;
  }
}

}  // namespace

void MTH_FUNCT::SetSimAnnParam(SIMULATED_ANNEALING_PARAM* p) {
  if (p != nullptr && annealing_) *annealing_ = *p;
}

bool MTH_FUNCT::ComputeOptimumSimmulatedAnnealing(SIMULATED_ANNEALING_PARAM* p, double* start,
                                                  short /*reserved1*/, double /*reserved2*/,
                                                  short* iterations) {
  if (iterations != nullptr) *iterations = 0;
  stopReason_ = MTH_STOP_REASON::BadInput;
  if (p == nullptr) return false;
  stopReason_ = MTH_STOP_REASON::NoMemory;
  if (!annealing_) return false;
  stopReason_ = MTH_STOP_REASON::NotRun;
  SetSimAnnParam(p);
  SetParameters(start);
  InitialiseSimAnn();
  if (!Mth_InitRandom1(kRandomStream)) return false;
  Evaluate();
  const double startCost = value_;
  Annealing annealing(*this);
  if (!annealing.IsAllocated()) {
    stopReason_ = MTH_STOP_REASON::NoMemory;
    return false;
  }
  mth_internal::OptimisationProgress progress(kTitle, annealing_->maximumStages);
  const MTH_STOP_REASON reason = RunStages(annealing, progress);
  annealing.KeepBest();
  EndRun(reason, true);
  if (iterations != nullptr) *iterations = static_cast<short>(annealing.MovesCount());
  return annealing.BestCost() < startCost;
}

bool MTH_FUNCT::SimulatedAnnealingProba(double T, double dE) {
  // The low 15 bits, so that the number lies in [0, 1] whatever the range of the C library's generator.
  const int drawn = std::rand() & kLargestRandom;
  return mth_internal::Exponential(-dE / T) > drawn * (1.0 / kLargestRandom);
}
