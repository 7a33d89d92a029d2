#include <gtest/gtest.h>

#include <cfenv>

#include "mth/core/Mth_instruction_set_internal.h"
#include "support/operations/operations.h"
#include "support/silent_display.h"

#if defined(__x86_64__)
#include <immintrin.h>
#endif

// Hosts that watch floating-point exceptions, round otherwise or flush subnormal numbers to zero.

namespace mth_test {
namespace {

using mth_internal::InstructionSet;

constexpr int kTraps = FE_INVALID | FE_DIVBYZERO | FE_OVERFLOW;

// Tells which exceptions a host that unmasked them would have died of.
class TrapTrial : public Trial {
 public:
  int raised = 0;

 protected:
  void Arm() override { std::feclearexcept(FE_ALL_EXCEPT); }
  void Disarm() override { raised |= std::fetestexcept(kTraps); }
};

std::string Names(int exceptions) {
  std::string names;
  if (exceptions & FE_INVALID) names += " invalid";
  if (exceptions & FE_DIVBYZERO) names += " division";
  if (exceptions & FE_OVERFLOW) names += " overflow";
  return names;
}

TEST(EveryOperation, RaisesNoExceptionThatAHostMayTrapOnOrdinaryInput) {
  const SilentDisplay display;
  for (const InstructionSet set : {InstructionSet::Baseline, InstructionSet::Avx2, InstructionSet::Avx512}) {
    const mth_internal::InstructionSetScope scope(set);
    for (const Operation& operation : AllOperations()) {
      TrapTrial trial;
      operation.run(trial);
      EXPECT_EQ(Names(trial.raised), "") << operation.name << ", instruction set " << static_cast<int>(set);
    }
  }
}

// A rounding mode and, on x86-64, flush-to-zero.
struct Mode {
  const char* name;
  int rounding;
  bool flushesToZero;
};

bool SetFlush([[maybe_unused]] bool flushesToZero) {
#if defined(__x86_64__)
  constexpr unsigned kFlushAndDenormals = 0x8040;
  _mm_setcsr((_mm_getcsr() & ~kFlushAndDenormals) | (flushesToZero ? kFlushAndDenormals : 0u));
#endif
  return true;
}

bool Flushes() {
#if defined(__x86_64__)
  return (_mm_getcsr() & 0x8040) == 0x8040;
#else
  return false;
#endif
}

class ModeTrial : public Trial {
 public:
  explicit ModeTrial(const Mode& mode) : mode_(mode) {}
  bool isKept = true;

 protected:
  void Arm() override {
    std::fesetround(mode_.rounding);
    if (mode_.flushesToZero) SetFlush(true);
  }
  void Disarm() override {
    isKept = isKept && std::fegetround() == mode_.rounding && (!mode_.flushesToZero || Flushes());
    std::fesetround(FE_TONEAREST);
    if (mode_.flushesToZero) SetFlush(false);
  }

 private:
  Mode mode_;
};

TEST(EveryOperation, EndsUnderEveryModeAndLeavesItAsItWas) {
  const Mode modes[] = {{"upward", FE_UPWARD, false},
                        {"downward", FE_DOWNWARD, false},
                        {"toward zero", FE_TOWARDZERO, false},
                        {"flush to zero", FE_TONEAREST, true}};
  const SilentDisplay display;
  for (const Operation& operation : AllOperations()) {
    Trial nearest;
    operation.run(nearest);
    for (const Mode& mode : modes) {
      ModeTrial trial(mode);
      operation.run(trial);
      EXPECT_TRUE(trial.isKept) << operation.name << ", " << mode.name;
      EXPECT_LE(trial.NotFinite(), nearest.NotFinite()) << operation.name << ", " << mode.name;
    }
  }
}

}  // namespace
}  // namespace mth_test
