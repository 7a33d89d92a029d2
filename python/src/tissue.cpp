#include "arrays.h"
#include "call.h"
#include "mth/clustering/Mth_tissue_clustering.h"
#include "mth/denoising/Mth_volume_denoising.h"
#include "volume.h"

// Volumes: tissues and the denoising. The first axis of an array is the library's x, so that its data is read
// in Fortran order, as images of nibabel have it.

namespace mth_python {
namespace {

std::optional<py::array> OptionalMask(const py::object& mask, const py::array& image) {
  if (mask.is_none()) return std::nullopt;
  const py::array array = AnyArray(mask);
  RequireSameShape(array, image, "mask");
  return array;
}

template <class T>
py::dict Tissues(const std::vector<py::array>& images, const py::object& maskValue,
                 const py::object& confidenceValue, MTH_TISSUE_CLUSTERING& engine,
                 const py::object& progress) {
  std::vector<Volume<T>> channels;
  std::vector<const T*> pointers;
  for (const py::array& image : images) {
    channels.emplace_back(image, "image");
    pointers.push_back(channels.back().Data());
  }
  const Volume<T>& first = channels.front();
  std::optional<Volume<std::uint8_t>> mask;
  if (const auto array = OptionalMask(maskValue, images.front()))
    mask.emplace(array->attr("astype")("bool").attr("view")("uint8"), "mask");
  std::optional<Volume<T>> confidence;
  if (!confidenceValue.is_none()) confidence.emplace(RealArray(confidenceValue, "confidence"), "confidence");
  if (confidence) RequireSameShape(confidence->GetArray(), images.front(), "confidence");
  const std::uint8_t* const inside = mask ? mask->Data() : nullptr;
  const T* const left = confidence ? confidence->Data() : nullptr;
  const int nx = first.Size()[0];
  const int ny = first.Size()[1];
  const int nz = first.Size()[2];
  Call call(progress);
  call.Run([&] {
    if (pointers.size() == 1) {
      engine.Segment(pointers.front(), nx, ny, nz, inside, left);
    } else {
      engine.SegmentChannels(pointers.data(), static_cast<int>(pointers.size()), nx, ny, nz, inside);
    }
  });
  if (engine.GetStopReason() == MTH_STOP_REASON::BadInput)
    ThrowValueError("no finite voxel in the mask, or fewer different values there than the " +
                    std::to_string(engine.GetTissuesCount()) + " tissues");
  RequireRun(engine.GetStopReason(), "tissue_clustering");
  py::list fractions, fields, centroids;
  for (int tissue = 0; tissue < engine.GetTissuesCount(); ++tissue) {
    Volume<T> fraction(images.front());
    engine.GetFractions(tissue, fraction.MutableData());
    fractions.append(fraction.GetArray());
    py::list means;
    for (int channel = 0; channel < engine.GetChannelsCount(); ++channel)
      means.append(engine.GetCentroid(tissue, channel));
    centroids.append(means);
  }
  for (int channel = 0; channel < engine.GetChannelsCount(); ++channel) {
    Volume<T> field(images.front());
    engine.GetField(field.MutableData(), channel);
    fields.append(field.GetArray());
  }
  Volume<std::uint8_t> labels(images.front());
  engine.GetLabels(labels.MutableData());
  py::dict result;
  result["labels"] = labels.GetArray();
  result["fractions"] = fractions;
  result["fields"] = fields;
  result["centroids"] = Numbers<double>(centroids, "centroids");
  return result;
}

py::dict TissueClustering(const py::list& values, int tissues, const py::object& mask,
                          const py::object& confidence, const std::vector<double>& voxelSize, bool hasField,
                          bool hasLocalMeans, double fieldWidth, const py::object& meansValue,
                          const py::object& progress) {
  std::vector<py::array> images;
  bool areFloats = true;
  for (const py::handle value : values) {
    images.push_back(RealArray(value, "image"));
    RequireSameShape(images.back(), images.front(), "image");
    areFloats = areFloats && IsFloat(images.back());
  }
  if (images.empty()) ThrowValueError("there is no image");
  MTH_TISSUE_CLUSTERING engine(tissues);
  engine.SetVoxelSize(voxelSize.at(0), voxelSize.at(1), voxelSize.at(2));
  engine.SetFieldEstimation(hasField);
  engine.SetLocalMeans(hasLocalMeans);
  engine.SetFieldWidth(fieldWidth);
  if (!meansValue.is_none()) {
    const auto means = Numbers<double>(meansValue, "means", 1);
    if (images.size() != 1) ThrowValueError("means are of one image, not of several");
    if (means.size() != tissues || !engine.SetMeans(means.data()))
      ThrowValueError("means are not as many ascending numbers as tissues");
  }
  return areFloats ? Tissues<float>(images, mask, confidence, engine, progress)
                   : Tissues<double>(images, mask, confidence, engine, progress);
}

template <class T>
py::tuple DenoiseAs(const py::array& array, double noise, const py::object& progress) {
  const Volume<T> image(array, "image");
  Volume<T> denoised(array);
  Volume<T> confidence(array);
  if (array.size() == 0) return py::make_tuple(denoised.GetArray(), confidence.GetArray(), 0.0);
  const auto [nx, ny, nz] = image.Size();
  MTH_VOLUME_DENOISING engine(nx, ny, nz);
  engine.SetNoiseDeviation(noise);
  Call call(progress);
  call.Run([&] { engine.Denoise(image.Data(), denoised.MutableData(), confidence.MutableData()); });
  RequireRun(engine.GetStopReason(), "denoise");
  return py::make_tuple(denoised.GetArray(), confidence.GetArray(), engine.GetUsedNoiseDeviation());
}

py::tuple DenoiseVolume(const py::handle& value, double noise, const py::object& progress) {
  const py::array array = RealArray(value, "image");
  return IsFloat(array) ? DenoiseAs<float>(array, noise, progress)
                        : DenoiseAs<double>(array, noise, progress);
}

double EstimateNoise(const py::handle& value) {
  const Volume<double> image(RealArray(value, "image"), "image");
  const auto [nx, ny, nz] = image.Size();
  const MTH_VOLUME_DENOISING engine(nx, ny, nz);
  double deviation = 0.0;
  Call call;
  call.Run([&] { deviation = engine.EstimateNoiseDeviation(image.Data()); });
  return deviation;
}

}  // namespace

void DefineTissue(py::module_& module) {
  module.def("tissue_clustering", Interruptible(&TissueClustering, kOfClustering));
  module.def("denoise_volume", Interruptible(&DenoiseVolume, kOfClustering));
  module.def("estimate_noise", Interruptible(&EstimateNoise, kOfClustering));
}

}  // namespace mth_python
