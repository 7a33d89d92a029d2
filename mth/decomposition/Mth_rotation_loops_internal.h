// Plane rotations of rows, recorded in sweeps and applied while blocks of columns are in cache. Each element
// meets the same operations in the same order as if every rotation were applied at once. The vector layer
// comes before this, once for all kernels of a source.

constexpr std::int64_t kRotatedColumns = 32;
constexpr std::int64_t kRowsBetween = 32 / kLanes;  // between two calls of what is done meanwhile

// The rows of a matrix, whose length is a multiple of kDotLanes, in panels of columns that lie one behind the
// other: rows that are a power of two apart would share a few places of the cache.
struct PanelledRows {
  double* elements;
  std::int64_t rows;
  std::int64_t width;

  static constexpr std::int64_t Count(std::int64_t width, std::int64_t first) {
    return std::min(kRotatedColumns, width - first);
  }
  double* At(std::int64_t row, std::int64_t first) const {
    return elements + first * rows + row * Count(width, first);
  }
  // Calls visit(first column, elements, count) for each part of the first `columns` elements of a row.
  template <class Visit>
  void ForEachPart(std::int64_t row, std::int64_t columns, Visit visit) const {
    for (std::int64_t first = 0; first < columns; first += kRotatedColumns)
      visit(first, At(row, first), std::min(kRotatedColumns, columns - first));
  }
};

// A rotation of whole vectors.
struct RotationLanes {
  Lanes c;
  Lanes s;

  MTH_INLINE explicit RotationLanes(const Rotation& rotation)
      : c(Spread<Lanes>(rotation.c)), s(Spread<Lanes>(rotation.s)) {}
  // The upper row becomes what remains of the two for the next rotation.
  // @return  what is done.
  MTH_INLINE Lanes Rotate(Lanes& upper, Lanes lower) const {
    const Lanes done = c * upper + s * lower;
    upper = c * lower - s * upper;
    return done;
  }
};

// The rotations of one sweep of the rows from `row` on.
template <int kCount>
void RotateRows(double* row, std::int64_t stride, const Rotation* rotations, std::int64_t count) {
  Lanes upper[kCount];
#pragma GCC unroll 16
  for (int v = 0; v < kCount; ++v) upper[v] = Load<Lanes>(row + v * kLanes);
  for (std::int64_t k = 0; k < count; ++k, row += stride) {
    const RotationLanes rotation(rotations[k]);
#pragma GCC unroll 16
    for (int v = 0; v < kCount; ++v)
      Store(row + v * kLanes, rotation.Rotate(upper[v], Opaque(Load<Lanes>(row + stride + v * kLanes))));
  }
#pragma GCC unroll 16
  for (int v = 0; v < kCount; ++v) Store(row + v * kLanes, upper[v]);
}

// Those of two sweeps, the first of which runs one row ahead, so that each row is loaded and stored once.
// Calls meanwhile() every few rows, which is best inlined: two rows stay in registers.
template <int kCount, class Meanwhile>
void RotateRowsTwice(double* row, std::int64_t stride, const Rotation* first, const Rotation* second,
                     std::int64_t count, Meanwhile meanwhile) {
  Lanes behind[kCount];
  Lanes ahead[kCount];
#pragma GCC unroll 16
  for (int v = 0; v < kCount; ++v) {
    behind[v] = Load<Lanes>(row + v * kLanes);
    ahead[v] = Load<Lanes>(row + stride + v * kLanes);
  }
  for (std::int64_t k = 0; k < count; meanwhile()) {
    const std::int64_t end = std::min(k + kRowsBetween, count);
    for (; k < end; ++k, row += stride) {
      const RotationLanes firstRotation(first[k]);
      const RotationLanes secondRotation(second[k]);
#pragma GCC unroll 16
      for (int v = 0; v < kCount; ++v) {
        const Lanes between =
            firstRotation.Rotate(ahead[v], Opaque(Load<Lanes>(row + 2 * stride + v * kLanes)));
        Store(row + v * kLanes, secondRotation.Rotate(behind[v], between));
      }
    }
  }
#pragma GCC unroll 16
  for (int v = 0; v < kCount; ++v) {
    Store(row + v * kLanes, behind[v]);
    Store(row + stride + v * kLanes, ahead[v]);
  }
}

// Sweeps as they are made, to be applied to the rows of a matrix.
class RotationRecord {
 public:
  RotationRecord(Rotation* rotations, std::int64_t capacity) : rotations_(rotations), capacity_(capacity) {}

  bool IsEmpty() const { return count_ == 0; }
  // Whether there is room for two sweeps of so many rotations.
  bool HasRoom(std::int64_t rotations) const {
    return used_ + 2 * rotations <= capacity_ && count_ + 2 <= kMostSweeps;
  }
  // The place for the rotations of a sweep, which the caller writes.
  Rotation* Begin(const RotationSweep& sweep) {
    sweeps_[count_++] = sweep;
    Rotation* rotations = rotations_ + used_;
    used_ += sweep.last - sweep.first;
    return rotations;
  }
  // One rotation more in the last sweep, which has grown downwards by a row.
  void AddToSweep(const Rotation& rotation) {
    ++sweeps_[count_ - 1].last;
    rotations_[used_++] = rotation;
  }
  void Clear() { count_ = used_ = 0; }

  // Calls meanwhile() every few rows: what it waits for then costs nothing.
  template <class Meanwhile>
  void Apply(const PanelledRows& matrix, Meanwhile meanwhile) const {
    for (std::int64_t first = 0; first < matrix.width; first += kRotatedColumns) {
      if (PanelledRows::Count(matrix.width, first) == kRotatedColumns) {
        ApplyToPanel<kRotatedColumns / kLanes>(matrix.At(0, first), meanwhile);
      } else {
        ApplyToPanel<kDotLanes / kLanes>(matrix.At(0, first), meanwhile);
      }
    }
  }

 private:
  static constexpr std::int64_t kMostSweeps = 4 * kRecordedSweeps;

  template <int kCount, class Meanwhile>
  void ApplyToPanel(double* panel, Meanwhile meanwhile) const {
    constexpr std::int64_t kStride = kCount * kLanes;
    const Rotation* rotations = rotations_;
    for (std::int64_t i = 0; i < count_; ++i) {
      const RotationSweep& sweep = sweeps_[i];
      const Rotation* const nextRotations = rotations + (sweep.last - sweep.first);
      if (i + 1 < count_ && ArePair(sweep, sweeps_[i + 1])) {
        const RotationSweep& next = sweeps_[++i];
        ApplyTwo<kCount>(panel, sweep, rotations, next.last, nextRotations, meanwhile);
        rotations = nextRotations + (next.last - next.first);
        continue;
      }
      if (sweep.hub != kNoHub) {
        RotateWithHub(panel, kStride, sweep, rotations);
      } else {
        ApplyOne<kCount>(panel, sweep, rotations, meanwhile);
      }
      rotations = nextRotations;
    }
  }

  // Whether two sweeps can be applied together, and are long enough for it.
  static bool ArePair(const RotationSweep& sweep, const RotationSweep& next) {
    constexpr std::int64_t kShort = 8;
    return sweep.hub == kNoHub && next.hub == kNoHub && next.first == sweep.first &&
           next.last <= sweep.last && next.last - next.first > kShort;
  }

  template <int kCount, class Meanwhile>
  static void ApplyOne(double* panel, const RotationSweep& sweep, const Rotation* rotations,
                       Meanwhile meanwhile) {
    constexpr std::int64_t kStride = kCount * kLanes;
    for (std::int64_t k = sweep.first; k < sweep.last; k += kRowsBetween) {
      RotateRows<kCount>(panel + k * kStride, kStride, rotations + (k - sweep.first),
                         std::min(kRowsBetween, sweep.last - k));
      meanwhile();
    }
  }

  // Two sweeps from one row on, the second not longer than the first.
  template <int kCount, class Meanwhile>
  static void ApplyTwo(double* panel, const RotationSweep& sweep, const Rotation* first,
                       std::int64_t secondLast, const Rotation* second, Meanwhile meanwhile) {
    constexpr std::int64_t kStride = kCount * kLanes;
    constexpr int kPart = std::min(kCount, 4);  // of whose rows two are in registers
    const std::int64_t together = std::min(sweep.last - 1, secondLast) - sweep.first;
    panel += sweep.first * kStride;
    for (std::int64_t v = 0; v < kCount; v += kPart) {
      double* const part = panel + v * kLanes;
      RotateRows<kPart>(part, kStride, first, 1);
      RotateRowsTwice<kPart>(part, kStride, first + 1, second, together, meanwhile);
      if (sweep.first + together < secondLast) {
        RotateRows<kPart>(part + together * kStride, kStride, second + together, 1);
      } else {
        RotateRows<kPart>(part + (together + 1) * kStride, kStride, first + 1 + together,
                          sweep.last - sweep.first - 1 - together);
      }
    }
  }

  static void RotateWithHub(double* panel, std::int64_t stride, const RotationSweep& sweep,
                            const Rotation* rotations) {
    double* const hub = panel + sweep.hub * stride;
    for (std::int64_t k = sweep.first; k < sweep.last; ++k, ++rotations) {
      double* const row = panel + k * stride;
      for (std::int64_t j = 0; j < stride; ++j) {
        const double x = row[j];
        row[j] = rotations->c * x + rotations->s * hub[j];
        hub[j] = rotations->c * hub[j] - rotations->s * x;
      }
    }
  }

  Rotation* rotations_;
  std::int64_t capacity_;
  std::int64_t used_ = 0;
  std::int64_t count_ = 0;
  RotationSweep sweeps_[kMostSweeps];
};

// The vectors of one side, in the rows of a matrix: sweeps are recorded while the ones before are applied.
class RotatedVectors {
 public:
  RotatedVectors(const PanelledRows& matrix, Rotation* rotations)
      : matrix_(matrix),
        records_{{rotations, kRecordedSweeps * (matrix.rows + 2)},
                 {rotations + kRecordedSweeps * (matrix.rows + 2), kRecordedSweeps * (matrix.rows + 2)}} {}

  RotationRecord& Recorded() { return records_[recorded_]; }
  // What has been recorded is to be applied next.
  void Turn() { recorded_ = 1 - recorded_; }
  template <class Meanwhile>
  void Apply(Meanwhile meanwhile) {
    records_[1 - recorded_].Apply(matrix_, meanwhile);
    records_[1 - recorded_].Clear();
  }
  // Puts rows [first, last] in the opposite order, when nothing waits to be applied.
  void ReverseRows(std::int64_t first, std::int64_t last) {
    for (std::int64_t column = 0; column < matrix_.width; column += kRotatedColumns) {
      const std::int64_t count = PanelledRows::Count(matrix_.width, column);
      for (std::int64_t upper = first, lower = last; upper < lower; ++upper, --lower) {
        double* const row = matrix_.At(upper, column);
        std::swap_ranges(row, row + count, matrix_.At(lower, column));
      }
    }
  }

 private:
  PanelledRows matrix_;
  RotationRecord records_[2];
  int recorded_ = 0;
};

// For numbers whose squares vanish or lose digits. They are rare: inlined, this would decide in what
// registers the others lie.
MTH_NOINLINE inline Rotation MakeTinyRotation(double& x, double y) {
  constexpr double kUp = 0x1p560;
  const double r = std::sqrt((x * kUp) * (x * kUp) + (y * kUp) * (y * kUp));
  if (r == 0.0) return {1.0, 0.0};
  const double inverse = 1.0 / r;
  const Rotation rotation{x * kUp * inverse, y * kUp * inverse};
  x = r / kUp;
  return rotation;
}

// The rotation that turns (x, y) into (r, 0); r takes x's place.
MTH_INLINE Rotation MakeRotation(double& x, double y) {
  const double squares = x * x + y * y;
  if (squares < kSmallestSquares) return MakeTinyRotation(x, y);
  const double r = std::sqrt(squares);
  const double inverse = 1.0 / r;
  // One by one: paired in a vector they would have to be taken apart for what waits for them, and the next x
  // and y, stored one by one, to be loaded as a pair, which waits until the stores are done.
  const Rotation rotation{Opaque(x * inverse), Opaque(y * inverse)};
  x = r;
  return rotation;
}
