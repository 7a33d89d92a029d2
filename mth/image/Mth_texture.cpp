#include "mth/image/Mth_texture.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>

#include "mth/core/Mth_instruction_set_internal.h"
#include "mth/core/Mth_work_array_internal.h"

namespace mth_internal {

// The elements of a co-occurrence matrix.
template <class T>
struct MatrixView {
  const T* Row(std::int64_t i) const { return elements + i * columns; }

  const T* elements;
  int rows;
  int columns;
};

struct CorrelationSums {
  double products = 0.0;  // of i j P
  double rowVariance = 0.0;
  double columnVariance = 0.0;
};

// Of p ln p, and of a weight times ln(px py).
struct JointSums {
  double joint = 0.0;
  double products = 0.0;
};

}  // namespace mth_internal

#define MTH_KERNEL_FILE "mth/image/Mth_texture_loops_internal.h"
#include "mth/core/Mth_for_each_instruction_set_internal.h"

namespace mth_internal {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// Runs feature(view) on the elements of P; without elements on none.
template <class Feature>
auto OnElements(const MTH_MATRIX* p, Feature feature) {
  if (p == nullptr || !p->IsAllocated()) return feature(MatrixView<double>{nullptr, 0, 0});
  if (p->GetType() == 0)
    return feature(MatrixView<double>{p->GetEDataAddress(), p->GetNbRows(), p->GetNbCols()});
  return feature(MatrixView<float>{p->GetFDataAddress(), p->GetNbRows(), p->GetNbCols()});
}

// A distribution, zeros at first.
class Distribution {
 public:
  explicit Distribution(std::int64_t count) : count_(std::max<std::int64_t>(0, count)), values_(count_) {
    if (values_) std::fill_n(values_.Get(), count_, 0.0);
  }
  explicit operator bool() const { return static_cast<bool>(values_); }
  double* Get() const { return values_.Get(); }
  std::int64_t Count() const { return count_; }

  double Sum() const {
    return Sum([](double, double value) { return value; });
  }
  // The sum of term(k, value k).
  template <class Term>
  double Sum(Term term) const {
    double sum = 0.0;
    for (std::int64_t k = 0; k < count_; ++k) sum += term(static_cast<double>(k), values_[k]);
    return sum;
  }
  // The sum of p ln p; `Entropy` is never -0.
  double SumOfLogarithms() const { return MTH_SELECT(SumOfLogarithms)(Get(), count_); }
  double Entropy() const { return 0.0 - SumOfLogarithms(); }
  void Divide(int divisor) {
    for (std::int64_t k = 0; k < count_; ++k) values_[k] /= static_cast<double>(divisor);
  }
  // Whether the product of any two values, of this or of another such distribution, is finite.
  bool HasFiniteSquares() const {
    return std::all_of(Get(), Get() + count_, [](double value) { return std::isfinite(value * value); });
  }

 private:
  std::int64_t count_;
  WorkArray<double> values_;
};

// px and py.
template <class T>
struct Marginals {
  explicit Marginals(const MatrixView<T>& p) : rows(p.rows), columns(p.columns) {
    if (!rows || !columns) return;
    MTH_SELECT(SumRows<T>)(p, rows.Get());
    MTH_SELECT(SumColumns<T>)(p, columns.Get());
  }
  explicit operator bool() const { return rows && columns; }

  Distribution rows;
  Distribution columns;
};

// Runs feature(psum); NaN without memory.
template <class Feature>
double OnSums(const MTH_MATRIX* p, Feature feature) {
  return OnElements(p, [&]<class T>(const MatrixView<T>& view) {
    const Distribution psum(2 * std::int64_t{view.rows} - 1);
    if (!psum) return kNaN;
    MTH_SELECT(SumAntidiagonals<T>)(view, psum.Get());
    return feature(psum);
  });
}

// Runs feature(pdiff); NaN without memory.
template <class Feature>
double OnDifferences(const MTH_MATRIX* p, Feature feature) {
  return OnElements(p, [&]<class T>(const MatrixView<T>& view) {
    const Distribution pdiff(view.rows);
    if (!pdiff) return kNaN;
    MTH_SELECT(SumDiagonals<T>)(view, pdiff.Get());
    return feature(pdiff);
  });
}

double MeanOfSums(const Distribution& psum) {
  return psum.Sum([](double k, double value) { return (k + 2.0) * value; });
}

double SumOfSquares(const Distribution& distribution, double mean) {
  return distribution.Sum([mean](double k, double value) { return (k - mean) * (k - mean) * value; });
}

template <class T>
double Correlation(const MatrixView<T>& view) {
  Marginals<T> means(view);
  if (!means) return kNaN;
  means.rows.Divide(view.columns);
  means.columns.Divide(view.rows);
  const auto firstMoment = [](double level, double mean) { return level * mean; };
  const double mx = means.rows.Sum(firstMoment);
  const double my = means.columns.Sum(firstMoment);
  const bool areFinite = means.rows.HasFiniteSquares() && means.columns.HasFiniteSquares();
  const auto sums = MTH_SELECT(SumForCorrelation<T>)(view, means.rows.Get(), means.columns.Get(), areFinite);
  return (sums.products - mx * my) / (std::sqrt(sums.columnVariance) * std::sqrt(sums.rowVariance));
}

// Whether elements of 0 add nothing to HXY1: ln(px py) is then finite wherever px py is not 0, unless an
// element is negative, which makes HXY NaN anyhow.
template <class T>
bool MaySkipZeros(const Marginals<T>& marginals) {
  return marginals.rows.HasFiniteSquares() && marginals.columns.HasFiniteSquares();
}

template <class T>
double CorrelationInfo1(const MatrixView<T>& view) {
  const Marginals<T> marginals(view);
  if (!marginals) return kNaN;
  const double hx = marginals.rows.Entropy();
  const double hy = marginals.columns.Entropy();
  const JointSums sums = MTH_SELECT(SumForInformation<false, T>)(
      view, marginals.rows.Get(), marginals.columns.Get(), MaySkipZeros(marginals));
  const double hxy = -sums.joint;
  const double hxy1 = -sums.products;
  return (hxy - hxy1) / (hx < hy ? hy : hx);
}

template <class T>
double CorrelationInfo2(const MatrixView<T>& view) {
  const Marginals<T> marginals(view);
  if (!marginals) return kNaN;
  const JointSums sums =
      MTH_SELECT(SumForInformation<true, T>)(view, marginals.rows.Get(), marginals.columns.Get(), false);
  const double hxy = -sums.joint;
  const double hxy2 = -sums.products;
  return std::sqrt(1.0 - Exponential(-2.0 * (hxy2 - hxy)));
}

}  // namespace
}  // namespace mth_internal

// ---- sums over the matrix ----

double Mth_Contrast(MTH_MATRIX* P) {
  using namespace mth_internal;
  return OnElements(P, []<class T>(const MatrixView<T>& view) { return MTH_SELECT(Contrast<T>)(view); });
}

float Mth_Homogeneity(MTH_MATRIX* P) {
  using namespace mth_internal;
  return OnElements(P, []<class T>(const MatrixView<T>& view) { return MTH_SELECT(Homogeneity<T>)(view); });
}

double Mth_Energy(MTH_MATRIX* P) {
  using namespace mth_internal;
  return OnElements(P, []<class T>(const MatrixView<T>& view) { return MTH_SELECT(Energy<T>)(view); });
}

double Mth_Mean(MTH_MATRIX* P) {
  using namespace mth_internal;
  return OnElements(P, []<class T>(const MatrixView<T>& view) { return MTH_SELECT(Mean<T>)(view); });
}

double Mth_Variance(MTH_MATRIX* P) {
  using namespace mth_internal;
  return OnElements(P, []<class T>(const MatrixView<T>& view) { return MTH_SELECT(Variance<T>)(view); });
}

double Mth_Entropy(MTH_MATRIX* P) {
  using namespace mth_internal;
  return OnElements(
      P, []<class T>(const MatrixView<T>& view) { return 0.0 - MTH_SELECT(SumOfMatrixLogarithms<T>)(view); });
}

double Mth_Correlation(MTH_MATRIX* P) {
  using namespace mth_internal;
  return OnElements(P, [](const auto& view) { return Correlation(view); });
}

// ---- sums and differences of levels ----

double Mth_MeanSum(MTH_MATRIX* P) {
  return mth_internal::OnSums(P, mth_internal::MeanOfSums);
}

double Mth_VarSum(MTH_MATRIX* P) {
  using namespace mth_internal;
  return OnSums(P, [](const Distribution& psum) { return SumOfSquares(psum, MeanOfSums(psum)); });
}

double Mth_EntSum(MTH_MATRIX* P) {
  using namespace mth_internal;
  return OnSums(P, [](const Distribution& psum) { return psum.Entropy(); });
}

double Mth_VarDifferences(MTH_MATRIX* P) {
  using namespace mth_internal;
  return OnDifferences(P, [](const Distribution& pdiff) {
    return SumOfSquares(pdiff, pdiff.Sum() / static_cast<double>(pdiff.Count()));
  });
}

double Mth_EntDifferences(MTH_MATRIX* P) {
  using namespace mth_internal;
  return OnDifferences(P, [](const Distribution& pdiff) { return pdiff.SumOfLogarithms(); });
}

// ---- information measures of correlation ----

double Mth_CorrelationInfo1(MTH_MATRIX* P) {
  using namespace mth_internal;
  return OnElements(P, [](const auto& view) { return CorrelationInfo1(view); });
}

double Mth_CorrelationInfo2(MTH_MATRIX* P) {
  using namespace mth_internal;
  return OnElements(P, [](const auto& view) { return CorrelationInfo2(view); });
}
