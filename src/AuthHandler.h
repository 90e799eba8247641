#pragma once

#include <httplib.h>

#include <string>

#include "BuildGuard.h"
#include "EnvConfig.h"
#include "TokenStore.h"

namespace VarnelBase {

/// Finds, renews and reads the access token.
///
/// Uses the settings of `EnvConfig()`'s environment, read in the constructor. Use a handler from
/// one thread at a time. Handlers of this and other processes share the token store; when several
/// need a new token, a file lock makes one of them send the refresh. Calls block while they wait
/// for the provider. Starts no thread. The constructor makes the process ignore SIGPIPE unless the
/// process has a handler for it.
class AuthHandler {
public:
    /// @throws what reading the settings throws (see EnvConfig)
    AuthHandler();
    ~AuthHandler();

    /// Returns an access token: the valid one in memory, else VARNEL_TOKEN, else the valid one in
    /// the store, else a new one by refresh or password. Never opens a browser. Waits at most 3 s
    /// for a new token while the old one is valid. Returns "" in `Local` without an identity
    /// provider, and offline without a stored token. Returns identical text until the token
    /// changes. A program may change VARNEL_TOKEN between calls, but must not unset it.
    ///
    /// @throws std::runtime_error when no token can be had; the message says what to do
    ///         and contains no secret
    std::string GetApiKey();

    /// The user's first group: the first entry of the token's claim "groups" (or of the claim that
    /// VARNEL_GROUPS_CLAIM names), without a leading "/" and up to the next "/". Empty when the
    /// token is empty, opaque or malformed, or lacks the claim. The token's signature is not
    /// checked: the service does that.
    ///
    /// @throws std::runtime_error when the group is not a valid host label (RFC 1123, section 2.1),
    ///         with which the token would go to another host
    std::string GetFirstGroup(const std::string& accessToken);

    /// Gets tokens from the provider, even if a valid one is in memory, and returns the access
    /// token. Tries a refresh, then the password if one is configured, else the browser, for which
    /// a person has 180 s (VARNEL_LOGIN_TIMEOUT). If VARNEL_TOKEN is set, it replaces the session
    /// in memory and is returned. Returns "" in `Local` without an identity provider, and the
    /// stored token or "" when offline. A `GuidedLogin` shows the person what to do, and learns if
    /// the tokens could not be stored, which does not fail the login.
    ///
    /// @throws std::runtime_error when signing in fails, saying why
    std::string Login();

    /// Whether the token has expired (claim "exp", RFC 7519, section 4.1.4) or will within 30 s, or
    /// within a tenth of its lifetime if that is less. True for an empty token. For an opaque
    /// token, or one without a numeric "exp", the "expires_in" of the provider's answer decides;
    /// without that, the result is false. Uses the provider's clock, as its last token answer told
    /// it.
    bool IsTokenExpired(const std::string& accessToken);

    /// Signs in by password or in the browser, ignoring the tokens in memory and in the store, and
    /// replaces both on success. If VARNEL_TOKEN is set, it replaces the session in memory instead.
    /// A `GuidedLogin` works as with `Login`. Does nothing in `Local` without an identity provider.
    ///
    /// @throws std::runtime_error when signing in fails, saying why, and when offline
    void Relogin();

    /// Whether `Login` works without a person: VARNEL_TOKEN is set, user name and password are set,
    /// a refresh token is stored, or no sign-in is needed (offline, or in `Local` without an
    /// identity provider).
    ///
    /// @throws what reading the settings throws (see EnvConfig)
    static bool CanLoginNonInteractively();

    /// Throws unless `CanLoginNonInteractively()`.
    ///
    /// @param message says what needs the token; the exception's text begins with it
    /// @throws std::runtime_error naming the ways to sign in without a person; what
    ///         `CanLoginNonInteractively` throws
    static void RequireNonInteractive(const std::string& message);

private:
    void GetLoginResult(const httplib::Request& request, httplib::Response& response);
    void AwaitServer();
    void OpenBrowser(const std::string& url);
    std::string StartLocalServer();
    std::string ExchangeAuthCodeForToken(const std::string& form);
    std::string RefreshAccessToken();
    std::string LoginWithPassword();
    void LoadTokens();
    void StoreTokens(const std::string& accessToken, const std::string& newRefreshToken);
    std::string GetAuthServerUrl();

    EnvConfig config;
    TokenStore tokenStore;
    std::string token;
    std::string refreshToken;
    std::string authHost;
    std::string clientId;
    std::string clientSecret;
    httplib::Server loginServer;
};

} // namespace VarnelBase
