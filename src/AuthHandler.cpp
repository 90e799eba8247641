#include "AuthHandler.h"

#include <sys/select.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include <algorithm>
#include <atomic>
#include <functional>
#include <stdexcept>
#include <utility>

#include "AccessTokenClaims.h"
#include "AttemptMarks.h"
#include "BrowserLauncher.h"
#include "CallbackServer.h"
#include "EnvironmentVariable.h"
#include "HttplibDifferences.h"
#include "IdentityProvider.h"
#include "IdentitySettings.h"
#include "LoginAttempt.h"
#include "ProviderClock.h"
#include "RefreshLock.h"
#include "SettingSources.h"
#include "SigpipeGuard.h"
#include "TokenFile.h"

namespace VarnelBase {

namespace {

constexpr double MaxLeewaySeconds = 30;
constexpr std::size_t MaxLabelLength = 63;
constexpr const char* WaysWithoutBrowser =
    "set VARNEL_TOKEN, or VARNEL_USERNAME and VARNEL_PASSWORD";
constexpr const char* BusyElsewhere = ": another program has been renewing the token for 10 s";

/// Hash of the last refresh token that could not be stored. Memory is newer than the store then;
/// otherwise an empty store means that somebody has signed out.
std::atomic<std::size_t> unstoredSession{0};

/// Whether somebody has signed out, or in, since this session was loaded. What a refresh of it has
/// brought must not come in the place of that.
bool IsSessionReplaced(TokenStore& store, const std::string& refreshToken) {
    if (std::hash<std::string>()(refreshToken) == unstoredSession) { return false; }
    try {
        return store.Load().refreshToken != refreshToken;
    } catch (const std::exception&) {
        return false; // to be found again when the new tokens are stored
    }
}

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

/// Whether the token's lifetime is over, to the second. An access token that cannot be renewed is
/// used until then.
bool HasEnded(const std::string& accessToken) {
    if (accessToken.empty()) { return true; }
    const auto expiry = ReadTokenLifetime(accessToken).expiry;
    return expiry && static_cast<double>(ReadProviderClock()) >= *expiry;
}

/// The token of VARNEL_TOKEN; empty when there is none. Clears the session's token if there is one:
/// it must not come back after `Login`, nor make this thread parse both with each request.
std::string TakeTokenVariable(std::string& sessionToken) {
    std::string given = ReadVariable("VARNEL_TOKEN");
    if (given.empty()) { return given; }
    if (!IsAccessTokenText(given)) {
        throw std::runtime_error("VARNEL_TOKEN: holds a character that no token may hold");
    }
    if (HasEnded(given)) { throw std::runtime_error("VARNEL_TOKEN: the token has expired"); }
    sessionToken.clear();
    return given;
}

bool MayOpenBrowser() {
    const std::string value = ReadVariable("VARNEL_NONINTERACTIVE");
    return value.empty() || !ParseFlag({value, "VARNEL_NONINTERACTIVE"});
}

/// Settings of a handler: what it has read once stays, the rest is as it is now.
IdentitySettings ReadSettings(const EnvConfig& config, const std::string& authHost,
                              const std::string& clientId, const std::string& clientSecret) {
    IdentitySettings identity = ReadIdentitySettings(config.GetEnvironment());
    identity.authHost = authHost;
    identity.clientId = clientId;
    identity.clientSecret = clientSecret;
    return identity;
}

/// Whether the token file that the settings select now is the handler's own.
bool IsStoreOurs(const EnvConfig& config, const IdentitySettings& identity) {
    const EnvConfig current;
    return FindTokenFile(current, ReadIdentitySettings(current.GetEnvironment())).GetPath() ==
           FindTokenFile(config, identity).GetPath();
}

std::string DescribeRefusal(const std::string& issuer, const std::string& what,
                            const std::string& error) {
    if (error == "access_denied") {
        return issuer + ": " + what + " was cancelled (" + error + ")";
    }
    std::string message = issuer + ": " + what + " was refused (" + error + ")";
    if (error == "invalid_client" || error == "unauthorized_client") {
        message += ": check clientId, clientSecret and what the provider allows this client";
    }
    return message;
}

/// Makes room for many connections at once, of which httplib lets only five wait.
void WidenListener(int listener) {
    if (!CanWaitFor(listener)) {
        throw std::runtime_error(
            "the browser's answer cannot be received: the program has more than " +
            std::to_string(FD_SETSIZE) +
            " files open. Compile it and VarnelBase with CPPHTTPLIB_USE_POLL");
    }
    listen(listener, SOMAXCONN);
}

IdentityClient MakeClient(const IdentitySettings& identity) {
    return {identity.clientId, identity.clientSecret, identity.caFile};
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
    if (!IsTokenExpired(token)) { return token; }
    std::string given = TakeTokenVariable(token);
    if (!given.empty()) { return given; }
    if (authHost.empty() && config.GetEnvironment() == Environment::Local) { return ""; }
    LoadTokens();
    if (config.IsOffline()) { return token; }
    const std::string issuer = GetAuthServerUrl();
    if (!IsTokenExpired(token)) { return token; }
    try {
        if (!RefreshAccessToken().empty()) { return token; }
        if (config.HasCredentials()) { return LoginWithPassword(); }
    } catch (const std::runtime_error&) {
        if (HasEnded(token)) { throw; }
    }
    if (!HasEnded(token)) { return token; }

    std::string message = "not signed in to " + issuer + ": call Login()";
    const IdentitySettings identity = ReadSettings(config, authHost, clientId, clientSecret);
    const std::string path = FindTokenFile(config, identity).GetPath();
    struct stat status {};
    if (token.empty() && IsStoreOurs(config, identity) && lstat(path.c_str(), &status) == 0) {
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
    std::string given = TakeTokenVariable(token);
    if (!given.empty()) { return given; }
    if (authHost.empty() && config.GetEnvironment() == Environment::Local) { return ""; }
    LoadTokens();
    if (config.IsOffline()) { return token; }
    try {
        if (!RefreshAccessToken().empty()) { return token; }
    } catch (const IdentityError&) {} // Signing in anew may go well nevertheless.
    Relogin();
    return token;
}

bool AuthHandler::IsTokenExpired(const std::string& accessToken) {
    if (accessToken.empty()) { return true; }
    const TokenLifetime lifetime = ReadTokenLifetime(accessToken);
    if (!lifetime.expiry) { return false; }
    double leeway = MaxLeewaySeconds;
    if (lifetime.issuedAt) {
        leeway = std::clamp((*lifetime.expiry - *lifetime.issuedAt) / 10, 0.0, MaxLeewaySeconds);
    }
    return static_cast<double>(ReadProviderClock()) >= *lifetime.expiry - leeway;
}

void AuthHandler::Relogin() {
    if (!TakeTokenVariable(token).empty()) { return; }
    if (authHost.empty() && config.GetEnvironment() == Environment::Local) { return; }
    const std::string issuer = GetAuthServerUrl();
    if (config.IsOffline()) { throw std::runtime_error("offline mode: nobody can sign in"); }
    LoadTokens();
    if (config.HasCredentials()) {
        LoginWithPassword();
        return;
    }
    if (!MayOpenBrowser()) {
        throw std::runtime_error("signing in to " + issuer + ": " + WaysWithoutBrowser);
    }
    const IdentitySettings identity = ReadSettings(config, authHost, clientId, clientSecret);
    const IdentityProvider provider = DiscoverProvider(issuer, identity.caFile);
    LoginAttempt attempt(identity.loginTimeout);
    PrepareCallbackServer(loginServer, attempt, [&](const auto& request, auto& response) {
        attempt.CheckIssuer(request, provider);
        GetLoginResult(attempt.AddSecrets(request), response);
    });
    attempt.redirectUri = StartLocalServer();
    try {
        WidenListener(attempt.listener);
        OpenBrowser(BuildAuthorizationUrl(provider, attempt.BuildQuery(clientId, identity.scope)));
    } catch (...) {
        attempt.isOver = true;
        AwaitServer(); // Only listening closes the socket.
        throw;
    }
    AwaitServer();
    if (attempt.failure) { std::rethrow_exception(attempt.failure); }
    if (!attempt.isOver) {
        throw std::runtime_error("signing in to " + issuer + ": nobody did within " +
                                 std::to_string(identity.loginTimeout.count()) +
                                 " s (VARNEL_LOGIN_TIMEOUT)");
    }
}

bool AuthHandler::CanLoginNonInteractively() {
    if (!ReadVariable("VARNEL_TOKEN").empty()) { return true; }
    return EnvConfig().HasCredentials() || !TokenStore().Load().refreshToken.empty();
}

void AuthHandler::RequireNonInteractive(const std::string& message) {
    if (CanLoginNonInteractively()) { return; }
    throw std::runtime_error(message + ": " + WaysWithoutBrowser + ", or an earlier login");
}

void AuthHandler::GetLoginResult(const httplib::Request& request, httplib::Response& response) {
    if (request.has_param("error")) {
        const std::string error = NameErrorCode(request.get_param_value("error"));
        throw IdentityError(DescribeRefusal(GetAuthServerUrl(), "signing in", error));
    }
    ExchangeAuthCodeForToken(
        BuildForm({{"grant_type", "authorization_code"},
                   {"code", request.get_param_value("code")},
                   {"redirect_uri", request.get_param_value("redirect_uri")},
                   {"code_verifier", request.get_param_value("code_verifier")}}));
    ShowPage(response, 200, "You are signed in",
             "Go back to the program. You can close this page.");
}

void AuthHandler::AwaitServer() {
    if (!loginServer.listen_after_bind()) {
        throw std::runtime_error("the browser's answer cannot be received: listening failed");
    }
}

void AuthHandler::OpenBrowser(const std::string& url) {
    if (LaunchBrowser(url)) { return; }
    throw std::runtime_error("signing in to " + GetAuthServerUrl() +
                             ": no browser could be started: set BROWSER to a command that opens "
                             "one, or do without: " +
                             WaysWithoutBrowser);
}

std::string AuthHandler::StartLocalServer() {
    for (const std::string address : {"127.0.0.1", "::1"}) {
        const int port = loginServer.bind_to_any_port(address);
        if (port <= 0) { continue; }
        const std::string host = address == "::1" ? "[::1]" : address;
        return "http://" + host + ":" + std::to_string(port) + "/callback";
    }
    throw std::runtime_error("no port on 127.0.0.1 or ::1 is free for the browser's answer");
}

std::string AuthHandler::ExchangeAuthCodeForToken(const std::string& form) {
    const IdentitySettings identity = ReadSettings(config, authHost, clientId, clientSecret);
    const std::string issuer = GetAuthServerUrl();
    const IdentityProvider provider = DiscoverProvider(issuer, identity.caFile);
    const TokenAnswer answer = RequestTokens(provider, MakeClient(identity), form);
    if (!answer.error.empty()) {
        throw IdentityError(DescribeRefusal(issuer, "signing in", answer.error));
    }
    // A refresh that is under way elsewhere must not put the old session back.
    const RefreshLock lock(FindTokenFile(config, identity));
    StoreTokens(answer.accessToken, answer.refreshToken);
    return token;
}

std::string AuthHandler::RefreshAccessToken() {
    const IdentitySettings identity = ReadSettings(config, authHost, clientId, clientSecret);
    const TokenFile file = FindTokenFile(config, identity);
    const std::string issuer = GetAuthServerUrl();
    const std::string earlier = token;
    if (refreshToken.empty()) { return ""; }

    const RefreshLock lock(file);
    if (lock.IsBusy()) { throw IdentityError(issuer + BusyElsewhere); }
    LoadTokens();
    if (token != earlier && !IsTokenExpired(token)) { return token; }
    if (refreshToken.empty() || IsRefreshUnanswered(file, refreshToken)) { return ""; }
    const IdentityProvider provider = DiscoverProvider(issuer, identity.caFile);
    TokenAnswer answer;
    try {
        answer = RequestTokens(
            provider, MakeClient(identity),
            BuildForm({{"grant_type", "refresh_token"}, {"refresh_token", refreshToken}}));
    } catch (const IdentityError& error) {
        if (error.IsUnanswered()) { MarkRefreshUnanswered(file, refreshToken); }
        throw;
    }
    if (answer.error == "invalid_grant") {
        const std::string failed = std::exchange(refreshToken, "");
        LoadTokens();
        if (refreshToken == failed) { StoreTokens(HasEnded(token) ? "" : token, ""); }
        return IsTokenExpired(token) ? "" : token;
    }
    if (!answer.error.empty()) {
        throw IdentityError(DescribeRefusal(issuer, "renewing the token", answer.error));
    }
    const std::string next = answer.refreshToken.empty() ? refreshToken : answer.refreshToken;
    if (IsSessionReplaced(tokenStore, refreshToken)) {
        token = answer.accessToken;
        refreshToken = next;
    } else {
        StoreTokens(answer.accessToken, next);
    }
    return token;
}

std::string AuthHandler::LoginWithPassword() {
    const IdentitySettings identity = ReadSettings(config, authHost, clientId, clientSecret);
    const TokenFile file = FindTokenFile(config, identity);
    const std::string issuer = GetAuthServerUrl();
    const std::string earlier = token;
    const RefreshLock lock(file);
    if (lock.IsBusy()) { throw IdentityError(issuer + BusyElsewhere); }
    LoadTokens();
    if (token != earlier && !IsTokenExpired(token)) { return token; }
    if (WasPasswordJustRefused(file)) {
        throw IdentityError(issuer +
                            ": the password was refused less than a minute ago and is not "
                            "tried again yet: check VARNEL_USERNAME and VARNEL_PASSWORD");
    }
    const IdentityProvider provider = DiscoverProvider(issuer, identity.caFile);
    const TokenAnswer answer = RequestTokens(provider, MakeClient(identity),
                                             BuildForm({{"grant_type", "password"},
                                                        {"username", config.GetUsername()},
                                                        {"password", config.GetPassword()},
                                                        {"scope", identity.scope}}));
    if (answer.error == "invalid_grant") { MarkPasswordRefused(file); }
    if (!answer.error.empty()) {
        throw IdentityError(DescribeRefusal(issuer, "the password", answer.error));
    }
    StoreTokens(answer.accessToken, answer.refreshToken);
    return token;
}

void AuthHandler::LoadTokens() {
    const bool isUnstored =
        !refreshToken.empty() && std::hash<std::string>()(refreshToken) == unstoredSession;
    if (isUnstored ||
        !IsStoreOurs(config, ReadSettings(config, authHost, clientId, clientSecret))) {
        return;
    }
    TokenSet stored = tokenStore.Load();
    token = std::move(stored.accessToken);
    refreshToken = std::move(stored.refreshToken);
}

void AuthHandler::StoreTokens(const std::string& accessToken, const std::string& newRefreshToken) {
    token = accessToken;
    refreshToken = newRefreshToken;
    try {
        if (!IsStoreOurs(config, ReadSettings(config, authHost, clientId, clientSecret))) {
            return;
        }
        if (token.empty()) {
            tokenStore.Clear();
        } else {
            tokenStore.Store({token, refreshToken});
            std::size_t stored = std::hash<std::string>()(refreshToken);
            unstoredSession.compare_exchange_strong(stored, 0);
        }
    } catch (const std::exception&) {
        // The tokens in memory are as good, for this handler.
        unstoredSession = std::hash<std::string>()(refreshToken);
    }
}

std::string AuthHandler::GetAuthServerUrl() {
    if (authHost.empty()) {
        throw std::runtime_error("no identity provider for " +
                                 NameEnvironment(config.GetEnvironment()) +
                                 ": set VARNEL_AUTH_HOST, or a token in VARNEL_TOKEN");
    }
    return FindIssuer(authHost, config.GetAuthRealm());
}

} // namespace VarnelBase
