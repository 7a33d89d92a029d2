#include <optional>

#include "support/operations/operations.h"

// The division of images into tissues.

namespace mth_test {
namespace {

constexpr int kSide = 20;
constexpr int kVoxels = kSide * kSide * kSide;

// Nested boxes under a slope, rough.
template <class T>
std::vector<T> Image(unsigned seed, double contrast) {
  Numbers numbers(seed);
  std::vector<T> values;
  for (int i = 0; i < kVoxels; ++i) {
    const int x = i % kSide;
    const int y = i / kSide % kSide;
    const int box = x < 5 || y < 4 ? 0 : (x < 12 ? 1 : 2);
    values.push_back(static_cast<T>((300.0 + contrast * box + 30.0 * numbers()) * (1.0 + 0.01 * y)));
  }
  return values;
}

void CountTissues(Trial& t, const MTH_TISSUE_CLUSTERING& engine) {
  std::vector<double> values(kVoxels);
  std::vector<std::uint8_t> labels(kVoxels);
  for (int k = 0; k < engine.GetTissuesCount(); ++k) {
    t([&] { return engine.GetFractions(k, values.data()); });
    t.Count(values);
    t([&] { return engine.GetCentroid(k); });
  }
  t([&] { return engine.GetField(values.data(), engine.GetChannelsCount() - 1); });
  t([&] { return engine.GetLabels(labels.data()); });
  t.CountAll(values, labels);
}

template <class T>
void AddSegmentations(Operations& list, const std::string& name) {
  for (const int tissues : {1, 2, 3, 5}) {
    list.push_back({"tissue/Segment/" + name + "/" + std::to_string(tissues), [tissues](Trial& t) {
                      const auto image = Image<T>(700, 250.0);
                      const auto confidence = Image<T>(701, 0.0);
                      std::vector<std::uint8_t> mask(kVoxels, 1);
                      for (int i = 0; i < kVoxels; i += 7) mask[static_cast<std::size_t>(i)] = 0;
                      for (const bool hasConfidence : {false, true}) {
                        std::optional<MTH_TISSUE_CLUSTERING> engine;
                        t.Run([&] { engine.emplace(tissues); });
                        t([&] {
                          return engine->Segment(image.data(), kSide, kSide, kSide, mask.data(),
                                                 hasConfidence ? confidence.data() : nullptr);
                        });
                        CountTissues(t, *engine);
                      }
                    }});
  }
  list.push_back({"tissue/SegmentChannels/" + name, [](Trial& t) {
                    const auto first = Image<T>(710, 250.0);
                    const auto second = Image<T>(711, -90.0);
                    const T* const channels[] = {first.data(), second.data()};
                    MTH_TISSUE_CLUSTERING engine(3);
                    t([&] { return engine.SegmentChannels(channels, 2, kSide, kSide, kSide, nullptr); });
                    CountTissues(t, engine);
                  }});
}

}  // namespace

void AddTissueOperations(Operations& list) {
  AddSegmentations<double>(list, "double");
  AddSegmentations<float>(list, "float");
}

}  // namespace mth_test
