#pragma once

#include <cstdio>
#include <fstream>
#include <string>
#include <vector>

#include "clustering/literal_clustering.h"

namespace mth_test {

/// The 150 flowers of Fisher's Iris, four measures each, species by species.
inline Rows ReadIris() {
  Rows flowers;
  std::ifstream file(std::string(MTH_DATA_DIR) + "/reference/iris.csv");
  for (std::string line; std::getline(file, line);) {
    std::vector<double> flower(4);
    if (std::sscanf(line.c_str(), "%lf,%lf,%lf,%lf", &flower[0], &flower[1], &flower[2], &flower[3]) == 4)
      flowers.push_back(flower);
  }
  return flowers;
}

}  // namespace mth_test
