// Matrices: see costs.cpp.

#include <cstdio>
#include <filesystem>

#include "costs.h"

using namespace mth_benchmark;

namespace {

// A file of this process alone.
std::string ScratchFile() {
  static const struct File {
    std::string name =
        (std::filesystem::temp_directory_path() / ("mth_costs_" + std::to_string(std::random_device()())))
            .string();
    ~File() { std::remove(name.c_str()); }
  } file;
  return file.name;
}

// Takes what an operation hands out through a pointer, at the end of the full expression.
class Out {
 public:
  explicit Out(std::unique_ptr<MTH_MATRIX>& owner) : owner_(owner) {}
  ~Out() { owner_.reset(matrix_); }
  operator MTH_MATRIX**() { return &matrix_; }

 private:
  std::unique_ptr<MTH_MATRIX>& owner_;
  MTH_MATRIX* matrix_ = nullptr;
};

template <class Operation>
void AddOfMatrix(Cases& cases, const std::string& name, int size, Operation operation) {
  for (const int type : {0, 1}) {
    cases.push_back(
        {"matrix/" + name + (type == 0 ? "/double" : "/float"), size, [=](Kind kind, int n) -> Run {
           const auto matrix = MakeMatrix(kind, n, n, type);
           return [=] { operation(*matrix); };
         }});
  }
}

}  // namespace

void mth_benchmark::AddMatrices(Cases& cases) {
  using M = MTH_MATRIX;
  AddOfMatrix(cases, "sum", 2000, [](M& m) { Free(m + m); });
  AddOfMatrix(cases, "difference", 2000, [](M& m) { Free(m - m); });
  AddOfMatrix(cases, "multiple", 2000, [](M& m) { Free(m * 3.0); });
  AddOfMatrix(cases, "copy", 2000, [](M& m) { const M copy(m); });
  AddOfMatrix(cases, "quotient", 2000, [](M& m) { Free(m / m); });
  AddOfMatrix(cases, "product", 1000, [](M& m) { Free(m * m); });
  AddOfMatrix(cases, "transpose", 2000, [](M& m) { Free(m.Transpose()); });
  AddOfMatrix(cases, "largest", 2000, [](M& m) { m.GetMax(nullptr, nullptr); });
  AddOfMatrix(cases, "smallest", 2000, [](M& m) { m.GetMin(nullptr, nullptr); });
  AddOfMatrix(cases, "trace", 2000, [](M& m) { m.GetTrace(); });
  AddOfMatrix(cases, "square", 2000, [](M& m) { Free(m.Square()); });
  AddOfMatrix(cases, "square root", 2000, [](M& m) { Free(m.SquareRoot()); });
  AddOfMatrix(cases, "extract", 2000,
              [](M& m) { Free(m.GetExtract(1, 1, m.GetNbRows() - 2, m.GetNbCols() - 2)); });
  AddOfMatrix(cases, "region", 2000,
              [](M& m) { Free(m.RegionOfMatrix(1, 1, m.GetNbRows() - 2, m.GetNbCols() - 2)); });
  AddOfMatrix(cases, "border columns", 2000, [](M& m) { Free(m.AddColBySymetry(9)); });
  AddOfMatrix(cases, "border rows", 2000, [](M& m) { Free(m.AddRowBySymetry(9)); });
  AddOfMatrix(cases, "file", 1000, [](M& m) {
    const std::string name = ScratchFile();
    m.Save(name);
    const M copy(name);
  });
  AddOfMatrix(cases, "text file", 400, [](M& m) { m.SaveASCII(ScratchFile()); });
  AddOfMatrix(cases, "norm", 2000, [](M& m) { m.ComputeFrobeniusNorm(); });
  AddOfMatrix(cases, "threshold", 2000, [](M& m) { Free(m.GetThresholding(100.0)); });
  AddOfMatrix(cases, "convolution", 1000, [](M& m) {
    M kernel(5, 5, 1);
    kernel.SetIdentity();
    Free(m.Convolution2D(&kernel, 0));
  });
  AddOfMatrix(cases, "LU", 1000, [](M& m) {
    int* permutation = nullptr;
    Free(m.LU(&permutation));
    delete[] permutation;
  });
  AddOfMatrix(cases, "inverse", 600, [](M& m) { Free(m.Inverse()); });
  AddOfMatrix(cases, "solve", 600, [](M& m) { Free(m.SolveLinearSystemByLU(m)); });
  AddOfMatrix(cases, "determinant", 1000, [](M& m) { m.Det(); });
  AddOfMatrix(cases, "QR", 500, [](M& m) {
    std::unique_ptr<M> factors[2];
    m.QR(Out(factors[0]), Out(factors[1]));
  });
  AddOfMatrix(cases, "Householder", 1000, [](M& m) {
    const std::unique_ptr<M> column(m.GetExtract(0, m.GetNbCols() / 2, m.GetNbRows(), 1));
    Free(column->Householder());
  });
  AddOfMatrix(cases, "SVD", 400, [](M& m) {
    std::unique_ptr<M> factors[3];
    m.SVD(Out(factors[0]), Out(factors[1]), Out(factors[2]));
  });
  AddOfMatrix(cases, "SVD, wide", 200, [](M& m) {
    const std::unique_ptr<M> wide(m.AddColBySymetry(m.GetNbCols()));
    std::unique_ptr<M> factors[3];
    wide->SVD(Out(factors[0]), Out(factors[1]), Out(factors[2]));
  });
  AddOfMatrix(cases, "SVD, tall", 200, [](M& m) {
    const std::unique_ptr<M> tall(m.AddRowBySymetry(m.GetNbRows()));
    std::unique_ptr<M> factors[3];
    tall->SVD(Out(factors[0]), Out(factors[1]), Out(factors[2]));
  });
  AddOfMatrix(cases, "rank", 400, [](M& m) { m.Rank(); });
  AddOfMatrix(cases, "least squares", 400, [](M& m) { Free(m.SolveLinearSystemBySVD(m)); });
  AddOfMatrix(cases, "projection", 300, [](M& m) { Free(m.Projection()); });
  AddOfMatrix(cases, "orthogonal projection", 300, [](M& m) { Free(m.OrthogonalProjection()); });
  AddOfMatrix(cases, "pseudo-inverse", 400, [](M& m) { Free(m.PseudoInverse()); });
  AddOfMatrix(cases, "eigenvalues", 200, [](M& m) {
    MTH_COMPLEX* values = nullptr;
    MTH_COMPLEX* vectors = nullptr;
    m.RealEigenvalueProblem(&values, &vectors);
    delete[] values;
    delete[] vectors;
  });
  AddOfMatrix(cases, "eigenvalues by QR", 40, [](M& m) {
    double* values = nullptr;
    m.EigenValues(1e-6, &values);
    delete[] values;
  });
  AddOfMatrix(cases, "eigenvectors by QR", 40, [](M& m) {
    double* values = nullptr;
    Free(m.SearchEigenValuesAndVectors(1e-6, &values));
    delete[] values;
  });
  AddOfMatrix(cases, "eigenvector", 300, [](M& m) {
    double* vector = nullptr;
    m.SearchOneEigenVector(100.0, &vector);
    delete[] vector;
  });
  AddOfMatrix(cases, "Schur", 300, [](M& m) {
    std::unique_ptr<M> factors[2];
    m.SchurDecomposition(Out(factors[0]), Out(factors[1]));
  });
  AddOfMatrix(cases, "QZ", 150, [](M& m) {
    const std::unique_ptr<M> other(m.Transpose());
    std::unique_ptr<M> factors[4];
    m.QZDecomposition(*other, Out(factors[0]), Out(factors[1]), Out(factors[2]), Out(factors[3]));
  });
  AddOfMatrix(cases, "generalised eigenvalues", 150, [](M& m) {
    const std::unique_ptr<M> other(m.Transpose());
    MTH_COMPLEX* alphas = nullptr;
    MTH_COMPLEX* vectors = nullptr;
    double* betas = nullptr;
    m.GeneralisedEigenvalueProblem(*other, &alphas, &betas, &vectors);
    delete[] alphas;
    delete[] betas;
    delete[] vectors;
  });
  AddOfMatrix(cases, "Lyapunov", 150, [](M& m) { Free(m.SolveLyapunov(m)); });
  AddOfMatrix(cases, "discrete Lyapunov", 150, [](M& m) { Free(m.SolveDiscreteLyapunov(m)); });
  AddOfMatrix(cases, "Riccati", 100, [](M& m) {
    M identity(m.GetNbRows(), m.GetNbRows(), m.GetType());
    identity.SetIdentity();
    Free(m.SolveRiccati(identity, identity, identity));
  });
  AddOfMatrix(cases, "discrete Riccati", 60, [](M& m) {
    M identity(m.GetNbRows(), m.GetNbRows(), m.GetType());
    identity.SetIdentity();
    Free(m.SolveDiscreteRiccati(identity, identity, identity));
  });
  AddOfMatrix(cases, "fills", 2000, [](M& m) {
    M filled(m.GetNbRows(), m.GetNbCols(), m.GetType());
    filled.SetIdentity();
    filled.SetZero();
    filled = m;
    Values diagonal(static_cast<std::size_t>(m.GetNbRows()), m.Get(m.GetNbRows() / 2, m.GetNbCols() / 2));
    filled.SetDiagVector(diagonal.data(), m.GetNbRows());
    filled.SetVector(diagonal.data(), m.GetNbRows());
  });
  AddOfMatrix(cases, "power method", 1000, [](M& m) {
    double dominant = 0.0;
    m.PowerMethod(1e-9, &dominant);
  });
}
