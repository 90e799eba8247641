#pragma once

#include <Emulator.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <regex>
#include <string>
#include <vector>

#include "Texts.h"

inline int ConnectTo(int port) {
    const int peer = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(connect(peer, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    return peer;
}

/// Reads up to a text, or to the end where it never comes; "RESET" at the end of a broken
/// connection.
inline std::string ReadUntil(int peer, const std::string& end) {
    std::string read;
    std::vector<char> part(end.empty() ? 65536 : 1);
    while (end.empty() || read.find(end) == std::string::npos) {
        const ssize_t length = recv(peer, part.data(), part.size(), 0);
        if (length <= 0) { return length < 0 ? read + "RESET" : read; }
        read.append(part.data(), static_cast<std::size_t>(length));
    }
    return read;
}

inline void SendAll(int peer, const std::string& bytes) {
    EXPECT_GE(send(peer, bytes.data(), bytes.size(), MSG_NOSIGNAL), 0);
}

/// Sends bytes as they stand on a connection of their own; everything that comes back.
inline std::string SendRaw(int port, const std::string& bytes) {
    const int peer = ConnectTo(port);
    SendAll(peer, bytes);
    const std::string answer = ReadUntil(peer, "");
    close(peer);
    return answer;
}

/// @param headers separated by "|"
inline std::string JoinLines(const std::string& headers) {
    return std::regex_replace(headers, std::regex("\\|"), "\r\n");
}

/// Sends a request as it stands on a connection of its own; everything that comes back.
///
/// @param request method and target
/// @param headers separated by "|"
inline std::string SendRequest(const VarnelBase::Emulator& emulator, const std::string& request,
                               const std::string& headers, const std::string& body = "") {
    return SendRaw(emulator.GetPort(),
                   request + " HTTP/1.1\r\nConnection: close\r\n" + JoinLines(headers) +
                       "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body);
}
