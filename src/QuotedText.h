#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace VarnelBase {

/// A text as a JSON string in ASCII, so that it cannot distort the message around it.
inline std::string QuoteText(const std::string& text) {
    return nlohmann::json(text).dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

} // namespace VarnelBase
