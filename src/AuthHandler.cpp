#include "AuthHandler.h"

#include <sys/stat.h>

#include <algorithm>
#include <ctime>
#include <stdexcept>

#include "AccessTokenClaims.h"
#include "EnvironmentVariable.h"
#include "IdentitySettings.h"
#include "SettingSources.h"
#include "SigpipeGuard.h"
#include "TokenFile.h"

namespace VarnelBase {

namespace {

constexpr double MaxLeewaySeconds = 30;
constexpr std::size_t MaxLabelLength = 63;

httplib::Server MakeLoginServer() {
    const SigpipeGuard guard;
    return httplib::Server();
}

/// Whether a text can be one label of a host name (RFC 1123, section 2.1).
bool IsHostLabel(const std::string& text) {
    const auto isLabelCharacter = [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-';
    };
    return !text.empty() && text.size() <= MaxLabelLength && text.front() != '-' &&
           text.back() != '-' && std::all_of(text.begin(), text.end(), isLabelCharacter);
}

std::string ReadTokenVariable() {
    std::string token = ReadVariable("VARNEL_TOKEN");
    if (!IsAccessTokenText(token)) {
        throw std::runtime_error("VARNEL_TOKEN: holds a character that no token may hold");
    }
    return token;
}

} // namespace

AuthHandler::AuthHandler() : loginServer(MakeLoginServer()) {
    const IdentitySettings identity = ReadIdentitySettings(config.GetEnvironment());
    authHost = identity.authHost;
    clientId = identity.clientId;
    clientSecret = identity.clientSecret;
}

AuthHandler::~AuthHandler() = default;

std::string AuthHandler::GetApiKey() {
    if (!token.empty() && !IsTokenExpired(token)) { return token; }

    const std::string given = ReadTokenVariable();
    if (!given.empty()) {
        if (IsTokenExpired(given)) {
            throw std::runtime_error("VARNEL_TOKEN: the token has expired");
        }
        token = given;
        return token;
    }
    const bool hasNoProvider = authHost.empty();
    if (hasNoProvider && config.GetEnvironment() == Environment::Local) { return ""; }
    if (!hasNoProvider || config.IsOffline()) {
        LoadTokens();
        if (!token.empty() && (config.IsOffline() || !IsTokenExpired(token))) { return token; }
    }
    if (config.IsOffline()) { return ""; }
    if (hasNoProvider) {
        throw std::runtime_error("no identity provider for " +
                                 NameEnvironment(config.GetEnvironment()) +
                                 ": set VARNEL_AUTH_HOST, or a token in VARNEL_TOKEN");
    }
    std::string message = "not signed in to " + GetAuthServerUrl() + ": call Login()";
    const std::string path =
        FindTokenFile(config, ReadIdentitySettings(config.GetEnvironment())).GetPath();
    struct stat status {};
    if (token.empty() && lstat(path.c_str(), &status) == 0) {
        message += " (" + path + " is no token file that can be trusted)";
    }
    throw std::runtime_error(message);
}

std::string AuthHandler::GetFirstGroup(const std::string& accessToken) {
    if (accessToken.empty()) { return ""; }
    std::string group =
        ReadFirstGroup(accessToken, ReadIdentitySettings(config.GetEnvironment()).groupsClaim);
    if (!group.empty() && !IsHostLabel(group)) {
        throw std::runtime_error(
            "the token's first group cannot be part of a host name (1 to 63 letters, digits and "
            "inner hyphens)");
    }
    return group;
}

std::string AuthHandler::Login() {
    std::string given = ReadTokenVariable();
    if (!given.empty()) {
        if (IsTokenExpired(given)) {
            throw std::runtime_error("VARNEL_TOKEN: the token has expired");
        }
        return given;
    }
    if (authHost.empty() && config.GetEnvironment() == Environment::Local) { return ""; }
    throw std::runtime_error("signing in needs a token in VARNEL_TOKEN");
}

bool AuthHandler::IsTokenExpired(const std::string& accessToken) {
    if (accessToken.empty()) { return true; }
    const TokenLifetime lifetime = ReadTokenLifetime(accessToken);
    if (!lifetime.expiry) { return false; }
    double leeway = MaxLeewaySeconds;
    if (lifetime.issuedAt) {
        leeway = std::clamp((*lifetime.expiry - *lifetime.issuedAt) / 10, 0.0, MaxLeewaySeconds);
    }
    return static_cast<double>(std::time(nullptr)) >= *lifetime.expiry - leeway;
}

void AuthHandler::Relogin() {
    Login();
}

bool AuthHandler::CanLoginNonInteractively() {
    if (!ReadVariable("VARNEL_TOKEN").empty()) { return true; }
    return EnvConfig().HasCredentials() || !TokenStore().Load().refreshToken.empty();
}

void AuthHandler::RequireNonInteractive(const std::string& message) {
    if (CanLoginNonInteractively()) { return; }
    throw std::runtime_error(message +
                             ": needs VARNEL_TOKEN, VARNEL_USERNAME and VARNEL_PASSWORD, or an "
                             "earlier login");
}

void AuthHandler::LoadTokens() {
    TokenSet stored = tokenStore.Load();
    token = std::move(stored.accessToken);
    refreshToken = std::move(stored.refreshToken);
}

std::string AuthHandler::GetAuthServerUrl() {
    return FindIssuer(authHost, config.GetAuthRealm());
}

} // namespace VarnelBase
