#include "AuthHandler.h"

#include <optional>
#include <stdexcept>
#include <utility>

#include "AccessTokenClaims.h"
#include "BrowserLauncher.h"
#include "CallbackServer.h"
#include "DeviceLogin.h"
#include "HostLabel.h"
#include "LoginAttempt.h"
#include "RefreshLock.h"
#include "SessionSettings.h"
#include "SessionStore.h"
#include "SettingSources.h"
#include "SignInSteps.h"
#include "TokenRequests.h"
#include "TokenVariable.h"

namespace VarnelBase {

AuthHandler::AuthHandler()
    : config(ReadHandlerConfig()),
      authHost(std::move(GetReadIdentity().authHost)),
      clientId(std::move(GetReadIdentity().clientId)),
      clientSecret(std::move(GetReadIdentity().clientSecret)),
      loginServer(MakeCallbackServer()) {}

AuthHandler::~AuthHandler() = default;

std::string AuthHandler::GetApiKey() {
    if (!IsTokenExpired(token)) { return token; }
    std::string given = TakeTokenVariable(token);
    if (!given.empty() || IsWithoutSignIn(config, authHost)) { return given; }

    const SettingsReading reading;
    LoadTokens();
    const auto session = ReadSessionSettings(config, authHost, clientId, clientSecret);
    TakeSteps(SignInPurpose::Key, config, session, token, refreshToken, [this](SignInStep step) {
        return step == SignInStep::Refresh ? RefreshAccessToken() : LoginWithPassword();
    });
    return token;
}

std::string AuthHandler::Login() {
    std::string given = TakeTokenVariable(token);
    if (!given.empty() || IsWithoutSignIn(config, authHost)) { return given; }

    const SettingsReading reading;
    LoadTokens();
    const auto session = ReadSessionSettings(config, authHost, clientId, clientSecret);
    TakeSteps(SignInPurpose::Login, config, session, token, refreshToken, [this](SignInStep step) {
        if (step == SignInStep::Refresh) { return RefreshAccessToken(); }
        Relogin();
        return token;
    });
    return token;
}

void AuthHandler::Relogin() {
    const std::string given = TakeTokenVariable(token);
    if (!given.empty() || IsWithoutSignIn(config, authHost)) { return; }

    const SettingsReading reading;
    LoadTokens();
    const auto session = ReadSessionSettings(config, authHost, clientId, clientSecret);
    TakeSteps(SignInPurpose::Relogin, config, session, token, refreshToken, [&](SignInStep step) {
        if (step == SignInStep::Password) { return LoginWithPassword(); }
        const std::string issuer = GetAuthServerUrl();
        RequirePersonAllowed(issuer);
        const IdentityProvider provider = DiscoverProvider(issuer, session.client);
        LoginAttempt attempt(session.identity.loginTimeout);
        if (!attempt.isOnDevice) {
            PrepareCallbackServer(loginServer, attempt, [&](const auto& request, auto& response) {
                attempt.RequireCode(request, provider);
                GetLoginResult(attempt.AddSecrets(request), response);
            });
            attempt.redirectUri = StartLocalServer();
            attempt.Begin(provider, session, [this](const auto& url) { OpenBrowser(url); });
            AwaitServer(); // Only listening closes the socket.
            attempt.RequireSuccess(issuer);
        }
        if (attempt.isOnDevice) {
            const TokenAnswer answer = SignInOnDevice(provider, session);
            const RefreshLock lock(session.file);
            StoreTokens(answer.accessToken, answer.refreshToken);
        }
        return token;
    });
}

bool AuthHandler::CanLoginNonInteractively() {
    return CanDoWithoutPerson();
}

void AuthHandler::RequireNonInteractive(const std::string& message) {
    if (CanLoginNonInteractively()) { return; }
    throw std::runtime_error(message + ": " + WaysWithoutPerson + ", or an earlier login");
}

bool AuthHandler::IsTokenExpired(const std::string& accessToken) {
    return JudgeNow(accessToken) != TokenAge::Fresh;
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

void AuthHandler::LoadTokens() {
    const auto session = ReadSessionSettings(config, authHost, clientId, clientSecret);
    if (IsUnstored(refreshToken) || !IsStoreFile(session.file)) { return; }
    TokenSet stored = tokenStore.Load();
    token = std::move(stored.accessToken);
    refreshToken = std::move(stored.refreshToken);
}

void AuthHandler::StoreTokens(const std::string& accessToken, const std::string& newRefreshToken) {
    token = accessToken;
    refreshToken = newRefreshToken;
    const auto session = ReadSessionSettings(config, authHost, clientId, clientSecret);
    StoreSession(tokenStore, session.file, {token, refreshToken});
}

std::string AuthHandler::RefreshAccessToken() {
    const auto session = ReadSessionSettings(config, authHost, clientId, clientSecret);
    const std::string issuer = GetAuthServerUrl();
    const std::string earlier = token;
    const RefreshLock lock(session.file, session.client.deadline);
    lock.RequireFree(issuer);
    LoadTokens();
    if (token != earlier && !IsTokenExpired(token)) { return token; }
    if (refreshToken.empty()) { return ""; }

    std::optional<TokenPlace> place;
    MakeTokenPlace(place, session.file, refreshToken, JudgeNow(token) == TokenAge::Ended);
    TokenAnswer answer;
    try {
        answer = RequestByRefresh(session, issuer, refreshToken);
    } catch (const IdentityRefusal& refusal) {
        const std::string failed = refreshToken;
        if (refusal.IsSessionOver()) { refreshToken.clear(); }
        LoadTokens();
        const bool isReplaced = refreshToken != failed;
        if (refusal.IsSessionOver() && !isReplaced) {
            StoreTokens(JudgeNow(token) == TokenAge::Ended ? "" : token, "");
        }
        if (!isReplaced || IsTokenExpired(token)) { throw; }
        return token;
    }
    if (IsSessionReplaced(tokenStore, session.file, refreshToken)) {
        token = answer.accessToken;
        refreshToken = answer.refreshToken;
    } else {
        StoreTokens(answer.accessToken, answer.refreshToken);
    }
    return token;
}

std::string AuthHandler::LoginWithPassword() {
    const auto session = ReadSessionSettings(config, authHost, clientId, clientSecret);
    const std::string issuer = GetAuthServerUrl();
    const std::string earlier = token;
    const RefreshLock lock(session.file, session.client.deadline);
    lock.RequireFree(issuer);
    LoadTokens();
    if (token != earlier && !IsTokenExpired(token)) { return token; }
    const TokenAnswer answer = RequestByPassword(session, issuer, config);
    StoreTokens(answer.accessToken, answer.refreshToken);
    return token;
}

std::string AuthHandler::StartLocalServer() {
    return BindCallbackServer(loginServer,
                              ReadIdentitySettings(config.GetEnvironment()).callbackPorts);
}

void AuthHandler::OpenBrowser(const std::string& url) {
    if (LaunchBrowser(url)) { return; }
    throw NoBrowser("signing in to " + GetAuthServerUrl() +
                    ": no browser could be started: set BROWSER to a command that opens one, or do "
                    "without: " +
                    WaysWithoutPerson);
}

void AuthHandler::AwaitServer() {
    if (!loginServer.listen_after_bind()) {
        throw std::runtime_error("the browser's answer cannot be received: listening failed");
    }
}

void AuthHandler::GetLoginResult(const httplib::Request& request, httplib::Response& response) {
    FormFields fields{{"grant_type", "authorization_code"}};
    for (const char* name : {"code", "redirect_uri", "code_verifier", "nonce"}) {
        fields.emplace_back(name, request.get_param_value(name));
    }
    ExchangeAuthCodeForToken(BuildForm(fields));
    ShowPage(response, 200, "You are signed in",
             "Go back to the program. You can close this page.");
}

std::string AuthHandler::ExchangeAuthCodeForToken(const std::string& form) {
    const auto session = ReadSessionSettings(config, authHost, clientId, clientSecret);
    const TokenAnswer answer = RequestByCode(session, GetAuthServerUrl(), form);
    // A refresh that is under way elsewhere must not put the old session back.
    const RefreshLock lock(session.file);
    StoreTokens(answer.accessToken, answer.refreshToken);
    return token;
}

std::string AuthHandler::GetAuthServerUrl() {
    if (authHost.empty()) { RefuseWithoutProvider(config.GetEnvironment()); }
    return BuildIssuer(authHost, config.GetAuthRealm());
}

} // namespace VarnelBase
