// Volumes: their noise and their tissues. The voxel (x, y, z) is at values[x + nx (y + ny z)].

#include <emscripten/bind.h>

#include "bundle.h"
#include "display.h"
#include "mth/clustering/Mth_tissue_clustering.h"
#include "mth/denoising/Mth_volume_denoising.h"

namespace mth_web {

namespace {

using emscripten::val;

struct Size {
  int nx = 0;
  int ny = 0;
  int nz = 0;
  std::size_t Count() const {
    return static_cast<std::size_t>(nx) * static_cast<std::size_t>(ny) * static_cast<std::size_t>(nz);
  }
};

Size SizeOf(const val& options) {
  const val size = options["size"];
  return {size[0].as<int>(), size[1].as<int>(), size[2].as<int>()};
}

template <class T>
Bundle* Denoise(double image, const val& options) {
  return Guarded([&](Bundle& found) {
    const Size size = SizeOf(options);
    Display().SetListener(options["progress"]);
    MTH_VOLUME_DENOISING engine(size.nx, size.ny, size.nz);
    engine.SetNoiseDeviation(options["noise"].as<double>());
    T* const denoised = found.Add<T>("image", size.Count());
    T* const confidence = found.Add<T>("confidence", size.Count());
    engine.Denoise(At<const T>(image), denoised, confidence);
    RequireRun(engine.GetStopReason(), "the size of the volume is not legal");
    found.AddNumber("noise", engine.GetUsedNoiseDeviation());
  });
}

template <class T>
void AddTissues(const MTH_TISSUE_CLUSTERING& engine, const Size& size, Bundle& found) {
  const int tissues = engine.GetTissuesCount();
  const int channels = engine.GetChannelsCount();
  double* centroids = found.Add<double>("centroids", static_cast<std::size_t>(tissues * channels));
  for (int tissue = 0; tissue < tissues; ++tissue) {
    engine.GetFractions(tissue, found.Add<T>("fraction" + std::to_string(tissue), size.Count()));
    for (int channel = 0; channel < channels; ++channel) *centroids++ = engine.GetCentroid(tissue, channel);
  }
  for (int channel = 0; channel < channels; ++channel)
    engine.GetField(found.Add<T>("field" + std::to_string(channel), size.Count()), channel);
  engine.GetLabels(found.Add<std::uint8_t>("labels", size.Count()));
}

template <class T>
Bundle* TissueSegmentation(const val& addresses, const val& options) {
  return Guarded([&](Bundle& found) {
    const Size size = SizeOf(options);
    Display().SetListener(options["progress"]);
    std::vector<const T*> channels;
    for (const double address : emscripten::vecFromJSArray<double>(addresses))
      channels.push_back(At<const T>(address));
    MTH_TISSUE_CLUSTERING engine(options["tissues"].as<int>());
    const val voxel = options["voxelSize"];
    engine.SetVoxelSize(voxel[0].as<double>(), voxel[1].as<double>(), voxel[2].as<double>());
    engine.SetFieldEstimation(options["biasField"].as<bool>());
    const auto* mask = At<const std::uint8_t>(options["mask"].as<double>());
    if (channels.size() == 1) {
      engine.Segment(channels.front(), size.nx, size.ny, size.nz, mask,
                     At<const T>(options["confidence"].as<double>()));
    } else {
      engine.SegmentChannels(channels.data(), static_cast<int>(channels.size()), size.nx, size.ny, size.nz,
                             mask);
    }
    RequireRun(engine.GetStopReason(),
               "no finite voxel in the mask, or fewer different values there than the " +
                   std::to_string(engine.GetTissuesCount()) + " tissues");
    AddTissues<T>(engine, size, found);
  });
}

}  // namespace

EMSCRIPTEN_BINDINGS(mth_volume) {
  using emscripten::allow_raw_pointers;
  emscripten::function("denoiseFloats", &Denoise<float>, allow_raw_pointers());
  emscripten::function("denoiseDoubles", &Denoise<double>, allow_raw_pointers());
  emscripten::function("tissuesOfFloats", &TissueSegmentation<float>, allow_raw_pointers());
  emscripten::function("tissuesOfDoubles", &TissueSegmentation<double>, allow_raw_pointers());
}

}  // namespace mth_web
