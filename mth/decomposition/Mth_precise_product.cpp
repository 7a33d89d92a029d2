#include <algorithm>
#include <cmath>

#include "mth/decomposition/Mth_precise_product_internal.h"
#include "mth/matrix/Mth_product_kernel_internal.h"

namespace mth_internal {
namespace {

constexpr double kLargest = 0x1p900;  // beyond it there are no slices, and the products are ordinary ones

// The bits of a slice: products of two, `inner` of them summed, are integers of at most 53 bits.
int BitsOfSlices(std::int64_t inner) {
  int bits = 53;
  for (std::int64_t count = 1; count < inner; count *= 2) --bits;
  return bits / 2;
}

// What rounds numbers of up to this magnitude to so many bits when it is added and subtracted.
double RounderOf(double largest, int bits) {
  if (!(largest > 0.0 && largest < kLargest)) return 0.0;
  return std::ldexp(1.5, std::ilogb(largest) + 1 - bits + 52);
}

double Round(double x, double rounder) {
  return (x + rounder) - rounder;
}

// The slices of one factor, the last of which is what the others leave.
struct Slices {
  double* first;
  double* second;
  double* third;
};

void CutRows(const double* elements, std::int64_t rows, std::int64_t columns, int bits,
             const Slices& slices) {
  for (std::int64_t i = 0; i < rows; ++i) {
    const double* row = elements + i * columns;
    double largest = 0.0;
    for (std::int64_t j = 0; j < columns; ++j) largest = std::max(largest, std::abs(row[j]));
    const double rounder = RounderOf(largest, bits);
    const double finer = std::ldexp(rounder, -bits);
    for (std::int64_t j = 0, k = i * columns; j < columns; ++j, ++k) {
      slices.first[k] = Round(row[j], rounder);
      slices.second[k] = Round(row[j] - slices.first[k], finer);
      slices.third[k] = row[j] - slices.first[k] - slices.second[k];
    }
  }
}

// @param rounders  work, one for each column.
void CutColumns(const PreciseMatrix& matrix, int bits, double* rounders, const Slices& slices) {
  std::fill_n(rounders, matrix.columns, 0.0);
  for (std::int64_t k = 0; k < matrix.Count(); k += matrix.columns) {
    for (std::int64_t j = 0; j < matrix.columns; ++j)
      rounders[j] = std::max(rounders[j], std::abs(matrix.heads[k + j]));
  }
  for (std::int64_t j = 0; j < matrix.columns; ++j) rounders[j] = RounderOf(rounders[j], bits);
  const double finer = std::ldexp(1.0, -bits);
  for (std::int64_t k = 0; k < matrix.Count(); k += matrix.columns) {
    for (std::int64_t j = 0; j < matrix.columns; ++j) {
      const double head = matrix.heads[k + j];
      const double first = Round(head, rounders[j]);
      const double second = Round(head - first, rounders[j] * finer);
      slices.first[k + j] = first;
      slices.second[k + j] = second;
      slices.third[k + j] = head - first - second + matrix.tails[k + j];
    }
  }
}

}  // namespace

PreciseProduct::PreciseProduct(std::int64_t size) : size_(size), memory_(7 * size * size + size) {}

bool PreciseProduct::Find(const double* left, const PreciseMatrix& right, const PreciseMatrix& result) const {
  const std::int64_t inner = right.rows;
  const int bits = BitsOfSlices(inner);
  const Slices a{Work(0), Work(1), Work(2)};
  const Slices b{Work(3), Work(4), Work(5)};
  CutRows(left, result.rows, inner, bits, a);
  CutColumns(right, bits, Work(7), b);
  double* product = Work(6);
  const std::int64_t count = result.Count();
  const auto multiply = [&](const double* x, const double* y, double* target) {
    return MultiplyUnlessGivenUp<double>({x, y, target, result.rows, inner, right.columns});
  };
  if (!multiply(a.first, b.first, result.heads)) return false;
  std::fill_n(result.tails, count, 0.0);
  const auto add = [&](const double* x, const double* y) {
    if (!multiply(x, y, product)) return false;
    for (std::int64_t k = 0; k < count; ++k) result.Add(k, product[k]);
    return true;
  };
  if (!add(a.first, b.second) || !add(a.second, b.first)) return false;
  // What is rounded from here on is small.
  if (!add(a.first, b.third) || !add(a.third, right.heads)) return false;
  for (std::int64_t k = 0; k < right.Count(); ++k) b.second[k] += b.third[k];
  return add(a.second, b.second);
}

}  // namespace mth_internal
