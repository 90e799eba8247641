#include "session/TokenReport.h"

#include <AccessTokenClaims.h>
#include <TokenLifetimes.h>
#include <UtcTime.h>

#include <array>

namespace VarnelBase {

namespace {

/// Claims that name the holder, the most readable one first (OpenID Connect Core 1.0, section 5.1).
constexpr std::array<const char*, 3> NameClaims{"preferred_username", "email", "sub"};

/// A claim may hold any number.
std::string FormatExpiry(double seconds) {
    const double milliseconds = seconds * 1000;
    return milliseconds >= FirstTime && milliseconds <= LastTime
               ? FormatUtcTime(static_cast<std::int64_t>(milliseconds))
               : "unknown";
}

} // namespace

nlohmann::json ReportToken(const std::string& token, const std::string& groupsClaim) {
    nlohmann::json report = nlohmann::json::object();
    for (const char* claim : NameClaims) {
        const std::string name = ReadTextClaim(token, claim);
        if (!name.empty()) {
            report["user"] = name;
            break;
        }
    }
    const std::string group = ReadFirstGroup(token, groupsClaim);
    if (!group.empty()) { report["group"] = group; }
    const auto expiry = FindTokenLifetime(token).expiry;
    if (expiry) { report["expires"] = FormatExpiry(*expiry); }
    return report;
}

} // namespace VarnelBase
