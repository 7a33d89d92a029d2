#pragma once

#include "mth/statistics/Mth_random.h"

namespace mth_python {

/// While it lives the random streams find its seed where they look for the time of day. Needs the
/// interpreter's lock from first to last.
class SeedClock {
 public:
  explicit SeedClock(int seed) {
    seed_ = seed;
    former_ = Mth_SetRandomClock([] { return seed_; });
  }
  SeedClock(const SeedClock&) = delete;
  SeedClock& operator=(const SeedClock&) = delete;
  ~SeedClock() { Mth_SetRandomClock(former_); }

 private:
  inline static int seed_ = 0;
  decltype(Mth_SetRandomClock(nullptr)) former_;
};

}  // namespace mth_python
