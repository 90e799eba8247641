#pragma once

#include <sys/types.h>
#include <string>

/// The service that a measurement talks to: a `peer` process of its own on a free loopback port,
/// which costs less than an HTTP library's server would.
class Peer {
public:
    /// @param status the status line's code of every answer
    /// @param kind   "version", "list", "document", "bytes"; with kept connections "kept-version",
    ///               "kept-pages" (a list) or "kept-stream" (bytes for a POST, else the version)
    /// @param size   bytes of a "document", of "bytes" and of a stream; entries of a list
    /// @param address that it listens on
    Peer(int status, const std::string& kind, std::size_t size = 0,
         const std::string& address = "127.0.0.1");

    /// Any other program whose first line of output is http://ADDRESS:PORT.
    ///
    /// @param seed the emulator's seed file; empty: none is given
    explicit Peer(const std::string& program, const std::string& seed = "");

    ~Peer();
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    int GetPort() const { return port; }
    double ReadResidentMebibytes() const;

private:
    void Start(const char* const* arguments);

    pid_t process = -1;
    int port = 0;
};

/// Has the connectors that are made from now on ask this peer.
void UsePeer(const Peer& peer);
