// Statistics and curves: see costs.cpp.

#include "costs.h"

using namespace mth_benchmark;

namespace {

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
  const auto add = [&](const std::string& name, auto operation, int size = 1000000) {
    AddOfValues(cases, "statistics/" + name, size, operation);
  };
  add("mean", [](double* x, double*, int n) { Mth_Mean(x, static_cast<long>(n)); });
  add("deviation", [](double* x, double*, int n) { Mth_StdDeviation(x, static_cast<long>(n)); });
  add("smallest", [](double* x, double*, int n) { Mth_Min(x, n); });
  add("place of the largest", [](double* x, double*, int n) { Mth_Ind_Max(x, n); });
  add("place of the smallest", [](double* x, double*, int n) { Mth_Ind_Min(x, n); });
  add("slope", [](double* x, double* y, int n) { Mth_Pente(x, y, n); });
  add("sort", [](double* x, double*, int n) { Mth_Sort(n, x, true); });
  add("sort with companions", [](double* x, double* y, int n) { Mth_Sort(n, x, y); });
  add("sort of floats with companions", [](double* x, double* y, int n) {
    std::vector<float> a(x, x + n);
    std::vector<float> b(y, y + n);
    Mth_Sort(n, a.data(), b.data());
  });
  add(
      "sort of points",
      [](double* x, double* y, int n) {
        std::vector<MTH_3D_DOUBLE> points;
        for (int i = 0; i < n; ++i) points.emplace_back(x[i], y[i], 0.0);
        for (const auto compare : {Mth_SortXCroissant, Mth_SortDist}) {
          MTH_POINTER_LIST<MTH_3D_DOUBLE> list;
          for (MTH_3D_DOUBLE& point : points) list.Add(&point);
          list.Sort(compare);
        }
      },
      100000);
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
  add("Mann-Whitney", [](double* x, double* y, int n) { Mth_TestMannWhitney(x, y, n); });
  add("mean of vectors", [](double* x, double* y, int n) {
    double* rows[] = {x, y};
    double mean[2];
    Mth_MeanVector(rows, n, short{2}, mean);
  });
  const auto addOfMatrix = [&](const std::string& name, auto operation) {
    cases.push_back({"statistics/" + name, 1000, [=](Kind kind, int n) -> Run {
                       const auto matrix = MakeMatrix(kind, n, n);
                       return [=] { operation(matrix.get()); };
                     }});
  };
  addOfMatrix("means of columns", [](MTH_MATRIX* m) { Free(Mth_MeanVector(m)); });
  addOfMatrix("deviations of columns", [](MTH_MATRIX* m) { Free(Mth_StdDeviationVector(m)); });
  addOfMatrix("median of a matrix", [](MTH_MATRIX* m) { Mth_Median(m); });
  addOfMatrix("optimal matrix", [](MTH_MATRIX* m) { Free(Mth_Opt_Matrix(m)); });
  add("covariance", [](double* x, double* y, int n) {
    double* rows[] = {x, y};
    Free(Mth_CovarianceMatrix(rows, rows, n, short{2}));
  });
}

void AddCurves(Cases& cases) {
  const auto add = [&](const std::string& name, auto operation) {
    cases.push_back({"curve/" + name, 200000, [=](Kind kind, int n) -> Run {
                       const auto curve = std::make_shared<MTH_XY_PLOT>();
                       float x = 0.0f;
                       for (const double y : Make(kind, n)) curve->AddPoint(x += 0.5f, y);
                       return [=] { operation(*curve); };
                     }});
  };
  add("copy", [](MTH_XY_PLOT& c) { const MTH_XY_PLOT copy(c); });
  add("first derivative", [](MTH_XY_PLOT& c) { Free(c.GetFirstDerivative()); });
  add("first derivative, unsorted", [](MTH_XY_PLOT& c) { Free(c.GetFirstDerivative_NoSort()); });
  add("second derivative", [](MTH_XY_PLOT& c) { Free(c.GetSecondDerivative()); });
  add("second derivative, unsorted", [](MTH_XY_PLOT& c) { Free(c.GetSecondDerivative_NoSort()); });
  add("norm of the derivative", [](MTH_XY_PLOT& c) { c.GetFirstDerivativeNorm(); });
  add("simple integral", [](MTH_XY_PLOT& c) { c.GetSimpleIntegral(); });
  add("means and deviations", [](MTH_XY_PLOT& c) {
    c.GetXMean();
    c.GetYMean();
    c.GetXVariationCoef();
    c.GetYVariationCoef();
  });
  add("integral", [](MTH_XY_PLOT& c) { c.GetIntegral(); });
  add("largest", [](MTH_XY_PLOT& c) { c.GetYMax(); });
  add("extrema and the line's parameters", [](MTH_XY_PLOT& c) {
    float slope = 0.0f;
    float intercept = 0.0f;
    c.GetYMin();
    c.GetXMax();
    c.GetYMaxIndex();
    c.GetXStandardDeviation();
    c.GetYStandardDeviation();
    c.GetLinearRegressionParameters(slope, intercept);
    c.GetChi2();
  });
  add("x median", [](MTH_XY_PLOT& c) { c.GetXMediane(); });
  add("median", [](MTH_XY_PLOT& c) { MTH_XY_PLOT(c).GetYMediane(); });
  add("correlation", [](MTH_XY_PLOT& c) { c.GetXYCorrelation(); });
  add("regression", [](MTH_XY_PLOT& c) { Free(c.GetLinearRegression()); });
  add("chi-square", [](MTH_XY_PLOT& c) { c.GetChi2(&c); });
  add("width", [](MTH_XY_PLOT& c) { c.GetFWHM(0.0, 1000.0); });
  add("mean square", [](MTH_XY_PLOT& c) { c.GetMeanSquared(&c); });
  add("smoothing", [](MTH_XY_PLOT& c) { Free(c.DotSmoothFunction(5, 3)); });
  add("smoothed spline", [](MTH_XY_PLOT& c) { Free(c.DotSpline(5, 3)); });
  add("sliding mean", [](MTH_XY_PLOT& c) { Free(c.GetSlidingMean(101)); });
  add("spline", [](MTH_XY_PLOT& c) { Free(c.GetCubicSpline(3)); });
  add("spline at many abscissae", [](MTH_XY_PLOT& c) {
    std::vector<float> at;
    for (int i = 0; i < c.GetNumberOfPoints(); ++i) at.push_back(c.GetPointX(i) + 0.2f);
    c.DotSplinePoint(at.data(), at.data(), c.GetNumberOfPoints());
  });
  add("spline of x and y", [](MTH_XY_PLOT& c) { Free(c.GetDotSplineXY()); });
}

}  // namespace

void mth_benchmark::AddValues(Cases& cases) {
  AddStatistics(cases);
  AddCurves(cases);
}
