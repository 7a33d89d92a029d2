// Implicit-shift QR sweeps of a bidiagonal matrix, compiled per instruction set.

#include "mth/decomposition/Mth_rotation_loops_internal.h"

// Diagonalises the bidiagonal matrix (d, e), e[k] beside d[k], rotating the vectors of both sides.
class BidiagonalQR {
 public:
  BidiagonalQR(double* d, double* e, std::int64_t size, RotatedVectors& left, RotatedVectors& right)
      : d_(d), e_(e), size_(size), left_(left), right_(right) {
    double norm = 0.0;
    for (std::int64_t k = 0; k < size_; ++k) norm = std::max(norm, std::abs(d_[k]) + std::abs(e_[k]));
    negligible_ = norm * std::numeric_limits<double>::epsilon();
    BeginValue(size_ - 1);
  }

  // Each rotation waits for roots and quotients of the one before it, while applying those of the former
  // sweeps to the vectors keeps the multipliers busy: one is done while the other waits. The first ones can
  // be recorded so before the vectors are there.
  struct NextStep {
    BidiagonalQR& qr;
    MTH_INLINE void operator()() const { static_cast<void>(qr.Step()); }
  };

  // Records the rotations that are not yet and applies them all to the vectors.
  SVDResult Run() {
    const NextStep step{*this};
    do {
      while (Step()) {
      }
      if (result_ != SVDResult::Done) return result_;
      left_.Turn();
      right_.Turn();
      left_.Apply(step);
      right_.Apply(step);
      if (isStuck_ && left_.Recorded().IsEmpty() && right_.Recorded().IsEmpty()) TurnRound();
    } while (!left_.Recorded().IsEmpty() || !right_.Recorded().IsEmpty() || !isDone_);
    return result_;
  }

 private:
  // Looks for the value in row `last`, once those below are found.
  void BeginValue(std::int64_t last) {
    last_ = last;
    iterations_ = 0;
    isTurned_ = false;
    if (last_ <= 0) {
      End(SVDResult::Done);
    } else if (IsGivenUp(size_)) {
      End(SVDResult::Cancelled);
    }
  }

  void End(SVDResult result) {
    result_ = result;
    isDone_ = true;
  }

  // Records the next rotation of each side.
  // @return  false when all is done, or when the records are full.
  MTH_INLINE bool Step() {
    if (areColumnsNext_) {
      if (row_ == sweepEnd_ && !BeginSweep()) return false;
      RotateColumnPair();
    } else {
      RotateRowPair();
    }
    areColumnsNext_ = !areColumnsNext_;
    return true;
  }

  // @return  false when there is none.
  MTH_NOINLINE bool BeginSweep() {
    while (!isDone_ && !isStuck_) {
      if (!left_.Recorded().HasRoom(last_) || !right_.Recorded().HasRoom(last_)) return false;
      const std::int64_t first = FindBlock(last_);
      if (first == last_) {
        BeginValue(last_ - 1);
      } else if (++iterations_ == kSVDIterationCap) {
        EndIterations(first);
      } else {
        BeginSweep(first);
        return true;
      }
    }
    return false;
  }

  // What the cap is reached with: among values that rounding alone tells apart, sweeps may hold the element
  // beside the last one some roundings above what is negligible, and it counts as 0. Else the block is turned
  // round, once, but not for NaN.
  MTH_NOINLINE void EndIterations(std::int64_t first) {
    constexpr double kMostRoundings = 50.0;
    const double beside = std::abs(e_[last_ - 1]);
    if (beside <= kMostRoundings * negligible_) {
      e_[last_ - 1] = 0.0;
    } else if (std::isfinite(beside) && !isTurned_) {
      first_ = first;
      isStuck_ = true;
    } else {
      End(SVDResult::NoConvergence);
    }
  }

  // Turns the block that ends in row `last_` round and makes it upper bidiagonal again. A shift is lost
  // beside the square of a first element that is far larger than it, and sweeps are then slow: with the small
  // elements first, the large values are found, and the others remain among themselves.
  MTH_NOINLINE void TurnRound() {
    isStuck_ = false;
    isTurned_ = true;
    iterations_ = 0;
    std::reverse(d_ + first_, d_ + last_ + 1);
    std::reverse(e_ + first_, e_ + last_);
    left_.ReverseRows(first_, last_);
    right_.ReverseRows(first_, last_);
    Rotation* rotations = left_.Recorded().Begin({first_, last_, kNoHub});
    for (std::int64_t k = first_; k < last_; ++k) {
      const Rotation rotation = *rotations++ = MakeRotation(d_[k], e_[k]);
      e_[k] = rotation.s * d_[k + 1];
      d_[k + 1] *= rotation.c;
    }
  }

  void BeginSweep(std::int64_t first) {
    lefts_ = left_.Recorded().Begin({first, last_, kNoHub});
    rights_ = right_.Recorded().Begin({first, last_, kNoHub});
    y_ = d_[first] * d_[first] - Shift(first, last_);
    z_ = d_[first] * e_[first];
    first_ = row_ = first;
    sweepEnd_ = last_;
  }

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
    left_.Recorded().Begin({row + 1, row + 1, row});
    for (std::int64_t k = row + 1; k <= last && std::abs(bulge) > negligible_; ++k) {
      const Rotation rotation = MakeRotation(d_[k], bulge);
      bulge = -rotation.s * e_[k];
      if (k < last) e_[k] *= rotation.c;
      left_.Recorded().AddToSweep(rotation);
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

  // Rotates columns row_ and row_ + 1 of the bidiagonal matrix.
  void RotateColumnPair() {
    const std::int64_t k = row_;
    const Rotation right = *rights_++ = MakeRotation(y_, z_);
    if (k > first_) e_[k - 1] = y_;
    upper_ = right.c * d_[k] + right.s * e_[k];
    y_ = right.c * e_[k] - right.s * d_[k];
    lower_ = right.s * d_[k + 1];
    d_[k + 1] = right.c * d_[k + 1];
  }

  // Rotates rows row_ and row_ + 1 after that.
  void RotateRowPair() {
    const std::int64_t k = row_++;
    const double g = y_;
    const double next = d_[k + 1];
    const Rotation left = *lefts_++ = MakeRotation(upper_, lower_);
    d_[k] = upper_;
    y_ = left.c * g + left.s * next;
    d_[k + 1] = left.c * next - left.s * g;
    z_ = left.s * e_[k + 1];
    if (row_ < sweepEnd_) {
      e_[row_] *= left.c;
    } else {
      e_[k] = y_;
    }
  }

  double* d_;
  double* e_;
  std::int64_t size_;
  RotatedVectors& left_;
  RotatedVectors& right_;
  double negligible_ = 0.0;
  std::int64_t last_ = 0;  // the row of the value that is looked for
  int iterations_ = 0;
  bool isDone_ = false;
  bool isStuck_ = false;   // the block from first_ on is to be turned round once all rotations are applied
  bool isTurned_ = false;  // it has been, for this value
  SVDResult result_ = SVDResult::Done;
  // The sweep under way: from its first row to its last one, the next row to rotate, what is to become 0.
  std::int64_t first_ = 0;
  std::int64_t sweepEnd_ = 0;
  std::int64_t row_ = 0;
  double y_ = 0.0;
  double z_ = 0.0;
  bool areColumnsNext_ = true;
  double upper_ = 0.0;
  double lower_ = 0.0;
  Rotation* lefts_ = nullptr;
  Rotation* rights_ = nullptr;
};
