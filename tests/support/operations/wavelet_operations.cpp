#include <optional>

#include "support/operations/operations.h"

// The redundant wavelet transform and the denoising built on it.

namespace mth_test {
namespace {

constexpr std::pair<int, int> kTransformedShapes[] = {{1, 1}, {5, 4}, {16, 16}, {33, 70}};

std::size_t Area(int rows, int columns) {
  return static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns);
}

struct Subbands {
  Subbands(int rows, int columns, unsigned seed) {
    for (auto& band : bands) band = Values(rows * columns, seed++);
  }
  double* operator[](std::size_t band) { return bands[band].data(); }
  std::vector<double> bands[4];
};

// Discs on a dark ground, with noise, in whole grey levels.
MTH_MATRIX Picture(int rows, int columns, int type) {
  Numbers numbers(500);
  MTH_MATRIX picture(rows, columns, type);
  for (int i = 0; i < rows; ++i) {
    for (int j = 0; j < columns; ++j) {
      const int distance = (i - rows / 2) * (i - rows / 2) + (j - columns / 2) * (j - columns / 2);
      const int grey = distance < rows * columns / 20 ? 180 : distance < rows * columns / 6 ? 110 : 40;
      picture.Set(i, j, static_cast<double>(grey + numbers.Below(21)));
    }
  }
  return picture;
}

void AddTransforms(Operations& list) {
  for (const auto& [rows, columns] : kTransformedShapes) {
    const std::string shape = Shape(rows, columns);
    list.push_back({"wavelet/RedundantWaveletTransform/" + shape, [rows = rows, columns = columns](Trial& t) {
                      for (const auto& [type, name] : kElementTypes) {
                        for (const int level : {0, 1, 3}) {
                          MTH_MATRIX image = Matrix(rows, columns, type, 510);
                          const MTH_WAVELET_DENOISING wavelet(nullptr);
                          Subbands bands(rows, columns, 511);
                          t([&] {
                            wavelet.RedundantWaveletTransform(&image, bands[0], bands[1], bands[2], bands[3],
                                                              level, rows, columns);
                          });
                          for (const auto& band : bands.bands) t.Count(band);
                        }
                      }
                    }});
    list.push_back(
        {"wavelet/RedundantInverseWaveletTransform/" + shape, [rows = rows, columns = columns](Trial& t) {
           for (const auto& [type, name] : kElementTypes) {
             for (const int level : {0, 2}) {
               MTH_MATRIX image = Matrix(rows, columns, type, 520);
               const MTH_WAVELET_DENOISING wavelet(nullptr);
               Subbands bands(rows, columns, 521);
               t([&] {
                 wavelet.RedundantInverseWaveletTransform(&image, bands[0], bands[1], bands[2], bands[3],
                                                          level);
               });
               t.Count(image);
             }
           }
         }});
    list.push_back({"wavelet/ComputeApproximation/" + shape, [rows = rows, columns = columns](Trial& t) {
                      for (const int level : {0, 1, 4}) {
                        auto data = Values(rows * columns, 530);
                        const MTH_WAVELET_DENOISING wavelet(nullptr);
                        t([&] { wavelet.ComputeApproximation(data.data(), level, rows, columns); });
                        t.Count(data);
                      }
                    }});
  }
  list.push_back({"wavelet/WaveletTransform1D", [](Trial& t) {
                    for (const int n : {1, 2, 9, 64, 131}) {
                      for (const int filterLength : {5, 7}) {
                        auto signal = Values(n, 540);
                        auto filter = Values(filterLength, 541);
                        auto out = Values(n, 542);
                        const MTH_WAVELET_DENOISING wavelet(nullptr);
                        t([&] {
                          wavelet.WaveletTransform1D(signal.data(), filter.data(), out.data(), 1, n,
                                                     filterLength);
                        });
                        t.Count(out);
                      }
                    }
                  }});
}

void AddShrinkage(Operations& list) {
  list.push_back(
      {"wavelet/AdaptEnergy", [](Trial& t) {
         for (const auto& shape : kTransformedShapes) {
           const int rows = shape.first;
           const int columns = shape.second;
           for (const int window : {1, 5, 8}) {
             const auto detail = Values(rows * columns, 550);
             std::vector<double> energy(Area(rows, columns));
             MTH_WAVELET_DENOISING wavelet(nullptr);
             wavelet.SetWindowSize(window);
             t([&] { return wavelet.AdaptEnergy(detail.data(), 0.375, energy.data(), rows, columns); });
             t.Count(energy);
           }
         }
       }});
  list.push_back({"wavelet/RemoveNoiseAdaptative", [](Trial& t) {
                    for (const auto& shape : kTransformedShapes) {
                      const int rows = shape.first;
                      const int columns = shape.second;
                      auto detail = Values(rows * columns, 560, -20.0, 20.0);
                      const auto energy = Values(rows * columns, 561, 0.0, 12.0);
                      const auto values = Values(rows * columns, 562, -9.0, 9.0);
                      const auto parentEnergy = Values(rows * columns, 563, 0.0, 12.0);
                      const auto siblings = Values(rows * columns, 564, 0.0, 12.0);
                      const MTH_WAVELET_DENOISING wavelet(nullptr);
                      t([&] {
                        return wavelet.RemoveNoiseAdaptative(
                            detail.data(), energy.data(),
                            {values.data(), parentEnergy.data(), siblings.data()}, 2.5, rows, columns);
                      });
                      t.Count(detail);
                    }
                  }});
  for (const auto& [type, typeName] : kElementTypes) {
    for (const auto& [rows, columns] :
         {std::pair(2, 2), std::pair(3, 3), std::pair(16, 20), std::pair(70, 61)}) {
      list.push_back({"wavelet/ApplyDenoisingMRImage/" + std::string(typeName) + "/" + Shape(rows, columns),
                      [type = type, rows = rows, columns = columns](Trial& t) {
                        MTH_MATRIX picture = Picture(rows, columns, type);
                        std::optional<MTH_WAVELET_DENOISING> wavelet;
                        t([&] { wavelet.emplace(&picture); });
                        t([&] { return wavelet->EstimateNoiseDeviation(); }, 0);
                        t([&] { return wavelet->ApplyDenoisingMRImage(); });
                        t.Count(static_cast<const MTH_MATRIX*>(wavelet->GetImage()));
                        wavelet->SetThrFactor(3.0);
                        t([&] { return wavelet->ApplyDenoisingMRImage(); });
                        t.Count(static_cast<const MTH_MATRIX*>(wavelet->GetImage()));
                      }});
    }
  }
}

}  // namespace

void AddWaveletOperations(Operations& list) {
  AddTransforms(list);
  AddShrinkage(list);
}

}  // namespace mth_test
