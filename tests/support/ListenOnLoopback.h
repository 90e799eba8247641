#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>

/// Has a socket listen on 127.0.0.1 and returns its port, which the system has picked.
inline unsigned int ListenOnLoopback(int listener) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof(address);
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (bind(listener, generic, size) == 0) { listen(listener, 16); }
    getsockname(listener, generic, &size);
    return ntohs(address.sin_port);
}
