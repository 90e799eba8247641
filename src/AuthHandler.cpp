#include "AuthHandler.h"

#include <functional>
#include <optional>
#include <stdexcept>
#include <utility>

#include "AccessTokenClaims.h"
#include "BrowserLauncher.h"
#include "CallbackServer.h"
#include "DeviceLogin.h"
#include "EnvironmentVariable.h"
#include "HostLabel.h"
#include "KnownSettings.h"
#include "LoginAttempt.h"
#include "LoginGuide.h"
#include "RefreshLock.h"
#include "RenewalRest.h"
#include "SessionSettings.h"
#include "SessionStore.h"
#include "SettingSources.h"
#include "SignInSteps.h"
#include "SigpipeGuard.h"
#include "TokenRequests.h"
#include "TokenVariable.h"

namespace VarnelBase {

namespace {

constexpr const char* BusyElsewhere = ": another program has not finished renewing the token";

httplib::Server MakeLoginServer() {
    const SigpipeGuard guard;
    return httplib::Server();
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
    SignInState state = DescribeSettings(SignInPurpose::Key, config, authHost);
    if (ChooseStep(state) == SignInStep::UseNothing) { return ""; }

    const SettingsReading reading;
    LoadTokens();
    const auto session = ReadSessionSettings(config, authHost, clientId, clientSecret);
    DescribeTokens(state, token, refreshToken, session.file);
    const RenewalLimit limit(state.age == TokenAge::Ending);
    TakeSteps(state, config, session, token, [this](SignInStep step) {
        return step == SignInStep::Refresh ? RefreshAccessToken() : LoginWithPassword();
    });
    return token;
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
    SignInState state = DescribeSettings(SignInPurpose::Login, config, authHost);
    if (ChooseStep(state) == SignInStep::UseNothing) { return ""; }

    const SettingsReading reading;
    LoadTokens();
    const auto session = ReadSessionSettings(config, authHost, clientId, clientSecret);
    DescribeTokens(state, token, refreshToken, session.file);
    TakeSteps(state, config, session, token, [this](SignInStep step) {
        if (step == SignInStep::Refresh) { return RefreshAccessToken(); }
        Relogin();
        return token;
    });
    return token;
}

bool AuthHandler::IsTokenExpired(const std::string& accessToken) {
    return JudgeNow(accessToken) != TokenAge::Fresh;
}

void AuthHandler::Relogin() {
    if (!TakeTokenVariable(token).empty()) { return; }
    const SignInState state = DescribeSettings(SignInPurpose::Relogin, config, authHost);
    if (ChooseStep(state) == SignInStep::UseNothing) { return; }

    const SettingsReading reading;
    LoadTokens();
    const auto session = ReadSessionSettings(config, authHost, clientId, clientSecret);
    TakeSteps(state, config, session, token, [&](SignInStep step) {
        if (step == SignInStep::Password) { return LoginWithPassword(); }
        const std::string issuer = GetAuthServerUrl();
        if (!MayAskPerson()) {
            throw std::runtime_error("signing in to " + issuer + ": " + WaysWithoutPerson);
        }
        const IdentityProvider provider = DiscoverProvider(issuer, session.client);
        LoginAttempt attempt(session.identity.loginTimeout);
        attempt.isOnDevice = GuidedLogin::GetGuide().isOnDevice;
        if (!attempt.isOnDevice) {
            PrepareCallbackServer(loginServer, attempt, [&](const auto& request, auto& response) {
                attempt.CheckIssuer(request, provider);
                GetLoginResult(attempt.AddSecrets(request), response);
            });
            attempt.redirectUri = StartLocalServer();
            attempt.authorizationUrl = BuildAuthorizationUrl(
                provider, attempt.BuildQuery(clientId, session.identity.scope));
            attempt.Begin(provider, [&] { OpenBrowser(attempt.GetStartAddress()); });
            AwaitServer(); // Only listening closes the socket.
            attempt.RequireSuccess(issuer);
        }
        if (attempt.isOnDevice) {
            const TokenAnswer answer =
                SignInOnDevice(provider, session.client, session.identity.scope);
            const RefreshLock lock(session.file);
            StoreTokens(answer.accessToken, answer.refreshToken);
        }
        return token;
    });
}

bool AuthHandler::CanLoginNonInteractively() {
    if (!ReadVariable(TokenVariable).empty()) { return true; }
    const SettingsReading reading;
    const EnvConfig settings;
    const std::string provider = ReadIdentitySettings(settings.GetEnvironment()).authHost;
    SignInState state = DescribeSettings(SignInPurpose::Key, settings, provider);
    state.hasRefreshToken = !TokenStore().Load().refreshToken.empty();
    return NeedsNoPerson(state);
}

void AuthHandler::RequireNonInteractive(const std::string& message) {
    if (CanLoginNonInteractively()) { return; }
    throw std::runtime_error(message + ": " + WaysWithoutPerson + ", or an earlier login");
}

void AuthHandler::GetLoginResult(const httplib::Request& request, httplib::Response& response) {
    if (request.has_param("error")) {
        const Refusal refusal{NameErrorCode(request.get_param_value("error")),
                              CleanReason(request.get_param_value("error_description"), "")};
        RequireConsent(GetAuthServerUrl(), "signing in", refusal);
    }
    ExchangeAuthCodeForToken(BuildForm({{"grant_type", "authorization_code"},
                                        {"code", request.get_param_value("code")},
                                        {"redirect_uri", request.get_param_value("redirect_uri")},
                                        {"code_verifier", request.get_param_value("code_verifier")},
                                        {"nonce", request.get_param_value("nonce")}}));
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
    throw NoBrowser("signing in to " + GetAuthServerUrl() +
                    ": no browser could be started: set BROWSER to a command that opens one, or do "
                    "without: " +
                    WaysWithoutPerson);
}

std::string AuthHandler::StartLocalServer() {
    return BindCallbackServer(loginServer,
                              ReadIdentitySettings(config.GetEnvironment()).callbackPorts);
}

std::string AuthHandler::ExchangeAuthCodeForToken(const std::string& form) {
    const auto session = ReadSessionSettings(config, authHost, clientId, clientSecret);
    const TokenAnswer answer = RequestByCode(session, GetAuthServerUrl(), form);
    // A refresh that is under way elsewhere must not put the old session back.
    const RefreshLock lock(session.file);
    StoreTokens(answer.accessToken, answer.refreshToken);
    return token;
}

std::string AuthHandler::RefreshAccessToken() {
    const SettingsReading reading;
    const auto session = ReadSessionSettings(config, authHost, clientId, clientSecret);
    const std::string issuer = GetAuthServerUrl();
    const std::string earlier = token;
    const RefreshLock lock(session.file, session.client.deadline);
    if (lock.IsBusy()) { throw IdentityError(issuer + BusyElsewhere); }
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
        if (refusal.IsSessionOver() && refreshToken == failed) {
            StoreTokens(JudgeNow(token) == TokenAge::Ended ? "" : token, "");
        }
        if (refreshToken == failed || IsTokenExpired(token)) { throw; }
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
    const SettingsReading reading;
    const auto session = ReadSessionSettings(config, authHost, clientId, clientSecret);
    const std::string issuer = GetAuthServerUrl();
    const std::string earlier = token;
    const RefreshLock lock(session.file, session.client.deadline);
    if (lock.IsBusy()) { throw IdentityError(issuer + BusyElsewhere); }
    LoadTokens();
    if (token != earlier && !IsTokenExpired(token)) { return token; }
    const TokenAnswer answer = RequestByPassword(session, issuer, config);
    StoreTokens(answer.accessToken, answer.refreshToken);
    return token;
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

std::string AuthHandler::GetAuthServerUrl() {
    if (authHost.empty()) { RefuseWithoutProvider(config.GetEnvironment()); }
    return BuildIssuer(authHost, config.GetAuthRealm());
}

} // namespace VarnelBase
