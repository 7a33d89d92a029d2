#include <cmath>
#include <cstddef>
#include <iterator>

#include "mth/image/Mth_fft_factors_internal.h"

namespace mth_internal {
namespace {

constexpr StageRotation kFirstStage{-1.0, 0.0};

// The rotation of the next stage, by the half-angle formulas.
StageRotation HalfAngle(const StageRotation& stage, int dir) {
  const double c2 = std::sqrt((1.0 - stage.c1) / 2.0);
  return {std::sqrt((1.0 + stage.c1) / 2.0), dir == kForward ? -c2 : c2};
}

// What the half-angle formulas give for the stages in the tables, which the compiler computes: their
// c1 and the c2 of the positive kernel.
constexpr StageRotation kHalfAngles[kStatedStages] = {{-1.0, 0.0},
                                                      {0.0, 1.0},
                                                      {0x1.6a09e667f3bcdp-1, 0x1.6a09e667f3bcdp-1},
                                                      {0x1.d906bcf328d46p-1, 0x1.87de2a6aea962p-2},
                                                      {0x1.f6297cff75cb0p-1, 0x1.8f8b83c69a60cp-3},
                                                      {0x1.fd88da3d12526p-1, 0x1.917a6bc29b42fp-4},
                                                      {0x1.ff621e3796d7ep-1, 0x1.91f65f10dd7f5p-5},
                                                      {0x1.ffd886084cd0dp-1, 0x1.92155f7a3665ap-6},
                                                      {0x1.fff62169b92dbp-1, 0x1.921d1fcdec626p-7},
                                                      {0x1.fffd8858e8a92p-1, 0x1.921f0fe670767p-8},
                                                      {0x1.ffff621621d02p-1, 0x1.921f8beccbd5ep-9},
                                                      {0x1.ffffd88586ee6p-1, 0x1.921faaee60d6fp-10},
                                                      {0x1.fffff62161a34p-1, 0x1.921fb2aee1ba8p-11},
                                                      {0x1.fffffd8858675p-1, 0x1.921fb49eceff7p-12},
                                                      {0x1.ffffff621619bp-1, 0x1.921fb5190a222p-13},
                                                      {0x1.ffffffd885867p-1, 0x1.921fb546e04f1p-14}};

// Factor j of the stage of span l is number l + j, j < l.
struct ConstantFactors {
  double re[1 << kTabledStages];
  double im[1 << kTabledStages];
};

constexpr ConstantFactors ComputeConstantFactors(int dir) {
  ConstantFactors factors{};
  for (int stage = 0; stage < kTabledStages; ++stage) {
    StageRotation turning = kHalfAngles[stage];
    if (dir == kForward && stage > 0) turning.c2 = -turning.c2;
    for (int j = 1 << stage; j < 2 << stage; ++j, turning.Step()) {
      factors.re[j] = turning.u1;
      factors.im[j] = turning.u2;
    }
  }
  return factors;
}

constexpr ConstantFactors kForwardFactors = ComputeConstantFactors(kForward);
constexpr ConstantFactors kPositiveFactors = ComputeConstantFactors(kInverse);

template <int kStage>
struct ConstantStates {
  static constexpr int kCount = (1 << kStage) / kStateSpan;
  double re[kCount];
  double im[kCount];
};

template <int kStage>
constexpr ConstantStates<kStage> ComputeConstantStates() {
  ConstantStates<kStage> states{};
  StageRotation turning = kHalfAngles[kStage];
  for (int i = 0; i < ConstantStates<kStage>::kCount; ++i) {
    states.re[i] = turning.u1;
    states.im[i] = turning.u2;
    for (int j = 0; j < kStateSpan; ++j) turning.Step();
  }
  return states;
}

template <int kStage>
constexpr ConstantStates<kStage> kStates = ComputeConstantStates<kStage>();

}  // namespace

Factors StatesOfStage(int stage) {
  constexpr Factors kAll[] = {{kStates<12>.re, kStates<12>.im},
                              {kStates<13>.re, kStates<13>.im},
                              {kStates<14>.re, kStates<14>.im},
                              {kStates<15>.re, kStates<15>.im}};
  static_assert(std::size(kAll) == kStatedStages - kTabledStages);
  return kAll[stage - kTabledStages];
}

StageRotation RotationOfStage(int dir, int stage) {
  StageRotation rotation = kFirstStage;
  for (int s = 0; s < stage; ++s) rotation = HalfAngle(rotation, dir);
  return rotation;
}

FactorTable TableFor(int dir) {
  const ConstantFactors& constants = dir == kForward ? kForwardFactors : kPositiveFactors;
  FactorTable table;
  for (std::size_t stage = 0; stage < kTabledStages; ++stage) {
    table[stage] = Factors{constants.re, constants.im}.From(std::int64_t{1} << stage);
  }
  return table;
}

}  // namespace mth_internal
