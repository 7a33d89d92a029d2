#include <limits>
#include <string>

#include "support/operations/operations.h"

// Fourier transforms, Laplacians and texture features.

namespace mth_test {
namespace {

void AddFourierTransforms(Operations& list) {
  for (const int dir : {1, -1}) {
    const std::string direction = dir == 1 ? "forward" : "inverse";
    for (const int m : {0, 1, 2, 3, 4, 5, 7, 10}) {
      list.push_back({"image/Mth_FFT/" + direction + "/" + std::to_string(1 << m), [dir, m](Trial& t) {
                        auto re = Values(1 << m, 400);
                        auto im = Values(1 << m, 401);
                        t([&] { return Mth_FFT(dir, m, re.data(), im.data()); });
                        t.CountAll(re, im);
                      }});
    }
    for (const auto& [nx, ny] : {std::pair(4, 4), std::pair(8, 16), std::pair(32, 4), std::pair(64, 32)}) {
      list.push_back(
          {"image/Mth_FFT2D/" + direction + "/" + Shape(nx, ny), [dir, nx = nx, ny = ny](Trial& t) {
             const auto values = Values(2 * nx * ny, 402);
             std::vector<MTH_COMPLEX> cells;
             for (std::size_t i = 0; i < values.size(); i += 2) cells.emplace_back(values[i], values[i + 1]);
             std::vector<MTH_COMPLEX*> rows;
             for (int i = 0; i < nx; ++i) rows.push_back(&cells[static_cast<std::size_t>(i * ny)]);
             t([&] { return Mth_FFT2D(rows.data(), nx, ny, dir); });
             t.Count(cells);
           }});
    }
  }
  list.push_back({"image/Mth_Powerof2", [](Trial& t) {
                    for (int n = 0; n < 70; ++n) {
                      int m = -1;
                      int power = -1;
                      t([&] { return Mth_Powerof2(n, &m, &power); });
                      t.CountAll(m, power);
                    }
                  }});
}

void AddLaplacians(Operations& list) {
  constexpr std::pair<int, int> kImages[] = {{1, 1},  {1, 9}, {2, 5},  {3, 3},
                                             {3, 20}, {4, 4}, {9, 33}, {40, 70}};
  for (const auto& [type, typeName] : kElementTypes) {
    for (const auto& [rows, columns] : kImages) {
      list.push_back({"image/Mth_ComputeLaplacien/" + std::string(typeName) + "/" + Shape(rows, columns),
                      [type = type, rows = rows, columns = columns](Trial& t) {
                        MTH_MATRIX in = Matrix(rows, columns, type, 410);
                        MTH_MATRIX out = Matrix(rows, columns, type, 411);
                        t([&] { return Mth_ComputeLaplacien(&in, &out, type); });
                        t.Count(out);
                      }});
    }
  }
  constexpr int kVolumes[][3] = {{1, 1, 1}, {2, 3, 4}, {3, 3, 3}, {5, 4, 3}, {17, 9, 6}, {35, 20, 12}};
  for (const auto& [nx, ny, nz] : kVolumes) {
    const std::string size = Shape(nx, ny) + "x" + std::to_string(nz);
    const int count = nx * ny * nz;
    list.push_back({"image/Mth_ComputeLaplacien3D/double/" + size, [=, nx = nx, ny = ny, nz = nz](Trial& t) {
                      auto in = Values(count, 412);
                      const std::unique_ptr<double[]> out(
                          t.Run([&] { return Mth_ComputeLaplacien3D(in.data(), nx, ny, nz); }));
                      t.Count(out.get(), count);
                    }});
    list.push_back(
        {"image/Mth_ComputeLaplacien3D/float/" + size, [=, nx = nx, ny = ny, nz = nz](Trial& t) {
           auto in = FloatValues(count, 413);
           auto out = FloatValues(count, 414);
           t([&] { return Mth_ComputeLaplacien3D(in.data(), out.data(), nx, ny, nz) == out.data(); });
           t.Count(out);
         }});
    list.push_back({"image/Mth_ComputeLaplacien3DFloat/" + size, [=, nx = nx, ny = ny, nz = nz](Trial& t) {
                      auto in = FloatValues(count, 415);
                      auto out = FloatValues(count, 416);
                      t([&] { Mth_ComputeLaplacien3DFloat(in.data(), out.data(), nx, ny, nz); });
                      t.Count(out);
                    }});
  }
}

// Co-occurrences of a noisy image: mostly near the diagonal, with empty cells.
MTH_MATRIX CoOccurrences(int levels, int type) {
  Numbers numbers(420);
  std::vector<int> counts(static_cast<std::size_t>(levels) * static_cast<std::size_t>(levels));
  for (int pair = 0; pair < 1024; ++pair) {
    const int i = numbers.Below(levels);
    const int j = std::min(levels - 1, i + numbers.Below(3));
    ++counts[static_cast<std::size_t>(i * levels + j)];
  }
  MTH_MATRIX matrix(levels, levels, type);
  for (int i = 0; i < levels; ++i) {
    for (int j = 0; j < levels; ++j)
      matrix.Set(i, j, counts[static_cast<std::size_t>(i * levels + j)] / 1024.0);
  }
  return matrix;
}

void AddTextures(Operations& list) {
  const std::pair<const char*, double (*)(MTH_MATRIX*)> features[] = {
      {"Mth_Contrast", Mth_Contrast},
      {"Mth_Homogeneity", [](MTH_MATRIX* p) { return static_cast<double>(Mth_Homogeneity(p)); }},
      {"Mth_Energy", Mth_Energy},
      {"Mth_Mean", [](MTH_MATRIX* p) { return Mth_Mean(p); }},
      {"Mth_Variance", Mth_Variance},
      {"Mth_Entropy", Mth_Entropy},
      {"Mth_Correlation", Mth_Correlation},
      {"Mth_MeanSum", Mth_MeanSum},
      {"Mth_VarSum", Mth_VarSum},
      {"Mth_EntSum", Mth_EntSum},
      {"Mth_VarDifferences", Mth_VarDifferences},
      {"Mth_EntDifferences", Mth_EntDifferences},
      {"Mth_CorrelationInfo1", Mth_CorrelationInfo1},
      {"Mth_CorrelationInfo2", Mth_CorrelationInfo2}};
  for (const auto& [name, feature] : features) {
    for (const auto& [type, typeName] : kElementTypes) {
      list.push_back(
          {std::string("image/texture/") + name + "/" + typeName, [feature = feature, type = type](Trial& t) {
             for (const int levels : {2, 5, 8, 17, 64}) {
               MTH_MATRIX p = CoOccurrences(levels, type);
               t([&] { return feature(&p); }, std::numeric_limits<double>::quiet_NaN());
             }
           }});
    }
  }
}

}  // namespace

void AddImageOperations(Operations& list) {
  AddFourierTransforms(list);
  AddLaplacians(list);
  AddTextures(list);
}

}  // namespace mth_test
