// The method of Golub and Reinsch in double, compiled per instruction set: bidiagonal form by reflections,
// the reflections accumulated, implicit-shift QR sweeps. Vectors u and v are kept as rows, so that rotations
// run along memory.

#include "mth/decomposition/Mth_qr_loops_internal.h"
#include "mth/decomposition/Mth_rotation_loops_internal.h"

constexpr int kDotVectors = kDotLanes / kLanes;

// The kDotLanes partial sums of a dot product, in a fixed tree.
MTH_INLINE double SumOfLanes(const Lanes (&sums)[kDotVectors]) {
  double lanes[kDotLanes];
  for (int v = 0; v < kDotVectors; ++v) Store(lanes + v * kLanes, sums[v]);
  for (std::int64_t width = kDotLanes / 2; width > 0; width /= 2) {
    for (std::int64_t i = 0; i < width; ++i) lanes[i] += lanes[i + width];
  }
  return lanes[0];
}

// row -= step x direction on whole groups from `first` on.
// @return  the dot product of the new row and `other`.
MTH_INLINE double SubtractAndDot(double* row, double step, const double* direction, const double* other,
                                 std::int64_t first, std::int64_t last) {
  Lanes sums[kDotVectors] = {};
  for (std::int64_t j = first; j < last; j += kDotLanes) {
#pragma GCC unroll 16
    for (int v = 0; v < kDotVectors; ++v) {
      double* element = row + j + v * kLanes;
      const Lanes x = Load<Lanes>(element) - Spread<Lanes>(step) * Load<Lanes>(direction + j + v * kLanes);
      Store(element, x);
      sums[v] += x * Load<Lanes>(other + j + v * kLanes);
    }
  }
  return SumOfLanes(sums);
}

// row -= step x direction, then sums += weight x row.
MTH_INLINE void SubtractAndAdd(double* row, double step, const double* direction, double weight, double* sums,
                               std::int64_t first, std::int64_t last) {
  for (std::int64_t j = first; j < last; j += kLanes) {
    const Lanes x = Load<Lanes>(row + j) - Spread<Lanes>(step) * Load<Lanes>(direction + j);
    Store(row + j, x);
    Store(sums + j, Load<Lanes>(sums + j) + Spread<Lanes>(weight) * x);
  }
}

// Makes the vector's elements [first, last) a reflection vector.
// @return  its factor; `image` receives what becomes of the first element.
inline double MakeReflectionVector(double* vector, std::int64_t first, std::int64_t last, double& image) {
  Lanes sums[kDotVectors] = {};
  const std::int64_t start = first / kDotLanes * kDotLanes;
  for (std::int64_t j = start; j < PaddedRow(last); j += kDotLanes) {
    for (int v = 0; v < kDotVectors; ++v) {
      const Lanes x = Load<Lanes>(vector + j + v * kLanes);
      sums[v] += x * x;
    }
  }
  const Reflection reflection = ReflectionOf(vector[first], SumOfLanes(sums));
  image = reflection.image;
  vector[first] = reflection.head;
  return reflection.factor;
}

// Reduces a (size x size, rows `stride` apart, padded with zeros) to the diagonal d and superdiagonal e.
// Left reflection k is 0 above row k, right reflection k up to column k; each row of `left` and `right` is
// one.
// @return  false when the host gives up.
inline bool Bidiagonalise(double* a, std::int64_t size, std::int64_t stride, const Reflections& left,
                          const Reflections& right, double* d, double* e, double* work) {
  double* sums = work;           // ut A
  double* dots = work + stride;  // A v
  double* zeros = work + 2 * stride;
  std::fill_n(work, 3 * stride, 0.0);
  const double* formerRight = zeros;
  double formerFactor = 0.0;
  for (std::int64_t k = 0; k < size; ++k) {
    if (IsGivenUp(size)) return false;
    const std::int64_t start = k / kDotLanes * kDotLanes;
    // Column k once the former right reflection has reached it.
    double* u = left.vectors + k * stride;
    std::fill_n(u, stride, 0.0);
    for (std::int64_t i = k; i < size; ++i)
      u[i] = a[i * stride + k] - formerFactor * dots[i] * formerRight[k];
    const double leftFactor = MakeReflectionVector(u, k, size, d[k]);
    left.factors[k] = leftFactor;
    // The former right reflection meets every row, and the sums of this left one are formed on the way.
    std::fill_n(sums, stride, 0.0);
    for (std::int64_t i = k; i < size; ++i)
      SubtractAndAdd(a + i * stride, formerFactor * dots[i], formerRight, u[i], sums, start, stride);

    double* v = right.vectors + k * stride;
    std::fill_n(v, stride, 0.0);
    const double* row = a + k * stride;
    for (std::int64_t j = k + 1; j < size; ++j) v[j] = row[j] - leftFactor * u[k] * sums[j];
    double rightFactor = 0.0;
    e[k] = 0.0;
    if (k + 1 < size) rightFactor = MakeReflectionVector(v, k + 1, size, e[k]);
    right.factors[k] = rightFactor;
    for (std::int64_t i = k + 1; i < size; ++i)
      dots[i] = SubtractAndDot(a + i * stride, leftFactor * u[i], sums, v, start, stride);
    formerRight = v;
    formerFactor = rightFactor;
  }
  return true;
}

// Sends a panel through reflections count - 1 down to 0; reflection k is 0 above row k + offset.
template <int kCount>
void ReflectPanelBackwards(double* panel, const Reflections& reflections, std::int64_t rows,
                           std::int64_t stride, std::int64_t count, std::int64_t offset) {
  constexpr std::int64_t kWidth = kCount * kLanes;
  Lanes steps[kCount] = {};
  const double* former = nullptr;
  // Each pass subtracts the former reflection and sums for the next one, which reaches one row higher.
  for (std::int64_t k = count - 1; k >= -1; --k) {
    const double* vector = k >= 0 ? reflections.vectors + k * stride : former;
    if (vector == nullptr) return;
    Lanes sums[kCount] = {};
    const std::int64_t first = std::max<std::int64_t>(k + offset, 0);
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
inline bool AccumulateTransposed(const Reflections& reflections, std::int64_t size, std::int64_t stride,
                                 std::int64_t offset, double* panel, double* result) {
  std::fill_n(result, size * stride, 0.0);
  return ForEachPanel(panel, 0, size, LongRun(size, size, size),
                      [&](std::int64_t first, double* chunk, auto width) {
                        const std::int64_t columns = width * kLanes;
                        const std::int64_t used = std::min(columns, size - first);
                        std::fill_n(chunk, size * columns, 0.0);
                        for (std::int64_t j = 0; j < used; ++j) chunk[(first + j) * columns + j] = 1.0;
                        // Later reflections do not reach these columns of the identity.
                        const std::int64_t count = std::clamp<std::int64_t>(first + used - offset, 0, size);
                        ReflectPanelBackwards<width>(chunk, reflections, size, stride, count, offset);
                        for (std::int64_t j = 0; j < used; ++j) {
                          for (std::int64_t i = 0; i < size; ++i)
                            result[(first + j) * stride + i] = chunk[i * columns + j];
                        }
                      });
}

// Diagonalises the bidiagonal matrix (d, e), e[k] beside d[k], rotating the vectors in the rows of the
// batches.
class BidiagonalQR {
 public:
  BidiagonalQR(double* d, double* e, std::int64_t size, RotationBatch& left, RotationBatch& right)
      : d_(d), e_(e), size_(size), left_(left), right_(right) {}

  SVDResult Run() {
    double norm = 0.0;
    for (std::int64_t k = 0; k < size_; ++k) norm = std::max(norm, std::abs(d_[k]) + std::abs(e_[k]));
    negligible_ = norm * std::numeric_limits<double>::epsilon();
    for (std::int64_t last = size_ - 1; last > 0; --last) {
      int iterations = 0;
      if (IsGivenUp(size_)) return SVDResult::Cancelled;
      for (;;) {
        const std::int64_t first = FindBlock(last);
        if (first == last) break;
        if (++iterations == kSVDIterationCap) return SVDResult::NoConvergence;
        Sweep(first, last);
      }
    }
    left_.Apply();
    right_.Apply();
    return SVDResult::Done;
  }

 private:
  // First row of the unreduced block that ends in row `last`.
  std::int64_t FindBlock(std::int64_t last) {
    std::int64_t first = last;
    while (first > 0) {
      if (std::abs(e_[first - 1]) <= negligible_) {
        e_[first - 1] = 0.0;
        break;
      }
      if (std::abs(d_[first - 1]) <= negligible_) {
        ClearRow(first - 1, last);
        break;
      }
      --first;
    }
    return first;
  }

  // A row whose diagonal is 0 is rotated against those below until its superdiagonal is 0 as well.
  void ClearRow(std::int64_t row, std::int64_t last) {
    double bulge = e_[row];
    d_[row] = 0.0;
    e_[row] = 0.0;
    for (std::int64_t k = row + 1; k <= last && std::abs(bulge) > negligible_; ++k) {
      const Rotation rotation = MakeRotation(d_[k], bulge);
      bulge = -rotation.s * e_[k];
      if (k < last) e_[k] *= rotation.c;
      left_.RotateRows(k, row, rotation);
    }
  }

  // The eigenvalue of the last 2 x 2 block of Bt B that is nearer to its last element.
  double Shift(std::int64_t first, std::int64_t last) const {
    const double e1 = last - 1 > first ? e_[last - 2] : 0.0;
    const double a = d_[last - 1] * d_[last - 1] + e1 * e1;
    const double b = d_[last - 1] * e_[last - 1];
    const double c = d_[last] * d_[last] + e_[last - 1] * e_[last - 1];
    const double half = 0.5 * (a - c);
    const double root = std::sqrt(half * half + b * b);
    const double denominator = half + (half < 0.0 ? -root : root);
    return denominator == 0.0 ? c : c - b * b / denominator;
  }

  void Sweep(std::int64_t first, std::int64_t last) {
    Rotation* rights = right_.Begin(first, last);
    Rotation* lefts = left_.Begin(first, last);
    double y = d_[first] * d_[first] - Shift(first, last);
    double z = d_[first] * e_[first];
    for (std::int64_t k = first; k < last; ++k) {
      const Rotation right = *rights++ = MakeRotation(y, z);
      if (k > first) e_[k - 1] = y;
      double f = right.c * d_[k] + right.s * e_[k];
      const double g = right.c * e_[k] - right.s * d_[k];
      const double below = right.s * d_[k + 1];
      const double next = right.c * d_[k + 1];
      const Rotation left = *lefts++ = MakeRotation(f, below);
      d_[k] = f;
      y = left.c * g + left.s * next;
      d_[k + 1] = left.c * next - left.s * g;
      z = left.s * e_[k + 1];
      if (k + 1 < last) e_[k + 1] *= left.c;
    }
    e_[last - 1] = y;
  }

  double* d_;
  double* e_;
  std::int64_t size_;
  RotationBatch& left_;
  RotationBatch& right_;
  double negligible_ = 0.0;
};

// U = reflections times the small U: the reflections of the QR decomposition that came first. Rows of `u` are
// `uStride` apart.
// @return  false when the host gives up.
template <class T>
bool WriteLeftVectors(const Reflections& qr, std::int64_t rows, std::int64_t size, const double* ut,
                      std::int64_t stride, const std::int64_t* order, double* panel, T* u,
                      std::int64_t uStride) {
  const LongRun run(rows, size, size);
  return ForEachPanel(panel, 0, size, run, [&](std::int64_t first, double* chunk, auto width) {
    const std::int64_t columns = width * kLanes;
    const std::int64_t used = std::min(columns, size - first);
    std::fill_n(chunk, std::max(rows, size) * columns, 0.0);
    for (std::int64_t j = 0; j < used; ++j) {
      const double* vector = ut + order[first + j] * stride;
      for (std::int64_t i = 0; i < size; ++i) chunk[i * columns + j] = vector[i];
    }
    if (rows > size) ReflectPanelBackwards<width>(chunk, qr, rows, rows, size, 0);
    for (std::int64_t i = 0; i < rows; ++i) {
      for (std::int64_t j = 0; j < used; ++j)
        u[i * uStride + first + j] = static_cast<T>(chunk[i * columns + j]);
    }
  });
}

// The square matrix to decompose: the input times `scale`, rows of zeros below a wide one, or the triangle R
// of a tall one, whose reflections then are in `qr`.
// @return  false when the host gives up.
template <class T>
bool PrepareSquare(const T* input, std::int64_t rows, std::int64_t size, double scale, const Reflections& qr,
                   double* panels, double* a, std::int64_t stride) {
  std::fill_n(a, size * stride, 0.0);
  if (rows <= size) {
    for (std::int64_t i = 0; i < rows; ++i) {
      for (std::int64_t j = 0; j < size; ++j)
        a[i * stride + j] = static_cast<double>(input[i * size + j]) * scale;
    }
    return true;
  }
  const LongRun run(rows, size, size);
  return ForEachPanel(panels, 0, size, run, [&](std::int64_t first, double* panel, auto width) {
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
  });
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
  double* ut = scratch + slices.ut;
  double* vt = scratch + slices.vt;
  double* d = scratch + slices.d;
  double* e = scratch + slices.e;
  double* panels = scratch + slices.panels;
  const Reflections left{scratch + slices.leftVectors, scratch + slices.leftFactors, size};
  const Reflections right{scratch + slices.rightVectors, scratch + slices.rightFactors, size};
  const Reflections qr{scratch + slices.qrVectors, scratch + slices.qrFactors, rows};

  if (!PrepareSquare(input, rows, size, scale, qr, panels, a, stride) ||
      !Bidiagonalise(a, size, stride, left, right, d, e, scratch + slices.work) ||
      !AccumulateTransposed(left, size, stride, 0, panels, ut) ||
      !AccumulateTransposed(right, size, stride, 1, panels, vt))
    return SVDResult::Cancelled;
  RotationBatch leftBatch(ut, stride, reinterpret_cast<Rotation*>(scratch + slices.leftRotations), size);
  RotationBatch rightBatch(vt, stride, reinterpret_cast<Rotation*>(scratch + slices.rightRotations), size);
  const SVDResult result = BidiagonalQR(d, e, size, leftBatch, rightBatch).Run();
  if (result != SVDResult::Done) return result;

  OrderByMagnitude(d, size, order);
  for (std::int64_t j = 0; j < size; ++j) {
    const double value = d[order[j]];
    targets.values[j * targets.valueStride] = static_cast<T>(std::abs(value) / scale);
    const double sign = value < 0.0 ? -1.0 : 1.0;
    const double* vector = vt + order[j] * stride;
    for (std::int64_t i = 0; i < size; ++i)
      targets.v[i * targets.vStride + j] = static_cast<T>(sign * vector[i]);
  }
  const bool isWritten =
      WriteLeftVectors(qr, rows, size, ut, stride, order, panels, targets.u, targets.uStride);
  return isWritten ? SVDResult::Done : SVDResult::Cancelled;
}
