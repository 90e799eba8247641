#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Outcome.h"

namespace VarnelBase {

/// Ends calls from another thread. Copies share one state: cancelling one cancels every call that
/// was given any of them, including later calls.
class Cancellation {
public:
    struct State; ///< private

    /// Not cancelled yet. Once cancelled, it stays so.
    Cancellation();

    /// Ends the calls within 100 ms, or once a name lookup or the renewal of a token is over.
    /// Callable from any thread, but not from a signal handler.
    void Cancel();

    /// Whether this or a copy was cancelled.
    bool IsCancelled() const;

    /// For the implementation.
    const std::shared_ptr<State>& GetState() const { return state; }

private:
    std::shared_ptr<State> state;
};

/// Options for one call, in place of the client's.
struct CallOptions {
    /// Limits the whole call: token, all attempts, and the waits between them.
    std::optional<std::chrono::milliseconds> timeout;

    /// Limits the attempts for a request that can safely be repeated; 1 means no retries.
    std::optional<int> maxAttempts;

    std::optional<Cancellation> cancellation; ///< ends the call
};

/// One attempt of a request, for logs and metrics. Contains neither token nor body.
struct AttemptReport {
    std::string method;                                  ///< "GET"
    std::string target;                                  ///< path and query
    std::string host;                                    ///< where it was sent
    int attempt = 1;                                     ///< counted from 1
    int status = 0;                                      ///< 0: no answer
    Failure failure = Failure::None;                     ///< of this attempt
    SentState sent = SentState::NotSent;                 ///< of this attempt
    std::uint64_t bytesSent = 0;                         ///< of the body
    std::uint64_t bytesReceived = 0;                     ///< of the body, before decompression
    bool isNewConnection = false;                        ///< whether it opened a connection
    std::chrono::microseconds nameLookup{0};             ///< until the name was resolved
    std::chrono::microseconds connecting{0};             ///< until connected, including TLS
    std::chrono::microseconds firstByte{0};              ///< until the answer began
    std::chrono::microseconds duration{0};               ///< of the attempt
    std::optional<std::chrono::milliseconds> retryAfter; ///< the wait before the next attempt
};

/// Options of a client. For an invalid value the constructor throws std::invalid_argument, which
/// names the option.
struct ClientOptions {
    /// Name or address of the service, without scheme and port. Set both host and port or neither:
    /// if set, the settings are read for the token only, and with a `tokenSource` not at all.
    std::string host;
    unsigned int port = 0; ///< see `host`

    /// Returns the access token in place of `AuthHandler`; "" sends none. Called before each
    /// attempt, by one thread at a time. If it throws, the call fails with `NotSignedIn` and the
    /// exception's text.
    std::function<std::string()> tokenSource;

    bool tls = false; ///< https: TLS 1.2 or later, certificate and host name verified

    /// File of certificates (PEM) to trust in addition to the system's. Empty: that of the setting
    /// `caFile` (VARNEL_CA_FILE), if settings are read.
    std::string caFile;

    std::chrono::milliseconds connectTimeout{10'000};    ///< for each connection
    std::chrono::milliseconds timeout{60'000};           ///< for each call as a whole
    std::chrono::milliseconds projectTimeout{3'600'000}; ///< for a call that generates a project
    std::chrono::milliseconds idleTimeout{30'000};       ///< closes unused connections

    int maxAttempts = 4; ///< for a request that can safely be repeated; 1: no retries

    std::size_t maxDocumentBytes = 64U
                                   << 20;   ///< after decompression; project streams have no limit
    int maxNesting = 1000;                  ///< levels of arrays and objects in a document
    std::size_t maxHeaderBytes = 64U << 10; ///< all header lines together
    int maxHeaderLines = 200;               ///< including interim answers

    int pageSize = 100; ///< entries per request of a listing

    /// Called after each attempt, on the calling thread. An exception from it ends the call and
    /// reaches the caller.
    std::function<void(const AttemptReport&)> observer;
};

} // namespace VarnelBase
