// Texture features, compiled per instruction set. Each sum is one chain in row order; what it adds is
// computed in lanes first, a chunk of a row at a time.

#include "mth/core/Mth_elementary_loops_internal.h"

constexpr int kChunk = 64;

template <class T>
bool IsAllZero(const T* values, int count) {
  int nonzero = 0;
  for (int k = 0; k < count; ++k) nonzero += values[k] != 0 ? 1 : 0;
  return nonzero == 0;
}

// Runs visit(row, first column, count, values as doubles) on the matrix in row order, but not on chunks of
// zeros where these are skipped: that changes no sum whose other factors are finite.
template <class T, class Visit>
MTH_INLINE void ForEachChunk(const MatrixView<T>& p, bool skipsZeros, Visit visit) {
  double values[kChunk];
  for (int i = 0; i < p.rows; ++i) {
    const T* const row = p.Row(i);
    for (std::int64_t next = 0; next < p.columns; next += kChunk) {
      const int first = static_cast<int>(next);
      const int count = std::min(kChunk, p.columns - first);
      if (skipsZeros && IsAllZero(row + first, count)) continue;
      for (int k = 0; k < count; ++k) values[k] = static_cast<double>(row[first + k]);
      visit(i, first, count, values);
    }
  }
}

// The sum of term(i, j, P(i, j)).
template <class Sum, class T, class Term>
MTH_INLINE Sum SumTerms(const MatrixView<T>& p, bool skipsZeros, Term term) {
  Sum sum = 0;
  ForEachChunk(p, skipsZeros, [&](int i, int first, int count, const double* values) {
    Sum terms[kChunk];
    for (int k = 0; k < count; ++k) terms[k] = term(i, first + k, values[k]);
    for (int k = 0; k < count; ++k) sum += terms[k];
  });
  return sum;
}

// ---- sums over the matrix ----

template <class T>
double Contrast(const MatrixView<T>& p) {
  return SumTerms<double>(p, true, [](int i, int j, double value) {
    const double difference = static_cast<double>(i - j);
    return difference * difference * value;
  });
}

template <class T>
float Homogeneity(const MatrixView<T>& p) {
  return SumTerms<float>(p, true, [](int i, int j, double value) {
    const double difference = static_cast<double>(i - j);
    return static_cast<float>(value) / static_cast<float>(1.0 + difference * difference);
  });
}

template <class T>
double Energy(const MatrixView<T>& p) {
  return SumTerms<double>(p, true, [](int, int, double value) { return value * value; });
}

template <class T>
double Mean(const MatrixView<T>& p) {
  return SumTerms<double>(p, true, [](int, int, double value) { return value; });
}

template <class T>
double Variance(const MatrixView<T>& p) {
  const double mean = Mean(p);
  return SumTerms<double>(p, std::isfinite(mean * mean), [mean](int i, int, double value) {
    const double difference = static_cast<double>(i) - mean;
    return difference * difference * value;
  });
}

// ---- distributions ----

// Eight rows side by side: one chain would wait for each of its sums.
template <class T>
void SumRows(const MatrixView<T>& p, double* sums) {
  constexpr int kTogether = 8;
  for (std::int64_t i = 0; i < p.rows; i += kTogether) {
    const T* rows[kTogether];
    for (int r = 0; r < kTogether; ++r) rows[r] = p.Row(std::min(i + r, p.rows - std::int64_t{1}));
    double sum[kTogether] = {};
    for (int j = 0; j < p.columns; ++j) {
      for (int r = 0; r < kTogether; ++r) sum[r] += static_cast<double>(rows[r][j]);
    }
    for (int r = 0; r < kTogether && i + r < p.rows; ++r) sums[i + r] = sum[r];
  }
}

// The arrays of sums hold zeros at first.
template <class T>
void SumColumns(const MatrixView<T>& p, double* __restrict sums) {
  for (int i = 0; i < p.rows; ++i) {
    const T* const row = p.Row(i);
    for (int j = 0; j < p.columns; ++j) sums[j] += static_cast<double>(row[j]);
  }
}

template <class T>
void SumAntidiagonals(const MatrixView<T>& p, double* __restrict psum) {
  const std::int64_t mostSum = 2 * std::int64_t{p.rows};  // i + j of the last value
  for (std::int64_t i = 0; i < p.rows; ++i) {
    const T* const row = p.Row(i);
    const std::int64_t first = std::max<std::int64_t>(0, 2 - i);
    const std::int64_t last = std::min<std::int64_t>(p.columns, mostSum - i + 1);
    for (std::int64_t j = first; j < last; ++j) psum[i + j - 2] += static_cast<double>(row[j]);
  }
}

template <class T>
void SumDiagonals(const MatrixView<T>& p, double* __restrict pdiff) {
  for (int i = 0; i < p.rows; ++i) {
    const T* const row = p.Row(i);
    for (int k = std::max(1, i - p.columns + 1); k <= i; ++k) pdiff[k] += static_cast<double>(row[i - k]);
    const int last = std::min(p.rows, p.columns - i);
    for (int k = 0; k < last; ++k) pdiff[k] += static_cast<double>(row[i + k]);
  }
}

// ---- correlation ----

template <class T>
CorrelationSums SumForCorrelation(const MatrixView<T>& p, const double* rowMeans, const double* columnMeans,
                                  bool skipsZeros) {
  CorrelationSums sums;
  ForEachChunk(p, skipsZeros, [&](int i, int first, int count, const double* values) {
    double products[kChunk];
    double rowTerms[kChunk];
    double columnTerms[kChunk];
    const double level = static_cast<double>(i);
    const double rowDistance = level - rowMeans[i];
    for (int k = 0; k < count; ++k) {
      const double other = static_cast<double>(first + k);
      const double columnDistance = other - columnMeans[first + k];
      products[k] = level * other * values[k];
      rowTerms[k] = rowDistance * rowDistance * values[k];
      columnTerms[k] = columnDistance * columnDistance * values[k];
    }
    for (int k = 0; k < count; ++k) {
      sums.products += products[k];
      sums.rowVariance += rowTerms[k];
      sums.columnVariance += columnTerms[k];
    }
  });
  return sums;
}

// ---- entropies ----

// factor ln x, or 0 where x is 0; NaN where it is negative. The logarithm is taken of 1 where it is not
// wanted: that of 0 would be infinite, and its product with a factor of 0 an invalid operation, which hosts
// may trap.
template <class V>
MTH_INLINE V WeightedLogarithm(V factor, V x) {
  constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
  const V logarithm = Logarithm<V>(x <= 0.0 ? Spread<V>(1.0) : x);
  const V term = factor * (x < 0.0 ? Spread<V>(kNaN) : logarithm);
  return x == 0.0 ? V{} : term;
}

// terms[k] = factors[k] ln x[k], a chunk at most.
MTH_INLINE void WeightedLogarithms(const double* factors, const double* x, int count, double* terms) {
  ForEachLanes(0, count, [&](std::int64_t k, auto kind) {
    using V = decltype(kind);
    Store<V>(terms + k, WeightedLogarithm<V>(Load<V>(factors + k), Load<V>(x + k)));
  });
}

// The sum of p ln p.
inline double SumOfLogarithms(const double* p, std::int64_t count) {
  double sum = 0.0;
  for (std::int64_t first = 0; first < count; first += kChunk) {
    const int size = static_cast<int>(std::min<std::int64_t>(kChunk, count - first));
    double terms[kChunk] = {};
    WeightedLogarithms(p + first, p + first, size, terms);
    for (int k = 0; k < size; ++k) sum += terms[k];
  }
  return sum;
}

template <class T>
double SumOfMatrixLogarithms(const MatrixView<T>& p) {
  double sum = 0.0;
  ForEachChunk(p, true, [&sum](int, int, int count, const double* values) {
    double terms[kChunk] = {};
    WeightedLogarithms(values, values, count, terms);
    for (int k = 0; k < count; ++k) sum += terms[k];
  });
  return sum;
}

// The sums of P ln P, and of the weights times ln(px py): the weights are P, or px py where kOfProducts.
template <bool kOfProducts, class T>
JointSums SumForInformation(const MatrixView<T>& p, const double* px, const double* py, bool skipsZeros) {
  JointSums sums;
  ForEachChunk(p, skipsZeros, [&](int i, int first, int count, const double* values) {
    double own[kChunk] = {};
    double products[kChunk];
    double terms[kChunk] = {};
    for (int k = 0; k < count; ++k) products[k] = px[i] * py[first + k];
    WeightedLogarithms(values, values, count, own);
    WeightedLogarithms(kOfProducts ? products : values, products, count, terms);
    for (int k = 0; k < count; ++k) {
      sums.joint += own[k];
      sums.products += terms[k];
    }
  });
  return sums;
}
