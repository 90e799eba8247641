#include "AccessTokenClaims.h"

#include <nlohmann/json.hpp>

#include "CryptoText.h"

namespace VarnelBase {

namespace {

using nlohmann::json;

// Far above any header that a server accepts, and well within OpenSSL's int lengths.
constexpr std::size_t MaxTokenBytes = 1 << 20;

/// The claims of a token in JWS compact form (RFC 7515, section 7.1); not an object when it is
/// none.
json ReadClaims(const std::string& token) {
    const std::size_t first = token.find('.');
    const std::size_t second = token.find('.', first + 1);
    if (token.size() > MaxTokenBytes || first == std::string::npos || second == std::string::npos ||
        token.find('.', second + 1) != std::string::npos) {
        return json();
    }
    // Without exceptions: the parse error would quote the token.
    return json::parse(DecodeBase64Url(token.substr(first + 1, second - first - 1)), nullptr,
                       false);
}

std::optional<double> FindNumber(const json& claims, const char* name) {
    const auto claim = claims.find(name);
    if (claim == claims.end() || !claim->is_number()) { return std::nullopt; }
    return claim->get<double>();
}

/// Cold: once a token, and kept out of the code of each request.
[[gnu::cold]] TokenLifetime ParseLifetime(const std::string& token) {
    const json claims = ReadClaims(token);
    if (!claims.is_object()) { return {}; }
    return {FindNumber(claims, "iat"), FindNumber(claims, "exp")};
}

} // namespace

TokenLifetime ReadTokenLifetime(const std::string& token) {
    // The same token is asked about before every request.
    thread_local struct {
        std::string token;
        TokenLifetime lifetime;
    } last;
    if (token != last.token) {
        const TokenLifetime lifetime = ParseLifetime(token);
        last.token = token; // may throw, and then both are as they were
        last.lifetime = lifetime;
    }
    return last.lifetime;
}

std::string ReadTextClaim(const std::string& token, const std::string& claim) {
    const json claims = ReadClaims(token);
    if (!claims.is_object()) { return ""; }
    const auto text = claims.find(claim);
    return text != claims.end() && text->is_string() ? text->get<std::string>() : "";
}

std::string ReadFirstGroup(const std::string& token, const std::string& claim) {
    const json claims = ReadClaims(token);
    if (!claims.is_object()) { return ""; }
    const auto groups = claims.find(claim);
    if (groups == claims.end() || groups->empty()) { return ""; }
    const json& first = groups->is_array() ? groups->front() : *groups;
    if (!first.is_string()) { return ""; }

    const auto& path = first.get_ref<const std::string&>();
    const std::size_t begin = path.rfind('/', 0) == 0 ? 1 : 0;
    return path.substr(begin, path.find('/', begin) - begin);
}

} // namespace VarnelBase
