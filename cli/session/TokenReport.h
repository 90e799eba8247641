#pragma once

#include <nlohmann/json.hpp>

#include <string>

namespace VarnelBase {

/// What an access token says of its holder, without the token: "user", "group" and "expires" (RFC
/// 3339), as far as they are present. The token's signature is not checked.
nlohmann::json ReportToken(const std::string& token, const std::string& groupsClaim);

} // namespace VarnelBase
