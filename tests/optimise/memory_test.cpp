#include <gtest/gtest.h>

#include <fstream>

#include "mth/optimise/Mth_funct_ajust_gauss_cost.h"
#include "mth/optimise/Mth_funct_ajust_rayleigh_cost.h"
#include "mth/optimise/Mth_funct_find_chainette.h"
#include "mth/optimise/Mth_funct_profile_cost.h"
#include "support/allocation_faults.h"
#include "support/text_file.h"

namespace mth_test {
namespace {

// Rosenbrock's function; it allocates nothing.
class Valley : public MTH_FUNCT {
 public:
  Valley() : MTH_FUNCT(2) { SetDefined(true); }
  void Evaluate() override {
    const double* x = GetParameters();
    const double a = x[1] - x[0] * x[0];
    const double b = 1.0 - x[0];
    SetValue(100.0 * a * a + b * b);
  }
};

using Minimisation = bool (*)(MTH_FUNCT& cost, short limit);
double valley[] = {-1.2, 1.0};

const Minimisation kRuns[] = {
    [](MTH_FUNCT& cost, short limit) {
      return cost.ComputeOptimumPowell(valley, limit, 1e-14, nullptr, false);
    },
    [](MTH_FUNCT& cost, short limit) {
      cost.SetGradientStep(1e-4);
      return cost.ComputeOptimumQNBFGS(valley, limit > 5 ? 0.0 : 0.1, nullptr);
    },
    [](MTH_FUNCT& cost, short limit) { return cost.ComputeOptimum_Nelder_Mead(valley, 0.0, limit, nullptr); },
    [](MTH_FUNCT& cost, short limit) { return cost.Compute_Optimum_Steepes(valley, 0.0, limit, nullptr); },
};

TEST(Memory, EvaluationsAndLineSearchesAllocateNothing) {
  for (Minimisation run : kRuns) {
    const auto allocations = [run](short limit) {
      Valley cost;
      return ForEachAllocationFault([&] { return run(cost, limit); }, [](bool) {});
    };
    EXPECT_EQ(allocations(1), allocations(50));
  }
}

#if defined(__linux__)
// The second derivatives of 6,000 parameters would be 288 MB, 70,312 pages: zeros that nobody looks at stay
// with the system, which counts by some thousand pages on machines of many processors.
TEST(Memory, ManyParametersTouchNothingThatIsNotUsed) {
  class Many : public MTH_FUNCT {
   public:
    Many() : MTH_FUNCT(6000) {}
    void Evaluate() override { SetValue(GetParameters()[0]); }
  };
  const auto residentPages = [] {
    long total = 0;
    long resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident;
  };
  const long before = residentPages();
  Many cost;
  cost.Evaluate();
  EXPECT_EQ(cost.GetParametersCount(), 6000);
  EXPECT_LT(residentPages() - before, 20000);
  EXPECT_EQ(cost.GetHessian()[6000 * 6000 - 1], 0.0);
}
#endif

}  // namespace
}  // namespace mth_test
