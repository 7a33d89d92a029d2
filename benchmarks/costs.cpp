// How the cost of each operation grows, and what values that are not finite or all equal add to it. Prints a
// line for each: the least processor time of interleaved repetitions at the largest size, the exponent of
// growth over that size, its half and its quarter, and the ratios to ordinary input with one NaN and with one
// infinity in the middle, and with all values equal; then how often each minimiser evaluates its cost.
//   costs [PART_OF_NAME]
//   costs --peers [PART_OF_NAME]   how the works that once grew too fast grow now, beside a peer of each

#include "costs.h"

#include <cstdio>
#include <ctime>
#include <iterator>

#include "std/Std.h"

using namespace mth_benchmark;

namespace {

class SilentDisplay : public STD_DISPLAY {
 public:
  int ShowMessage(const std::string&, MessageKind, const std::string&) override { return 1; }
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override { return nullptr; }
};

// In repetitions enough for the clock to see.
double Milliseconds(const Run& run) {
  constexpr std::clock_t kLeastTicks = CLOCKS_PER_SEC / 1000;
  const std::clock_t start = std::clock();
  int repetitions = 0;
  std::clock_t ticks = 0;
  for (; ticks < kLeastTicks; ++repetitions) {
    run();
    ticks = std::clock() - start;
  }
  return 1e3 * static_cast<double>(ticks) / CLOCKS_PER_SEC / repetitions;
}

}  // namespace

Values mth_benchmark::LeastTimes(const std::vector<Run>& runs) {
  constexpr int kLeastRepetitions = 3;
  constexpr double kLeastSeconds = 0.125;
  constexpr double kLongSeconds = 1.5;  // what takes longer once is not repeated
  Values least(runs.size(), std::numeric_limits<double>::infinity());
  const std::clock_t start = std::clock();
  const auto hasTaken = [=](double seconds) {
    return static_cast<double>(std::clock() - start) > seconds * CLOCKS_PER_SEC;
  };
  const auto isEnough = [=](int repetitions) {
    return hasTaken(repetitions < kLeastRepetitions ? kLongSeconds : kLeastSeconds);
  };
  for (int repetition = 0; repetition == 0 || !isEnough(repetition); ++repetition) {
    for (std::size_t i = 0; i < runs.size(); ++i) least[i] = std::min(least[i], Milliseconds(runs[i]));
  }
  return least;
}

// The slope of the line that fits three points one doubling apart best is that between the outer ones.
double mth_benchmark::Growth(double largest, double smallest) {
  return std::log2(largest / smallest) / 2.0;
}

namespace {

void Measure(const Case& measured) {
  std::vector<Run> runs;
  for (const Kind kind : kKinds) runs.push_back(measured.prepare(kind, measured.size));
  for (const int part : {2, 4}) runs.push_back(measured.prepare(Kind::Ordinary, measured.size / part));
  const Values times = LeastTimes(runs);
  std::printf("| %s | %d | %.3g ms | %.2f |", measured.name.c_str(), measured.size, times[0],
              Growth(times[0], times[5]));
  for (std::size_t i = 1; i < std::size(kKinds); ++i) std::printf(" %.2f |", times[i] / times[0]);
  std::printf("\n");
  std::fflush(stdout);
}

// How often the minimisers evaluate their costs, and what a single evaluation takes beside ordinary input.
void CountEvaluations(const Case& measured) {
  std::printf("| %s | %d |", measured.name.c_str(), measured.size);
  for (const Kind kind : kKinds) std::printf(" %ld |", measured.evaluations(kind, measured.size));
  std::printf("\n");
  std::fflush(stdout);
}

}  // namespace

int main(int count, char** arguments) {
  SilentDisplay display;
  const STD_DISPLAY_SCOPE scope(&display);
  const bool areBesidePeers = count > 1 && std::string("--peers") == arguments[1];
  const int place = areBesidePeers ? 2 : 1;
  const std::string part = count > place ? arguments[place] : "";
  if (areBesidePeers) {
    MeasureBesidePeers(part);
    return 0;
  }
  Cases cases;
  for (const auto add : {AddMatrices, AddValues, AddScalars, AddImages, AddClusterings, AddPointsAndCosts})
    add(cases);
  std::printf(
      "| operation | size | time | growth | one NaN | one infinity | all equal |\n"
      "|---|---|---|---|---|---|---|\n");
  for (const Case& measured : cases) {
    if (measured.name.find(part) != std::string::npos) Measure(measured);
  }
  std::printf(
      "\n| minimiser | size | evaluations | one NaN | one infinity | all equal |\n"
      "|---|---|---|---|---|---|\n");
  for (const Case& measured : cases) {
    if (measured.evaluations && measured.name.find(part) != std::string::npos) CountEvaluations(measured);
  }
}
