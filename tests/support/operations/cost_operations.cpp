#include <optional>

#include "support/operations/operations.h"
#include "support/operations/scratch_file.h"

// The costs that the library brings, evaluated and minimised.

namespace mth_test {
namespace {

// A pulse that falls off on both sides of its middle, with noise; no function of the C library in it.
std::vector<double> Pulse(int count, unsigned seed) {
  Numbers numbers(seed);
  std::vector<double> samples(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) {
    const int fromMiddle = i - count / 3;
    samples[static_cast<std::size_t>(i)] = 12.0 / (1 + fromMiddle * fromMiddle / 3) + 0.125 * numbers();
  }
  return samples;
}

void CountState(Trial& t, const MTH_FUNCT& cost) {
  t.Count(cost.GetParameters(), cost.GetParametersCount());
  t.Count(cost.GetValue());
}

void MinimiseByPowell(Trial& t, MTH_FUNCT& cost, std::vector<double> start) {
  short iterations = -1;
  cost.SetDefined(true);
  t([&] { return cost.ComputeOptimumPowell(start.data(), 6, 1e-6, &iterations, false); });
  t.Count(iterations);
  CountState(t, cost);
}

void EvaluateAt(Trial& t, MTH_FUNCT& cost, std::vector<double> point) {
  cost.SetDefined(true);
  cost.SetParameters(point.data());
  t([&] { cost.Evaluate(); });
  CountState(t, cost);
}

void AddPulseCosts(Operations& list) {
  list.push_back({"optimise/cost/Gauss/Evaluate", [](Trial& t) {
                    for (const int count : {1, 7, 16, 33, 200}) {
                      auto data = Pulse(count, 800);
                      std::optional<MTH_FUNCT_AJUST_GAUSS_COST> cost;
                      t([&] { cost.emplace(data.data(), count, 2); });
                      for (unsigned seed = 0; seed < 5; ++seed) {
                        auto p = Values(6, 810 + seed, 1.0, 9.0);
                        if (cost->GetParameters() != nullptr) EvaluateAt(t, *cost, p);
                      }
                    }
                  }});
  list.push_back({"optimise/cost/Gauss/minimise", [](Trial& t) {
                    auto data = Pulse(60, 801);
                    MTH_FUNCT_AJUST_GAUSS_COST cost(data.data(), 60, 2);
                    MinimiseByPowell(t, cost, {40.0, 20.0, 2.0, 9.0, 25.0, 8.0});
                  }});
  list.push_back({"optimise/cost/Rayleigh/Evaluate", [](Trial& t) {
                    for (const int count : {1, 7, 16, 33, 200}) {
                      auto data = Pulse(count, 802);
                      MTH_FUNCT_AJUST_RAYLEIGH_COST cost(data.data(), count);
                      for (unsigned seed = 0; seed < 5; ++seed)
                        EvaluateAt(t, cost, Values(3, 820 + seed, 1.0, 9.0));
                    }
                  }});
  list.push_back({"optimise/cost/Rayleigh/minimise", [](Trial& t) {
                    auto data = Pulse(60, 803);
                    MTH_FUNCT_AJUST_RAYLEIGH_COST cost(data.data(), 60);
                    MinimiseByPowell(t, cost, {30.0, 15.0, 4.0});
                  }});
}

void AddCurveCosts(Operations& list) {
  list.push_back({"optimise/cost/catenary", [](Trial& t) {
                    auto x = Values(41, 804, -4.0, 4.0);
                    auto y = Values(41, 805, 2.0, 6.0);
                    std::optional<MTH_FUNCT_FIND_CHAINETTE> cost;
                    t([&] { cost.emplace(41, x.data(), y.data()); });
                    for (unsigned seed = 0; seed < 5; ++seed)
                      if (cost->GetParameters() != nullptr)
                        EvaluateAt(t, *cost, Values(2, 830 + seed, 1.0, 3.0));
                    t.Count(cost->GetModel(), cost->GetSamplesCount());
                    if (cost->GetParameters() != nullptr) MinimiseByPowell(t, *cost, {2.0, 0.5});
                  }});
  list.push_back({"optimise/cost/profile", [](Trial& t) {
                    auto x = Values(41, 806, 0.0, 40.0);
                    auto y = Pulse(41, 807);
                    std::optional<MTH_FUNCT_PROFILE_COST> cost;
                    t([&] { cost.emplace(41, x.data(), y.data()); });
                    for (unsigned seed = 0; seed < 5; ++seed)
                      if (cost->GetParameters() != nullptr)
                        EvaluateAt(t, *cost, Values(4, 840 + seed, 1.0, 12.0));
                    t.Count(cost->GetModel(), cost->GetSamplesCount());
                    if (cost->GetParameters() != nullptr) MinimiseByPowell(t, *cost, {1.0, 11.0, 13.0, 3.0});
                  }});
}

void AddProfileFiles(Operations& list) {
  list.push_back({"optimise/cost/profile/SaveProfile", [](Trial& t) {
                    auto x = Values(41, 808, -40.0, 40.0);
                    auto y = Pulse(41, 809);
                    MTH_FUNCT_PROFILE_COST cost(41, x.data(), y.data());
                    EvaluateAt(t, cost, {1.0, 11.0, 13.0, 3.0});
                    const TemporaryPath file;
                    t([&] { return cost.SaveProfile(file.Path().c_str()); });
                    t.Count(file.Bytes());
                  }});
  const std::pair<const char*, const char*> texts[] = {{"feeds", "0,1.5\n1,2.25\n2.5,-3e2\n"},
                                                       {"returns", "0,1.5\r\n1,2.25\r\n2.5,-3e2\r\n"},
                                                       {"broken", "0,1\nx,2\n3,4"}};
  for (const auto& [name, text] : texts) {
    list.push_back({std::string("optimise/cost/profile/LoadProfile/") + name, [text = text](Trial& t) {
                      const TemporaryPath file;
                      file.Write(text);
                      MTH_FUNCT_PROFILE_COST cost;
                      t([&] { return cost.LoadProfile(file.Path().c_str()); });
                      t.CountAll(cost.GetSamplesCount(), cost.GetReadCount());
                      t.Count(cost.GetAbscissae(), cost.GetSamplesCount());
                      t.Count(cost.GetOrdinates(), cost.GetSamplesCount());
                    }});
  }
}

}  // namespace

void AddCostOperations(Operations& list) {
  AddPulseCosts(list);
  AddCurveCosts(list);
  AddProfileFiles(list);
  list.push_back({"optimise/cost/change_of_reference", [](Trial& t) {
                    auto first = Points(23, 850);
                    auto second = Points(23, 851);
                    auto start = Values(6, 852, -60.0, 60.0);
                    std::optional<MTH_FUNCT_CHGREF_PARAM> cost;
                    t([&] { cost.emplace(start.data(), 23, first.data(), second.data()); });
                    if (cost->GetParameters() == nullptr) return;
                    EvaluateAt(t, *cost, start);
                    MinimiseByPowell(t, *cost, start);
                  }});
}

}  // namespace mth_test
