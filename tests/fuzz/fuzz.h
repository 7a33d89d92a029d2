#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "mth/Mth.h"
#include "mth/core/Mth_instruction_set_internal.h"
#include "std/Std.h"

/// @file
/// What the fuzzers share. A fuzzer is one function over bytes, TryInput: it builds its structured input from
/// them, runs a family of operations and aborts, by Require, when an oracle disagrees. libFuzzer calls it
/// where clang has one; otherwise fuzz_main.cpp does, with the inputs of the corpus and random ones. More
/// than 10^8 inputs have been run so, most of them guided; what they found is mended, and its inputs are the
/// corpus.

/// Ends the program at a finding, after telling where it is.
#define Require(condition)                                                 \
  do {                                                                     \
    if (!(condition)) {                                                    \
      std::fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #condition); \
      std::abort();                                                        \
    }                                                                      \
  } while (false)

namespace mth_fuzz {

void TryInput(const std::uint8_t* bytes, std::size_t count);

/// Bytes that become numbers; zeros after their end.
class Input {
 public:
  Input(const std::uint8_t* bytes, std::size_t count) : next_(bytes), end_(bytes + count) {}

  /// Whether bytes are left.
  bool HasMore() const { return next_ != end_; }
  std::uint8_t Byte() { return next_ != end_ ? *next_++ : std::uint8_t{0}; }
  /// A whole number in [low, high].
  int Whole(int low, int high) {
    const std::uint32_t value = Bits<std::uint32_t>();
    const std::uint64_t span = static_cast<std::uint64_t>(std::int64_t{high} - low) + 1;
    return static_cast<int>(low + static_cast<std::int64_t>(value % span));
  }
  /// A size in [low, high]: mostly one of the lowest, where the edges are and a run costs least.
  int Size(int low, int high) {
    const std::uint8_t kind = Byte();
    return kind < 224 ? std::min(high, low + kind % 7) : Whole(low, high);
  }
  template <class T>
  T Bits() {
    T value{};
    for (std::size_t i = 0; i < sizeof value; ++i) value = static_cast<T>(value << 8 | Byte());
    return value;
  }

  /// A finite number: mostly small and whole, so that ties and exact zeros occur; else of any size.
  double Finite() {
    const std::uint8_t kind = Byte();
    if (kind < 100) return Whole(-4, 4);
    if (kind < 180) return Whole(-1000000, 1000000) / 1000.0;
    if (kind < 200) {
      const int exponent = Whole(-1060, 1000);  // drawn one by one: compilers evaluate arguments in any order
      return std::ldexp(Whole(-1000, 1000), exponent);
    }
    if (kind < 210) return 1.0 + std::ldexp(Whole(-4, 4), -52);
    const auto bits = Bits<std::uint64_t>();
    double value = 0.0;
    std::memcpy(&value, &bits, sizeof value);
    return std::isfinite(value) ? value : 0.0;
  }
  /// A number of moderate size.
  double Moderate() { return Byte() < 128 ? Whole(-8, 8) : Whole(-1000000, 1000000) / 999.0; }
  /// Any number, infinities and NaN included.
  double Any() {
    constexpr double kInfinity = std::numeric_limits<double>::infinity();
    switch (Byte()) {
      case 0:
        return std::numeric_limits<double>::quiet_NaN();
      case 1:
        return kInfinity;
      case 2:
        return -kInfinity;
      case 3:
        return -0.0;
      default:
        return Finite();
    }
  }

  template <class Draw>
  std::vector<double> Numbers(int count, Draw draw) {
    std::vector<double> numbers(static_cast<std::size_t>(count));
    for (double& number : numbers) number = (this->*draw)();
    return numbers;
  }
  template <class Draw>
  MTH_MATRIX Matrix(int rows, int columns, int type, Draw draw) {
    MTH_MATRIX matrix(rows, columns, type);
    for (int i = 0; i < rows; ++i) {
      for (int j = 0; j < columns; ++j) matrix.Set(i, j, (this->*draw)());
    }
    return matrix;
  }

 private:
  const std::uint8_t* next_;
  const std::uint8_t* end_;
};

/// Takes the library's messages and requires that each is one that its headers document.
class DocumentedMessages : public STD_DISPLAY {
 public:
  int ShowMessage(const std::string& text, MessageKind kind, const std::string& caption) override;
  std::unique_ptr<STD_WAIT_BAR_VIEW> CreateWaitBarView() override { return nullptr; }

 private:
  STD_DISPLAY_SCOPE scope_{this};
};

/// The bits of results one after the other; all NaN are one.
class Results {
 public:
  void Add(double value) {
    if (std::isnan(value)) value = std::numeric_limits<double>::quiet_NaN();
    Append(&value, sizeof value);
  }
  template <class T>
  requires std::is_integral_v<T>
  void Add(T value) { Append(&value, sizeof value); }
  void Add(const double* values, std::size_t count) {
    Add(values != nullptr);
    for (std::size_t i = 0; values != nullptr && i < count; ++i) Add(values[i]);
  }
  void Add(const MTH_MATRIX* matrix) {
    Add(matrix != nullptr);
    if (matrix == nullptr) return;
    Add(matrix->GetStatusError());
    for (int i = 0; i < matrix->GetNbRows(); ++i) {
      for (int j = 0; j < matrix->GetNbCols(); ++j) Add(matrix->Get(i, j));
    }
  }
  bool operator==(const Results&) const = default;

 private:
  void Append(const void* value, std::size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(value);
    bytes_.insert(bytes_.end(), bytes, bytes + size);
  }
  std::vector<unsigned char> bytes_;
};

/// Runs an operation once per instruction set; all must add the same results.
template <class Operation>
void RequireSameBits(Operation operation) {
  using mth_internal::InstructionSet;
  Results best;
  operation(best);
  for (const auto set : {InstructionSet::Baseline, InstructionSet::Avx2}) {
    const mth_internal::InstructionSetScope scope(set);
    Results lower;
    operation(lower);
    Require(lower == best);
  }
}

}  // namespace mth_fuzz
