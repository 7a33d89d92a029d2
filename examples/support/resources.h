#pragma once

#include <sys/resource.h>

#include <chrono>
#if defined(__EMSCRIPTEN__)
#include <emscripten/heap.h>
#endif

namespace example {

/// The seconds since it was made.
class Stopwatch {
 public:
  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

/// The most memory that the program has held so far, in MiB.
inline double PeakMebibytes() {
#if defined(__EMSCRIPTEN__)
  return static_cast<double>(emscripten_get_heap_size()) / 1048576.0;  // which never shrinks
#else
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
#if defined(__APPLE__)
  return static_cast<double>(usage.ru_maxrss) / 1048576.0;  // told in bytes there, in KiB elsewhere
#else
  return static_cast<double>(usage.ru_maxrss) / 1024.0;
#endif
#endif
}

}  // namespace example
