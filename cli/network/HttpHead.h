#pragma once

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

namespace VarnelBase {

/// The first line and the headers of an HTTP/1.1 message (RFC 9112).
struct HttpHead {
    std::string method; ///< of a request
    std::string target;
    std::string version;
    int status = 0; ///< of a response
    std::string reason;
    std::vector<std::pair<std::string, std::string>> headers;
    std::size_t size = 0; ///< in bytes, with the empty line

    /// The first header of that name, in letters of any case; empty: there is none.
    std::string Find(const std::string& name) const;
};

/// Where the head ends that begins at `start`, behind its empty line; npos: it is not complete.
std::size_t FindHeadEnd(const std::string& bytes, std::size_t start);

/// Reads a complete head as well as it can be: what makes no sense in it is left out.
HttpHead ParseHead(const std::string& head);

/// The head with another value for the header "Host".
std::string ReplaceHost(const std::string& head, const std::string& host);

} // namespace VarnelBase
