#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace VarnelBase {

/// The service's words in an error document of one of the common shapes:
/// {"error": {"code", "message"}}, the same without "error", {"error", "error_description"} (RFC
/// 6749), and problem details (RFC 9457).
struct ErrorWords {
    std::string code;
    std::string message;
};

ErrorWords ReadErrorDocument(const nlohmann::json& document);

} // namespace VarnelBase
