#pragma once

#include <cstdint>
#include <memory>

#include "mth/decomposition/Mth_reflections_internal.h"
#include "mth/matrix/Mth_matrix.h"

namespace mth_internal {

/// Rows of work matrices are padded to whole groups of this many elements. Dot products are summed in as many
/// lanes on every instruction set, for the same bits.
constexpr std::int64_t kDotLanes = 16;

constexpr int kSVDIterationCap = 50;

constexpr std::int64_t PaddedRow(std::int64_t columns) {
  return (columns + kDotLanes - 1) / kDotLanes * kDotLanes;
}

/// Rotations of rows k and k + 1: the upper row becomes c upper + s lower, the lower one c lower - s upper.
struct Rotation {
  double c;
  double s;
};

constexpr std::int64_t kNoHub = -1;

/// Rotations of the rows [first, last], one after the other downwards; with a hub, of each of the rows
/// [first, last) and this one, without one kNoHub. Without a value before they are written: a small matrix
/// does not wait for a whole record to be cleared.
struct RotationSweep {
  std::int64_t first;
  std::int64_t last;
  std::int64_t hub;
};

/// Sweeps are recorded up to this many rows' worth, then applied together while blocks of columns are in
/// cache and while the next ones are recorded.
constexpr std::int64_t kRecordedSweeps = 16;

/// Where the parts of the scratch memory of one decomposition begin, in doubles, and how many it is in all.
/// Those that vectors are loaded from come first, in whole groups.
struct SVDSlices {
  constexpr SVDSlices(std::int64_t rows, std::int64_t columns) {
    const std::int64_t padded = PaddedRow(columns);
    const std::int64_t area = columns * padded;
    const std::int64_t rotations =
        2 * 2 * kRecordedSweeps * (columns + 2);  // two records of two doubles each
    a = Take(area);
    leftVectors = Take(area);
    rightVectors = Take(area);
    // The left vectors are accumulated when the matrix is bidiagonal and read no more, the right ones when
    // the left reflections are.
    ut = a;
    vt = leftVectors;
    leftFactors = Take(padded);
    rightFactors = Take(padded);
    d = Take(padded);
    e = Take(padded);
    work = Take(3 * padded);
    leftRotations = Take(rotations);
    rightRotations = Take(rotations);
    qrFactors = Take(PaddedRow(columns));
    const bool isTall = rows > columns;
    qrVectors = Take(isTall ? rows * columns : 0);
    panels = Take(isTall ? rows * (columns + kWidestPanel) : columns * kWidestPanel);
  }

  std::int64_t a = 0;
  std::int64_t ut = 0;
  std::int64_t vt = 0;
  std::int64_t leftVectors = 0;
  std::int64_t rightVectors = 0;
  std::int64_t leftFactors = 0;
  std::int64_t rightFactors = 0;
  std::int64_t d = 0;
  std::int64_t e = 0;
  std::int64_t work = 0;
  std::int64_t leftRotations = 0;
  std::int64_t rightRotations = 0;
  std::int64_t qrFactors = 0;
  std::int64_t qrVectors = 0;
  std::int64_t panels = 0;
  std::int64_t size = 0;

 private:
  constexpr std::int64_t Take(std::int64_t count) {
    const std::int64_t first = size;
    size += count;
    return first;
  }
};

/// Where the factors of a rows x columns matrix go: U (rows x columns), the singular values, V (columns x
/// columns); rows, and values, as far apart as said.
template <class T>
struct SVDTargets {
  T* u;
  std::int64_t uStride;
  T* values;
  std::int64_t valueStride;
  T* v;
  std::int64_t vStride;
};

enum class SVDResult { Done, NoMemory, NoConvergence, Cancelled };

/// The factors of MTH_MATRIX::SVD; unallocated, or null without memory for the object, unless all is done.
struct SVDFactors {
  std::unique_ptr<MTH_MATRIX> u;
  std::unique_ptr<MTH_MATRIX> w;
  std::unique_ptr<MTH_MATRIX> v;
  SVDResult result = SVDResult::NoMemory;
};

/// The singular value decomposition, showing nothing.
SVDFactors DecomposeSilently(const MTH_MATRIX& matrix);

/// The same with the message of a decomposition that does not converge.
SVDFactors Decompose(const MTH_MATRIX& matrix);

}  // namespace mth_internal
