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

class Samples {
 public:
  Samples(const py::handle& x, int clusters) : part_(NewPart(x, clusters)) {}

  int GetSamplesCount() const { return part_->GetSamplesCount(); }
  // Sums, clusters x (1 + features), and the change; k-means when m is 0.
  py::tuple Step(const py::handle& value, double m) {
    const auto centroids = Numbers<double>(value, "centroids", 2);
    RequireSize(centroids, py::ssize_t{part_->GetClustersCount()} * part_->GetDimensionsCount(), "centroids");
    Array<double> sums({part_->GetClustersCount(), part_->GetDimensionsCount() + 1});
    double* const values = sums.mutable_data();
    double change = 0.0;
    bool isDone = false;
    Call call;
    call.Run([&] {
      isDone = m == 0.0 ? part_->StepKMeans(centroids.data(), values, &change)
                        : part_->StepFuzzyCMeans(centroids.data(), m, values, &change);
    });
    if (!isDone) ThrowMemoryError();
    return py::make_tuple(sums, change);
  }
  py::tuple Results() const {
    Array<double> memberships({part_->GetSamplesCount(), part_->GetClustersCount()});
    Array<int> labels(part_->GetSamplesCount());
    if (!part_->GetMemberships(memberships.mutable_data()) || !part_->GetDecisions(labels.mutable_data()))
      ThrowValueError("no step was taken");
    return py::make_tuple(memberships, labels);
  }

 private:
  static std::unique_ptr<MTH_CLUSTERING_PART> NewPart(const py::handle& x, int clusters) {
    const auto samples = Numbers<double>(x, "x", 2);
    if (clusters < 1) ThrowValueError("clusters is " + std::to_string(clusters) + ", not a positive number");
    if (samples.size() == 0) ThrowValueError("there are no samples");
    const int count = ToInt(samples.shape(0), "x");
    auto part = std::make_unique<MTH_CLUSTERING_PART>(clusters, ToInt(samples.shape(1), "x"));
    bool isSet = false;
    Call call;
    call.Run([&] { isSet = part->SetSamples(samples.data(), count); });
    if (!isSet) ThrowMemoryError();
    return part;
  }

  std::unique_ptr<MTH_CLUSTERING_PART> part_;
};

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

// A scan.
class TissueScan {
 public:
  TissueScan(const py::handle& value, int tissues, const py::object& maskValue,
             const py::object& confidenceValue, const std::vector<double>& voxelSize, bool hasField,
             bool hasLocalMeans, double fieldWidth) {
    MTH_TISSUE_CLUSTERING settings(tissues);
    settings.SetVoxelSize(voxelSize.at(0), voxelSize.at(1), voxelSize.at(2));
    settings.SetFieldEstimation(hasField);
    settings.SetLocalMeans(hasLocalMeans);
    settings.SetFieldWidth(fieldWidth);
    part_ = std::make_unique<MTH_TISSUE_PART>(settings);
    const py::array array = RealArray(value, "image");
    const Volume<double> image(array, "image");
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
    Call call;
    call.Run([&] {
      part_->SetImage(image.Data(), image.Size()[0], image.Size()[1], image.Size()[2], inside, left);
    });
    if (part_->GetStopReason() == MTH_STOP_REASON::BadInput)
      ThrowValueError("no finite voxel in the mask, or fewer different values there than the " +
                      std::to_string(tissues) + " tissues");
    RequireRun(part_->GetStopReason(), "tissue");
  }

  py::array Range() const {
    Array<double> range(3);
    if (!part_->GetRange(range.mutable_data())) ThrowMemoryError();
    return range;
  }
  py::array Step(const TissueMeans& means) {
    Array<double> sums(py::ssize_t{2} * means.means.GetTissuesCount());
    double* const values = sums.mutable_data();
    bool isDone = false;
    Call call;
    call.Run([&] { isDone = part_->Step(means.means, values); });
    if (!isDone) ThrowValueError("the means are not at the step of this scan");
    return sums;
  }

 private:
  std::unique_ptr<MTH_TISSUE_PART> part_;
};

}  // namespace

void DefineCohort(py::module_& module) {
  py::class_<Samples>(module, "Samples")
      .def(py::init<const py::handle&, int>())
      .def("__len__", &Samples::GetSamplesCount)
      .def("step", &Samples::Step)
      .def("results", &Samples::Results);
  module.def("quantile_centroids", &QuantileCentroids);
  module.def("move_centroids", &MoveCentroids);
  py::class_<TissueMeans>(module, "TissueMeans")
      .def(py::init<int>())
      .def("add_range", &TissueMeans::AddRange)
      .def("range", &TissueMeans::Range)
      .def("move", &TissueMeans::Move)
      .def("values", &TissueMeans::Values)
      .def_property_readonly_static("STEPS",
                                    [](const py::object&) { return MTH_TISSUE_MEANS::GetStepsCount(); })
      .def_property_readonly("is_done", [](const TissueMeans& self) { return self.means.IsDone(); });
  py::class_<TissueScan>(module, "TissueScan")
      .def(py::init<const py::handle&, int, const py::object&, const py::object&, const std::vector<double>&,
                    bool, bool, double>())
      .def("range", &TissueScan::Range)
      .def("step", &TissueScan::Step);
}

}  // namespace mth_python
