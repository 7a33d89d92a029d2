// Runs a fuzzer without libFuzzer: fuzzer [RUNS [SEED [FILE ...]]]. First the files, or with none the corpus
// of the fuzzer's name, then random inputs. An input that ends the program is left in crash-<fuzzer>.

#include <algorithm>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t count);

namespace {

namespace fs = std::filesystem;

std::vector<std::uint8_t> input;
std::string fuzzer;

void KeepInput(int signal) {
  std::FILE* file = std::fopen(("crash-" + fuzzer).c_str(), "wb");
  if (file != nullptr) {
    std::fwrite(input.data(), 1, input.size(), file);
    std::fclose(file);
  }
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

void Run() {
  LLVMFuzzerTestOneInput(input.data(), input.size());
}

void RunFile(const fs::path& path) {
  std::ifstream file(path, std::ios::binary);
  input.assign(std::istreambuf_iterator<char>(file), {});
  Run();
}

}  // namespace

int main(int argumentsCount, char** arguments) {
  fuzzer = fs::path(arguments[0]).filename().string();
  for (const int signal : {SIGABRT, SIGSEGV, SIGFPE, SIGILL}) std::signal(signal, KeepInput);
#ifdef SIGBUS  // Windows has none
  std::signal(SIGBUS, KeepInput);
#endif
  const long runs = argumentsCount > 1 ? std::atol(arguments[1]) : 1000;
  std::mt19937 random(argumentsCount > 2 ? static_cast<unsigned>(std::atol(arguments[2])) : 1U);

  std::vector<fs::path> files(arguments + std::min(argumentsCount, 3), arguments + argumentsCount);
  const fs::path corpus = fs::path(MTH_FUZZ_CORPUS) / fuzzer;
  if (files.empty() && fs::is_directory(corpus)) files.assign(fs::directory_iterator(corpus), {});
  std::sort(files.begin(), files.end());  // the same on every file system
  for (const fs::path& path : files) RunFile(path);
  for (long run = 0; run < runs; ++run) {
    input.resize(random() % (1024U >> random() % 8));  // mostly short, which is fast
    for (std::uint8_t& byte : input) byte = static_cast<std::uint8_t>(random());
    Run();
  }
  std::printf("%s: %zu files and %ld random inputs without a finding\n", fuzzer.c_str(), files.size(), runs);
}
