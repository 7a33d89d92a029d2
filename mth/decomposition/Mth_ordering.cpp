#include <algorithm>
#include <limits>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/decomposition/Mth_ordering_internal.h"
#include "mth/decomposition/Mth_reflections_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/decomposition/Mth_small_reflections_internal.h"
#include "mth/decomposition/Mth_small_systems_internal.h"

// Swapping neighbouring blocks of a Schur form (Bai and Demmel, Linear Algebra and its Applications 186
// (1993) 75-95) and of a generalised one (Kagstrom 1993), by the orthogonal basis of the lower block's
// eigenspace.

namespace mth_internal {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr double kTolerance = 40.0 * kEpsilon;  // of what must vanish after a swap
constexpr int kMostRows = 4;

int SizeAt(SquareView t, std::int64_t k) {
  return IsPair(t, k) ? 2 : 1;
}

// An orthogonal matrix of up to four rows.
struct SmallBasis {
  int size;
  double rows[kMostRows][kMostRows];
};

// The orthogonal matrix whose first `second` rows span the columns of [top; identity]; `top` is first x
// second, row-major.
SmallBasis BasisOf(const double* top, int first, int second) {
  const int size = first + second;
  double columns[2][kMostRows] = {};
  for (int j = 0; j < second; ++j) {
    for (int i = 0; i < first; ++i) columns[j][i] = top[i * second + j];
    columns[j][first + j] = 1.0;
  }
  SmallBasis basis{size, {}};
  for (int i = 0; i < size; ++i) basis.rows[i][i] = 1.0;
  for (int k = 0; k < second; ++k) {
    double v[kMostRows] = {};
    double squares = 0.0;
    for (int i = k; i < size; ++i) {
      v[i] = columns[k][i];
      squares += v[i] * v[i];
    }
    BringSquaresNearOne(v + k, size - k, squares);
    const Reflection reflection = ReflectionOf(v[k], squares);
    v[k] = reflection.head;
    const auto reflect = [&](auto at) {
      double sum = 0.0;
      for (int i = k; i < size; ++i) sum += v[i] * at(i);
      for (int i = k; i < size; ++i) at(i) -= reflection.factor * sum * v[i];
    };
    for (int j = k; j < second; ++j) reflect([&](int i) -> double& { return columns[j][i]; });
    for (int j = 0; j < size; ++j) reflect([&](int i) -> double& { return basis.rows[i][j]; });
  }
  return basis;
}

// Rows k, k + 1 ... of `a` become the basis times them.
void TransformRows(SquareView a, std::int64_t k, const SmallBasis& basis, std::int64_t first) {
  double* rows[kMostRows];
  for (int i = 0; i < basis.size; ++i) rows[i] = a[k + i];
  for (std::int64_t j = first; j < a.size; ++j) {
    double column[kMostRows];
    for (int i = 0; i < basis.size; ++i) column[i] = rows[i][j];
    for (int i = 0; i < basis.size; ++i) {
      double sum = 0.0;
      for (int l = 0; l < basis.size; ++l) sum += basis.rows[i][l] * column[l];
      rows[i][j] = sum;
    }
  }
}

// Columns k, k + 1 ... of rows [0, last) of `a` become them times the transposed basis.
void TransformColumns(SquareView a, std::int64_t k, const SmallBasis& basis, std::int64_t last) {
  for (std::int64_t i = 0; i < last; ++i) {
    double* elements = a[i] + k;
    double row[kMostRows];
    std::copy_n(elements, basis.size, row);
    for (int j = 0; j < basis.size; ++j) {
      double sum = 0.0;
      for (int l = 0; l < basis.size; ++l) sum += basis.rows[j][l] * row[l];
      elements[j] = sum;
    }
  }
}

double LargestOfBlock(SquareView a, std::int64_t row, std::int64_t column, int rows, int columns) {
  double largest = 0.0;
  for (int i = 0; i < rows; ++i) largest = std::max(largest, LargestMagnitude(a[row + i] + column, columns));
  return largest;
}

// Solves a small system so that each equation is fulfilled to the rounding of its own terms, however
// different the unknowns are in size: a column of a subspace's basis may be much shorter than the other.
void SolveRefined(const double* system, int count, double* x) {
  constexpr int kRefinements = 2;
  const double smallest =
      std::max(kEpsilon * LargestMagnitude(system, count * count), std::numeric_limits<double>::min());
  double copy[64];
  double rest[8];
  double solution[8] = {};
  std::copy_n(x, count, rest);
  for (int pass = 0; pass <= kRefinements; ++pass) {
    std::copy_n(system, count * count, copy);
    SolveSmall(copy, count, rest, smallest);
    for (int i = 0; i < count; ++i) solution[i] += rest[i];
    for (int i = 0; i < count; ++i) {
      rest[i] = x[i];
      for (int j = 0; j < count; ++j) rest[i] -= system[i * count + j] * solution[j];
    }
  }
  std::copy_n(solution, count, x);
}

// Sets the block below a swapped pair of blocks to 0, which it is but for rounding beside `size`.
// @return  false when it is not.
bool ClearBlock(SquareView a, std::int64_t k, int first, int second, double size) {
  const double left = LargestOfBlock(a, k + second, k, first, second);
  for (int i = 0; i < first; ++i) std::fill_n(a[k + second + i] + k, second, 0.0);
  return left <= kTolerance * size;
}

// Swaps the blocks of `first` and `second` rows that begin in row k.
bool SwapBlocks(SquareView t, SquareView qt, std::int64_t k, int first, int second, double norm) {
  if (first == 1 && second == 1) {
    const double upper = t[k][k];
    const double lower = t[k + 1][k + 1];
    RotateSchur(t, qt, k, RotationOf(t[k][k + 1], lower - upper));
    t[k][k] = lower;
    t[k + 1][k + 1] = upper;
    t[k + 1][k] = 0.0;
    return true;
  }
  // T11 X - X T22 = T12: the columns of [-X; identity] span the eigenspace of T22.
  const int count = first * second;
  double system[16] = {};
  double x[4];
  for (int i = 0; i < first; ++i) {
    for (int j = 0; j < second; ++j) {
      const int equation = i * second + j;
      x[equation] = -t[k + i][k + first + j];
      for (int l = 0; l < first; ++l) system[equation * count + l * second + j] += t[k + i][k + l];
      for (int l = 0; l < second; ++l)
        system[equation * count + i * second + l] -= t[k + first + l][k + first + j];
    }
  }
  SolveRefined(system, count, x);
  const SmallBasis basis = BasisOf(x, first, second);
  TransformRows(t, k, basis, k);
  TransformColumns(t, k, basis, k + first + second);
  TransformRows(qt, k, basis, 0);
  const bool isClear = ClearBlock(t, k, first, second, norm);
  if (second == 2) StandardiseBlock(t, qt, k);
  if (first == 2) StandardiseBlock(t, qt, k + second);
  return isClear;
}

// Swaps neighbours, a chosen one below one that is not, until all chosen blocks are on top.
// @return  the number of their rows; -1 when a swap fails, there is no end or the host gives up.
template <class IsChosen, class Swap>
std::int64_t MoveUp(SquareView t, IsChosen isChosen, Swap swap) {
  const std::int64_t n = t.size;
  std::int64_t swapsLeft = 2 * n * n + 16;
  std::int64_t k = 0;
  while (k < n) {
    const std::int64_t next = k + SizeAt(t, k);
    if (next >= n || isChosen(k) || !isChosen(next)) {
      k = next;
      continue;
    }
    if (--swapsLeft < 0 || IsGivenUp(n) || !swap(k, SizeAt(t, k), SizeAt(t, next))) return -1;
    if (k == 0) continue;
    --k;
    if (k > 0 && IsPair(t, k - 1)) --k;
  }
  std::int64_t count = 0;
  while (count < n && isChosen(count)) count += SizeAt(t, count);
  return count;
}

}  // namespace

std::int64_t MoveNegativeUp(SquareView t, SquareView qt) {
  const double norm = LargestMagnitude(t.elements, t.size * t.size);
  return MoveUp(
      t, [&](std::int64_t k) { return t[k][k] < 0.0; },
      [&](std::int64_t k, int first, int second) { return SwapBlocks(t, qt, k, first, second, norm); });
}

}  // namespace mth_internal
