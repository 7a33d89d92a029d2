#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <random>
#include <string>

#include "mth/matrix/Mth_matrix.h"

#if defined(__unix__) || defined(__APPLE__)
#include <sys/stat.h>
#include <unistd.h>
#define MTH_HAS_PIPES
#endif

// A large matrix into a new file, beside a plain fwrite of the same elements and, where there is one, NumPy.
// The time is that of the clock: much of the work is the system's. The file is removed outside the time.

namespace {

using benchmark::State;

// A folder of its own that goes with everything in it.
class TemporaryFolder {
 public:
  TemporaryFolder() {
    path_ = std::filesystem::temp_directory_path() / ("mth_save_" + std::to_string(std::random_device{}()));
    std::filesystem::create_directory(path_);
  }
  ~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  std::string File(const char* name) const { return (path_ / name).string(); }

 private:
  std::filesystem::path path_;
};

const MTH_MATRIX& Saved(int n) {
  static const MTH_MATRIX matrix = [n] {
    MTH_MATRIX made(n, n, 0);
    for (int i = 0; i < n; ++i) {
      for (int j = 0; j < n; ++j) made.Set(i, j, 1.0 + i - 0.5 * j);
    }
    return made;
  }();
  return matrix;
}

// Measures save(path), which is false when it fails. Not the first one, whose pages are new to the process.
template <class SaveTo>
void MeasureSave(State& state, SaveTo saveTo) {
  const TemporaryFolder folder;
  const std::string path = folder.File("matrix");
  bool isSaved = saveTo(path);
  for (auto _ : state) {
    state.PauseTiming();
    std::filesystem::remove(path);
    state.ResumeTiming();
    isSaved = saveTo(path) && isSaved;
  }
  if (!isSaved) state.SkipWithError("no room for the file");
}

void Save(State& state) {
  const MTH_MATRIX& matrix = Saved(static_cast<int>(state.range(0)));
  MeasureSave(state, [&](const std::string& path) {
    matrix.Save(path);
    return matrix.GetStatusError() == 0;
  });
}

void Write(State& state) {
  const MTH_MATRIX& matrix = Saved(static_cast<int>(state.range(0)));
  const auto count = static_cast<std::size_t>(state.range(0) * state.range(0));
  MeasureSave(state, [&](const std::string& path) {
    std::FILE* const file = std::fopen(path.c_str(), "wb");
    if (file == nullptr) return false;
    const bool isWritten = std::fwrite(matrix.GetEDataAddress(), sizeof(double), count, file) == count;
    return std::fclose(file) == 0 && isWritten;
  });
}

void Sizes(benchmark::internal::Benchmark* run) {
  run->Arg(4096)->Unit(benchmark::kMillisecond)->MinTime(0.1);
}
BENCHMARK(Save)->Name("Save/mth")->Apply(Sizes)->UseRealTime();
BENCHMARK(Write)->Name("Save/fwrite")->Apply(Sizes)->UseRealTime();

#ifdef MTH_HAS_PIPES
// NumPy in a process of its own, which saves whenever it reads a line and answers with the seconds it took.
class NumPy {
 public:
  NumPy(const TemporaryFolder& folder, std::int64_t n) {
    const std::string answers = folder.File("answers");
    if (mkfifo(answers.c_str(), 0600) != 0) return;
    const std::string rest = " -c '" + std::string(kProgram) + "' " + std::to_string(n) + " '" +
                             folder.File("matrix") + "' 2>/dev/null";
    // The first Python may be one that has no NumPy.
    const std::string command = "(python3" + rest + " || /usr/bin/python3" + rest + ") >'" + answers + "'";
    asks_ = popen(command.c_str(), "w");
    answers_ = std::fopen(answers.c_str(), "r");
  }
  ~NumPy() {
    if (asks_ != nullptr) pclose(asks_);
    if (answers_ != nullptr) std::fclose(answers_);
  }
  NumPy(const NumPy&) = delete;
  NumPy& operator=(const NumPy&) = delete;

  // Negative without NumPy.
  double SecondsOfSave() {
    double seconds = -1.0;
    if (asks_ == nullptr || answers_ == nullptr || !IsReady()) return seconds;
    std::fputs("save\n", asks_);
    std::fflush(asks_);
    return std::fscanf(answers_, "%lf", &seconds) == 1 ? seconds : -1.0;
  }

 private:
  static constexpr const char* kProgram = R"(
import sys, time, numpy
n = int(sys.argv[1])
a = 1.0 + numpy.arange(n)[:, None] - 0.5 * numpy.arange(n)
print("ready", flush=True)
for line in sys.stdin:
    start = time.perf_counter()
    with open(sys.argv[2], "wb") as file:
        numpy.save(file, a)
    print(time.perf_counter() - start, flush=True)
)";

  // What is told once, before anything is asked: a line to a process that has ended would end this one.
  bool IsReady() {
    char word[8];
    if (!isReady_) isReady_ = std::fscanf(answers_, "%7s", word) == 1;
    return isReady_;
  }

  std::FILE* asks_ = nullptr;
  std::FILE* answers_ = nullptr;
  bool isReady_ = false;
};

void SaveByNumPy(State& state) {
  const TemporaryFolder folder;
  NumPy numpy(folder, state.range(0));
  for (auto _ : state) {
    std::filesystem::remove(folder.File("matrix"));
    const double seconds = numpy.SecondsOfSave();
    if (seconds < 0.0) return state.SkipWithError("needs NumPy");
    state.SetIterationTime(seconds);
  }
}
BENCHMARK(SaveByNumPy)->Name("Save/numpy.save")->Apply(Sizes)->UseManualTime();
#endif

}  // namespace
