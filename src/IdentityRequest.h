#pragma once

#include <chrono>
#include <stdexcept>
#include <string>

#include "IdentityUrl.h"

namespace VarnelBase {

/// The identity provider could not be reached, or its answer is unusable.
class IdentityError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// The provider refused.
class IdentityRefusal : public IdentityError {
public:
    IdentityRefusal(const std::string& message, bool isSessionOver)
        : IdentityError(message), isOver(isSessionOver) {}

    /// Whether this ends the session.
    bool IsSessionOver() const { return isOver; }

private:
    bool isOver;
};

/// One request to the identity provider.
struct IdentityRequest {
    IdentityUrl url;
    std::string caFile;      ///< certificates (PEM) to trust in addition; empty: none
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

/// Sends a request once and waits for the answer: at most 10 s for each step and 30 s until the
/// body is complete, and no longer than the deadline. There is no overall limit on receiving a
/// header that arrives byte by byte. Uses TLS 1.2 or later and verifies certificate and host name;
/// does not follow redirects.
///
/// @throws IdentityError naming the address and the reason
IdentityAnswer SendIdentityRequest(const IdentityRequest& request);

} // namespace VarnelBase
