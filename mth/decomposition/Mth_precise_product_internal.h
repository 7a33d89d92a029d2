#pragma once

#include <cstdint>

#include "mth/core/Mth_work_array_internal.h"

namespace mth_internal {

/// head becomes the rounded sum of both, tail what that leaves.
inline void AddExactly(double* head, double* tail) {
  const double sum = *head + *tail;
  const double share = sum - *head;
  *tail = (*head - (sum - share)) + (*tail - share);
  *head = sum;
}

/// Rows of sums head + tail that are not evaluated, of about twice the digits of double.
struct PreciseMatrix {
  double* heads;
  double* tails;
  std::int64_t rows;
  std::int64_t columns;
  std::int64_t Count() const { return rows * columns; }
  /// Adds head + tail to an element.
  void Add(std::int64_t index, double head, double tail = 0.0) const {
    AddExactly(heads + index, &head);
    tails[index] += head + tail;
    AddExactly(heads + index, tails + index);
  }
};

/// Products of doubles with such matrices. Both factors are cut into slices of so few bits that products and
/// sums of the slices that count are exact, whatever the order: the ordinary product serves, at its speed
/// (Ozaki, Ogita, Oishi and Rump, Numerical Algorithms 59 (2012) 95-118).
class PreciseProduct {
 public:
  /// For factors of up to so many rows and columns.
  explicit PreciseProduct(std::int64_t size);
  explicit operator bool() const { return static_cast<bool>(memory_); }

  /// result = left x right. What is lost is about 2^-95 of the largest element of a row of `left` times that
  /// of a column of `right`.
  /// @return  false when the host gives up.
  bool Find(const double* left, const PreciseMatrix& right, const PreciseMatrix& result) const;

 private:
  double* Work(int index) const { return memory_.Get() + index * size_ * size_; }
  std::int64_t size_;
  WorkArray<double> memory_;
};

}  // namespace mth_internal
