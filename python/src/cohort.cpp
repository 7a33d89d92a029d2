#include <mutex>

#include "arrays.h"
#include "call.h"
#include "mth/clustering/Mth_clustering.h"
#include "mth/clustering/Mth_clustering_part.h"
#include "mth/clustering/Mth_tissue_part.h"
#include "volume.h"

// The halves of iterations over many scans: sums of one, and what moves by the sums of all.

namespace mth_python {
namespace {

void RequireSize(const Array<double>& array, py::ssize_t size, const char* name) {
  if (array.size() != size)
    ThrowValueError(std::string(name) + " has " + std::to_string(array.size()) + " values, not " +
                    std::to_string(size));
}

// The samples of one scan.
struct Samples {
  explicit Samples(std::unique_ptr<MTH_CLUSTERING_PART> samplesPart) : part(std::move(samplesPart)) {}
  std::int64_t Size() const { return std::int64_t{part->GetSamplesCount()} * part->GetDimensionsCount(); }

  std::unique_ptr<MTH_CLUSTERING_PART> part;
  std::mutex mutex;  // a step that was interrupted may not have ended yet
};
using SamplesPtr = std::shared_ptr<Samples>;

SamplesPtr NewSamples(const py::handle& x, int clusters) {
  const auto samples = Numbers<double>(x, "x", 2);
  if (clusters < 1) ThrowValueError("clusters is " + std::to_string(clusters) + ", not a positive number");
  if (samples.size() == 0) ThrowValueError("there are no samples");
  const int count = ToInt(samples.shape(0), "x");
  auto part = std::make_unique<MTH_CLUSTERING_PART>(clusters, ToInt(samples.shape(1), "x"));
  bool isSet = false;
  Call call;
  call.Run([&] { isSet = part->SetSamples(samples.data(), count); });
  if (!isSet) ThrowMemoryError();
  return std::make_shared<Samples>(std::move(part));
}

// Sums, clusters x (1 + features), and the change; k-means when m is 0.
py::tuple StepSamples(const SamplesPtr& samples, const py::handle& value, double m) {
  MTH_CLUSTERING_PART& part = *samples->part;
  const auto centroids = Numbers<double>(value, "centroids", 2);
  RequireSize(centroids, py::ssize_t{part.GetClustersCount()} * part.GetDimensionsCount(), "centroids");
  Array<double> sums({part.GetClustersCount(), part.GetDimensionsCount() + 1});
  double* const values = sums.mutable_data();
  double change = 0.0;
  bool isDone = false;
  Call call;
  call.Run([&] {
    const std::scoped_lock locked(samples->mutex);
    isDone = m == 0.0 ? part.StepKMeans(centroids.data(), values, &change)
                      : part.StepFuzzyCMeans(centroids.data(), m, values, &change);
  });
  if (!isDone) ThrowMemoryError();
  return py::make_tuple(sums, change);
}

py::tuple ResultsOfSamples(const SamplesPtr& samples) {
  const MTH_CLUSTERING_PART& part = *samples->part;
  Array<double> memberships({part.GetSamplesCount(), part.GetClustersCount()});
  Array<int> labels(part.GetSamplesCount());
  double* const ofClusters = memberships.mutable_data();
  int* const decisions = labels.mutable_data();
  bool isDone = false;
  Call call;
  call.Run([&] {
    const std::scoped_lock locked(samples->mutex);
    isDone = part.GetMemberships(ofClusters) && part.GetDecisions(decisions);
  });
  if (!isDone) ThrowValueError("no step was taken");
  return py::make_tuple(memberships, labels);
}

// The centroids that a run on these samples alone would start from.
py::array QuantileCentroids(const py::handle& x, int clusters) {
  const auto samples = Numbers<double>(x, "x", 2);
  if (clusters < 1) ThrowValueError("clusters is " + std::to_string(clusters) + ", not a positive number");
  const int count = ToInt(samples.shape(0), "x");
  const int dimensions = ToInt(samples.shape(1), "x");
  MTH_CLUSTERING engine(clusters, dimensions);
  bool isSet = false;
  Call call;
  call.Run([&] {
    isSet = engine.AddSamples(samples.data(), count) &&
            engine.InitialiseCentroidsFromSamples(MTH_CENTROID_START::Quantiles);
  });
  if (!isSet) ThrowValueError("fewer different samples than the " + std::to_string(clusters) + " clusters");
  Array<double> centroids({clusters, dimensions});
  for (int k = 0; k < clusters; ++k) {
    for (int d = 0; d < dimensions; ++d) centroids.mutable_at(k, d) = engine.GetCentroid(k)->Get(d, 0);
  }
  return centroids;
}

py::array MoveCentroids(const py::handle& value) {
  const auto sums = Numbers<double>(value, "sums", 2);
  if (sums.shape(0) < 1 || sums.shape(1) < 2) ThrowValueError("sums has the shape " + ShapeText(sums));
  Array<double> centroids({sums.shape(0), sums.shape(1) - 1});
  Mth_MoveCentroids(sums.data(), ToInt(sums.shape(0), "sums"), ToInt(sums.shape(1) - 1, "sums"),
                    centroids.mutable_data());
  return centroids;
}

class TissueMeans {
 public:
  explicit TissueMeans(int tissues) : means(tissues) {}

  void AddRange(const py::handle& value) {
    const auto range = Numbers<double>(value, "range", 1);
    RequireSize(range, 3, "range");
    if (!means.AddRange(range.data())) ThrowValueError("this is no range, or the first step was taken");
  }
  py::array Range() const {
    Array<double> range(3);
    if (!means.GetRange(range.mutable_data())) ThrowValueError("there is no range");
    return range;
  }
  void Move(const py::handle& value) {
    const auto sums = Numbers<double>(value, "sums", 1);
    RequireSize(sums, py::ssize_t{2} * means.GetTissuesCount(), "sums");
    if (!means.Move(sums.data())) ThrowValueError("there is no range, or all steps were taken");
  }
  py::array Values() const {
    Array<double> values(means.GetTissuesCount());
    for (int k = 0; k < means.GetTissuesCount(); ++k) values.mutable_at(k) = means.GetMean(k);
    return values;
  }

  MTH_TISSUE_MEANS means;
};
using TissueMeansPtr = std::shared_ptr<TissueMeans>;

// A scan on its way to tissues.
struct TissueScan {
  TissueScan(const MTH_TISSUE_CLUSTERING& settings, std::int64_t voxels)
      : part(settings), voxelsCount(voxels) {}
  std::int64_t Size() const { return voxelsCount; }

  MTH_TISSUE_PART part;
  std::int64_t voxelsCount;
  std::mutex mutex;  // a step that was interrupted may not have ended yet
};
using TissueScanPtr = std::shared_ptr<TissueScan>;

TissueScanPtr NewTissueScan(const py::handle& value, int tissues, const py::object& maskValue,
                            const py::object& confidenceValue, const std::vector<double>& voxelSize,
                            bool hasField, bool hasLocalMeans, double fieldWidth) {
  MTH_TISSUE_CLUSTERING settings(tissues);
  settings.SetVoxelSize(voxelSize.at(0), voxelSize.at(1), voxelSize.at(2));
  settings.SetFieldEstimation(hasField);
  settings.SetLocalMeans(hasLocalMeans);
  settings.SetFieldWidth(fieldWidth);
  const py::array array = RealArray(value, "image");
  const Volume<double> image(array, "image");
  auto scan = std::make_shared<TissueScan>(settings, array.size());
  std::optional<Volume<std::uint8_t>> mask;
  if (!maskValue.is_none()) {
    const py::array given = AnyArray(maskValue);
    RequireSameShape(given, array, "mask");
    mask.emplace(given.attr("astype")("bool").attr("view")("uint8"), "mask");
  }
  std::optional<Volume<double>> confidence;
  if (!confidenceValue.is_none()) {
    const py::array given = RealArray(confidenceValue, "confidence");
    RequireSameShape(given, array, "confidence");
    confidence.emplace(given, "confidence");
  }
  const std::uint8_t* const inside = mask ? mask->Data() : nullptr;
  const double* const left = confidence ? confidence->Data() : nullptr;
  MTH_TISSUE_PART& part = scan->part;
  Call call;
  call.Run(
      [&] { part.SetImage(image.Data(), image.Size()[0], image.Size()[1], image.Size()[2], inside, left); });
  if (part.GetStopReason() == MTH_STOP_REASON::BadInput)
    ThrowValueError("no finite voxel in the mask, or fewer different values there than the " +
                    std::to_string(tissues) + " tissues");
  RequireRun(part.GetStopReason(), "tissue");
  return scan;
}

py::array RangeOf(const TissueScan& scan) {
  Array<double> range(3);
  if (!scan.part.GetRange(range.mutable_data())) ThrowMemoryError();
  return range;
}

py::array StepScan(const TissueScanPtr& scan, const TissueMeansPtr& means) {
  Array<double> sums(py::ssize_t{2} * means->means.GetTissuesCount());
  double* const values = sums.mutable_data();
  bool isDone = false;
  Call call;
  call.Run([&] {
    const std::scoped_lock locked(scan->mutex);
    isDone = scan->part.Step(means->means, values);
  });
  if (!isDone) ThrowValueError("the means are not at the step of this scan");
  return sums;
}

}  // namespace

void DefineCohort(py::module_& module) {
  py::class_<Samples, SamplesPtr>(module, "Samples")
      .def(py::init(Interruptible(&NewSamples, kOfClustering)))
      .def("__len__", [](const Samples& self) { return self.part->GetSamplesCount(); })
      .def("step", Interruptible(&StepSamples, kOfClustering))
      .def("results", Interruptible(&ResultsOfSamples, kOfClustering));
  module.def("quantile_centroids", Interruptible(&QuantileCentroids, kOfClustering));
  module.def("move_centroids", &MoveCentroids);
  py::class_<TissueMeans, TissueMeansPtr>(module, "TissueMeans")
      .def(py::init<int>())
      .def("add_range", &TissueMeans::AddRange)
      .def("range", &TissueMeans::Range)
      .def("move", &TissueMeans::Move)
      .def("values", &TissueMeans::Values)
      .def_property_readonly_static("STEPS",
                                    [](const py::object&) { return MTH_TISSUE_MEANS::GetStepsCount(); })
      .def_property_readonly("is_done", [](const TissueMeans& self) { return self.means.IsDone(); });
  py::class_<TissueScan, TissueScanPtr>(module, "TissueScan")
      .def(py::init(Interruptible(&NewTissueScan, kOfClustering)))
      .def("range", &RangeOf)
      .def("step", Interruptible(&StepScan, kOfClustering));
}

}  // namespace mth_python
