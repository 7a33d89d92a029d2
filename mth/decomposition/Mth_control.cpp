#include <algorithm>
#include <cmath>

#include "mth/decomposition/Mth_control_internal.h"
#include "mth/matrix/Mth_matrix_internal.h"

namespace mth_internal {

int CheckSystem(std::initializer_list<Operand> operands) {
  for (const Operand& operand : operands) {
    if (!operand.matrix.IsAllocated()) return 1;
  }
  for (const Operand& operand : operands) {
    if (operand.matrix.GetType() != operands.begin()->matrix.GetType()) return 14;
  }
  for (const Operand& operand : operands) {
    if (operand.matrix.GetNbRows() != operand.rows || operand.matrix.GetNbCols() != operand.columns) return 4;
  }
  for (const Operand& operand : operands) {
    if (!AreFinite(operand.matrix)) return 5;
  }
  return 0;
}

void CopyElements(const MTH_MATRIX& matrix, double* target) {
  OnStorage(matrix, [&](auto* elements) { std::copy_n(elements, ElementsCount(matrix), target); });
}

int CopyScaled(const MTH_MATRIX& matrix, double* target, double ordinary) {
  CopyElements(matrix, target);
  const std::int64_t count = ElementsCount(matrix);
  const double scale = ScaleToUnit(target, count, ordinary);
  if (scale == 1.0) return 0;
  std::transform(target, target + count, target, [scale](double x) { return x * scale; });
  return std::ilogb(scale);
}

MTH_MATRIX* NewRounded(const double* elements, int rows, int columns, int type, int exponent) {
  MTH_MATRIX* result = NewResult(rows, columns, type);
  if (!IsUsable(result)) return result;
  OnStorage(*result, [&](auto* target) {
    using T = std::remove_pointer_t<decltype(target)>;
    const std::int64_t count = ElementsCount(*result);
    if (exponent == 0) {
      std::transform(elements, elements + count, target, [](double x) { return static_cast<T>(x); });
    } else {
      std::transform(elements, elements + count, target,
                     [exponent](double x) { return static_cast<T>(std::ldexp(x, exponent)); });
    }
  });
  return result;
}

MTH_MATRIX* NewTransposed(SquareView view, int type) {
  const int n = static_cast<int>(view.size);
  MTH_MATRIX* result = NewResult(n, n, type);
  if (!IsUsable(result)) return result;
  OnStorage(*result, [&](auto* target) {
    using T = std::remove_pointer_t<decltype(target)>;
    for (std::int64_t i = 0; i < n; ++i) {
      for (std::int64_t j = 0; j < n; ++j) target[i * n + j] = static_cast<T>(view[j][i]);
    }
  });
  return result;
}

}  // namespace mth_internal
