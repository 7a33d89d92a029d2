#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "mth/Mth.h"

/// @file
/// Every public operation of the library on fixed ordinary input: what the programs run that compare the bits
/// of two builds, fail allocations or unmask traps.
///
/// An entry prepares its input, hands each call of the library to its trial and lets the trial count what
/// comes out. Input is made without the C library's mathematics and without the standard library's
/// distributions, so that it is the same on every machine.

namespace mth_test {

/// One run of one operation: calls it, and sums its results up in a hash. A subclass arms what it watches for
/// around each call of the library, and nothing around the preparation of input.
class Trial {
 public:
  virtual ~Trial() = default;

  /// Runs a call of the library and gives its result back.
  template <class Call>
  decltype(auto) Run(Call call) {
    const Armed armed(*this);
    return call();
  }

  /// Runs a call and counts its result; an object that comes as a pointer without const is the caller's.
  /// @param failures  what the call answers without memory, a status for a matrix; with none: false, null, an
  ///                  unallocated matrix of status 1, and of a number nothing but the result itself.
  template <class Call, class... Failures>
  void operator()(Call call, Failures... failures) {
    using Result = std::remove_cvref_t<decltype(call())>;
    if constexpr (std::is_void_v<Result>) {
      Run(call);
    } else if constexpr (IsNewObject<Result>) {
      const std::unique_ptr<std::remove_pointer_t<Result>> made(Run(call));
      CountResult(static_cast<const std::remove_pointer_t<Result>*>(made.get()), failures...);
    } else {
      CountResult(Run(call), failures...);
    }
  }

  void Count(double value);
  void Count(float value);
  void Count(std::integral auto value) {
    CountBits(static_cast<std::uint64_t>(static_cast<std::int64_t>(value)));
  }
  void Count(const std::string& text);
  void Count(const char* text) { Count(std::string(text)); }
  void Count(const MTH_MATRIX& matrix);
  void Count(const MTH_COMPLEX& value);
  void Count(const MTH_XY_PLOT& curve);
  void Count(const MTH_CLUSTERING_SAMPLE& sample);
  void Count(const MTH_CLUSTERING_TREE& tree);
  template <class T>
  void Count(const MTH_2D_POINT<T>& point) {
    CountAll(point.GetX(), point.GetY());
  }
  template <class T>
  void Count(const MTH_3D_POINT<T>& point) {
    CountAll(point.GetX(), point.GetY(), point.GetZ());
  }
  template <class T>
  void Count(const MTH_3D_VECTOR<T>& vector) {
    CountAll(vector.GetX(), vector.GetY(), vector.GetZ(), vector.GetNorm());
  }
  template <class T>
  void Count(const std::vector<T>& values) {
    Count(values.data(), static_cast<std::ptrdiff_t>(values.size()));
  }
  /// What is borrowed, or null.
  template <class T>
  requires std::is_class_v<T>
  void Count(const T* object) {
    Count(object != nullptr);
    if (object != nullptr) Count(*object);
  }
  /// An array, or null.
  template <class T>
  void Count(const T* values, std::ptrdiff_t count) {
    Count(values != nullptr);
    for (std::ptrdiff_t i = 0; values != nullptr && i < count; ++i) Count(values[i]);
  }
  template <class... Values>
  void CountAll(const Values&... values) {
    (Count(values), ...);
  }

  std::uint64_t Hash() const { return hash_; }
  /// How many of the numbers counted were infinite or none.
  int NotFinite() const { return notFinite_; }

 protected:
  virtual void Arm() {}
  virtual void Disarm() {}
  /// After each call: the hash of its result alone, and whether that is what it answers without memory.
  virtual void Judge(std::uint64_t /*hash*/, bool /*isFailure*/) {}

 private:
  template <class Result, class... Failures>
  void CountResult(const Result& result, Failures... failures) {
    Trial alone;
    alone.Count(result);
    Judge(alone.Hash(), IsFailure(result, failures...));
    Count(result);
  }

  template <class Result, class... Failures>
  static bool IsFailure(const Result& result, Failures... failures) {
    if constexpr (std::is_base_of_v<MTH_MATRIX, Result>) {
      const int status = result.GetStatusError();
      return !result.IsAllocated() &&
             (sizeof...(failures) == 0 ? status == 1 : ((status == failures) || ...));
    } else if constexpr (std::is_pointer_v<Result>) {
      if (result == nullptr) return true;
      if constexpr (std::is_class_v<std::remove_pointer_t<Result>>) return IsFailure(*result, failures...);
      return false;
    } else if constexpr (std::is_same_v<Result, bool>) {
      return !result;
    } else if constexpr (std::is_arithmetic_v<Result>) {
      return ((result == static_cast<Result>(failures) || (result != result && failures != failures)) || ...);
    } else {
      return false;
    }
  }

  template <class T>
  static constexpr bool IsNewObject = std::is_pointer_v<T>&& std::is_class_v<std::remove_pointer_t<T>> &&
                                      !std::is_const_v<std::remove_pointer_t<T>>;

  class Armed {
   public:
    explicit Armed(Trial& trial) : trial_(trial) { trial_.Arm(); }
    ~Armed() { trial_.Disarm(); }
    Armed(const Armed&) = delete;
    Armed& operator=(const Armed&) = delete;

   private:
    Trial& trial_;
  };

  void CountBits(std::uint64_t bits);

  std::uint64_t hash_ = 0xcbf29ce484222325u;
  int notFinite_ = 0;
};

struct Operation {
  std::string name;  ///< room/operation/variant, without spaces
  std::function<void(Trial&)> run;
};
using Operations = std::vector<Operation>;

/// All of them, sorted by name. Whoever runs them installs a display first: some show messages or progress.
Operations AllOperations();

/// One function per room, each in its own source; a new operation goes to the source of its room.
void AddValueOperations(Operations& operations);
void AddMatrixOperations(Operations& operations);
void AddDecompositionOperations(Operations& operations);
void AddStatisticsOperations(Operations& operations);
void AddImageOperations(Operations& operations);
void AddWaveletOperations(Operations& operations);
void AddDenoisingOperations(Operations& operations);
void AddTissueOperations(Operations& operations);
void AddCurveOperations(Operations& operations);
void AddCostOperations(Operations& operations);
void AddMinimiserOperations(Operations& operations);
void AddGeometryOperations(Operations& operations);
void AddClusteringOperations(Operations& operations);
void AddEvidentialOperations(Operations& operations);
void AddBoostingOperations(Operations& operations);

/// Both element types, with their names.
struct ElementType {
  int type;
  const char* name;
};
inline constexpr ElementType kElementTypes[] = {{0, "double"}, {1, "float"}};

/// Uniform numbers of [-1, 1), the same on every machine.
class Numbers {
 public:
  explicit Numbers(unsigned seed) : state_(seed) {}
  double operator()();
  /// One of [0, 1).
  double Positive() { return ((*this)() + 1.0) / 2.0; }
  /// A whole one of [0, count).
  int Below(int count) { return static_cast<int>(Positive() * count); }

 private:
  std::uint64_t state_;
};

/// That many numbers of [low, high).
std::vector<double> Values(int count, unsigned seed, double low = -1.0, double high = 1.0);
std::vector<float> FloatValues(int count, unsigned seed, double low = -1.0, double high = 1.0);
MTH_MATRIX Matrix(int rows, int columns, int type, unsigned seed, double low = -1.0, double high = 1.0);
std::vector<MTH_3D_DOUBLE> Points(int count, unsigned seed);

/// "5x7".
std::string Shape(int rows, int columns);

/// Counts matrices that a call hands out through pointers, and frees them.
template <class... Matrices>
void CountOwned(Trial& trial, Matrices*... matrices) {
  (trial.Count(std::unique_ptr<MTH_MATRIX>(matrices).get()), ...);
}

}  // namespace mth_test
