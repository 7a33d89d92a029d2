#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/decomposition/Mth_eigenproblem_internal.h"

// Real Schur form: balancing, Hessenberg form and the double-shift QR steps of Francis.

namespace mth_internal {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr int kBalancingPasses = 50;
constexpr int kExceptionalPeriod = 10;  // a step with other shifts breaks cycles

// I - factor v vt on rows first .. first + 2 (or + 1); v = (1, second, third).
struct SmallReflection {
  double factor;
  double second;
  double third;
};

// Sends (x, y, z) to a multiple of the first unit vector.
SmallReflection ReflectionOf(double& x, double y, double z) {
  const double norm = std::sqrt(x * x + y * y + z * z);
  if (norm == 0.0) return {0.0, 0.0, 0.0};
  const double image = x >= 0.0 ? -norm : norm;
  const double head = x - image;
  x = image;
  return {-head / image, y / head, z / head};
}

void ReflectRows(double* __restrict upper, double* __restrict middle, double* __restrict lower,
                 std::int64_t first, std::int64_t last, const SmallReflection& reflection) {
  for (std::int64_t j = first; j < last; ++j) {
    const double step =
        reflection.factor * (upper[j] + reflection.second * middle[j] + reflection.third * lower[j]);
    upper[j] -= step;
    middle[j] -= step * reflection.second;
    lower[j] -= step * reflection.third;
  }
}

void ReflectRows(double* __restrict upper, double* __restrict lower, std::int64_t first, std::int64_t last,
                 const SmallReflection& reflection) {
  for (std::int64_t j = first; j < last; ++j) {
    const double step = reflection.factor * (upper[j] + reflection.second * lower[j]);
    upper[j] -= step;
    lower[j] -= step * reflection.second;
  }
}

// Columns column .. column + count - 1 of rows [0, last).
void ReflectColumns(SquareView h, std::int64_t column, bool isTriple, std::int64_t last,
                    const SmallReflection& reflection) {
  for (std::int64_t i = 0; i < last; ++i) {
    double* row = h[i] + column;
    double sum = row[0] + reflection.second * row[1];
    if (isTriple) sum += reflection.third * row[2];
    const double step = reflection.factor * sum;
    row[0] -= step;
    row[1] -= step * reflection.second;
    if (isTriple) row[2] -= step * reflection.third;
  }
}

class SchurReduction {
 public:
  SchurReduction(SquareView h, SquareView qt, Complex* values) : h_(h), qt_(qt), values_(values), norm_(0.0) {
    for (std::int64_t i = 0; i < h.size * h.size; ++i) norm_ = std::max(norm_, std::abs(h.elements[i]));
  }

  bool Run() {
    int iterations = 0;
    for (std::int64_t last = h_.size - 1; last >= 0;) {
      const std::int64_t first = FirstOfBlock(last);
      if (last - first >= 2) {
        if (++iterations > kEigenvalueIterationCap) return false;
        Step(first, last, iterations % kExceptionalPeriod == 0);
        continue;
      }
      if (first == last) {
        values_[last] = h_[last][last];
      } else {
        SplitPair(first);
      }
      last = first - 1;
      iterations = 0;
    }
    return true;
  }

 private:
  std::int64_t FirstOfBlock(std::int64_t last) {
    for (std::int64_t k = last; k > 0; --k) {
      const double beside = std::abs(h_[k - 1][k - 1]) + std::abs(h_[k][k]);
      if (std::abs(h_[k][k - 1]) <= kEpsilon * (beside == 0.0 ? norm_ : beside)) {
        h_[k][k - 1] = 0.0;
        return k;
      }
    }
    return 0;
  }

  // The eigenvalues of rows k and k + 1; real ones are separated by a rotation.
  void SplitPair(std::int64_t k) {
    const double a = h_[k][k];
    const double d = h_[k + 1][k + 1];
    const double c = h_[k + 1][k];
    const double half = 0.5 * (a - d);
    const double discriminant = half * half + h_[k][k + 1] * c;
    if (discriminant < 0.0) {
      values_[k] = {d + half, std::sqrt(-discriminant)};
      values_[k + 1] = Conjugate(values_[k]);
      return;
    }
    const double root = std::sqrt(discriminant);
    const double z = half + (half < 0.0 ? -root : root);
    const double r = std::sqrt(z * z + c * c);
    Rotate(k, z / r, c / r);
    h_[k + 1][k] = 0.0;
    values_[k] = h_[k][k];
    values_[k + 1] = h_[k + 1][k + 1];
  }

  void Rotate(std::int64_t k, double c, double s) {
    const auto rotate = [c, s](double& x, double& y) {
      const double former = x;
      x = c * former + s * y;
      y = c * y - s * former;
    };
    for (std::int64_t j = k; j < h_.size; ++j) rotate(h_[k][j], h_[k + 1][j]);
    for (std::int64_t i = 0; i <= k + 1; ++i) rotate(h_[i][k], h_[i][k + 1]);
    for (std::int64_t j = 0; j < h_.size; ++j) rotate(qt_[k][j], qt_[k + 1][j]);
  }

  // One double-shift step on the unreduced rows [first, last], at least three.
  void Step(std::int64_t first, std::int64_t last, bool isExceptional) {
    double sum = h_[last - 1][last - 1] + h_[last][last];
    double product = h_[last - 1][last - 1] * h_[last][last] - h_[last - 1][last] * h_[last][last - 1];
    if (isExceptional) {
      const double size = std::abs(h_[last][last - 1]) + std::abs(h_[last - 1][last - 2]);
      sum = 1.5 * size;
      product = size * size;
    }
    const double* top = h_[first] + first;
    const double* second = h_[first + 1] + first;
    double x = top[0] * top[0] + top[1] * second[0] - sum * top[0] + product;
    double y = second[0] * (top[0] + second[1] - sum);
    double z = second[0] * h_[first + 2][first + 1];
    for (std::int64_t k = first; k + 1 < last; ++k) {
      if (k > first) {
        x = h_[k][k - 1];
        y = h_[k + 1][k - 1];
        z = h_[k + 2][k - 1];
      }
      const SmallReflection reflection = ReflectionOf(x, y, z);
      if (k > first) {
        h_[k][k - 1] = x;
        h_[k + 1][k - 1] = h_[k + 2][k - 1] = 0.0;
      }
      ReflectRows(h_[k], h_[k + 1], h_[k + 2], k, h_.size, reflection);
      ReflectColumns(h_, k, true, std::min(k + 4, last + 1), reflection);
      ReflectRows(qt_[k], qt_[k + 1], qt_[k + 2], 0, h_.size, reflection);
    }
    x = h_[last - 1][last - 2];
    const SmallReflection reflection = ReflectionOf(x, h_[last][last - 2], 0.0);
    h_[last - 1][last - 2] = x;
    h_[last][last - 2] = 0.0;
    ReflectRows(h_[last - 1], h_[last], last - 1, h_.size, reflection);
    ReflectColumns(h_, last - 1, false, last + 1, reflection);
    ReflectRows(qt_[last - 1], qt_[last], 0, h_.size, reflection);
  }

  SquareView h_;
  SquareView qt_;
  Complex* values_;
  double norm_;
};

// Rows [first, n) minus factor v vt times them, columns from `firstColumn` on.
void ReflectRowsBy(SquareView a, const double* v, double factor, std::int64_t first, std::int64_t firstColumn,
                   double* sums) {
  const std::int64_t n = a.size;
  std::fill_n(sums, n, 0.0);
  for (std::int64_t i = first; i < n; ++i) {
    const double* __restrict row = a[i];
    for (std::int64_t j = firstColumn; j < n; ++j) sums[j] += v[i] * row[j];
  }
  for (std::int64_t i = first; i < n; ++i) {
    double* __restrict row = a[i];
    const double weight = factor * v[i];
    for (std::int64_t j = firstColumn; j < n; ++j) row[j] -= weight * sums[j];
  }
}

}  // namespace

ColumnReflection ReflectColumnBelow(SquareView a, std::int64_t k, double* v) {
  double squares = 0.0;
  for (std::int64_t i = k + 1; i < a.size; ++i) {
    v[i] = a[i][k];
    squares += v[i] * v[i];
  }
  const double norm = std::sqrt(squares);
  const double image = v[k + 1] >= 0.0 ? -norm : norm;
  const double h = squares - v[k + 1] * image;
  v[k + 1] -= image;
  return {image, h};
}

void Balance(SquareView a, double* scales) {
  const std::int64_t n = a.size;
  std::fill_n(scales, n, 1.0);
  bool hasChanged = true;
  for (int pass = 0; hasChanged && pass < kBalancingPasses; ++pass) {
    hasChanged = false;
    for (std::int64_t i = 0; i < n; ++i) {
      double row = 0.0;
      double column = 0.0;
      for (std::int64_t j = 0; j < n; ++j) {
        if (j == i) continue;
        row += std::abs(a[i][j]);
        column += std::abs(a[j][i]);
      }
      if (row == 0.0 || column == 0.0) continue;
      // The power of two that makes them most alike, when that is worth it.
      const int exponent = std::clamp((std::ilogb(row) - std::ilogb(column)) / 2, -200, 200);
      const double factor = std::ldexp(1.0, exponent);
      if (exponent == 0 || column * factor + row / factor >= 0.95 * (column + row)) continue;
      hasChanged = true;
      scales[i] *= factor;
      for (std::int64_t j = 0; j < n; ++j) a[i][j] /= factor;
      for (std::int64_t j = 0; j < n; ++j) a[j][i] *= factor;
    }
  }
}

void ReduceToHessenberg(SquareView a, SquareView qt, double* work) {
  const std::int64_t n = a.size;
  double* v = work;
  double* sums = work + n;
  std::fill_n(qt.elements, n * n, 0.0);
  for (std::int64_t i = 0; i < n; ++i) qt[i][i] = 1.0;
  for (std::int64_t k = 0; k + 2 < n; ++k) {
    const auto [image, h] = ReflectColumnBelow(a, k, v);
    if (h == 0.0) continue;
    const double factor = 1.0 / h;
    ReflectRowsBy(a, v, factor, k + 1, k + 1, sums);
    a[k + 1][k] = image;
    for (std::int64_t i = k + 2; i < n; ++i) a[i][k] = 0.0;
    for (std::int64_t i = 0; i < n; ++i) {
      double dot = 0.0;
      for (std::int64_t j = k + 1; j < n; ++j) dot += a[i][j] * v[j];
      dot *= factor;
      for (std::int64_t j = k + 1; j < n; ++j) a[i][j] -= dot * v[j];
    }
    ReflectRowsBy(qt, v, factor, k + 1, 0, sums);
  }
}

bool ReduceToSchur(SquareView h, SquareView qt, Complex* values) {
  return SchurReduction(h, qt, values).Run();
}

}  // namespace mth_internal
