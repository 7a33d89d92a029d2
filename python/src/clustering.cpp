#include <mutex>
#include <numeric>

#include "arrays.h"
#include "call.h"
#include "mth/Mth_stop_reason.h"
#include "mth/clustering/Mth_clustering.h"

// Hard, fuzzy and evidential clustering, and the masses of belief that the last one leaves.

namespace mth_python {
namespace {

using Engine = MTH_CLUSTERING;

constexpr std::int64_t kOfEvidence = 1 << 8;  // each sample has a mass for every set of clusters

// Where a run starts: at given centroids, or at those that the engine finds.
struct Start {
  py::object centroids;  // None, or clusters x dimensions
  std::string method;
  int seed;
};

// What every run shares.
struct Limits {
  double tolerance;
  int iterations;
  py::object progress;
};

void SetStart(Engine& engine, const Start& start) {
  if (start.centroids.is_none()) {
    MTH_CENTROID_START way = MTH_CENTROID_START::Quantiles;
    if (start.method == "farthest") way = MTH_CENTROID_START::FarthestFirst;
    if (start.method == "k-means++") way = MTH_CENTROID_START::PlusPlus;
    bool isSet = false;
    Call call;
    call.Run([&] { isSet = engine.InitialiseCentroidsFromSamples(way, start.seed); });
    if (!isSet)
      ThrowValueError("x has fewer different samples than the " + std::to_string(engine.GetClustersCount()) +
                      " clusters");
    return;
  }
  const auto centroids = Numbers<double>(start.centroids, "init", 2);
  const int dimensions = engine.GetDimensionsCount();
  if (centroids.shape(0) != engine.GetClustersCount() || centroids.shape(1) != dimensions)
    ThrowValueError("init has the shape " + ShapeText(centroids) + ", where (" +
                    std::to_string(engine.GetClustersCount()) + ", " + std::to_string(dimensions) +
                    ") is needed");
  RequireFinite(centroids, "init");
  for (int k = 0; k < engine.GetClustersCount(); ++k)
    engine.InitialiseCentroid(k, centroids.data(k, 0), dimensions);
}

// An engine with the samples, x of the shape (samples, dimensions).
std::unique_ptr<Engine> NewEngine(const py::handle& x, int clusters, const Start& start,
                                  const Limits& limits) {
  const auto samples = Numbers<double>(x, "x", 2);
  if (clusters < 1) ThrowValueError("clusters is " + std::to_string(clusters) + ", not a positive number");
  if (samples.shape(0) < 1 || samples.shape(1) < 1)
    ThrowValueError("x has the shape " + ShapeText(samples) + ": no samples or no features");
  if (samples.shape(0) < clusters)
    ThrowValueError("x has " + std::to_string(samples.shape(0)) + " samples, fewer than the " +
                    std::to_string(clusters) + " clusters");
  RequireFinite(samples, "x");
  const int count = ToInt(samples.shape(0), "x");
  auto engine = std::make_unique<Engine>(clusters, ToInt(samples.shape(1), "x"));
  bool isAdded = false;
  Call call;
  call.Run([&] { isAdded = engine->AddSamples(samples.data(), count); });
  if (!isAdded) ThrowMemoryError();
  engine->SetDiagnosticPrefix("");
  engine->SetIterationsCount(limits.iterations);
  engine->SetTolerance(limits.tolerance);
  SetStart(*engine, start);
  return engine;
}

py::array Centroids(const Engine& engine) {
  const int dimensions = engine.GetDimensionsCount();
  Array<double> result({engine.GetClustersCount(), dimensions});
  for (int k = 0; k < engine.GetClustersCount(); ++k) {
    for (int d = 0; d < dimensions; ++d) result.mutable_at(k, d) = engine.GetCentroid(k)->Get(d, 0);
  }
  return result;
}

py::array Memberships(const Engine& engine) {
  Array<double> result({engine.GetSamplesCount(), engine.GetClustersCount()});
  double* const values = result.mutable_data();
  Call call;
  call.Run([&] { engine.GetMemberships(values); });
  return result;
}

py::array Labels(const Engine& engine) {
  Array<int> result(engine.GetSamplesCount());
  int* const values = result.mutable_data();
  Call call;
  call.Run([&] { engine.GetDecisions(values); });
  return result;
}

// Runs the engine; returns its answer, the iterations and the reason of its end.
template <class Algorithm>
py::tuple RunEngine(const char* name, Engine& engine, const Limits& limits, Algorithm algorithm) {
  Call call(limits.progress);
  double answer = 0.0;
  call.Run([&] { answer = algorithm(engine); });
  // Centroids that all coincide are a result, if a poor one: the reason tells.
  const MTH_STOP_REASON reason = engine.GetStopReason();
  if (reason != MTH_STOP_REASON::BadInput || call.GetStepsCount() == 0) RequireRun(reason, name);
  return py::make_tuple(answer, call.GetStepsCount(), ReasonName(reason));
}

py::tuple KMeans(const py::handle& x, int clusters, const py::object& centroids, const std::string& method,
                 int seed, int iterations, const py::object& progress) {
  const Limits limits{0.0, iterations, progress};
  const auto engine = NewEngine(x, clusters, {centroids, method, seed}, limits);
  const py::tuple end =
      RunEngine("k_means", *engine, limits, [](Engine& run) { return run.ApplyKMeanClustering(); });
  return py::make_tuple(Centroids(*engine), Labels(*engine), end);
}

py::tuple FuzzyCMeans(const py::handle& x, int clusters, double m, const py::object& centroids,
                      const std::string& method, int seed, double tolerance, int iterations,
                      const py::object& progress) {
  const Limits limits{tolerance, iterations, progress};
  const auto engine = NewEngine(x, clusters, {centroids, method, seed}, limits);
  engine->SetRegulationValue(m);
  const py::tuple end = RunEngine("fuzzy_c_means", *engine, limits,
                                  [](Engine& run) { return run.ApplyFuzzyCMeanClustering(); });
  return py::make_tuple(Centroids(*engine), Memberships(*engine), Labels(*engine), end);
}

// The masses of an evidential run, or of a fusion of them. Partitions are computed once, when they are asked
// for.
class Evidence {
 public:
  explicit Evidence(std::unique_ptr<Engine> engine) : engine_(std::move(engine)) {}

  const Engine& GetEngine() const { return *engine_; }
  const MTH_MATRIX& GetMasses() const { return *engine_->GetCredalPartition(); }
  std::int64_t Size() const { return std::int64_t{GetMasses().GetNbRows()} * GetMasses().GetNbCols(); }
  const MTH_MATRIX& Pignistic() {
    return Once([&] { return engine_->GetPignisticPartition(); },
                [&] { return engine_->initPignisticPartition(); });
  }
  const MTH_MATRIX& Plausibility() {
    return Once([&] { return engine_->GetPlausibilityPartition(); },
                [&] { return engine_->initPlausibilityPartition(); });
  }

 private:
  template <class Get, class Compute>
  const MTH_MATRIX& Once(Get get, Compute compute) {
    Call call;
    call.Run([&] {
      const std::scoped_lock locked(mutex_);
      if (get() == nullptr) compute();
    });
    if (get() == nullptr) ThrowMemoryError();
    return *get();
  }

  std::mutex mutex_;
  std::unique_ptr<Engine> engine_;
};
using EvidencePtr = std::shared_ptr<Evidence>;

// The elements of a matrix that another object keeps alive.
py::array View(const MTH_MATRIX& matrix, const EvidencePtr& owner) {
  py::array view(py::dtype::of<double>(), {matrix.GetNbRows(), matrix.GetNbCols()}, matrix.GetEDataAddress(),
                 py::cast(owner));
  view.attr("flags").attr("writeable") = false;
  return view;
}

py::tuple EvidentialCMeans(const py::handle& x, int clusters, double alpha, double beta, double rho,
                           const py::object& centroids, const std::string& method, int seed, double tolerance,
                           int iterations, const py::object& progress) {
  const Limits limits{tolerance, iterations, progress};
  auto engine = NewEngine(x, clusters, {centroids, method, seed}, limits);
  engine->SetParams(alpha, beta, rho);
  const py::tuple end = RunEngine("evidential_c_means", *engine, limits,
                                  [](Engine& run) { return run.ApplyEvidentialFuzzyCMeanClustering(); });
  if (engine->GetCredalPartition() == nullptr) ThrowValueError("no iteration was allowed");
  const py::array found = Centroids(*engine);
  if (!engine->IsEvidential()) {  // a copy fuses also what stopped at its limit of iterations
    Call call;
    call.Run([&] { engine = std::make_unique<Engine>(engine.get()); });
    if (engine->GetCredalPartition() == nullptr) ThrowMemoryError();
  }
  return py::make_tuple(found, std::make_shared<Evidence>(std::move(engine)), end);
}

// The same hypotheses over other masses.
EvidencePtr WithMasses(const Evidence& evidence, std::unique_ptr<MTH_MATRIX> masses) {
  if (!masses) ThrowMemoryError();
  std::unique_ptr<Engine> engine;
  Call call;
  call.Run([&] {
    engine = std::make_unique<Engine>(&evidence.GetEngine());
    engine->SetCredalPartition(masses.get());
  });
  if (engine->GetCredalPartition() == nullptr) ThrowMemoryError();
  return std::make_shared<Evidence>(std::move(engine));
}

EvidencePtr Fuse(const EvidencePtr& evidence, const EvidencePtr& other, bool isDempster,
                 const py::object& progress) {
  const MTH_MATRIX& masses = other->GetMasses();
  if (masses.GetNbRows() != evidence->GetMasses().GetNbRows() ||
      masses.GetNbCols() != evidence->GetMasses().GetNbCols())
    ThrowValueError("the other evidence is about other samples or clusters");
  MTH_MATRIX operand(masses);
  std::unique_ptr<MTH_MATRIX> fused;
  Call call(progress);
  call.Run([&] {
    const Engine& engine = evidence->GetEngine();
    fused.reset(isDempster ? engine.DempsterFusionExact(&operand) : engine.CredalConjFusionExact(&operand));
  });
  return WithMasses(*evidence, std::move(fused));
}

EvidencePtr Discount(const EvidencePtr& evidence, double reliability) {
  if (!(reliability > 0.0 && reliability < 1.0)) ThrowValueError("reliability is not between 0 and 1");
  std::unique_ptr<Engine> engine;
  bool isDone = false;
  Call call;
  call.Run([&] {
    engine = std::make_unique<Engine>(&evidence->GetEngine());
    isDone = engine->WeakenCredalPartition(reliability);
  });
  if (!isDone) ThrowMemoryError();
  return std::make_shared<Evidence>(std::move(engine));
}

// A decision for each sample.
template <class Choose>
py::array Decide(const Evidence& evidence, Choose choose) {
  const Engine& engine = evidence.GetEngine();
  Array<int> result(engine.GetSamplesCount());
  int* const decisions = result.mutable_data();
  Call call;
  call.Run([&] {
    for (int i = 0; i < engine.GetSamplesCount() && !call.IsCancelRequested(); ++i)
      decisions[i] = choose(engine, i);
  });
  return result;
}

py::array DecideByBelief(const EvidencePtr& evidence) {
  return Decide(*evidence, [](const Engine& engine, int i) { return engine.MaxBeliefDecision(i); });
}

py::array DecideByPignistic(const EvidencePtr& evidence) {
  evidence->Pignistic();
  return Decide(*evidence, [](const Engine& engine, int i) { return engine.MaxPignisticDecision(i); });
}

py::array Pignistic(const EvidencePtr& evidence) {
  return View(evidence->Pignistic(), evidence);
}

py::array Plausibility(const EvidencePtr& evidence) {
  return View(evidence->Plausibility(), evidence);
}

// Evidence from its masses, samples x 2^clusters. Any engine of as many clusters has their hypotheses after
// one iteration, whatever its samples are.
EvidencePtr FromMasses(int clusters, const py::handle& value) {
  const Array<double> masses = Numbers<double>(value, "masses", 2);
  const Operand rows(masses, false, "masses");
  auto engine = std::make_unique<Engine>(clusters, 1);
  std::vector<double> places(static_cast<std::size_t>(rows.Rows()));
  std::iota(places.begin(), places.end(), 0.0);
  Call call;
  call.Run([&] {
    for (int k = 0; k < clusters; ++k) {
      const double between = k + 0.25;
      engine->InitialiseCentroid(k, &between, 1);
    }
    engine->AddSamples(places.data(), rows.Rows());
    engine->SetIterationsCount(1);
    engine->ApplyEvidentialFuzzyCMeanClustering();
  });
  if (engine->GetCredalPartition() == nullptr) ThrowMemoryError();
  return WithMasses(Evidence(std::move(engine)), std::make_unique<MTH_MATRIX>(*rows));
}

py::list Hypotheses(const Evidence& evidence) {
  py::list result;
  for (const std::vector<int>* hypothesis : *evidence.GetEngine().GetHypotheses()) {
    py::list clusters;
    for (const int number : *hypothesis) {
      if (number > 0) clusters.append(number - 1);
    }
    result.append(py::tuple(clusters));
  }
  return result;
}

}  // namespace

void DefineClustering(py::module_& module) {
  module.def("k_means", Interruptible(&KMeans, kOfClustering));
  module.def("fuzzy_c_means", Interruptible(&FuzzyCMeans, kOfClustering));
  module.def("evidential_c_means", Interruptible(&EvidentialCMeans, kOfEvidence));
  py::class_<Evidence, EvidencePtr>(module, "Evidence")
      .def_property_readonly("masses", [](const EvidencePtr& self) { return View(self->GetMasses(), self); })
      .def_property_readonly("hypotheses", &Hypotheses)
      .def("pignistic", Interruptible(&Pignistic, kOfClustering))
      .def("plausibility", Interruptible(&Plausibility, kOfClustering))
      .def("decide_belief", Interruptible(&DecideByBelief, kOfClustering))
      .def("decide_pignistic", Interruptible(&DecideByPignistic, kOfClustering))
      .def("fuse", Interruptible(&Fuse, kOfClustering))
      .def(py::pickle(
          [](const EvidencePtr& self) {
            return py::make_tuple(self->GetEngine().GetClustersCount(), View(self->GetMasses(), self));
          },
          [](const py::tuple& state) { return FromMasses(state[0].cast<int>(), state[1]); }))
      .def("discount", Interruptible(&Discount, kOfClustering));
}

}  // namespace mth_python
