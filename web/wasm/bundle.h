#pragma once

#include <emscripten/val.h>

#include <cstdint>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <variant>
#include <vector>

#include "mth/Mth_stop_reason.h"

namespace mth_web {

/// What an operation found: arrays, numbers and texts by name. The arrays stay in the module's memory, where
/// JavaScript looks at them, until the bundle is deleted.
class Bundle {
 public:
  /// A new array of so many elements, all 0.
  template <class T>
  T* Add(const std::string& name, std::size_t count) {
    return std::get<std::vector<T>>(arrays_[name] = std::vector<T>(count)).data();
  }
  void AddNumber(const std::string& name, double value) { numbers_[name] = value; }
  void AddText(const std::string& name, std::string text) { texts_[name] = std::move(text); }

  /// @return  a typed array over the module's memory, which the next growth of that detaches; undefined
  ///          without one of that name.
  emscripten::val Array(const std::string& name) const;
  emscripten::val Number(const std::string& name) const;
  emscripten::val Text(const std::string& name) const;

 private:
  using Elements = std::variant<std::vector<std::uint8_t>, std::vector<std::int32_t>, std::vector<float>,
                                std::vector<double>>;
  std::map<std::string, Elements> arrays_;
  std::map<std::string, double> numbers_;
  std::map<std::string, std::string> texts_;
};

/// Ends an operation: JavaScript gets a RangeError of that text.
class BadInput : public std::exception {
 public:
  explicit BadInput(std::string text) : text_(std::move(text)) {}
  const char* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};

/// @throws BadInput, std::bad_alloc  for the reasons that are failures.
void RequireRun(MTH_STOP_REASON reason, const std::string& badInput);
/// "converged" or "iteration cap".
const char* ReasonName(MTH_STOP_REASON reason);

/// Runs `operation`, which fills a bundle; what it throws is told by the texts "error", the kind of error
/// that JavaScript shall throw, and "reason". No exception passes through JavaScript, which would leave the
/// module's stack as it was.
template <class Operation>
Bundle* Guarded(Operation operation) {
  auto found = std::make_unique<Bundle>();
  const auto fail = [&](const char* error, const std::string& reason) {
    found = std::make_unique<Bundle>();
    found->AddText("error", error);
    found->AddText("reason", reason);
  };
  try {
    operation(*found);
  } catch (const BadInput& failure) {
    fail("RangeError", failure.what());
  } catch (const std::bad_alloc&) {
    fail("Error", "not enough memory");
  } catch (const std::exception& failure) {
    fail("Error", failure.what());
  }
  return found.release();
}

/// An address in the module's memory, as JavaScript hands it over; 0 is none.
template <class T>
T* At(double address) {
  return reinterpret_cast<T*>(static_cast<std::uintptr_t>(address));
}

}  // namespace mth_web
