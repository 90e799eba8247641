#pragma once

#include <httplib.h>

#include <chrono>
#include <exception>
#include <functional>
#include <string>

#include "IdentityProvider.h"
#include "SessionSettings.h"

namespace VarnelBase {

/// One login in the browser, from opening it to the first good callback (RFC 8252, RFC 7636). It
/// belongs only to that call.
class LoginAttempt {
public:
    explicit LoginAttempt(std::chrono::seconds timeout);

    /// What to answer a request with: 200 for this attempt's callback, 302 for the browser's
    /// beginning, else 400, 403, 404 or 405.
    int Judge(const httplib::Request& request) const;

    /// The callback together with what the exchange of its code needs besides, among its `params`:
    /// "redirect_uri", "code_verifier" and "nonce".
    httplib::Request AddSecrets(const httplib::Request& request) const;

    /// Throws when the callback does not come from the provider that was asked (RFC 9207), or
    /// brings a refusal.
    void RequireCode(const httplib::Request& request, const IdentityProvider& provider) const;

    /// Opens the browser at an address of this program, which sends it on to the provider: other
    /// users of the machine see the arguments of the browser's command. Tells the person that the
    /// browser is waited for. Where none can be opened, the person is to sign in on another device
    /// if the provider offers that, or to open the provider's address by hand; a program that shows
    /// neither has failed.
    void Begin(const IdentityProvider& provider, const SessionSettings& settings,
               const std::function<void(const std::string& url)>& openBrowser);

    /// Throws why nobody has signed in, if so.
    void RequireSuccess(const std::string& issuer) const;

    bool IsOver() const { return isOver || std::chrono::steady_clock::now() >= deadline; }

    std::string redirectUri;      ///< this program's address for the callback
    std::string authorizationUrl; ///< the provider's address for the browser
    int listener = -1;            ///< the socket that accepts connections to it
    bool isStarted = false;       ///< the browser was sent on
    bool isOver = false;          ///< the callback has come, or there is no point in waiting
    bool isOnDevice;              ///< the person signs in on another device instead
    std::exception_ptr failure;   ///< why there are no tokens

private:
    std::string BuildQuery(const SessionSettings& settings) const;
    int JudgeStart(const httplib::Request& request) const;

    std::chrono::seconds limit;
    std::chrono::steady_clock::time_point deadline;
    std::string startPath;
    std::string state;
    std::string verifier;
    std::string nonce;
};

/// Answers with a page that says how it went, and with nothing that came in the request.
void ShowPage(httplib::Response& response, int status, const std::string& title,
              const std::string& text);

} // namespace VarnelBase
