// JSON for other programs.
#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace OMB::tool {

/// Whole lines. What is no UTF-8 in a name does not fail; it is replaced.
inline std::string jsonText(const nlohmann::ordered_json& value) {
  return value.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace OMB::tool
