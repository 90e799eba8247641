#pragma once

#include <httplib.h>

#include <string>

#include "BuildGuard.h"
#include "EnvConfig.h"
#include "TokenStore.h"

namespace VarnelBase {

/// Source of the access token and of what the connector needs to know about its holder.
///
/// The settings are those of `EnvConfig()`'s environment, read at construction. A handler belongs
/// to one thread at a time; separate handlers, in this process or another one, share the token
/// store and send one refresh between them. Calls block while the provider is asked. No thread is
/// started. Constructing one makes the process ignore SIGPIPE unless it has a handler of its own.
class AuthHandler {
public:
    /// @throws what reading the settings throws (see EnvConfig)
    AuthHandler();
    ~AuthHandler();

    /// The access token: the session's in memory while it is valid, else VARNEL_TOKEN when it is
    /// set, else the stored session's while it is valid, else a new one by refresh or password.
    /// Never opens a browser. While the old token is still good, waits 3 s at most for a new one.
    /// Empty when no identity provider is configured in `Local`, and when offline without a stored
    /// token. As long as the token is the same, so is the text. VARNEL_TOKEN is not kept: a program
    /// may change it between calls, and must not unset it.
    ///
    /// @throws std::runtime_error when there is none, saying what to do; the text holds no secret
    std::string GetApiKey();

    /// The first group of the token's holder, read from its claims: the first entry of the claim
    /// "groups" (or of the one that VARNEL_GROUPS_CLAIM names), without a leading "/" and up to the
    /// next "/". Empty when the token is empty, opaque or malformed, or has no such claim. The
    /// token's signature is not checked: the service does that.
    ///
    /// @throws std::runtime_error when the group cannot be a label of a host name (RFC 1123,
    ///         section 2.1), since a request would then go to another host
    std::string GetFirstGroup(const std::string& accessToken);

    /// Asks the provider for tokens, whatever is in memory: by refresh, and when that fails by
    /// password when one is configured, else in the browser, for which a person has 180 s
    /// (VARNEL_LOGIN_TIMEOUT). Returns the access token; VARNEL_TOKEN when that is set, which takes
    /// the place of a session in memory; empty in `Local` without an identity provider; offline the
    /// stored token or nothing.
    ///
    /// @throws std::runtime_error when signing in fails, saying why
    std::string Login();

    /// Whether the token's lifetime (claim "exp", RFC 7519, section 4.1.4) is over or about to be:
    /// within 30 s, or a tenth of the lifetime if that is less. True for an empty token. For an
    /// opaque one, and one without a numeric "exp", what the answer that brought it said
    /// ("expires_in") counts, and without that it is false. By the provider's clock, as its last
    /// token answer told it.
    bool IsTokenExpired(const std::string& accessToken);

    /// Signs in by password or in the browser, without regard to tokens in memory and in the store,
    /// and replaces both on success. With VARNEL_TOKEN set nobody is asked: it takes the place of a
    /// session in memory.
    ///
    /// @throws std::runtime_error when signing in fails, saying why, and when offline
    void Relogin();

    /// Whether `Login` can do without a person: VARNEL_TOKEN, user name and password, or a refresh
    /// token is set or stored, or nobody needs to sign in: offline, or in `Local` without an
    /// identity provider.
    ///
    /// @throws what reading the settings throws (see EnvConfig)
    static bool CanLoginNonInteractively();

    /// Does nothing if `CanLoginNonInteractively()`.
    ///
    /// @param message the beginning of the error's text: what needs the token
    /// @throws std::runtime_error otherwise, beginning with `message`
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
