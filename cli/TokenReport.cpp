#include "TokenReport.h"

#include <AccessTokenClaims.h>

#include <array>
#include <cmath>
#include <ctime>

namespace VarnelBase {

namespace {

/// Claims that name the holder, the most readable one first (OpenID Connect Core 1.0, section 5.1).
constexpr std::array<const char*, 3> NameClaims{"preferred_username", "email", "sub"};

constexpr double LastSecond = 253402300799; // the end of the year 9999

std::string FormatTime(double seconds) {
    if (!(std::abs(seconds) <= LastSecond)) { return "at no usable time"; }
    const auto time = static_cast<std::time_t>(seconds);
    std::tm parts{};
    gmtime_r(&time, &parts);
    std::array<char, 32> text{};
    const std::size_t size = std::strftime(text.data(), text.size(), "%FT%TZ", &parts);
    return {text.data(), size};
}

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
    if (expiry) { report["expires"] = FormatTime(*expiry); }
    return report;
}

} // namespace VarnelBase
