// The C++ forms that hosts are compiled against, one by one: a form that changes does not compile here.

#include <mth/Mth.h>
#include <std/Std.h>

#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

namespace {

using Cells = MTH_POINTER_LIST<MTH_CLUSTERING_TREE>;

// Whether a member or function can be taken with exactly that type.
template <class Form, Form kMember>
constexpr bool kHas = true;
#define HAS(form, ...) static_assert(kHas<form, __VA_ARGS__>)

// Runs that can be watched, stopped and explained.
HAS(bool (STD_WAIT_BAR_VIEW::*)() const, &STD_WAIT_BAR_VIEW::IsCancelRequested);
HAS(bool (STD_DISPLAY::*)() const, &STD_DISPLAY::IsCancelRequested);
static_assert(std::is_same_v<decltype(std::declval<const TSTD_WAIT_BAR&>().IsCancelRequested()), bool>);
static_assert(std::is_same_v<std::underlying_type_t<MTH_STOP_REASON>, std::uint8_t>);
static_assert(MTH_STOP_REASON::NotRun < MTH_STOP_REASON::Converged &&
              MTH_STOP_REASON::Converged < MTH_STOP_REASON::IterationCap &&
              MTH_STOP_REASON::IterationCap < MTH_STOP_REASON::Cancelled &&
              MTH_STOP_REASON::Cancelled < MTH_STOP_REASON::NoMemory &&
              MTH_STOP_REASON::NoMemory < MTH_STOP_REASON::BadInput &&
              MTH_STOP_REASON::BadInput < MTH_STOP_REASON::NotFinite);
HAS(const char* (*)(MTH_STOP_REASON), &Mth_StopReasonText);
HAS(MTH_STOP_REASON (MTH_FUNCT::*)() const, &MTH_FUNCT::GetStopReason);
HAS(MTH_STOP_REASON (MTH_CLUSTERING::*)() const, &MTH_CLUSTERING::GetStopReason);
HAS(MTH_STOP_REASON (MTH_CLUSTERING_ADABOOST::*)() const, &MTH_CLUSTERING_ADABOOST::GetStopReason);

// Matrices.
using Matrix = MTH_MATRIX;
using MatrixOut = MTH_MATRIX**;
using ComplexOut = MTH_COMPLEX**;
HAS(bool (Matrix::*)(MatrixOut, MatrixOut) const, &Matrix::SchurDecomposition);
HAS(bool (Matrix::*)(const Matrix&, MatrixOut, MatrixOut, MatrixOut, MatrixOut) const,
    &Matrix::QZDecomposition);
HAS(bool (Matrix::*)(const Matrix&, ComplexOut, double**, ComplexOut) const,
    &Matrix::GeneralisedEigenvalueProblem);
HAS(Matrix* (Matrix::*)(const Matrix&) const, &Matrix::SolveLyapunov);
HAS(Matrix* (Matrix::*)(const Matrix&) const, &Matrix::SolveDiscreteLyapunov);
HAS(Matrix* (Matrix::*)(const Matrix&, const Matrix&, const Matrix&) const, &Matrix::SolveRiccati);
HAS(Matrix* (Matrix::*)(const Matrix&, const Matrix&, const Matrix&) const, &Matrix::SolveDiscreteRiccati);
HAS(void (Matrix::*)(double, int), &Matrix::SetWhiteNoise);
HAS(Matrix* (Matrix::*)(MatrixOut, MatrixOut, MatrixOut, int*) const, &Matrix::PseudoInverse);
HAS(bool (Matrix::*)(ComplexOut, ComplexOut) const, &Matrix::RealEigenvalueProblem);
HAS(Matrix* (Matrix::*)(int, int, int, int) const, &Matrix::RegionOfMatrix);
HAS(void (Matrix::*)(double, double**) const, &Matrix::EigenValues);
HAS(short (Matrix::*)() const, &Matrix::GetType);
HAS(double* (Matrix::*)() const, &Matrix::GetEDataAddress);
HAS(float* (Matrix::*)() const, &Matrix::GetFDataAddress);
HAS(const char* (*)(int), &Mth_StatusText);

template <class T>
constexpr bool kMoves = std::is_nothrow_move_constructible_v<T>&& std::is_nothrow_move_assignable_v<T>;
static_assert(kMoves<MTH_MATRIX> && kMoves<MTH_MATRIX_CHGREF> && kMoves<MTH_XY_PLOT> &&
              kMoves<MTH_CLUSTERING_ADABOOST>);

// Changes of reference and slices.
HAS(MTH_MATRIX_CHGREF* (MTH_MATRIX_CHGREF::*)(const MTH_MATRIX_CHGREF&) const, &MTH_MATRIX_CHGREF::operator*);
HAS(bool (MTH_MATRIX_CHGREF::*)(MTH_3D_DOUBLE*, MTH_3D_DOUBLE*), &MTH_MATRIX_CHGREF::Initialise);
HAS(bool (MTH_MATRIX_CHGREF::*)(), &MTH_MATRIX_CHGREF::ComputeByGeometricMethod);
HAS(bool (MTH_MATRIX_CHGREF::*)(), &MTH_MATRIX_CHGREF::OptimiseMeanDistance);
HAS(bool (MTH_MATRIX_CHGREF::*)(bool*), &MTH_MATRIX_CHGREF::ComputeWithoutOutliers);
[[maybe_unused]] const Orient_Coupe_Irm kSlice = {1, "ABC", "T", "S", 1, 2, 3.0};
HAS(bool (*)(MTH_3D_DOUBLE*, MTH_3D_DOUBLE, MTH_3D_DOUBLE*), &Mth_3D_PointProjectionOnPlan);
HAS(double (*)(MTH_3D_DOUBLE*, MTH_3D_DOUBLE, MTH_3D_DOUBLE), &Mth_3D_PointDiffToNormal);
HAS(int (*)(MTH_3D_DOUBLE*, MTH_3D_DOUBLE*, MTH_3D_DOUBLE*, double*), &Mth_3D_PointProjectionOnSegment);
HAS(double (*)(MTH_POINTER_LIST<MTH_3D_DOUBLE>*, MTH_POINTER_LIST<MTH_3D_DOUBLE>*), &Mth_Hausdorff_Distance);

// Minimisers.
HAS(int (MTH_FUNCT::*)() const, &MTH_FUNCT::GetParametersCount);
HAS(double* (MTH_FUNCT::*)() const, &MTH_FUNCT::GetGradient);
HAS(double* (MTH_FUNCT::*)() const, &MTH_FUNCT::GetHessian);
HAS(int (MTH_FUNCT::*)() const, &MTH_FUNCT::GetResidualsCount);
HAS(bool (MTH_FUNCT::*)(double*), &MTH_FUNCT::EvaluateResiduals);
HAS(bool (MTH_FUNCT::*)(double*, double, int, int*), &MTH_FUNCT::ComputeOptimumLeastSquares);
HAS(const double* (MTH_FUNCT::*)() const, &MTH_FUNCT::GetCovariance);
HAS(bool (MTH_FUNCT::*)() const, &MTH_FUNCT::HasIgnoredParameters);
[[maybe_unused]] const SIMULATED_ANNEALING_PARAM kAnnealing = {0.9, 1, 2, 3, 4, 5.0, 6.0, 7.0, 8.0, 9, 10.0};
HAS(int (MTH_FUNCT_PROFILE_COST::*)() const, &MTH_FUNCT_PROFILE_COST::GetReadCount);
HAS(int (MTH_FUNCT_CURVE_COST::*)() const, &MTH_FUNCT_FIND_CHAINETTE::GetSamplesCount);

// A fit of a host's own: y = a x.
class Line : public MTH_FUNCT_CURVE_COST {
 public:
  Line(int count, const double* x, const double* y) : MTH_FUNCT_CURVE_COST(1, count, x, y) {}
  void Evaluate() override {
    EvaluateMeanSquaredError([a = GetParameters()[0]](double x) { return a * x; });
  }
};

bool FitsLine() {
  const double x[] = {1.0, 2.0};
  const double y[] = {3.0, 5.0};
  Line line(2, x, y);
  line.SetDefined(true);
  const double slope = 2.5;
  line.SetParameters(&slope);
  line.Evaluate();
  return line.GetValue() == 0.125 && line.GetModel()[1] == 5.0;
}

// Clustering and classification.
using Engine = MTH_CLUSTERING;
static_assert(std::is_same_v<std::underlying_type_t<MTH_CENTROID_START>, std::uint8_t>);
static_assert(MTH_CENTROID_START::Quantiles < MTH_CENTROID_START::FarthestFirst &&
              MTH_CENTROID_START::FarthestFirst < MTH_CENTROID_START::PlusPlus);
HAS(bool (Engine::*)(const double*, int), &Engine::AddSamples);
HAS(bool (Engine::*)(double*) const, &Engine::GetMemberships);
HAS(bool (Engine::*)(int*) const, &Engine::GetDecisions);
HAS(bool (Engine::*)(MTH_CENTROID_START, int), &Engine::InitialiseCentroidsFromSamples);
HAS(void (Engine::*)(const std::string&), &Engine::SetDiagnosticPrefix);
static_assert(std::is_same_v<decltype(std::declval<const Engine&>().GetSamples()),
                             const MTH_POINTER_LIST<MTH_CLUSTERING_SAMPLE>*>);
static_assert(std::is_same_v<decltype(std::declval<const Engine&>().GetCentroids()),
                             const MTH_POINTER_LIST<MTH_MATRIX>*>);
static_assert(
    std::is_same_v<decltype(std::declval<const Engine&>().GetCredalPartition()), const MTH_MATRIX*>);
static_assert(std::is_same_v<decltype(std::declval<const Engine&>().GetCardH()), const int*>);
static_assert(std::is_same_v<decltype(std::declval<Engine&>().GetCredalPartition()), MTH_MATRIX*>);
HAS(bool (MTH_CLUSTERING_ADABOOST::*)(std::vector<double>, Cells*, double*),
    &MTH_CLUSTERING_ADABOOST::RealAdaBoostClustering);
HAS(double* (MTH_CLUSTERING_ADABOOST::*)(MTH_MATRIX*) const, &MTH_CLUSTERING_ADABOOST::Classify);
HAS(void (*)(Cells*), &MTH_CLUSTERING_ADABOOST::DeleteCells);
HAS(bool (*)(MTH_MATRIX*, MTH_POINTER_LIST<std::vector<int>>*), &Mth_GenerateSubsets);

// Curves, statistics and streams.
HAS(bool (MTH_XY_PLOT::*)(const float*, float*, int) const, &MTH_XY_PLOT::DotSplinePoint);
HAS(int (*(*)(int (*)()))(), &Mth_SetRandomClock);
HAS(int (*)(short), &Mth_Random2);
HAS(short (*)(short), &Mth_Random3);
HAS(float (*)(short), &Mth_NormalRandomGenerator);
HAS(void (*)(double*, double*, int, double*, double*, double*, double*, double*),
    &Mth_CorrelationRatioOfSpearman);
HAS(void (*)(int, double*, double*), &Mth_ReplaceByRank);

// Calls that must not compile, since a pointer would count as something else.
template <class A, class B>
concept Sorts = requires(A a, B b) {
  Mth_Sort(1, a, b);
};
static_assert(Sorts<double*, double*> && Sorts<int*, bool> && !Sorts<double*, int*> &&
              !Sorts<double*, float*>);
static_assert(!std::is_constructible_v<MTH_MATRIX, int>);

// Constant arrays where they are only read; a null pointer finds the published form.
template <class T>
concept Reads = requires(T* array, MTH_3D_DOUBLE* out, double* result, MTH_FUNCT& cost,
                         MTH_MATRIX_CHGREF& change,
                         std::conditional_t<std::is_const_v<T>, const MTH_3D_DOUBLE, MTH_3D_DOUBLE>* points,
                         std::conditional_t<std::is_const_v<T>, const float, float>* axis, T (*line)[3]) {
  Mth_Mean(array, 3);
  MTH_FUNCT_PROFILE_COST(3, array, array);
  MTH_FUNCT_FIND_CHAINETTE(3, array, array);
  MTH_FUNCT_AJUST_GAUSS_COST(array, 3, 1);
  MTH_FUNCT_AJUST_RAYLEIGH_COST(array, 3);
  MTH_FUNCT_CHGREF_PARAM(array, 3, points, points);
  MTH_MATRIX_CHGREF(3, points, points);
  change.SetRef1(points);
  change.SetRef2(points);
  change.Initialise(points, points);
  change.FromAxisAngle(axis, 1.0F, result);
  cost.SetParameters(array);
  cost.EvaluateAtPoint(array);
  cost.ComputeOptimumPowell(array, 1, 1.0, nullptr, false);
  cost.ComputeOptimumLM(array, nullptr);
  cost.ComputeOptimumQNBFGS(array, 1.0, nullptr);
  cost.ComputeOptimum_Nelder_Mead(array, 1.0, 1, nullptr);
  cost.Compute_Optimum_Steepes(array, 1.0, 1, nullptr);
  cost.ComputeOptimumLeastSquares(array, 1.0, 1, nullptr);
  cost.ComputeOptimumSimmulatedAnnealing(nullptr, array, 0, 0.0, nullptr);
  Mth_Hausdorff_Distance(points, points, 1, 1);
  Mth_ApplyTransformationToSet(points, 1, array, array);
  Mth_3D_LinesIntersection(line, line, result);
  Mth_3D_CalculCoeffPlan(points, 3, result);
  Mth_3D_PointProjectionOnPlan(points, *out, out);
  Mth_3D_PointDiffToNormal(points, *out, *out);
  Mth_3D_PointProjectionOnSegment(points, points, out, result);
};
static_assert(Reads<double> && Reads<const double>);
static_assert(requires(MTH_FUNCT & cost, MTH_MATRIX_CHGREF& change) {
  cost.SetParameters(nullptr);
  cost.ComputeOptimumPowell(nullptr, 1, 1.0, nullptr, false);
  change.SetRef1(nullptr);
  Mth_3D_CalculCoeffPlan(nullptr, 3, nullptr);
  MTH_FUNCT_PROFILE_COST(3, nullptr, nullptr);
});

// Steps that no host calls.
// clang-format off
template <class T>
concept ShowsSteps = requires { &T::InitMask; } || requires { &T::MagSectorRow; } || requires { &T::Histogramme; } ||
                     requires { &T::PolynomeFitting; } || requires { &T::ApproxLikelihoodRatio; } ||
                     requires { &T::NeighbEn_sector; } || requires { &T::ApproxPriorRatio; };
// clang-format on
static_assert(!ShowsSteps<MTH_WAVELET_DENOISING>);

}  // namespace

int main() {
  return Mth_StopReasonText(MTH_STOP_REASON::NotRun) != nullptr && FitsLine() ? 0 : 1;
}
