#pragma once

#include "ListenOnLoopback.h"
#include "RawConnection.h"

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
    void Receive() {
        connection = accept(listener, nullptr, nullptr);
        ReadUntil(connection, "\r\n\r\n");
    }

    /// Says something after all.
    void Answer(const std::string& bytes) const {
        SendAll(connection, bytes);
        shutdown(connection, SHUT_RDWR);
    }

    /// Waits until whoever sent it has gone.
    void AwaitEnd() const { ReadUntil(connection, ""); }

    unsigned int port = 0;

private:
    int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    int connection = -1;
};
