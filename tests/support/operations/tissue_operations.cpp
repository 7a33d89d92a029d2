#include <array>
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

// Two scans with common means, which then divide a third one.
template <class T>
void AddStudy(Operations& list, const std::string& name) {
  list.push_back({"tissue/MTH_TISSUE_PART/" + name, [](Trial& t) {
                    MTH_TISSUE_CLUSTERING engine(3);
                    MTH_TISSUE_MEANS means(3);
                    std::optional<MTH_TISSUE_PART> parts[2];
                    std::array<double, 3> range{};
                    for (unsigned p = 0; p < 2; ++p) {
                      const auto image = Image<T>(720 + p, 250.0);
                      t.Run([&] { parts[p].emplace(engine); });
                      t([&] { return parts[p]->SetImage(image.data(), kSide, kSide, kSide, nullptr); });
                      t([&] { return parts[p]->GetRange(range.data()); });
                      means.AddRange(range.data());
                    }
                    std::array<double, 6> sums{};
                    while (!means.IsDone()) {
                      std::array<double, 6> total{};
                      for (auto& part : parts) {
                        t([&] { return part->Step(means, sums.data()); });
                        for (std::size_t i = 0; i < total.size(); ++i) total[i] += sums[i];
                      }
                      means.Move(total.data());
                      t.Count(total.data(), 6);
                    }
                    t([&] { return parts[1]->Finish(means, &engine); });
                    CountTissues(t, engine);
                    const std::array<double, 3> found{means.GetMean(0), means.GetMean(1), means.GetMean(2)};
                    const auto image = Image<T>(722, 250.0);
                    t([&] { return engine.SetMeans(found.data()); });
                    t([&] { return engine.Segment(image.data(), kSide, kSide, kSide, nullptr); });
                    CountTissues(t, engine);
                  }});
}

}  // namespace

void AddTissueOperations(Operations& list) {
  AddSegmentations<double>(list, "double");
  AddSegmentations<float>(list, "float");
  AddStudy<double>(list, "double");
  AddStudy<float>(list, "float");
}

}  // namespace mth_test
