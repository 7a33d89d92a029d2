// The decompositions: no finite matrix is refused, factors give their matrix back, and orthogonal ones are
// orthogonal.

#include <algorithm>

#include "fuzz/fuzz.h"

namespace mth_fuzz {
namespace {

using MatrixPtr = std::unique_ptr<MTH_MATRIX>;

// Largest magnitude; 0 for a matrix without elements.
double Largest(const MTH_MATRIX& a) {
  return std::max(std::abs(a.GetMax(nullptr, nullptr)), std::abs(a.GetMin(nullptr, nullptr)));
}

MTH_MATRIX InDouble(const MTH_MATRIX& a, double factor) {
  MTH_MATRIX copy(a.GetNbRows(), a.GetNbCols(), 0);
  for (int i = 0; i < a.GetNbRows(); ++i) {
    for (int j = 0; j < a.GetNbCols(); ++j) copy.Set(i, j, a.Get(i, j) * factor);
  }
  return copy;
}

struct Scale {
  double factor;    // brings the matrix near 1
  double rounding;  // what a stable decomposition may be off by, beside 1
};

Scale ScaleOf(const MTH_MATRIX& a) {
  const double largest = Largest(a);
  const int exponent = largest > 0.0 ? std::ilogb(largest) : 0;
  const double epsilon = a.GetType() == 0 ? std::numeric_limits<double>::epsilon() : 1.2e-7;
  const double size = std::max({a.GetNbRows(), a.GetNbCols(), 1});
  return {std::ldexp(1.0, std::clamp(-exponent, -1000, 1000)), 100.0 * size * epsilon};
}

void RequireNear(const MTH_MATRIX& a, const MTH_MATRIX& b, double tolerance) {
  Require(a.GetNbRows() == b.GetNbRows() && a.GetNbCols() == b.GetNbCols());
  for (int i = 0; i < a.GetNbRows(); ++i) {
    for (int j = 0; j < a.GetNbCols(); ++j) Require(std::abs(a.Get(i, j) - b.Get(i, j)) <= tolerance);
  }
}

void RequireOrthogonal(const MTH_MATRIX& q, double tolerance) {
  const MTH_MATRIX wide = InDouble(q, 1.0);
  const MatrixPtr product(*MatrixPtr(wide.Transpose()) * wide);
  MTH_MATRIX identity(q.GetNbCols(), q.GetNbCols(), 0);
  identity.SetIdentity();
  RequireNear(*product, identity, tolerance);
}

// Subnormal results of scaling back are as exact as they can be.
bool IsOfOrdinarySize(const MTH_MATRIX& a) {
  const double largest = Largest(a);
  return largest == 0.0 ||
         (a.GetType() == 0 ? largest > 1e-290 && largest < 1e300 : largest > 1e-30 && largest < 1e35);
}

void TrySVD(const MTH_MATRIX& a) {
  MTH_MATRIX *u = nullptr, *w = nullptr, *v = nullptr;
  const bool isDone = a.SVD(&u, &w, &v);
  const MatrixPtr left(u), values(w), right(v);
  Require(isDone);
  const Scale scale = ScaleOf(a);
  for (int i = 1; i < w->GetNbRows(); ++i)
    Require(w->Get(i, i) <= w->Get(i - 1, i - 1) && w->Get(i, i) >= 0.0);
  RequireOrthogonal(*v, scale.rounding);
  if (!IsOfOrdinarySize(a)) return;
  const MTH_MATRIX scaled = InDouble(*w, scale.factor);
  const MatrixPtr first(InDouble(*u, 1.0) * scaled);
  const MatrixPtr product(*first * *MatrixPtr(InDouble(*v, 1.0).Transpose()));
  RequireNear(*product, InDouble(a, scale.factor), 2.0 * scale.rounding);
}

void TryQR(const MTH_MATRIX& a) {
  if (Largest(a) > 1e300 || (a.GetType() == 1 && Largest(a) > 1e35)) return;  // R may have no finite elements
  MTH_MATRIX *q = nullptr, *r = nullptr;
  const bool isDone = a.QR(&q, &r);
  const MatrixPtr orthogonal(q), triangular(r);
  Require(isDone);
  const Scale scale = ScaleOf(a);
  RequireOrthogonal(*q, scale.rounding);
  if (!IsOfOrdinarySize(a)) return;
  const MatrixPtr product(InDouble(*q, 1.0) * InDouble(*r, scale.factor));
  RequireNear(*product, InDouble(a, scale.factor), scale.rounding);
}

void TryEigenproblem(const MTH_MATRIX& a) {
  MTH_COMPLEX *values = nullptr, *vectors = nullptr;
  const bool isDone = a.RealEigenvalueProblem(&values, &vectors);
  const std::unique_ptr<MTH_COMPLEX[]> ownedValues(values), ownedVectors(vectors);
  Require(isDone);
  if (!IsOfOrdinarySize(a)) return;
  const int n = a.GetNbRows();
  const Scale scale = ScaleOf(a);
  const auto at = [n](int i, int j) {
    return static_cast<std::size_t>(i) * static_cast<std::size_t>(n) + static_cast<std::size_t>(j);
  };
  for (int j = 0; j < n; ++j) {
    const double real = values[j].getReal() * scale.factor;
    const double imaginary = values[j].getImag() * scale.factor;
    double norm = 0.0;
    for (int i = 0; i < n; ++i) {
      double residualReal = 0.0;
      double residualImaginary = 0.0;
      for (int k = 0; k < n; ++k) {
        residualReal += a.Get(i, k) * scale.factor * vectors[at(k, j)].getReal();
        residualImaginary += a.Get(i, k) * scale.factor * vectors[at(k, j)].getImag();
      }
      const double x = vectors[at(i, j)].getReal();
      const double y = vectors[at(i, j)].getImag();
      residualReal -= real * x - imaginary * y;
      residualImaginary -= real * y + imaginary * x;
      Require(std::hypot(residualReal, residualImaginary) <= n * scale.rounding);
      norm += x * x + y * y;
    }
    Require(std::abs(norm - 1.0) <= scale.rounding);
  }
}

void TryLU(const MTH_MATRIX& a) {
  int* permutation = nullptr;
  const MatrixPtr lu(a.LU(&permutation));
  const std::unique_ptr<int[]> rows(permutation);
  Require(lu != nullptr && (lu->GetStatusError() == 0 || lu->GetStatusError() == 16));
  if (permutation == nullptr) return;
  std::vector<int> sorted(permutation, permutation + a.GetNbRows());
  std::sort(sorted.begin(), sorted.end());
  for (int i = 0; i < a.GetNbRows(); ++i) Require(sorted[static_cast<std::size_t>(i)] == i);
}

}  // namespace

void TryInput(const std::uint8_t* bytes, std::size_t count) {
  Input input(bytes, count);
  const int type = input.Whole(0, 1);
  const int rows = input.Size(1, 9);
  const int columns = input.Byte() < 128 ? rows : input.Size(1, 9);
  MTH_MATRIX a = input.Matrix(rows, columns, type, input.Byte() < 128 ? &Input::Finite : &Input::Moderate);
  if (!std::isfinite(a.ComputeFrobeniusNorm()) && Largest(a) > 3e38 && type == 1)
    return;  // rounded to infinity
  if (input.Byte() < 64) {
    for (int i = 0; i < std::min(rows, columns); ++i) {
      for (int j = 0; j < i; ++j) a.Set(i, j, a.Get(j, i));
    }
  }
  TrySVD(a);
  TryQR(a);
  const MatrixPtr inverse(a.PseudoInverse());
  Require(inverse->GetStatusError() == 0 || inverse->GetStatusError() == 10);
  if (rows != columns) return;
  TryLU(a);
  TryEigenproblem(a);
  RequireSameBits([&](Results& results) {
    const MatrixPtr made(a.Inverse());
    results.Add(made.get());
    results.Add(a.Det());
  });
  double dominant = 0.0;
  Results none;
  none.Add(a.PowerMethod(1e-9, &dominant));
}

}  // namespace mth_fuzz
