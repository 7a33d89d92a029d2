// How the cost of each operation grows, and what values that are not finite or all equal add to it. Prints a
// line for each: the least processor time of interleaved repetitions at the largest size, the exponent of
// growth over that size, its half and its quarter, and the ratios to ordinary input with one NaN and with one
// infinity in the middle, and with all values equal.
//   costs [PART_OF_NAME]

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <ctime>
#include <functional>
#include <iterator>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "mth/Mth.h"
#include "std/Std.h"

namespace {

enum class Kind { Ordinary, OneNaN, OneInfinity, AllEqual };
constexpr Kind kKinds[] = {Kind::Ordinary, Kind::OneNaN, Kind::OneInfinity, Kind::AllEqual};

using Values = std::vector<double>;
using Run = std::function<void()>;
/// Prepares input of that kind and size; what it returns is measured, and may be run again.
using Prepare = std::function<Run(Kind, int)>;

// Between 50 and 150.
template <class T = double>
std::vector<T> Make(Kind kind, int count, unsigned seed = 1) {
  std::mt19937 engine(seed);
  std::vector<T> values(static_cast<std::size_t>(count));
  for (T& value : values) value = static_cast<T>(50.0 + 1e-6 * static_cast<double>(engine() % 100000000));
  if (kind == Kind::AllEqual) std::fill(values.begin(), values.end(), T{75});
  if (kind == Kind::OneNaN) values[values.size() / 2] = std::numeric_limits<T>::quiet_NaN();
  if (kind == Kind::OneInfinity) values[values.size() / 2] = std::numeric_limits<T>::infinity();
  return values;
}

std::shared_ptr<MTH_MATRIX> MakeMatrix(Kind kind, int rows, int columns, int type = 0, unsigned seed = 1) {
  auto matrix = std::make_shared<MTH_MATRIX>(rows, columns, type);
  const Values values = Make(kind, rows * columns, seed);
  for (int i = 0; i < rows * columns; ++i)
    matrix->Set(i / columns, i % columns, values[static_cast<std::size_t>(i)]);
  return matrix;
}

class SilentDisplay : public STD_DISPLAY {
 public:
  int ShowMessage(const std::string&, MessageKind, const std::string&) override { return 1; }
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override { return nullptr; }
};

struct Case {
  std::string name;
  int size;
  Prepare prepare;
};
using Cases = std::vector<Case>;

template <class Result>
void Free(Result* result) {
  delete result;
}

// ---- matrices ----

template <class Operation>
void AddOfMatrix(Cases& cases, const std::string& name, int size, Operation operation) {
  for (const int type : {0, 1}) {
    cases.push_back(
        {"matrix/" + name + (type == 0 ? "/double" : "/float"), size, [=](Kind kind, int n) -> Run {
           const auto matrix = MakeMatrix(kind, n, n, type);
           return [=] { operation(*matrix); };
         }});
  }
}

void AddMatrices(Cases& cases) {
  using M = MTH_MATRIX;
  AddOfMatrix(cases, "sum", 500, [](M& m) { Free(m + m); });
  AddOfMatrix(cases, "quotient", 300, [](M& m) { Free(m / m); });
  AddOfMatrix(cases, "product", 400, [](M& m) { Free(m * m); });
  AddOfMatrix(cases, "transpose", 500, [](M& m) { Free(m.Transpose()); });
  AddOfMatrix(cases, "largest", 500, [](M& m) { m.GetMax(nullptr, nullptr); });
  AddOfMatrix(cases, "norm", 500, [](M& m) { m.ComputeFrobeniusNorm(); });
  AddOfMatrix(cases, "threshold", 500, [](M& m) { Free(m.GetThresholding(100.0)); });
  AddOfMatrix(cases, "convolution", 400, [](M& m) {
    M kernel(5, 5, 1);
    kernel.SetIdentity();
    Free(m.Convolution2D(&kernel, 0));
  });
  AddOfMatrix(cases, "LU", 400, [](M& m) {
    int* permutation = nullptr;
    Free(m.LU(&permutation));
    delete[] permutation;
  });
  AddOfMatrix(cases, "inverse", 300, [](M& m) { Free(m.Inverse()); });
  AddOfMatrix(cases, "solve", 300, [](M& m) { Free(m.SolveLinearSystemByLU(m)); });
  AddOfMatrix(cases, "determinant", 400, [](M& m) { m.Det(); });
  AddOfMatrix(cases, "QR", 200, [](M& m) {
    M* q = nullptr;
    M* r = nullptr;
    m.QR(&q, &r);
    Free(q);
    Free(r);
  });
  AddOfMatrix(cases, "SVD", 150, [](M& m) {
    M* u = nullptr;
    M* w = nullptr;
    M* v = nullptr;
    m.SVD(&u, &w, &v);
    Free(u);
    Free(w);
    Free(v);
  });
  AddOfMatrix(cases, "pseudo-inverse", 150, [](M& m) { Free(m.PseudoInverse()); });
  AddOfMatrix(cases, "eigenvalues", 60, [](M& m) {
    MTH_COMPLEX* values = nullptr;
    MTH_COMPLEX* vectors = nullptr;
    m.RealEigenvalueProblem(&values, &vectors);
    delete[] values;
    delete[] vectors;
  });
  AddOfMatrix(cases, "Schur", 100, [](M& m) {
    M* q = nullptr;
    M* t = nullptr;
    m.SchurDecomposition(&q, &t);
    Free(q);
    Free(t);
  });
  AddOfMatrix(cases, "Lyapunov", 60, [](M& m) { Free(m.SolveLyapunov(m)); });
  AddOfMatrix(cases, "power method", 300, [](M& m) {
    double dominant = 0.0;
    m.PowerMethod(1e-9, &dominant);
  });
}

// ---- statistics and curves ----

template <class Operation>
void AddOfValues(Cases& cases, const std::string& name, int size, Operation operation) {
  cases.push_back({name, size, [=](Kind kind, int count) -> Run {
                     return [=, x = Make(kind, count), y = Make(Kind::Ordinary, count, 2)] {
                       Values first = x;
                       Values second = y;
                       operation(first.data(), second.data(), count);
                     };
                   }});
}

void AddStatistics(Cases& cases) {
  const auto add = [&](const std::string& name, auto operation) {
    AddOfValues(cases, "statistics/" + name, 200000, operation);
  };
  add("mean", [](double* x, double*, int n) { Mth_Mean(x, static_cast<long>(n)); });
  add("deviation", [](double* x, double*, int n) { Mth_StdDeviation(x, static_cast<long>(n)); });
  add("smallest", [](double* x, double*, int n) { Mth_Min(x, n); });
  add("place of the largest", [](double* x, double*, int n) { Mth_Ind_Max(x, n); });
  add("slope", [](double* x, double* y, int n) { Mth_Pente(x, y, n); });
  add("sort", [](double* x, double*, int n) { Mth_Sort(n, x, true); });
  add("sort with companions", [](double* x, double* y, int n) { Mth_Sort(n, x, y); });
  add("sort of a vector", [](double* x, double*, int n) { Mth_SortVector(Values(x, x + n)); });
  add("ranks", [](double* x, double*, int n) {
    double ties = 0.0;
    Mth_ReplaceByRank(n, x, &ties);
  });
  add("median", [](double* x, double*, int n) {
    int index = 0;
    Mth_Median(Values(x, x + n), index);
  });
  add("Spearman", [](double* x, double* y, int n) {
    double r[5];
    Mth_CorrelationRatioOfSpearman(x, y, n, r, r + 1, r + 2, r + 3, r + 4);
  });
  add("Pearson", [](double* x, double* y, int n) {
    double r[8];
    Mth_StatisticalCriterionCalculations(x, y, n, r, r + 1, r + 2, r + 3, r + 4, r + 5, r + 6, r + 7);
  });
  add("covariance", [](double* x, double* y, int n) {
    double* rows[] = {x, y};
    Free(Mth_CovarianceMatrix(rows, rows, n, short{2}));
  });
}

void AddCurves(Cases& cases) {
  const auto add = [&](const std::string& name, auto operation) {
    cases.push_back({"curve/" + name, 20000, [=](Kind kind, int n) -> Run {
                       const auto curve = std::make_shared<MTH_XY_PLOT>();
                       float x = 0.0f;
                       for (const double y : Make(kind, n)) curve->AddPoint(x += 0.5f, y);
                       return [=] { operation(*curve); };
                     }});
  };
  add("copy", [](MTH_XY_PLOT& c) { const MTH_XY_PLOT copy(c); });
  add("first derivative", [](MTH_XY_PLOT& c) { Free(c.GetFirstDerivative()); });
  add("integral", [](MTH_XY_PLOT& c) { c.GetIntegral(); });
  add("largest", [](MTH_XY_PLOT& c) { c.GetYMax(); });
  add("median", [](MTH_XY_PLOT& c) { MTH_XY_PLOT(c).GetYMediane(); });
  add("correlation", [](MTH_XY_PLOT& c) { c.GetXYCorrelation(); });
  add("regression", [](MTH_XY_PLOT& c) { Free(c.GetLinearRegression()); });
  add("chi-square", [](MTH_XY_PLOT& c) { c.GetChi2(&c); });
  add("width", [](MTH_XY_PLOT& c) { c.GetFWHM(0.0, 1000.0); });
  add("sliding mean", [](MTH_XY_PLOT& c) { Free(c.GetSlidingMean(101)); });
  add("spline", [](MTH_XY_PLOT& c) { Free(c.GetCubicSpline(3)); });
  add("spline at many abscissae", [](MTH_XY_PLOT& c) {
    std::vector<float> at;
    for (int i = 0; i < c.GetNumberOfPoints(); ++i) at.push_back(c.GetPointX(i) + 0.2f);
    c.DotSplinePoint(at.data(), at.data(), c.GetNumberOfPoints());
  });
  add("spline of x and y", [](MTH_XY_PLOT& c) { Free(c.GetDotSplineXY()); });
}

// ---- images and volumes ----

void AddImages(Cases& cases) {
  cases.push_back({"image/FFT", 65536, [](Kind kind, int n) -> Run {
                     return [re = Make(kind, n), im = Make(Kind::Ordinary, n, 2), n] {
                       Values a = re;
                       Values b = im;
                       Mth_FFT(1, static_cast<int>(std::bit_width(static_cast<unsigned>(n))) - 1, a.data(),
                               b.data());
                     };
                   }});
  cases.push_back({"image/Laplacian", 1024, [](Kind kind, int n) -> Run {
                     const auto in = MakeMatrix(kind, n, n);
                     const auto out = MakeMatrix(kind, n, n);
                     return [=] { Mth_ComputeLaplacien(in.get(), out.get(), 0); };
                   }});
  cases.push_back({"image/Laplacian of a volume", 128, [](Kind kind, int n) -> Run {
                     return [in = Make<float>(kind, n * n * n), out = Make<float>(kind, n * n * n),
                             n]() mutable { Mth_ComputeLaplacien3DFloat(in.data(), out.data(), n, n, n); };
                   }});
  const std::pair<const char*, double (*)(MTH_MATRIX*)> features[] = {
      {"contrast", Mth_Contrast},
      {"energy", Mth_Energy},
      {"variance", Mth_Variance},
      {"entropy", Mth_Entropy},
      {"correlation", Mth_Correlation},
      {"entropy of sums", Mth_EntSum},
      {"information 1", Mth_CorrelationInfo1}};
  for (const auto& [name, feature] : features) {
    cases.push_back(
        {std::string("image/texture, ") + name, 256, [feature = feature](Kind kind, int n) -> Run {
           const auto matrix = MakeMatrix(kind, n, n);
           return [=] { feature(matrix.get()); };
         }});
  }
  cases.push_back({"wavelet/transform", 512, [](Kind kind, int n) -> Run {
                     const auto image = MakeMatrix(kind, n, n);
                     return [=, bands = std::vector<Values>(4, Make(kind, n * n))]() mutable {
                       const MTH_WAVELET_DENOISING wavelet(nullptr);
                       wavelet.RedundantWaveletTransform(image.get(), bands[0].data(), bands[1].data(),
                                                         bands[2].data(), bands[3].data(), 2, n, n);
                     };
                   }});
  cases.push_back({"wavelet/inverse", 512, [](Kind kind, int n) -> Run {
                     const auto image = MakeMatrix(kind, n, n);
                     return [=, bands = std::vector<Values>(4, Make(kind, n * n))] {
                       std::vector<Values> copies = bands;
                       const MTH_WAVELET_DENOISING wavelet(nullptr);
                       wavelet.RedundantInverseWaveletTransform(image.get(), copies[0].data(),
                                                                copies[1].data(), copies[2].data(),
                                                                copies[3].data(), 2);
                     };
                   }});
  cases.push_back({"wavelet/line", 1 << 20, [](Kind kind, int n) -> Run {
                     return [line = Make(kind, n), out = Make(kind, n), n]() mutable {
                       Values taps{0.125, 0.375, 0.375, 0.125, 0.0};
                       MTH_WAVELET_DENOISING(nullptr).WaveletTransform1D(line.data(), taps.data(), out.data(),
                                                                         2, n, 5);
                     };
                   }});
  cases.push_back({"wavelet/denoising", 256, [](Kind kind, int n) -> Run {
                     const auto image = MakeMatrix(kind, n, n);
                     return [=] { MTH_WAVELET_DENOISING(image.get()).ApplyDenoisingMRImage(); };
                   }});
  cases.push_back({"denoising/volume", 32, [](Kind kind, int n) -> Run {
                     return [in = Make<float>(kind, n * n * n), out = Make<float>(kind, n * n * n),
                             n]() mutable { MTH_VOLUME_DENOISING(n, n, n).Denoise(in.data(), out.data()); };
                   }});
}

// ---- clustering, boosting, geometry ----

template <class Operation>
void AddOfEngine(Cases& cases, const std::string& name, int size, Operation operation) {
  cases.push_back({"clustering/" + name, size, [=](Kind kind, int count) -> Run {
                     return [=, x = Make(kind, count)] {
                       MTH_CLUSTERING engine(4, 1);
                       engine.AddSamples(x.data(), count);
                       for (int k = 0; k < 4; ++k) {
                         const double start = 60.0 + 20.0 * k;
                         engine.InitialiseCentroid(k, &start, 1);
                       }
                       engine.SetTolerance(0.0);
                       operation(engine);
                     };
                   }});
}

void AddClusterings(Cases& cases) {
  using E = MTH_CLUSTERING;
  AddOfEngine(cases, "samples in", 200000, [](E&) {});
  AddOfEngine(cases, "k-means", 200000, [](E& e) { e.ApplyKMeanClustering(); });
  AddOfEngine(cases, "fuzzy c-means", 50000, [](E& e) { e.ApplyFuzzyCMeanClustering(); });
  AddOfEngine(cases, "fuzzy c-means, m = 1.8", 20000, [](E& e) {
    e.SetRegulationValue(1.8);
    e.ApplyFuzzyCMeanClustering();
  });
  AddOfEngine(cases, "quantiles", 200000,
              [](E& e) { e.InitialiseCentroidsFromSamples(MTH_CENTROID_START::Quantiles); });
  AddOfEngine(cases, "farthest first", 200000,
              [](E& e) { e.InitialiseCentroidsFromSamples(MTH_CENTROID_START::FarthestFirst); });
  AddOfEngine(cases, "k-means++", 200000,
              [](E& e) { e.InitialiseCentroidsFromSamples(MTH_CENTROID_START::PlusPlus); });
  cases.push_back({"clustering/evidential c-means", 5000, [](Kind kind, int n) -> Run {
                     return [x = Make(kind, n)] {
                       MTH_CLUSTERING engine(3, 1);
                       engine.SetDiagnosticPrefix("");
                       const double masses[8] = {};
                       for (const double& value : x) {
                         MTH_CLUSTERING_SAMPLE sample(&value, 1, masses, 8);
                         engine.AddEvidentialSample(&sample);
                       }
                       for (int k = 0; k < 3; ++k) {
                         const double start = 60.0 + 30.0 * k;
                         engine.InitialiseCentroid(k, &start, 1);
                       }
                       engine.SetTolerance(0.0);
                       engine.ApplyEvidentialFuzzyCMeanClustering();
                     };
                   }});
  cases.push_back({"clustering/tissues", 32, [](Kind kind, int n) -> Run {
                     return [x = Make<float>(kind, n * n * n), n] {
                       MTH_TISSUE_CLUSTERING(3).Segment(x.data(), n, n, n, nullptr);
                     };
                   }});
  cases.push_back({"boosting/training", 4000, [](Kind kind, int n) -> Run {
                     const auto features = MakeMatrix(kind, 4, n);
                     const auto labels = MakeMatrix(Kind::AllEqual, 1, n);
                     for (int i = 0; i < n; ++i)
                       labels->Set(0, i, features->Get(0, i) + features->Get(1, i) > 200.0 ? 1.0 : -1.0);
                     return [=] {
                       MTH_CLUSTERING_TREE tree(2);
                       MTH_CLUSTERING_ADABOOST boosting(features.get(), labels.get(), 10, &tree);
                       boosting.GentleAdaBoostClustering({}, nullptr, nullptr);
                       MTH_CLUSTERING_ADABOOST::DeleteCells(boosting.GetCells());
                     };
                   }});
}

void AddGeometry(Cases& cases) {
  const auto add = [&](const std::string& name, int size, auto operation) {
    cases.push_back({"geometry/" + name, size, [=](Kind kind, int count) -> Run {
                       const auto points = [&](unsigned seed, Kind of) {
                         const Values x = Make(of, 3 * count, seed);
                         std::vector<MTH_3D_DOUBLE> all;
                         for (std::size_t i = 0; i < x.size(); i += 3)
                           all.emplace_back(x[i], x[i + 1], x[i + 2]);
                         return all;
                       };
                       return [=, a = points(1, kind), b = points(2, Kind::Ordinary)]() mutable {
                         operation(a, b);
                       };
                     }});
  };
  using Set = std::vector<MTH_3D_DOUBLE>;
  add("Hausdorff distance", 20000, [](Set& a, Set& b) {
    MTH_POINTER_LIST<MTH_3D_DOUBLE> first;
    MTH_POINTER_LIST<MTH_3D_DOUBLE> second;
    for (MTH_3D_DOUBLE& p : a) first.Add(&p);
    for (MTH_3D_DOUBLE& p : b) second.Add(&p);
    Mth_Hausdorff_Distance(&first, &second);
  });
  add("registration", 20000, [](Set& a, Set& b) {
    MTH_MATRIX_CHGREF change(static_cast<int>(a.size()), a.data(), b.data());
    change.ComputeFromSetsByQuaternion();
  });
  add("registration by mean distance", 1000, [](Set& a, Set& b) {
    MTH_MATRIX_CHGREF change(static_cast<int>(a.size()), a.data(), b.data());
    change.OptimiseMeanDistance();
  });
}

// ---- measuring ----

// In repetitions enough for the clock to see.
double Milliseconds(const Run& run) {
  constexpr std::clock_t kLeastTicks = CLOCKS_PER_SEC / 1000;
  const std::clock_t start = std::clock();
  int repetitions = 0;
  std::clock_t ticks = 0;
  for (; ticks < kLeastTicks; ++repetitions) {
    run();
    ticks = std::clock() - start;
  }
  return 1e3 * static_cast<double>(ticks) / CLOCKS_PER_SEC / repetitions;
}

// The least time of each, in turns.
Values LeastTimes(const std::vector<Run>& runs) {
  constexpr int kLeastRepetitions = 5;
  Values least(runs.size(), std::numeric_limits<double>::infinity());
  const std::clock_t start = std::clock();
  const auto isEnough = [=] { return std::clock() - start > CLOCKS_PER_SEC / 4; };
  for (int repetition = 0; repetition < kLeastRepetitions || !isEnough(); ++repetition) {
    for (std::size_t i = 0; i < runs.size(); ++i) least[i] = std::min(least[i], Milliseconds(runs[i]));
  }
  return least;
}

void Measure(const Case& measured) {
  std::vector<Run> runs;
  for (const Kind kind : kKinds) runs.push_back(measured.prepare(kind, measured.size));
  for (const int part : {2, 4}) runs.push_back(measured.prepare(Kind::Ordinary, measured.size / part));
  const Values times = LeastTimes(runs);
  // The slope of the line that fits three points one doubling apart best is that between the outer ones.
  std::printf("| %s | %d | %.3g ms | %.2f |", measured.name.c_str(), measured.size, times[0],
              std::log2(times[0] / times[5]) / 2.0);
  for (std::size_t i = 1; i < std::size(kKinds); ++i) std::printf(" %.2f |", times[i] / times[0]);
  std::printf("\n");
  std::fflush(stdout);
}

}  // namespace

int main(int count, char** arguments) {
  SilentDisplay display;
  const STD_DISPLAY_SCOPE scope(&display);
  const std::string part = count > 1 ? arguments[1] : "";
  Cases cases;
  for (const auto add : {AddMatrices, AddStatistics, AddCurves, AddImages, AddClusterings, AddGeometry})
    add(cases);
  std::printf(
      "| operation | size | time | growth | one NaN | one infinity | all equal |\n"
      "|---|---|---|---|---|---|---|\n");
  for (const Case& measured : cases) {
    if (measured.name.find(part) != std::string::npos) Measure(measured);
  }
}
