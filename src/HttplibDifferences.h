#pragma once

#include <httplib.h>
#include <openssl/err.h>

#include <limits>
#include <optional>
#include <string>

#include "BuildGuard.h"

// What the releases of cpp-httplib do differently, each difference in a function, so that the
// library sends the same bytes and reports the same results with all of them: those of 0.15.3.

namespace VarnelBase {

/// From 0.24 on httplib parses the query of a target. From 0.49 on it can be told to leave the
/// whole target, which the caller must then escape.
inline constexpr bool EscapesTargets = HttplibRelease >= 2400;

/// From 0.17.1 on header lines are sent in a different order, from 0.18.2 on with an
/// Accept-Encoding that invites the service to compress, and from 0.30.2 on, for a large body, with
/// an Expect, which costs a second if the service ignores it.
inline constexpr bool WritesHeaders = HttplibRelease > 1700;

/// Before 0.33 httplib percent-decodes the value of a header; later releases do not.
inline constexpr bool DecodesHeaderValues = HttplibRelease >= 3300;

/// Escapes space, "+", CR, LF, "'", ",", ";" and bytes from 0x80 up, and ends the target at its
/// first NUL byte.
std::string EscapeTarget(const std::string& target);

/// Whether httplib sends a request with this escaped target. From 0.51 on it sends none with a
/// control character, but waits for the answer.
bool IsSendable(const std::string& target);

/// Writes the header lines of a request in the order of their names, without empty ones.
ssize_t WriteHeaders(httplib::Stream& stream, const httplib::Headers& headers);

template <typename Client>
void KeepTarget([[maybe_unused]] Client& client) {
    if constexpr (EscapesTargets) { client.set_path_encode(false); }
}

template <typename Client>
void KeepHeaderLines([[maybe_unused]] Client& client) {
    if constexpr (WritesHeaders) {
        // httplib adds no header that is set already, and writes none without a value.
        client.set_default_headers({{"Accept-Encoding", ""}, {"Expect", ""}});
        client.set_header_writer(WriteHeaders);
    }
}

/// From 0.31 on httplib loses an answer of more than 100 MiB unless told otherwise.
template <typename Client>
auto LiftBodyLimit(Client& client, int /*preferred*/)
    -> decltype(client.set_payload_max_length(0)) {
    client.set_payload_max_length(std::numeric_limits<std::size_t>::max());
}
template <typename Client>
void LiftBodyLimit(Client& /*client*/, long /*otherwise*/) {}

/// Prepares a client before its first request. Its targets go through `TargetOf`.
template <typename Client>
void AdaptClient(Client& client) {
    KeepTarget(client);
    KeepHeaderLines(client);
    LiftBodyLimit(client, 0);
}

/// The target in the form that this release expects.
inline decltype(auto) TargetOf(const std::string& path) {
    if constexpr (EscapesTargets) {
        return EscapeTarget(path);
    } else {
        return (path);
    }
}

/// The client of one request.
class HttpClient : public httplib::Client {
public:
    HttpClient(const std::string& host, int port) : Client(host, port) { AdaptClient(*this); }

    httplib::Result Get(const std::string& path) {
        return Send(path, [this](const auto& target) { return Client::Get(target); });
    }
    httplib::Result Delete(const std::string& path) {
        return Send(path, [this](const auto& target) { return Client::Delete(target); });
    }
    httplib::Result Post(const std::string& path, const std::string& body, const char* type) {
        return Send(path, [&](const auto& target) { return Client::Post(target, body, type); });
    }
    httplib::Result Patch(const std::string& path, const std::string& body, const char* type) {
        return Send(path, [&](const auto& target) { return Client::Patch(target, body, type); });
    }

private:
    template <typename Request>
    static httplib::Result Send(const std::string& path, Request request) {
        const auto& target = TargetOf(path);
        if (HttplibRelease >= 5100 && !IsSendable(target)) {
            return {nullptr, httplib::Error::Write};
        }
        return request(target);
    }
};

/// Decodes "%41" and "%u0041", and leaves what only looks like it.
std::string DecodeHeaderValue(const std::string& value);

/// The decoded value of the first header of that name; none if the header is missing or empty.
/// Releases differ in which of several they report, and whether they report an empty one.
std::optional<std::string> FindFirstHeader(const httplib::Headers& headers,
                                           const std::string& name);

/// From 0.43 on only `tls_context` exists, before 0.31 only `ssl_context`.
template <typename Client>
auto GetTlsContext(const Client& client, int /*preferred*/)
    -> decltype(static_cast<SSL_CTX*>(client.tls_context())) {
    return static_cast<SSL_CTX*>(client.tls_context());
}
template <typename Client>
SSL_CTX* GetTlsContext(const Client& client, long /*otherwise*/) {
    return client.ssl_context();
}

/// The OpenSSL error that ended a connection, which later releases remove from OpenSSL's queue.
template <typename Result>
auto GetTlsError(const Result& result, int /*preferred*/)
    -> decltype(static_cast<unsigned long>(result.ssl_backend_error())) {
    return static_cast<unsigned long>(result.ssl_backend_error());
}
template <typename Result>
unsigned long GetTlsError(const Result& /*result*/, long /*otherwise*/) {
    return ERR_peek_error();
}

/// Whether httplib can wait for a descriptor. Before 0.20 the plain header cannot from FD_SETSIZE
/// up unless compiled to use `poll`, as a distribution's library is.
bool CanWaitFor(int descriptor);

} // namespace VarnelBase
