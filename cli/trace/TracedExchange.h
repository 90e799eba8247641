#pragma once

#include <HeaderLine.h>

#include <cstdint>
#include <string>
#include <vector>

namespace VarnelBase {

/// The first line and the headers of an HTTP/1.1 message (RFC 9112).
struct HttpHead {
    std::string method; ///< of a request
    std::string target;
    int status = 0; ///< of a response; 0: there was none
    std::string reason;
    std::string version;
    std::vector<HeaderLine> headers;

    /// The first header of that name, in letters of any case; empty: there is none.
    std::string Find(const std::string& name) const;

    /// Gives each header of that name another value.
    void Replace(const std::string& name, const std::string& value);

    /// The token in the header "Authorization"; empty: there is none.
    std::string FindBearerToken() const;
};

/// A body as far as it was kept.
struct TracedBody {
    std::string bytes;
    std::size_t size = 0; ///< as it was sent
    bool isKept = true;   ///< whole
};

/// One request and its answer.
struct TracedExchange {
    std::string environment;
    std::string url;
    std::int64_t startedAt = 0; ///< machine time in milliseconds
    double milliseconds = 0;
    HttpHead request;
    HttpHead response;
    TracedBody requestBody;
    TracedBody responseBody;
    std::string problem; ///< why there was no answer, or none that is whole
};

} // namespace VarnelBase
