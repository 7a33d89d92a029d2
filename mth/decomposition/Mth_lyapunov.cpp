#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_lyapunov_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/decomposition/Mth_schur_internal.h"
#include "mth/decomposition/Mth_small_systems_internal.h"
#include "mth/matrix/Mth_product_kernel_internal.h"
#include "mth/matrix/Mth_transpose_kernel_internal.h"

// The Lyapunov equations: the real Schur form of A makes them triangular (Bartels and Stewart, Kitagawa).

namespace mth_internal {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

// T Y + Y Tt = F, or T Y Tt - identity Y = F, for a real Schur form T: rows of Y from the last block up, and
// in them columns from the last block down; what is known is subtracted from the rest at once, along memory.
class TriangularEquation {
 public:
  // `transposed` and `images` are n x n doubles for T transposed and, in the discrete equation, Y Tt.
  TriangularEquation(SquareView t, SquareView transposed, SquareView images, LyapunovKind kind,
                     double negligible)
      : t_(t), tt_(transposed), images_(images), kind_(kind), negligible_(negligible) {
    Transpose<double>(t.elements, t.size, t.size, tt_.elements);
  }

  // y holds F and receives Y. With isSymmetric only its lower triangle is computed.
  // @return  false when the equation has no unique solution or the host gives up.
  bool Solve(SquareView y, bool isSymmetric) {
    bool isRegular = true;
    std::int64_t end = t_.size;
    while (end > 0) {
      if (IsGivenUp(t_.size)) return false;
      const std::int64_t first = StartOf(end);
      if (isSymmetric) Mirror(y, first, end);
      SubtractRowsBelow(y, first, end, isSymmetric ? end : t_.size);
      isRegular = SolveRows(y, first, end, isSymmetric) && isRegular;
      if (kind_.isDiscrete) MakeImages(y, first, end);
      end = first;
    }
    return isRegular;
  }

 private:
  // The first row of the block that ends before `end`.
  std::int64_t StartOf(std::int64_t end) const {
    return end >= 2 && t_[end - 1][end - 2] != 0.0 ? end - 2 : end - 1;
  }
  std::int64_t EndOf(std::int64_t row) const {
    return row + 1 < t_.size && t_[row + 1][row] != 0.0 ? row + 2 : row + 1;
  }

  // Elements right of a block of rows of a symmetric solution are known from the rows below.
  void Mirror(SquareView y, std::int64_t first, std::int64_t end) const {
    for (std::int64_t i = first; i < end; ++i) {
      for (std::int64_t j = end; j < t_.size; ++j) y[i][j] = y[j][i];
    }
  }

  void SubtractRowsBelow(SquareView y, std::int64_t first, std::int64_t end, std::int64_t columns) const {
    const SquareView& known = kind_.isDiscrete ? images_ : y;
    for (std::int64_t i = first; i < end; ++i) {
      double* __restrict row = y[i];
      for (std::int64_t k = end; k < t_.size; ++k) {
        const double weight = t_[i][k];
        if (weight == 0.0) continue;
        const double* source = known[k];
        for (std::int64_t j = 0; j < columns; ++j) row[j] -= weight * source[j];
      }
    }
  }

  // What column `column` of the rows, once known, takes away from the columns before `count`.
  void SubtractColumn(SquareView y, std::int64_t first, std::int64_t end, std::int64_t column,
                      std::int64_t count) const {
    for (std::int64_t i = first; i < end; ++i) {
      double weight = y[i][column];
      if (kind_.isDiscrete) {
        weight = 0.0;
        for (std::int64_t k = first; k < end; ++k) weight += t_[i][k] * y[k][column];
      }
      double* __restrict row = y[i];
      const double* source = tt_[column];
      for (std::int64_t j = 0; j < count; ++j) row[j] -= weight * source[j];
    }
  }

  bool SolveRows(SquareView y, std::int64_t first, std::int64_t end, bool isSymmetric) const {
    bool isRegular = true;
    const std::int64_t height = end - first;
    std::int64_t columnEnd = t_.size;
    if (isSymmetric) {
      columnEnd = end;
      for (std::int64_t column = t_.size - 1; column >= end; --column)
        SubtractColumn(y, first, end, column, end);
    }
    while (columnEnd > 0) {
      const std::int64_t column = StartOf(columnEnd);
      isRegular = SolveBlock(y, first, end, column, columnEnd) && isRegular;
      if (isSymmetric && column == first && height == 2) AverageBeside(y, first);
      for (std::int64_t j = column; j < columnEnd; ++j) SubtractColumn(y, first, end, j, column);
      columnEnd = column;
    }
    return isRegular;
  }

  // The two elements beside the diagonal of a block differ by rounding, and the more the worse the equation
  // is conditioned: either of them alone would leave a rest, their mean leaves none.
  static void AverageBeside(SquareView y, std::int64_t first) {
    double& upper = y[first][first + 1];
    double& lower = y[first + 1][first];
    upper = lower = 0.5 * upper + 0.5 * lower;
  }

  // The equation of one block: up to four unknowns.
  bool SolveBlock(SquareView y, std::int64_t first, std::int64_t end, std::int64_t column,
                  std::int64_t columnEnd) const {
    const std::int64_t height = end - first;
    const std::int64_t width = columnEnd - column;
    if (height == 1 && width == 1) {
      const double left = t_[first][first];
      const double right = t_[column][column];
      const double pivot = kind_.isDiscrete ? left * right - kind_.identity : left + right;
      y[first][column] /= pivot;
      return std::abs(pivot) > negligible_;
    }
    const int count = static_cast<int>(height * width);
    double system[16];
    double values[4];
    for (std::int64_t i = 0; i < height; ++i) {
      for (std::int64_t j = 0; j < width; ++j) {
        const std::int64_t equation = i * width + j;
        values[equation] = y[first + i][column + j];
        for (std::int64_t k = 0; k < height; ++k) {
          for (std::int64_t l = 0; l < width; ++l)
            system[equation * count + k * width + l] =
                Coefficient(first + i, first + k, column + j, column + l);
        }
      }
    }
    const bool isRegular = SolveSmall(system, count, values, std::max(negligible_, kTiny));
    for (std::int64_t i = 0; i < height; ++i) {
      for (std::int64_t j = 0; j < width; ++j) y[first + i][column + j] = values[i * width + j];
    }
    return isRegular;
  }

  // What unknown (k, l) counts in equation (i, j).
  double Coefficient(std::int64_t i, std::int64_t k, std::int64_t j, std::int64_t l) const {
    const double unit = i == k && j == l ? 1.0 : 0.0;
    if (kind_.isDiscrete) return t_[i][k] * t_[j][l] - unit * kind_.identity;
    return (j == l ? t_[i][k] : 0.0) + (i == k ? t_[j][l] : 0.0);
  }

  // Rows of Y Tt.
  void MakeImages(SquareView y, std::int64_t first, std::int64_t end) const {
    for (std::int64_t i = first; i < end; ++i) {
      double* __restrict image = images_[i];
      std::fill_n(image, t_.size, 0.0);
      for (std::int64_t l = 0; l < t_.size; ++l) {
        const double weight = y[i][l];
        const double* source = tt_[l];
        const std::int64_t count = EndOf(l);
        for (std::int64_t j = 0; j < count; ++j) image[j] += weight * source[j];
      }
    }
  }

  static constexpr double kTiny = std::numeric_limits<double>::min();
  SquareView t_;
  SquareView tt_;
  SquareView images_;
  LyapunovKind kind_;
  double negligible_;
};

// The transpose of the operator of T is, in reversed order, the operator of the reversed transpose.
void ReverseTranspose(SquareView t, SquareView result) {
  const std::int64_t n = t.size;
  for (std::int64_t i = 0; i < n; ++i) {
    for (std::int64_t j = 0; j < n; ++j) result[i][j] = t[n - 1 - j][n - 1 - i];
  }
}

void Reverse(SquareView a) {
  std::reverse(a.elements, a.elements + a.size * a.size);
}

// A symmetric matrix of +1 and -1 in no order.
void FillWithSigns(SquareView a) {
  std::uint64_t state = 1;
  for (std::int64_t i = 0; i < a.size; ++i) {
    for (std::int64_t j = 0; j <= i; ++j) {
      state = state * 6364136223846793005ULL + 1442695040888963407ULL;
      a[i][j] = a[j][i] = (state >> 63) != 0 ? 1.0 : -1.0;
    }
  }
}

// Copies what Solve has found of a symmetric solution to its other half.
void MirrorUp(SquareView a) {
  for (std::int64_t i = 0; i < a.size; ++i) {
    for (std::int64_t j = 0; j < i; ++j) a[j][i] = a[i][j];
  }
}

// Work matrices of one equation.
struct Workspace {
  explicit Workspace(std::int64_t size) : n(size), memory(5 * size * size) {}
  SquareView At(int index) const { return {memory.Get() + index * n * n, n}; }
  std::int64_t n;
  WorkArray<double> memory;
};

// An estimate of the norm of the inverse operator from below, by one step of inverse iteration with it and
// with its transpose.
double InverseNorm(SquareView t, const Workspace& space, LyapunovKind kind) {
  const SquareView signs = space.At(3);
  const SquareView reversed = space.At(4);
  FillWithSigns(signs);
  const double start = NormOf(signs);
  TriangularEquation(t, space.At(1), space.At(2), kind, 0.0).Solve(signs, true);
  MirrorUp(signs);
  const double first = NormOf(signs);
  if (!std::isfinite(first) || first == 0.0)
    return first == 0.0 ? 0.0 : std::numeric_limits<double>::infinity();
  for (std::int64_t i = 0; i < t.size * t.size; ++i) signs.elements[i] /= first;
  Reverse(signs);
  ReverseTranspose(t, reversed);
  TriangularEquation(reversed, space.At(1), space.At(2), kind, 0.0).Solve(signs, true);
  MirrorUp(signs);
  const double second = NormOf(signs);
  return std::isfinite(second) ? std::max(first / start, second) : std::numeric_limits<double>::infinity();
}

// result = left' matrix right' with either factor given as it is; false when the host gives up.
bool Sandwich(SquareView left, SquareView matrix, SquareView right, SquareView work, SquareView result) {
  const std::int64_t n = matrix.size;
  return MultiplyUnlessGivenUp<double>({left.elements, matrix.elements, work.elements, n, n, n}) &&
         MultiplyUnlessGivenUp<double>({work.elements, right.elements, result.elements, n, n, n});
}

}  // namespace

bool IsSymmetric(SquareView a) {
  for (std::int64_t i = 0; i < a.size; ++i) {
    for (std::int64_t j = 0; j < i; ++j) {
      if (a[i][j] != a[j][i]) return false;
    }
  }
  return true;
}

double NormOf(SquareView a) {
  const std::int64_t count = a.size * a.size;
  const auto squaresOf = [&](double scale) {
    double sum = 0.0;
    for (std::int64_t i = 0; i < count; ++i) sum += (a.elements[i] * scale) * (a.elements[i] * scale);
    return sum;
  };
  const double squares = squaresOf(1.0);
  if (AreSquaresSafe(squares)) return std::sqrt(squares);
  const double scale = PowerToUnit(LargestMagnitude(a.elements, count));
  return std::sqrt(squaresOf(scale)) / scale;
}

void Symmetrise(SquareView a) {
  for (std::int64_t i = 0; i < a.size; ++i) {
    for (std::int64_t j = 0; j < i; ++j) a[i][j] = a[j][i] = 0.5 * a[i][j] + 0.5 * a[j][i];
  }
}

namespace {

// As SolveLyapunovEquation; one that is given up may have any status.
int SolveBySchurForm(SquareView a, SquareView x, bool isSymmetric, LyapunovKind kind) {
  const std::int64_t n = a.size;
  const Workspace space(n);
  const WorkArray<double> form(2 * n * n + 2 * n);
  if (!space.memory || !form) return 1;
  const SquareView qt{form.Get(), n};
  const SquareView q{form.Get() + n * n, n};
  // The eigenvalues of a triangular matrix are known without rounding.
  const bool isExact = IsUpperTriangular(a);
  if (!DecomposeBySchur(a, qt, form.Get() + 2 * n * n)) return 5;
  Transpose<double>(qt.elements, n, n, q.elements);
  const double norm = NormOf(a);
  const double operatorNorm = kind.isDiscrete ? norm * norm + kind.identity : 2.0 * norm;

  const SquareView y = space.At(0);
  if (!Sandwich(qt, x, q, space.At(1), y)) return 5;
  if (isSymmetric) Symmetrise(y);
  for (std::int64_t i = 0; i < n * n; ++i) y.elements[i] = 0.0 - y.elements[i];
  const double negligible = isExact ? 0.0 : 4.0 * kEpsilon * operatorNorm;
  if (!TriangularEquation(a, space.At(1), space.At(2), kind, negligible).Solve(y, isSymmetric)) return 9;
  if (isSymmetric) MirrorUp(y);
  if (!Sandwich(q, y, qt, space.At(1), x)) return 5;
  if (isSymmetric) Symmetrise(x);

  const double condition = n == 0 ? 1.0 : 1.0 / (operatorNorm * InverseNorm(a, space, kind));
  if (!isExact && condition <= 4.0 * kEpsilon) return 9;
  return condition < kDoubtfulCondition * static_cast<double>(n) ? 10 : 0;
}

}  // namespace

int SolveLyapunovEquation(SquareView a, SquareView x, bool isSymmetric, LyapunovKind kind) {
  const int status = SolveBySchurForm(a, x, isSymmetric, kind);
  return status != 1 && IsGivenUp(a.size) ? 5 : status;
}

}  // namespace mth_internal
