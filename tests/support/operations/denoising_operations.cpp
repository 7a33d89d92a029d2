#include "support/operations/operations.h"

// The denoising of volumes, planes and lines.

namespace mth_test {
namespace {

struct NoisyShape {
  int nx;
  int ny;
  int nz;
};
constexpr NoisyShape kNoisyShapes[] = {{1, 1, 1}, {40, 1, 1}, {17, 23, 1}, {5, 4, 2}, {19, 14, 9}};

// A bright box in a dark one, in air, all rough.
template <class T>
std::vector<T> Volume(const NoisyShape& shape) {
  Numbers numbers(900);
  std::vector<T> values;
  for (int z = 0; z < shape.nz; ++z) {
    for (int y = 0; y < shape.ny; ++y) {
      for (int x = 0; x < shape.nx; ++x) {
        const bool isInside = 6 * x > shape.nx && 6 * y > shape.ny && 6 * x < 5 * shape.nx;
        const bool isBright = 3 * x > shape.nx && 3 * z >= shape.nz;
        const double grey = isInside ? (isBright ? 900.0 : 500.0) : 60.0;
        values.push_back(static_cast<T>(grey + 55.0 * numbers()));
      }
    }
  }
  return values;
}

template <class T>
void AddVolumes(Operations& list, const std::string& name) {
  for (const NoisyShape& shape : kNoisyShapes) {
    const std::string ending = name + "/" + Shape(shape.nx, shape.ny) + "x" + std::to_string(shape.nz);
    list.push_back({"denoising/Denoise/" + ending, [shape](Trial& t) {
                      for (const double deviation : {0.0, 40.0}) {
                        std::vector<T> values = Volume<T>(shape);
                        std::vector<T> confidence(values.size());
                        MTH_VOLUME_DENOISING denoising(shape.nx, shape.ny, shape.nz);
                        denoising.SetNoiseDeviation(deviation);
                        t([&] { return denoising.Denoise(values.data(), values.data(), confidence.data()); });
                        t.CountAll(values, confidence, denoising.GetUsedNoiseDeviation());
                      }
                    }});
    list.push_back({"denoising/EstimateNoiseDeviation/" + ending, [shape](Trial& t) {
                      const std::vector<T> values = Volume<T>(shape);
                      const MTH_VOLUME_DENOISING denoising(shape.nx, shape.ny, shape.nz);
                      t([&] { return denoising.EstimateNoiseDeviation(values.data()); }, 0);
                    }});
  }
}

}  // namespace

void AddDenoisingOperations(Operations& list) {
  AddVolumes<double>(list, "double");
  AddVolumes<float>(list, "float");
}

}  // namespace mth_test
