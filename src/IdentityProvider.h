#pragma once

#include <string>
#include <utility>
#include <vector>

#include "IdentityRequest.h"

namespace VarnelBase {

/// What the provider's discovery document says (OpenID Connect Discovery 1.0, section 3).
struct IdentityProvider {
    std::string issuer;
    std::string authorizationEndpoint;
    IdentityUrl tokenEndpoint;
    bool announcesIssuer = false; ///< its redirects carry "iss" (RFC 9207)
};

/// This program at the provider.
struct IdentityClient {
    std::string id;
    std::string secret; ///< empty: a public client
    std::string caFile; ///< further trusted certificates (PEM); empty: none
};

/// What the token endpoint answered: tokens, or an error code (RFC 6749, sections 5.1 and 5.2).
struct TokenAnswer {
    std::string accessToken;  ///< not empty without an error
    std::string refreshToken; ///< empty: none was issued
    std::string error;        ///< "invalid_grant" and the like; empty: none
};

/// Reads the issuer's discovery document.
///
/// @throws IdentityError when it cannot be read, is another issuer's, or lacks an endpoint
/// @throws std::runtime_error naming `authHost` when the issuer's address cannot be used
IdentityProvider DiscoverProvider(const std::string& issuer, const std::string& caFile);

/// Where the browser goes to sign in (RFC 6749, section 4.1.1).
std::string BuildAuthorizationUrl(const IdentityProvider& provider, const std::string& query);

/// Fields as application/x-www-form-urlencoded.
std::string BuildForm(const std::vector<std::pair<std::string, std::string>>& fields);

/// An error code fit to be shown; "unknown_error" for a text that is none and may hold a secret.
std::string NameErrorCode(const std::string& text);

/// Sends a form to the token endpoint, once, with the client's authentication. An answer with
/// tokens also tells the provider's clock.
///
/// @throws IdentityError when there is no answer, or one that is neither tokens nor an error code
TokenAnswer RequestTokens(const IdentityProvider& provider, const IdentityClient& client,
                          const std::string& form);

} // namespace VarnelBase
