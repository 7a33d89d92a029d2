// What a C++ host gets: computes one operation of each kind on the numbers of a file and writes the results,
// one after the other, for the Python module's to be compared with byte by byte.

#include <cstdio>
#include <memory>
#include <vector>

#include "mth/Mth.h"

namespace {

constexpr int kSide = 16;

using Matrix = std::unique_ptr<MTH_MATRIX>;
using Values = std::vector<double>;

std::FILE* results = nullptr;

void Write(const double* values, std::size_t count) {
  std::fwrite(values, sizeof(double), count, results);
}

void Write(const Values& values) {
  Write(values.data(), values.size());
}

void Write(const MTH_MATRIX& matrix) {
  Write(matrix.GetEDataAddress(), static_cast<std::size_t>(matrix.GetNbRows() * matrix.GetNbCols()));
}

void Write(MTH_MATRIX* matrix) {
  Write(*Matrix(matrix));
}

void LinearAlgebra(const MTH_MATRIX& a, const MTH_MATRIX& b) {
  Write(a * b);
  Write(a.SolveLinearSystemByLU(b));
  Write(a.Inverse());
  Write(a.PseudoInverse());
  MTH_MATRIX *first = nullptr, *second = nullptr, *third = nullptr;
  a.QR(&first, &second);
  Write(first), Write(second);
  a.SVD(&first, &second, &third);
  Write(first), Write(third), delete second;
  a.SchurDecomposition(&first, &second);
  Write(first), Write(second);
  Write(a.SolveLyapunov(b));
}

// Samples of four features.
void Clustering(const Values& numbers) {
  constexpr int kClusters = 3;
  const int count = static_cast<int>(numbers.size()) / 4;
  for (const int method : {0, 1, 2}) {
    MTH_CLUSTERING engine(kClusters, 4);
    engine.SetDiagnosticPrefix("");
    engine.AddSamples(numbers.data(), count);
    engine.InitialiseCentroidsFromSamples(MTH_CENTROID_START::Quantiles);
    engine.SetIterationsCount(method == 0 ? 300 : 100);
    if (method == 0) engine.ApplyKMeanClustering();
    if (method == 1) engine.ApplyFuzzyCMeanClustering();
    if (method == 2) engine.ApplyEvidentialFuzzyCMeanClustering();
    Values memberships(static_cast<std::size_t>(count * kClusters));
    engine.GetMemberships(memberships.data());
    if (method == 1) Write(memberships);
    if (method == 2) Write(*engine.GetCredalPartition());
    for (int k = 0; k < kClusters; ++k) Write(*engine.GetCentroid(k));
  }
}

void Boosting(const Values& numbers) {
  MTH_MATRIX features(4, static_cast<int>(numbers.size()) / 4, 0);
  MTH_MATRIX labels(1, features.GetNbCols(), 0);
  for (int i = 0; i < features.GetNbCols(); ++i) {
    for (int j = 0; j < 4; ++j) features.Set(j, i, numbers[static_cast<std::size_t>(4 * i + j)]);
    labels.Set(0, i, features.Get(0, i) * features.Get(1, i) > 0.0 ? 1.0 : -1.0);
  }
  MTH_CLUSTERING_TREE tree(2);
  MTH_CLUSTERING_ADABOOST engine(&features, &labels, 10, &tree);
  engine.RealAdaBoostClustering({}, nullptr, nullptr);
  const std::unique_ptr<double[]> scores(engine.Classify(&features));
  Write(scores.get(), static_cast<std::size_t>(features.GetNbCols()));
  MTH_CLUSTERING_ADABOOST::DeleteCells(engine.GetCells());
}

void Images(MTH_MATRIX& plane) {
  const std::size_t count = static_cast<std::size_t>(kSide) * kSide;
  Values noisy(count), bands[4];
  for (std::size_t i = 0; i < count; ++i) noisy[i] = 100.0 + 10.0 * plane.GetEDataAddress()[i];
  Values denoised(count);
  MTH_VOLUME_DENOISING(8, 8, 4).Denoise(noisy.data(), denoised.data());
  Write(denoised);
  for (Values& band : bands) band.resize(count);
  const MTH_WAVELET_DENOISING transform(nullptr);
  transform.RedundantWaveletTransform(&plane, bands[0].data(), bands[1].data(), bands[2].data(),
                                      bands[3].data(), 1, kSide, kSide);
  for (const Values& band : bands) Write(band);
  MTH_MATRIX laplacian(kSide, kSide, 0);
  Mth_ComputeLaplacien(&plane, &laplacian, 0);
  Write(laplacian);
  MTH_MATRIX shares(kSide, kSide, 0);
  for (std::size_t i = 0; i < count; ++i)
    shares.GetEDataAddress()[i] = plane.GetEDataAddress()[i] * plane.GetEDataAddress()[i];
  Write(Values{Mth_Entropy(&shares), Mth_Correlation(&shares), Mth_CorrelationInfo1(&shares)});
  Values re(plane.GetEDataAddress(), plane.GetEDataAddress() + count), im(count, 0.0);
  Mth_FFT(1, 8, re.data(), im.data());
  Write(re), Write(im);
}

class Rosenbrock : public MTH_FUNCT {
 public:
  Rosenbrock() : MTH_FUNCT(2) { SetDefined(true); }
  void Evaluate() override {
    const double x = GetParameters()[0], y = GetParameters()[1];
    const double bend = y - x * x, rest = 1.0 - x;
    SetValue(100.0 * (bend * bend) + rest * rest);
  }
};

void Fits(Values numbers) {
  Rosenbrock cost;
  double start[] = {-1.2, 1.0};
  short iterations = 0;
  cost.ComputeOptimumPowell(start, 1000, 1e-8, &iterations, false);
  Write(cost.GetParameters(), 2);
  start[0] = -1.2, start[1] = 1.0;
  cost.ComputeOptimum_Nelder_Mead(start, 1e-8, 2000, nullptr);
  Write(cost.GetParameters(), 2);
  const int count = static_cast<int>(numbers.size()) / 2;
  double* const x = numbers.data();
  double* const y = x + count;
  double d, zd, probd, rs, probrs;
  Mth_CorrelationRatioOfSpearman(x, y, count, &d, &zd, &probd, &rs, &probrs);
  Write(Values{Mth_Mean(x, count), Mth_StdDeviation(x, count), rs, probrs, Mth_Gamma(3.7),
               Mth_IncompleteBeta(2.0, 3.0, 0.4)});
  auto* const points = reinterpret_cast<MTH_3D_DOUBLE*>(x);
  MTH_MATRIX_CHGREF change(10, points, points + 10);
  change.ComputeFromSetsByQuaternion();
  Write(change);
  Write(Values{Mth_Hausdorff_Distance(points, points + 10, 10, 10)});
}

}  // namespace

// same_bits NUMBERS RESULTS
int main(int argc, char** argv) {
  if (argc != 3) return 2;
  Values numbers(static_cast<std::size_t>(2) * kSide * kSide);
  std::FILE* const file = std::fopen(argv[1], "rb");
  if (file == nullptr || std::fread(numbers.data(), sizeof(double), numbers.size(), file) != numbers.size())
    return 1;
  std::fclose(file);
  results = std::fopen(argv[2], "wb");
  if (results == nullptr) return 1;
  MTH_MATRIX a(kSide, kSide, 0), b(kSide, kSide, 0);
  a.SetVector(numbers.data(), kSide * kSide);
  b.SetVector(numbers.data() + kSide * kSide, kSide * kSide);
  LinearAlgebra(a, b);
  Clustering(numbers);
  Boosting(numbers);
  Images(a);
  Fits(numbers);
  return std::fclose(results) == 0 ? 0 : 1;
}
