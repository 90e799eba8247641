#pragma once

#include <chrono>
#include <string>

#include "CallbackPorts.h"
#include "EnvConfig.h"

namespace VarnelBase {

/// The settings for signing in to one environment that `EnvConfig` does not hold.
struct IdentitySettings {
    std::string authHost;                 ///< URL of the identity provider; empty if none is set
    std::string clientId;                 ///< the client that is registered there
    std::string clientSecret;             ///< empty: a public client
    std::string scope;                    ///< the scopes to request, separated by spaces
    std::string groupsClaim;              ///< the claim that lists the groups
    std::string caFile;                   ///< certificates (PEM) to trust in addition
    std::chrono::seconds loginTimeout{0}; ///< for a browser login
    PortRanges callbackPorts;             ///< for the callback; none: any port
};

/// Reads the variables and the configuration file.
///
/// @throws std::runtime_error naming the variable, or the file and key, that is unusable
IdentitySettings ReadIdentitySettings(Environment environment);

/// The issuer (OpenID Connect Discovery 1.0, section 3): `authHost`, followed by the realm's path
/// if there is a realm.
std::string BuildIssuer(const std::string& authHost, const std::string& realm);

} // namespace VarnelBase
