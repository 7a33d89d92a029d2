#include "bundle.h"

#include <emscripten/bind.h>

namespace mth_web {

using emscripten::val;

namespace {

template <class Values>
val Found(const Values& values, const std::string& name) {
  const auto found = values.find(name);
  return found == values.end() ? val::undefined() : val(found->second);
}

}  // namespace

val Bundle::Array(const std::string& name) const {
  const auto found = arrays_.find(name);
  if (found == arrays_.end()) return val::undefined();
  return std::visit(
      [](const auto& values) { return val(emscripten::typed_memory_view(values.size(), values.data())); },
      found->second);
}

val Bundle::Number(const std::string& name) const {
  return Found(numbers_, name);
}

val Bundle::Text(const std::string& name) const {
  return Found(texts_, name);
}

void RequireRun(MTH_STOP_REASON reason, const std::string& badInput) {
  if (reason == MTH_STOP_REASON::NoMemory) throw std::bad_alloc();
  if (reason == MTH_STOP_REASON::BadInput) throw BadInput(badInput);
  if (reason == MTH_STOP_REASON::NotFinite) throw BadInput("values are not finite");
}

const char* ReasonName(MTH_STOP_REASON reason) {
  if (reason == MTH_STOP_REASON::Converged) return "converged";
  return reason == MTH_STOP_REASON::IterationCap ? "iteration cap" : "bad input";
}

EMSCRIPTEN_BINDINGS(mth_bundle) {
  emscripten::class_<Bundle>("Bundle")
      .function("array", &Bundle::Array)
      .function("number", &Bundle::Number)
      .function("text", &Bundle::Text);
}

}  // namespace mth_web
