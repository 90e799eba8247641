#pragma once

#include <chrono>
#include <string>
#include <utility>
#include <vector>

#include "IdentityRequest.h"

namespace VarnelBase {

/// The provider's discovery document (OpenID Connect Discovery 1.0, section 3).
struct IdentityProvider {
    std::string issuer;
    std::string authorizationEndpoint;
    IdentityUrl tokenEndpoint;
    std::string deviceEndpoint;     ///< RFC 8628; empty: not offered
    std::string revocationEndpoint; ///< RFC 7009; empty: not offered
    bool announcesIssuer = false;   ///< its redirects carry "iss" (RFC 9207)
    bool isSecretInForm = false;    ///< the client's secret goes into the form, not into HTTP Basic
    std::string date;               ///< the header of that name that came with the document
};

/// This program at the provider.
struct IdentityClient {
    std::string id;
    std::string secret; ///< empty: a public client
    std::string caFile; ///< further trusted certificates (PEM); empty: none
    std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
};

/// The provider refused (RFC 6749, section 5.2).
struct Refusal {
    std::string error;  ///< "invalid_grant", for example, else "status 403"; empty: no refusal
    std::string reason; ///< for people, fit to be shown; may be empty
};

/// An answer of the token endpoint: tokens (RFC 6749, section 5.1) or a refusal.
struct TokenAnswer {
    std::string accessToken;  ///< not empty without a refusal
    std::string refreshToken; ///< empty: none was issued
    std::string idToken;      ///< empty: none was issued
    Refusal refusal;
};

using FormFields = std::vector<std::pair<std::string, std::string>>;

/// Reads the issuer's discovery document.
///
/// @throws IdentityError when it cannot be read, is another issuer's, or lacks an endpoint
/// @throws std::runtime_error naming `authHost` when the issuer's address cannot be used
IdentityProvider DiscoverProvider(const std::string& issuer, const IdentityClient& client);

/// The address that the browser opens for signing in (RFC 6749, section 4.1.1).
std::string BuildAuthorizationUrl(const IdentityProvider& provider, const std::string& query);

/// Fields as application/x-www-form-urlencoded.
std::string BuildForm(const FormFields& fields);

/// An error code that is safe to show; "unknown_error" for other text, which may contain a secret.
std::string NameErrorCode(const std::string& text);

/// A provider's words made safe to show: one line, no control characters, at most 200 bytes. Empty
/// if they quote a secret from the form.
std::string CleanReason(const std::string& text, const std::string& form);

/// What was refused and why, and what to do about it.
std::string DescribeRefusal(const std::string& what, const Refusal& refusal);

/// Whether the client or its way of asking was refused, rather than the person or the session.
bool IsAboutClient(const Refusal& refusal);

/// Sends a form to one of the provider's endpoints, once, with the client's authentication.
///
/// @param where names the endpoint in errors
/// @throws IdentityError when there is no answer, or the provider asks for a pause (status 429 or
///         503), which later requests respect
IdentityAnswer SendForm(const IdentityUrl& endpoint, const IdentityProvider& provider,
                        const IdentityClient& client, std::string form, const std::string& where);

/// Sends a form to the token endpoint, once. An answer with tokens also tells the provider's clock
/// and, for a token that does not state it, the lifetime.
///
/// @throws IdentityError when the answer is missing, or neither tokens nor a refusal
TokenAnswer RequestTokens(const IdentityProvider& provider, const IdentityClient& client,
                          const std::string& form);

/// What was refused by a status from 400 to 499.
Refusal ReadRefusal(const IdentityAnswer& answer, const std::string& form);

} // namespace VarnelBase
