// The matrix class: every instruction set gives the same bits, and products and extrema are those of plain
// loops.

#include "fuzz/fuzz.h"

namespace mth_fuzz {
namespace {

using MatrixPtr = std::unique_ptr<MTH_MATRIX>;

MTH_MATRIX PlainProduct(const MTH_MATRIX& a, const MTH_MATRIX& b) {
  MTH_MATRIX product(a.GetNbRows(), b.GetNbCols(), a.GetType());
  for (int i = 0; i < a.GetNbRows(); ++i) {
    for (int j = 0; j < b.GetNbCols(); ++j) {
      double sum = 0.0;
      for (int k = 0; k < a.GetNbCols(); ++k) {
        volatile const double term = a.Get(i, k) * b.Get(k, j);  // rounded before it is added
        sum += term;
      }
      product.Set(i, j, sum);
    }
  }
  return product;
}

void RequireSame(const MTH_MATRIX* a, const MTH_MATRIX* b) {
  Results first;
  Results second;
  first.Add(a);
  second.Add(b);
  Require(first == second);
}

void TryFile(Input& input, const MTH_MATRIX& matrix) {
  const char* const name = "matrix_fuzz.tmp";
  matrix.Save(name);
  const MTH_MATRIX read{std::string(name)};
  RequireSame(&matrix, &read);
  std::FILE* file = std::fopen(name, "r+b");
  Require(file != nullptr);
  std::fseek(file, input.Whole(0, 40), SEEK_SET);  // damage a few bytes, of the header for preference
  for (int i = input.Whole(0, 4); i > 0; --i) std::fputc(input.Byte(), file);
  std::fclose(file);
  const MTH_MATRIX damaged{std::string(name)};
  Require(damaged.IsAllocated() || damaged.GetStatusError() != 0);
  std::remove(name);
}

}  // namespace

void TryInput(const std::uint8_t* bytes, std::size_t count) {
  Input input(bytes, count);
  const int type = input.Whole(0, 1);
  const int rows = input.Size(0, 24);
  const int inner = input.Size(0, 40);
  const int columns = input.Size(0, 40);
  const auto draw = input.Byte() < 128 ? &Input::Any : &Input::Finite;
  const MTH_MATRIX a = input.Matrix(rows, inner, type, draw);
  const MTH_MATRIX b = input.Matrix(inner, columns, type, draw);
  const MTH_MATRIX c = input.Matrix(rows, inner, type, draw);
  const double number = input.Any();
  const int width = input.Size(-1, 60);
  RequireSameBits([&](Results& results) {
    for (MTH_MATRIX* made :
         {a * b, a + c, a - c, a / c, a * number, a.Transpose(), a.AddColBySymetry(width),
          a.AddRowBySymetry(width), a.GetThresholding(number), a.Square(), a.SquareRoot()}) {
      results.Add(made);
      delete made;
    }
    results.Add(a.GetMax(nullptr, nullptr));
    results.Add(a.GetMin(nullptr, nullptr));
    results.Add(a.ComputeFrobeniusNorm());
  });
  const MatrixPtr product(a * b);
  const MTH_MATRIX plain = PlainProduct(a, b);
  RequireSame(product.get(), &plain);
  const MatrixPtr twice(MatrixPtr(a.Transpose())->Transpose());
  RequireSame(twice.get(), &a);
  if (type == 1) {
    const int kernelRows = input.Size(0, 5);
    const int kernelColumns = input.Size(0, 5);
    MTH_MATRIX kernel = input.Matrix(kernelRows, kernelColumns, rows % 2, draw);
    const int mode = input.Whole(0, 1);
    RequireSameBits([&](Results& results) {
      const MatrixPtr made(a.Convolution2D(&kernel, mode));
      results.Add(made.get());
    });
  }
  if (input.Byte() == 255) TryFile(input, a);
}

}  // namespace mth_fuzz
