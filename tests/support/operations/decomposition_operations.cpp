#include "support/operations/operations.h"

// Decompositions and what builds on them, one entry for each operation, element type and shape: small ones
// have paths of their own, the largest run the blocked ones with their remainders.

namespace mth_test {
namespace {

constexpr int kOrders[] = {1, 2, 3, 5, 8, 17, 40, 70, 131};
constexpr std::pair<int, int> kFactoredShapes[] = {{1, 1}, {3, 2},   {2, 5},   {8, 8},
                                                   {9, 9}, {23, 17}, {12, 31}, {70, 45}};

using OnMatrix = void (*)(Trial&, const MTH_MATRIX&);

// Well-conditioned: the diagonal stands out.
MTH_MATRIX Regular(int n, int type, unsigned seed) {
  MTH_MATRIX matrix = Matrix(n, n, type, seed);
  for (int i = 0; i < n; ++i) matrix.Set(i, i, matrix.Get(i, i) + (i % 2 == 0 ? 4.0 : -3.0));
  return matrix;
}

MTH_MATRIX Symmetric(int n, int type, unsigned seed) {
  MTH_MATRIX matrix = Regular(n, type, seed);
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j < i; ++j) matrix.Set(i, j, matrix.Get(j, i));
  }
  return matrix;
}

template <class Make>
void AddOfOrders(Operations& list, const std::string& name, int highest, Make make, OnMatrix operation,
                 int lowest = 1) {
  for (const auto& [type, typeName] : kElementTypes) {
    for (const int n : kOrders) {
      if (n < lowest || n > highest) continue;
      list.push_back(
          {"decomposition/" + name + "/" + typeName + "/" + Shape(n, n),
           [=, type = type](Trial& t) { operation(t, make(n, type, 200 + static_cast<unsigned>(n))); }});
    }
  }
}

void AddOfShapes(Operations& list, const std::string& name, OnMatrix operation) {
  for (const auto& [type, typeName] : kElementTypes) {
    for (const auto& [rows, columns] : kFactoredShapes) {
      list.push_back({"decomposition/" + name + "/" + typeName + "/" + Shape(rows, columns),
                      [=, type = type, rows = rows, columns = columns](Trial& t) {
                        operation(t, Matrix(rows, columns, type, 220));
                      }});
    }
  }
}

void CountEigenproblem(Trial& t, const MTH_MATRIX& m) {
  MTH_COMPLEX* values = nullptr;
  MTH_COMPLEX* vectors = nullptr;
  t([&] { return m.RealEigenvalueProblem(&values, &vectors); });
  const std::ptrdiff_t n = m.GetNbRows();
  t.Count(std::unique_ptr<MTH_COMPLEX[]>(values).get(), n);
  t.Count(std::unique_ptr<MTH_COMPLEX[]>(vectors).get(), n * n);
}

void AddLinearSystems(Operations& list) {
  AddOfOrders(list, "LU", 200, Regular, [](Trial& t, const MTH_MATRIX& m) {
    int* permutation = nullptr;
    const std::unique_ptr<MTH_MATRIX> factors(t.Run([&] { return m.LU(&permutation); }));
    const std::unique_ptr<int[]> owned(permutation);
    t.Count(factors.get());
    t.Count(owned.get(), m.GetNbRows());
    const MTH_MATRIX b = Matrix(m.GetNbRows(), 2, m.GetType(), 230);
    if (factors != nullptr) t([&] { return factors->SolveLinearSystemByLU(b, owned.get()); });
  });
  AddOfOrders(list, "SolveLinearSystemByLU", 200, Regular, [](Trial& t, const MTH_MATRIX& m) {
    for (const int columns : {1, 7, 33}) {
      const MTH_MATRIX b = Matrix(m.GetNbRows(), columns, m.GetType(), 231);
      t([&] { return m.SolveLinearSystemByLU(b); }, 5, 1);
    }
  });
  AddOfOrders(list, "Inverse", 200, Regular,
              [](Trial& t, const MTH_MATRIX& m) { t([&] { return m.Inverse(); }, 5, 1); });
  AddOfOrders(list, "Det", 70, Regular, [](Trial& t, const MTH_MATRIX& m) {
    t([&] { return m.Det(); }, 0);
    t.Count(m.GetStatusError());
  });
  AddOfOrders(list, "Householder", 40, Regular, [](Trial& t, const MTH_MATRIX& m) {
    const MTH_MATRIX column = Matrix(m.GetNbRows(), 1, m.GetType(), 232);
    t([&] { return column.Householder(); });
  });
}

void AddEigenproblems(Operations& list) {
  AddOfOrders(list, "RealEigenvalueProblem", 70, Regular, CountEigenproblem);
  AddOfOrders(list, "RealEigenvalueProblem/symmetric", 131, Symmetric, CountEigenproblem);
  AddOfOrders(list, "EigenValues", 8, Symmetric, [](Trial& t, const MTH_MATRIX& m) {
    double* values = nullptr;
    t([&] { m.EigenValues(1e-6, &values); });
    t.Count(std::unique_ptr<double[]>(values).get(), m.GetNbRows());
  });
  AddOfOrders(
      list, "SearchEigenValuesAndVectors", 5, Symmetric,
      [](Trial& t, const MTH_MATRIX& m) {
        double* values = nullptr;
        t([&] { return m.SearchEigenValuesAndVectors(1e-5, &values); }, 11);
        t.Count(std::unique_ptr<double[]>(values).get(), m.GetNbRows());
      },
      2);
  AddOfOrders(list, "SearchOneEigenVector", 17, Symmetric, [](Trial& t, const MTH_MATRIX& m) {
    double* vector = nullptr;
    t([&] { return m.SearchOneEigenVector(0.875, &vector); });
    t.Count(std::unique_ptr<double[]>(vector).get(), m.GetNbCols());
    t.Count(m.GetStatusError());
  });
  AddOfOrders(list, "PowerMethod", 17, Symmetric, [](Trial& t, const MTH_MATRIX& m) {
    double dominant = 0.0;
    t([&] { return m.PowerMethod(1e-9, &dominant); });
    t.Count(dominant);
  });
}

void AddSingularValues(Operations& list) {
  AddOfShapes(list, "SVD", [](Trial& t, const MTH_MATRIX& m) {
    MTH_MATRIX* u = nullptr;
    MTH_MATRIX* w = nullptr;
    MTH_MATRIX* v = nullptr;
    t([&] { return m.SVD(&u, &w, &v); });
    CountOwned(t, u, w, v);
  });
  AddOfShapes(list, "Rank", [](Trial& t, const MTH_MATRIX& m) { t([&] { return m.Rank(); }, 0); });
  AddOfShapes(list, "PseudoInverse", [](Trial& t, const MTH_MATRIX& m) {
    MTH_MATRIX* u = nullptr;
    MTH_MATRIX* w = nullptr;
    MTH_MATRIX* v = nullptr;
    int rank = -1;
    t([&] { return m.PseudoInverse(&u, &w, &v, &rank); }, 9, 1);
    CountOwned(t, u, w, v);
    t.Count(rank);
    t([&] { return m.PseudoInverse(); }, 9, 1);
  });
  AddOfShapes(list, "SolveLinearSystemBySVD", [](Trial& t, const MTH_MATRIX& m) {
    const MTH_MATRIX b = Matrix(m.GetNbRows(), 3, m.GetType(), 233);
    t([&] { return m.SolveLinearSystemBySVD(b); }, 9, 1);
  });
  AddOfShapes(list, "Projection",
              [](Trial& t, const MTH_MATRIX& m) { t([&] { return m.Projection(); }, 9, 1); });
  AddOfShapes(list, "OrthogonalProjection",
              [](Trial& t, const MTH_MATRIX& m) { t([&] { return m.OrthogonalProjection(); }, 9, 1); });
}

void AddControlFamily(Operations& list) {
  AddOfOrders(list, "SchurDecomposition", 40, Regular, [](Trial& t, const MTH_MATRIX& m) {
    MTH_MATRIX* q = nullptr;
    MTH_MATRIX* form = nullptr;
    t([&] { return m.SchurDecomposition(&q, &form); });
    CountOwned(t, q, form);
  });
  AddOfOrders(list, "QZDecomposition", 40, Regular, [](Trial& t, const MTH_MATRIX& m) {
    const MTH_MATRIX b = Matrix(m.GetNbRows(), m.GetNbRows(), m.GetType(), 234);
    MTH_MATRIX* q = nullptr;
    MTH_MATRIX* z = nullptr;
    MTH_MATRIX* s = nullptr;
    MTH_MATRIX* form = nullptr;
    t([&] { return m.QZDecomposition(b, &q, &z, &s, &form); });
    CountOwned(t, q, z, s, form);
  });
  AddOfOrders(list, "SolveLyapunov", 40, Regular, [](Trial& t, const MTH_MATRIX& m) {
    const MTH_MATRIX q = Matrix(m.GetNbRows(), m.GetNbRows(), m.GetType(), 235);
    t([&] { return m.SolveLyapunov(q); });
    t([&] { return m.SolveDiscreteLyapunov(q); });
  });
  AddOfOrders(list, "SolveRiccati", 17, Regular, [](Trial& t, const MTH_MATRIX& m) {
    const MTH_MATRIX b = Matrix(m.GetNbRows(), m.GetNbRows(), m.GetType(), 236);
    MTH_MATRIX q(m.GetNbRows(), m.GetNbRows(), m.GetType());
    q.SetIdentity();
    t([&] { return m.SolveRiccati(b, q, q); });
    t([&] { return m.SolveDiscreteRiccati(b, q, q); });
  });
  // One state of the closed loop is nearly on the boundary of stability: that is looked at closely.
  AddOfOrders(list, "SolveRiccati/slow", 3, Regular, [](Trial& t, const MTH_MATRIX& m) {
    constexpr double kSlow = 1e-6;
    MTH_MATRIX identity(m.GetNbRows(), m.GetNbRows(), m.GetType());
    identity.SetIdentity();
    MTH_MATRIX q(identity);
    q.Set(0, 0, kSlow * kSlow);
    for (const bool isDiscrete : {false, true}) {
      MTH_MATRIX a(m.GetNbRows(), m.GetNbRows(), m.GetType());
      a.SetZero();
      for (int i = 0; i < m.GetNbRows(); ++i) {
        for (int j = i; j < m.GetNbRows(); ++j) a.Set(i, j, i < j || isDiscrete ? 0.5 : -1.0);
      }
      a.Set(0, 0, isDiscrete ? 1.0 - kSlow : -kSlow);
      t([&] {
        return isDiscrete ? a.SolveDiscreteRiccati(identity, q, identity)
                          : a.SolveRiccati(identity, q, identity);
      });
    }
  });
}

}  // namespace

void AddDecompositionOperations(Operations& list) {
  AddLinearSystems(list);
  AddEigenproblems(list);
  AddSingularValues(list);
  AddControlFamily(list);
  AddOfShapes(list, "QR", [](Trial& t, const MTH_MATRIX& m) {
    MTH_MATRIX* q = nullptr;
    MTH_MATRIX* r = nullptr;
    t([&] { return m.QR(&q, &r); });
    CountOwned(t, q, r);
  });
}

}  // namespace mth_test
