#pragma once

#include <string>

#include "EnvConfig.h"
#include "IdentityProvider.h"
#include "SessionSettings.h"

namespace VarnelBase {

/// Requests for tokens, one for each grant. All discover the provider first.
///
/// @throws IdentityRefusal when the provider says no
/// @throws IdentityError when it cannot be asked, or its answer is of no use

/// For the code that a browser has come back with (RFC 6749, section 4.1.3).
///
/// @param form ends with the field "nonce", which is not sent, but must be in an ID token that
///             comes (OpenID Connect Core 1.0, section 3.1.3.7)
TokenAnswer RequestByCode(const SessionSettings& session, const std::string& issuer,
                          std::string form);

/// For a refresh token (RFC 6749, section 6).
TokenAnswer RequestByRefresh(const SessionSettings& session, const std::string& issuer,
                             const std::string& refreshToken);

/// For user name and password (RFC 6749, section 4.3), unless the password was refused less than a
/// minute ago.
TokenAnswer RequestByPassword(const SessionSettings& session, const std::string& issuer,
                              const EnvConfig& config);

/// Throws IdentityRefusal saying what was refused, if anything was.
void RequireConsent(const std::string& issuer, const std::string& what, const Refusal& refusal);

} // namespace VarnelBase
