#pragma once

#include <memory>
#include <string>

#include "ServerCallbacks.h"

namespace VarnelBase::Emulation {

/// Where a server listens, and how.
struct ServerAddress {
    std::string host;
    int port = 0;                ///< 0: a free one
    std::string certificateFile; ///< empty: no TLS
    std::string keyFile;
};

/// Serves HTTP/1.1 in one thread of its own: a client that is slow or silent costs a few hundred
/// bytes.
class HttpServer {
public:
    /// Listens and serves from now on.
    ///
    /// @throws std::runtime_error naming address and port, or the file, that cannot be used
    HttpServer(const ServerAddress& address, ServerCallbacks callbacks);
    ~HttpServer();
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    int GetPort() const;

    /// Takes no further requests, and returns when those in flight are answered or a second and a
    /// half has gone by. Any thread may call it.
    void Stop();

private:
    class Listener;
    std::unique_ptr<Listener> listener;
};

} // namespace VarnelBase::Emulation
