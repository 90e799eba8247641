#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace VarnelBase {

/// Closes a file descriptor when it goes.
class Descriptor {
public:
    explicit Descriptor(int opened = -1) : number(opened) {}
    ~Descriptor();
    Descriptor(Descriptor&& other) noexcept;
    Descriptor& operator=(Descriptor&& other) noexcept;

    int Get() const { return number; }
    bool IsOpen() const { return number >= 0; }

private:
    int number;
};

/// What came of trying to reach a host.
struct TcpConnection {
    Descriptor socket;                  ///< not open: there is a problem
    std::vector<std::string> addresses; ///< of the host; none: its name does not resolve
    std::string problem;                ///< for people, naming the host
};

/// Connects to the first address of a host that accepts.
///
/// @param patience how long each address may take
TcpConnection ConnectTo(const std::string& host, unsigned int port, std::chrono::seconds patience);

/// Listens on a free port of 127.0.0.1.
///
/// @throws std::system_error
Descriptor ListenOnLoopback();

/// The port that a socket is bound to.
///
/// @throws std::system_error
unsigned int FindLocalPort(const Descriptor& socket);

} // namespace VarnelBase
