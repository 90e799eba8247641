#pragma once

#include <chrono>
#include <stdexcept>
#include <string>

#include "IdentityUrl.h"

namespace VarnelBase {

/// The identity provider could not be asked, or its answer is of no use.
class IdentityError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The provider has answered, and said no.
class IdentityRefusal : public IdentityError {
public:
    IdentityRefusal(const std::string& message, bool isSessionOver)
        : IdentityError(message), isOver(isSessionOver) {}

    /// Whether it was a session, which is no more.
    bool IsSessionOver() const { return isOver; }

private:
    bool isOver;
};

/// One request to the identity provider.
struct IdentityRequest {
    IdentityUrl url;
    std::string caFile;      ///< certificates (PEM) to trust besides the system's; empty: none
    std::string form;        ///< body of a POST; empty: a GET
    std::string credentials; ///< "NAME:PASSWORD" for HTTP Basic (RFC 7617); empty: none
    std::chrono::steady_clock::time_point deadline = std::chrono::steady_clock::time_point::max();
};

struct IdentityAnswer {
    int status = 0;
    std::string body;
    std::string date;       ///< the header of that name
    std::string location;   ///< the header of that name
    std::string retryAfter; ///< the header "Retry-After"
};

/// Sends a request once and waits for the answer, 10 s for each step of it and 30 s until its body
/// is complete, and no step goes on after the deadline; there is no overall limit on receiving a
/// header that comes byte by byte. TLS 1.2 or later with the
/// server's certificate and name verified; redirects are not followed.
///
/// @throws IdentityError saying where the request was to go and why it failed
IdentityAnswer SendIdentityRequest(const IdentityRequest& request);

} // namespace VarnelBase
