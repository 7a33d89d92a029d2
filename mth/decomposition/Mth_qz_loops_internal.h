// Hessenberg-triangular form and the double-shift QZ steps of Moler and Stewart, compiled per instruction
// set. Rows of a and b that no transformation of rows meets any more wait for those of columns, and get many
// of them at once, a few rows side by side in one vector: the same operations in the same order per element.

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();
constexpr int kIterationCap = 120;
constexpr int kExceptionalPeriod = 10;  // a step with other shifts breaks cycles

// Steps whose transformations of columns the rows above them wait for, and rows side by side.
constexpr std::int64_t kMostWaiting = 16;
constexpr std::int64_t kRowsAtOnce = 8;

// Calls apply(columns) for groups of rows [from, to) of columns [first, first + count): kRowsAtOnce elements
// of each column, one column after the other.
template <class Apply>
inline void OnColumns(SquareView matrix, std::int64_t from, std::int64_t to, std::int64_t first,
                      std::int64_t count, const Apply& apply) {
  alignas(64) double columns[(kMostWaiting + 2) * kRowsAtOnce];
  for (std::int64_t top = from; top < to; top += kRowsAtOnce) {
    const std::int64_t rows = std::min(kRowsAtOnce, to - top);
    if (rows < kRowsAtOnce) std::fill_n(columns, count * kRowsAtOnce, 0.0);
    for (std::int64_t i = 0; i < rows; ++i) {
      const double* row = matrix[top + i] + first;
      for (std::int64_t j = 0; j < count; ++j) columns[j * kRowsAtOnce + i] = row[j];
    }
    apply(columns);
    for (std::int64_t i = 0; i < rows; ++i) {
      double* row = matrix[top + i] + first;
      for (std::int64_t j = 0; j < count; ++j) row[j] = columns[j * kRowsAtOnce + i];
    }
  }
}

class QZReduction {
 public:
  explicit QZReduction(const Pencil& pencil)
      : p_(pencil),
        n_(pencil.a.size),
        negligibleA_(kEpsilon * NormOf(pencil.a)),
        negligibleB_(kEpsilon * NormOf(pencil.b)) {}

  bool Run() {
    // Of elements that have overflowed none would ever be negligible.
    if (std::isnan(negligibleA_) || std::isnan(negligibleB_)) return false;
    int iterations = 0;
    for (std::int64_t last = n_ - 1; last >= 0;) {
      if (iterations == 0 && IsGivenUp(n_)) return false;
      const std::int64_t first = FirstOfBlock(last);
      if (first < last && DeflateInfinite(first, last)) {
        iterations = 0;
        continue;
      }
      if (last - first >= 2) {
        if (++iterations > kIterationCap) return false;
        Step(first, last, iterations % kExceptionalPeriod == 0);
        continue;
      }
      if (first < last) {
        StandardisePair(p_, first);
      } else if (std::abs(p_.b[last][last]) <= negligibleB_) {
        p_.b[last][last] = 0.0;
      }
      last = first - 1;
      iterations = 0;
    }
    for (std::int64_t k = 0; k < n_; ++k) MakePositive(p_, k);
    return true;
  }

 private:
  static double NormOf(SquareView matrix) {
    double squares = 0.0;
    for (std::int64_t i = 0; i < matrix.size * matrix.size; ++i)
      squares += matrix.elements[i] * matrix.elements[i];
    return std::sqrt(squares);
  }

  std::int64_t FirstOfBlock(std::int64_t last) {
    for (std::int64_t k = last; k > 0; --k) {
      if (std::abs(p_.a[k][k - 1]) <= negligibleA_) {
        p_.a[k][k - 1] = 0.0;
        return k;
      }
    }
    return 0;
  }

  // A diagonal element of b that is 0 is an infinite eigenvalue: it is moved down to the end of the block,
  // where the element of a beside it is rotated away.
  bool DeflateInfinite(std::int64_t first, std::int64_t last) {
    std::int64_t zero = last;
    while (zero >= first && std::abs(p_.b[zero][zero]) > negligibleB_) --zero;
    if (zero < first) return false;
    p_.b[zero][zero] = 0.0;
    for (std::int64_t k = zero; k < last; ++k) {
      RotateRows(p_, k, std::max(k - 1, first), k + 1, RotationOf(p_.b[k][k + 1], p_.b[k + 1][k + 1]));
      p_.b[k + 1][k + 1] = 0.0;
      if (k == first) continue;
      RotateColumns(p_, k - 1, k + 2, k, ToTheRight(p_.a[k + 1][k - 1], p_.a[k + 1][k]));
      p_.a[k + 1][k - 1] = 0.0;
    }
    RotateColumns(p_, last - 1, last + 1, last, ToTheRight(p_.a[last][last - 1], p_.a[last][last]));
    p_.a[last][last - 1] = 0.0;
    return true;
  }

  // The first column of (M - shift) (M - other shift) for M = a b^-1, over a common factor, in terms of
  // differences with the shifts: the eigenvalues of the last two rows of M when they are complex, else twice
  // the one that is nearer to the last diagonal element.
  void FirstColumn(std::int64_t k, std::int64_t last, bool isExceptional, double& x, double& y,
                   double& z) const {
    const SquareView& a = p_.a;
    const SquareView& b = p_.b;
    const double b11 = b[k][k];
    const double b22 = b[k + 1][k + 1];
    const double b33 = b[last - 1][last - 1];
    const double b44 = b[last][last];
    const double m11 = a[k][k] / b11;
    const double m21 = a[k + 1][k] / b11;
    const double m12 = (a[k][k + 1] - m11 * b[k][k + 1]) / b22;
    const double m22 = (a[k + 1][k + 1] - m21 * b[k][k + 1]) / b22;
    const double m32 = a[k + 2][k + 1] / b22;
    const double m33 = a[last - 1][last - 1] / b33;
    const double m43 = a[last][last - 1] / b33;
    const double m34 = (a[last - 1][last] - m33 * b[last - 1][last]) / b44;
    const double m44 = (a[last][last] - m43 * b[last - 1][last]) / b44;
    double toLower = m44 - m11;
    double toUpper = m33 - m11;
    double product = m43 * m34;
    const double half = 0.5 * (m33 - m44);
    const double discriminant = half * half + product;
    if (isExceptional) {
      const double spread = std::abs(m43) + std::abs(a[last - 1][last - 2] / b[last - 2][last - 2]);
      toLower += 0.75 * spread;
      toUpper = toLower;
      product = -0.4375 * spread * spread;
    } else if (discriminant >= 0.0) {
      const double root = std::sqrt(discriminant);
      const double farther = half + (half < 0.0 ? -root : root);
      if (farther != 0.0) toLower -= product / farther;
      toUpper = toLower;
      product = 0.0;
    }
    const double size = std::abs(m21) + std::abs(toLower) + std::abs(toUpper);
    const double share = m21 / size;
    x = toLower / size * toUpper - product / size + m12 * share;
    y = (m22 - m11 - toLower - toUpper) * share;
    z = m32 * share;
  }

  // Zeros of row k + 2 and k + 1 of b, left of the diagonal, by reflections of columns k to k + 2, for which
  // the rows above the waiting steps wait.
  void RestoreTriangle(std::int64_t k, std::int64_t last) {
    if (waiting_ == 0) firstWaiting_ = k;
    const std::int64_t rows = std::min(k + 4, last + 1);
    double corner = p_.b[k + 2][k + 2];
    const SmallReflection triple = SmallReflectionOf(corner, p_.b[k + 2][k + 1], p_.b[k + 2][k]);
    ReflectThreeColumns<-1>(p_.a, k + 2, firstWaiting_, rows, triple);
    ReflectThreeColumns<-1>(p_.b, k + 2, firstWaiting_, k + 2, triple);
    ReflectThreeRows(p_.zt[k + 2], p_.zt[k + 1], p_.zt[k], 0, p_.zt.size, triple);
    p_.b[k + 2][k + 2] = corner;
    p_.b[k + 2][k + 1] = p_.b[k + 2][k] = 0.0;
    triples_[waiting_] = triple;
    pairs_[waiting_] = RestorePair(k, firstWaiting_, rows);
    if (++waiting_ == kMostWaiting) ReflectWaitingRows();
  }

  // The same for row k + 1 and columns k and k + 1, in rows from `first` on.
  SmallReflection RestorePair(std::int64_t k, std::int64_t first, std::int64_t rows) {
    double corner = p_.b[k + 1][k + 1];
    const SmallReflection pair = SmallReflectionOf(corner, p_.b[k + 1][k], 0.0);
    ReflectTwoColumns<-1>(p_.a, k + 1, first, rows, pair);
    ReflectTwoColumns<-1>(p_.b, k + 1, first, k + 1, pair);
    ReflectTwoRows(p_.zt[k + 1], p_.zt[k], 0, p_.zt.size, pair);
    p_.b[k + 1][k + 1] = corner;
    p_.b[k + 1][k] = 0.0;
    return pair;
  }

  void ReflectWaitingRows() {
    const auto reflect = [this](double* columns) {
      for (std::int64_t i = 0; i < waiting_; ++i) {
        double* left = columns + i * kRowsAtOnce;
        double* middle = left + kRowsAtOnce;
        ReflectThreeRows(middle + kRowsAtOnce, middle, left, 0, kRowsAtOnce, triples_[i]);
        ReflectTwoRows(middle, left, 0, kRowsAtOnce, pairs_[i]);
      }
    };
    for (const SquareView& matrix : {p_.a, p_.b})
      OnColumns(matrix, 0, firstWaiting_, firstWaiting_, waiting_ + 2, reflect);
    waiting_ = 0;
  }

  // One double-shift step on the unreduced rows [first, last], at least three, with b regular there.
  void Step(std::int64_t first, std::int64_t last, bool isExceptional) {
    double x = 0.0;
    double y = 0.0;
    double z = 0.0;
    FirstColumn(first, last, isExceptional, x, y, z);
    for (std::int64_t k = first; k + 1 < last; ++k) {
      if (k > first) {
        x = p_.a[k][k - 1];
        y = p_.a[k + 1][k - 1];
        z = p_.a[k + 2][k - 1];
      }
      const SmallReflection reflection = SmallReflectionOf(x, y, z);
      if (k > first) {
        p_.a[k][k - 1] = x;
        p_.a[k + 1][k - 1] = p_.a[k + 2][k - 1] = 0.0;
      }
      ReflectThreeRows(p_.a[k], p_.a[k + 1], p_.a[k + 2], k, n_, reflection);
      ReflectThreeRows(p_.b[k], p_.b[k + 1], p_.b[k + 2], k, n_, reflection);
      ReflectThreeRows(p_.qt[k], p_.qt[k + 1], p_.qt[k + 2], 0, p_.qt.size, reflection);
      RestoreTriangle(k, last);
    }
    const std::int64_t k = last - 1;
    x = p_.a[k][k - 1];
    const SmallReflection reflection = SmallReflectionOf(x, p_.a[last][k - 1], 0.0);
    p_.a[k][k - 1] = x;
    p_.a[last][k - 1] = 0.0;
    ReflectTwoRows(p_.a[k], p_.a[last], k, n_, reflection);
    ReflectTwoRows(p_.b[k], p_.b[last], k, n_, reflection);
    ReflectTwoRows(p_.qt[k], p_.qt[last], 0, p_.qt.size, reflection);
    ReflectWaitingRows();
    RestorePair(k, 0, last + 1);
  }

  Pencil p_;
  std::int64_t n_;
  std::int64_t firstWaiting_ = 0;
  std::int64_t waiting_ = 0;
  SmallReflection triples_[kMostWaiting];
  SmallReflection pairs_[kMostWaiting];
  double negligibleA_;
  double negligibleB_;
};

inline void SetIdentity(SquareView matrix) {
  std::fill_n(matrix.elements, matrix.size * matrix.size, 0.0);
  for (std::int64_t i = 0; i < matrix.size; ++i) matrix[i][i] = 1.0;
}

// b becomes upper triangular by reflections of rows.
inline void Triangularise(const Pencil& p, double* work) {
  const std::int64_t n = p.a.size;
  double* v = work;
  double* sums = work + n;
  for (std::int64_t k = 0; k + 1 < n; ++k) {
    if (IsGivenUp(n)) return;  // as the rotations will find
    double squares = 0.0;
    double below = 0.0;
    for (std::int64_t i = k; i < n; ++i) {
      v[i] = p.b[i][k];
      squares += v[i] * v[i];
      if (i > k) below = std::max(below, std::abs(v[i]));
    }
    if (below == 0.0) continue;
    const double scale = BringSquaresNearOne(v + k, n - k, squares);
    const Reflection reflection = ReflectionOf(v[k], squares);
    v[k] = reflection.head;
    ReflectRowsBy(p.b.elements, n, n, v, reflection.factor, k, k + 1, sums);
    ReflectRowsBy(p.a.elements, n, n, v, reflection.factor, k, 0, sums);
    ReflectRowsBy(p.qt.elements, n, n, v, reflection.factor, k, 0, sums);
    p.b[k][k] = reflection.image / scale;
    for (std::int64_t i = k + 1; i < n; ++i) p.b[i][k] = 0.0;
  }
}

// Rotations of columns i - 1 and i, of descending i, for which the rows out of their reach wait.
class WaitingRotations {
 public:
  explicit WaitingRotations(const Pencil& pencil) : p_(pencil), n_(pencil.a.size) {}

  // Before rows i - 1 and i are rotated.
  void MakeRoomFor(std::int64_t i) {
    if (count_ > 0 && i - 1 < First()) Apply();
  }

  // Rotates columns i - 1 and i for b[i][i - 1] to vanish.
  void Add(std::int64_t i) {
    if (count_ == 0) bottom_ = i;
    const PlaneRotation rotation = ToTheRight(p_.b[i][i - 1], p_.b[i][i]);
    RotateTwoColumns(p_.a, i - 1, First(), bottom_ + 1, rotation);
    RotateTwoColumns(p_.b, i - 1, First(), i + 1, rotation);
    RotateTwoRows(p_.zt[i - 1], p_.zt[i], 0, p_.zt.size, rotation);
    p_.b[i][i - 1] = 0.0;
    rotations_[count_] = rotation;
    columns_[count_++] = i - 1;
  }

  void Apply() {
    if (count_ == 0) return;
    const std::int64_t left = columns_[count_ - 1];
    const auto rotate = [&](double* columns) {
      for (std::int64_t i = 0; i < count_; ++i) {
        double* column = columns + (columns_[i] - left) * kRowsAtOnce;
        RotateTwoRows(column, column + kRowsAtOnce, 0, kRowsAtOnce, rotations_[i]);
      }
    };
    const std::int64_t width = columns_[0] + 2 - left;
    OnColumns(p_.a, 0, First(), left, width, rotate);
    OnColumns(p_.a, bottom_ + 1, n_, left, width, rotate);
    OnColumns(p_.b, 0, First(), left, width, rotate);
    count_ = 0;
  }

 private:
  // The first row that rotations of rows meet beside the waiting rotations.
  std::int64_t First() const { return std::max<std::int64_t>(bottom_ - kMostWaiting, 0); }

  Pencil p_;
  std::int64_t n_;
  std::int64_t bottom_ = 0;
  std::int64_t count_ = 0;
  PlaneRotation rotations_[kMostWaiting];
  std::int64_t columns_[kMostWaiting];
};

// a becomes Hessenberg: each element is rotated away from below, and b made triangular again.
inline bool RotateToHessenberg(const Pencil& p) {
  const std::int64_t n = p.a.size;
  WaitingRotations waiting(p);
  for (std::int64_t j = 0; j + 2 < n; ++j) {
    if (IsGivenUp(n)) return false;
    for (std::int64_t i = n - 1; i >= j + 2; --i) {
      if (p.a[i][j] == 0.0) continue;
      waiting.MakeRoomFor(i);
      RotateRows(p, i - 1, j, i - 1, RotationOf(p.a[i - 1][j], p.a[i][j]));
      p.a[i][j] = 0.0;
      waiting.Add(i);
    }
    waiting.Apply();
  }
  return true;
}

inline bool RunQZReduction(const Pencil& p, double* work) {
  SetIdentity(p.qt);
  SetIdentity(p.zt);
  Triangularise(p, work);
  return RotateToHessenberg(p) && QZReduction(p).Run();
}
