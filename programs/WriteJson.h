#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace VarnelBase {

/// Compact text of a document. Bytes that are not UTF-8 become U+FFFD.
inline std::string WriteJson(const nlohmann::json& document) {
    return document.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace VarnelBase
