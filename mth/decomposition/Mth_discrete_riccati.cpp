#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_work_array_internal.h"
#include "mth/decomposition/Mth_lu_internal.h"
#include "mth/decomposition/Mth_lyapunov_internal.h"
#include "mth/decomposition/Mth_ordering_internal.h"
#include "mth/decomposition/Mth_qz_internal.h"
#include "mth/decomposition/Mth_reflections_internal.h"
#include "mth/decomposition/Mth_riccati_internal.h"
#include "mth/decomposition/Mth_scaling_internal.h"
#include "mth/decomposition/Mth_small_reflections_internal.h"
#include "mth/matrix/Mth_product_kernel_internal.h"
#include "mth/matrix/Mth_transpose_kernel_internal.h"

// The discrete Riccati equation by the ordered generalised Schur form of the extended pencil (van Dooren):
// with states x, costates p and inputs u it is
//
//     [ I  0  0 ]        [ A  0  B ]
//     [ 0  At 0 ] z(k+1)=[-Q  I  0 ] z(k),    z = (x, p, u),    p = X x,
//     [ 0  Bt 0 ]        [ 0  0 -R ]
//
// so that neither A nor R need be regular. Orthogonal rows that do not see u leave a pencil of order 2 n.

namespace mth_internal {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr int kMostPasses = 4;  // of finding the size of the solution

// The extended pencil, of 2 n + m rows, and what is left of it.
class ExtendedPencil {
 public:
  ExtendedPencil(std::int64_t states, std::int64_t inputs)
      : n_(states), m_(inputs), rows_(2 * states + inputs), memory_(rows_ * (4 * n_ + m_) + 6 * rows_ + m_) {}
  explicit operator bool() const { return static_cast<bool>(memory_); }

  // With X in units of 2^exponent; inputs are scaled so that their columns are of length about 1.
  // @return  9 when an input does nothing and costs nothing, else 0.
  int Fill(const RiccatiSystem& system, int exponent) {
    std::fill_n(Before(), rows_ * 2 * n_, 0.0);
    std::fill_n(After(), rows_ * 2 * n_, 0.0);
    std::fill_n(Inputs(), rows_ * m_, 0.0);
    for (std::int64_t i = 0; i < n_; ++i) {
      double* state = Before() + i * 2 * n_;
      double* costate = Before() + (n_ + i) * 2 * n_;
      for (std::int64_t j = 0; j < n_; ++j) {
        state[j] = std::ldexp(system.a.At(i, j), -system.a.exponent);
        costate[j] = 0.0 - std::ldexp(system.q.At(i, j), -system.q.exponent - exponent);
        After()[(n_ + j) * 2 * n_ + n_ + i] = state[j];
      }
      costate[n_ + i] = 1.0;
      After()[i * 2 * n_ + i] = 1.0;
    }
    for (std::int64_t j = 0; j < m_; ++j) {
      const int scale = InputExponent(system, j, exponent);
      if (scale == kNothing) return 9;
      InputScales()[j] = static_cast<double>(scale);
    }
    for (std::int64_t j = 0; j < m_; ++j) {
      const int scale = static_cast<int>(InputScales()[j]);
      for (std::int64_t i = 0; i < n_; ++i) {
        const double element = std::ldexp(system.b.At(i, j), scale - system.b.exponent);
        Inputs()[i * m_ + j] = element;
        After()[(2 * n_ + j) * 2 * n_ + n_ + i] = element;
      }
      for (std::int64_t i = 0; i < m_; ++i) {
        const int other = static_cast<int>(InputScales()[i]);
        Inputs()[(2 * n_ + i) * m_ + j] =
            0.0 - std::ldexp(system.r.At(i, j), scale + other - system.r.exponent - exponent);
      }
    }
    return 0;
  }

  // Reflections of rows that leave the inputs in the first m rows alone.
  // @return  9 when the inputs' columns are dependent.
  int RemoveInputs() {
    double* v = Work();
    double* sums = v + rows_;
    for (std::int64_t k = 0; k < m_; ++k) {
      double squares = 0.0;
      for (std::int64_t i = k; i < rows_; ++i) {
        v[i] = Inputs()[i * m_ + k];
        squares += v[i] * v[i];
      }
      if (squares <= kEpsilon * kEpsilon) return 9;
      const Reflection reflection = ReflectionOf(v[k], squares);
      v[k] = reflection.head;
      ReflectRowsBy(Inputs(), rows_, m_, v, reflection.factor, k, k, sums);
      ReflectRowsBy(Before(), rows_, 2 * n_, v, reflection.factor, k, 0, sums);
      ReflectRowsBy(After(), rows_, 2 * n_, v, reflection.factor, k, 0, sums);
    }
    return 0;
  }

  std::int64_t InputsCount() const { return m_; }
  // After Fill: elements of B and R in the units of the pencil.
  double InputAt(std::int64_t i, std::int64_t j) const { return Inputs()[i * m_ + j]; }
  double CostAt(std::int64_t i, std::int64_t j) const { return 0.0 - Inputs()[(2 * n_ + i) * m_ + j]; }

  // What is left, each row brought to a length of about 1.
  void CopyTo(SquareView before, SquareView after) {
    const std::int64_t count = 2 * n_;
    for (std::int64_t i = 0; i < count; ++i) {
      const double* source = Before() + (m_ + i) * count;
      const double* image = After() + (m_ + i) * count;
      const double scale =
          PowerToUnit(std::max(LargestMagnitude(source, count), LargestMagnitude(image, count)));
      for (std::int64_t j = 0; j < count; ++j) {
        before[i][j] = source[j] * scale;
        after[i][j] = image[j] * scale;
      }
    }
  }

 private:
  static constexpr int kNothing = std::numeric_limits<int>::min();

  double* Before() const { return memory_.Get(); }
  double* After() const { return memory_.Get() + rows_ * 2 * n_; }
  double* Inputs() const { return memory_.Get() + rows_ * 4 * n_; }
  double* Work() const { return Inputs() + rows_ * m_; }
  double* InputScales() const { return Work() + 6 * rows_; }

  // The exponent that brings column j of [B; R] to about 1: an element of R on the diagonal meets it twice.
  static int InputExponent(const RiccatiSystem& system, std::int64_t j, int exponent) {
    int largest = kNothing;
    for (std::int64_t i = 0; i < system.b.rows; ++i) {
      const double element = std::abs(system.b.At(i, j));
      if (element != 0.0) largest = std::max(largest, std::ilogb(element) - system.b.exponent);
    }
    for (std::int64_t i = 0; i < system.r.rows; ++i) {
      const double element = std::abs(system.r.At(i, j));
      if (element != 0.0)
        largest = std::max(largest, (std::ilogb(element) - system.r.exponent - exponent) / 2);
    }
    return largest == kNothing ? kNothing : -largest;
  }

  std::int64_t n_;
  std::int64_t m_;
  std::int64_t rows_;
  WorkArray<double> memory_;
};

// The unit of the unknown to begin with: that of Q, or of what R costs where Q is 0.
int FirstExponent(const RiccatiSystem& system) {
  if (!system.q.isZero) return -system.q.exponent;
  if (!system.r.isZero && !system.b.isZero) return -system.r.exponent + 2 * system.b.exponent;
  return 0;
}

// The closed loop A - B (R + Bt X B)^-1 Bt X A and the feedback B (R + Bt X B)^-1 Bt, in the units of a
// pencil that Fill has just written.
// @return  0, 1 or 9 for a singular R + Bt X B.
int CloseLoop(const ExtendedPencil& pencil, SquareView a, SquareView x, SquareView feedback,
              SquareView closed) {
  const std::int64_t n = a.size;
  const std::int64_t m = pencil.InputsCount();
  const WorkArray<double> memory(2 * m * n + m * m + n * n);
  if (!memory) return 1;
  double* b = memory.Get();
  double* image = b + m * n;
  double* costs = image + m * n;
  const SquareView work{costs + m * m, n};
  for (std::int64_t i = 0; i < n; ++i) {
    for (std::int64_t j = 0; j < m; ++j) b[i * m + j] = pencil.InputAt(i, j);
  }
  Multiply<double>({x.elements, b, image, n, n, m});
  for (std::int64_t i = 0; i < m; ++i) {
    for (std::int64_t j = 0; j < m; ++j) {
      double sum = pencil.CostAt(i, j);
      for (std::int64_t k = 0; k < n; ++k) sum += b[k * m + i] * image[k * m + j];
      costs[i * m + j] = sum;
    }
  }
  for (std::int64_t i = 0; i < m; ++i) {
    for (std::int64_t j = 0; j < i; ++j)
      costs[i * m + j] = costs[j * m + i] = 0.5 * (costs[i * m + j] + costs[j * m + i]);
  }
  if (const int refusal = MakeFeedback(costs, b, n, m, feedback)) return refusal == 6 ? 9 : refusal;
  Multiply<double>({feedback.elements, x.elements, work.elements, n, n, n});
  for (std::int64_t i = 0; i < n * n; ++i) work.elements[i] = 0.0 - work.elements[i];
  for (std::int64_t i = 0; i < n; ++i) work[i][i] += 1.0;
  Multiply<double>({work.elements, a.elements, closed.elements, n, n, n});
  return 0;
}

// One pass with X in units of 2^exponent.
int SolvePencil(const RiccatiSystem& system, int exponent, ExtendedPencil& extended, const Pencil& pencil,
                const ComplexPencil& form, bool* isSmall, double* work, SquareView x) {
  if (const int refusal = extended.Fill(system, exponent)) return refusal;
  if (const int refusal = extended.RemoveInputs()) return refusal;
  extended.CopyTo(pencil.a, pencil.b);
  if (!ReduceToGeneralisedSchur(pencil, work)) return 5;
  const std::int64_t stable = MoveSmallUp(pencil, form, isSmall);
  return stable == x.size ? SolveSubspace(form.zt, x) : 9;
}

}  // namespace

int SolveDiscreteRiccati(const RiccatiSystem& system, SquareView x, int* exponent) {
  const std::int64_t n = system.a.rows;
  ExtendedPencil extended(n, system.b.columns);
  const WorkArray<double> memory(16 * n * n + 4 * n);
  const WorkArray<Complex> complexMemory(12 * n * n);
  const WorkArray<bool> isSmall(2 * n);
  if (!extended || !memory || !complexMemory || !isSmall) return 1;
  const Pencil pencil = PencilIn(memory.Get(), 2 * n);
  const ComplexPencil form{complexMemory.Get(), complexMemory.Get() + 4 * n * n,
                           complexMemory.Get() + 8 * n * n, 2 * n};
  *exponent = FirstExponent(system);
  int status = 0;
  for (int pass = 0; pass < kMostPasses; ++pass) {
    status =
        SolvePencil(system, *exponent, extended, pencil, form, isSmall.Get(), memory.Get() + 16 * n * n, x);
    const int change = status == 0 || status == 10 ? ExponentToUnit(x) : 0;
    if (change == 0 || pass + 1 == kMostPasses) break;
    *exponent += change;
  }
  if (status != 0) return status;
  if (const int refusal = extended.Fill(system, *exponent)) return refusal;
  const SquareView a{memory.Get(), n};
  const SquareView feedback{memory.Get() + n * n, n};
  const SquareView closed{memory.Get() + 2 * n * n, n};
  for (std::int64_t i = 0; i < n * n; ++i)
    a.elements[i] = std::ldexp(system.a.elements[i], -system.a.exponent);
  if (const int refusal = CloseLoop(extended, a, x, feedback, closed)) return refusal;
  // At X (closed loop) - X + Q.
  const SquareView transposed{memory.Get() + 3 * n * n, n};
  const SquareView product{memory.Get() + 4 * n * n, n};
  const SquareView residual{memory.Get() + 5 * n * n, n};
  Transpose<double>(a.elements, n, n, transposed.elements);
  Multiply<double>({transposed.elements, x.elements, product.elements, n, n, n});
  Multiply<double>({product.elements, closed.elements, residual.elements, n, n, n});
  for (std::int64_t i = 0; i < n * n; ++i) {
    const double q = std::ldexp(system.q.elements[i], -system.q.exponent - *exponent);
    residual.elements[i] += q - x.elements[i];
  }
  Refine(x, closed, residual, true);
  const double sizeOfQ = system.q.isZero ? 0.0 : std::ldexp(1.0, -system.q.exponent - *exponent);
  const double size = NormOf(a);
  const double doubt = (size * size + 1.0) * NormOf(x) + sizeOfQ;
  double margin = std::numeric_limits<double>::infinity();
  for (std::int64_t k = 0; k < n; ++k) {
    const std::int64_t diagonal = k * (2 * n + 1);
    margin = std::min(margin, 1.0 - Modulus(form.a[diagonal]) / Modulus(form.b[diagonal]));
  }
  return IsOnBoundary(margin, closed, feedback, doubt, true) ? 9 : 0;
}

}  // namespace mth_internal
