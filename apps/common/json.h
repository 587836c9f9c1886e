// JSON objects, whose members keep the order in which they are given.
#pragma once

#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace ulmar::apps {

using Json = nlohmann::ordered_json;

inline Json orNull(const std::optional<double>& value) {
  return value ? Json(*value) : Json();
}

/// Indented lines. File names need not be UTF-8, which JSON must be: bytes that are not
/// are replaced.
inline std::string textOf(const Json& json) {
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + '\n';
}

}  // namespace ulmar::apps
