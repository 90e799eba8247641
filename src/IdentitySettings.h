#pragma once

#include <chrono>
#include <string>

#include "CallbackPorts.h"
#include "EnvConfig.h"

namespace VarnelBase {

/// How to sign in to one deployment, as far as `EnvConfig` does not say it.
struct IdentitySettings {
    std::string authHost;     ///< URL of the identity provider; empty: there is none
    std::string clientId;     ///< the client that is registered there
    std::string clientSecret; ///< empty: a public client
    std::string scope;        ///< what to ask for, separated by spaces
    std::string groupsClaim;  ///< the access token's claim that holds the groups
    std::string caFile;       ///< further trusted certificates (PEM); empty: the system's alone
    std::chrono::seconds loginTimeout{0}; ///< how long a login in the browser may take
    PortRanges callbackPorts;             ///< where the browser may come back to; none: anywhere
};

/// Reads the variables and the configuration file.
///
/// @throws std::runtime_error naming the variable, or file and key, that cannot be used
IdentitySettings ReadIdentitySettings(Environment environment);

/// The issuer (OpenID Connect Discovery 1.0, section 3): `authHost` alone when the realm is empty,
/// else the realm's address below it.
std::string BuildIssuer(const std::string& authHost, const std::string& realm);

} // namespace VarnelBase
