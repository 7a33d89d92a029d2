#pragma once

#include <nlohmann/json.hpp>
#include <string>

namespace example {

using Json = nlohmann::ordered_json;

/// The report as a text for a file; a path that is not UTF-8 gets replacement characters, what is no finite
/// number null.
inline std::string JsonText(const Json& json) {
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace example
