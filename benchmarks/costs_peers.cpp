// How the works grow that once grew too fast, each beside a peer in the same run: the plain loop, the
// library's own form of the contract, or the same work on ordinary input. See costs.cpp; the peer of the
// distances between point sets is a library, in geometry_benchmark.cpp.

#include <cmath>
#include <cstdio>

#include "costs.h"
#include "std/Std.h"

using namespace mth_benchmark;

namespace {

using PrepareSize = std::function<Run(int)>;

struct PeerCase {
  std::string name;
  int size;  // the largest; its half and its quarter give the growth
  PrepareSize prepare;
  std::string peer;
  PrepareSize preparePeer;
  double peerShare = 1.0;  // the peer does this share of the work, and its time is divided by it
};
using PeerCases = std::vector<PeerCase>;

volatile double sink;

// ---- evidential: sizes are numbers of subsets ----

constexpr int kEvidentialSamples = 2000;
constexpr int kPeerSamples = 100;

std::shared_ptr<MTH_CLUSTERING> EngineOf(int subsets, int samples) {
  const int clusters = static_cast<int>(std::lround(std::log2(subsets)));
  auto engine = std::make_shared<MTH_CLUSTERING>(clusters, 1);
  engine->SetDiagnosticPrefix("");
  const Values start(static_cast<std::size_t>(subsets), 0.0);
  for (int i = 0; i < samples; ++i) {
    const double value = i % 97;
    MTH_CLUSTERING_SAMPLE sample(&value, 1, start.data(), subsets);
    engine->AddEvidentialSample(&sample);
  }
  for (int k = 0; k < clusters; ++k) {
    const double centre = 9.0 * k;
    engine->InitialiseCentroid(k, &centre, 1);
  }
  engine->SetIterationsCount(1);
  engine->ApplyEvidentialFuzzyCMeanClustering();  // makes the hypotheses and a partition
  return engine;
}

// The sum over all pairs of sets.
Run PlainPlausibilities(int subsets) {
  return [=, masses = MakeMatrix(Kind::Ordinary, kPeerSamples, subsets)] {
    const double* m = masses->GetEDataAddress();
    for (int i = 0; i < kPeerSamples; ++i, m += subsets) {
      for (int j = 1; j < subsets; ++j) {
        double sum = 0.0;
        for (int k = 1; k < subsets; ++k) sum += (j & k) != 0 ? m[k] : 0.0;
        sink = sum;
      }
    }
  };
}

template <class Fuse>
PrepareSize Fusion(int samples, Fuse fuse) {
  return [=](int subsets) -> Run {
    const auto engine = EngineOf(subsets, samples);
    const auto other = MakeMatrix(Kind::Ordinary, samples, subsets);
    return [=] { Free(fuse(*engine, other.get())); };
  };
}

void AddEvidential(PeerCases& cases) {
  constexpr double kShare = double{kPeerSamples} / kEvidentialSamples;
  cases.push_back({"plausibilities of 2,000 samples, by subsets", 2048,
                   [](int subsets) -> Run {
                     return [engine = EngineOf(subsets, kEvidentialSamples)] {
                       engine->initPlausibilityPartition();
                     };
                   },
                   "pairs of subsets", PlainPlausibilities, kShare});
  cases.push_back(
      {"conjunctive fusion of 2,000 samples, exact, by subsets", 2048,
       Fusion(kEvidentialSamples,
              [](MTH_CLUSTERING& e, MTH_MATRIX* m) { return e.CredalConjFusionExact(m); }),
       "the contract's own",
       Fusion(kPeerSamples, [](MTH_CLUSTERING& e, MTH_MATRIX* m) { return e.CredalConjFusion(m); }), kShare});
}

// ---- fuzzy c-means ----

PrepareSize FuzzyCMeans(double m) {
  return [=](int count) -> Run {
    return [=, x = Make(Kind::Ordinary, count)] {
      MTH_CLUSTERING engine(4, 1);
      StartClustering(engine, x);
      engine.SetRegulationValue(m);
      engine.ApplyFuzzyCMeanClustering();
    };
  };
}

void AddFuzzy(PeerCases& cases) {
  for (const auto& [name, m] :
       {std::pair("fuzzy c-means, m = 1.8", 1.8), std::pair("fuzzy c-means, m = 1.5", 1.5),
        std::pair("fuzzy c-means, m = 1.25", 1.25)})
    cases.push_back({name, 200000, FuzzyCMeans(m), "m = 2", FuzzyCMeans(2.0)});
}

// ---- curves ----

std::shared_ptr<MTH_XY_PLOT> Curve(int count) {
  auto curve = std::make_shared<MTH_XY_PLOT>();
  const Values y = Make(Kind::Ordinary, count);
  for (int i = 0; i < count; ++i)
    curve->AddPoint(0.5F * static_cast<float>(i), y[static_cast<std::size_t>(i)]);
  return curve;
}

// Teeth that each ask for a search one level higher.
std::shared_ptr<MTH_XY_PLOT> Teeth(int count) {
  auto curve = std::make_shared<MTH_XY_PLOT>();
  for (int k = 0; 3 * k < count; ++k) {
    const double level = k - count;
    for (const double y : {level + 0.5, level + 0.5, 2.0 * (level + 1.0)})
      curve->AddPoint(curve->GetNumberOfPoints(), y);
  }
  return curve;
}

// Every search from the first point on.
double PlainWidth(const MTH_XY_PLOT& curve, double a, double b) {
  const int count = curve.GetNumberOfPoints();
  int lower = 0;
  int upper = 0;
  for (int searches = 0; searches < count; ++searches) {
    const double level = std::trunc((a + b) * 0.5);
    for (lower = 0; lower < count && !(curve.GetPointY(lower) > level);) ++lower;
    if (lower == count) lower = 0;
    for (upper = lower; upper < count && !(curve.GetPointY(upper) < level);) ++upper;
    if (upper == count) upper = 0;
    if (upper - lower >= 5 || upper - lower == 1) break;
    a = curve.GetPointY(upper);
  }
  return curve.GetPointX(upper) - curve.GetPointX(lower);
}

constexpr int kPeerAbscissae = 20;

PrepareSize SlidingMean(int width) {
  return [=](int count) -> Run { return [=, curve = Curve(count)] { Free(curve->GetSlidingMean(width)); }; };
}

// The window of each point anew.
PrepareSize PlainSlidingMean(int width) {
  return [=](int count) -> Run {
    return [=, curve = Curve(count)] {
      Values y(static_cast<std::size_t>(count));
      for (int i = 0; i < count; ++i) y[static_cast<std::size_t>(i)] = curve->GetPointY(i);
      MTH_XY_PLOT means;
      for (int i = 0; i < count; ++i) {
        const int reach = std::min({width / 2, i, count - 1 - i});
        double sum = 0.0;
        for (int j = i - reach; j <= i + reach; ++j) sum += y[static_cast<std::size_t>(j)];
        means.AddPoint(curve->GetPointX(i), sum / (2 * reach + 1));
      }
    };
  };
}

void AddCurves(PeerCases& cases) {
  cases.push_back({"DotSplinePoint of 20,000 abscissae, by points", 20000,
                   [](int count) -> Run {
                     return [curve = Curve(count), x = std::vector<float>(20000, 77.0F)]() mutable {
                       curve->DotSplinePoint(x.data(), x.data(), 20000);
                     };
                   },
                   "one by one",
                   [](int count) -> Run {
                     return [curve = Curve(count)] {
                       for (int i = 0; i < kPeerAbscissae; ++i)
                         sink = curve->DotSplinePoint(77.0F + static_cast<float>(i));
                     };
                   },
                   kPeerAbscissae / 20000.0});
  for (const auto& [name, width] :
       {std::pair("GetSlidingMean, width 5", 5), std::pair("GetSlidingMean, width 1001", 1001)})
    cases.push_back({name, 20000, SlidingMean(width), "plain windows", PlainSlidingMean(width)});
  cases.push_back({"GetFWHM, chained searches", 24000,
                   [](int count) -> Run {
                     return [=, curve = Teeth(count)] { sink = curve->GetFWHM(-2.0 * count, 0.0); };
                   },
                   "each from the first point",
                   [](int count) -> Run {
                     return [=, curve = Teeth(count)] { sink = PlainWidth(*curve, -2.0 * count, 0.0); };
                   }});
}

// ---- one NaN ----

PrepareSize Transform(Kind kind) {
  return [=](int n) -> Run {
    return [=, image = MakeMatrix(kind, n, n),
            bands = std::vector<Values>(
                4, Values(static_cast<std::size_t>(n) * static_cast<std::size_t>(n)))]() mutable {
      const MTH_WAVELET_DENOISING wavelet(nullptr);
      for (int level = 0; level < 3; ++level)
        wavelet.RedundantWaveletTransform(image.get(), bands[0].data(), bands[1].data(), bands[2].data(),
                                          bands[3].data(), level, n, n);
    };
  };
}

PrepareSize Inverse(Kind kind) {
  return [=](int n) -> Run { return [matrix = MakeMatrix(kind, n, n)] { Free(matrix->Inverse()); }; };
}

void AddNaN(PeerCases& cases) {
  cases.push_back({"wavelet transform of an image with a NaN, by side", 1024, Transform(Kind::OneNaN),
                   "without it", Transform(Kind::Ordinary)});
  cases.push_back({"inverse of a matrix with a NaN, by side", 500, Inverse(Kind::OneNaN), "without it",
                   Inverse(Kind::Ordinary)});
}

// ---- transforms, progress, construction, scores ----

Run TransformOfFourRows(int length) {
  auto values = std::make_shared<std::vector<MTH_COMPLEX>>();
  for (const double value : Make(Kind::Ordinary, 4 * length)) values->emplace_back(value, 0.0);
  return [=] {
    MTH_COMPLEX* rows[4];
    for (int i = 0; i < 4; ++i) rows[i] = values->data() + std::ptrdiff_t{i} * length;
    Mth_FFT2D(rows, 4, length, 1);
    for (MTH_COMPLEX& value : *values)
      value = MTH_COMPLEX(1.0 / (1.0 + value.module()), 0.0);  // stays finite
  };
}

Run FourTransforms(int length) {
  auto re = std::make_shared<Values>(Make(Kind::Ordinary, 4 * length));
  auto im = std::make_shared<Values>(re->size());
  int m = 0;
  while ((1 << (m + 1)) <= length) ++m;
  return [=] {
    for (std::ptrdiff_t i = 0; i < 4; ++i) Mth_FFT(1, m, re->data() + i * length, im->data() + i * length);
    for (std::size_t i = 0; i < re->size(); ++i) {
      (*re)[i] = 1.0 / (1.0 + std::hypot((*re)[i], (*im)[i]));
      (*im)[i] = 0.0;
    }
  };
}

std::shared_ptr<std::FILE> Nowhere() {
#if defined(_WIN32)
  return {std::fopen("NUL", "w"), std::fclose};
#else
  return {std::fopen("/dev/null", "w"), std::fclose};
#endif
}

Run ConsoleProgress(int steps) {
  return [=, file = Nowhere()] {
    STD_CONSOLE_DISPLAY display(file.get(), STD_CONSOLE_DISPLAY::Progress::Always);
    const STD_DISPLAY_SCOPE scope(&display);
    TSTD_WAIT_BAR bar;
    bar.SetStepsCount(steps);
    bar.Show();
    for (int i = 0; i < steps; ++i) bar.StepAction("Evolution du delta : " + std::to_string(i));
  };
}

Run PrintedLines(int steps) {
  return [=, file = Nowhere()] {
    for (int i = 0; i < steps; ++i) std::fprintf(file.get(), "\rEvolution du delta : %d", i);
    std::fflush(file.get());
  };
}

class Idle : public MTH_FUNCT {
 public:
  explicit Idle(int n) : MTH_FUNCT(n) {}
  void Evaluate() override {}
};

// A boosting of 20 rounds over that many samples.
struct Boosted {
  explicit Boosted(int count)
      : features(MakeMatrix(Kind::Ordinary, 4, count)),
        labels(MakeMatrix(Kind::AllEqual, 1, count)),
        boosting(features.get(), labels.get(), 20, &tree) {
    for (int i = 0; i < count; ++i)
      labels->Set(0, i, features->Get(0, i) + features->Get(1, i) > 200.0 ? 1.0 : -1.0);
    boosting.RealAdaBoostClustering({}, nullptr, nullptr);
  }
  ~Boosted() { MTH_CLUSTERING_ADABOOST::DeleteCells(boosting.GetCells()); }

  MTH_CLUSTERING_TREE tree{3};
  std::shared_ptr<MTH_MATRIX> features;
  std::shared_ptr<MTH_MATRIX> labels;
  MTH_CLUSTERING_ADABOOST boosting;
};

// Each sample along the chain of each cell.
void PlainScores(const Boosted& boosted) {
  const MTH_MATRIX& features = *boosted.features;
  const double* const values = features.GetEDataAddress();
  const std::ptrdiff_t count = features.GetNbCols();
  Values scores(static_cast<std::size_t>(count));
  const std::vector<double>& confidences = boosted.boosting.GetConfidences();
  std::size_t entry = 0;
  for (const MTH_CLUSTERING_TREE* const cell : *boosted.boosting.GetCells()) {
    const double confidence = confidences[entry++];
    for (std::ptrdiff_t i = 0; i < count; ++i) {
      bool isInside = true;
      for (const MTH_CLUSTERING_TREE* node = cell; node != nullptr && isInside; node = node->GetParent()) {
        const double value = values[node->GetFeature() * count + i];
        isInside = (node->GetUpperBound() == 1e9 || value < node->GetUpperBound()) &&
                   (node->GetLowerBound() == 1e9 || value > node->GetLowerBound());
      }
      scores[static_cast<std::size_t>(i)] += isInside ? confidence : 0.0;
    }
  }
  sink = scores[0];
}

void AddOthers(PeerCases& cases) {
  cases.push_back({"Mth_FFT2D of four rows, by length", 1 << 20, TransformOfFourRows,
                   "Mth_FFT of the rows alone", FourTransforms});
  cases.push_back(
      {"console progress, by steps", 1000000, ConsoleProgress, "a printed line each", PrintedLines});
  cases.push_back(
      {"a cost, by parameters", 12000, [](int n) -> Run { return [=] { const Idle cost(n); }; },
       "its arrays but the Hessian, filled",
       [](int n) -> Run { return [=] { sink = Values(static_cast<std::size_t>(n) * 7, 1.0)[0]; }; }});
  cases.push_back({"Classify, by samples", 20000,
                   [](int count) -> Run {
                     return [trained = std::make_shared<Boosted>(count)] {
                       delete[] trained->boosting.Classify(trained->features.get());
                     };
                   },
                   "sample by sample",
                   [](int count) -> Run {
                     return [trained = std::make_shared<Boosted>(count)] { PlainScores(*trained); };
                   }});
}

}  // namespace

void mth_benchmark::MeasureBesidePeers(const std::string& part) {
  PeerCases cases;
  for (const auto add : {AddEvidential, AddFuzzy, AddCurves, AddNaN, AddOthers}) add(cases);
  std::printf(
      "| work | size | time | growth | peer | its time | its growth | ratio |\n"
      "|---|---|---|---|---|---|---|---|\n");
  for (const PeerCase& measured : cases) {
    if (measured.name.find(part) == std::string::npos) continue;
    std::vector<Run> runs;
    for (const auto& prepare : {measured.prepare, measured.preparePeer}) {
      for (const int shrink : {1, 2, 4}) runs.push_back(prepare(measured.size / shrink));
    }
    const Values times = LeastTimes(runs);
    const double peer = times[3] / measured.peerShare;
    std::printf("| %s | %d | %.3g ms | %.2f | %s | %.3g ms | %.2f | %.4g |\n", measured.name.c_str(),
                measured.size, times[0], Growth(times[0], times[2]), measured.peer.c_str(), peer,
                Growth(times[3], times[5]), times[0] / peer);
    std::fflush(stdout);
  }
}
