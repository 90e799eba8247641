#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Outcome.h"

namespace VarnelBase {

/// Ends calls from another thread. Copies belong together: cancelling one cancels every call that
/// was given one of them, those that begin later too.
class Cancellation {
public:
    struct State; ///< is the implementation's

    /// Something that can be cancelled, once.
    Cancellation();

    /// Ends the calls within 100 ms, wherever they are; a name lookup and the renewal of a token
    /// are awaited. May be called from any thread, but not from a signal handler.
    void Cancel();

    /// Whether it or a copy of it was cancelled.
    bool IsCancelled() const;

    /// For the implementation.
    const std::shared_ptr<State>& GetState() const { return state; }

private:
    std::shared_ptr<State> state;
};

/// What is different for one call.
struct CallOptions {
    /// For the call as a whole: token, all attempts, and the waits between them. The client's own
    /// when there is none.
    std::optional<std::chrono::milliseconds> timeout;

    /// How often a request may be tried that can be repeated without harm; 1: no retries. The
    /// client's own when there is none.
    std::optional<int> maxAttempts;

    std::optional<Cancellation> cancellation; ///< ends the call; none: nobody does
};

/// One attempt of a request, for logs and metrics: neither token nor body.
struct AttemptReport {
    std::string method;                      ///< "GET"
    std::string target;                      ///< path and query
    std::string host;                        ///< that it was sent to
    int attempt = 1;                         ///< counted from 1
    int status = 0;                          ///< 0: no answer
    Failure failure = Failure::None;         ///< of this attempt
    SentState sent = SentState::NotSent;     ///< of this attempt
    std::uint64_t bytesSent = 0;             ///< of the body
    std::uint64_t bytesReceived = 0;         ///< of the body, as they came over the connection
    bool isNewConnection = false;            ///< no kept one was used
    std::chrono::microseconds nameLookup{0}; ///< until the name was resolved
    std::chrono::microseconds connecting{0}; ///< until the connection stood, TLS included
    std::chrono::microseconds firstByte{0};  ///< until the answer began
    std::chrono::microseconds duration{0};   ///< of the attempt
    std::optional<std::chrono::milliseconds> retryAfter; ///< the wait before the next attempt
};

/// How a client behaves. A value that cannot be used makes the constructor throw
/// std::invalid_argument, which names the option.
struct ClientOptions {
    /// Host and port in place of those of the settings, which are not read then: a name or address
    /// without scheme and port. Both or neither.
    std::string host;
    unsigned int port = 0; ///< see `host`

    /// Returns the access token in place of `AuthHandler`; "" for none. Called before each attempt,
    /// by one thread at a time. What it throws makes the call fail with `NotSignedIn` and the
    /// exception's text.
    std::function<std::string()> tokenSource;

    bool tls = false; ///< https: TLS 1.2 or later, certificate and host name verified

    /// Certificates (PEM) to trust besides the system's; empty: the setting `caFile`
    /// (VARNEL_CA_FILE), unless the settings are not read.
    std::string caFile;

    std::chrono::milliseconds connectTimeout{10'000};    ///< for each connection
    std::chrono::milliseconds timeout{60'000};           ///< for each call as a whole
    std::chrono::milliseconds projectTimeout{3'600'000}; ///< the same, when a project is generated
    std::chrono::milliseconds idleTimeout{30'000};       ///< after which connections are not kept

    int maxAttempts = 4; ///< of what can be repeated without harm; 1: no retries

    std::size_t maxDocumentBytes = 64U
                                   << 20;   ///< after decompression; project streams have no limit
    int maxNesting = 1000;                  ///< levels of arrays and objects in a document
    std::size_t maxHeaderBytes = 64U << 10; ///< all header lines together
    int maxHeaderLines = 200;               ///< interim answers included

    int pageSize = 100; ///< entries that a listing asks for at once

    /// Called after each attempt, on the thread of the call. What it throws ends the call and
    /// reaches the caller.
    std::function<void(const AttemptReport&)> observer;
};

} // namespace VarnelBase
