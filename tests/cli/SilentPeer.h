#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <string>

/// Somebody on 127.0.0.1 who reads one request and says no more than a test wants.
class SilentPeer {
public:
    SilentPeer() {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        if (bind(listener, generic, size) == 0) { listen(listener, 16); }
        getsockname(listener, generic, &size);
        port = ntohs(address.sin_port);
    }
    ~SilentPeer() {
        close(connection);
        close(listener);
    }
    SilentPeer(const SilentPeer&) = delete;
    SilentPeer& operator=(const SilentPeer&) = delete;

    /// Waits for a request.
    std::string Receive() {
        connection = accept(listener, nullptr, nullptr);
        std::array<char, 65536> bytes{};
        const ssize_t count = recv(connection, bytes.data(), bytes.size(), 0);
        return {bytes.data(), count > 0 ? static_cast<std::size_t>(count) : 0};
    }

    /// Waits until whoever sent it has gone.
    void AwaitEnd() const {
        std::array<char, 64> bytes{};
        while (recv(connection, bytes.data(), bytes.size(), 0) > 0) {}
    }

    unsigned int port = 0;

private:
    int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int connection = -1;
};
