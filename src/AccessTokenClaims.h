#pragma once

#include <optional>
#include <string>

namespace VarnelBase {

/// When a token was issued and expires, in seconds since 1970-01-01 UTC (RFC 7519, section 2).
struct TokenLifetime {
    std::optional<double> issuedAt; ///< claim "iat"
    std::optional<double> expiry;   ///< claim "exp"
};

/// Reads the lifetime out of a signed JSON Web Token (RFC 7519) without checking its signature.
/// Both are empty if the text is not such a token.
TokenLifetime ReadTokenLifetime(const std::string& token);

/// Reads a claim that is a text out of a signed JSON Web Token without checking its signature.
/// Empty without one.
std::string ReadTextClaim(const std::string& token, const std::string& claim);

/// Reads the first group out of a signed JSON Web Token without checking its signature: the claim's
/// text, or its first element, without one leading "/" and up to the next "/". Empty without one.
std::string ReadFirstGroup(const std::string& token, const std::string& claim);

} // namespace VarnelBase
