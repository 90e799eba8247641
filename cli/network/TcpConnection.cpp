#include "network/TcpConnection.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <memory>
#include <system_error>
#include <utility>

namespace VarnelBase {

namespace {

std::string DescribeAddress(const addrinfo& address) {
    std::array<char, NI_MAXHOST> text{};
    const int failure = getnameinfo(address.ai_addr, address.ai_addrlen, text.data(), text.size(),
                                    nullptr, 0, NI_NUMERICHOST);
    return failure == 0 ? text.data() : "unknown address";
}

/// Connects within the time; 0, or the number of the error.
int ConnectSocket(int socket, const addrinfo& address, std::chrono::seconds patience) {
    if (connect(socket, address.ai_addr, address.ai_addrlen) == 0) { return 0; }
    if (errno != EINPROGRESS) { return errno; }
    pollfd waiting{socket, POLLOUT, 0};
    const int ready = poll(&waiting, 1, static_cast<int>(patience.count()) * 1000);
    if (ready <= 0) { return ready == 0 ? ETIMEDOUT : errno; }
    int error = 0;
    socklen_t size = sizeof error;
    return getsockopt(socket, SOL_SOCKET, SO_ERROR, &error, &size) == 0 ? error : errno;
}

[[noreturn]] void ThrowError(const char* what) {
    throw std::system_error(errno, std::generic_category(), what);
}

} // namespace

Descriptor::~Descriptor() {
    if (IsOpen()) { close(number); }
}

Descriptor::Descriptor(Descriptor&& other) noexcept : number(std::exchange(other.number, -1)) {}

Descriptor& Descriptor::operator=(Descriptor&& other) noexcept {
    std::swap(number, other.number);
    return *this;
}

TcpConnection ConnectTo(const std::string& host, unsigned int port, std::chrono::seconds patience) {
    TcpConnection connection;
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int failure = getaddrinfo(host.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (failure != 0) {
        connection.problem =
            "the host name \"" + host + "\" does not resolve: " + gai_strerror(failure);
        return connection;
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> owner(found, freeaddrinfo);
    for (const addrinfo* address = found; address != nullptr; address = address->ai_next) {
        connection.addresses.push_back(DescribeAddress(*address));
        if (connection.socket.IsOpen()) { continue; }
        Descriptor socket(::socket(address->ai_family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC,
                                   address->ai_protocol));
        const int error = socket.IsOpen() ? ConnectSocket(socket.Get(), *address, patience) : errno;
        if (error == 0) {
            connection.socket = std::move(socket);
        } else {
            connection.problem = host + " port " + std::to_string(port) + ": " +
                                 std::generic_category().message(error);
        }
    }
    return connection;
}

Descriptor ListenOnLoopback() {
    Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (!socket.IsOpen() ||
        bind(socket.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(socket.Get(), SOMAXCONN) != 0) {
        ThrowError("listening on 127.0.0.1");
    }
    return socket;
}

unsigned int FindLocalPort(const Descriptor& socket) {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (getsockname(socket.Get(), reinterpret_cast<sockaddr*>(&address), &size) != 0) {
        ThrowError("the port of 127.0.0.1");
    }
    return ntohs(address.sin_port);
}

} // namespace VarnelBase
