#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "network/HttpMessage.h"
#include "network/TcpConnection.h"

namespace VarnelBase {

/// A deployment whose requests are relayed.
struct RelayedService {
    std::string environment;
    std::string host;
    unsigned int port = 0;
    std::string groupsClaim; ///< of the token whose first group goes in front; empty: nothing does
};

/// A body as far as it was kept.
struct TracedBody {
    std::string bytes;
    std::size_t size = 0; ///< as it was sent
    bool isKept = false;  ///< whole
};

/// One request and its answer.
struct TracedExchange {
    std::string environment;
    std::string url;
    double startSeconds = 0; ///< since 1970-01-01 UTC
    double milliseconds = 0;
    HttpHead request;
    HttpHead response; ///< its status is 0 when there was no answer
    TracedBody requestBody;
    TracedBody responseBody;
    std::string problem; ///< why there was no answer, or none that is whole
};

/// Stands between the library and the service on this machine: passes requests on to the host that
/// the library would ask, and answers back, byte for byte and whatever their size. Only the header
/// "Host" becomes what it would be without the relay.
///
/// Each service gets a port, each connection of a client a thread and a connection of its own.
class TraceRelay {
public:
    /// @param bodyBytes of each body that are kept; bodies are then asked for uncompressed
    /// @param record is called for each exchange, never twice at a time
    TraceRelay(std::vector<RelayedService> services, std::size_t bodyBytes,
               std::function<void(const TracedExchange&)> record);

    /// Ends what is under way, and records it.
    ~TraceRelay();
    TraceRelay(const TraceRelay&) = delete;
    TraceRelay& operator=(const TraceRelay&) = delete;

    /// The port of 127.0.0.1 that stands for a service.
    unsigned int GetPort(std::size_t service) const { return FindLocalPort(listeners[service]); }

private:
    void AcceptConnections();
    void Serve(Descriptor client, const RelayedService& service);

    std::vector<RelayedService> services;
    std::size_t bodyBytes;
    std::function<void(const TracedExchange&)> record;
    std::vector<Descriptor> listeners;
    Descriptor stopReader; ///< readable from the moment on when the relay is to stop
    Descriptor stopWriter;
    std::mutex guard; ///< of `record` and `active`
    std::condition_variable finished;
    std::size_t active = 0;
    std::thread acceptor;
};

} // namespace VarnelBase
