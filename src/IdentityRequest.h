#pragma once

#include <stdexcept>
#include <string>

#include "IdentityUrl.h"

namespace VarnelBase {

/// The identity provider could not be asked, or its answer is of no use.
class IdentityError : public std::runtime_error {
public:
    explicit IdentityError(const std::string& message, bool isUnanswered = false)
        : std::runtime_error(message), unanswered(isUnanswered) {}

    /// Whether the request went out and no answer came: the provider may have acted on it.
    bool IsUnanswered() const { return unanswered; }

private:
    bool unanswered;
};

/// One request to the identity provider.
struct IdentityRequest {
    IdentityUrl url;
    std::string caFile;      ///< certificates (PEM) to trust besides the system's; empty: none
    std::string form;        ///< body of a POST; empty: a GET
    std::string credentials; ///< "NAME:PASSWORD" for HTTP Basic (RFC 7617); empty: none
};

struct IdentityAnswer {
    int status = 0;
    std::string body;
    std::string date; ///< the header of that name
};

/// Sends a request once and waits for the answer, 10 s for each step of it and 30 s until its body
/// is complete; a head that comes drop by drop has no limit in all. TLS 1.2 or later with the
/// server's certificate and name verified; redirects are not followed.
///
/// @throws IdentityError saying where the request was to go and why it failed
IdentityAnswer SendIdentityRequest(const IdentityRequest& request);

} // namespace VarnelBase
