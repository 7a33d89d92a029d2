#pragma once

#include <vector>

#include "mth/statistics/Mth_descriptive.h"

namespace mth_test {

using Values = std::vector<double>;

inline int Size(const Values& values) {
  return static_cast<int>(values.size());
}

/// The results of a rank correlation; what it does not write stays at -9.
struct Spearman {
  double d = -9.0, zd = -9.0, probd = -9.0, rs = -9.0, probrs = -9.0;
  Spearman(Values x, Values y) {
    Mth_CorrelationRatioOfSpearman(x.data(), y.data(), Size(x), &d, &zd, &probd, &rs, &probrs);
  }
};

}  // namespace mth_test
