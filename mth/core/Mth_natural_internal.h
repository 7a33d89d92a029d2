#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>

namespace mth_internal {

/// A natural number of up to 4096 bits, which no conversion between decimal text and doubles exceeds.
class Natural {
 public:
  explicit Natural(std::uint64_t value = 0)
      : words_{static_cast<std::uint32_t>(value), static_cast<std::uint32_t>(value >> 32)}, count_(2) {
    Trim();
  }

  bool IsZero() const { return count_ == 0; }
  std::uint64_t LowBits() const {
    return (count_ > 0 ? words_[0] : 0u) | std::uint64_t{count_ > 1 ? words_[1] : 0u} << 32;
  }
  int BitLength() const {
    return count_ == 0 ? 0 : 32 * count_ - std::countl_zero(words_[Index(count_ - 1)]);
  }
  bool Bit(int position) const {
    return position / 32 < count_ && ((words_[Index(position / 32)] >> (position % 32)) & 1u) != 0;
  }
  /// Whether any bit below that position is set.
  bool HasBitsBelow(int position) const {
    for (int i = 0; i < count_ && 32 * i < position; ++i) {
      const int bits = position - 32 * i;
      const std::uint32_t mask = bits >= 32 ? ~0u : (1u << bits) - 1u;
      if ((words_[Index(i)] & mask) != 0) return true;
    }
    return false;
  }

  void MultiplyAdd(std::uint32_t factor, std::uint32_t term) {
    std::uint64_t carry = term;
    for (int i = 0; i < count_; ++i) {
      carry += std::uint64_t{words_[Index(i)]} * factor;
      words_[Index(i)] = static_cast<std::uint32_t>(carry);
      carry >>= 32;
    }
    if (carry != 0) words_[Index(count_++)] = static_cast<std::uint32_t>(carry);
  }
  /// @param base  at most 10.
  void MultiplyByPower(std::uint32_t base, int exponent) {
    constexpr int kAtOnce = 9;
    std::uint32_t power = 1;
    for (int i = 0; i < kAtOnce; ++i) power *= base;
    for (; exponent >= kAtOnce; exponent -= kAtOnce) MultiplyAdd(power, 0);
    for (; exponent > 0; --exponent) MultiplyAdd(base, 0);
  }
  void ShiftLeft(int bits) {
    const int words = bits / 32;
    for (int i = count_ - 1; i >= 0; --i) words_[Index(i + words)] = words_[Index(i)];
    for (int i = 0; i < words; ++i) words_[Index(i)] = 0;
    if (count_ != 0) count_ += words;
    MultiplyAdd(1u << (bits % 32), 0);
  }
  void ShiftRight(int bits) {
    const int words = bits / 32;
    for (int i = 0; i + words < count_; ++i) {
      const std::uint64_t high = i + words + 1 < count_ ? words_[Index(i + words + 1)] : 0u;
      words_[Index(i)] = static_cast<std::uint32_t>((high << 32 | words_[Index(i + words)]) >> (bits % 32));
    }
    count_ = words < count_ ? count_ - words : 0;
    Trim();
  }
  /// Divides by `divisor`. @return the remainder.
  std::uint32_t Divide(std::uint32_t divisor) {
    std::uint64_t remainder = 0;
    for (int i = count_ - 1; i >= 0; --i) {
      remainder = remainder << 32 | words_[Index(i)];
      words_[Index(i)] = static_cast<std::uint32_t>(remainder / divisor);
      remainder %= divisor;
    }
    Trim();
    return static_cast<std::uint32_t>(remainder);
  }
  void AddOne() {
    for (int i = 0; i < count_; ++i) {
      if (++words_[Index(i)] != 0) return;
    }
    words_[Index(count_++)] = 1;
  }
  /// Takes away `other`, which is not larger.
  void Subtract(const Natural& other) {
    std::uint64_t borrow = 0;
    for (int i = 0; i < count_; ++i) {
      const std::uint64_t taken = (i < other.count_ ? other.words_[Index(i)] : 0u) + borrow;
      borrow = words_[Index(i)] < taken ? 1 : 0;
      words_[Index(i)] -= static_cast<std::uint32_t>(taken);
    }
    Trim();
  }
  bool operator<(const Natural& other) const {
    if (count_ != other.count_) return count_ < other.count_;
    for (int i = count_ - 1; i >= 0; --i) {
      if (words_[Index(i)] != other.words_[Index(i)]) return words_[Index(i)] < other.words_[Index(i)];
    }
    return false;
  }

 private:
  static std::size_t Index(int i) { return static_cast<std::size_t>(i); }
  void Trim() {
    while (count_ > 0 && words_[Index(count_ - 1)] == 0) --count_;
  }

  std::array<std::uint32_t, 128> words_;  // the lowest one first; those from count_ on mean nothing
  int count_;                             // without leading zeros
};

}  // namespace mth_internal
