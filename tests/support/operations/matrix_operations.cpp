#include "support/operations/operations.h"
#include "support/operations/scratch_file.h"

// The matrix: fills, arithmetic, queries, borders and convolution. Shapes have whole vectors and tails.

namespace mth_test {
namespace {

constexpr std::pair<int, int> kMatrixShapes[] = {{1, 1}, {2, 3}, {4, 4}, {5, 9}, {17, 31}, {33, 67}};

using Unary = void (*)(Trial&, const MTH_MATRIX&);
using Binary = MTH_MATRIX* (*)(const MTH_MATRIX&, const MTH_MATRIX&);

// One operation for each element type, over all shapes, on numbers of [low, 1).
void AddUnary(Operations& list, const std::string& name, Unary operation, double low = -1.0) {
  for (const auto& [type, typeName] : kElementTypes) {
    list.push_back({"matrix/" + name + "/" + typeName, [operation, low, type = type](Trial& t) {
                      unsigned seed = 100;
                      for (const auto& [rows, columns] : kMatrixShapes)
                        operation(t, Matrix(rows, columns, type, ++seed, low));
                    }});
  }
}

void AddElementwise(Operations& list) {
  const std::pair<const char*, Binary> operations[] = {
      {"add", [](const MTH_MATRIX& a, const MTH_MATRIX& b) { return a + b; }},
      {"subtract", [](const MTH_MATRIX& a, const MTH_MATRIX& b) { return a - b; }},
      {"divide", [](const MTH_MATRIX& a, const MTH_MATRIX& b) { return a / b; }}};
  for (const auto& [name, operation] : operations) {
    for (const auto& [type, typeName] : kElementTypes) {
      list.push_back(
          {std::string("matrix/") + name + "/" + typeName, [operation = operation, type = type](Trial& t) {
             for (const auto& [rows, columns] : kMatrixShapes) {
               const MTH_MATRIX a = Matrix(rows, columns, type, 120);
               const MTH_MATRIX b = Matrix(rows, columns, type, 121, 0.25);
               t([&] { return operation(a, b); });
             }
           }});
    }
  }
}

void AddProducts(Operations& list) {
  constexpr int kSizes[][3] = {{1, 1, 1},    {2, 3, 4},    {4, 4, 4},     {5, 7, 9},
                               {8, 16, 24},  {13, 1, 17},  {1, 33, 1},    {3, 40, 1},
                               {31, 33, 35}, {64, 64, 64}, {70, 131, 67}, {150, 140, 130}};
  for (const auto& [type, typeName] : kElementTypes) {
    for (const auto& [rows, inner, columns] : kSizes) {
      list.push_back({"matrix/multiply/" + std::string(typeName) + "/" + Shape(rows, inner) + "x" +
                          std::to_string(columns),
                      [type = type, rows = rows, inner = inner, columns = columns](Trial& t) {
                        const MTH_MATRIX a = Matrix(rows, inner, type, 130);
                        const MTH_MATRIX b = Matrix(inner, columns, type, 131);
                        t([&] { return a * b; });
                      }});
    }
  }
}

void AddQueries(Operations& list) {
  AddUnary(list, "GetTrace", [](Trial& t, const MTH_MATRIX& m) {
    t([&] { return m.GetTrace(); });
    t.Count(m.GetStatusError());
  });
  AddUnary(list, "GetMax", [](Trial& t, const MTH_MATRIX& m) {
    int row = -5;
    int column = -5;
    t([&] { return m.GetMax(&row, &column); });
    t.CountAll(row, column);
  });
  AddUnary(list, "GetMin", [](Trial& t, const MTH_MATRIX& m) {
    int row = -5;
    int column = -5;
    t([&] { return m.GetMin(&row, &column); });
    t.CountAll(row, column);
  });
  AddUnary(list, "ComputeFrobeniusNorm",
           [](Trial& t, const MTH_MATRIX& m) { t([&] { return m.ComputeFrobeniusNorm(); }); });
  AddUnary(list, "Get", [](Trial& t, const MTH_MATRIX& m) {
    t([&] { return m.Get(m.GetNbRows() - 1, m.GetNbCols() - 1); });
    t([&] { return m.Get(m.GetNbRows(), 0); });
    t.Count(m.GetStatusError());
  });
}

void AddParts(Operations& list) {
  AddUnary(list, "Transpose", [](Trial& t, const MTH_MATRIX& m) { t([&] { return m.Transpose(); }); });
  AddUnary(list, "GetExtract",
           [](Trial& t, const MTH_MATRIX& m) { t([&] { return m.GetExtract(0, 0, m.GetNbRows(), 1); }); });
  AddUnary(list, "RegionOfMatrix",
           [](Trial& t, const MTH_MATRIX& m) { t([&] { return m.RegionOfMatrix(1, 1, 14, 1000); }); });
  AddUnary(list, "GetThresholding",
           [](Trial& t, const MTH_MATRIX& m) { t([&] { return m.GetThresholding(0.25); }); });
  AddUnary(list, "AddColBySymetry",
           [](Trial& t, const MTH_MATRIX& m) { t([&] { return m.AddColBySymetry(1); }); });
  AddUnary(list, "AddRowBySymetry",
           [](Trial& t, const MTH_MATRIX& m) { t([&] { return m.AddRowBySymetry(1); }); });
  for (const int mode : {0, 1}) {
    for (const auto& [type, typeName] : kElementTypes) {
      list.push_back({"matrix/Convolution2D/mode" + std::to_string(mode) + "/" + typeName,
                      [mode, type = type](Trial& t) {
                        MTH_MATRIX kernel = Matrix(3, 5, type, 140);
                        for (const auto& [rows, columns] : {std::pair(7, 9), std::pair(33, 40)}) {
                          const MTH_MATRIX image = Matrix(rows, columns, 1, 141);
                          t([&] { return image.Convolution2D(&kernel, mode); });
                        }
                      }});
    }
  }
}

void AddFiles(Operations& list) {
  AddUnary(list, "Save", [](Trial& t, const MTH_MATRIX& m) {
    const TemporaryPath file;
    t([&] { m.Save(file.Path()); });
    t.Count(m.GetStatusError());
    t([&] { return MTH_MATRIX(file.Path()); }, 1, 13);  // 13: on Windows the path takes memory, too
  });
  AddUnary(list, "SaveASCII", [](Trial& t, const MTH_MATRIX& m) {
    const TemporaryPath file;
    t([&] { m.SaveASCII(file.Path()); });
    t.CountAll(m.GetStatusError(), file.Bytes());
  });
}

void AddFills(Operations& list) {
  AddUnary(list, "construct", [](Trial& t, const MTH_MATRIX& m) {
    t([&] { return MTH_MATRIX(); });
    t([&] { return MTH_MATRIX(m); });
    MTH_MATRIX target = Matrix(2, 2, 0, 150);
    t([&] { target = m; });
    t.Count(target);
    t([&] { target.Desallocate(); });
    t.Count(target);
    t([&] {
      target.Allocate(m.GetNbRows(), 2, m.GetType());
      target.SetZero();
    });
    t.Count(target);
  });
  AddUnary(list, "SetIdentity", [](Trial& t, const MTH_MATRIX& m) {
    MTH_MATRIX target = m;
    t([&] { target.SetIdentity(); });
    t.Count(target);
  });
  AddUnary(list, "SetWhiteNoise", [](Trial& t, const MTH_MATRIX& m) {
    MTH_MATRIX target = m;
    t([&] { target.SetWhiteNoise(1.5, 152); });
    t.Count(target);
  });
  AddUnary(list, "SetVector", [](Trial& t, const MTH_MATRIX& m) {
    auto values = Values(m.GetNbRows() * m.GetNbCols(), 151);
    MTH_MATRIX target = m;
    t([&] { target.SetVector(values.data(), static_cast<int>(values.size())); });
    t.Count(target);
  });
  AddUnary(list, "SetDiagVector", [](Trial& t, const MTH_MATRIX& m) {
    auto values = Values(m.GetNbRows(), 152);
    MTH_MATRIX target = m;
    t([&] { target.SetDiagVector(values.data(), static_cast<int>(values.size())); });
    t.Count(target);
  });
}

}  // namespace

void AddMatrixOperations(Operations& list) {
  AddElementwise(list);
  AddProducts(list);
  AddQueries(list);
  AddParts(list);
  AddFills(list);
  AddFiles(list);
  AddUnary(list, "scale", [](Trial& t, const MTH_MATRIX& m) { t([&] { return m * 0.3; }); });
  AddUnary(list, "Square", [](Trial& t, const MTH_MATRIX& m) { t([&] { return m.Square(); }); });
  AddUnary(
      list, "SquareRoot", [](Trial& t, const MTH_MATRIX& m) { t([&] { return m.SquareRoot(); }); }, 0.0);
}

}  // namespace mth_test
