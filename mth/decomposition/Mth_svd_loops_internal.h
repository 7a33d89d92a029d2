// The method of Golub and Reinsch in double, compiled per instruction set: bidiagonal form by reflections,
// the reflections accumulated, implicit-shift QR sweeps. Vectors u and v are kept as rows, so that rotations
// run along memory.

#include "mth/decomposition/Mth_bidiagonal_loops_internal.h"
#include "mth/decomposition/Mth_bidiagonal_qr_loops_internal.h"
#include "mth/matrix/Mth_transpose_area_loops_internal.h"

// Sends a panel through reflections count - 1 down to 0; reflection k is 0 above row k + offset. Calls
// meanwhile() between them: what it waits for then costs nothing.
template <int kCount, class Meanwhile>
void ReflectPanelBackwards(double* panel, const Reflections& reflections, std::int64_t rows,
                           std::int64_t stride, std::int64_t count, std::int64_t offset,
                           Meanwhile meanwhile) {
  constexpr std::int64_t kWidth = kCount * kLanes;
  Lanes steps[kCount] = {};
  const double* former = nullptr;
  // Each pass subtracts the former reflection and sums for the next one, which reaches one row higher.
  for (std::int64_t k = count - 1; k >= -1; --k) {
    const double* vector = k >= 0 ? reflections.vectors + k * stride : former;
    if (vector == nullptr) return;
    Lanes sums[kCount] = {};
    const std::int64_t first = std::max<std::int64_t>(k + offset, 0);
    meanwhile();
    for (std::int64_t i = first; i < rows; ++i) {
      const Lanes weight = Spread<Lanes>(former != nullptr ? former[i] : 0.0);
      const Lanes nextWeight = Spread<Lanes>(vector[i]);
      double* element = panel + i * kWidth;
#pragma GCC unroll 4
      for (int c = 0; c < kCount; ++c) {
        const Lanes x = Load<Lanes>(element + c * kLanes) - steps[c] * weight;
        Store(element + c * kLanes, x);
        sums[c] += x * nextWeight;
      }
    }
    if (k < 0) return;
#pragma GCC unroll 4
    for (int c = 0; c < kCount; ++c) steps[c] = Spread<Lanes>(reflections.factors[k]) * sums[c];
    former = vector;
  }
}

// The product of the reflections, transposed: row j of `result` is its column j.
// @return  false when the host gives up.
template <class Meanwhile>
bool AccumulateTransposed(const Reflections& reflections, std::int64_t size, std::int64_t offset,
                          double* memory, const PanelledRows& result, Meanwhile meanwhile) {
  if (result.width > size) std::fill_n(result.elements, size * result.width, 0.0);
  const auto accumulate = [&](std::int64_t first, double* panel, auto width) {
    const std::int64_t columns = width * kLanes;
    const std::int64_t used = std::min(columns, size - first);
    std::fill_n(panel, size * columns, 0.0);
    for (std::int64_t j = 0; j < used; ++j) panel[(first + j) * columns + j] = 1.0;
    // Later reflections do not reach these columns of the identity.
    const std::int64_t reached = std::clamp<std::int64_t>(first + used - offset, 0, size);
    ReflectPanelBackwards<width>(panel, reflections, size, result.width, reached, offset, meanwhile);
    for (std::int64_t i = 0; i < size; i += kRotatedColumns) {
      TransposeArea(panel + i * columns, columns, std::min(kRotatedColumns, size - i), used,
                    result.At(first, i), PanelledRows::Count(result.width, i));
    }
  };
  return ForEachPanel(Panels{memory, size, false}, size, LongRun(size, size, size), accumulate);
}

// Vector order[j] becomes column j of the target, whose rows are `stride` apart.
template <class T>
void WriteVectors(const PanelledRows& vectors, const std::int64_t* order, T* target, std::int64_t stride) {
  constexpr std::int64_t kBlock = 16;  // columns: whole cache lines of the target's rows
  const std::int64_t size = vectors.rows;
  for (std::int64_t column = 0; column < size; column += kBlock) {
    const std::int64_t columns = std::min(kBlock, size - column);
    for (std::int64_t i = 0; i < size; i += kRotatedColumns) {
      const double* parts[kBlock];
      for (std::int64_t j = 0; j < columns; ++j) parts[j] = vectors.At(order[column + j], i);
      for (std::int64_t k = 0; k < std::min(kRotatedColumns, size - i); ++k) {
        T* const row = target + (i + k) * stride + column;
        for (std::int64_t j = 0; j < columns; ++j) row[j] = static_cast<T>(parts[j][k]);
      }
    }
  }
}

// U = reflections times the small U: the reflections of the QR decomposition that came first. Rows of `u` are
// `uStride` apart.
// @return  false when the host gives up.
template <class T>
bool WriteReflectedVectors(const Reflections& qr, const PanelledRows& ut, const std::int64_t* order,
                           double* memory, T* u, std::int64_t uStride) {
  const std::int64_t rows = qr.rows;
  const std::int64_t size = ut.rows;
  const auto reflect = [&](std::int64_t first, double* panel, auto width) {
    const std::int64_t columns = width * kLanes;
    const std::int64_t used = std::min(columns, size - first);
    std::fill_n(panel, rows * columns, 0.0);
    for (std::int64_t j = 0; j < used; ++j) {
      ut.ForEachPart(order[first + j], size, [&](std::int64_t i, const double* part, std::int64_t count) {
        for (std::int64_t k = 0; k < count; ++k) panel[(i + k) * columns + j] = part[k];
      });
    }
    ReflectPanelBackwards<width>(panel, qr, rows, rows, size, 0, [] {});
    for (std::int64_t i = 0; i < rows; ++i) {
      for (std::int64_t j = 0; j < used; ++j)
        u[i * uStride + first + j] = static_cast<T>(panel[i * columns + j]);
    }
  };
  return ForEachPanel(Panels{memory, rows, false}, size, LongRun(rows, size, size), reflect);
}

// The square matrix to decompose: the input times `scale`, rows of zeros below a wide one, or the triangle R
// of a tall one, whose reflections then are in `qr`.
// @return  false when the host gives up.
template <class T>
bool PrepareSquare(const T* input, std::int64_t rows, std::int64_t size, double scale, const Reflections& qr,
                   double* panels, double* a, std::int64_t stride) {
  if (rows != size || stride != size) std::fill_n(a, size * stride, 0.0);
  if (rows <= size) {
    for (std::int64_t i = 0; i < rows; ++i) {
      for (std::int64_t j = 0; j < size; ++j)
        a[i * stride + j] = static_cast<double>(input[i * size + j]) * scale;
    }
    return true;
  }
  const auto factor = [&](std::int64_t first, double* panel, auto width) {
    const std::int64_t columns = width * kLanes;
    const std::int64_t used = std::min(columns, size - first);
    std::fill_n(panel, rows * columns, 0.0);
    for (std::int64_t i = 0; i < rows; ++i) {
      for (std::int64_t j = 0; j < used; ++j)
        panel[i * columns + j] = static_cast<double>(input[i * size + first + j]) * scale;
    }
    FactorPanel<double, width>(panel, qr, first, std::min(size, first + used));
    for (std::int64_t i = 0; i < std::min(first + used, size); ++i) {
      for (std::int64_t j = std::max<std::int64_t>(i - first, 0); j < used; ++j)
        a[i * stride + first + j] = panel[i * columns + j];
    }
  };
  return ForEachPanel(Panels{panels, rows, false}, size, LongRun(rows, size, size), factor);
}

// Orders the values by magnitude, largest first, equal ones as they stand. Insertion allocates nothing.
inline void OrderByMagnitude(const double* values, std::int64_t count, std::int64_t* order) {
  for (std::int64_t j = 0; j < count; ++j) order[j] = j;
  for (std::int64_t j = 1; j < count; ++j) {
    const std::int64_t moved = order[j];
    std::int64_t k = j;
    for (; k > 0 && std::abs(values[order[k - 1]]) < std::abs(values[moved]); --k) order[k] = order[k - 1];
    order[k] = moved;
  }
}

// Decomposes a rows x size matrix of finite elements.
template <class T>
SVDResult DecomposeBySVD(const T* input, std::int64_t rows, std::int64_t size, const SVDTargets<T>& targets,
                         double* scratch, std::int64_t* order) {
  // Elements of about 1: their squares do not overflow, and those that vanish are nothing beside the others.
  const double scale = PowerToUnit(LargestMagnitude(input, rows * size));
  const SVDSlices slices(rows, size);
  const std::int64_t stride = PaddedRow(size);
  double* a = scratch + slices.a;
  const PanelledRows ut{scratch + slices.ut, size, stride};
  const PanelledRows vt{scratch + slices.vt, size, stride};
  double* d = scratch + slices.d;
  double* e = scratch + slices.e;
  double* panels = scratch + slices.panels;
  const Reflections left{scratch + slices.leftVectors, scratch + slices.leftFactors, size};
  const Reflections right{scratch + slices.rightVectors, scratch + slices.rightFactors, size};
  const Reflections qr{scratch + slices.qrVectors, scratch + slices.qrFactors, rows};

  if (!PrepareSquare(input, rows, size, scale, qr, panels, a, stride) ||
      !Bidiagonalise(a, size, stride, left, right, d, e, scratch + slices.work))
    return SVDResult::Cancelled;
  RotatedVectors leftVectors(ut, reinterpret_cast<Rotation*>(scratch + slices.leftRotations));
  RotatedVectors rightVectors(vt, reinterpret_cast<Rotation*>(scratch + slices.rightRotations));
  BidiagonalQR sweeps(d, e, size, leftVectors, rightVectors);
  const BidiagonalQR::NextStep step{sweeps};
  if (!AccumulateTransposed(left, size, 0, panels, ut, step) ||
      !AccumulateTransposed(right, size, 1, panels, vt, step))
    return SVDResult::Cancelled;
  const SVDResult result = sweeps.Run();
  if (result != SVDResult::Done) return result;

  OrderByMagnitude(d, size, order);
  for (std::int64_t j = 0; j < size; ++j) {
    const double value = d[order[j]];
    targets.values[j * targets.valueStride] = static_cast<T>(std::abs(value) / scale);
    if (value < 0.0) {
      vt.ForEachPart(order[j], size, [](std::int64_t, double* part, std::int64_t count) {
        for (std::int64_t k = 0; k < count; ++k) part[k] = -part[k];
      });
    }
  }
  WriteVectors(vt, order, targets.v, targets.vStride);
  if (rows == size) {
    WriteVectors(ut, order, targets.u, targets.uStride);
    return SVDResult::Done;
  }
  const bool isWritten = WriteReflectedVectors(qr, ut, order, panels, targets.u, targets.uStride);
  return isWritten ? SVDResult::Done : SVDResult::Cancelled;
}
