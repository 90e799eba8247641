#pragma once

#include <httplib.h>

#include <chrono>
#include <exception>
#include <string>

#include "IdentityProvider.h"

namespace VarnelBase {

/// One login in the browser, from opening it to the first good callback (RFC 8252, RFC 7636). It
/// belongs to that call alone.
class LoginAttempt {
public:
    explicit LoginAttempt(std::chrono::seconds limit);

    /// The query that asks the provider for a code to be sent to `redirectUri`.
    std::string BuildQuery(const std::string& clientId, const std::string& scope) const;

    /// What to answer a request with: 200 for this attempt's callback, else 400, 404 or 405.
    int Judge(const httplib::Request& request) const;

    /// The callback together with what the exchange of its code needs besides, among its `params`:
    /// "redirect_uri" and "code_verifier".
    httplib::Request AddSecrets(const httplib::Request& request) const;

    /// Throws when the callback does not come from the provider that was asked (RFC 9207).
    void CheckIssuer(const httplib::Request& request, const IdentityProvider& provider) const;

    bool IsOver() const { return isOver || std::chrono::steady_clock::now() >= deadline; }

    std::string redirectUri;    ///< this program's address for the callback
    int listener = -1;          ///< the socket that takes connections to it
    bool isOver = false;        ///< the callback has come, or there is no point in waiting
    std::exception_ptr failure; ///< why the callback did not lead to tokens

private:
    std::chrono::steady_clock::time_point deadline;
    std::string state;
    std::string verifier;
};

/// Answers with a page that says how it went, and with nothing that came in the request.
void ShowPage(httplib::Response& response, int status, const std::string& title,
              const std::string& text);

} // namespace VarnelBase
