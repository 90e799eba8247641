#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "trace/TracedExchange.h"

namespace VarnelBase {

/// A deployment whose requests are relayed.
struct RelayedService {
    std::string environment;
    std::string host;
    unsigned int port = 0;
    std::string groupsClaim; ///< of the token whose first group goes in front; empty: nothing does
};

/// Stands between the library and the service on this machine: passes requests on to the host that
/// the library would ask, and answers back, byte for byte and whatever their size. Only the header
/// "Host" becomes what it would be without the relay.
///
/// Each service gets a port, each connection of a client a connection of its own. All of it happens
/// on one thread.
class TraceRelay {
public:
    /// @param bodyBytes of each body that are kept; bodies are then asked for uncompressed
    /// @param record is called for each exchange, on the relay's thread
    TraceRelay(std::vector<RelayedService> services, std::size_t bodyBytes,
               std::function<void(TracedExchange)> record);

    /// Ends what is under way, and records it.
    ~TraceRelay();
    TraceRelay(const TraceRelay&) = delete;
    TraceRelay& operator=(const TraceRelay&) = delete;

    /// The port of 127.0.0.1 that stands for a service.
    unsigned int GetPort(std::size_t service) const;

private:
    class Connections;
    std::unique_ptr<Connections> connections;
};

} // namespace VarnelBase
