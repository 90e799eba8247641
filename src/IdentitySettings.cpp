#include "IdentitySettings.h"

#include "IdentityUrl.h"
#include "SettingSources.h"

namespace VarnelBase {

namespace {

constexpr unsigned int LoginTimeoutSeconds = 180;
constexpr unsigned int MaxLoginTimeoutSeconds = 86400;

} // namespace

IdentitySettings ReadIdentitySettings(Environment environment) {
    const SettingSources sources;
    const auto read = [&sources, environment](const char* name, const char* builtIn) {
        const auto setting = sources.Find(name, environment);
        return setting ? setting->text : std::string(builtIn);
    };
    IdentitySettings identity;
    identity.authHost = read("authHost", "");
    identity.clientId = read("clientId", "varnel");
    identity.clientSecret = read("clientSecret", "");
    identity.scope = read("scope", "openid");
    identity.groupsClaim = read("groupsClaim", "groups");
    identity.caFile = read("caFile", "");
    const auto timeout = sources.Find("loginTimeout", environment);
    identity.loginTimeout = std::chrono::seconds(
        timeout ? ParseNumber(*timeout, MaxLoginTimeoutSeconds) : LoginTimeoutSeconds);
    if (const auto ports = sources.Find("callbackPorts", environment)) {
        identity.callbackPorts = ParsePortRanges(*ports);
    }
    return identity;
}

std::string BuildIssuer(const std::string& authHost, const std::string& realm) {
    if (realm.empty()) { return authHost; }
    const bool hasSlash = !authHost.empty() && authHost.back() == '/';
    return authHost + (hasSlash ? "realms/" : "/realms/") + EncodeUrlText(realm);
}

} // namespace VarnelBase
