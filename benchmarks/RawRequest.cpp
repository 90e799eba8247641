#include "RawRequest.h"

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>

int ConnectToLoopback(int port) {
    const int connection = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<in_port_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(connection, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
        return connection;
    }
    close(connection);
    return -1;
}

std::string GetByRawSocket(int port, const std::string& path, const std::string& token) {
    const int connection = ConnectToLoopback(port);
    if (connection < 0) { return ""; }
    const std::string request =
        "GET " + path + " HTTP/1.1\r\nHost: 127.0.0.1:" + std::to_string(port) +
        "\r\nAuthorization: Bearer " + token + "\r\nAccept: */*\r\nConnection: close\r\n\r\n";
    send(connection, request.data(), request.size(), MSG_NOSIGNAL);
    std::string answer;
    std::array<char, 4096> chunk{};
    ssize_t count = 0;
    while ((count = recv(connection, chunk.data(), chunk.size(), 0)) > 0) {
        answer.append(chunk.data(), static_cast<std::size_t>(count));
    }
    close(connection);
    return answer;
}
