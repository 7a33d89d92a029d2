#pragma once

#include <cstdint>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_precise_product_internal.h"
#include "mth/decomposition/Mth_riccati_internal.h"

namespace mth_internal {

/// A relative change by Newton's method after which nothing is left to do: its square is rounding, and what
/// the step itself has been inaccurate by, too.
constexpr double kSettledChange = 1e-10;

/// What a Riccati equation leaves for a solution, and the closed loop, both to the digits of double however
/// much their terms cancel: steps of Newton's method with them end at a solution to the digits of double,
/// even where a rounding of one term would move it by many.
class RiccatiResidual {
 public:
  RiccatiResidual(std::int64_t states, std::int64_t inputs);
  explicit operator bool() const { return memory_ && order_ && product_; }

  /// Takes over B and R in these units.
  /// @param timeExponent  the power of two that A and G have been divided by.
  void Fill(const RiccatiSystem& system, const RiccatiUnits& units, int timeExponent);

  /// @param a, q      in the units of Fill.
  /// @param closed    receives A - B K, K the feedback of the solution.
  /// @param residual  receives what is left for x.
  /// @return          0, 1, 5 or 9 (R, or R + Bt X B in the discrete equation, is singular).
  int Find(SquareView a, SquareView q, SquareView x, bool isDiscrete, SquareView closed,
           SquareView residual) const;

  /// Steps of Newton's method until what they change is rounding. The arguments are those of Find.
  /// @param change  receives what the last step was, as Refine returns it.
  /// @param margin  as for Refine.
  int Improve(SquareView a, SquareView q, SquareView x, bool isDiscrete, SquareView closed, double* change,
              double* margin) const;

  /// After Find: B R^-1 Bt, or B (R + Bt X B)^-1 Bt.
  /// @return  as Find.
  int FindFeedback(SquareView feedback) const;

 private:
  enum Slot : std::int8_t { kStates, kImage, kGain, kCosts, kRight, kClosed, kSlots };
  PreciseMatrix Matrix(Slot slot, std::int64_t rows, std::int64_t columns) const;
  double* B() const { return memory_.Get() + 2 * kSlots * size_ * size_; }
  double* Bt() const { return B() + size_ * size_; }
  double* R() const { return B() + 2 * size_ * size_; }
  double* Work(int index) const { return B() + (3 + index) * size_ * size_; }

  PreciseMatrix Precise(Slot slot, const double* elements, std::int64_t rows, std::int64_t columns) const;
  int FindGain(SquareView a, SquareView x, bool isDiscrete) const;
  int SolveStep(const double* factors, const double* scales, const PreciseMatrix& right, double* step) const;
  int SolveForGain(const PreciseMatrix& costs, const PreciseMatrix& right, const PreciseMatrix& gain) const;

  // False when the host gives up.
  bool FindClosedLoop(SquareView a, const PreciseMatrix& loop) const;

  std::int64_t n_;
  std::int64_t m_;
  std::int64_t size_;
  PreciseProduct product_;
  WorkArray<double> memory_;
  WorkArray<int> order_;
};

}  // namespace mth_internal
