#include <algorithm>
#include <cmath>
#include <limits>

#include "mth/core/Mth_give_up_internal.h"
#include "mth/decomposition/Mth_qz_internal.h"
#include "mth/decomposition/Mth_small_reflections_internal.h"

// Generalised real Schur form: the double-shift steps of Moler and Stewart.

namespace mth_internal {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr int kIterationCap = 120;
constexpr int kExceptionalPeriod = 10;  // a step with other shifts breaks cycles

class QZReduction {
 public:
  explicit QZReduction(const Pencil& pencil)
      : p_(pencil),
        n_(pencil.a.size),
        negligibleA_(kEpsilon * NormOf(pencil.a)),
        negligibleB_(kEpsilon * NormOf(pencil.b)) {}

  bool Run() {
    int iterations = 0;
    for (std::int64_t last = n_ - 1; last >= 0;) {
      if (iterations == 0 && IsGivenUp(n_)) return false;
      const std::int64_t first = FirstOfBlock(last);
      if (first < last && DeflateInfinite(first, last)) {
        iterations = 0;
        continue;
      }
      if (last - first >= 2) {
        if (++iterations > kIterationCap) return false;
        Step(first, last, iterations % kExceptionalPeriod == 0);
        continue;
      }
      if (first < last) {
        StandardisePair(p_, first);
      } else if (std::abs(p_.b[last][last]) <= negligibleB_) {
        p_.b[last][last] = 0.0;
      }
      last = first - 1;
      iterations = 0;
    }
    for (std::int64_t k = 0; k < n_; ++k) MakePositive(p_, k);
    return true;
  }

 private:
  static double NormOf(SquareView matrix) {
    double squares = 0.0;
    for (std::int64_t i = 0; i < matrix.size * matrix.size; ++i)
      squares += matrix.elements[i] * matrix.elements[i];
    return std::sqrt(squares);
  }

  std::int64_t FirstOfBlock(std::int64_t last) {
    for (std::int64_t k = last; k > 0; --k) {
      if (std::abs(p_.a[k][k - 1]) <= negligibleA_) {
        p_.a[k][k - 1] = 0.0;
        return k;
      }
    }
    return 0;
  }

  // A diagonal element of b that is 0 is an infinite eigenvalue: it is moved down to the end of the block,
  // where the element of a beside it is rotated away.
  bool DeflateInfinite(std::int64_t first, std::int64_t last) {
    std::int64_t zero = last;
    while (zero >= first && std::abs(p_.b[zero][zero]) > negligibleB_) --zero;
    if (zero < first) return false;
    p_.b[zero][zero] = 0.0;
    for (std::int64_t k = zero; k < last; ++k) {
      RotateRows(p_, k, std::max(k - 1, first), k + 1, RotationOf(p_.b[k][k + 1], p_.b[k + 1][k + 1]));
      p_.b[k + 1][k + 1] = 0.0;
      if (k == first) continue;
      RotateColumns(p_, k - 1, k + 2, k, ToTheRight(p_.a[k + 1][k - 1], p_.a[k + 1][k]));
      p_.a[k + 1][k - 1] = 0.0;
    }
    RotateColumns(p_, last - 1, last + 1, last, ToTheRight(p_.a[last][last - 1], p_.a[last][last]));
    p_.a[last][last - 1] = 0.0;
    return true;
  }

  // The first column of (M - shift) (M - other shift) for M = a b^-1, over a common factor, in terms of
  // differences with the shifts: the eigenvalues of the last two rows of M when they are complex, else twice
  // the one that is nearer to the last diagonal element.
  void FirstColumn(std::int64_t k, std::int64_t last, bool isExceptional, double& x, double& y,
                   double& z) const {
    const SquareView& a = p_.a;
    const SquareView& b = p_.b;
    const double b11 = b[k][k];
    const double b22 = b[k + 1][k + 1];
    const double b33 = b[last - 1][last - 1];
    const double b44 = b[last][last];
    const double m11 = a[k][k] / b11;
    const double m21 = a[k + 1][k] / b11;
    const double m12 = (a[k][k + 1] - m11 * b[k][k + 1]) / b22;
    const double m22 = (a[k + 1][k + 1] - m21 * b[k][k + 1]) / b22;
    const double m32 = a[k + 2][k + 1] / b22;
    const double m33 = a[last - 1][last - 1] / b33;
    const double m43 = a[last][last - 1] / b33;
    const double m34 = (a[last - 1][last] - m33 * b[last - 1][last]) / b44;
    const double m44 = (a[last][last] - m43 * b[last - 1][last]) / b44;
    double toLower = m44 - m11;
    double toUpper = m33 - m11;
    double product = m43 * m34;
    const double half = 0.5 * (m33 - m44);
    const double discriminant = half * half + product;
    if (isExceptional) {
      const double spread = std::abs(m43) + std::abs(a[last - 1][last - 2] / b[last - 2][last - 2]);
      toLower += 0.75 * spread;
      toUpper = toLower;
      product = -0.4375 * spread * spread;
    } else if (discriminant >= 0.0) {
      const double root = std::sqrt(discriminant);
      const double farther = half + (half < 0.0 ? -root : root);
      if (farther != 0.0) toLower -= product / farther;
      toUpper = toLower;
      product = 0.0;
    }
    const double size = std::abs(m21) + std::abs(toLower) + std::abs(toUpper);
    const double share = m21 / size;
    x = toLower / size * toUpper - product / size + m12 * share;
    y = (m22 - m11 - toLower - toUpper) * share;
    z = m32 * share;
  }

  // Zeros of row k + 2 and k + 1 of b, left of the diagonal, by reflections of columns k to k + 2.
  void RestoreTriangle(std::int64_t k, std::int64_t last) {
    const std::int64_t rows = std::min(k + 4, last + 1);
    double corner = p_.b[k + 2][k + 2];
    const SmallReflection triple = SmallReflectionOf(corner, p_.b[k + 2][k + 1], p_.b[k + 2][k]);
    ReflectThreeColumns<-1>(p_.a, k + 2, rows, triple);
    ReflectThreeColumns<-1>(p_.b, k + 2, k + 2, triple);
    ReflectThreeRows(p_.zt[k + 2], p_.zt[k + 1], p_.zt[k], 0, n_, triple);
    p_.b[k + 2][k + 2] = corner;
    p_.b[k + 2][k + 1] = p_.b[k + 2][k] = 0.0;
    RestorePair(k, rows);
  }

  // The same for row k + 1 and columns k and k + 1.
  void RestorePair(std::int64_t k, std::int64_t rows) {
    double corner = p_.b[k + 1][k + 1];
    const SmallReflection pair = SmallReflectionOf(corner, p_.b[k + 1][k], 0.0);
    ReflectTwoColumns<-1>(p_.a, k + 1, rows, pair);
    ReflectTwoColumns<-1>(p_.b, k + 1, k + 1, pair);
    ReflectTwoRows(p_.zt[k + 1], p_.zt[k], 0, n_, pair);
    p_.b[k + 1][k + 1] = corner;
    p_.b[k + 1][k] = 0.0;
  }

  // One double-shift step on the unreduced rows [first, last], at least three, with b regular there.
  void Step(std::int64_t first, std::int64_t last, bool isExceptional) {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    FirstColumn(first, last, isExceptional, x, y, z);
    for (std::int64_t k = first; k + 1 < last; ++k) {
      if (k > first) {
        x = p_.a[k][k - 1];
        y = p_.a[k + 1][k - 1];
        z = p_.a[k + 2][k - 1];
      }
      const SmallReflection reflection = SmallReflectionOf(x, y, z);
      if (k > first) {
        p_.a[k][k - 1] = x;
        p_.a[k + 1][k - 1] = p_.a[k + 2][k - 1] = 0.0;
      }
      ReflectThreeRows(p_.a[k], p_.a[k + 1], p_.a[k + 2], k, n_, reflection);
      ReflectThreeRows(p_.b[k], p_.b[k + 1], p_.b[k + 2], k, n_, reflection);
      ReflectThreeRows(p_.qt[k], p_.qt[k + 1], p_.qt[k + 2], 0, n_, reflection);
      RestoreTriangle(k, last);
    }
    const std::int64_t k = last - 1;
    x = p_.a[k][k - 1];
    const SmallReflection reflection = SmallReflectionOf(x, p_.a[last][k - 1], 0.0);
    p_.a[k][k - 1] = x;
    p_.a[last][k - 1] = 0.0;
    ReflectTwoRows(p_.a[k], p_.a[last], k, n_, reflection);
    ReflectTwoRows(p_.b[k], p_.b[last], k, n_, reflection);
    ReflectTwoRows(p_.qt[k], p_.qt[last], 0, n_, reflection);
    RestorePair(k, last + 1);
  }

  Pencil p_;
  std::int64_t n_;
  double negligibleA_;
  double negligibleB_;
};

}  // namespace

bool ReduceToGeneralisedSchur(const Pencil& p, double* work) {
  return ReduceToHessenbergTriangular(p, work) && QZReduction(p).Run();
}

}  // namespace mth_internal
