#include "EnvConfig.h"

#include <arpa/inet.h>

#include <algorithm>
#include <stdexcept>

#include "EnvironmentNames.h"
#include "QuotedText.h"
#include "SettingSources.h"

namespace VarnelBase {

namespace {

constexpr unsigned int LocalPort = 8080;
constexpr unsigned int DeployedPort = 80;
constexpr unsigned int MaxApiPort = 65535;

/// Names under .invalid do not resolve (RFC 6761, section 6.4); an empty host would be this
/// machine.
constexpr const char* UnsetHost = "api-host-is-not-set.invalid";

/// An address, and after "%" the name of the interface to reach it by (RFC 4007, section 11).
bool IsZonedIpv6Address(const std::string& text) {
    const std::size_t zone = text.find('%');
    in6_addr address{};
    return inet_pton(AF_INET6, text.substr(0, zone).c_str(), &address) == 1 &&
           text.find(':', zone) == std::string::npos;
}

bool IsBareHost(const std::string& host) {
    const auto isHostCharacter = [](char c) {
        return c > ' ' && c < 0x7f && std::string("/\\?#@[]").find(c) == std::string::npos;
    };
    return std::all_of(host.begin(), host.end(), isHostCharacter) &&
           (host.find(':') == std::string::npos || IsZonedIpv6Address(host));
}

/// @param reading lives until the constructor that this chooses for has returned
Environment ChooseEnvironment(const SettingsReading& /*reading*/,
                              Environment (*parse)(const std::string&)) {
    const auto chosen = SettingSources().FindEnvironment();
    if (!chosen) { return Environment::Local; }
    try {
        return parse(chosen->text);
    } catch (const std::invalid_argument& error) { RejectSetting(*chosen, error.what()); }
}

} // namespace

EnvConfig::EnvConfig() : EnvConfig(ChooseEnvironment(SettingsReading(), &ParseEnvironment)) {}

EnvConfig::EnvConfig(Environment deployment)
    : environment(deployment),
      apiHost(deployment == Environment::Local ? "127.0.0.1" : UnsetHost),
      apiPort(deployment == Environment::Local ? LocalPort : DeployedPort),
      offline(false) {
    const SettingsReading reading;
    LoadOverrides();
    LoadCredentials();
}

const std::string& EnvConfig::GetAuthRealm() const {
    return authRealm;
}

const std::string& EnvConfig::GetUsername() const {
    return username;
}

const std::string& EnvConfig::GetPassword() const {
    return password;
}

bool EnvConfig::HasCredentials() const {
    return !username.empty() && !password.empty();
}

Environment EnvConfig::ParseEnvironment(const std::string& text) {
    const auto found = FindEnvironmentNamed(text);
    if (!found) {
        throw std::invalid_argument("unknown environment " + QuoteText(text) + ": " +
                                    KnownEnvironments);
    }
    return *found;
}

void EnvConfig::LoadOverrides() {
    const SettingSources sources;
    if (const auto host = sources.Find("apiHost", environment)) {
        if (!IsBareHost(host->text)) {
            RejectSetting(*host, "must be a host name or address without scheme, port and path");
        }
        apiHost = host->text;
    }
    if (const auto port = sources.Find("apiPort", environment)) {
        apiPort = ParseNumber(*port, MaxApiPort);
    }
    if (const auto realm = sources.Find("authRealm", environment)) { authRealm = realm->text; }
    if (const auto flag = sources.Find("offline", environment)) { offline = ParseFlag(*flag); }
}

void EnvConfig::LoadCredentials() {
    const SettingSources sources;
    if (const auto name = sources.Find("username", environment)) { username = name->text; }
    if (const auto secret = sources.Find("password", environment)) { password = secret->text; }
}

} // namespace VarnelBase
