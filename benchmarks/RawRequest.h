#pragma once

#include <string>

/// A connection to a port of 127.0.0.1; -1 when nobody accepts it.
int ConnectToLoopback(int port);

/// One GET over a connection of its own to 127.0.0.1 with plain POSIX sockets.
///
/// @return the whole answer; empty when there is none
std::string GetByRawSocket(int port, const std::string& path, const std::string& token);
