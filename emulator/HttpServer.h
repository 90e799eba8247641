#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "Faults.h"
#include "Messages.h"
#include "RequestLog.h"

namespace VarnelBase::Emulation {

/// Where a server listens, and how.
struct ServerAddress {
    std::string host;
    int port = 0;                ///< 0: a free one
    std::string certificateFile; ///< empty: no TLS
    std::string keyFile;
};

/// What a server asks the emulator. Called in the server's thread.
struct ServerCallbacks {
    /// The fault that a request meets whose head was read.
    std::function<std::optional<Fault>(const Request&)> chooseFault;
    /// Carries a request out, unless the fault prevents it.
    std::function<Answer(const Request&, const std::optional<Fault>&)> answer;
    /// Adds what a page needs to read an answer, also to the server's own refusals.
    std::function<void(const Request&, Answer&)> complete;
    /// Told of every request, before its answer is sent.
    std::function<void(Exchange)> record;
};

/// Serves HTTP/1.1 in one thread of its own: a client that is slow or silent costs a few hundred
/// bytes. Its end stops it.
class HttpServer {
public:
    virtual ~HttpServer() = default;

    virtual int GetPort() const = 0;

    /// Takes no further requests, and returns when those in flight are answered or a second and a
    /// half has gone by. Any thread may call it.
    virtual void Stop() = 0;
};

/// Listens and serves from now on.
///
/// @throws std::runtime_error naming address and port, or the file, that cannot be used
std::unique_ptr<HttpServer> StartHttpServer(const ServerAddress& address,
                                            ServerCallbacks callbacks);

} // namespace VarnelBase::Emulation
