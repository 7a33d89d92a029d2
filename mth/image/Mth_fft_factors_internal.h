#pragma once

#include <array>
#include <cstdint>

namespace mth_internal {

constexpr int kForward = 1;
constexpr int kInverse = -1;

/// A unit complex number that turns by a fixed angle at each step: the factors u of one stage, one after the
/// other. They follow from each other by rounded operations, which is part of the contract.
struct StageRotation {
  double c1;
  double c2;
  double u1 = 1.0;
  double u2 = 0.0;

  constexpr void Step() {
    const double next = u1 * c1 - u2 * c2;
    u2 = u1 * c2 + u2 * c1;
    u1 = next;
  }
};

/// The first factor of a stage, and how the stage's factors turn. Stage s has 2^s of them.
StageRotation RotationOfStage(int dir, int stage);

/// A row of factors.
struct Factors {
  const double* re;
  const double* im;

  Factors From(std::int64_t first) const { return {re + first, im + first}; }
};

/// Stages whose factors are in a table.
constexpr int kTabledStages = 12;
using FactorTable = std::array<Factors, kTabledStages>;

FactorTable TableFor(int dir);

/// Longer stages up to this number have a table of the first of every kStateSpan factors, in the direction
/// kInverse: chains of steps can then begin at many places at once.
constexpr int kStatedStages = 16;
constexpr int kStateSpan = 32;
Factors StatesOfStage(int stage);

}  // namespace mth_internal
