#pragma once

#include <atomic>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "network/HttpHead.h"
#include "network/TcpConnection.h"

namespace VarnelBase {

/// A deployment whose requests are relayed.
struct RelayedService {
    std::string environment;
    std::string host;
    unsigned int port = 0;
    std::string groupsClaim; ///< of the token whose first group goes in front; empty: nothing does
};

/// One request and its answer, without their bodies and the token.
struct TracedExchange {
    std::string environment;
    std::string url;
    double startSeconds = 0; ///< since 1970-01-01 UTC
    double milliseconds = 0;
    HttpHead request;
    HttpHead response; ///< its status is 0 when there was no answer
    std::size_t requestBodyBytes = 0;
    std::size_t responseBodyBytes = 0;
    std::string problem; ///< why there was no answer
};

/// Stands between the library and the service on this machine: passes requests on to the host that
/// the library would ask, and answers back, byte for byte and whatever their size. Only the header
/// "Host" becomes what it would be without the relay.
///
/// Each service gets a port, each connection a thread.
class TraceRelay {
public:
    /// @param record is called for each exchange, never twice at a time
    TraceRelay(std::vector<RelayedService> services,
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
