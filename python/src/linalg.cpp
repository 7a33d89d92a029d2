#include <algorithm>
#include <array>
#include <complex>
#include <string>

#include "arrays.h"
#include "call.h"
#include "mth/value/Mth_complex.h"

// Matrices: products, systems, decompositions and matrix equations. Shapes are checked here, where the
// exception can name them; what is left is told by the status of the result.

namespace mth_python {
namespace {

using MatrixPtr = std::unique_ptr<MTH_MATRIX>;
using Complexes = std::unique_ptr<MTH_COMPLEX[]>;

// What the statuses mean that are no faults of shape; `name` is the operation.
void RequireStatus(int status, const std::string& name) {
  switch (status) {
    case 0:
      return;
    case 1:
      ThrowMemoryError();
    case 5:
      ThrowLinAlgError(name +
                       ": the decomposition failed: a row is all zeros, elements are not finite or there is "
                       "no convergence");
    case 6:
      ThrowLinAlgError(name + ": singular matrix: the product of the pivots is below 1e-30 in magnitude");
    case 9:
      ThrowLinAlgError(name + ": there is no such solution");
    case 10:
      return WarnUnstable();
    case 16:
      ThrowLinAlgError(name + ": singular matrix: a row is all zeros");
    case 17:
      ThrowLinAlgError(name + ": no convergence, or elements that are not finite");
    default:
      ThrowLinAlgError(name + ": failed with status " + std::to_string(status));
  }
}

// The result of an operation that gives one matrix.
template <class Compute>
MatrixPtr Solve(const char* name, Compute compute) {
  Call call;
  MatrixPtr result;
  call.Run([&] { result.reset(compute()); });
  if (!result) ThrowMemoryError();
  RequireStatus(result->GetStatusError(), name);
  return result;
}

// The operands of one operation, as floats only if they all are.
struct Pair {
  Pair(const py::array& a, const char* aName, const py::array& b, const char* bName, bool isColumn = false)
      : isFloat(IsFloat(a) && IsFloat(b)), left(a, isFloat, aName), right(b, isFloat, bName, isColumn) {}
  bool isFloat;
  Operand left;
  Operand right;
};

void RequireRows(const Operand& matrix, const Operand& right) {
  if (matrix.Rows() != right.Rows())
    ThrowValueError("right-hand side has " + std::to_string(right.Rows()) + " rows, the matrix " +
                    std::to_string(matrix.Rows()));
}

void RequireShape(const Operand& matrix, int rows, int columns, const char* name) {
  if (matrix.Rows() != rows || matrix.Columns() != columns)
    ThrowValueError(std::string(name) + " is " + std::to_string(matrix.Rows()) + " x " +
                    std::to_string(matrix.Columns()) + ", where " + std::to_string(rows) + " x " +
                    std::to_string(columns) + " is needed");
}

py::array Product(const py::handle& a, const py::handle& b) {
  const Pair pair(RealArray(a, "a"), "a", RealArray(b, "b"), "b");
  if (pair.left.Columns() != pair.right.Rows())
    ThrowValueError("a has " + std::to_string(pair.left.Columns()) + " columns, b " +
                    std::to_string(pair.right.Rows()) + " rows");
  return FromMatrix(Solve("product", [&] { return *pair.left * *pair.right; }));
}

py::array SolveSystem(const py::handle& a, const py::handle& b) {
  const py::array right = RealArray(b, "b");
  const Pair pair(RealArray(a, "a"), "a", right, "b", true);
  pair.left.RequireSquare("a");
  RequireRows(pair.left, pair.right);
  MatrixPtr x = Solve("solve", [&] { return pair.left->SolveLinearSystemByLU(*pair.right); });
  return right.ndim() == 1 ? FromMatrixFlat(std::move(x)) : FromMatrix(std::move(x));
}

// The pseudo-inverse; warns when singular values were left out that a matrix of its shape might have.
MatrixPtr InverseBySvd(const Operand& a, const char* name) {
  Call call;
  MatrixPtr inverse;
  int rank = 0;
  call.Run([&] { inverse.reset(a->PseudoInverse(nullptr, nullptr, nullptr, &rank)); });
  if (!inverse) ThrowMemoryError();
  const int status = inverse->GetStatusError();
  if (status == 9) ThrowLinAlgError(std::string(name) + ": no convergence, or elements that are not finite");
  if (status != 10) RequireStatus(status, name);
  if (rank < std::min(a.Rows(), a.Columns())) WarnUnstable();
  return inverse;
}

py::array LeastSquares(const py::handle& a, const py::handle& b) {
  const py::array right = RealArray(b, "b");
  const Pair pair(RealArray(a, "a"), "a", right, "b", true);
  RequireRows(pair.left, pair.right);
  const MatrixPtr inverse = InverseBySvd(pair.left, "lstsq");
  MatrixPtr x = Solve("lstsq", [&] { return *inverse * *pair.right; });
  return right.ndim() == 1 ? FromMatrixFlat(std::move(x)) : FromMatrix(std::move(x));
}

py::array Inverse(const py::handle& value) {
  const py::array array = RealArray(value, "a");
  const Operand a(array, IsFloat(array), "a");
  a.RequireSquare("a");
  return FromMatrix(Solve("inv", [&] { return a->Inverse(); }));
}

py::array PseudoInverse(const py::handle& value) {
  const py::array array = RealArray(value, "a");
  const Operand a(array, IsFloat(array), "a");
  return FromMatrix(InverseBySvd(a, "pinv"));
}

double Determinant(const py::handle& value) {
  const py::array array = RealArray(value, "a");
  const Operand a(array, IsFloat(array), "a");
  a.RequireSquare("a");
  Call call;
  double determinant = 0.0;
  call.Run([&] { determinant = a->Det(); });
  if (a->GetStatusError() == 7) ThrowLinAlgError("det: the decomposition failed");
  return determinant;
}

int Rank(const py::handle& value) {
  const py::array array = RealArray(value, "a");
  const Operand a(array, IsFloat(array), "a");
  Call call;
  int rank = 0;
  call.Run([&] { rank = a->Rank(); });
  return rank;
}

py::tuple Lu(const py::handle& value) {
  const py::array array = RealArray(value, "a");
  const Operand a(array, IsFloat(array), "a");
  a.RequireSquare("a");
  std::unique_ptr<int[]> permutation;
  MatrixPtr factors = Solve("lu", [&] {
    int* rows = nullptr;
    MTH_MATRIX* const result = a->LU(&rows);
    permutation.reset(rows);
    return result;
  });
  return py::make_tuple(FromMatrix(std::move(factors)), FromNew(std::move(permutation), {a.Rows()}));
}

py::tuple Qr(const py::handle& value) {
  const py::array array = RealArray(value, "a");
  const Operand a(array, IsFloat(array), "a");
  Call call;
  MatrixPtr q, r;
  call.Run([&] {
    MTH_MATRIX* factors[2] = {};
    a->QR(&factors[0], &factors[1]);
    q.reset(factors[0]);
    r.reset(factors[1]);
  });
  if (!q || !r) ThrowMemoryError();
  return py::make_tuple(FromMatrix(std::move(q)), FromMatrix(std::move(r)));
}

// Factors that an operation hands out by pointers to pointers; the first tells the status of a failure.
template <std::size_t N, class Compute>
std::array<MatrixPtr, N> Factors(const char* name, Compute compute) {
  std::array<MatrixPtr, N> factors;
  bool isDone = false;
  Call call;
  call.Run([&] {
    std::array<MTH_MATRIX*, N> raw{};
    isDone = compute(raw);
    for (std::size_t i = 0; i < N; ++i) factors[i].reset(raw[i]);
  });
  if (!factors[0]) ThrowMemoryError();
  if (!isDone) {
    RequireStatus(factors[0]->GetStatusError(), name);
    ThrowLinAlgError(std::string(name) + ": failed");
  }
  return factors;
}

// The columns x columns diagonal of w as a vector of its first entries.
template <class T>
py::array Diagonal(const T* elements, int columns, int count) {
  std::vector<T> values;
  for (int i = 0; i < count; ++i) values.push_back(elements[std::int64_t{i} * columns + i]);
  return FromVector(std::move(values), {count});
}

py::tuple Svd(const py::handle& value) {
  const py::array array = RealArray(value, "a");
  const Operand a(array, IsFloat(array), "a");
  auto [u, w, v] =
      Factors<3>("svd", [&](auto& factors) { return a->SVD(&factors[0], &factors[1], &factors[2]); });
  const int count = std::min(a.Rows(), a.Columns());
  const py::array values = w->GetType() == 0 ? Diagonal(w->GetEDataAddress(), a.Columns(), count)
                                             : Diagonal(w->GetFDataAddress(), a.Columns(), count);
  return py::make_tuple(FromMatrix(std::move(u)), values, FromMatrix(std::move(v)));
}

py::tuple Schur(const py::handle& value) {
  const py::array array = RealArray(value, "a");
  const Operand a(array, IsFloat(array), "a");
  a.RequireSquare("a");
  auto [q, t] =
      Factors<2>("schur", [&](auto& factors) { return a->SchurDecomposition(&factors[0], &factors[1]); });
  return py::make_tuple(FromMatrix(std::move(t)), FromMatrix(std::move(q)));
}

py::tuple Qz(const py::handle& left, const py::handle& right) {
  const Pair pair(RealArray(left, "a"), "a", RealArray(right, "b"), "b");
  pair.left.RequireSquare("a");
  RequireShape(pair.right, pair.left.Rows(), pair.left.Rows(), "b");
  auto [q, z, s, t] = Factors<4>("qz", [&](auto& factors) {
    return pair.left->QZDecomposition(*pair.right, &factors[0], &factors[1], &factors[2], &factors[3]);
  });
  return py::make_tuple(FromMatrix(std::move(s)), FromMatrix(std::move(t)), FromMatrix(std::move(q)),
                        FromMatrix(std::move(z)));
}

// The numbers of the library as NumPy's, which have the same two doubles.
py::array FromComplexes(const Complexes& numbers, std::vector<py::ssize_t> shape) {
  py::array_t<std::complex<double>> result(std::move(shape));
  for (py::ssize_t i = 0; i < result.size(); ++i)
    result.mutable_data()[i] = {numbers[static_cast<std::size_t>(i)].getReal(),
                                numbers[static_cast<std::size_t>(i)].getImag()};
  return result;
}

py::tuple Eigenproblem(const py::handle& value) {
  const py::array array = RealArray(value, "a");
  const Operand a(array, IsFloat(array), "a");
  a.RequireSquare("a");
  Complexes values, vectors;
  bool isDone = false;
  Call call;
  call.Run([&] {
    MTH_COMPLEX* raw[2] = {};
    isDone = a->RealEigenvalueProblem(&raw[0], &raw[1]);
    values.reset(raw[0]);
    vectors.reset(raw[1]);
  });
  if (!isDone) ThrowLinAlgError("eig: no convergence, or elements that are not finite");
  return py::make_tuple(FromComplexes(values, {a.Rows()}), FromComplexes(vectors, {a.Rows(), a.Rows()}));
}

py::tuple GeneralisedEigenproblem(const py::handle& left, const py::handle& right) {
  const Pair pair(RealArray(left, "a"), "a", RealArray(right, "b"), "b");
  pair.left.RequireSquare("a");
  const int n = pair.left.Rows();
  RequireShape(pair.right, n, n, "b");
  Complexes alphas, vectors;
  std::unique_ptr<double[]> betas;
  bool isDone = false;
  Call call;
  call.Run([&] {
    MTH_COMPLEX* raw[2] = {};
    double* rawBetas = nullptr;
    isDone = pair.left->GeneralisedEigenvalueProblem(*pair.right, &raw[0], &rawBetas, &raw[1]);
    alphas.reset(raw[0]);
    vectors.reset(raw[1]);
    betas.reset(rawBetas);
  });
  if (!isDone) ThrowLinAlgError("eig: no convergence, or elements that are not finite");
  return py::make_tuple(FromComplexes(alphas, {n}), FromNew(std::move(betas), {n}),
                        FromComplexes(vectors, {n, n}));
}

py::array Lyapunov(const py::handle& left, const py::handle& right, bool isDiscrete) {
  const Pair pair(RealArray(left, "a"), "a", RealArray(right, "q"), "q");
  pair.left.RequireSquare("a");
  RequireShape(pair.right, pair.left.Rows(), pair.left.Rows(), "q");
  return FromMatrix(Solve("lyapunov", [&] {
    return isDiscrete ? pair.left->SolveDiscreteLyapunov(*pair.right) : pair.left->SolveLyapunov(*pair.right);
  }));
}

py::array Riccati(const py::handle& aValue, const py::handle& bValue, const py::handle& qValue,
                  const py::handle& rValue, bool isDiscrete) {
  const py::array arrays[] = {RealArray(aValue, "a"), RealArray(bValue, "b"), RealArray(qValue, "q"),
                              RealArray(rValue, "r")};
  const bool isFloat = IsFloat(arrays[0]) && IsFloat(arrays[1]) && IsFloat(arrays[2]) && IsFloat(arrays[3]);
  const Operand a(arrays[0], isFloat, "a");
  const Operand b(arrays[1], isFloat, "b", true);
  const Operand q(arrays[2], isFloat, "q");
  const Operand r(arrays[3], isFloat, "r");
  a.RequireSquare("a");
  RequireShape(b, a.Rows(), b.Columns(), "b");
  RequireShape(q, a.Rows(), a.Rows(), "q");
  RequireShape(r, b.Columns(), b.Columns(), "r");
  return FromMatrix(Solve("riccati", [&] {
    return isDiscrete ? a->SolveDiscreteRiccati(*b, *q, *r) : a->SolveRiccati(*b, *q, *r);
  }));
}

}  // namespace

void DefineLinalg(py::module_& module) {
  module.def("product", Interruptible(&Product, kOfMatrices));
  module.def("solve", Interruptible(&SolveSystem, kOfMatrices));
  module.def("lstsq", Interruptible(&LeastSquares, kOfMatrices));
  module.def("inv", Interruptible(&Inverse, kOfMatrices));
  module.def("pinv", Interruptible(&PseudoInverse, kOfMatrices));
  module.def("det", Interruptible(&Determinant, kOfMatrices));
  module.def("matrix_rank", Interruptible(&Rank, kOfMatrices));
  module.def("lu", Interruptible(&Lu, kOfMatrices));
  module.def("qr", Interruptible(&Qr, kOfMatrices));
  module.def("svd", Interruptible(&Svd, kOfMatrices));
  module.def("schur", Interruptible(&Schur, kOfMatrices));
  module.def("qz", Interruptible(&Qz, kOfMatrices));
  module.def("eig", Interruptible(&Eigenproblem, kOfMatrices));
  module.def("generalised_eig", Interruptible(&GeneralisedEigenproblem, kOfMatrices));
  module.def("lyapunov", Interruptible(&Lyapunov, kOfMatrices));
  module.def("riccati", Interruptible(&Riccati, kOfMatrices));
}

}  // namespace mth_python
