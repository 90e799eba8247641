#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace VarnelBase {

/// The addresses of a host.
///
/// @param problem is set when there are none, because the name does not resolve
std::vector<std::string> ResolveHost(const std::string& host, std::string& problem);

/// What came of reaching a service, as far as that went.
struct ServiceProbe {
    std::string portProblem;                ///< why no connection was made; empty: one was
    std::chrono::milliseconds connecting{}; ///< how long that took
    std::string protocolProblem;            ///< what somebody says who does not speak HTTP
    std::string advice;                     ///< about that
    std::string date;                       ///< of the answer
};

/// Connects to the first address of a host that accepts.
///
/// @param isTls    no plain HTTP request, without a token, is sent then
/// @param patience with the connection, and with the answer
ServiceProbe ProbeService(const std::string& host, unsigned int port, bool isTls,
                          std::chrono::milliseconds patience);

} // namespace VarnelBase
