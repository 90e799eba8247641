#include "commands/TokenReport.h"

#include <AccessTokenClaims.h>

#include <array>

#include "output/UtcTime.h"

namespace VarnelBase {

namespace {

/// Claims that name the holder, the most readable one first (OpenID Connect Core 1.0, section 5.1).
constexpr std::array<const char*, 3> NameClaims{"preferred_username", "email", "sub"};

} // namespace

nlohmann::json ReportToken(const std::string& token, const std::string& groupsClaim) {
    nlohmann::json report = nlohmann::json::object();
    for (const char* claim : NameClaims) {
        // A name holds no "/", which is all that sets a claim of text apart from a group.
        const std::string name = ReadFirstGroup(token, claim);
        if (!name.empty()) {
            report["user"] = name;
            break;
        }
    }
    const std::string group = ReadFirstGroup(token, groupsClaim);
    if (!group.empty()) { report["group"] = group; }
    const auto expiry = ReadTokenLifetime(token).expiry;
    if (expiry) { report["expires"] = FormatUtcTime(*expiry); }
    return report;
}

} // namespace VarnelBase
