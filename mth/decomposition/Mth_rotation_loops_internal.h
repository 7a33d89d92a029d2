// Plane rotations of rows, recorded in sweeps and applied while blocks of columns are in cache. Each element
// meets the same operations in the same order as if every rotation were applied at once.

constexpr int kRotatedVectors = 32 / kLanes;

template <int kCount>
MTH_INLINE void RotateBlock(double* block, std::int64_t stride, const RotationSweep& sweep,
                            const Rotation* rotations) {
  Lanes upper[kCount];
  double* row = block + sweep.first * stride;
#pragma GCC unroll 16
  for (int v = 0; v < kCount; ++v) upper[v] = Load<Lanes>(row + v * kLanes);
  for (std::int64_t k = sweep.first; k < sweep.last; ++k, ++rotations, row += stride) {
    const Lanes c = Spread<Lanes>(rotations->c);
    const Lanes s = Spread<Lanes>(rotations->s);
#pragma GCC unroll 16
    for (int v = 0; v < kCount; ++v) {
      const Lanes lower = Load<Lanes>(row + stride + v * kLanes);
      Store(row + v * kLanes, c * upper[v] + s * lower);
      upper[v] = c * lower - s * upper[v];
    }
  }
#pragma GCC unroll 16
  for (int v = 0; v < kCount; ++v) Store(row + v * kLanes, upper[v]);
}

// Sweeps over the rows of one matrix, whose row length is a multiple of kDotLanes.
class RotationBatch {
 public:
  RotationBatch(double* matrix, std::int64_t stride, Rotation* rotations, std::int64_t rows)
      : matrix_(matrix), stride_(stride), rotations_(rotations), capacity_(kRecordedSweeps * (rows + 2)) {}

  // Room for a sweep over rows [first, last]; its rotations are the caller's to write.
  Rotation* Begin(std::int64_t first, std::int64_t last) {
    if (used_ + last - first > capacity_ || count_ == kRecordedSweeps * 4) Apply();
    sweeps_[count_++] = {first, last};
    Rotation* sweep = rotations_ + used_;
    used_ += last - first;
    return sweep;
  }

  void Apply() {
    std::int64_t j = 0;
    const auto run = [&](auto count) {
      const Rotation* rotations = rotations_;
      for (std::int64_t i = 0; i < count_; ++i) {
        RotateBlock<count>(matrix_ + j, stride_, sweeps_[i], rotations);
        rotations += sweeps_[i].last - sweeps_[i].first;
      }
      j += count * kLanes;
    };
    while (stride_ - j >= 32) run(std::integral_constant<int, kRotatedVectors>{});
    while (stride_ - j > 0) run(std::integral_constant<int, kRotatedVectors / 2>{});
    count_ = used_ = 0;
  }

  // One rotation of any two rows.
  void RotateRows(std::int64_t upper, std::int64_t lower, Rotation rotation) {
    Apply();
    double* a = matrix_ + upper * stride_;
    double* b = matrix_ + lower * stride_;
    for (std::int64_t j = 0; j < stride_; ++j) {
      const double x = a[j];
      a[j] = rotation.c * x + rotation.s * b[j];
      b[j] = rotation.c * b[j] - rotation.s * x;
    }
  }

 private:
  double* matrix_;
  std::int64_t stride_;
  Rotation* rotations_;
  std::int64_t capacity_;
  std::int64_t used_ = 0;
  std::int64_t count_ = 0;
  RotationSweep sweeps_[kRecordedSweeps * 4];
};

// For numbers whose squares vanish or lose digits.
inline Rotation MakeTinyRotation(double& x, double y) {
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
  const Rotation rotation{x * inverse, y * inverse};
  x = r;
  return rotation;
}
