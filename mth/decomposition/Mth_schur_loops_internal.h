// Hessenberg form and the double-shift QR steps of Francis, compiled per instruction set.

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr int kExceptionalPeriod = 10;  // a step with other shifts breaks cycles
constexpr int kPatience = 30;  // iterations after which what is small beside the whole matrix counts as 0
// Double eigenvalues can hold an element some roundings above that: it may then be larger with each
// iteration.
constexpr int kMostRoundings = 50;
constexpr int kIterationCap = 300;  // for one eigenvalue; most need two or three

// What a double-shift step begins with: the first column of (H - shift) (H - other shift), over a common
// factor.
struct Bulge {
  double x;
  double y;
  double z;
};

class SchurReduction {
 public:
  SchurReduction(SquareView h, SquareView qt)
      : h_(h), qt_(qt), norm_(LargestMagnitude(h.elements, h.size * h.size)) {}

  bool Run() {
    int iterations = 0;
    for (std::int64_t last = h_.size - 1; last >= 0;) {
      if (iterations == 0 && IsGivenUp(h_.size)) return false;
      const std::int64_t first = FirstOfBlock(last, iterations);
      if (last - first >= 2) {
        if (++iterations > kIterationCap) return false;
        Step(first, last, iterations % kExceptionalPeriod == 0);
        continue;
      }
      if (first < last) StandardiseBlock(h_, qt_, first);
      last = first - 1;
      iterations = 0;
    }
    return true;
  }

 private:
  std::int64_t FirstOfBlock(std::int64_t last, int iterations) {
    for (std::int64_t k = last; k > 0; --k) {
      double beside = std::abs(h_[k - 1][k - 1]) + std::abs(h_[k][k]);
      if (beside == 0.0) beside = norm_;
      if (iterations > kPatience) beside = norm_ * std::min(iterations - kPatience, kMostRoundings);
      // Products of what is smaller than the smallest normal number vanish.
      const double negligible = std::max(kEpsilon * beside, norm_ * std::numeric_limits<double>::min());
      if (std::abs(h_[k][k - 1]) <= negligible) {
        h_[k][k - 1] = 0.0;
        return k;
      }
    }
    return 0;
  }

  // The shifts are the eigenvalues of the last two rows: their diagonal `lower` and `upper`, and the product
  // of their off-diagonal elements as two factors.
  struct Shifts {
    double lower;
    double upper;
    double right;
    double left;
  };

  Shifts ShiftsOf(std::int64_t last, bool isExceptional) const {
    if (!isExceptional)
      return {h_[last][last], h_[last - 1][last - 1], h_[last - 1][last], h_[last][last - 1]};
    const double size = std::abs(h_[last][last - 1]) + std::abs(h_[last - 1][last - 2]);
    const double middle = 0.75 * size + h_[last][last];
    return {middle, middle, -0.4375 * size, size};
  }

  // From differences with the shifts: near a multiple of the identity all else is lost to cancellation.
  Bulge BulgeAt(std::int64_t k, const Shifts& shifts) const {
    const double below = h_[k + 1][k];
    const double toLower = shifts.lower - h_[k][k];
    const double toUpper = shifts.upper - h_[k][k];
    const double size = std::abs(below) + std::abs(toLower) + std::abs(toUpper);
    const double share = below / size;
    return {toLower / size * toUpper - shifts.left / size * shifts.right + h_[k][k + 1] * share,
            (h_[k + 1][k + 1] - h_[k][k] - toLower - toUpper) * share, h_[k + 2][k + 1] * share};
  }

  // The lowest row from which the step may begin, as two consecutive small elements hide the rows above it.
  std::int64_t FirstOfStep(std::int64_t first, std::int64_t last, const Shifts& shifts, Bulge& bulge) const {
    std::int64_t k = last - 2;
    for (;; --k) {
      bulge = BulgeAt(k, shifts);
      if (k == first) break;
      const double around = std::abs(h_[k - 1][k - 1]) + std::abs(h_[k][k]) + std::abs(h_[k + 1][k + 1]);
      if (std::abs(h_[k][k - 1]) * (std::abs(bulge.y) + std::abs(bulge.z)) <=
          kEpsilon * std::abs(bulge.x) * around)
        break;
    }
    return k;
  }

  // One double-shift step on the unreduced rows [first, last], at least three.
  void Step(std::int64_t first, std::int64_t last, bool isExceptional) {
    Bulge bulge{};
    const std::int64_t start = FirstOfStep(first, last, ShiftsOf(last, isExceptional), bulge);
    double x = bulge.x;
    for (std::int64_t k = start; k + 1 < last; ++k) {
      const bool isInside = k > start;
      if (isInside) {
        x = h_[k][k - 1];
        bulge.y = h_[k + 1][k - 1];
        bulge.z = h_[k + 2][k - 1];
      }
      const SmallReflection reflection = SmallReflectionOf(x, bulge.y, bulge.z);
      if (isInside) {
        h_[k][k - 1] = x;
        h_[k + 1][k - 1] = h_[k + 2][k - 1] = 0.0;
      } else if (k > first) {
        // What this row passes on to the rows below is negligible.
        h_[k][k - 1] -= reflection.factor * h_[k][k - 1];
      }
      ReflectThreeRows(h_[k], h_[k + 1], h_[k + 2], k, h_.size, reflection);
      ReflectThreeColumns<1>(h_, k, 0, std::min(k + 4, last + 1), reflection);
      ReflectThreeRows(qt_[k], qt_[k + 1], qt_[k + 2], 0, h_.size, reflection);
    }
    x = h_[last - 1][last - 2];
    const SmallReflection reflection = SmallReflectionOf(x, h_[last][last - 2], 0.0);
    h_[last - 1][last - 2] = x;
    h_[last][last - 2] = 0.0;
    ReflectTwoRows(h_[last - 1], h_[last], last - 1, h_.size, reflection);
    ReflectTwoColumns<1>(h_, last - 1, 0, last + 1, reflection);
    ReflectTwoRows(qt_[last - 1], qt_[last], 0, h_.size, reflection);
  }

  SquareView h_;
  SquareView qt_;
  double norm_;
};

inline bool FormHessenberg(SquareView a, SquareView qt, double* work) {
  const std::int64_t n = a.size;
  double* v = work;
  double* sums = work + n;
  std::fill_n(qt.elements, n * n, 0.0);
  for (std::int64_t i = 0; i < n; ++i) qt[i][i] = 1.0;
  for (std::int64_t k = 0; k + 2 < n; ++k) {
    if (IsGivenUp(n)) return false;
    double squares = 0.0;
    double below = 0.0;
    for (std::int64_t i = k + 1; i < n; ++i) {
      v[i] = a[i][k];
      squares += v[i] * v[i];
      if (i > k + 1) below = std::max(below, std::abs(v[i]));
    }
    if (below == 0.0) continue;
    const double scale = BringSquaresNearOne(v + k + 1, n - k - 1, squares);
    const Reflection reflection = ReflectionOf(v[k + 1], squares);
    v[k + 1] = reflection.head;
    const double factor = reflection.factor;
    ReflectRowsBy(a.elements, n, n, v, factor, k + 1, k + 1, sums);
    a[k + 1][k] = reflection.image / scale;
    for (std::int64_t i = k + 2; i < n; ++i) a[i][k] = 0.0;
    for (std::int64_t i = 0; i < n; ++i) {
      double dot = 0.0;
      for (std::int64_t j = k + 1; j < n; ++j) dot += a[i][j] * v[j];
      dot *= factor;
      for (std::int64_t j = k + 1; j < n; ++j) a[i][j] -= dot * v[j];
    }
    ReflectRowsBy(qt.elements, n, n, v, factor, k + 1, 0, sums);
  }
  return true;
}

inline bool RunSchurReduction(SquareView h, SquareView qt) {
  return SchurReduction(h, qt).Run();
}
