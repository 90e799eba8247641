#pragma once

#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <string>

#include "ListenOnLoopback.h"

/// Somebody on 127.0.0.1 who reads one request and says no more than a test wants.
class SilentPeer {
public:
    SilentPeer() { port = ListenOnLoopback(listener); }
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
