#pragma once

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <functional>
#include <string>
#include <thread>
#include <utility>

/// A server on 127.0.0.1 that takes one request per connection, as raw bytes, and answers with raw
/// bytes.
class ScriptedServer {
public:
    using Script = std::function<std::string(const std::string& request)>;

    /// @param answer called on the server's thread; an empty answer closes the connection
    explicit ScriptedServer(Script answer)
        : script(std::move(answer)), listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof(address);
        auto* generic = reinterpret_cast<sockaddr*>(&address);
        if (bind(listener, generic, size) == 0) { listen(listener, 16); }
        getsockname(listener, generic, &size);
        port = ntohs(address.sin_port);
        thread = std::thread([this] {
            for (int accepted = 0; (accepted = accept(listener, nullptr, nullptr)) >= 0;) {
                Converse(accepted);
                close(accepted);
            }
        });
    }
    ~ScriptedServer() {
        shutdown(listener, SHUT_RDWR);
        thread.join();
        close(listener);
    }
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    unsigned int GetPort() const { return port; }

private:
    /// Whether the head has come, and as much of a body as it announces.
    static bool IsWhole(const std::string& request) {
        const std::size_t headEnd = request.find("\r\n\r\n");
        const std::string name = "\r\nContent-Length: ";
        const std::size_t announced = request.find(name);
        const std::size_t length =
            announced < headEnd ? std::stoul(request.substr(announced + name.size())) : 0;
        return headEnd != std::string::npos && request.size() >= headEnd + 4 + length;
    }

    void Converse(int connection) const {
        std::string request;
        while (!IsWhole(request)) {
            std::array<char, 65536> chunk{};
            const ssize_t count = recv(connection, chunk.data(), chunk.size(), 0);
            if (count <= 0) { break; }
            request.append(chunk.data(), static_cast<std::size_t>(count));
        }
        const std::string answer = script(request);
        send(connection, answer.data(), answer.size(), MSG_NOSIGNAL);
    }

    const Script script;
    int listener;
    unsigned int port = 0;
    std::thread thread;
};
