#include <algorithm>
#include <cmath>
#include <iterator>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_control_internal.h"
#include "mth/decomposition/Mth_lyapunov_internal.h"
#include "mth/decomposition/Mth_riccati_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/matrix/Mth_matrix.h"
#include "mth/matrix/Mth_matrix_internal.h"

// The Riccati equations of matrices of either type.

using mth_internal::NewFailure;
using mth_internal::RiccatiSystem;
using mth_internal::ScaledMatrix;
using mth_internal::SquareView;
using mth_internal::WorkArray;

namespace {

// Brings elements times 2^-exponent to about 1, in place.
ScaledMatrix Scaled(double* elements, std::int64_t rows, std::int64_t columns, int exponent) {
  const std::int64_t count = rows * columns;
  const double largest = mth_internal::LargestMagnitude(elements, count);
  if (largest == 0.0) return {elements, rows, columns, 0, true};
  // What is small beside the others must not vanish: other units may make it large.
  constexpr int kSmallestExponent = -1020;
  int smallest = std::ilogb(largest);
  for (std::int64_t i = 0; i < count; ++i) {
    if (elements[i] != 0.0) smallest = std::min(smallest, std::ilogb(elements[i]));
  }
  const int change = std::max(-std::ilogb(largest), std::min(0, kSmallestExponent - smallest));
  std::transform(elements, elements + count, elements, [&](double x) { return std::ldexp(x, change); });
  return {elements, rows, columns, exponent + change, false};
}

ScaledMatrix CopyScaled(const MTH_MATRIX& matrix, double* target, bool isSymmetric) {
  mth_internal::CopyElements(matrix, target);
  if (isSymmetric) mth_internal::Symmetrise({target, matrix.GetNbRows()});
  return Scaled(target, matrix.GetNbRows(), matrix.GetNbCols(), 0);
}

// The states and inputs of a system fall into groups that know nothing of each other: where the time
// constants of two groups differ by many decades, each is solved to its own precision.
class Groups {
 public:
  Groups(const RiccatiSystem& system, int* memory)
      : n_(system.a.rows), m_(system.b.columns), roots_(memory), members_(memory + n_ + m_) {
    for (std::int64_t i = 0; i < n_ + m_; ++i) roots_[i] = static_cast<int>(i);
    JoinAlong(system.a, 0, 0);
    JoinAlong(system.q, 0, 0);
    JoinAlong(system.b, 0, n_);
    JoinAlong(system.r, n_, n_);
  }
  static std::int64_t MemoryFor(std::int64_t n, std::int64_t m) { return 2 * (n + m); }

  // Calls visit(states, their count, inputs, their count) for each group, until it is false.
  template <class Visit>
  void ForEach(Visit visit) const {
    for (std::int64_t root = 0; root < n_ + m_; ++root) {
      if (roots_[root] != root) continue;
      std::int64_t states = 0;
      std::int64_t count = 0;
      for (std::int64_t i = 0; i < n_ + m_; ++i) {
        if (RootOf(i) != root) continue;
        members_[count++] = static_cast<int>(i < n_ ? i : i - n_);
        states += i < n_ ? 1 : 0;
      }
      if (!visit(members_, states, members_ + states, count - states)) return;
    }
  }

 private:
  std::int64_t RootOf(std::int64_t i) const {
    while (roots_[i] != i) i = roots_[i];
    return i;
  }
  // The smallest member is the root, so that a chain of roots ends where its group begins.
  void JoinAlong(const ScaledMatrix& matrix, std::int64_t rowOffset, std::int64_t columnOffset) {
    for (std::int64_t i = 0; i < matrix.rows; ++i) {
      for (std::int64_t j = 0; j < matrix.columns; ++j) {
        if (matrix.At(i, j) == 0.0) continue;
        const auto [first, second] = std::minmax({RootOf(rowOffset + i), RootOf(columnOffset + j)});
        roots_[second] = static_cast<int>(first);
      }
    }
  }

  std::int64_t n_;
  std::int64_t m_;
  int* roots_;
  int* members_;
};

// Some rows and columns of a matrix, brought to about 1 once more.
ScaledMatrix Part(const ScaledMatrix& whole, const int* rows, std::int64_t rowCount, const int* columns,
                  std::int64_t columnCount, double* target) {
  for (std::int64_t i = 0; i < rowCount; ++i) {
    for (std::int64_t j = 0; j < columnCount; ++j)
      target[i * columnCount + j] = whole.At(rows[i], columns[j]);
  }
  return Scaled(target, rowCount, columnCount, whole.exponent);
}

// A status that tells more than another one comes later here.
constexpr int kBySeverity[] = {0, 10, 9, 5, 6, 1};

int WorseOf(int status, int other) {
  const auto rank = [](int s) { return std::find(std::begin(kBySeverity), std::end(kBySeverity), s); };
  return rank(status) < rank(other) ? other : status;
}

// A solution that double cannot hold is none.
template <class Solver>
int SolveGroup(RiccatiSystem system, SquareView x, Solver solver) {
  if (const int refusal = mth_internal::RescaleWideSystem(&system)) return refusal;
  const int status = solver(system, x);
  if (status != 0 && status != 10) return status;
  const bool isFinite = std::all_of(x.elements, x.elements + x.size * x.size,
                                    [](double element) { return std::isfinite(element); });
  return isFinite ? status : 9;
}

template <class Solver>
int SolveInGroups(const RiccatiSystem& system, SquareView x, Solver solver) {
  const std::int64_t n = system.a.rows;
  const std::int64_t m = system.b.columns;
  const WorkArray<int> groupMemory(Groups::MemoryFor(n, m));
  if (!groupMemory) return 1;
  const Groups groups(system, groupMemory.Get());
  std::fill_n(x.elements, n * n, 0.0);
  int worst = 0;
  groups.ForEach([&](const int* states, std::int64_t count, const int* inputs, std::int64_t inputCount) {
    if (count == n && inputCount == m) {
      worst = SolveGroup(system, x, solver);
      return false;
    }
    const WorkArray<double> memory(3 * count * count + count * inputCount + inputCount * inputCount);
    if (!memory) {
      worst = 1;
      return false;
    }
    double* a = memory.Get();
    double* q = a + count * count;
    double* b = q + count * count;
    double* r = b + count * inputCount;
    const SquareView part{r + inputCount * inputCount, count};
    const RiccatiSystem group{Part(system.a, states, count, states, count, a),
                              Part(system.b, states, count, inputs, inputCount, b),
                              Part(system.q, states, count, states, count, q),
                              Part(system.r, inputs, inputCount, inputs, inputCount, r), system.states};
    worst = WorseOf(worst, SolveGroup(group, part, solver));
    for (std::int64_t i = 0; i < count; ++i) {
      for (std::int64_t j = 0; j < count; ++j) x[states[i]][states[j]] = part[i][j];
    }
    return worst != 1;
  });
  return worst;
}

template <class Solver>
MTH_MATRIX* Solve(const MTH_MATRIX& a, const MTH_MATRIX& b, const MTH_MATRIX& q, const MTH_MATRIX& r,
                  Solver solver) {
  const int n = a.GetNbRows();
  const int m = b.GetNbCols();
  if (const int refusal = mth_internal::CheckSystem({{a, n, n}, {b, n, m}, {q, n, n}, {r, m, m}}))
    return NewFailure(refusal);
  const std::int64_t area = std::int64_t{n} * n;
  const std::int64_t inputs = std::int64_t{n} * m;
  const WorkArray<double> memory(3 * area + inputs + std::int64_t{m} * m);
  const WorkArray<int> states(n);
  if (!memory || !states) return NewFailure(1);
  double* elements = memory.Get();
  const RiccatiSystem system{CopyScaled(a, elements, false), CopyScaled(b, elements + 2 * area, false),
                             CopyScaled(q, elements + area, true),
                             CopyScaled(r, elements + 2 * area + inputs, true), states.Get()};
  const SquareView x{elements + 2 * area + inputs + std::int64_t{m} * m, n};
  const int status = SolveInGroups(system, x, solver);
  if (status != 0 && status != 10) return NewFailure(status);
  MTH_MATRIX* result = mth_internal::NewRounded(x.elements, n, n, a.GetType(), 0);
  if (mth_internal::IsUsable(result)) mth_internal::MatrixAccess::SetStatus(*result, status);
  return result;
}

}  // namespace

MTH_MATRIX* MTH_MATRIX::SolveRiccati(const MTH_MATRIX& b, const MTH_MATRIX& q, const MTH_MATRIX& r) const {
  return Solve(*this, b, q, r, mth_internal::SolveContinuousRiccati);
}

MTH_MATRIX* MTH_MATRIX::SolveDiscreteRiccati(const MTH_MATRIX& b, const MTH_MATRIX& q,
                                             const MTH_MATRIX& r) const {
  return Solve(*this, b, q, r, mth_internal::SolveDiscreteRiccati);
}
